#pragma once
// The simulated transmitter's side of the serial line: takes the bytes the
// terminal sent, lets the device answer, and hands the replies back on the
// line's timing, with the chosen faults applied. Shared by the in-process
// port and the pseudo-terminal server so both behave alike.
#include "simfaults.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QRandomGenerator>

class QTimer;
class SimDevice;

class SimLine : public QObject
{
    Q_OBJECT
public:
    explicit SimLine(SimDevice *device, QObject *parent = nullptr);

    SimDevice *device() const { return m_device; }

    void setFaults(const SimFaults &faults);
    SimFaults faults() const { return m_faults; }
    // With pacing each byte takes 10 bit times at the baud rate in both
    // directions: a reply starts once the request has fully arrived and
    // leaves in pieces as its bytes would cross the wire.
    void setPacing(bool on) { m_pacing = on; }
    bool pacing() const { return m_pacing; }
    void setBaud(int baud);
    int baud() const { return m_baud; }
    // A paced reply is handed on in pieces of this many milliseconds of line
    // time, as a UART's receive FIFO or a USB adapter hands bytes on (about
    // 1 ms); at least one byte per piece.
    void setPieceMs(int ms) { m_pieceMs = qMax(1, ms); }
    int pieceMs() const { return m_pieceMs; }

    // Bytes from the terminal.
    void receive(const QByteArray &bytes);
    // The line was closed or reopened: drop what is still on its way, count
    // frames from zero again.
    void reset();
    // A client connected (or the port was opened): what a device server
    // sends first, when a fault says so.
    void connected();

    int frames() const { return m_frames; }
    bool hungUp() const { return m_hungUp; }
    bool idle() const { return m_queue.isEmpty(); }

signals:
    // Bytes leaving the device, one piece at a time.
    void transmit(const QByteArray &piece);
    // The hang-up fault struck; emitted once, from the event loop.
    void hangUp();

private:
    struct Piece {
        qint64 dueNs;
        QByteArray bytes;
    };
    void schedule(const QByteArray &reply, qint64 earliestNs);
    void arm();
    void onTimer();
    qint64 byteNs() const { return 10'000'000'000LL / m_baud; }

    QPointer<SimDevice> m_device;
    SimFaults m_faults;
    bool m_pacing = false;
    int m_baud = 9600;
    int m_pieceMs = 10;
    QList<Piece> m_queue;
    QTimer *m_timer;
    QElapsedTimer m_clock;
    qint64 m_rxFreeNs = 0;  // when the bytes received so far have fully arrived
    qint64 m_txFreeNs = 0;  // when the device's transmitter is free again
    int m_frames = 0;
    bool m_hungUp = false;
    QRandomGenerator m_rng;
};
