#pragma once
// A simulated flow transmitter: 32 KiB of device memory answering the
// terminal's read and write frames, with a live flow, a totalizer and a flow
// log that move on as time passes.
//
// Wire behaviour
//   A frame ends at 0x1A; the 0x0D a write frame carries after it is dropped.
//   Read  "R5202:" CC AAAA "00"       -> ":" + CC bytes as upper-case hex
//   Write "R5200:" CC AAAA "00" DD..  -> bytes stored, nothing sent back
//   The fifth character alone makes the kind: "0" is a write, anything else a
//   read. In RS485 mode a reply starts with the four-character bus tag "01R5".
//   Hex digits are taken in either case. Bytes before a frame's prefix (line
//   noise) are skipped: the frame starts five characters before its last ":".
//   A frame is ignored (no answer, no change) when it has no prefix and ":",
//   count or address is not hex, the address low byte is not "00", address +
//   count runs past 7FFFh, a read carries anything after the address, or a
//   write's data is not whole hex pairs or holds more than CC bytes. A write
//   with fewer bytes than CC stores the bytes it has. A read of count 00
//   answers ":" alone. Bytes that never reach a 0x1A are dropped once more
//   than 1024 of them pile up.
//
// Live memory (rewritten by the device as time passes; a frame may write
// there, the device overwrites it on its next tick)
//   Display block 012Ah..0133h: the five display digits sit in the low nibble
//     (high nibble 0) of 012Ah (a, least significant), 012Bh (b), 012Fh (c),
//     0132h (d), 0133h (e, most significant). 012Ch is unused; 012Dh-012Eh
//     and 0130h-0131h are correction coefficients A and B, never touched.
//   014Fh: decimal-point code 0..7 (0 "e.dcba", 1 "ed.cba", 2 "edc.ba",
//     3 "edcb.a", 4 "edcba", 5-7 "edcba" + 1-3 zeros), picked from the
//     full-scale flow so that full scale just fits the five digits.
//   Flow: engineering units per time base (0104h: s, min, h, day); full scale
//     is 0105h, divided by 10 when coefficient A is 202 (tenths mode).
//   Totalizer
//     015Ch, 4 bytes: running total, whole units (wraps at 2^32).
//     0109h: multiplier of the shown total (0 none, 1 thousands, 2 millions).
//     010Ah: fraction of the running total in hundredths (0..99).
//     0174h..017Bh: the shown total, one decimal digit 0-9 per byte, most
//       significant first: the running total when it is at most 99999999,
//       else total / 1000 (multiplier 1), else total / 1000000 (multiplier 2).
//     The device recomputes 0109h and 0174h whenever the total moves or 015Ch
//     is written. The reset writes ("00000000" to 015Ch, "0000" to 0109h)
//     therefore leave total, fraction, multiplier and digits at 0.
//   Flow log: sample n (from 1) at 0200h + 2(n-1), 2 bytes, high byte first,
//     value = flow / full scale x 32767 rounded (0..32767). One sample every
//     01E8h seconds (0 stops the log); 01FEh (2 bytes) is the address of the
//     next sample, back to 0200h after the slot at 7FFCh. Memory beyond the
//     logged samples reads FFh (erased).
//
// A write to the log interval or the data pointer restarts the log interval
// (and no sample comes within 2 s of it); a write to the totalizer holds the
// total for 2 s. A verified write (write, pause, read back) of those values
// therefore reads back what it wrote even while the device runs.
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QStringList>

class QTimer;
class QElapsedTimer;

class SimDevice : public QObject
{
    Q_OBJECT
public:
    static constexpr int MemorySize = 0x8000;
    static constexpr int LogStart = 0x0200;
    static constexpr int LogLastSample = 0x7FFC;

    // "standard", "tenths" (coefficient A 202, full scale in tenths) and
    // "second" (another configuration, for copying between two devices).
    static QStringList presetNames();

    // An unknown preset name gives the "standard" device.
    explicit SimDevice(const QString &preset = QStringLiteral("standard"), QObject *parent = nullptr);
    ~SimDevice() override;

    QString preset() const { return m_preset; }

    // One complete frame and what the device made of it.
    struct Exchange {
        QByteArray frame;   // the frame's text without its end bytes
        QByteArray reply;   // the bytes to send back (empty for writes and ignored frames)
        bool answered = false; // a read that produced a reply
        bool write = false;    // a write frame that was stored
    };
    // Takes received bytes; returns one entry per frame they completed.
    QList<Exchange> feedFrames(const QByteArray &bytes);
    // The same, with the replies joined: the bytes to send back, possibly none.
    QByteArray feed(const QByteArray &bytes);

    void setRs485(bool on) { m_rs485 = on; }
    bool rs485() const { return m_rs485; }
    static QByteArray busTag() { return QByteArrayLiteral("01R5"); }

    // Answers the read that directly follows a write, at the same address,
    // with one hex digit changed; the memory keeps what was written.
    void setCorruptReadback(bool on) { m_corruptReadback = on; }

    QByteArray memory() const { return m_mem; }
    quint8 byte(int addr) const;
    quint32 value(int addr, int width) const; // big-endian, width 1..4
    void setBytes(int addr, const QByteArray &bytes);
    void setValue(int addr, int width, quint32 value);

    // Every frame counts, ignored ones too; the texts of the last 10000 are
    // kept (without their end bytes), so a device serving for days stays small.
    int framesReceived() const { return m_frameCount; }
    QStringList receivedFrames() const { return m_frames; }
    void clearReceivedFrames() { m_frames.clear(); m_frameCount = 0; }

    // Live behaviour. advance() moves the device's own clock by ms (tests);
    // startClock() lets a timer do it with real elapsed time.
    void advance(int ms);
    void startClock(int tickMs = 100);
    void stopClock();
    qint64 clockMs() const { return m_timeMs; }

    // The flow in engineering units right now, as the device shows it.
    double flow() const { return m_flow; }
    double fullScale() const;
    // Holds the flow at 0 (a closed valve) until released.
    void setFlowStopped(bool stopped);
    bool flowStopped() const { return m_stopped; }

    // The flow the device would measure at clock time t (ms), before stopping.
    double profileFlow(qint64 tMs) const;

signals:
    // Emitted from inside feed(), as each frame ends.
    void frameReceived(const QString &frame);

private:
    void loadPreset(const QString &name);
    void prefillLog(int samples);
    Exchange handleFrame(const QByteArray &frame);
    void afterWrite(int addr, int count);
    void step(int ms);
    void writeDisplay();
    void writeTotalDisplay();
    void appendLogSample();
    quint16 logSample(double flow) const;

    QByteArray m_mem;
    QByteArray m_rx;
    QStringList m_frames;
    int m_frameCount = 0;
    QString m_preset;
    bool m_rs485 = false;
    bool m_corruptReadback = false;
    bool m_dropCr = false;
    int m_lastWriteAddr = -1;   // address of the write just before this frame

    qint64 m_timeMs = 0;
    double m_flow = 0;
    bool m_stopped = false;
    double m_totalRest = 0;     // below a hundredth, not yet counted
    int m_totalHoldMs = 0;
    int m_logElapsedMs = 0;

    QTimer *m_clock = nullptr;
    QElapsedTimer *m_wall = nullptr;
    qint64 m_wallMs = 0;
};
