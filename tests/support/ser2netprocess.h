#pragma once
// Runs Debian's ser2net for a test: serves one serial device (a simulator's
// pseudo-terminal) on a TCP port of 127.0.0.1, as raw bytes or with the
// telnet com-port option. Waits run nested event loops.
//
//   Ser2netProcess s2n;
//   QVERIFY2(s2n.start(sim.path(), Ser2netProcess::Rfc2217), qPrintable(s2n.errorString()));
//   runCli(s2n.address(), {"info"});
#include <QObject>
#include <QString>

class QProcess;
class QTemporaryDir;

class Ser2netProcess : public QObject
{
    Q_OBJECT
public:
    enum Mode { Raw, Rfc2217 };
    explicit Ser2netProcess(QObject *parent = nullptr);
    ~Ser2netProcess() override;

    // The installed ser2net, or empty.
    static QString program();

    // Starts it on a free port and waits until it listens. False (see
    // errorString()) when it did not.
    bool start(const QString &device, Mode mode, int timeoutMs = 5000);
    // "tcp://127.0.0.1:PORT" or "rfc2217://127.0.0.1:PORT".
    QString address() const;
    quint16 port() const { return m_port; }
    QString errorString() const { return m_error; }
    // Ends it (SIGTERM, then SIGKILL) and waits.
    void stop();

private:
    bool listening() const;

    QProcess *m_process;
    QTemporaryDir *m_dir;
    QString m_error;
    quint16 m_port = 0;
    Mode m_mode = Raw;
};
