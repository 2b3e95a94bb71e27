#pragma once
// DeviceLink: the one path to the transmitter. It owns the serial port,
// frames commands, assembles replies from the receive events, times them out,
// and offers the memory read, write and verified write built on that.
//
// One request is outstanding at a time. A caller that waits runs a nested
// event loop, so timers and port events keep running during the wait.
#include <QObject>
#include <QPointer>
#include <QString>
#include <functional>

class Prompter;
#include "linkhealth.h"
#include "serialport.h"
#include <QElapsedTimer>
#include <QTimer>

class DeviceLink : public QObject
{
    Q_OBJECT
public:
    explicit DeviceLink(Prompter *prompter, QObject *parent = nullptr);
    ~DeviceLink() override;

    // The link takes ownership of the port; a previous port is deleted.
    void setPort(SerialPort *port);
    SerialPort *port() const { return m_port; }
    Prompter *prompter() const { return m_prompter; }
    void setPrompter(Prompter *prompter) { m_prompter = prompter; }

    // The main window's display poll; stopped around every exchange while
    // AutoUpdateOn is set and started again afterwards.
    void setTimer4(QTimer *timer) { m_timer4 = timer; }
    // Keeps the display poll off while held: every exchange holds it, a
    // verified write holds it from its write frame to the comparison of the
    // read-back, and the poll holds it for its own tick. Holds nest; the
    // poll starts again (when AutoUpdateOn) as the last one is released.
    void holdPoll();
    void releasePoll();
    bool pollHeld() const { return m_pollHolds > 0; }
    QTimer *Timer3 = nullptr;      // reply time-out

    // Opening the port when an exchange finds it closed. The main window
    // installs its port toggle here; the default opens the port and reports
    // the port's error text.
    void setOpenHandler(std::function<bool()> handler) { m_openHandler = std::move(handler); }
    bool PortOpen() const;
    bool openPort();               // true when the port is open afterwards
    bool openPortDirect();         // the default: open and report a failure

    // Link state, shared by every window.
    QString ReadPrefix = QStringLiteral("R5202:");
    QString WritePrefix = QStringLiteral("R5200:");
    bool Rs232Mode = true;
    bool AutoUpdateOn = false;
    bool AwaitingReply = false;
    bool LineReady = true;
    qint16 ExpectedByteCount = 0;
    QString RxAccumulator;
    qint32 RxCount = 0;
    bool FrameStartSeen = false;
    bool ReplyComplete = false;
    QString ReplyBuffer;
    bool ShowReplyStatus = false;
    qint16 TimeoutCount = 0;
    bool TimeoutSeen = false;
    bool SuppressTerminal = false; // the terminal pane's own suppress flag
    QString txtRs;                 // last complete raw reply
    QString lblTr;                 // last transmitted frame
    LinkHealth health;             // counters of the line since the start

    void SendFrame(const QString &command);
    QString Transact(const QString &command);
    // A plain text command (the set point): its characters and a carriage
    // return, without the frame end, and no reply awaited. It waits for the
    // line like an exchange and opens a closed port first.
    void SendText(const QString &command);
    // Takes in one received chunk. Only ":" followed by hex pairs of exactly
    // the expected count is a reply; before ":" nothing belongs to it but
    // the bus tag (RS485) and ">" (RS232). Greetings, telnet bytes and
    // broken frames are dropped and counted as discarded; a read whose reply
    // never comes whole ends by the time-out.
    // Once the data is whole only line ends may follow: any other byte,
    // in this chunk or before the reply is taken, makes the read fail.
    void AssembleReply(const QString &chunk);

    // A reply is taken only after the line has stayed quiet for this long
    // past its last digit: two characters at the line's speed and the
    // millisecond a UART holds a piece back (2 ms at 115200, 4 at 9600),
    // and what the way to the device adds (a network's packets). The
    // protocol has no end byte, so a device answering more than was asked
    // for is told apart only by what follows.
    int settleMs() const;
    // While one of these lives, reads are streamed: each reply is taken at
    // its last digit, without the settle wait. The caller uses a streamed
    // reply only after streamLineClean() said that nothing but line ends
    // followed it, up to the next reply's ":" or, after the last, for the
    // settle time (a tenth of a second at least).
    class StreamedReads
    {
    public:
        explicit StreamedReads(DeviceLink &link) : m_link(link), m_was(link.m_streaming) { link.m_streaming = true; }
        ~StreamedReads()
        {
            m_link.m_streaming = m_was;
            m_link.m_streamOpen = m_link.m_streamBad = false;
        }
        StreamedReads(const StreamedReads &) = delete;
        StreamedReads &operator=(const StreamedReads &) = delete;

    private:
        DeviceLink &m_link;
        bool m_was;
    };
    // False when more than line ends followed the last streamed reply (with
    // `settle`, after waiting the settle time); the read then counts as
    // failed, with the time-out's report unless `tell` is false (the read
    // after it failed and was told already). The verdict is given once.
    bool streamLineClean(bool settle, bool tell = true);

    QString ReadMemory(const QString &address, const QString &byteCount);
    // A write frame without a read-back (one typed in the terminal pane):
    // announced and reported like every write, its outcome not verified.
    void WriteMemory(const QString &address, const QString &byteCount, const QString &data);
    // The parts of a write frame typed as text (prefix, count, address, "00",
    // data); false for anything else.
    bool parseWriteFrame(const QString &frame, QString *address, QString *byteCount, QString *data) const;
    // Writes, pauses, reads the bytes back and compares. Returns data when the
    // device holds exactly that, else "". *readBack gets the text the device
    // read back ("" when no reply came), for callers that show it.
    QString WriteRamData(const QString &byteCount, const QString &address, const QString &data,
                         QString *readBack = nullptr);

    // Frame texts without the end bytes.
    QString readFrame(const QString &address, const QString &byteCount) const;
    QString writeFrame(const QString &address, const QString &byteCount, const QString &data) const;
    // The bytes that go on the wire for a command: a write frame (fifth
    // character "0") ends in 0x1A 0x0D, any other in 0x1A.
    static QByteArray wireBytes(const QString &command);

    // Milliseconds the verified write pauses so that the device can store
    // the bytes: until the time of day (seconds, plus one, rounded half to
    // even) is reached. Between 500 and 1500 ms; computed as a duration so
    // that a write started just before midnight does not wait for a clock
    // value that never comes.
    static int StorePauseMs(qint64 msecsSinceMidnight);
    // Tests shorten the pause and the time-out; -1 restores the real ones.
    void setStorePauseOverride(int msecs) { m_pauseOverride = msecs; }
    void setReplyTimeout(int msecs);
    int replyTimeout() const;

    // Waits without spinning: a nested event loop that ends when the
    // condition holds (tested whenever the link's flags change) or after
    // msecs (-1: no limit). Returns the condition's value at the end.
    bool waitFor(const std::function<bool()> &condition, int msecs = -1);
    // A pause that keeps the window alive.
    void pause(int msecs);

signals:
    void frameSent(const QString &frame);      // lblTr
    void replyReceived(const QString &raw);    // txtRs
    void terminalText(const QString &text);    // echo for the terminal pane
    void statusText(const QString &text);      // for the "Status" panel
    void commEvent(int code);                  // every port event, for the line-event handler
    void portStateChanged(bool open);
    void portLost(const QString &reason);
    void flagsChanged();
    // Before any write frame leaves, while nothing has been sent: the write
    // is journaled here, so that a crash during it leaves its trace.
    void ramDataWriting(const QString &address, const QString &byteCount, const QString &data);
    // A read of memory that came back whole: what the device holds there now.
    void memoryRead(const QString &address, const QString &data);
    // A write frame without a read-back has left.
    void memoryWritten(const QString &address, const QString &byteCount, const QString &data);
    // After every verified write has compared its read-back: what was asked
    // for and what the device held afterwards ("" when no reply came).
    void ramDataWritten(const QString &address, const QString &byteCount, const QString &data,
                        const QString &readBack, bool verified);

private:
    static int lineSettleMs(const QString &settings);
    struct Pending;
    void onCommEvent(int code);
    void onSendEvent();
    void onReceiveEvent();
    void onTimer3();
    void onPortLost(const QString &reason);
    void finishPending(bool ok);
    void discardStale();
    void dropFrame();
    void watchStreamTail(const QByteArray &bytes);
    void noteDiscard();
    void settleLine();
    void takeReply();
    void failRead();
    void reportMiss();
    QString exchange(const QString &command);

    Prompter *m_prompter;
    QPointer<SerialPort> m_port;
    QPointer<QTimer> m_timer4;
    QTimer *m_guard = nullptr;
    std::function<bool()> m_openHandler;
    Pending *m_pending = nullptr;
    int m_pauseOverride = -1;
    int m_pollHolds = 0;
    QElapsedTimer m_sentAt;        // the read frame awaited now went out
    QString m_beforeFrame;         // text since the last line end before ":" (the bus tag at most)
    bool m_lineNoise = false;      // the line so far cannot hold a reply
    int m_frameData = 0;           // hex digits of the frame being assembled
    bool m_frameBroken = false;    // the frame being assembled is not a reply
    bool m_discardCounted = false; // this run of noise is counted already
    bool m_unsettled = false;      // a reply timed out and may still come in
    qint64 m_lineBytes = 0;        // bytes read since the last frame went out
    QTimer *m_settle = nullptr;    // the quiet after a whole reply
    bool m_whole = false;          // the awaited reply's data is in
    bool m_overrun = false;        // more than the reply came after it
    bool m_streaming = false;      // replies are taken without the settle wait
    bool m_streamOpen = false;     // a streamed reply was taken, the next reply's ":" not yet in
    bool m_streamBad = false;      // a streamed reply was followed by more of it
    QByteArray m_afterStream;      // the first bytes on its line after it
    qint64 m_replyMs = 0;          // the awaited reply's data was whole this long after its frame
};
