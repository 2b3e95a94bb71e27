#include "devicelink.h"

#include "common/numtext.h"
#include "common/prompter.h"
#include "serialport.h"

#include <QEventLoop>
#include <QRegularExpression>
#include <QStringList>
#include <QTime>
#include <QTimer>
#include <cmath>
#include <utility>

namespace {
const int kReplyTimeoutMs = 3000;
// A read that expects no data bytes never starts the reply timer; this guard
// ends such a wait (and any wait whose send event never came) so that a
// silent device cannot hang the program.
const int kGuardExtraMs = 2000;
const QString kSystemMonitor = QStringLiteral("System Monitor");
// On the two-wire bus every reply starts with a four-character bus tag
// before its ":"; the reply is whole when the tag and the data are in.
const int kBusTagLength = 4;
// After the last of streamed replies the line is watched this long at least:
// a tail held back by a busy device or adapter has no later reply to show in.
const int kStreamEndQuietMs = 100;
// Far more than any reply (255 data bytes are 510 characters): past this
// much in one frame period the line is flooding; what comes after is left in
// the port and dropped with the next frame.
const qint64 kLineBudget = 8192;

// Line ends may follow a reply; in RS232 so may the prompt ">".
bool onlyLineEnds(const QByteArray &bytes, bool rs232)
{
    for (const char c : bytes)
        if (c != '\r' && c != '\n' && !(rs232 && c == '>'))
            return false;
    return true;
}

bool isHexDigit(QChar c)
{
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || (c >= QLatin1Char('A') && c <= QLatin1Char('F'))
        || (c >= QLatin1Char('a') && c <= QLatin1Char('f'));
}
} // namespace

// The caller that waits for the outstanding reply. Filled when its reply
// completes, times out or the port goes away, so a second exchange started
// from inside the wait cannot hand its reply to the first caller.
struct DeviceLink::Pending {
    bool done = false;
    QString reply;
};

DeviceLink::DeviceLink(Prompter *prompter, QObject *parent)
    : QObject(parent), m_prompter(prompter)
{
    Timer3 = new QTimer(this);
    Timer3->setObjectName(QStringLiteral("Timer3"));
    Timer3->setInterval(kReplyTimeoutMs);
    connect(Timer3, &QTimer::timeout, this, &DeviceLink::onTimer3);
    m_guard = new QTimer(this);
    m_guard->setSingleShot(true);
    m_guard->setInterval(kReplyTimeoutMs + kGuardExtraMs);
    connect(m_guard, &QTimer::timeout, this, [this] {
        if (AwaitingReply)
            onTimer3();
    });
    m_settle = new QTimer(this);
    m_settle->setSingleShot(true);
    m_settle->setTimerType(Qt::PreciseTimer);
    connect(m_settle, &QTimer::timeout, this, [this] {
        if (AwaitingReply && m_whole && !m_overrun)
            takeReply();
    });
}

DeviceLink::~DeviceLink()
{
    if (m_pending)
        m_pending->done = true;
}

void DeviceLink::setPort(SerialPort *port)
{
    if (m_port) {
        m_port->disconnect(this);
        m_port->close();
        delete m_port.data();
    }
    m_port = port;
    // A read sent on the old port can no longer be answered: end it now, as
    // failed, without a time-out report for a line that is not there.
    Timer3->stop();
    m_guard->stop();
    m_settle->stop();
    AwaitingReply = false;
    LineReady = true;
    m_unsettled = false; // nothing late comes on another port
    m_streamOpen = m_streamBad = false;
    discardStale();
    finishPending(false);
    if (!port)
        return;
    port->setParent(this);
    connect(port, &SerialPort::commEvent, this, &DeviceLink::onCommEvent);
    connect(port, &SerialPort::portLost, this, &DeviceLink::onPortLost);
}

void DeviceLink::setReplyTimeout(int msecs)
{
    const int t = msecs < 0 ? kReplyTimeoutMs : msecs;
    Timer3->setInterval(t);
    m_guard->setInterval(t + (msecs < 0 ? kGuardExtraMs : t / 2 + 1));
}

int DeviceLink::replyTimeout() const
{
    return Timer3->interval();
}

int DeviceLink::settleMs() const
{
    return m_port ? lineSettleMs(m_port->settings()) + m_port->transitGapMs() : lineSettleMs(QString());
}

// "baud,parity,data bits,stop bits"; a port without them gets the minimum.
int DeviceLink::lineSettleMs(const QString &settings)
{
    const QStringList f = settings.split(QLatin1Char(','));
    bool ok = false;
    const qint64 baud = f.value(0).toLongLong(&ok);
    if (!ok || baud <= 0 || f.size() < 4)
        return 2;
    const bool parity = f[1].trimmed().compare(QLatin1String("n"), Qt::CaseInsensitive) != 0;
    const int bits = 1 + f[2].toInt() + (parity ? 1 : 0) + int(std::ceil(f[3].toDouble()));
    // Two characters, rounded up, and the millisecond a UART or an adapter
    // may hold the next piece back.
    return int(1 + (2 * bits * 1000 + baud - 1) / baud);
}

bool DeviceLink::PortOpen() const
{
    return m_port && m_port->isOpen();
}

bool DeviceLink::openPortDirect()
{
    if (!m_port)
        return false;
    if (m_port->isOpen())
        return true;
    if (!m_port->open()) {
        if (m_prompter)
            m_prompter->message(m_port->errorString(), kSystemMonitor, Prompter::Exclamation);
        return false;
    }
    discardStale();
    emit portStateChanged(true);
    return true;
}

bool DeviceLink::openPort()
{
    if (PortOpen())
        return true;
    if (m_openHandler)
        m_openHandler();
    else
        openPortDirect();
    if (!PortOpen())
        return false;
    discardStale();
    return true;
}

QByteArray DeviceLink::wireBytes(const QString &command)
{
    QByteArray bytes = command.toLatin1();
    bytes.append('\x1A');
    if (command.mid(4, 1) == QLatin1String("0"))
        bytes.append('\r');
    return bytes;
}

QString DeviceLink::readFrame(const QString &address, const QString &byteCount) const
{
    return ReadPrefix + byteCount + address + QStringLiteral("00");
}

QString DeviceLink::writeFrame(const QString &address, const QString &byteCount, const QString &data) const
{
    return WritePrefix + byteCount + address + QStringLiteral("00") + data;
}

void DeviceLink::SendFrame(const QString &command)
{
    if (!PortOpen())
        return;
    const bool write = command.mid(4, 1) == QLatin1String("0");
    if (!write) {
        const int colon = command.indexOf(QLatin1Char(':'));
        ExpectedByteCount = qint16(colon >= 0 ? numtext::hexValue(command.mid(colon + 1, 2)) : 0);
        // Anything still in from before (the rest of a late reply) would
        // be taken as the start of this frame's reply.
        discardStale();
        // The shortest whole reply: the bus tag, ":" and the hex pairs.
        m_port->setExpectedReplyBytes((Rs232Mode ? 0 : kBusTagLength) + 1 + 2 * ExpectedByteCount);
    } else {
        ExpectedByteCount = 0;
    }
    m_discardCounted = false;
    m_lineBytes = 0;
    // Set before the write: a port can deliver the reply from inside it.
    AwaitingReply = !write;
    // The bytes leave in one write; on the wire they are the same characters
    // one after the other.
    const QByteArray bytes = wireBytes(command);
    m_sentAt.start();
    m_port->write(bytes);
    ++health.framesSent;
    health.bytesOut += bytes.size();
    if (write)
        ++health.noReply;
    if (AwaitingReply)
        m_guard->start();
    emit flagsChanged();
}

void DeviceLink::onCommEvent(int code)
{
    if (code == CommEvent::Send)
        onSendEvent();
    else if (code == CommEvent::Receive)
        onReceiveEvent();
    emit commEvent(code);
}

void DeviceLink::onSendEvent()
{
    // A fast device can answer before the send event is delivered; the
    // reply is then already complete and nothing is awaited any more.
    if (ExpectedByteCount < 1 || !AwaitingReply)
        return;
    Timer3->start();
    LineReady = false;
    ReplyBuffer.clear();
    emit flagsChanged();
}

void DeviceLink::onReceiveEvent()
{
    if (!m_port || m_lineBytes >= kLineBudget)
        return;
    const QByteArray bytes = m_port->readAll();
    if (bytes.isEmpty())
        return;
    health.bytesIn += bytes.size();
    m_lineBytes += bytes.size();
    const bool echo = !SuppressTerminal && !AutoUpdateOn;
    if (m_lineBytes >= kLineBudget) {
        // A flood: no reply can be told from it. The wait ends as a time-out.
        noteDiscard();
        if (AwaitingReply)
            QTimer::singleShot(0, this, [this] {
                if (AwaitingReply && m_lineBytes >= kLineBudget)
                    onTimer3();
            });
        return;
    }
    if (!AwaitingReply) {
        // Nobody waits for it: a reply after its time-out, or its tail, or
        // more than a streamed reply had.
        const bool extra = m_streamOpen && !onlyLineEnds(bytes, Rs232Mode);
        watchStreamTail(bytes);
        if (m_unsettled || extra || bytes.contains(':'))
            noteDiscard();
        if (echo)
            emit terminalText(QString::fromLatin1(bytes));
        return;
    }
    const QString text = QString::fromLatin1(bytes);
    if (echo)
        emit terminalText(text);
    watchStreamTail(bytes);
    AssembleReply(text);
    if (m_overrun) {
        // Ends now, as a reply that never came whole would at its time-out.
        m_settle->stop();
        Timer3->stop();
        m_guard->stop();
        QTimer::singleShot(0, this, [this] {
            if (AwaitingReply && m_overrun)
                onTimer3();
        });
        return;
    }
    if (ReplyComplete && !m_settle->isActive()) {
        Timer3->stop();
        m_guard->stop();
        m_replyMs = m_sentAt.elapsed();
        if (m_streaming)
            takeReply();
        else
            m_settle->start(settleMs());
    }
}

void DeviceLink::takeReply()
{
    m_settle->stop();
    if (TimeoutSeen)
        TimeoutCount = 0;
    Timer3->stop();
    m_guard->stop();
    m_whole = false;
    ReplyBuffer = Rs232Mode ? txtRs : txtRs.mid(kBusTagLength);
    ++health.replies;
    health.addReplyTime(m_replyMs);
    AwaitingReply = false;
    LineReady = true;
    m_streamOpen = m_streaming;
    m_afterStream.clear();
    emit replyReceived(txtRs);
    if (ShowReplyStatus) {
        emit statusText(QStringLiteral("Status: ") + txtRs);
        ShowReplyStatus = false;
    }
    finishPending(true);
}

bool DeviceLink::streamLineClean(bool settle, bool tell)
{
    if (settle && m_streamOpen) {
        pause(qMax(settleMs(), kStreamEndQuietMs));
        if (PortOpen())
            onReceiveEvent(); // what is waiting in the port
        // Nothing is asked after the last: its tail has no line end to wait for.
        if (m_streamOpen && !m_afterStream.isEmpty() && isHexDigit(QLatin1Char(m_afterStream.at(0))))
            m_streamBad = true;
        m_streamOpen = false;
    }
    if (!std::exchange(m_streamBad, false))
        return true;
    if (tell)
        reportMiss();
    return false;
}

// What follows a streamed reply on its line: digits right after its last
// one are the rest of a longer reply. The line ends with a line end, the
// end mark of an echoed frame or the next reply's ":" (on the bus, after
// exactly the bus tag); an echo or a text line is the next reply's affair.
void DeviceLink::watchStreamTail(const QByteArray &bytes)
{
    for (const char c : bytes) {
        if (!m_streamOpen)
            return;
        if (c != '\r' && c != '\n' && c != '\x1A' && c != ':') {
            if (m_afterStream.size() <= kBusTagLength)
                m_afterStream += c;
            continue;
        }
        const bool tag = c == ':' && !Rs232Mode && m_afterStream.size() == kBusTagLength;
        if (!tag && !m_afterStream.isEmpty() && isHexDigit(QLatin1Char(m_afterStream.at(0))))
            m_streamBad = true;
        m_streamOpen = false;
    }
}

void DeviceLink::AssembleReply(const QString &chunk)
{
    ReplyComplete = false;
    if (m_overrun)
        return;
    const int tag = Rs232Mode ? 0 : kBusTagLength;
    const int want = 2 * qMax<int>(0, ExpectedByteCount);
    for (const QChar ch : chunk) {
        if (Rs232Mode && ch == QLatin1Char('>'))
            continue;
        const bool lineEnd = ch == QLatin1Char('\r') || ch == QLatin1Char('\n');
        // A bus driver turning round, or the line's flow control, can put a
        // byte that is no text at the start of a line: dropped, not taken
        // as text. Inside a line's text it is text like any other.
        const ushort code = ch.unicode();
        if (!FrameStartSeen && !m_whole && m_beforeFrame.isEmpty()
            && (code >= 0x7F || (code < 0x20 && !lineEnd && code != 0x1A))) {
            noteDiscard();
            continue;
        }
        if (m_whole) {
            if (lineEnd)
                continue;
            // More than was asked for: what came may not be this frame's
            // reply at all (a longer one, or text in front of it).
            m_overrun = true;
            m_whole = false;
            noteDiscard();
            return;
        }
        if (ch == QLatin1Char(':')) {
            // A reply starts a line: only the bus tag may stand before its
            // ":". Anything else there (a greeting, an echo of the frame,
            // the rest of a cut reply) makes the whole line no reply.
            if (FrameStartSeen || m_lineNoise || m_beforeFrame.size() != tag) {
                noteDiscard();
                dropFrame();
                m_beforeFrame.clear();
                m_lineNoise = true;
                continue;
            }
            RxAccumulator = m_beforeFrame;
            RxCount = RxAccumulator.size();
            m_frameData = 0;
            m_beforeFrame.clear();
            FrameStartSeen = true;
        } else if (FrameStartSeen && isHexDigit(ch)) {
            RxAccumulator += ch;
            ++RxCount;
            ++m_frameData;
        } else {
            if (FrameStartSeen) {
                // A line end before the data is whole, or a character that
                // is not hex: the frame was not a reply.
                noteDiscard();
                dropFrame();
                m_lineNoise = true;
            }
            // The end mark of a frame ends a line too: a line that echoes
            // the frame puts the reply right after it.
            if (lineEnd || ch == QLatin1Char('\x1A')) {
                if (!m_beforeFrame.isEmpty())
                    noteDiscard();
                m_beforeFrame.clear();
                m_lineNoise = false;
            } else if (!m_lineNoise) {
                m_beforeFrame += ch;
                if (m_beforeFrame.size() > tag) {
                    noteDiscard();
                    m_beforeFrame.clear();
                    m_lineNoise = true;
                }
            }
        }
        if (FrameStartSeen && m_frameData == want) {
            m_whole = true;
            txtRs = RxAccumulator;
            dropFrame();
        }
    }
    ReplyComplete = m_whole;
}

void DeviceLink::dropFrame()
{
    RxAccumulator.clear();
    RxCount = 0;
    m_frameData = 0;
    FrameStartSeen = false;
}

void DeviceLink::noteDiscard()
{
    // One count per frame period, however the noise came in pieces.
    if (!m_discardCounted)
        ++health.discarded;
    m_discardCounted = true;
}

void DeviceLink::onTimer3()
{
    Timer3->stop();
    m_guard->stop();
    m_settle->stop();
    if (!AwaitingReply) {
        LineReady = true;
        emit flagsChanged();
        return;
    }
    // The flags are set before the report so the waiting caller sees the
    // failure however long the box stays open.
    AwaitingReply = false;
    LineReady = true;
    discardStale();
    finishPending(false);
    reportMiss();
}

// A read that failed: counted, the line left to go quiet before the next
// frame, and reported (during the auto update only every tenth in a row).
void DeviceLink::reportMiss()
{
    ++health.timeouts;
    m_unsettled = true;
    bool report = true;
    if (AutoUpdateOn) {
        TimeoutSeen = true;
        ++TimeoutCount;
        report = TimeoutCount >= 10;
        if (report)
            TimeoutCount = 0;
    }
    if (report && m_prompter)
        m_prompter->message(QStringLiteral("No connection!"), QStringLiteral("Communication Error"),
                            Prompter::Information);
}

void DeviceLink::onPortLost(const QString &reason)
{
    Timer3->stop();
    m_guard->stop();
    m_settle->stop();
    m_streamOpen = m_streamBad = false;
    if (AwaitingReply)
        ++health.lost;
    AwaitingReply = false;
    LineReady = true;
    // The loss is reported by itself; misses on the line opened afterwards
    // start a new run, and nothing late comes on a new connection.
    TimeoutCount = 0;
    m_unsettled = false;
    discardStale();
    finishPending(false);
    emit portStateChanged(false);
    // The loss is told before anyone acts on it (a reconnect says so).
    if (m_prompter)
        m_prompter->message(reason, kSystemMonitor, Prompter::Exclamation);
    emit portLost(reason);
}

void DeviceLink::finishPending(bool ok)
{
    if (m_pending) {
        m_pending->done = true;
        m_pending->reply = ok ? ReplyBuffer : QString();
        m_pending = nullptr;
    }
    emit flagsChanged();
}

// What is left of a reply that timed out or was cut short, in the link and
// in the port, must not be glued to the front of the next reply.
void DeviceLink::discardStale()
{
    const QByteArray waiting = m_port && m_port->isOpen() ? m_port->readAll() : QByteArray();
    health.bytesIn += waiting.size();
    watchStreamTail(waiting);
    if (FrameStartSeen || !m_beforeFrame.isEmpty() || !waiting.isEmpty())
        noteDiscard();
    dropFrame();
    m_beforeFrame.clear();
    m_lineNoise = false;
    m_whole = false;
    m_overrun = false;
    if (m_port && m_port->isOpen())
        m_port->discardInput();
}

// After a time-out the reply, or its tail, may still be on its way: the
// next frame waits until the line has been quiet for a time-out (at most
// two in all), and what came meanwhile is dropped. A reply later than
// that cannot be told from the next frame's.
void DeviceLink::settleLine()
{
    if (!PortOpen()) {
        m_unsettled = false;
        return;
    }
    LineReady = false;
    QEventLoop loop;
    QTimer quiet;
    QTimer limit;
    quiet.setSingleShot(true);
    limit.setSingleShot(true);
    connect(&quiet, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    // A flooding line is never quiet: once far more than any reply came,
    // waiting longer tells nothing.
    connect(this, &DeviceLink::commEvent, &loop, [this, &quiet, &loop](int code) {
        if (code != CommEvent::Receive)
            return;
        if (m_lineBytes >= kLineBudget)
            loop.quit();
        else
            quiet.start();
    });
    connect(this, &DeviceLink::portStateChanged, &loop, [&loop](bool open) {
        if (!open)
            loop.quit();
    });
    quiet.start(qMax(1, Timer3->interval()));
    limit.start(2 * Timer3->interval());
    if (m_lineBytes < kLineBudget)
        loop.exec();
    discardStale();
    m_unsettled = false;
    LineReady = true;
    emit flagsChanged();
}

bool DeviceLink::waitFor(const std::function<bool()> &condition, int msecs)
{
    if (condition())
        return true;
    QEventLoop loop;
    connect(this, &DeviceLink::flagsChanged, &loop, [&] {
        if (condition())
            loop.quit();
    });
    QTimer limit;
    if (msecs >= 0) {
        limit.setSingleShot(true);
        connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
        limit.start(msecs);
    }
    loop.exec();
    return condition();
}

void DeviceLink::pause(int msecs)
{
    if (msecs <= 0)
        return;
    QEventLoop loop;
    QTimer::singleShot(msecs, &loop, &QEventLoop::quit);
    loop.exec();
}

void DeviceLink::holdPoll()
{
    ++m_pollHolds;
    if (AutoUpdateOn && m_timer4)
        m_timer4->stop();
}

void DeviceLink::releasePoll()
{
    if (m_pollHolds > 0)
        --m_pollHolds;
    if (m_pollHolds == 0 && AutoUpdateOn && m_timer4)
        m_timer4->start();
}

// Steps 2 to 7 of an exchange; the port is open.
QString DeviceLink::exchange(const QString &command)
{
    holdPoll();
    if (AwaitingReply || !LineReady)
        waitFor([this] { return !AwaitingReply && LineReady; });
    if (m_unsettled)
        settleLine();
    if (!PortOpen()) {
        releasePoll();
        return QString();
    }
    Pending pending;
    const bool read = command.mid(4, 1) != QLatin1String("0");
    if (read)
        m_pending = &pending;
    SendFrame(command);
    lblTr = command;
    emit frameSent(command);
    QString result;
    if (read) {
        waitFor([&pending] { return pending.done; });
        if (m_pending == &pending)
            m_pending = nullptr;
        result = pending.reply;
    } else {
        result = ReplyBuffer;
    }
    releasePoll();
    return result;
}

QString DeviceLink::Transact(const QString &command)
{
    if (!PortOpen() && !openPort())
        return QString();
    return exchange(command);
}

void DeviceLink::SendText(const QString &command)
{
    if (!PortOpen() && !openPort())
        return;
    holdPoll();
    if (AwaitingReply || !LineReady)
        waitFor([this] { return !AwaitingReply && LineReady; });
    if (m_unsettled)
        settleLine();
    if (PortOpen()) {
        const QByteArray bytes = command.toLatin1() + '\r';
        m_lineBytes = 0;
        m_port->write(bytes);
        ++health.framesSent;
        ++health.noReply;
        health.bytesOut += bytes.size();
        lblTr = command;
        emit frameSent(command);
    }
    releasePoll();
}

QString DeviceLink::ReadMemory(const QString &address, const QString &byteCount)
{
    const QString reply = Transact(readFrame(address, byteCount));
    if (!reply.isEmpty() && reply.size() == 2 * byteCount.toInt(nullptr, 16))
        emit memoryRead(address, reply);
    return reply;
}

void DeviceLink::WriteMemory(const QString &address, const QString &byteCount, const QString &data)
{
    if (!PortOpen() && !openPort())
        return;
    emit ramDataWriting(address, byteCount, data);
    Transact(writeFrame(address, byteCount, data));
    emit memoryWritten(address, byteCount, data);
}

bool DeviceLink::parseWriteFrame(const QString &frame, QString *address, QString *byteCount, QString *data) const
{
    static const QRegularExpression parts(QStringLiteral("^([0-9A-F]{2})([0-9A-F]{4})00((?:[0-9A-F]{2})*)$"));
    if (!frame.startsWith(WritePrefix))
        return false;
    const QRegularExpressionMatch m = parts.match(frame.mid(WritePrefix.size()));
    if (!m.hasMatch())
        return false;
    *byteCount = m.captured(1);
    *address = m.captured(2);
    *data = m.captured(3);
    return true;
}

int DeviceLink::StorePauseMs(qint64 msecsSinceMidnight)
{
    const double now = double(msecsSinceMidnight) / 1000.0;
    const double target = numtext::roundHalfEven(now + 1.0);
    return int(std::llround(target * 1000.0 - double(msecsSinceMidnight)));
}

QString DeviceLink::WriteRamData(const QString &byteCount, const QString &address, const QString &data,
                                 QString *readBack)
{
    if (readBack)
        readBack->clear();
    const qint16 limit = qint16(2 * numtext::hexValueForcePositive(byteCount));
    if (data.size() > limit) {
        if (m_prompter)
            m_prompter->message(QStringLiteral("Data string does not \r match length field!"), kSystemMonitor);
        return QString();
    }
    if (!PortOpen() && !openPort())
        return QString();

    // No poll reaches the device from the write frame to the comparison of
    // its read-back: it would land in the middle of the device storing.
    emit ramDataWriting(address, byteCount, data);
    holdPoll();
    exchange(writeFrame(address, byteCount, data));

    pause(m_pauseOverride >= 0 ? m_pauseOverride : StorePauseMs(QTime::currentTime().msecsSinceStartOfDay()));

    QString readCount = numtext::hex(quint32(numtext::roundHalfEvenToInt(data.size() / 2.0)));
    if (readCount.size() < 2)
        readCount.prepend(QLatin1Char('0'));
    const QString reply = PortOpen() ? exchange(readFrame(address, readCount)) : QString();
    if (readBack)
        *readBack = reply;

    QString result;
    if (reply.isEmpty()) {
        if (m_prompter)
            m_prompter->message(QStringLiteral("Communication ERROR. Can not verify\r data in RAM"), kSystemMonitor);
    } else if (reply != data) {
        if (m_prompter)
            m_prompter->message(QStringLiteral("Verify data is failed!\r data recieved: ") + reply, kSystemMonitor);
    } else {
        result = data;
    }
    releasePoll();
    emit ramDataWritten(address, byteCount, data, reply, !result.isEmpty());
    return result;
}
