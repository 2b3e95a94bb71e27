// The line-event table and the two kept texts: what each event code sets,
// and how a text seen once keeps deciding what later events show.
#include "link/serialport.h"
#include "terminal/lineevents.h"

#include <QtTest>

class TestLineEvents : public QObject
{
    Q_OBJECT
private slots:
    void eventTable_data();
    void eventTable();
    void textsAreKeptAcrossEvents();
    void lineChangeTakesPrecedenceOverError();
};

void TestLineEvents::eventTable_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("action");
    QTest::addColumn<QString>("status");
    const int none = LineEvents::None, show = LineEvents::ShowEvent, ask = LineEvents::AskError;
    QTest::newRow("receive") << 2 << none << "";
    QTest::newRow("DSR") << 4 << show << "Status: Change in DSR Detected";
    QTest::newRow("ring is an error") << 6 << ask << "Status: Unknown error or event";
    QTest::newRow("end of file") << 7 << show << "Status: End of File Detected";
    QTest::newRow("break ignored") << 1001 << none << "";
    QTest::newRow("framing ignored") << 1004 << none << "";
    QTest::newRow("1005 unknown") << 1005 << ask << "Status: Unknown error or event";
    QTest::newRow("CD time-out") << 1007 << ask << "Status: Carrier Detect Timeout";
    QTest::newRow("DCB") << 1011 << ask << "Status: Error retrieving DCB";
}

void TestLineEvents::eventTable()
{
    QFETCH(int, code);
    QFETCH(int, action);
    QFETCH(QString, status);
    LineEvents events;
    const LineEvents::Action a = events.OnComm(code);
    QCOMPARE(int(a), action);
    QCOMPARE(events.statusText(a), status);
}

void TestLineEvents::textsAreKeptAcrossEvents()
{
    LineEvents events;
    QCOMPARE(events.OnComm(CommEvent::Overrun), LineEvents::AskError);
    // Traffic and ignored events repeat the kept error.
    QCOMPARE(events.OnComm(CommEvent::Receive), LineEvents::AskError);
    QCOMPARE(events.OnComm(CommEvent::Break), LineEvents::AskError);
    QCOMPARE(events.LineErrorText, QStringLiteral("Overrun Error"));
    // A later error replaces the text.
    events.OnComm(CommEvent::RxParity);
    QCOMPARE(events.statusText(events.OnComm(CommEvent::Send)), QStringLiteral("Status: Parity Error"));
    events.clear();
    QCOMPARE(events.OnComm(CommEvent::Send), LineEvents::None);
}

void TestLineEvents::lineChangeTakesPrecedenceOverError()
{
    LineEvents events;
    events.OnComm(CommEvent::TxFull);
    // In a later event the line change wins, and keeps winning over errors.
    QCOMPARE(events.OnComm(CommEvent::DSR), LineEvents::ShowEvent);
    QCOMPARE(events.OnComm(CommEvent::Overrun), LineEvents::ShowEvent);
    QCOMPARE(events.LineErrorText, QStringLiteral("Overrun Error"));
    QCOMPARE(events.statusText(LineEvents::ShowEvent), QStringLiteral("Status: Change in DSR Detected"));
}

QTEST_GUILESS_MAIN(TestLineEvents)
#include "tst_lineevents.moc"
