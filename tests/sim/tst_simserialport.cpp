// The simulated transmitter as an in-process serial port: events from the
// event loop in the right order, the fault texts and split replies. Pacing
// is timed over the pseudo-terminal in tst_simpty; the hang-up and the line
// settings are driven through the main window in tst_frmterminal and
// tst_frmproperties; what the faults do to the link, end to end in
// tst_faults_e2e.
#include "sim/simdevice.h"
#include "sim/simfaults.h"
#include "sim/simserialport.h"
#include "support/waituntil.h"

#include <QtTest>

namespace {

// Collects what the port delivers, one piece per receive event.
struct Receiver {
    explicit Receiver(SimSerialPort *p) : port(p)
    {
        QObject::connect(port, &SerialPort::commEvent, port, [this](int code) {
            events << code;
            if (code == CommEvent::Receive)
                pieces << port->readAll();
        });
    }
    // Runs the event loop for ms; true when n bytes came by then.
    bool waitForBytes(int n, int ms = 1000)
    {
        waitUntil({}, ms);
        return pieces.join().size() >= n;
    }
    SimSerialPort *port;
    QList<int> events;
    QList<QByteArray> pieces;
};

const QByteArray ReadUnit = "R5202:0101E400\x1A";

} // namespace

class TestSimSerialPort : public QObject
{
    Q_OBJECT
private slots:
    void eventsComeFromTheEventLoopInOrder();
    void faultTextsParseStrictly_data();
    void faultTextsParseStrictly();
    void splitRepliesComeInPieces();
};

void TestSimSerialPort::eventsComeFromTheEventLoopInOrder()
{
    SimSerialPort port;
    Receiver rx(&port);
    QCOMPARE(port.write(ReadUnit), qint64(-1)); // closed
    QVERIFY(port.open());
    // A write frame, then two reads back to back: every send event comes
    // before any reply, none from inside write().
    port.write("R5200:0101E40007\x1A\r");
    port.write(ReadUnit);
    QCOMPARE(port.write(ReadUnit), qint64(ReadUnit.size()));
    QVERIFY2(rx.events.isEmpty(), "an event came from inside write()");
    QVERIFY(rx.waitForBytes(6, 200));
    QCOMPARE(rx.events, (QList<int>{CommEvent::Send, CommEvent::Send, CommEvent::Send, CommEvent::Receive,
                                    CommEvent::Receive}));
    QCOMPARE(rx.pieces.join(), QByteArray(":07:07"));

    // Closing drops what is still on its way.
    rx.pieces.clear();
    port.write(ReadUnit);
    port.close();
    QVERIFY(!rx.waitForBytes(1, 50));
    QCOMPARE(port.readAll(), QByteArray());
}

void TestSimSerialPort::faultTextsParseStrictly_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("normal"); // "" when refused
    QTest::newRow("empty") << "" << "none";
    QTest::newRow("split with seed") << "split:7" << "split:7";
    QTest::newRow("several, any case") << " Corrupt , HANGUP:2,late:10" << "late:10,corrupt,hangup:2";
    QTest::newRow("late without time") << "late" << "";
    QTest::newRow("hangup text") << "hangup:x" << "";
    QTest::newRow("unknown") << "explode" << "";
    QTest::newRow("trailing comma") << "corrupt," << "";
}

void TestSimSerialPort::faultTextsParseStrictly()
{
    QFETCH(QString, text);
    QFETCH(QString, normal);
    SimFaults f;
    f.noAnswer = true; // untouched on failure
    QString error;
    QCOMPARE(SimFaults::parse(text, &f, &error), !normal.isEmpty());
    QCOMPARE(error.isEmpty(), !normal.isEmpty());
    QCOMPARE(f.toString(), normal.isEmpty() ? QStringLiteral("noanswer") : normal);
}

void TestSimSerialPort::splitRepliesComeInPieces()
{
    SimSerialPort port;
    SimFaults f;
    QVERIFY(SimFaults::parse(QStringLiteral("split:42"), &f, nullptr));
    port.setFaults(f);
    Receiver rx(&port);
    port.open();
    port.write("R5202:50010000\x1A");
    QVERIFY(rx.waitForBytes(161, 300));
    QCOMPARE(rx.pieces.join(), SimDevice().feed("R5202:50010000\x1A"));
    QVERIFY2(rx.pieces.size() >= 3 && !rx.pieces.contains(QByteArray()), qPrintable(QString::number(rx.pieces.size())));
}

QTEST_GUILESS_MAIN(TestSimSerialPort)
#include "tst_simserialport.moc"
