#include "clirun.h"

#include "filebytes.h"
#include "waituntil.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

static CliRun run(const QStringList &args, int timeoutMs, int afterMs, const std::function<void(QProcess &)> &meanwhile,
                  const QString &program = QStringLiteral(QUORIN_CLI_EXE))
{
    QProcess p;
    p.setProgram(program);
    p.setArguments(args);
    p.start();
    if (meanwhile)
        QTimer::singleShot(afterMs, &p, [&p, &meanwhile] { meanwhile(p); });
    CliRun r;
    waitUntil([&p, &r] {
        const QByteArray status = fileBytes(QStringLiteral("/proc/%1/status").arg(p.processId()));
        const auto m = QRegularExpression(QStringLiteral("VmHWM:\\s+(\\d+)")).match(QString::fromLatin1(status));
        r.peakKb = qMax(r.peakKb, m.captured(1).toLongLong()); // none read: 0
        return p.state() == QProcess::NotRunning;
    }, timeoutMs);
    if (p.state() != QProcess::NotRunning) {
        p.kill();
        p.waitForFinished(1000);
        r.err = program + QStringLiteral(" did not finish: ") + QString::fromLocal8Bit(p.readAllStandardError());
        return r;
    }
    r.code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
    r.out = QString::fromLocal8Bit(p.readAllStandardOutput());
    r.err = QString::fromLocal8Bit(p.readAllStandardError());
    return r;
}

CliRun runCli(const QStringList &args, int timeoutMs)
{
    return run(args, timeoutMs, 0, {});
}

CliRun runCli(const QString &port, const QStringList &args, int timeoutMs)
{
    return runCli(QStringList{QStringLiteral("--port"), port} + args, timeoutMs);
}

CliRun runCli(const QString &port, const QStringList &args, int afterMs, const std::function<void()> &meanwhile,
              int timeoutMs)
{
    std::function<void(QProcess &)> call;
    if (meanwhile)
        call = [&meanwhile](QProcess &) { meanwhile(); };
    return run(QStringList{QStringLiteral("--port"), port} + args, timeoutMs, afterMs, call);
}

CliRun runCliProcess(const QStringList &args, int afterMs, const std::function<void(QProcess &)> &meanwhile, int timeoutMs)
{
    return run(args, timeoutMs, afterMs, meanwhile);
}

CliRun runProgram(const QString &program, const QStringList &args, int timeoutMs)
{
    return run(args, timeoutMs, 0, {}, program);
}
