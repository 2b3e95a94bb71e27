#pragma once
// The simulated transmitter as a serial port inside the program: what the
// terminal writes goes to a SimDevice, the device's replies come back as
// receive events, all from the event loop (never from inside write()).
#include "link/serialport.h"
#include "simfaults.h"

#include <QPointer>

class SimDevice;
class SimLine;

class SimSerialPort : public SerialPort
{
    Q_OBJECT
public:
    // Without a device the port makes its own "standard" one. A device given
    // here stays the caller's (give it this port as parent to tie them).
    explicit SimSerialPort(SimDevice *device = nullptr, QObject *parent = nullptr);
    ~SimSerialPort() override;

    QString portName() const override;
    void setPortName(const QString &) override {} // always the simulated transmitter
    bool open() override;
    void close() override;
    bool isOpen() const override { return m_open; }
    QString settings() const override { return m_settings; }
    bool setSettings(const QString &settings) override;
    bool setHandshaking(int mode) override;
    int handshaking() const override { return m_handshaking; }
    qint64 write(const QByteArray &bytes) override;
    QByteArray readAll() override;
    bool flush(int) override { return true; }
    QString errorString() const override { return m_error; }
    void setInterfaceMode(bool rs232) override;

    SimDevice *device() const { return m_device; }

    // The name the simulated transmitter goes by in port lists.
    static const QString Name;
    // Offers it to the port factory: a device of the preset, with these
    // faults, its clock running, made afresh whenever the port is chosen.
    static void registerPort(const QString &preset = QStringLiteral("standard"), const SimFaults &faults = SimFaults(),
                             bool rs485 = false);

    // Replies take the time the wire would take at the set baud rate.
    void setPacing(bool on);
    bool pacing() const;
    // Milliseconds of line time per piece of a paced reply.
    void setPieceMs(int ms);
    void setFaults(const SimFaults &faults);
    SimFaults faults() const;
    // Emits commEvent(code), as a real port does on a line change or error.
    void raiseEvent(int code);

    // Reads "9600,n,8,1": baud, parity n/e/o/m/s, data bits 4-8, stop bits
    // 1, 1.5 or 2. False with a reason for anything else.
    static bool parseSettings(const QString &text, int *baud, QString *error);

private:
    void deliver(const QByteArray &piece);
    void emitSends();
    void onHangUp();

    QPointer<SimDevice> m_device;
    SimLine *m_line;
    bool m_open = false;
    QString m_settings = QStringLiteral("9600,n,8,1");
    int m_handshaking = 0;
    QByteArray m_rx;
    QString m_error;
    int m_sendsDue = 0;
};
