// Rescale, calibration entry and the access checks, without windows, against
// the simulated transmitter: the checks, the exact texts, and what reaches
// the device (and what never does).
#include "support/simrig.h"
#include "terminal/rescale.h"

#include <QtTest>

namespace {

// A session over a simulated transmitter, read out as the main window would
// have it before a service tool starts.
using Rig = SimRig;

const QString kSuccess = QStringLiteral("New Scaling Factor was Successfully Updated!");
const QString kNewZero = QStringLiteral(
    "New Maximum Flow value has to be more than zero! Can not calculate\r new Scaling Factor! Try again.");
const QString kOldZero = QStringLiteral(
    "Old Maximum Flow value has to be more than zero! Can not calculate\r new Scaling Factor! Try again.");

QString activateQuestion(qint64 sf)
{
    return QStringLiteral("New Scaling Factor is: %1\rDo you want to Activate New Scaling Factor?").arg(sf);
}

} // namespace

class TestRescale : public QObject
{
    Q_OBJECT
private slots:
    void rescale_data();
    void rescale();
    void declinedActivationWritesNothing();
    void failedWrites_data();
    void failedWrites();

    void calibrationEntry_data();
    void calibrationEntry();

    void access_data();
    void access();
};

// The standard device: full scale 5000, factor 500000, cut-offs 10..1000 Hz,
// so freq = new maximum / 10.
void TestRescale::rescale_data()
{
    QTest::addColumn<QString>("preset");
    QTest::addColumn<int>("fullScale");   // -1 keeps the preset's
    QTest::addColumn<int>("factor");
    QTest::addColumn<QString>("newMax");
    QTest::addColumn<QStringList>("messages");
    QTest::addColumn<qint64>("asked");     // sf in the activation question, -1 none
    QTest::addColumn<quint32>("factorAfter");
    QTest::addColumn<quint32>("maxAfter");

    const QStringList none;
    QTest::newRow("equal to the old writes nothing")
        << "standard" << -1 << -1 << "5000" << none << qint64(500000) << 500000u << 5000u;
    QTest::newRow("freq on the high cut-off")
        << "standard" << -1 << -1 << "10000" << QStringList{kSuccess} << qint64(1000000) << 1000000u << 10000u;
    QTest::newRow("freq 1000.5 rounds to even, on the cut-off")
        << "standard" << -1 << -1 << "10005" << QStringList{kSuccess} << qint64(1000500) << 1000500u << 10005u;
    QTest::newRow("freq one beyond the high cut-off")
        << "standard" << -1 << -1 << "10006"
        << QStringList{"New value of the Frequency: 1001 is more than High Frequency Cut off: 1000 Hz\r"
                       " Decrease New Flow Rate value and try again."}
        << qint64(-1) << 500000u << 5000u;
    QTest::newRow("freq on the low cut-off")
        << "standard" << -1 << -1 << "100" << QStringList{kSuccess} << qint64(10000) << 10000u << 100u;
    QTest::newRow("freq 9.5 rounds to even, on the cut-off")
        << "standard" << -1 << -1 << "95" << QStringList{kSuccess} << qint64(9500) << 9500u << 95u;
    QTest::newRow("freq one below the low cut-off")
        << "standard" << -1 << -1 << "94"
        << QStringList{"New value of the Frequency: 9 is less than Low Frequency Cut off: 10 Hz\r"
                       " Increase New Flow Rate value and try again."}
        << qint64(-1) << 500000u << 5000u;
    QTest::newRow("zero") << "standard" << -1 << -1 << "0" << QStringList{kNewZero} << qint64(-1) << 500000u << 5000u;
    QTest::newRow("not a number reads zero")
        << "standard" << -1 << -1 << "abc" << QStringList{kNewZero} << qint64(-1) << 500000u << 5000u;
    QTest::newRow("negative gets the old-value text")
        << "standard" << -1 << -1 << "-5" << QStringList{kOldZero} << qint64(-1) << 500000u << 5000u;
    QTest::newRow("old maximum zero")
        << "standard" << 0 << -1 << "100" << QStringList{kOldZero} << qint64(-1) << 500000u << 0u;
    // Full scale 10.0 stored as 100; 12.5 is stored as 125.
    QTest::newRow("tenths 12.5 stored as 125")
        << "tenths" << 100 << 40000 << "12.5" << QStringList{kSuccess} << qint64(50000) << 50000u << 125u;
    QTest::newRow("whole units 12.5 stored as 12 (half to even)")
        << "standard" << 10 << 40000 << "12.5" << QStringList{kSuccess} << qint64(50000) << 50000u << 12u;
}

void TestRescale::rescale()
{
    QFETCH(QString, preset);
    QFETCH(int, fullScale);
    QFETCH(int, factor);
    QFETCH(QString, newMax);
    QFETCH(QStringList, messages);
    QFETCH(qint64, asked);
    QFETCH(quint32, factorAfter);
    QFETCH(quint32, maxAfter);

    Rig rig(preset);
    if (fullScale >= 0)
        rig.device->setValue(0x0105, 4, quint32(fullScale));
    if (factor >= 0)
        rig.device->setValue(0x0118, 4, quint32(factor));
    QVERIFY(rig.readOut());
    const quint32 factorBefore = rig.device->value(0x0118, 4);
    const quint32 maxBefore = rig.device->value(0x0105, 4);

    Rescale rescale(rig.session);
    rig.prompter.answers = {true};
    const Rescale::Result r = rescale.compute(newMax, rescale.maxFlowOldText(), rescale.scaleFactorOldText());

    QCOMPARE(rig.prompter.texts(), messages);
    QCOMPARE(rig.prompter.texts(QStringLiteral("yesno")),
             asked >= 0 ? QStringList{activateQuestion(asked)} : QStringList());
    QCOMPARE(r.leave, asked >= 0);
    QCOMPARE(rig.device->value(0x0118, 4), factorAfter);
    QCOMPARE(rig.device->value(0x0105, 4), maxAfter);
    const int expectedWrites = (factorAfter != factorBefore) + (maxAfter != maxBefore);
    QCOMPARE(rig.writeFrames().size(), expectedWrites);
    // The terminal's copy follows the device.
    QCOMPARE(rig.session.state().cellValue(QStringLiteral("0118")), qint64(factorAfter));
    QCOMPARE(rig.session.state().cellValue(QStringLiteral("0105")), qint64(maxAfter));
}

void TestRescale::declinedActivationWritesNothing()
{
    Rig rig;
    QVERIFY(rig.readOut());
    Rescale rescale(rig.session);
    rig.prompter.answers = {false};
    const Rescale::Result r = rescale.compute(QStringLiteral("8000"), rescale.maxFlowOldText(), rescale.scaleFactorOldText());
    QVERIFY(r.leave);
    QCOMPARE(r.sf, qint64(800000));
    QCOMPARE(rig.prompter.texts(), QStringList{"WARNING: New Scaling Factor was Not Updated!"});
    QCOMPARE(rig.device->receivedFrames(), QStringList());
}

void TestRescale::failedWrites_data()
{
    QTest::addColumn<QString>("corruptFrom"); // the write frame after which read-backs come back wrong
    QTest::addColumn<QString>("abort");
    QTest::addColumn<QStringList>("status");
    QTest::addColumn<QStringList>("writes");
    QTest::addColumn<qint64>("factorCell");
    const QString error = QStringLiteral("Status: Error during Memory Write Operation");
    QTest::newRow("factor: the maximum flow is never written")
        << "R5200:040118" << "ABORT: Error during Scale Factor Update!" << QStringList{error}
        << QStringList{"R5200:04011800000F4240"} << qint64(500000);
    QTest::newRow("maximum flow: the new factor stays")
        << "R5200:040105" << "ABORT: Error during Maximum Flow Update!"
        << QStringList{"Status: 04 0118 000F4240   1000000", error}
        << QStringList{"R5200:04011800000F4240", "R5200:0401050000002710"} << qint64(1000000);
}

void TestRescale::failedWrites()
{
    QFETCH(QString, corruptFrom);
    QFETCH(QString, abort);
    QFETCH(QStringList, status);
    QFETCH(QStringList, writes);
    QFETCH(qint64, factorCell);

    Rig rig;
    QVERIFY(rig.readOut());
    connect(rig.device, &SimDevice::frameReceived, rig.device, [&rig, corruptFrom](const QString &frame) {
        if (frame.startsWith(corruptFrom))
            rig.corruptReadbacks();
    });
    Rescale rescale(rig.session);
    rig.prompter.answers = {true};
    const Rescale::Result r = rescale.compute(QStringLiteral("10000"), rescale.maxFlowOldText(), rescale.scaleFactorOldText());

    QVERIFY(r.failed);
    QVERIFY(!r.flowDone);
    const QStringList messages = rig.prompter.texts();
    QCOMPARE(messages.size(), 2);
    QVERIFY2(messages[0].startsWith(QLatin1String("Verify data is failed!")), qPrintable(messages[0]));
    QCOMPARE(messages[1], abort);
    QCOMPARE(rig.session.statusHistory, status);
    QCOMPARE(rig.writeFrames(), writes);
    QCOMPARE(rig.session.state().cellValue(QStringLiteral("0118")), factorCell);
    QCOMPARE(rig.session.state().cellValue(QStringLiteral("0105")), qint64(5000));
}

void TestRescale::calibrationEntry_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("corrupt");
    QTest::addColumn<int>("outcome");
    QTest::addColumn<QString>("status");
    QTest::addColumn<quint32>("deviceAfter");

    const QString range = QStringLiteral(
        "Status: The value of the parameter is out of permissible range [1-999999000] Try again!");
    QTest::newRow("12346") << "12346" << false << int(Calibration::Written)
                           << "Status: 04 0118 0000303A   12346" << 12346u;
    QTest::newRow("just below the bound") << "999998999" << false << int(Calibration::Written)
                                          << "Status: 04 0118 3B9AC617   999998999" << 999998999u;
    QTest::newRow("999999000 refused") << "999999000" << false << int(Calibration::OutOfRange) << range << 500000u;
    QTest::newRow("zero refused") << "0" << false << int(Calibration::OutOfRange) << range << 500000u;
    QTest::newRow("empty refused") << "" << false << int(Calibration::OutOfRange) << range << 500000u;
    QTest::newRow("same value") << "500000" << false << int(Calibration::Unchanged) << QString() << 500000u;
    QTest::newRow("same value, leading zero") << "0500000" << false << int(Calibration::Unchanged) << QString() << 500000u;
    // The device took the bytes; only the read-back was wrong.
    QTest::newRow("failed read-back") << "12346" << true << int(Calibration::Failed)
                                      << "Status: Error during Memory Write Operation" << 12346u;
}

void TestRescale::calibrationEntry()
{
    QFETCH(QString, typed);
    QFETCH(bool, corrupt);
    QFETCH(int, outcome);
    QFETCH(QString, status);
    QFETCH(quint32, deviceAfter);

    Rig rig;
    QVERIFY(rig.readOut());
    if (corrupt)
        rig.corruptReadbacks();
    Calibration calibration(rig.session);
    QCOMPARE(calibration.startText(), QStringLiteral("500000"));
    QCOMPARE(int(calibration.enter(typed)), outcome);
    QCOMPARE(rig.session.statusText(), status);
    QCOMPARE(rig.device->value(0x0118, 4), deviceAfter);
    QCOMPARE(rig.session.timer2Starts, outcome == Calibration::Written ? 1 : 0);
    if (outcome == Calibration::OutOfRange || outcome == Calibration::Unchanged)
        QCOMPARE(rig.device->framesReceived(), 0);
    // What the box started with stays until a write succeeded.
    QCOMPARE(calibration.currentText, outcome == Calibration::Written ? typed : QStringLiteral("500000"));
    QCOMPARE(rig.session.state().cellValue(QStringLiteral("0118")),
             qint64(outcome == Calibration::Written ? deviceAfter : 500000u));
}

void TestRescale::access_data()
{
    QTest::addColumn<bool>("backDoor");
    QTest::addColumn<int>("deviceCode"); // rescale: the device's code, -1 never read out
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("granted");
    QTest::newRow("rescale 012 matches 12 by value") << false << 12 << "012" << true;
    QTest::newRow("rescale 12: right value, wrong length") << false << 12 << "12" << false;
    QTest::newRow("rescale 0012: right value, wrong length") << false << 12 << "0012" << false;
    QTest::newRow("rescale 124 for 123") << false << 123 << "124" << false;
    QTest::newRow("rescale 000 before any readout") << false << -1 << "000" << false;
    QTest::newRow("back door code") << true << 0 << "47318" << true;
    QTest::newRow("back door 4 characters") << true << 0 << "4731" << false;
    QTest::newRow("back door 6 characters") << true << 0 << "473180" << false;
    QTest::newRow("back door one digit off") << true << 0 << "47319" << false;
}

void TestRescale::access()
{
    QFETCH(bool, backDoor);
    QFETCH(int, deviceCode);
    QFETCH(QString, typed);
    QFETCH(bool, granted);

    Rig rig;
    if (deviceCode >= 0) {
        rig.device->setValue(0x0138, 2, quint32(deviceCode));
        QVERIFY(rig.readOut());
    }
    TerminalState &state = rig.session.state();
    Rescale rescale(rig.session);
    MemWrite memWrite(rig.session);
    // A stale grant from an earlier prompt does not count.
    state.RescaleGranted = state.BackDoorGranted = true;
    backDoor ? MemWrite::clearFlags(state) : Rescale::clearFlags(state);
    backDoor ? MemWrite::accept(state, typed) : Rescale::accept(state, typed);
    QCOMPARE(backDoor ? memWrite.accessGranted() : rescale.accessGranted(), granted);
    const QString refused = backDoor ? QStringLiteral("Password is not correct. Can not open\r Back Door! Try again")
                                     : QStringLiteral("Password is not correct. Can not open\r Access to Rescale! Try again.");
    QCOMPARE(rig.prompter.texts(), granted ? QStringList() : QStringList{refused});

    // Cancelled: silent.
    rig.prompter.clear();
    backDoor ? MemWrite::clearFlags(state) : Rescale::clearFlags(state);
    state.RescaleCancelled = state.BackDoorCancelled = true;
    QVERIFY(!(backDoor ? memWrite.accessGranted() : rescale.accessGranted()));
    QCOMPARE(rig.prompter.texts(), QStringList());
}

QTEST_GUILESS_MAIN(TestRescale)
#include "tst_rescale.moc"
