// Rescale, calibration entry and the access checks, without windows, against
// the simulated transmitter: the checks, the exact texts, and what reaches
// the device (and what never does).
#include "session/parametermap.h"
#include "support/columns.h"
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

// fullScale: -1 keeps the preset's
// asked: sf in the activation question, -1 none
// yes: the answer to the activation question
const Columns<QString, int, int, QString, QStringList, qint64, quint32, quint32, bool> kRescale{
    "preset", "fullScale", "factor", "newMax", "messages", "asked", "factorAfter", "maxAfter", "yes"};
// corruptFrom: the write frame after which read-backs come back wrong
const Columns<QString, QString, QStringList, QStringList, qint64> kFailedWrites{
    "corruptFrom", "abort", "status", "writes", "factorCell"};
// rescaled: a rescale to this maximum after the frame opened
const Columns<QString, QString, bool, int, QString, quint32> kCalibrationEntry{
    "rescaled", "typed", "corrupt", "outcome", "status", "deviceAfter"};
// deviceCode: -1 never read out
const Columns<int, QString, bool> kAccess{"deviceCode", "typed", "granted"};

} // namespace

class TestRescale : public QObject
{
    Q_OBJECT
private slots:
    // The standard device: full scale 5000, factor 500000, cut-offs 10..1000 Hz,
    // so freq = new maximum / 10.
    void rescale_data()
    {
        kRescale.add();

        const QStringList none;
        QTest::newRow("equal to the old writes nothing") << "standard" << -1 << -1 << "5000" << none << qint64(500000) << 500000u << 5000u << true;
        QTest::newRow("freq on the high cut-off") << "standard" << -1 << -1 << "10000" << QStringList{kSuccess} << qint64(1000000) << 1000000u << 10000u << true;
        QTest::newRow("freq 1000.5 rounds to even, on the cut-off")
            << "standard" << -1 << -1 << "10005" << QStringList{kSuccess} << qint64(1000500) << 1000500u << 10005u << true;
        // One beyond the high cut-off (10006): tst_service and tst_service_cli.
        QTest::newRow("freq on the low cut-off") << "standard" << -1 << -1 << "100" << QStringList{kSuccess} << qint64(10000) << 10000u << 100u << true;
        QTest::newRow("freq 9.5 rounds to even, on the cut-off") << "standard" << -1 << -1 << "95" << QStringList{kSuccess} << qint64(9500) << 9500u << 95u << true;
        QTest::newRow("freq one below the low cut-off") << "standard" << -1 << -1 << "94"
            << QStringList{"New value of the Frequency: 9 is less than Low Frequency Cut off: 10 Hz\r"
                           " Increase New Flow Rate value and try again."}
            << qint64(-1) << 500000u << 5000u << true;
        QTest::newRow("zero") << "standard" << -1 << -1 << "0" << QStringList{kNewZero} << qint64(-1) << 500000u << 5000u << true;
        QTest::newRow("not a number reads zero") << "standard" << -1 << -1 << "abc" << QStringList{kNewZero} << qint64(-1) << 500000u << 5000u << true;
        QTest::newRow("negative gets the old-value text") << "standard" << -1 << -1 << "-5" << QStringList{kOldZero} << qint64(-1) << 500000u << 5000u << true;
        QTest::newRow("old maximum zero") << "standard" << 0 << -1 << "100" << QStringList{kOldZero} << qint64(-1) << 500000u << 0u << true;
        // Full scale 10.0 stored as 100; 12.5 is stored as 125.
        QTest::newRow("tenths 12.5 stored as 125") << "tenths" << 100 << 40000 << "12.5" << QStringList{kSuccess} << qint64(50000) << 50000u << 125u << true;
        QTest::newRow("declined: nothing written") << "standard" << -1 << -1 << "8000" << QStringList{"WARNING: New Scaling Factor was Not Updated!"} << qint64(800000)
            << 500000u << 5000u << false;
        // A full scale the device cannot hold as typed is refused, never rounded:
        // 0.04 would be stored as 0 and block every later rescale.
        QTest::newRow("whole units 12.5 refused") << "standard" << 10 << 40000 << "12.5" << QStringList{ParameterMap::rangeMessage(" permissible range [1-5000000]")}
            << qint64(-1) << 40000u << 10u << true;
        QTest::newRow("tenths 0.04 refused") << "tenths" << 100 << 2500000 << "0.04" << QStringList{ParameterMap::rangeMessage(" permissible range [0.1-5000000.0]")}
            << qint64(-1) << 2500000u << 100u << true;
        QTest::newRow("text after the number refused") << "standard" << -1 << -1 << "6000abc" << QStringList{ParameterMap::rangeMessage(" permissible range [1-5000000]")}
            << qint64(-1) << 500000u << 5000u << true;
    }

    void rescale()
    {
        const auto [preset, fullScale, factor, newMax, messages, asked, factorAfter, maxAfter, yes] = kRescale.fetch();

        Rig rig(preset);
        if (fullScale >= 0)
            rig.device->setValue(0x0105, 4, quint32(fullScale));
        if (factor >= 0)
            rig.device->setValue(0x0118, 4, quint32(factor));
        QVERIFY(rig.readOut());
        const quint32 factorBefore = rig.device->value(0x0118, 4);
        const quint32 maxBefore = rig.device->value(0x0105, 4);

        Rescale rescale(rig.session);
        rig.prompter.answers = {yes};
        const Rescale::Result r = rescale.compute(newMax);

        QCOMPARE(rig.prompter.texts(), messages);
        QCOMPARE(rig.prompter.texts(QStringLiteral("yesno")), asked >= 0 ? QStringList{activateQuestion(asked)} : QStringList());
        QCOMPARE(r.leave, asked >= 0);
        const int expectedWrites = (factorAfter != factorBefore) + (maxAfter != maxBefore);
        QCOMPARE(rig.writeFrames().size(), expectedWrites);
        // The factor and the maximum on the device, and the terminal's copy following it.
        const TerminalState &s = rig.session.state();
        QCOMPARE(QList<qint64>({rig.device->value(0x0118, 4), rig.device->value(0x0105, 4), s.cellValue("0118"), s.cellValue("0105")}),
                 QList<qint64>({factorAfter, maxAfter, factorAfter, maxAfter}));
    }

    void failedWrites_data()
    {
        kFailedWrites.add();
        const QString error = QStringLiteral("Status: Error during Memory Write Operation");
        QTest::newRow("factor: the maximum flow is never written") << "R5200:040118" << "ABORT: Error during Scale Factor Update!" << QStringList{error}
            << QStringList{"R5200:04011800000F4240"} << qint64(500000);
        QTest::newRow("maximum flow: the new factor stays") << "R5200:040105" << "ABORT: Error during Maximum Flow Update!"
            << QStringList{"Status: 04 0118 000F4240   1000000", error} << QStringList{"R5200:04011800000F4240", "R5200:0401050000002710"} << qint64(1000000);
    }

    void failedWrites()
    {
        const auto [corruptFrom, abort, status, writes, factorCell] = kFailedWrites.fetch();

        Rig rig;
        QVERIFY(rig.readOut());
        connect(rig.device, &SimDevice::frameReceived, rig.device, [&rig, corruptFrom = corruptFrom](const QString &frame) {
            if (frame.startsWith(corruptFrom))
                rig.corruptReadbacks();
        });
        Rescale rescale(rig.session);
        rig.prompter.answers = {true};
        const Rescale::Result r = rescale.compute(QStringLiteral("10000"));

        QCOMPARE(std::pair(r.failed, r.flowDone), std::pair(true, false));
        const QStringList messages = rig.prompter.texts();
        QCOMPARE(messages.size(), 2);
        QVERIFY2(messages[0].startsWith(QLatin1String("Verify data is failed!")), qPrintable(messages[0]));
        QCOMPARE(messages[1], abort);
        QCOMPARE(rig.session.statusHistory, status);
        QCOMPARE(rig.writeFrames(), writes);
        QCOMPARE(QList<qint64>({rig.session.state().cellValue("0118"), rig.session.state().cellValue("0105")}), QList<qint64>({factorCell, 5000}));
    }

    void calibrationEntry_data()
    {
        kCalibrationEntry.add();

        const QString range = QStringLiteral(
            "Status: The value of the parameter is out of permissible range [1-999999000] Try again!");
        QTest::newRow("12346") << "" << "12346" << false << int(Calibration::Written) << "Status: 04 0118 0000303A   12346" << 12346u;
        QTest::newRow("just below the bound") << "" << "999998999" << false << int(Calibration::Written) << "Status: 04 0118 3B9AC617   999998999" << 999998999u;
        QTest::newRow("999999000 refused") << "" << "999999000" << false << int(Calibration::OutOfRange) << range << 500000u;
        QTest::newRow("zero refused") << "" << "0" << false << int(Calibration::OutOfRange) << range << 500000u;
        QTest::newRow("empty refused") << "" << "" << false << int(Calibration::OutOfRange) << range << 500000u;
        QTest::newRow("beyond the reader refused") << "" << "99999999999999999999999" << false << int(Calibration::OutOfRange) << range << 500000u;
        QTest::newRow("same value, leading zero") << "" << "0500000" << false << int(Calibration::Unchanged) << QString() << 500000u;
        // The device took the bytes; only the read-back was wrong.
        QTest::newRow("failed read-back") << "" << "12346" << true << int(Calibration::Failed) << "Status: Error during Memory Write Operation" << 12346u;
        // Compared with what the device holds now, not with the factor the frame opened with.
        QTest::newRow("the old factor back after a rescale") << "10000" << "500000" << false << int(Calibration::Written) << "Status: 04 0118 0007A120   500000" << 500000u;
    }

    void calibrationEntry()
    {
        const auto [rescaled, typed, corrupt, outcome, status, deviceAfter] = kCalibrationEntry.fetch();

        Rig rig;
        QVERIFY(rig.readOut());
        Calibration calibration(rig.session);
        QCOMPARE(calibration.startText(), QStringLiteral("500000"));
        if (!rescaled.isEmpty()) {
            rig.prompter.answers = {true};
            QVERIFY(Rescale(rig.session).compute(rescaled).factorDone);
            rig.device->clearReceivedFrames();
        }
        if (corrupt)
            rig.corruptReadbacks();
        QCOMPARE(int(calibration.enter(typed)), outcome);
        QCOMPARE(std::pair(rig.session.statusText(), rig.device->value(0x0118, 4)), std::pair(status, deviceAfter));
        if (outcome == Calibration::OutOfRange || outcome == Calibration::Unchanged)
            QCOMPARE(rig.device->framesReceived(), 0);
        // The terminal's copy follows only a verified write.
        QCOMPARE(rig.session.state().cellValue(QStringLiteral("0118")),
                 qint64(outcome == Calibration::Written ? deviceAfter : rescaled.isEmpty() ? 500000u : 1000000u));
        QCOMPARE(calibration.startText(), QString::number(rig.session.state().cellValue(QStringLiteral("0118"))));
    }

    // What the window's prompts cannot show: the rescale code compared by value
    // with the code read from the device, and refused before any readout.
    void access_data()
    {
        kAccess.add();
        QTest::newRow("012 matches 12 by value") << 12 << "012" << true;
        QTest::newRow("000 before any readout") << -1 << "000" << false;
    }

    void access()
    {
        const auto [deviceCode, typed, granted] = kAccess.fetch();

        Rig rig;
        if (deviceCode >= 0) {
            rig.device->setValue(0x0138, 2, quint32(deviceCode));
            QVERIFY(rig.readOut());
        }
        TerminalState &state = rig.session.state();
        // A stale grant from an earlier prompt does not count.
        state.RescaleGranted = true;
        Rescale::clearFlags(state);
        Rescale::accept(state, typed);
        QCOMPARE(Rescale(rig.session).accessGranted(), granted);
        QCOMPARE(rig.prompter.texts().size(), granted ? 0 : 1);
    }
};

QTEST_GUILESS_MAIN(TestRescale)
#include "tst_rescale.moc"
