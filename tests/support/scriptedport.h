#pragma once
// A SerialPort for link tests: records what is written and delivers replies
// that the test queues, as a device on the far end would.
#include "link/serialport.h"

#include <QList>
#include <utility>

class ScriptedPort : public SerialPort
{
    Q_OBJECT
public:
    using SerialPort::SerialPort;

    QString portName() const override { return QStringLiteral("Scripted"); }
    void setPortName(const QString &) override {}
    bool open() override;
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }
    QString settings() const override { return QStringLiteral("9600,n,8,1"); }
    bool setSettings(const QString &) override { return true; }
    bool setHandshaking(int) override { return true; }
    int handshaking() const override { return 0; }
    qint64 write(const QByteArray &bytes) override;
    QByteArray readAll() override { return std::exchange(m_rx, QByteArray()); }
    bool flush(int) override { return true; }
    QString errorString() const override { return m_error; }

    // Each reply is answered to one read frame (in order), delivered in the
    // given pieces; an empty list means the device stays silent for that frame.
    QList<QList<QByteArray>> replies;
    // Frames written so far (the bytes as sent, end bytes included).
    QList<QByteArray> written;
    bool failOpen = false;
    // Off: the port never reports a frame as sent (a driver that loses the event).
    bool sendEvents = true;

private:
    bool m_open = false;
    QByteArray m_rx;
    QString m_error;
};
