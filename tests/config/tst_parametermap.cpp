// The parameter table and the editor's commit rules without the window,
// against the simulated transmitter: range tests and their exact messages,
// the data each value becomes on the wire, the RAM mirrors, what is never
// sent, the options byte, the unit name and the totalizer reset.
#include "config/parametercommit.h"
#include "common/numtext.h"
#include "session/parametermap.h"
#include "support/simrig.h"
#include "terminal/livedisplay.h"

#include <QtTest>

namespace {

// A session over a simulated transmitter, read out as it is when the editor opens.
struct Rig : SimRig {
    explicit Rig(const QString &preset = QStringLiteral("standard")) : SimRig(preset), commit(session) {}
    // The shown text of the other fields as the editor filled them.
    ParameterCommit::ShownText shownAsLoaded() const
    {
        return [this](const QString &control) { return commit.displayText(control); };
    }

    ParameterCommit commit;
};

QString range(const QString &text)
{
    return ParameterMap::rangeMessage(QStringLiteral(" permissible range ") + text);
}

const auto writeFrame = &SimRig::writeFrame;

} // namespace

class TestParameterMap : public QObject
{
    Q_OBJECT
private slots:
    void boundaries_data();
    void boundaries();
    void crossFieldLimitsUseShownText_data();
    void crossFieldLimitsUseShownText();
    void storedValueSendsNothing_data();
    void storedValueSendsNothing();
    void failedVerificationShowsStoredValue_data();
    void failedVerificationShowsStoredValue();

    void optionsByte_data();
    void optionsByte();
    void unitName_data();
    void unitName();

    void totalizerReset_data();
    void totalizerReset();
    void totalizerResetReadsTheDisplay_data();
    void totalizerResetReadsTheDisplay();

    void displayFormats_data();
    void displayFormats();
};

// Both sides of every bound, with the exact message or the exact frames
// (the parameter's write, then its RAM mirror). The standard device holds
// values that differ from every accepted one below.
void TestParameterMap::boundaries_data()
{
    QTest::addColumn<QString>("preset");
    QTest::addColumn<QString>("control");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("message");   // empty: accepted
    QTest::addColumn<QStringList>("writes");

    const QString std = QStringLiteral("standard");
    auto ok = [&](const char *row, const QString &preset, const char *control, const char *typed, QStringList writes) {
        QTest::newRow(row) << preset << control << typed << QString() << writes;
    };
    auto no = [&](const char *row, const QString &preset, const char *control, const char *typed, const QString &msg) {
        QTest::newRow(row) << preset << control << typed << msg << QStringList();
    };

    no("interval 0", std, "txtMeasureInter", "0", range("[1-255]"));
    ok("interval 1 and its mirror", std, "txtMeasureInter", "1", {writeFrame("0100", "01", "01"), writeFrame("0030", "01", "01")});
    ok("interval 255", std, "txtMeasureInter", "255", {writeFrame("0100", "01", "FF"), writeFrame("0030", "01", "FF")});
    no("interval 256", std, "txtMeasureInter", "256", range("[1-255]"));
    ok("mA scale 0", std, "txtmAScale", "0", {writeFrame("0101", "02", "0000")});
    ok("mA scale 4095", std, "txtmAScale", "4095", {writeFrame("0101", "02", "0FFF")});
    no("mA scale 4096", std, "txtmAScale", "4096", range("[0-4095]"));
    ok("response 0", std, "txtResponseTime", "0", {writeFrame("0103", "01", "00")});
    ok("response 10", std, "txtResponseTime", "10", {writeFrame("0103", "01", "0A")});
    no("response 11", std, "txtResponseTime", "11", range("[0-10]"));
    no("full scale 0", std, "txtMaxFlow", "0", range("[1-5000000]"));
    ok("full scale 1", std, "txtMaxFlow", "1", {writeFrame("0105", "04", "00000001")});
    ok("full scale 5000000", std, "txtMaxFlow", "5000000", {writeFrame("0105", "04", "004C4B40")});
    no("full scale 5000001", std, "txtMaxFlow", "5000001", range("[1-5000000]"));
    no("tenths 0", "tenths", "txtMaxFlow", "0", range("[0.1-5000000.0]"));
    ok("tenths 0.1", "tenths", "txtMaxFlow", "0.1", {writeFrame("0105", "04", "00000001")});
    ok("tenths 123.4", "tenths", "txtMaxFlow", "123.4", {writeFrame("0105", "04", "000004D2")});
    ok("tenths 5000000", "tenths", "txtMaxFlow", "5000000", {writeFrame("0105", "04", "02FAF080")});
    no("tenths 5000000.1", "tenths", "txtMaxFlow", "5000000.1", range("[0.1-5000000.0]"));
    ok("percent 1: 5 padded", std, "txt1Percent", "5", {writeFrame("010C", "01", "05")});
    ok("percent 1: 100", std, "txt1Percent", "100", {writeFrame("010C", "01", "64")});
    no("percent 1: 101", std, "txt1Percent", "101", range("[0-100]"));
    ok("percent 2: 0", std, "txt2Percent", "0", {writeFrame("0111", "01", "00")});
    no("percent 2: 101", std, "txt2Percent", "101", range("[0-100]"));
    ok("percent 3: 100", std, "txt3Percent", "100", {writeFrame("0116", "01", "64")});
    no("percent 3: 101", std, "txt3Percent", "101", range("[0-100]"));
    no("scale factor 0", std, "txtScaleFactor", "0", range("[1-999999000]"));
    ok("scale factor 1 padded", std, "txtScaleFactor", "1", {writeFrame("0118", "04", "00000001")});
    ok("scale factor 999998999", std, "txtScaleFactor", "999998999", {writeFrame("0118", "04", "3B9AC617")});
    no("scale factor 999999000", std, "txtScaleFactor", "999999000", range("[1-999999000]"));
    ok("coefficient A 9999", std, "txtAFCor", "9999", {writeFrame("012D", "02", "270F")});
    no("coefficient A 10000", std, "txtAFCor", "10000", range("[0-9999]"));
    ok("coefficient B 0", std, "txtBFCor", "0", {writeFrame("0130", "02", "0000")});
    no("coefficient B 10000", std, "txtBFCor", "10000", range("[0-9999]"));
    no("high cut-off 0", std, "txtHighFcut", "0", range("[1-9999]"));
    ok("high cut-off 9999", std, "txtHighFcut", "9999", {writeFrame("0134", "02", "270F")});
    no("high cut-off 10000", std, "txtHighFcut", "10000", range("[1-9999]"));
    no("password 0", std, "txtPassword", "0", range("[1-999]"));
    ok("password 999", std, "txtPassword", "999", {writeFrame("0138", "02", "03E7")});
    no("password 1000", std, "txtPassword", "1000", range("[1-999]"));
    ok("mA offset 4095", std, "txtmAOffset", "4095", {writeFrame("013A", "02", "0FFF")});
    no("mA offset 4096", std, "txtmAOffset", "4096", range("[0-4095]"));
    ok("turbulence 100", std, "txtTurbWindow", "100", {writeFrame("014C", "01", "64")});
    no("turbulence 101", std, "txtTurbWindow", "101", range("[0-100]"));
    ok("low cut-off 0", std, "txtLowFcut", "0", {writeFrame("014D", "02", "0000")});
    ok("low cut-off one below high", std, "txtLowFcut", "999", {writeFrame("014D", "02", "03E7")});
    no("low cut-off equal to high", std, "txtLowFcut", "1000", range("[0-9999]"));
    ok("minimum flow 0", std, "txtMinFlow", "0", {writeFrame("010D", "04", "00000000")});
    ok("minimum flow one below full scale", std, "txtMinFlow", "4999", {writeFrame("010D", "04", "00001387")});
    no("minimum flow equal to full scale", std, "txtMinFlow", "5000", range("[0-999999]"));
    no("density 0", std, "txtFluDensity", "0", range("[1-9999999]"));
    ok("density 9999999", std, "txtFluDensity", "9999999", {writeFrame("0170", "04", "0098967F")});
    no("density 10000000", std, "txtFluDensity", "10000000", range("[1-9999999]"));
    no("K-factor 0", std, "txtUDKfactor", "0", range("[1-999999000]"));
    ok("K-factor 999998999", std, "txtUDKfactor", "999998999", {writeFrame("017C", "04", "3B9AC617")});
    no("K-factor 999999000", std, "txtUDKfactor", "999999000", range("[1-999999000]"));
    no("log interval 0", std, "txtLogInterval", "0", range("[1-255]"));
    ok("log interval 255 and its mirror", std, "txtLogInterval", "255", {writeFrame("01E8", "01", "FF"), writeFrame("0008", "01", "FF")});
    no("log interval 256", std, "txtLogInterval", "256", range("[1-255]"));
    ok("time-out 0", std, "txtTimeOut", "0", {writeFrame("01E9", "01", "00")});
    ok("time-out 255", std, "txtTimeOut", "255", {writeFrame("01E9", "01", "FF")});
    no("time-out 256", std, "txtTimeOut", "256", range("[0-255]"));
    no("pointer 199h", std, "txtDataPointer", "199", "The value of the parameter is out of\r permissible range [200h-7FFFh] Try again!");
    ok("pointer 19Ah gets a leading 0", std, "txtDataPointer", "19A", {writeFrame("01FE", "02", "019A")});
    ok("pointer 0200", std, "txtDataPointer", "0200", {writeFrame("01FE", "02", "0200")});
    ok("pointer 7FFF", std, "txtDataPointer", "7FFF", {writeFrame("01FE", "02", "7FFF")});
    no("pointer 8000", std, "txtDataPointer", "8000", range("[200h-7FFFh]"));
    no("pointer FFFF", std, "txtDataPointer", "FFFF", range("[200h-7FFFh]"));
}

void TestParameterMap::boundaries()
{
    QFETCH(QString, preset);
    QFETCH(QString, control);
    QFETCH(QString, typed);
    QFETCH(QString, message);
    QFETCH(QStringList, writes);

    Rig rig(preset);
    QVERIFY(rig.readOut());
    const Parameter *p = ParameterMap::find(control);
    const qint64 before = rig.session.state().cellValue(p->address);
    const CommitResult r = rig.commit.commit(control, typed, rig.shownAsLoaded());

    QCOMPARE(rig.writeFrames(), writes);
    QCOMPARE(r.text, typed);
    if (!message.isEmpty()) {
        QCOMPARE(r.outcome, CommitResult::Refused);
        QCOMPARE(rig.prompter.texts(), QStringList{message});
        QCOMPARE(rig.prompter.entries.first().title, QStringLiteral("System Monitor"));
        QCOMPARE(rig.session.state().cellValue(p->address), before);
        return;
    }
    QCOMPARE(r.outcome, CommitResult::Written);
    QCOMPARE(rig.prompter.texts(), QStringList());
    // The device holds it, and so does the terminal's copy.
    const quint32 held = rig.device->value(p->address.toInt(nullptr, 16), p->width);
    QCOMPARE(rig.session.state().cellValue(p->address), qint64(held));
    QCOMPARE(ParameterMap::padHex(held, p->width), writes.first().mid(14));
    if (!p->mirror.isEmpty())
        QCOMPARE(int(rig.device->byte(p->mirror.toInt(nullptr, 16))), int(held));
}

// The limits come from what the other field shows, even before it is committed.
void TestParameterMap::crossFieldLimitsUseShownText_data()
{
    QTest::addColumn<QString>("preset");
    QTest::addColumn<QString>("control");
    QTest::addColumn<QString>("otherShown");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("low cut-off below an edited high") << "standard" << "txtLowFcut" << "500" << "499" << true;
    QTest::newRow("low cut-off at an edited high") << "standard" << "txtLowFcut" << "500" << "500" << false;
    QTest::newRow("minimum at an edited full scale") << "standard" << "txtMinFlow" << "200" << "200" << false;
    // In tenths the minimum, a whole number, is held against the shown 1234.5.
    QTest::newRow("tenths: minimum 1234 below 1234.5") << "tenths" << "txtMinFlow" << "1234.5" << "1234" << true;
    QTest::newRow("tenths: minimum 1235 above 1234.5") << "tenths" << "txtMinFlow" << "1234.5" << "1235" << false;
}

void TestParameterMap::crossFieldLimitsUseShownText()
{
    QFETCH(QString, preset);
    QFETCH(QString, control);
    QFETCH(QString, otherShown);
    QFETCH(QString, typed);
    QFETCH(bool, accepted);

    Rig rig(preset);
    QVERIFY(rig.readOut());
    const QString other = ParameterMap::find(control)->crossField;
    QStringList asked;
    const CommitResult r = rig.commit.commit(control, typed, [&](const QString &c) {
        asked << c;
        return c == other ? otherShown : rig.commit.displayText(c);
    });
    QCOMPARE(asked, QStringList{other});
    QCOMPARE(r.outcome, accepted ? CommitResult::Written : CommitResult::Refused);
    QCOMPARE(rig.writeFrames().size(), accepted ? 1 : 0);
    // The message names the row's own range, not the other field.
    QCOMPARE(rig.prompter.texts(), accepted ? QStringList()
                                            : QStringList{ParameterMap::rangeMessage(ParameterMap::find(control)->rangeText)});
}

void TestParameterMap::storedValueSendsNothing_data()
{
    QTest::addColumn<QString>("preset");
    QTest::addColumn<QString>("control");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("outcome");
    QTest::addColumn<QStringList>("writes");

    const int unchanged = CommitResult::Unchanged;
    QTest::newRow("stored percent") << "standard" << "txt1Percent" << "20" << unchanged << QStringList();
    QTest::newRow("stored percent with a leading zero") << "standard" << "txt1Percent" << "020" << unchanged << QStringList();
    QTest::newRow("stored interval: no mirror either") << "standard" << "txtMeasureInter" << "50" << unchanged << QStringList();
    QTest::newRow("stored full scale in tenths") << "tenths" << "txtMaxFlow" << "1234.5" << unchanged << QStringList();
    QTest::newRow("stored pointer") << "standard" << "txtDataPointer" << "1970" << unchanged << QStringList();
    QTest::newRow("stored unit name") << "standard" << "txtUDEUString" << "UD" << unchanged << QStringList();
    QTest::newRow("name shorter than two characters") << "standard" << "txtUDEUString" << "X"
                                                       << int(CommitResult::Ignored) << QStringList();
    QTest::newRow("empty interval is refused") << "standard" << "txtMeasureInter" << "" << int(CommitResult::Refused)
                                               << QStringList();
}

void TestParameterMap::storedValueSendsNothing()
{
    QFETCH(QString, preset);
    QFETCH(QString, control);
    QFETCH(QString, typed);
    QFETCH(int, outcome);
    QFETCH(QStringList, writes);

    Rig rig(preset);
    QVERIFY(rig.readOut());
    const CommitResult r = rig.commit.commit(control, typed, rig.shownAsLoaded());
    QCOMPARE(int(r.outcome), outcome);
    QCOMPARE(rig.writeFrames(), writes);
    if (writes.isEmpty())
        QCOMPARE(rig.device->framesReceived(), 0);
}

// A read-back one digit off: the message, the stored value shown again, the
// terminal's copy untouched and no mirror written.
void TestParameterMap::failedVerificationShowsStoredValue_data()
{
    QTest::addColumn<QString>("control");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shownAfter");
    QTest::addColumn<QString>("sent");

    QTest::newRow("interval with a mirror") << "txtMeasureInter" << "60" << "50" << writeFrame("0100", "01", "3C");
    QTest::newRow("pointer") << "txtDataPointer" << "0400" << "1970" << writeFrame("01FE", "02", "0400");
    QTest::newRow("unit name") << "txtUDEUString" << "AB" << "UD" << writeFrame("01E5", "03", "414200");
}

void TestParameterMap::failedVerificationShowsStoredValue()
{
    QFETCH(QString, control);
    QFETCH(QString, typed);
    QFETCH(QString, shownAfter);
    QFETCH(QString, sent);

    Rig rig;
    QVERIFY(rig.readOut());
    const Parameter *p = ParameterMap::find(control);
    const QString cellBefore = rig.session.state().cellText(p->address);
    rig.corruptReadbacks();
    const CommitResult r = rig.commit.commit(control, typed, rig.shownAsLoaded());

    QCOMPARE(r.outcome, CommitResult::Failed);
    QCOMPARE(r.text, shownAfter);
    QCOMPARE(rig.writeFrames(), QStringList{sent});
    QCOMPARE(rig.prompter.texts().size(), 1);
    QVERIFY2(rig.prompter.texts().first().startsWith(QLatin1String("Verify data is failed!\r data recieved: ")),
             qPrintable(rig.prompter.texts().first()));
    QCOMPARE(rig.session.state().cellText(p->address), cellBefore);
    QCOMPARE(rig.commit.displayText(control), shownAfter);
}

// The options byte for each button of the two pairs, over stored bytes that
// carry other bits too: element 0 of optEnable and element 1 of optPulse set
// their bits. A change is mirrored to RAM at 0026h.
void TestParameterMap::optionsByte_data()
{
    QTest::addColumn<int>("stored");
    QTest::addColumn<QString>("control");
    QTest::addColumn<int>("element");
    QTest::addColumn<QString>("data");   // empty: nothing sent

    QTest::newRow("enable on") << 0xF0 << "optEnable" << 0 << "F2";
    QTest::newRow("enable off") << 0xFF << "optEnable" << 1 << "FD";
    QTest::newRow("pulse on") << 0x80 << "optPulse" << 1 << "81";
    QTest::newRow("pulse off") << 0x0F << "optPulse" << 0 << "0E";
    QTest::newRow("enable already on") << 0x02 << "optEnable" << 0 << "";
    QTest::newRow("enable already off") << 0x01 << "optEnable" << 1 << "";
    QTest::newRow("pulse already on") << 0x01 << "optPulse" << 1 << "";
    QTest::newRow("pulse already off") << 0x02 << "optPulse" << 0 << "";
}

void TestParameterMap::optionsByte()
{
    QFETCH(int, stored);
    QFETCH(QString, control);
    QFETCH(int, element);
    QFETCH(QString, data);

    Rig rig;
    rig.device->setValue(0x01EA, 1, quint32(stored));
    rig.device->setValue(0x0026, 1, quint32(stored));
    QVERIFY(rig.readOut());
    const CommitResult r = rig.commit.commitOption(control, element);

    QCOMPARE(r.index, element);
    QCOMPARE(rig.commit.optionElement(control), element);
    if (data.isEmpty()) {
        QCOMPARE(r.outcome, CommitResult::Unchanged);
        QCOMPARE(rig.device->framesReceived(), 0);
        return;
    }
    QCOMPARE(r.outcome, CommitResult::Written);
    QCOMPARE(rig.writeFrames(), (QStringList{writeFrame("01EA", "01", data), writeFrame("0026", "01", data)}));
    QCOMPARE(int(rig.device->byte(0x01EA)), data.toInt(nullptr, 16));
    QCOMPARE(int(rig.device->byte(0x0026)), data.toInt(nullptr, 16));
    QCOMPARE(rig.session.state().cellValue(QStringLiteral("01EA")), qint64(data.toInt(nullptr, 16)));
    QCOMPARE(ParameterCommit::rebuildOptions(stored, control == QLatin1String("optEnable") ? 2 : 1,
                                             ParameterCommit::optionBitFor(control, element)),
             data);

}

void TestParameterMap::unitName_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("data");

    QTest::newRow("two letters") << "AB" << "414200";
    QTest::newRow("characters after the second are not sent") << "GPH" << "475000";
    QTest::newRow("a control character makes three digits, no 00") << "\tA" << "941";
}

void TestParameterMap::unitName()
{
    QFETCH(QString, typed);
    QFETCH(QString, data);
    QCOMPARE(ParameterCommit::unitNameData(typed), data);
    if (data.size() != 6)
        return;

    Rig rig;
    QVERIFY(rig.readOut());
    const CommitResult r = rig.commit.commit(QStringLiteral("txtUDEUString"), typed, rig.shownAsLoaded());
    QCOMPARE(r.outcome, CommitResult::Written);
    QCOMPARE(rig.writeFrames(), QStringList{writeFrame("01E5", "03", data)});
    QCOMPARE(rig.device->memory().mid(0x01E5, 3).toHex().toUpper(), data.toLatin1());
    // The device keeps two characters; the name is those from now on.
    QCOMPARE(rig.commit.displayText(QStringLiteral("txtUDEUString")), typed.left(2));
}

// The reset with the flow reading as the main window shows it.
void TestParameterMap::totalizerReset_data()
{
    QTest::addColumn<bool>("yes");
    QTest::addColumn<QString>("flow");
    QTest::addColumn<bool>("corrupt");
    QTest::addColumn<int>("outcome");
    QTest::addColumn<int>("messages");
    QTest::addColumn<QStringList>("writes");

    const QStringList both = {writeFrame("015C", "04", "00000000"), writeFrame("0109", "02", "0000")};
    const QStringList none;
    QTest::newRow("flow 0.00") << true << "0.00" << false << int(ParameterCommit::ResetDone) << 0 << both;
    QTest::newRow("flow 0.01") << true << "0.01" << false << int(ParameterCommit::ResetFlowNotZero) << 1 << none;
    QTest::newRow("no flow reading") << true << "" << false << int(ParameterCommit::ResetNoReading) << 0 << none;
    QTest::newRow("blanks of a failed read") << true << "            " << false << int(ParameterCommit::ResetNoReading)
                                             << 0 << none;
    QTest::newRow("answered No") << false << "0.00" << false << int(ParameterCommit::ResetDeclined) << 0 << none;
    // Both writes go out whatever the first read-back; only the second decides.
    QTest::newRow("not verified") << true << "0.00" << true << int(ParameterCommit::ResetNotVerified) << 2 << both;
}

void TestParameterMap::totalizerReset()
{
    QFETCH(bool, yes);
    QFETCH(QString, flow);
    QFETCH(bool, corrupt);
    QFETCH(int, outcome);
    QFETCH(int, messages);
    QFETCH(QStringList, writes);

    Rig rig;
    QVERIFY(rig.readOut());
    TerminalState &s = rig.session.state();
    s.TotalMultiplier = 2;
    s.FlowText = flow;
    if (corrupt)
        rig.corruptReadbacks();
    rig.prompter.answers = {yes};
    QStringList shownTotals;
    const auto result = rig.commit.resetTotal([&] { shownTotals << rig.commit.totalText(); });

    QCOMPARE(int(result), outcome);
    QCOMPARE(rig.prompter.texts(QStringLiteral("yesno")),
             QStringList{"WARNING: Proceeding with this will reset Totalizer to Zero!\r"
                         "   Do you want to Reset Totalizer to Zero?   "});
    QCOMPARE(rig.prompter.entries.first().icon, Prompter::Exclamation);
    QCOMPARE(rig.writeFrames(), writes);
    QCOMPARE(rig.prompter.texts().size(), messages);
    if (outcome == ParameterCommit::ResetFlowNotZero)
        QCOMPARE(rig.prompter.texts().first(),
                 QStringLiteral("WARNING: Flow reading is not zero!\r Please make sure flow reading is zero!"));
    // The total shows zero after the first write; the multiplier goes only
    // with a verified second one.
    QCOMPARE(shownTotals, writes.isEmpty() ? QStringList() : QStringList(outcome == ParameterCommit::ResetDone ? 2 : 1, "00000000"));
    QCOMPARE(s.TotalMultiplier, outcome == ParameterCommit::ResetDone ? 0 : 2);
    QCOMPARE(rig.commit.totalUnitText(), outcome == ParameterCommit::ResetDone ? QStringLiteral("LTR") : QStringLiteral(" M  LTR"));
    if (outcome == ParameterCommit::ResetDone)
        QCOMPARE(rig.device->value(0x015C, 4) + rig.device->value(0x0109, 2), 0u);
}

// The command line's reading: the device's own display, which shows zero
// once the flow stops.
void TestParameterMap::totalizerResetReadsTheDisplay_data()
{
    QTest::addColumn<bool>("stopped");
    QTest::addColumn<int>("outcome");
    QTest::newRow("valve closed") << true << int(ParameterCommit::ResetDone);
    QTest::newRow("flowing") << false << int(ParameterCommit::ResetFlowNotZero);
}

void TestParameterMap::totalizerResetReadsTheDisplay()
{
    QFETCH(bool, stopped);
    QFETCH(int, outcome);

    Rig rig;
    rig.device->setFlowStopped(stopped);
    QVERIFY(rig.readOut());
    rig.prompter.answers = {true};
    QString reading;
    const auto result = rig.commit.resetTotal({}, [&] {
        LiveDisplay(rig.session.link(), rig.session.state(), &rig.prompter).readFlow();
        return reading = rig.session.state().FlowText;
    });
    QCOMPARE(int(result), outcome);
    QVERIFY2(!reading.trimmed().isEmpty(), qPrintable(reading));
    QCOMPARE(numtext::val(reading) == 0, stopped);
    QCOMPARE(rig.device->receivedFrames().mid(0, 2), (QStringList{"R5202:01014F00", "R5202:0A012A00"}));
}

void TestParameterMap::displayFormats_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("precision");
    QTest::addColumn<QString>("oneDecimal");

    QTest::newRow("0.5") << 0.5 << "0.5000" << "0.5";
    QTest::newRow("9.25") << 9.25 << "9.250" << "9.3";
    QTest::newRow("10") << 10.0 << "10.00" << "10.0";
    QTest::newRow("99.99") << 99.99 << "99.99" << "100.0";
    QTest::newRow("100") << 100.0 << "100.0" << "100.0";
    QTest::newRow("1000") << 1000.0 << "1000" << "1000.0";
    QTest::newRow("12345.6") << 12345.6 << "12346" << "12345.6";
    QTest::newRow("123456.7") << 123456.7 << "123457" << "123456.7";
    QTest::newRow("1234567.8") << 1234567.8 << "1234568" << "1234567.8";
}

void TestParameterMap::displayFormats()
{
    QFETCH(double, value);
    QFETCH(QString, precision);
    QFETCH(QString, oneDecimal);
    QCOMPARE(ParameterCommit::precisionText(value), precision);
    QCOMPARE(ParameterCommit::oneDecimalText(value), oneDecimal);
}

QTEST_GUILESS_MAIN(TestParameterMap)
#include "tst_parametermap.moc"
