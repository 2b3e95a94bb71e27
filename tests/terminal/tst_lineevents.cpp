// The line-event table and the two kept texts: what each event code sets,
// and how a text seen once keeps deciding what later events show.
#include "support/columns.h"
#include "link/serialport.h"
#include "terminal/lineevents.h"

#include <QtTest>

namespace {

// action: after the last code
const Columns<QList<int>, int, QString> kEventsSetKeptTexts{"codes", "action", "status"};

} // namespace

class TestLineEvents : public QObject
{
    Q_OBJECT
private slots:
    void eventsSetKeptTexts_data()
    {
        kEventsSetKeptTexts.add();
        const int none = LineEvents::None, show = LineEvents::ShowEvent, ask = LineEvents::AskError;
        QTest::newRow("receive") << QList<int>{2} << none << "";
        QTest::newRow("CTS") << QList<int>{3} << show << "Status: Change in CTS Detected";
        QTest::newRow("CD") << QList<int>{5} << show << "Status: Change in CD Detected";
        QTest::newRow("ring is an error") << QList<int>{6} << ask << "Status: Unknown error or event";
        QTest::newRow("end of file") << QList<int>{7} << show << "Status: End of File Detected";
        QTest::newRow("break, framing ignored") << QList<int>{1001, 1004} << none << "";
        QTest::newRow("1005 unknown") << QList<int>{1005} << ask << "Status: Unknown error or event";
        QTest::newRow("CTS time-out") << QList<int>{1002} << ask << "Status: CTS Timeout";
        QTest::newRow("DSR time-out") << QList<int>{1003} << ask << "Status: DSR Timeout";
        QTest::newRow("CD time-out") << QList<int>{1007} << ask << "Status: Carrier Detect Timeout";
        QTest::newRow("receive overflow") << QList<int>{1008} << ask << "Status: Receive Buffer Overflow";
        QTest::newRow("transmit buffer full") << QList<int>{1010} << ask << "Status: Transmit Buffer Full";
        QTest::newRow("DCB") << QList<int>{1011} << ask << "Status: Error retrieving DCB";
        QTest::newRow("error kept through traffic and ignored events")
            << QList<int>{1006, 2, 1001, 1} << ask << "Status: Overrun Error";
        QTest::newRow("a later error replaces the text") << QList<int>{1006, 1009, 1} << ask << "Status: Parity Error";
        QTest::newRow("a line change wins over later errors")
            << QList<int>{1010, 4, 1006, 1002} << show << "Status: Change in DSR Detected";
    }

    void eventsSetKeptTexts()
    {
        const auto [codes, action, status] = kEventsSetKeptTexts.fetch();
        LineEvents events;
        LineEvents::Action a = LineEvents::None;
        for (int code : codes)
            a = events.OnComm(code);
        QCOMPARE(std::pair(int(a), events.statusText(a)), std::pair(action, status));
        // Opening the port starts afresh.
        events.clear();
        QCOMPARE(events.OnComm(CommEvent::Send), LineEvents::None);
    }
};

QTEST_GUILESS_MAIN(TestLineEvents)
#include "tst_lineevents.moc"
