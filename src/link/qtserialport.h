#pragma once
// SerialPort on a real line (or a pseudo-terminal) through Qt Serial Port.
#include "lineparams.h"
#include "serialport.h"

class QSerialPort;
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
    bool flush(int msecs) override;
    QString errorString() const override { return m_error; }

    // "Com3" is /dev/ttyS2 on this platform; anything else is a device path.
    static QString systemName(const QString &name);

private:
    bool apply();
    void pollLines();
    void onError(int error);

    QSerialPort *m_port;
    QTimer *m_linePoll;
    QString m_name;
    QString m_settings = QStringLiteral("9600,n,8,1");
    QString m_error;
    int m_handshaking = 0;
    int m_lastLines = -1;
    bool m_lost = false;
};
