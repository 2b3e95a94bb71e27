// The live display: digits taken from the right characters of the display
// block, the decimal point where the device puts it, and what a poll sends,
// shows and reports against the simulated transmitter. A port lost during a
// poll is covered end to end in tst_faults_e2e.
#include "support/simrig.h"
#include "terminal/livedisplay.h"

#include <QtTest>

class TestLiveDisplay : public QObject
{
    Q_OBJECT
private slots:
    void digitsComeFromTheirPositions();
    void pollShowsTheDeviceDisplay_data();
    void pollShowsTheDeviceDisplay();
    void silentDeviceGivesBlanksAndEachStepsMessage();
};

void TestLiveDisplay::digitsComeFromTheirPositions()
{
    // a to e at characters 2, 4, 12, 18 and 20; "F" everywhere else, so a
    // digit taken from a wrong position shows as 15. e above 9 is written as
    // its number.
    const QString block = QStringLiteral("F1F2FFFFFFF3FFFFF4FA");
    QCOMPARE(LiveDisplay::flowText(1, LiveDisplay::digits(block)), QStringLiteral("104.321"));
    // A short reply reads the missing characters as 0 instead of failing.
    QCOMPARE(LiveDisplay::flowText(4, LiveDisplay::digits(QStringLiteral("0907"))), QStringLiteral("00079"));
}

void TestLiveDisplay::pollShowsTheDeviceDisplay_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("flow");
    QTest::newRow("0") << 0 << "1.2345";
    QTest::newRow("4") << 4 << "12345";
    QTest::newRow("6") << 6 << "1234500";
    QTest::newRow("8") << 8 << "";
}

void TestLiveDisplay::pollShowsTheDeviceDisplay()
{
    QFETCH(int, code);
    QFETCH(QString, flow);
    SimRig rig;
    const int addr[5] = {0x133, 0x132, 0x12F, 0x12B, 0x12A}; // e d c b a
    for (int i = 0; i < 5; ++i)
        rig.device->setValue(addr[i], 1, quint32(i + 1));
    rig.device->setValue(0x14F, 1, quint32(code));
    rig.device->setValue(0x1E4, 1, 5); // LTR
    TerminalState &state = rig.session.state();
    state.setCell(QStringLiteral("0104"), QStringLiteral("1"), 1); // per minute
    // Shown total 04321000 in thousands.
    rig.device->setBytes(0x174, QByteArray::fromHex("0004030201000000"));
    rig.device->setValue(0x109, 1, 1);

    LiveDisplay live(rig.session.link(), state, &rig.prompter);
    QVERIFY(live.tick().ok());
    QCOMPARE(state.FlowText, flow);
    QCOMPARE(state.unitText(), QStringLiteral("LTR/Min"));
    QCOMPARE(state.TotalText, QStringLiteral("4321000"));
    QCOMPARE(state.totalUnitText(), QStringLiteral("LTR K  "));
    QCOMPARE(rig.device->receivedFrames(), QStringList({"R5202:01014F00", "R5202:0A012A00", "R5202:0101E400",
                                                        "R5202:02010900", "R5202:08017400"}));
    QVERIFY(rig.prompter.entries.isEmpty());
    QCOMPARE(LiveDisplay::recordText(state.FlowText, state.unitText()), flow + QStringLiteral("   LTR/Min"));
}

void TestLiveDisplay::silentDeviceGivesBlanksAndEachStepsMessage()
{
    SimRig rig;
    SimFaults faults;
    faults.noAnswer = true;
    rig.port->setFaults(faults);
    rig.session.state().FlowText = QStringLiteral("1.2345");
    // As during auto update, where time-outs stay silent until the tenth.
    rig.session.link().AutoUpdateOn = true;
    LiveDisplay live(rig.session.link(), rig.session.state(), &rig.prompter);
    const LiveDisplay::Result r = live.tick();
    QVERIFY(!r.flowOk && !r.unitOk && !r.totalOk && !r.stopped);
    QCOMPARE(rig.session.state().FlowText, QString(12, QLatin1Char(' ')));
    // The flow's own message, then the unit's and the total's; no display
    // block read after the point code failed.
    const QStringList messages = rig.prompter.texts();
    QCOMPARE(messages.size(), 3);
    QCOMPARE(messages[0], QStringLiteral("Communication ERROR. Can not get\r device F.S. Flow!"));
    QVERIFY(messages[1].endsWith(QLatin1String(" Can not get device Enginnering Units!")));
    QVERIFY(messages[2].endsWith(QLatin1String(" Can not get device Total reading!")));
    QCOMPARE(rig.device->receivedFrames(), QStringList({"R5202:01014F00", "R5202:0101E400", "R5202:02010900"}));
}

QTEST_GUILESS_MAIN(TestLiveDisplay)
#include "tst_livedisplay.moc"
