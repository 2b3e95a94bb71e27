#pragma once
// The flow of the last hour, one point per display poll, for the trend chart.
// A fixed ring: the oldest point gives way to the newest, so a week of auto
// update holds no more than an hour does. A failed poll is kept as a gap, so
// the chart and the CSV show that no value was read rather than a made-up one.
#include <QString>
#include <QVector>

class QIODevice;

class TrendBuffer
{
public:
    // Sixty minutes at the fastest update rate (one poll a second).
    static constexpr int FastestPollMs = 1000;
    static constexpr int Capacity = 60 * 60 * 1000 / FastestPollMs;

    struct Point {
        qint64 ms = 0;    // ms since the epoch
        double flow = 0;  // meaningless for a gap
        bool gap = false;
    };

    explicit TrendBuffer(int capacity = Capacity);

    void addFlow(qint64 ms, double flow);
    void addGap(qint64 ms);
    // The poll's flow text: a number gives a point, anything else (blanks
    // after a failed read, an empty text for an unknown point code) a gap.
    void addFlowText(qint64 ms, const QString &flowText);
    // Ends the line here (auto update stopped), unless it ends already.
    void breakLine(qint64 ms);
    void clear();

    int size() const { return m_size; }
    int capacity() const { return m_points.size(); }
    // From the oldest (0) to the newest (size() - 1).
    const Point &at(int i) const { return m_points[(m_first + i) % m_points.size()]; }
    // The first point at or after ms (size() when none); times never go back.
    int firstFrom(qint64 ms) const;

    // The points from from to to (ms) as CSV: a header line, then the local
    // time in ISO 8601 with its offset and the flow, empty for a gap; CR LF.
    QByteArray csv(qint64 from, qint64 to) const;
    // A flow display text as a number; false for blanks or an empty text.
    static bool flowNumber(const QString &flowText, double *value);
    // 2026-11-23T17:15:08+01:00: local time with its offset from UTC.
    static QString isoTime(qint64 ms);

private:
    void add(const Point &p);

    QVector<Point> m_points;
    int m_first = 0;
    int m_size = 0;
};
