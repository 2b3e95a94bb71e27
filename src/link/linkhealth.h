#pragma once
// How the line is doing: frames and bytes each way, replies, time-outs
// (the silent ones of the auto update included), replies thrown away as late
// or partial, and how long replies took. Kept by the link, shown by the main
// window and printed by quorin-cli monitor --stats.
#include <QString>
#include <QVector>

class LinkHealth
{
public:
    qint64 framesSent = 0;
    qint64 replies = 0;
    qint64 timeouts = 0;
    qint64 lost = 0;      // reads cut off by a connection that went away
    qint64 discarded = 0; // late or partial replies thrown away
    qint64 noReply = 0;   // frames sent that expect no reply (writes, set point)
    qint64 bytesOut = 0;
    qint64 bytesIn = 0;

    // Reply times in ms, the last 1000 kept.
    void addReplyTime(qint64 msecs);
    struct Times {
        int count = 0;
        qint64 least = 0, median = 0, p95 = 0, most = 0;
    };
    Times times() const;

    // "frames 12, replies 11, time-outs 1, lost 0, discarded 0, bytes out 180 in 420,
    // reply ms least 8 median 9 95% 12 most 30"
    QString summary() const;
    void reset() { *this = LinkHealth(); }

private:
    QVector<qint64> m_times;
    int m_next = 0;
};
