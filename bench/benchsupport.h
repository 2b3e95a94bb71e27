#pragma once
// Helpers shared by the soak, CPU and start-up benchmarks: resident memory
// and CPU time from the kernel, a quorin-sim process, and a prompter that
// prints and counts the messages an operator would have seen.
#include "common/prompter.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

namespace bench {

class StderrPrompter : public Prompter
{
public:
    void message(const QString &text, const QString &title, Icon) override
    {
        std::fprintf(stderr, "  message [%s] %s\n", qPrintable(title),
                     qPrintable(QString(text).replace(QLatin1Char('\r'), QLatin1Char(' '))));
        ++messages;
    }
    bool askYesNo(const QString &, const QString &, Icon) override { return false; }
    bool askOkCancel(const QString &, const QString &, Icon) override { return false; }
    bool inputBox(const QString &, const QString &, const QString &, QString *) override { return false; }
    QString openFileName(const QString &, const QString &, const QString &) override { return QString(); }
    QString saveFileName(const QString &, const QString &, const QString &) override { return QString(); }
    void beep() override {}
    int messages = 0;
};

// A "Vm..." line of /proc/<pid>/status in kB ("VmRSS", "VmHWM"); -1 if absent.
inline qint64 statusKb(const char *key, const QString &pid = QStringLiteral("self"))
{
    QFile f(QStringLiteral("/proc/%1/status").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(key) + ':';
    for (const QByteArray &line : f.readAll().split('\n'))
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLongLong();
    return -1;
}

// User + system CPU seconds of this process.
inline double cpuSeconds()
{
    rusage u {};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// CPU seconds another running process has used so far (clock-tick resolution).
inline double processCpuSeconds(qint64 pid)
{
    QFile f(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray stat = f.readAll();
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13)
        return -1;
    return double(fields.at(11).toLongLong() + fields.at(12).toLongLong()) / double(sysconf(_SC_CLK_TCK));
}

// Runs the event loop for ms milliseconds.
inline void settle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// quorin-sim on a pseudo-terminal; stopped when this object goes.
class Sim
{
public:
    ~Sim()
    {
        if (process.state() != QProcess::NotRunning) {
            process.terminate();
            process.waitForFinished(3000);
        }
    }
    // Starts it and reads the path line; false with the reason on stderr.
    bool start(const QStringList &args)
    {
        process.setProgram(QStringLiteral(QUORIN_SIM_EXE));
        process.setArguments(args);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start();
        QEventLoop loop;
        QTimer limit;
        limit.setSingleShot(true);
        QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
        QObject::connect(&process, &QProcess::readyReadStandardOutput, &loop, [&] {
            if (process.canReadLine())
                loop.quit();
        });
        QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
        limit.start(10000);
        loop.exec();
        path = QString::fromLocal8Bit(process.readLine()).trimmed();
        if (path.isEmpty())
            std::fprintf(stderr, "quorin-sim (%s) gave no pseudo-terminal\n", QUORIN_SIM_EXE);
        return !path.isEmpty();
    }
    qint64 pid() const { return process.processId(); }

    QProcess process;
    QString path;
};

} // namespace bench
