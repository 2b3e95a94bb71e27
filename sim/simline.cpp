#include "simline.h"

#include "simdevice.h"

#include <QTimer>

#include <cmath>

namespace {
constexpr qint64 MsNs = 1'000'000;
}

SimLine::SimLine(SimDevice *device, QObject *parent)
    : QObject(parent), m_device(device), m_timer(new QTimer(this)), m_rng(1)
{
    m_timer->setSingleShot(true);
    m_timer->setTimerType(Qt::PreciseTimer);
    connect(m_timer, &QTimer::timeout, this, &SimLine::onTimer);
    m_clock.start();
}

void SimLine::setFaults(const SimFaults &faults)
{
    m_faults = faults;
    m_rng.seed(faults.splitSeed);
}

void SimLine::setBaud(int baud)
{
    m_baud = qMax(1, baud);
}

void SimLine::reset()
{
    m_queue.clear();
    m_timer->stop();
    m_frames = 0;
    m_hungUp = false;
    m_rxFreeNs = 0;
    m_txFreeNs = 0;
}

void SimLine::connected()
{
    QByteArray hello;
    if (m_faults.greeting)
        hello += SimFaults::GreetingText;
    // IAC DO COM-PORT-OPTION, then IAC SB COM-PORT-OPTION NOTIFY-MODEMSTATE
    // without its IAC SE.
    if (m_faults.openSubneg)
        hello += QByteArrayLiteral("\xff\xfd\x2c\xff\xfa\x2c\x6b");
    if (!hello.isEmpty())
        schedule(hello, m_clock.nsecsElapsed());
}

void SimLine::receive(const QByteArray &bytes)
{
    if (m_hungUp || !m_device || bytes.isEmpty())
        return;
    const qint64 now = m_clock.nsecsElapsed();
    qint64 arrived = now;
    if (m_pacing) {
        arrived = qMax(now, m_rxFreeNs) + bytes.size() * byteNs();
        m_rxFreeNs = arrived;
    }
    if (m_faults.echo)
        schedule(bytes, arrived);
    m_device->setCorruptReadback(m_faults.corruptReadback);
    const QList<SimDevice::Exchange> done = m_device->feedFrames(bytes);
    for (const SimDevice::Exchange &ex : done) {
        ++m_frames;
        if (m_faults.hangupAfterFrames > 0 && m_frames >= m_faults.hangupAfterFrames) {
            // The line drops before this frame is answered.
            m_hungUp = true;
            m_queue.clear();
            m_timer->stop();
            QTimer::singleShot(0, this, [this] {
                if (m_hungUp) // not when the line was reset meanwhile
                    emit hangUp();
            });
            return;
        }
        if (ex.reply.isEmpty() || m_faults.noAnswer || (m_faults.muteAfterFrames > 0 && m_frames > m_faults.muteAfterFrames)
            || m_frames == m_faults.lostReply)
            continue;
        QByteArray reply = (m_faults.noise ? SimFaults::NoiseText : QByteArray()) + ex.reply;
        qint64 due = arrived + qint64(m_faults.lateMs) * MsNs;
        if (m_faults.lateGreeting && m_frames == 1) {
            // A device server that says hello once the line is used; the
            // reply follows a millisecond behind, a read of its own.
            schedule(SimFaults::LateGreetingText, due);
            due = m_txFreeNs + MsNs;
        }
        if (m_faults.longTailMs > 0) {
            // A wider value than asked for: a data byte more in front, its
            // last two digits in a piece of their own.
            reply.insert(reply.lastIndexOf(':') + 1, "01");
            schedule(reply.left(reply.size() - 2), due);
            reply = reply.right(2);
            due = m_txFreeNs + qint64(m_faults.longTailMs) * MsNs;
        }
        schedule(reply, due);
    }
}

void SimLine::schedule(const QByteArray &reply, qint64 earliestNs)
{
    // Replies leave one after another, never overtaking each other.
    qint64 start = qMax(earliestNs, m_txFreeNs);
    if (!m_queue.isEmpty())
        start = qMax(start, m_queue.last().dueNs);

    QList<int> sizes;
    if (m_faults.trickleMs > 0) {
        sizes = QList<int>(reply.size(), 1);
    } else if (m_faults.splitReplies) {
        for (int left = reply.size(); left > 0;) {
            const int n = qMin(left, 1 + int(m_rng.bounded(quint32(qMax(1, reply.size() / 3)))));
            sizes << n;
            left -= n;
        }
    } else if (m_pacing) {
        // A piece ends with the last byte that has fully crossed when its
        // time is up; a time with no byte crossed hands on nothing.
        int done = 0;
        for (qint64 k = 1; done < reply.size(); ++k) {
            const int upTo = int(qMin<qint64>(reply.size(), k * m_pieceMs * MsNs / byteNs()));
            if (upTo > done)
                sizes << upTo - done;
            done = qMax(done, upTo);
        }
    } else {
        sizes << reply.size();
    }

    int pos = 0;
    qint64 due = start;
    for (int i = 0; i < sizes.size(); ++i) {
        pos += sizes[i];
        if (m_faults.trickleMs > 0)
            due = start + qint64(i) * m_faults.trickleMs * MsNs;
        else if (m_pacing)
            due = start + pos * byteNs(); // when the piece's last byte has crossed
        else if (i > 0)
            due += MsNs; // split pieces still arrive as separate reads
        m_queue.append({due, reply.mid(pos - sizes[i], sizes[i])});
    }
    m_txFreeNs = due;
    arm();
}

void SimLine::arm()
{
    if (m_queue.isEmpty()) {
        m_timer->stop();
        return;
    }
    const qint64 wait = m_queue.first().dueNs - m_clock.nsecsElapsed();
    // Nearest millisecond: early and late roundings even out over a reply.
    m_timer->start(int(qMax<qint64>(0, (wait + MsNs / 2) / MsNs)));
}

void SimLine::onTimer()
{
    if (m_queue.isEmpty())
        return;
    // One piece per turn of the event loop, so pieces stay separate reads.
    const Piece p = m_queue.takeFirst();
    arm();
    emit transmit(p.bytes);
}
