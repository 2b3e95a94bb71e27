// The simulated transmitter as the terminal's link sees it: reads, verified
// writes, and what each fault turns into (time-out, verification failure,
// reassembled pieces, a lost line).
#include "link/devicelink.h"
#include "sim/simdevice.h"
#include "sim/simfaults.h"
#include "sim/simserialport.h"
#include "support/scriptedprompter.h"

#include <QtTest>

class TestSimLink : public QObject
{
    Q_OBJECT
private slots:
    void faultsAsTheTerminalSeesThem_data();
    void faultsAsTheTerminalSeesThem();
    void rs485RepliesLoseTheirTag();
    void verifiedWritesHoldWhileTheDeviceRuns();
    void hangUpEndsTheWaitWithoutACrash();
};

void TestSimLink::faultsAsTheTerminalSeesThem_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<bool>("readOk");
    QTest::addColumn<bool>("verifyOk");
    QTest::addColumn<QString>("firstMessage");
    QTest::newRow("none") << "none" << true << true << QString();
    QTest::newRow("split") << "split:3" << true << true << QString();
    QTest::newRow("paced split") << "split:9" << true << true << QString();
    QTest::newRow("corrupt") << "corrupt" << true << false << "Verify data is failed!\r data recieved: ";
    QTest::newRow("noanswer") << "noanswer" << false << false << "No connection!";
    QTest::newRow("late") << "late:700" << false << false << "No connection!";
}

void TestSimLink::faultsAsTheTerminalSeesThem()
{
    QFETCH(QString, fault);
    QFETCH(bool, readOk);
    QFETCH(bool, verifyOk);
    QFETCH(QString, firstMessage);
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    auto *port = new SimSerialPort;
    SimFaults faults;
    QVERIFY(SimFaults::parse(fault, &faults, nullptr));
    port->setFaults(faults);
    if (QByteArray(QTest::currentDataTag()).startsWith("paced")) {
        port->setSettings(QStringLiteral("115200,n,8,1"));
        port->setPacing(true);
    }
    SimDevice *device = port->device();
    link.setPort(port);
    link.setReplyTimeout(400);
    link.setStorePauseOverride(10);

    const QString block = link.ReadMemory(QStringLiteral("0100"), QStringLiteral("50"));
    if (readOk) {
        QCOMPARE(block, QString::fromLatin1(device->memory().mid(0x100, 0x50).toHex().toUpper()));
    } else {
        QCOMPARE(block, QString());
    }

    const QString written = link.WriteRamData(QStringLiteral("02"), QStringLiteral("0134"), QStringLiteral("0320"));
    QCOMPARE(written, verifyOk ? QStringLiteral("0320") : QString());
    // The write itself always lands; only what comes back differs.
    QCOMPARE(device->value(0x0134, 2), 0x0320u);
    if (firstMessage.isEmpty()) {
        QCOMPARE(prompter.texts(), QStringList());
    } else {
        QVERIFY(!prompter.texts().isEmpty());
        QVERIFY2(prompter.texts().first().startsWith(firstMessage), qPrintable(prompter.texts().first()));
    }
    QCOMPARE(device->receivedFrames().mid(0, 3),
             (QStringList{"R5202:50010000", "R5200:020134000320", "R5202:02013400"}));
}

void TestSimLink::rs485RepliesLoseTheirTag()
{
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    auto *port = new SimSerialPort;
    port->device()->setRs485(true);
    link.setPort(port);
    link.Rs232Mode = false;
    link.setReplyTimeout(400);
    QCOMPARE(link.ReadMemory(QStringLiteral("01E5"), QStringLiteral("06")), QStringLiteral("554400051E02"));
    QCOMPARE(link.ReadMemory(QStringLiteral("0100"), QStringLiteral("50")).size(), 160);
    QCOMPARE(prompter.texts(), QStringList());
}

void TestSimLink::verifiedWritesHoldWhileTheDeviceRuns()
{
    // The device's clock runs in real time; the log pointer, log interval and
    // totalizer still read back as written after the terminal's store pause.
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    auto *port = new SimSerialPort;
    port->device()->startClock(20);
    link.setPort(port);
    link.setStorePauseOverride(1500);
    QCOMPARE(link.WriteRamData(QStringLiteral("01"), QStringLiteral("01E8"), QStringLiteral("01")), QStringLiteral("01"));
    QCOMPARE(link.WriteRamData(QStringLiteral("02"), QStringLiteral("01FE"), QStringLiteral("0400")), QStringLiteral("0400"));
    QCOMPARE(link.WriteRamData(QStringLiteral("04"), QStringLiteral("015C"), QStringLiteral("00000000")),
             QStringLiteral("00000000"));
    QCOMPARE(prompter.texts(), QStringList());
    // And the device did run meanwhile.
    QVERIFY(port->device()->clockMs() >= 4000);
}

void TestSimLink::hangUpEndsTheWaitWithoutACrash()
{
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    auto *port = new SimSerialPort;
    SimFaults faults;
    faults.hangupAfterFrames = 2;
    port->setFaults(faults);
    link.setPort(port);
    link.setReplyTimeout(2000);
    QSignalSpy lost(&link, &DeviceLink::portLost);
    QCOMPARE(link.ReadMemory(QStringLiteral("01E4"), QStringLiteral("01")), QStringLiteral("05"));
    QElapsedTimer t;
    t.start();
    QCOMPARE(link.ReadMemory(QStringLiteral("01E4"), QStringLiteral("01")), QString());
    QVERIFY2(t.elapsed() < 1000, "the wait ran into the time-out instead of ending on the loss");
    QCOMPARE(lost.size(), 1);
    QVERIFY(!link.PortOpen());
    QVERIFY(!prompter.texts().isEmpty());
}

QTEST_GUILESS_MAIN(TestSimLink)
#include "tst_simlink.moc"
