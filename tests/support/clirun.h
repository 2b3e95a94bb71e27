#pragma once
// Runs quorin-cli as a technician's script would and collects what it said.
// The wait is a nested event loop, so a simulator in the same test keeps
// answering.
#include <QString>
#include <QStringList>
#include <functional>

class QProcess;

struct CliRun {
    int code = -1;   // exit code; -1 did not finish, -2 crashed
    QString out;
    QString err;
    qint64 peakKb = 0; // the most memory it held (VmHWM), as last seen while it ran
    // The lines of out, blank ones left out.
    QStringList lines() const { return out.split(QLatin1Char('\n'), Qt::SkipEmptyParts); }
};

CliRun runCli(const QStringList &args, int timeoutMs = 30000);
// Another of the programs (quorin-sim, quorin-terminal), the same way.
CliRun runProgram(const QString &program, const QStringList &args, int timeoutMs = 30000);
// Same on a named port: "--port PATH" in front of args.
CliRun runCli(const QString &port, const QStringList &args, int timeoutMs = 30000);
// Same, and calls meanwhile() once after afterMs while quorin-cli runs (to
// pull the line from under it, say).
CliRun runCli(const QString &port, const QStringList &args, int afterMs, const std::function<void()> &meanwhile,
              int timeoutMs = 30000);
// Same without a port, and hands meanwhile() the running process (to kill
// it mid-command, say).
CliRun runCliProcess(const QStringList &args, int afterMs, const std::function<void(QProcess &)> &meanwhile,
                     int timeoutMs = 30000);
