// The simulated transmitter as an in-process serial port: events from the
// event loop in the right order, line settings, pacing, split replies and the
// hang-up. What no answer, late answers and corrupted read-backs do to the
// link is in tst_simlink.
#include "sim/simdevice.h"
#include "sim/simfaults.h"
#include "sim/simserialport.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

namespace {

// Lets the event loop run for ms (nothing is expected to end it earlier).
void settle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Collects what the port delivers, one entry per receive event.
struct Receiver {
    explicit Receiver(SimSerialPort *p) : port(p)
    {
        QObject::connect(port, &SerialPort::commEvent, port, [this](int code) {
            events << code;
            if (code == CommEvent::Receive)
                pieces << port->readAll();
        });
    }
    QByteArray received() const { return pieces.join(); }
    // Waits until n bytes came or ms passed; true when they came.
    bool waitForBytes(int n, int ms)
    {
        QEventLoop loop;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        const auto c = QObject::connect(port, &SerialPort::commEvent, &loop, [&] {
            if (received().size() >= n)
                loop.quit();
        });
        timer.start(ms);
        if (received().size() < n)
            loop.exec();
        QObject::disconnect(c);
        return received().size() >= n;
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
    void settings_data();
    void settings();
    void eventsComeFromTheEventLoopInOrder();
    void faultTexts_data();
    void faultTexts();
    void splitRepliesReassemble();
    void hangUpIsReportedOnce();
    void pacingTakesTheWireTime_data();
    void pacingTakesTheWireTime();
    void raisedEventsReachTheLink();
};

void TestSimSerialPort::settings_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    QTest::newRow("default") << "9600,n,8,1" << true;
    QTest::newRow("fast, even, 7, 2") << "115200,e,7,2" << true;
    QTest::newRow("odd, 1.5 stop") << "1200,O,5,1.5" << true;
    QTest::newRow("mark, 4 data bits") << "300,m,4,1" << true;
    QTest::newRow("space") << "19200,s,8,1" << true;
    QTest::newRow("baud 0") << "0,n,8,1" << false;
    QTest::newRow("baud text") << "fast,n,8,1" << false;
    QTest::newRow("parity x") << "9600,x,8,1" << false;
    QTest::newRow("9 data bits") << "9600,n,9,1" << false;
    QTest::newRow("3 data bits") << "9600,n,3,1" << false;
    QTest::newRow("stop 3") << "9600,n,8,3" << false;
    QTest::newRow("three fields") << "9600,n,8" << false;
    QTest::newRow("empty") << "" << false;
}

void TestSimSerialPort::settings()
{
    QFETCH(QString, text);
    QFETCH(bool, ok);
    SimSerialPort port;
    QCOMPARE(port.portName(), QStringLiteral("Simulated transmitter"));
    QCOMPARE(port.settings(), QStringLiteral("9600,n,8,1"));
    QCOMPARE(port.setSettings(text), ok);
    QCOMPARE(port.settings(), ok ? text : QStringLiteral("9600,n,8,1"));
    QCOMPARE(port.errorString().isEmpty(), ok);
    QVERIFY(port.setHandshaking(3));
    QVERIFY(!port.setHandshaking(4));
    QCOMPARE(port.handshaking(), 3);
}

void TestSimSerialPort::eventsComeFromTheEventLoopInOrder()
{
    SimSerialPort port;
    Receiver rx(&port);
    QCOMPARE(port.write(ReadUnit), qint64(-1)); // closed
    QVERIFY(!port.errorString().isEmpty());
    QVERIFY(port.open());
    QVERIFY(port.isOpen());

    QCOMPARE(port.write(ReadUnit), qint64(ReadUnit.size()));
    QVERIFY2(rx.events.isEmpty(), "an event came from inside write()");
    QVERIFY(rx.waitForBytes(3, 1000));
    QCOMPARE(rx.events, (QList<int>{CommEvent::Send, CommEvent::Receive}));
    QCOMPARE(rx.received(), QByteArray(":05"));

    // A write frame: the send event, no answer.
    rx.events.clear();
    rx.pieces.clear();
    port.write("R5200:0101E40007\x1A\r");
    settle(100);
    QCOMPARE(rx.events, QList<int>{CommEvent::Send});
    QCOMPARE(port.device()->byte(0x01E4), quint8(7));

    // Frames written back to back: every send event before any reply.
    rx.events.clear();
    port.write(ReadUnit);
    port.write(ReadUnit);
    QVERIFY(rx.waitForBytes(6, 1000));
    QCOMPARE(rx.events.mid(0, 2), (QList<int>{CommEvent::Send, CommEvent::Send}));
    QCOMPARE(rx.received(), QByteArray(":07:07"));

    // Closing drops what is still on its way.
    rx.pieces.clear();
    port.write(ReadUnit);
    port.close();
    settle(50);
    QVERIFY(rx.received().isEmpty());
    QCOMPARE(port.readAll(), QByteArray());
}

void TestSimSerialPort::faultTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("normal");
    QTest::newRow("none") << "none" << true << "none";
    QTest::newRow("empty") << "" << true << "none";
    QTest::newRow("noanswer") << "noanswer" << true << "noanswer";
    QTest::newRow("late") << "late:4000" << true << "late:4000";
    QTest::newRow("corrupt") << "corrupt" << true << "corrupt";
    QTest::newRow("split") << "split" << true << "split";
    QTest::newRow("split with seed") << "split:7" << true << "split:7";
    QTest::newRow("hangup") << "hangup:5" << true << "hangup:5";
    QTest::newRow("several, any case") << " Corrupt , HANGUP:2,late:10" << true << "late:10,corrupt,hangup:2";
    QTest::newRow("late without time") << "late" << false << "";
    QTest::newRow("late 0") << "late:0" << false << "";
    QTest::newRow("hangup text") << "hangup:x" << false << "";
    QTest::newRow("unknown") << "explode" << false << "";
    QTest::newRow("trailing comma") << "corrupt," << false << "";
}

void TestSimSerialPort::faultTexts()
{
    QFETCH(QString, text);
    QFETCH(bool, ok);
    QFETCH(QString, normal);
    SimFaults f;
    f.noAnswer = true; // untouched on failure
    QString error;
    QCOMPARE(SimFaults::parse(text, &f, &error), ok);
    QCOMPARE(error.isEmpty(), ok);
    if (ok)
        QCOMPARE(f.toString(), normal);
    else
        QVERIFY(f.noAnswer);
}

void TestSimSerialPort::splitRepliesReassemble()
{
    QList<int> sizes[2];
    for (int run = 0; run < 2; ++run) {
        SimSerialPort port;
        SimFaults f;
        QVERIFY(SimFaults::parse(QStringLiteral("split:42"), &f, nullptr));
        port.setFaults(f);
        Receiver rx(&port);
        port.open();
        port.write("R5202:50010000\x1A");
        QVERIFY(rx.waitForBytes(161, 3000));
        QCOMPARE(rx.received(), SimDevice().feed("R5202:50010000\x1A"));
        QVERIFY2(rx.pieces.size() >= 3, qPrintable(QString::number(rx.pieces.size())));
        for (const QByteArray &p : rx.pieces) {
            QVERIFY(!p.isEmpty());
            sizes[run] << p.size();
        }
    }
    QCOMPARE(sizes[0], sizes[1]); // the same seed cuts the same pieces
}

void TestSimSerialPort::hangUpIsReportedOnce()
{
    SimSerialPort port;
    SimFaults f;
    f.hangupAfterFrames = 3;
    port.setFaults(f);
    Receiver rx(&port);
    QSignalSpy lost(&port, &SerialPort::portLost);
    port.open();
    port.write(ReadUnit);
    port.write("R5200:0101E40002\x1A\r");
    QVERIFY(rx.waitForBytes(3, 1000));
    QVERIFY(lost.isEmpty());
    port.write(ReadUnit); // the third frame: the line drops instead of answering
    QVERIFY(lost.wait(1000));
    QCOMPARE(rx.received(), QByteArray(":05"));
    QVERIFY(!port.isOpen());
    QVERIFY(!lost.first().first().toString().isEmpty());
    QCOMPARE(rx.events.last(), int(CommEvent::Send)); // its send event came before the loss
    settle(200);
    QCOMPARE(lost.size(), 1);
    QCOMPARE(port.write(ReadUnit), qint64(-1));

    // Reopened, it serves again and counts its frames afresh.
    QVERIFY(port.open());
    rx.pieces.clear();
    port.write(ReadUnit);
    QVERIFY(rx.waitForBytes(3, 1000));
    QCOMPARE(rx.received(), QByteArray(":02"));
    QCOMPARE(lost.size(), 1);
}

void TestSimSerialPort::pacingTakesTheWireTime_data()
{
    QTest::addColumn<int>("baud");
    QTest::newRow("9600") << 9600;
    QTest::newRow("115200") << 115200;
}

void TestSimSerialPort::pacingTakesTheWireTime()
{
    QFETCH(int, baud);
    SimSerialPort port;
    QVERIFY(port.setSettings(QStringLiteral("%1,n,8,1").arg(baud)));
    port.setPacing(true);
    QVERIFY(port.pacing());
    Receiver rx(&port);
    port.open();
    const QByteArray frame = "R5202:FF020000\x1A";
    const double wireMs = (frame.size() + 511) * 10.0 * 1000 / baud;
    QElapsedTimer t;
    t.start();
    port.write(frame);
    QVERIFY(rx.waitForBytes(511, 5000));
    const double ms = t.nsecsElapsed() / 1e6;
    QVERIFY2(ms >= wireMs * 0.95 - 1 && ms <= wireMs * 1.3 + 20,
             qPrintable(QStringLiteral("%1 ms for %2 ms of wire").arg(ms).arg(wireMs)));
    // The bytes come as they cross the line, not in one lump.
    QVERIFY(rx.pieces.size() >= 3);
}

void TestSimSerialPort::raisedEventsReachTheLink()
{
    SimSerialPort port;
    QSignalSpy spy(&port, &SerialPort::commEvent);
    const QList<int> codes = {CommEvent::CTS, CommEvent::DSR, CommEvent::CD, CommEvent::Ring,
                              CommEvent::EndOfFile, CommEvent::Break, CommEvent::CTSTimeout,
                              CommEvent::DSRTimeout, CommEvent::Frame, CommEvent::Overrun,
                              CommEvent::CDTimeout, CommEvent::RxOver, CommEvent::RxParity,
                              CommEvent::TxFull, CommEvent::DCB};
    for (int c : codes)
        port.raiseEvent(c);
    QCOMPARE(spy.size(), codes.size());
    for (int i = 0; i < codes.size(); ++i)
        QCOMPARE(spy.at(i).first().toInt(), codes.at(i));
}

QTEST_GUILESS_MAIN(TestSimSerialPort)
#include "tst_simserialport.moc"
