// The trend's ring of points and its CSV.
#include "terminal/trendbuffer.h"

#include <QtTest>

class tst_trend : public QObject
{
    Q_OBJECT
private slots:
    void ringKeepsTheNewestAndTheGaps()
    {
        QCOMPARE(TrendBuffer().capacity(), 3600); // an hour at one poll a second
        TrendBuffer b(3);
        b.addFlowText(1000, QStringLiteral("1.5"));
        b.addFlowText(2000, QStringLiteral("            ")); // a failed read
        b.addFlowText(3000, QStringLiteral("12345"));
        b.addFlowText(4000, QString());                       // a point code out of range
        b.addFlowText(5000, QStringLiteral("1234500"));
        // The size, the first point's time and flow, the gap, the last flow; the first point from 3.5 s and from 6 s.
        QCOMPARE(std::tuple(b.size(), b.at(0).ms, b.at(0).flow, b.at(1).gap, b.at(2).flow, b.firstFrom(3500), b.firstFrom(6000)),
                 std::tuple(3, 3000LL, 12345.0, true, 1234500.0, 1, 3));
        b.breakLine(6000);
        b.breakLine(7000); // ends already
        QCOMPARE(std::pair(b.at(2).ms, b.at(2).gap), std::pair(6000LL, true));
    }

    void csvHasLocalTimeWithOffsetAndEmptyGaps()
    {
        qputenv("TZ", "Asia/Kolkata");
        TrendBuffer b;
        b.addFlow(1700000000123, 0.25);
        b.addGap(1700000001123);
        b.addFlow(1700000002123, 1234.5);
        QCOMPARE(b.csv(1700000000500, 1700000002123),
                 QByteArray("time,flow\r\n"
                            "2023-11-15T03:43:21+05:30,\r\n"
                            "2023-11-15T03:43:22+05:30,1234.5\r\n"));
        qputenv("TZ", "America/St_Johns");
        QCOMPARE(TrendBuffer::isoTime(1700000000123), QStringLiteral("2023-11-14T18:43:20-03:30"));
    }
};

QTEST_GUILESS_MAIN(tst_trend)
#include "tst_trend.moc"
