// Sweep of a simulated site: quorin-sim serving N transmitters (default 100)
// paced at 9600 baud, swept by quorin-cli with 1, 8 and 32 jobs. Reports the
// time of one transmitter swept alone, each sweep's elapsed time against
// (N / jobs) x that time, the peak resident memory of all processes together
// (the sweep, its children and the simulator) and the CPU per transmitter.
//
//   bench_sweep [--devices N] [--jobs 1,8,32] [--baud 9600]
#include "benchsupport.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sys/resource.h>

namespace {

const QString kCli = QFileInfo(QStringLiteral(QUORIN_SIM_EXE)).dir().filePath(QStringLiteral("quorin-cli"));

double childrenCpuSeconds()
{
    rusage u {};
    getrusage(RUSAGE_CHILDREN, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// Resident memory of a process and all its descendants, in kB.
qint64 treeRssKb(qint64 root)
{
    QMap<qint64, qint64> parent;
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool ok = false;
        const qint64 pid = entry.toLongLong(&ok);
        if (!ok)
            continue;
        QFile f(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!f.open(QIODevice::ReadOnly))
            continue;
        const QByteArray stat = f.readAll();
        parent.insert(pid, stat.mid(stat.lastIndexOf(')') + 2).split(' ').value(1).toLongLong());
    }
    qint64 kb = 0;
    for (auto it = parent.begin(); it != parent.end(); ++it) {
        for (qint64 p = it.key(); p > 1; p = parent.value(p, 0))
            if (p == root) {
                kb += qMax<qint64>(0, bench::statusKb("VmRSS", QString::number(it.key())));
                break;
            }
    }
    return kb;
}

struct Sweep {
    double seconds = 0;
    double cpu = 0;       // the sweep and all its children
    qint64 peakKb = 0;    // the sweep's process tree
    int code = -1;
    QString summary;
};

Sweep sweep(const QString &site, const QString &out, int jobs)
{
    Sweep s;
    QProcess p;
    const double cpu0 = childrenCpuSeconds();
    QElapsedTimer t;
    t.start();
    p.start(kCli, {QStringLiteral("sweep"), site, QStringLiteral("--out"), out, QStringLiteral("--jobs"), QString::number(jobs)});
    QEventLoop loop;
    QTimer sample;
    QObject::connect(&sample, &QTimer::timeout, [&] { s.peakKb = qMax(s.peakKb, treeRssKb(p.processId())); });
    QObject::connect(&p, &QProcess::finished, &loop, &QEventLoop::quit);
    sample.start(100);
    loop.exec();
    s.seconds = t.elapsed() / 1000.0;
    s.cpu = childrenCpuSeconds() - cpu0;
    s.code = p.exitCode();
    const QList<QByteArray> lines = p.readAllStandardOutput().trimmed().split('\n');
    s.summary = QString::fromUtf8(lines.last());
    return s;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption devicesOpt(QStringLiteral("devices"), QStringLiteral("Transmitters."), QStringLiteral("N"), QStringLiteral("100"));
    const QCommandLineOption jobsOpt(QStringLiteral("jobs"), QStringLiteral("Job counts to try."), QStringLiteral("LIST"), QStringLiteral("1,8,32"));
    const QCommandLineOption baudOpt(QStringLiteral("baud"), QStringLiteral("Line speed."), QStringLiteral("N"), QStringLiteral("9600"));
    parser.addOptions({devicesOpt, jobsOpt, baudOpt});
    parser.addHelpOption();
    parser.process(app);
    const int n = parser.value(devicesOpt).toInt();

    bench::Sim sim;
    if (!sim.start({QStringLiteral("--listen"), QStringLiteral("0"), QStringLiteral("--devices"), QString::number(n),
                    QStringLiteral("--baud"), parser.value(baudOpt)}))
        return 1;
    const int first = sim.path.section(QLatin1Char(':'), -1).toInt();
    QTemporaryDir dir;
    QByteArray all = "name,port,settings,interface,golden\n";
    for (int i = 0; i < n; ++i)
        all += QStringLiteral("t%1,tcp://127.0.0.1:%2,,,\n").arg(i + 1, 3, 10, QLatin1Char('0')).arg(first + i).toUtf8();
    const auto writeSite = [&](const QString &name, const QByteArray &bytes) {
        QFile f(dir.filePath(name));
        f.open(QIODevice::WriteOnly);
        f.write(bytes);
        return f.fileName();
    };
    const QString site = writeSite(QStringLiteral("site.csv"), all);
    const QString one = writeSite(QStringLiteral("one.csv"), all.left(all.indexOf('\n', all.indexOf('\n') + 1) + 1));

    // One transmitter alone, three times; the median is the yardstick.
    QList<double> alone;
    for (int i = 0; i < 3; ++i)
        alone << sweep(one, dir.filePath(QStringLiteral("one")), 1).seconds;
    std::sort(alone.begin(), alone.end());
    const double t1 = alone[1];
    std::printf("one transmitter alone at %s baud: %.2f s (runs %.2f %.2f %.2f)\n", qPrintable(parser.value(baudOpt)), t1,
                alone[0], alone[1], alone[2]);
    // The ideal counts whole rounds (ceil(N/jobs)) and, as a stricter
    // yardstick, the plain N/jobs.
    std::printf("%6s %10s %12s %7s %12s %7s %14s %16s %6s\n", "jobs", "elapsed s", "rounds x T1", "ratio", "N/jobs x T1",
                "ratio", "peak RSS MB", "CPU/transmitter", "exit");
    for (const QString &j : parser.value(jobsOpt).split(QLatin1Char(','))) {
        const int jobs = j.toInt();
        const double simCpu0 = bench::processCpuSeconds(sim.pid());
        const Sweep s = sweep(site, dir.filePath(QStringLiteral("out%1").arg(jobs)), jobs);
        const double simCpu = bench::processCpuSeconds(sim.pid()) - simCpu0;
        const double rounds = std::ceil(double(n) / jobs) * t1;
        const double plain = double(n) / jobs * t1;
        const qint64 simKb = bench::statusKb("VmRSS", QString::number(sim.pid()));
        std::printf("%6d %10.1f %12.1f %7.2f %12.1f %7.2f %14.1f %14.0f ms %6d\n", jobs, s.seconds, rounds, s.seconds / rounds,
                    plain, s.seconds / plain, (s.peakKb + simKb) / 1024.0, 1000 * s.cpu / n, s.code);
        std::printf("       %s; simulator CPU %.0f ms per transmitter\n", qPrintable(s.summary), 1000 * simCpu / n);
        std::fflush(stdout);
    }
    return 0;
}
