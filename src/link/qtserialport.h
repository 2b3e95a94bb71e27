#pragma once
// SerialPort on a real line (or a pseudo-terminal) through Qt Serial Port.
#include "lineparams.h"
#include "serialport.h"

#include <QByteArray>
#include <QList>
#include <QPointer>

class QSerialPort;
class QSocketNotifier;
class QTimer;

class QtSerialPort : public SerialPort
{
    Q_OBJECT
public:
    explicit QtSerialPort(const QString &name = QString(), QObject *parent = nullptr);
    ~QtSerialPort() override;

    QString portName() const override { return m_name; }
    // What the operator is told when the line goes away under an open port.
    static QString lostText(const QString &portName);
    void setPortName(const QString &name) override;
    bool open() override;
    void close() override;
    bool isOpen() const override;
    QString settings() const override { return m_settings; }
    bool setSettings(const QString &settings) override;
    bool setHandshaking(int mode) override;
    int handshaking() const override { return m_handshaking; }
    qint64 write(const QByteArray &bytes) override;
    QByteArray readAll() override;
    void discardInput() override;
    bool flush(int msecs) override;
    QString errorString() const override { return m_error; }
    void setExpectedReplyBytes(int bytes) override;
    // A USB adapter passes received bytes on when its latency timer (16 ms
    // by default) runs out: the rest of a reply can come that much later.
    int transitGapMs() const override { return 20; }

    // The terminal driver's read threshold (VMIN) for a reply that still
    // misses that many bytes: one byte wide, and 0 (the open state) when
    // nothing is missing.
    static int readThreshold(int missing) { return qBound(0, missing, 255); }

    // "Com3" is /dev/ttyS2 on this platform; anything else is a device path.
    static QString systemName(const QString &name);

    // The UART's error counters: break, framing, overrun, parity.
    struct ErrorCounts {
        int brk = 0;
        int frame = 0;
        int overrun = 0;
        int parity = 0;
    };
    // The line-error events to raise for counters that moved between two
    // readings, once each: 1001 break, 1004 framing, 1006 overrun, 1009 parity.
    static QList<int> errorEvents(const ErrorCounts &before, const ErrorCounts &now);

    // The two queries the line poll makes of a real UART: TIOCMGET (the modem
    // lines) and TIOCGICOUNT (the error counters). Replaceable so that a line
    // can be played without hardware; nullptr puts the system's ioctl back.
    using LineIoctl = int (*)(int fd, unsigned long request, void *arg);
    static void setLineIoctl(LineIoctl query);

private:
    bool apply();
    void pollLines();
    bool pollModemLines();
    bool pollErrorCounts();
    void onError(int error);
    void applyReadThreshold();
    void onReadyRead();
    void drainDriver();
    void sleepThroughThreshold();
    void listen(bool on);

    QSerialPort *m_port;
    QTimer *m_linePoll;
    QTimer *m_wake;
    QPointer<QSocketNotifier> m_readNotifier;
    QString m_name;
    QString m_settings = QStringLiteral("9600,n,8,1");
    QString m_error;
    int m_handshaking = 0;
    int m_lastLines = -1;
    bool m_linesRefused = false;
    bool m_countsRefused = false;
    bool m_haveCounts = false;
    ErrorCounts m_lastCounts;
    bool m_lost = false;
    int m_missing = 0;   // bytes the awaited reply still needs at least
    int m_threshold = 0; // VMIN as last set on the line
    QByteArray m_drained; // read past Qt, handed on before what Qt holds
};
