// Reply assembly under arbitrary line input.
//
// Input: byte 0 holds the mode bits (bit 0: RS485, bit 1: a whole exchange
// through Transact instead of AssembleReply alone, bit 2: ShowReplyStatus,
// bit 3: the send event comes after the reply, as from a fast device),
// byte 1 the expected byte count, the rest the received bytes in pieces
// separated by 0xFF.
//
// Checked: a completed reply is exactly the four-character bus tag (RS485)
// and twice the expected count of hex digits, and those characters came in
// that order after a ':'; what is held between pieces never exceeds one
// whole reply, however much noise comes; an exchange's result is a
// completed reply's data or empty; after an exchange the link is free again.
#include "fuzzsupport.h"
#include "link/devicelink.h"
#include "link/serialport.h"

#include <QMetaObject>
#include <QStringList>

#include <cstddef>
#include <cstdint>

namespace {

// A port whose far end answers the next frame with the fuzzed pieces, one
// receive event each, and hangs up if that leaves the link still waiting:
// the exchange always ends without relying on a timer.
class FuzzPort : public SerialPort
{
public:
    QList<QByteArray> answer;
    DeviceLink *link = nullptr;
    bool sendEventLast = false;

    QString portName() const override { return QStringLiteral("Fuzz"); }
    void setPortName(const QString &) override {}
    bool open() override { m_open = true; return true; }
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }
    QString settings() const override { return QStringLiteral("9600,n,8,1"); }
    bool setSettings(const QString &) override { return true; }
    bool setHandshaking(int) override { return true; }
    int handshaking() const override { return 0; }
    qint64 write(const QByteArray &bytes) override
    {
        auto sent = [this] { emit commEvent(CommEvent::Send); };
        if (!sendEventLast)
            QMetaObject::invokeMethod(this, sent, Qt::QueuedConnection);
        for (const QByteArray &piece : answer) {
            QMetaObject::invokeMethod(this, [this, piece] {
                m_rx += piece;
                emit commEvent(CommEvent::Receive);
            }, Qt::QueuedConnection);
        }
        if (sendEventLast)
            QMetaObject::invokeMethod(this, sent, Qt::QueuedConnection);
        QMetaObject::invokeMethod(this, [this] {
            // A whole reply waits out the link's settle time and is taken then.
            if (link && link->AwaitingReply && !link->ReplyComplete) {
                close();
                emit portLost(QStringLiteral("hung up"));
            }
        }, Qt::QueuedConnection);
        return bytes.size();
    }
    QByteArray readAll() override
    {
        QByteArray r;
        r.swap(m_rx);
        return r;
    }
    bool flush(int) override { return true; }
    QString errorString() const override { return {}; }

private:
    bool m_open = false;
    QByteArray m_rx;
};

// Characters of a whole reply: the data, and the bus tag on the two-wire bus.
int wholeLength(bool rs232, int expected)
{
    return 2 * expected + (rs232 ? 0 : 4);
}

bool hexOnly(const QString &text)
{
    for (const QChar c : text)
        if (!QStringLiteral("0123456789ABCDEFabcdef").contains(c))
            return false;
    return true;
}

// A reply as the line carried it: ':' and the data right after it, the tag
// (with '>' removed in RS232 mode only) right before it.
bool cameWhole(const QList<QByteArray> &chunks, bool rs232, const QString &reply)
{
    QString all;
    for (const QByteArray &c : chunks)
        all += QString::fromLatin1(c);
    if (rs232)
        all.remove(QLatin1Char('>'));
    const int tag = rs232 ? 0 : 4;
    return all.contains(reply.left(tag) + QLatin1Char(':') + reply.mid(tag));
}

void assembleOnly(const QList<QByteArray> &chunks, bool rs232, int expected)
{
    fuzz::CountingPrompter prompter;
    DeviceLink link(&prompter);
    link.Rs232Mode = rs232;
    link.ExpectedByteCount = qint16(expected);
    QStringList replies;
    QObject::connect(&link, &DeviceLink::replyReceived, [&replies](const QString &r) { replies << r; });
    for (const QByteArray &c : chunks) {
        link.AssembleReply(QString::fromLatin1(c));
        FUZZ_CHECK(link.RxCount == link.RxAccumulator.size());
        FUZZ_CHECK(link.RxAccumulator.size() <= wholeLength(rs232, expected));
        if (link.ReplyComplete) {
            FUZZ_CHECK(replies.isEmpty()); // handed over only after the line stayed quiet
            FUZZ_CHECK(link.txtRs.size() == wholeLength(rs232, expected));
            FUZZ_CHECK(hexOnly(link.txtRs.mid(rs232 ? 0 : 4)));
            FUZZ_CHECK(cameWhole(chunks, rs232, link.txtRs));
        }
    }
    FUZZ_CHECK(prompter.messages == 0);
}

void exchange(const QList<QByteArray> &chunks, bool rs232, int expected, bool showStatus, bool sendEventLast)
{
    fuzz::CountingPrompter prompter;
    DeviceLink link(&prompter);
    link.setReplyTimeout(60000); // never reached: the port answers or hangs up at once
    auto *port = new FuzzPort;
    port->answer = chunks;
    port->link = &link;
    port->sendEventLast = sendEventLast;
    link.setPort(port);
    link.Rs232Mode = rs232;
    link.ShowReplyStatus = showStatus;
    QStringList statuses;
    QObject::connect(&link, &DeviceLink::statusText, [&statuses](const QString &s) { statuses << s; });
    QStringList replies;
    QObject::connect(&link, &DeviceLink::replyReceived, [&replies](const QString &r) { replies << r; });
    QString count = QString::number(expected, 16).toUpper();
    if (count.size() < 2)
        count.prepend(QLatin1Char('0'));

    const QString result = link.ReadMemory(QStringLiteral("0100"), count);

    FUZZ_CHECK(!link.AwaitingReply && link.LineReady);
    if (port->isOpen()) {
        // Completed: the hang-up never came, nothing was reported.
        FUZZ_CHECK(prompter.messages == 0);
        // Pieces queued behind the completing one may already have come in
        // (and completed more replies): the caller gets the first.
        FUZZ_CHECK(!replies.isEmpty() && replies.first().size() == wholeLength(rs232, expected));
        FUZZ_CHECK(result == (rs232 ? replies.first() : replies.first().mid(4)));
        FUZZ_CHECK(result.size() == 2 * expected && hexOnly(result));
        FUZZ_CHECK(statuses.size() == (showStatus ? 1 : 0));
        FUZZ_CHECK(!link.ShowReplyStatus);
    } else {
        // No whole reply came: a failed exchange, reported once.
        FUZZ_CHECK(result.isEmpty());
        FUZZ_CHECK(prompter.messages == 1);
        FUZZ_CHECK(link.RxAccumulator.isEmpty() && link.RxCount == 0);
    }
    // Pieces (and a send event) that arrive after the reply completed, with
    // nobody waiting: the link stays free, with no reply timer running.
    QCoreApplication::sendPostedEvents();
    FUZZ_CHECK(!link.AwaitingReply && link.LineReady);
    FUZZ_CHECK(!link.Timer3->isActive());
    FUZZ_CHECK(link.RxCount == link.RxAccumulator.size());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::ensureApp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return 0;
    const uint8_t mode = data[0];
    const int expected = data[1];
    const QList<QByteArray> chunks = fuzz::pieces(QByteArray(reinterpret_cast<const char *>(data) + 2, int(size - 2)));
    const bool rs232 = !(mode & 1);
    if (mode & 2)
        exchange(chunks, rs232, expected, mode & 4, mode & 8);
    else
        assembleOnly(chunks, rs232, expected);
    return 0;
}
