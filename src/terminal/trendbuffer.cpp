#include "trendbuffer.h"

#include <QDateTime>
#include <algorithm>

TrendBuffer::TrendBuffer(int capacity) : m_points(std::max(capacity, 1)) {}

void TrendBuffer::add(const Point &p)
{
    if (m_size < m_points.size()) {
        m_points[(m_first + m_size) % m_points.size()] = p;
        ++m_size;
    } else {
        m_points[m_first] = p;
        m_first = (m_first + 1) % m_points.size();
    }
}

void TrendBuffer::addFlow(qint64 ms, double flow)
{
    add({ms, flow, false});
}

void TrendBuffer::addGap(qint64 ms)
{
    add({ms, 0, true});
}

void TrendBuffer::addFlowText(qint64 ms, const QString &flowText)
{
    double v = 0;
    if (flowNumber(flowText, &v))
        addFlow(ms, v);
    else
        addGap(ms);
}

void TrendBuffer::breakLine(qint64 ms)
{
    if (m_size > 0 && !at(m_size - 1).gap)
        addGap(ms);
}

void TrendBuffer::clear()
{
    m_first = 0;
    m_size = 0;
}

int TrendBuffer::firstFrom(qint64 ms) const
{
    int lo = 0;
    int hi = m_size;
    while (lo < hi) {
        const int mid = (lo + hi) / 2;
        if (at(mid).ms < ms)
            lo = mid + 1;
        else
            hi = mid;
    }
    return lo;
}

QByteArray TrendBuffer::csv(qint64 from, qint64 to) const
{
    QByteArray out = "time,flow\r\n";
    for (int i = firstFrom(from); i < m_size && at(i).ms <= to; ++i) {
        const Point &p = at(i);
        out += isoTime(p.ms).toLatin1() + ',';
        if (!p.gap)
            out += QByteArray::number(p.flow, 'g', 10);
        out += "\r\n";
    }
    return out;
}

bool TrendBuffer::flowNumber(const QString &flowText, double *value)
{
    const QString t = flowText.trimmed();
    if (t.isEmpty())
        return false;
    bool ok = false;
    *value = t.toDouble(&ok);
    return ok;
}

QString TrendBuffer::isoTime(qint64 ms)
{
    const QDateTime local = QDateTime::fromMSecsSinceEpoch(ms);
    const int offset = local.offsetFromUtc();
    const int a = std::abs(offset) / 60;
    return local.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss"))
        + (offset < 0 ? QLatin1Char('-') : QLatin1Char('+'))
        + QStringLiteral("%1:%2").arg(a / 60, 2, 10, QLatin1Char('0')).arg(a % 60, 2, 10, QLatin1Char('0'));
}
