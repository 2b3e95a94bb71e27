#pragma once
// Starts quorin-sim for a test and gives the pseudo-terminal path it serves.
// Every wait runs a nested event loop, so the test's own objects keep working.
//
//   SimProcess sim;
//   QVERIFY2(sim.start({"--no-pacing"}), qPrintable(sim.errorString()));
//   QtSerialPort port(sim.path());
#include <QObject>
#include <QProcess>
#include <QStringList>

class SimProcess : public QObject
{
    Q_OBJECT
public:
    explicit SimProcess(QObject *parent = nullptr);
    ~SimProcess() override; // stops the simulator if it still runs

    // Starts quorin-sim with args and waits for the path line. False (see
    // errorString()) when it did not start, exited or printed no path in time.
    bool start(const QStringList &args = {}, int timeoutMs = 10000);
    QString path() const { return m_path; }
    QString errorString() const { return m_error; }

    bool isRunning() const { return m_process->state() != QProcess::NotRunning; }
    // Ends it with SIGTERM; true when it exited normally with status 0 in time.
    bool stop(int timeoutMs = 5000);
    // Waits for it to end on its own; true when it did within the time.
    bool waitForExit(int timeoutMs);
    bool crashed() const { return m_process->exitStatus() == QProcess::CrashExit; }
    // Everything it wrote to stderr so far.
    QByteArray errorOutput();

    QProcess *process() const { return m_process; }

private:
    QProcess *m_process;
    QString m_path;
    QString m_error;
    QByteArray m_stderr;
};
