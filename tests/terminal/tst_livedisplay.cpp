// The live display: digits taken from the right characters of the display
// block, the decimal point where the device puts it, and what a poll on a
// silent transmitter reports (a good poll is shown by tst_frmterminal). A port lost during a
// poll is covered end to end in tst_faults_e2e.
#include "support/simrig.h"
#include "terminal/livedisplay.h"

#include <QtTest>

class TestLiveDisplay : public QObject
{
    Q_OBJECT
private slots:
    void digitsComeFromTheirPositions()
    {
        // a to e at characters 2, 4, 12, 18 and 20; "F" everywhere else, so a
        // digit taken from a wrong position shows as 15. e above 9 is written as
        // its number.
        const QString block = QStringLiteral("F1F2FFFFFFF3FFFFF4FA");
        QCOMPARE(LiveDisplay::flowText(1, LiveDisplay::digits(block)), QStringLiteral("104.321"));
        // A short reply reads the missing characters as 0 instead of failing.
        QCOMPARE(LiveDisplay::flowText(4, LiveDisplay::digits(QStringLiteral("0907"))), QStringLiteral("00079"));
        // The point code places the point, or adds zeros; 8 is no reading.
        const LiveDisplay::Digits digits = LiveDisplay::digits(QStringLiteral("F1F2FFFFFFF3FFFFF4F5"));
        QCOMPARE(QStringList({LiveDisplay::flowText(0, digits), LiveDisplay::flowText(6, digits), LiveDisplay::flowText(8, digits)}),
                 QStringList({"5.4321", "5432100", ""}));
    }

    void silentDeviceGivesBlanksAndEachStepsMessage()
    {
        SimRig rig;
        rig.port->setFaults(simFaults("noanswer"));
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
};

QTEST_GUILESS_MAIN(TestLiveDisplay)
#include "tst_livedisplay.moc"
