// The live display: digits taken from the right characters of the display
// block, the decimal point where the device puts it, and what a poll sends,
// shows and reports against the simulated transmitter.
#include "link/devicelink.h"
#include "sim/simdevice.h"
#include "sim/simserialport.h"
#include "support/scriptedprompter.h"
#include "terminal/livedisplay.h"
#include "session/terminalsession.h"

#include <QtTest>

namespace {

struct Rig {
    Rig() : device(new SimDevice), port(new SimSerialPort(device)), session(&prompter, port)
    {
        device->setParent(port);
        session.link().setReplyTimeout(200);
    }
    // Display digits e d c b a and the point code, as the device holds them.
    void setDisplay(int code, const QList<int> &edcba)
    {
        const int addr[5] = {0x133, 0x132, 0x12F, 0x12B, 0x12A};
        for (int i = 0; i < 5; ++i)
            device->setValue(addr[i], 1, quint32(edcba[i]));
        device->setValue(0x14F, 1, quint32(code));
    }
    ScriptedPrompter prompter;
    SimDevice *device;
    SimSerialPort *port;
    TerminalSession session;
};

} // namespace

class TestLiveDisplay : public QObject
{
    Q_OBJECT
private slots:
    void digitsComeFromTheirPositions();
    void pollShowsTheDeviceDisplay_data();
    void pollShowsTheDeviceDisplay();
    void silentDeviceGivesBlanksAndEachStepsMessage();
    void pollStopsWhenThePortGoesAway_data();
    void pollStopsWhenThePortGoesAway();
};

void TestLiveDisplay::digitsComeFromTheirPositions()
{
    // Every other character is "F" so that a digit taken from a wrong
    // position shows up as 15.
    QString block(20, QLatin1Char('F'));
    block[1] = QLatin1Char('1');  // a
    block[3] = QLatin1Char('2');  // b
    block[11] = QLatin1Char('3'); // c
    block[17] = QLatin1Char('4'); // d
    block[19] = QLatin1Char('A'); // e
    const LiveDisplay::Digits d = LiveDisplay::digits(block);
    QCOMPARE(d.a, 1);
    QCOMPARE(d.b, 2);
    QCOMPARE(d.c, 3);
    QCOMPARE(d.d, 4);
    QCOMPARE(d.e, 10);
    // A digit above 9 is written as its number.
    QCOMPARE(LiveDisplay::flowText(1, d), QStringLiteral("104.321"));
    // A short reply reads the missing characters as 0 instead of failing.
    QCOMPARE(LiveDisplay::digits(QStringLiteral("0907")).b, 7);
    QCOMPARE(LiveDisplay::digits(QStringLiteral("0907")).e, 0);
}

void TestLiveDisplay::pollShowsTheDeviceDisplay_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("flow");
    QTest::newRow("0") << 0 << "1.2345";
    QTest::newRow("4") << 4 << "12345";
    QTest::newRow("6") << 6 << "1234500";
    QTest::newRow("8") << 8 << "";
    QTest::newRow("255") << 255 << "";
}

void TestLiveDisplay::pollShowsTheDeviceDisplay()
{
    QFETCH(int, code);
    QFETCH(QString, flow);
    Rig rig;
    rig.setDisplay(code, {1, 2, 3, 4, 5});
    rig.device->setValue(0x1E4, 1, 5); // LTR
    rig.session.state().setCell(QStringLiteral("0104"), QStringLiteral("1"), 1); // per minute
    // Shown total 04321000 in thousands.
    rig.device->setBytes(0x174, QByteArray::fromHex("0004030201000000"));
    rig.device->setValue(0x109, 1, 1);

    LiveDisplay live(rig.session.link(), rig.session.state(), &rig.prompter);
    const LiveDisplay::Result r = live.tick();
    QVERIFY(r.ok());
    QCOMPARE(rig.session.state().FlowText, flow);
    QCOMPARE(rig.session.state().unitText(), QStringLiteral("LTR/Min"));
    QCOMPARE(rig.session.state().TotalText, QStringLiteral("4321000"));
    QCOMPARE(rig.session.state().TotalMultiplier, 1);
    QCOMPARE(rig.session.state().totalUnitText(), QStringLiteral("LTR K  "));
    QCOMPARE(rig.device->receivedFrames(),
             QStringList({"R5202:01014F00", "R5202:0A012A00", "R5202:0101E400", "R5202:02010900",
                          "R5202:08017400"}));
    QVERIFY(rig.prompter.entries.isEmpty());
    QCOMPARE(LiveDisplay::recordText(rig.session.state().FlowText, rig.session.state().unitText()),
             flow + QStringLiteral("   LTR/Min"));
}

void TestLiveDisplay::silentDeviceGivesBlanksAndEachStepsMessage()
{
    Rig rig;
    SimFaults faults;
    faults.noAnswer = true;
    rig.port->setFaults(faults);
    rig.session.state().FlowText = QStringLiteral("1.2345");
    // As during auto update, where time-outs stay silent until the tenth.
    rig.session.link().AutoUpdateOn = true;
    LiveDisplay live(rig.session.link(), rig.session.state(), &rig.prompter);
    const LiveDisplay::Result r = live.tick();
    QVERIFY(!r.flowOk && !r.unitOk && !r.totalOk);
    QCOMPARE(rig.session.state().FlowText, QString(12, QLatin1Char(' ')));
    // The flow's own message, then the unit's and the total's; no second
    // display read after the point code failed.
    const QStringList messages = rig.prompter.texts();
    QCOMPARE(messages.size(), 3);
    QCOMPARE(messages[0], QStringLiteral("Communication ERROR. Can not get\r device F.S. Flow!"));
    QVERIFY(messages[1].endsWith(QLatin1String(" Can not get device Enginnering Units!")));
    QVERIFY(messages[2].endsWith(QLatin1String(" Can not get device Total reading!")));
    QCOMPARE(rig.device->receivedFrames(), QStringList({"R5202:01014F00", "R5202:0101E400", "R5202:02010900"}));
}

void TestLiveDisplay::pollStopsWhenThePortGoesAway_data()
{
    QTest::addColumn<int>("frames");
    QTest::newRow("during the point code") << 1;
    QTest::newRow("during the unit") << 3;
    QTest::newRow("during the total") << 4;
}

void TestLiveDisplay::pollStopsWhenThePortGoesAway()
{
    QFETCH(int, frames);
    Rig rig;
    SimFaults faults;
    faults.hangupAfterFrames = frames; // the line drops on this frame
    rig.port->setFaults(faults);
    LiveDisplay live(rig.session.link(), rig.session.state(), &rig.prompter);
    const LiveDisplay::Result r = live.tick();
    QVERIFY(r.stopped);
    QVERIFY(!rig.session.link().PortOpen());
    // Only the link's report of the loss; the poll neither reopens the port
    // nor adds messages of its own.
    QCOMPARE(rig.prompter.texts().size(), 1);
    QCOMPARE(rig.prompter.texts().first(), QStringLiteral("The simulated transmitter hung up"));
    QCOMPARE(rig.device->framesReceived(), frames);
}

QTEST_GUILESS_MAIN(TestLiveDisplay)
#include "tst_livedisplay.moc"
