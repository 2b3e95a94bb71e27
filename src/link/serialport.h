#pragma once
// The transport under DeviceLink: a serial line, a simulated transmitter, or
// a test double. Port events reach the link as the numeric event codes of the
// line-event table, so the main window's event handler can consume them.
#include <QObject>
#include <QByteArray>
#include <QString>

class QIODevice;

namespace CommEvent {
enum Code : int {
    Send = 1, Receive = 2, CTS = 3, DSR = 4, CD = 5, Ring = 6, EndOfFile = 7,
    Break = 1001, CTSTimeout = 1002, DSRTimeout = 1003, Frame = 1004,
    Overrun = 1006, CDTimeout = 1007, RxOver = 1008, RxParity = 1009,
    TxFull = 1010, DCB = 1011,
};
}

class SerialPort : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    ~SerialPort() override = default;

    // The port's name as the operator chose it ("Com1", "/dev/ttyUSB0",
    // "Simulated transmitter").
    virtual QString portName() const = 0;
    virtual void setPortName(const QString &name) = 0;

    virtual bool open() = 0;             // false: errorString() says why
    virtual void close() = 0;
    virtual bool isOpen() const = 0;

    // Line settings text "9600,n,8,1" (baud, parity letter, data bits, stop bits).
    virtual QString settings() const = 0;
    virtual bool setSettings(const QString &settings) = 0; // false: errorString()
    // Handshaking mode 0 none, 1 XON/XOFF, 2 RTS/CTS, 3 both.
    virtual bool setHandshaking(int mode) = 0;
    virtual int handshaking() const = 0;

    virtual qint64 write(const QByteArray &bytes) = 0;
    virtual QByteArray readAll() = 0;
    // Drops everything received and not yet read, down to the driver's
    // buffer where the port has one.
    virtual void discardInput() { readAll(); }
    // Waits (without blocking the event loop for long) for queued output to
    // leave; false when it did not leave within msecs.
    virtual bool flush(int msecs) = 0;

    virtual QString errorString() const = 0;

    // The interface the terminal is set to (RS232 or the RS485 bus). A serial
    // line does not care; a port that is itself the device (the simulated
    // transmitter) answers the way a device on that interface would.
    virtual void setInterfaceMode(bool rs232) { Q_UNUSED(rs232); }

    // The reply now awaited cannot be complete before this many more bytes
    // have come (0: nothing awaited). A port that can lets the system hold
    // the bytes until then instead of waking once per piece; the count
    // falls as bytes are read, and discardInput() clears it. The reply
    // time-out stays the backstop for a reply that comes short.
    virtual void setExpectedReplyBytes(int bytes) { Q_UNUSED(bytes); }

    // The longest pause the way to the device may put inside one reply on
    // top of the line's own character times (a network cuts a reply into
    // packets and may hold one back).
    virtual int transitGapMs() const { return 0; }

signals:
    // Send (1) when written bytes reached the line, Receive (2) when bytes are
    // waiting, and the line-change and error codes.
    void commEvent(int code);
    // The port went away under us (cable pulled, far end hung up). The port is
    // already closed when this is emitted; it is reported once.
    void portLost(const QString &reason);

protected:
    // The waiting part of flush() for a port over a Qt device: runs the event
    // loop until the device has written everything, msecs pass or the port is
    // lost. True when nothing is left to write.
    bool waitWritten(QIODevice *device, int msecs);
};
