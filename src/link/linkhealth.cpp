#include "linkhealth.h"

#include <algorithm>

namespace {
const int kKept = 1000;
}

void LinkHealth::addReplyTime(qint64 msecs)
{
    if (m_times.size() < kKept) {
        m_times.append(msecs);
        return;
    }
    m_times[m_next] = msecs;
    m_next = (m_next + 1) % kKept;
}

LinkHealth::Times LinkHealth::times() const
{
    Times t;
    if (m_times.isEmpty())
        return t;
    QVector<qint64> sorted = m_times;
    std::sort(sorted.begin(), sorted.end());
    const int n = int(sorted.size());
    t.count = n;
    t.least = sorted.first();
    t.most = sorted.last();
    t.median = sorted.at((n - 1) / 2);
    // Nearest rank: the smallest time at or above which 95 % of the replies lie.
    t.p95 = sorted.at(std::min(n - 1, int((95 * n + 99) / 100) - 1));
    return t;
}

QString LinkHealth::summary() const
{
    const Times t = times();
    QString s = QStringLiteral("frames %1, replies %2, time-outs %3, lost %4, discarded %5, bytes out %6 in %7")
                    .arg(framesSent).arg(replies).arg(timeouts).arg(lost).arg(discarded).arg(bytesOut).arg(bytesIn);
    if (t.count > 0)
        s += QStringLiteral(", reply ms least %1 median %2 95% %3 most %4").arg(t.least).arg(t.median).arg(t.p95).arg(t.most);
    return s;
}
