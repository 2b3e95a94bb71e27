// The journal over a million writes: how long `quorin-cli journal --last 5`
// takes and how much memory it holds, run as a technician would run it.
// Usage: bench_journal [RECORDS=1000000]
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <cstdio>
#include <sys/resource.h>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int records = argc > 1 ? QByteArray(argv[1]).toInt() : 1000000;
    QTemporaryDir home;
    const QString folder = home.filePath(QStringLiteral(".local/share/Quorin Terminal"));
    QDir().mkpath(folder);
    QFile file(folder + QStringLiteral("/journal.jsonl"));
    if (!file.open(QIODevice::WriteOnly))
        return 1;
    QByteArray chunk;
    for (int i = 0; i < records; ++i) {
        const QByteArray id = QByteArray::number(i, 36);
        chunk += "{\"id\":\"" + id + "\",\"kind\":\"intent\",\"time\":\"2026-11-25T02:00:00Z\",\"port\":\"/dev/ttyUSB0\","
                 "\"operation\":\"write\",\"source\":\"frmDProp\",\"address\":\"0134\",\"width\":2,\"before\":\"03E8\","
                 "\"written\":\"0FA0\",\"device\":\"0100=32,0105=00001388,010D=00000064\"}\n"
                 "{\"id\":\"" + id + "\",\"kind\":\"outcome\",\"outcome\":\"verified\",\"readBack\":\"0FA0\"}\n";
        if (chunk.size() > (1 << 20)) {
            file.write(chunk);
            chunk.clear();
        }
    }
    file.write(chunk);
    file.close();
    std::printf("journal: %d records, %.0f MB\n", records, double(file.size()) / 1e6);

    QProcess cli;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), home.path());
    env.remove(QStringLiteral("XDG_DATA_HOME"));
    cli.setProcessEnvironment(env);
    QElapsedTimer t;
    t.start();
    cli.start(QStringLiteral(QUORIN_CLI_EXE), {QStringLiteral("journal"), QStringLiteral("--last"), QStringLiteral("5")});
    cli.waitForFinished(600000);
    const qint64 ms = t.elapsed();
    rusage usage {};
    getrusage(RUSAGE_CHILDREN, &usage);
    std::printf("journal --last 5: %lld ms, peak memory %.1f MB, %d lines, exit %d\n", ms, usage.ru_maxrss / 1024.0,
                int(cli.readAllStandardOutput().count('\n')), cli.exitCode());
    return cli.exitCode();
}
