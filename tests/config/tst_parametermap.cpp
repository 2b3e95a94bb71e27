// The parameter table and the editor's commit rules without the window,
// against the simulated transmitter: range tests and their exact messages,
// the data each value becomes on the wire, the RAM mirrors, what is never
// sent, the options byte, the unit name and the totalizer reset.
#include "config/parametercommit.h"
#include "common/numtext.h"
#include "session/parametermap.h"
#include "support/columns.h"
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

const Columns<QString, QString, QString, QString, int, QString, QStringList> kCommit{
    "preset", "control", "typed", "other", "outcome", "message", "writes"};
// data: empty: nothing sent
const Columns<int, QString, int, QString> kOptionsByte{"stored", "control", "element", "data"};
// held: the name as the device keeps it
const Columns<QString, QString, QString> kUnitName{"typed", "data", "held"};
const Columns<bool, QString, bool, int, int, QStringList> kTotalizerReset{
    "yes", "flow", "corrupt", "outcome", "messages", "writes"};

} // namespace

class TestParameterMap : public QObject
{
    Q_OBJECT
private slots:
    // Enter in each field: both sides of every bound with the exact message, the
    // exact frames of what is accepted (the parameter's write, then its RAM
    // mirror), and what sends nothing. The standard device holds values that
    // differ from every accepted one below. other: what the cross-field limit's
    // field shows, committed or not ("" as loaded).
    void commit_data()
    {
        kCommit.add();

        const QString std = QStringLiteral("standard");
        const QString none;
        auto ok = [&](const char *row, const QString &preset, const char *control, const char *typed, QStringList writes,
                      const QString &other = {}) {
            QTest::newRow(row) << preset << control << typed << other << int(CommitResult::Written) << none << writes;
        };
        auto no = [&](const char *row, const QString &preset, const char *control, const char *typed, const QString &msg,
                      const QString &other = {}) {
            QTest::newRow(row) << preset << control << typed << other << int(CommitResult::Refused) << msg << QStringList();
        };
        auto same = [&](const char *row, const QString &preset, const char *control, const char *typed,
                        int outcome = CommitResult::Unchanged) {
            QTest::newRow(row) << preset << control << typed << none << outcome << none << QStringList();
        };

        no("interval 0", std, "txtMeasureInter", "0", range("[1-255]"));
        ok("interval 1 and its mirror", std, "txtMeasureInter", "1", {writeFrame("0100", "01", "01"), writeFrame("0030", "01", "01")});
        no("interval 256", std, "txtMeasureInter", "256", range("[1-255]"));
        ok("mA scale 4095", std, "txtmAScale", "4095", {writeFrame("0101", "02", "0FFF")});
        no("mA scale 4096", std, "txtmAScale", "4096", range("[0-4095]"));
        ok("response 10", std, "txtResponseTime", "10", {writeFrame("0103", "01", "0A")});
        no("response 11", std, "txtResponseTime", "11", range("[0-10]"));
        no("full scale 0", std, "txtMaxFlow", "0", range("[1-5000000]"));
        ok("full scale 5000000", std, "txtMaxFlow", "5000000", {writeFrame("0105", "04", "004C4B40")});
        no("full scale 5000001", std, "txtMaxFlow", "5000001", range("[1-5000000]"));
        ok("tenths 0.1", "tenths", "txtMaxFlow", "0.1", {writeFrame("0105", "04", "00000001")});
        ok("tenths 123.4", "tenths", "txtMaxFlow", "123.4", {writeFrame("0105", "04", "000004D2")});
        ok("tenths 5000000", "tenths", "txtMaxFlow", "5000000", {writeFrame("0105", "04", "02FAF080")});
        no("tenths 5000000.1", "tenths", "txtMaxFlow", "5000000.1", range("[0.1-5000000.0]"));
        // Never rounded, cut or read short into another value.
        no("tenths 0.04 rounds to nothing", "tenths", "txtMaxFlow", "0.04", range("[0.1-5000000.0]"));
        no("tenths 12.55 is finer than tenths", "tenths", "txtMaxFlow", "12.55", range("[0.1-5000000.0]"));
        no("tenths 1.2.3 is no number", "tenths", "txtMaxFlow", "1.2.3", range("[0.1-5000000.0]"));
        no("pointer of five digits", std, "txtDataPointer", "00200", range("[200h-7FFFh]"));
        ok("percent 1: 5 padded", std, "txt1Percent", "5", {writeFrame("010C", "01", "05")});
        no("percent 1: 101", std, "txt1Percent", "101", range("[0-100]"));
        ok("percent 2: 100", std, "txt2Percent", "100", {writeFrame("0111", "01", "64")});
        no("scale factor 0", std, "txtScaleFactor", "0", range("[1-999999000]"));
        ok("scale factor 999998999", std, "txtScaleFactor", "999998999", {writeFrame("0118", "04", "3B9AC617")});
        no("scale factor 999999000", std, "txtScaleFactor", "999999000", range("[1-999999000]"));
        ok("coefficient A 9999", std, "txtAFCor", "9999", {writeFrame("012D", "02", "270F")});
        no("coefficient B 10000", std, "txtBFCor", "10000", range("[0-9999]"));
        no("high cut-off 0", std, "txtHighFcut", "0", range("[1-9999]"));
        ok("high cut-off 9999", std, "txtHighFcut", "9999", {writeFrame("0134", "02", "270F")});
        no("high cut-off 10000", std, "txtHighFcut", "10000", range("[1-9999]"));
        no("password 0", std, "txtPassword", "0", range("[1-999]"));
        ok("password 999", std, "txtPassword", "999", {writeFrame("0138", "02", "03E7")});
        no("password 1000", std, "txtPassword", "1000", range("[1-999]"));
        ok("turbulence 100", std, "txtTurbWindow", "100", {writeFrame("014C", "01", "64")});
        no("turbulence 101", std, "txtTurbWindow", "101", range("[0-100]"));
        ok("low cut-off one below high", std, "txtLowFcut", "999", {writeFrame("014D", "02", "03E7")});
        ok("minimum flow 0", std, "txtMinFlow", "0", {writeFrame("010D", "04", "00000000")});
        no("density 0", std, "txtFluDensity", "0", range("[1-9999999]"));
        ok("density 9999999", std, "txtFluDensity", "9999999", {writeFrame("0170", "04", "0098967F")});
        no("density 10000000", std, "txtFluDensity", "10000000", range("[1-9999999]"));
        ok("K-factor 1 padded", std, "txtUDKfactor", "1", {writeFrame("017C", "04", "00000001")});
        no("K-factor 999999000", std, "txtUDKfactor", "999999000", range("[1-999999000]"));
        ok("log interval 255 and its mirror", std, "txtLogInterval", "255", {writeFrame("01E8", "01", "FF"), writeFrame("0008", "01", "FF")});
        no("log interval 0", std, "txtLogInterval", "0", range("[1-255]"));
        ok("time-out 255", std, "txtTimeOut", "255", {writeFrame("01E9", "01", "FF")});
        no("time-out 256", std, "txtTimeOut", "256", range("[0-255]"));
        no("pointer 199h", std, "txtDataPointer", "199", "The value of the parameter is out of\r permissible range [200h-7FFFh] Try again!");
        ok("pointer 19Ah gets a leading 0", std, "txtDataPointer", "19A", {writeFrame("01FE", "02", "019A")});
        ok("pointer 7FFF", std, "txtDataPointer", "7FFF", {writeFrame("01FE", "02", "7FFF")});
        no("pointer 8000", std, "txtDataPointer", "8000", range("[200h-7FFFh]"));

        // The limits come from what the other field shows, even before it is
        // committed, but never beyond what that field itself accepts; the message
        // names the row's own range.
        ok("low cut-off below an edited high", std, "txtLowFcut", "499", {writeFrame("014D", "02", "01F3")}, "500");
        no("low cut-off at an edited high", std, "txtLowFcut", "500", range("[0-9999]"), "500");
        no("low cut-off 70000 below an edited 99999", std, "txtLowFcut", "70000", range("[0-9999]"), "99999");
        no("minimum at an edited full scale", std, "txtMinFlow", "200", range("[0-999999]"), "200");
        // Beyond four bytes it would reach the device cut to 705032704.
        no("minimum 5000000000 below an edited 9999999999", std, "txtMinFlow", "5000000000", range("[0-999999]"), "9999999999");
        no("minimum 4000000000 below an edited 9999999999", std, "txtMinFlow", "4000000000", range("[0-999999]"), "9999999999");
        // In tenths the minimum, a whole number, is held against the shown 1234.5.
        ok("tenths: minimum 1234 below 1234.5", "tenths", "txtMinFlow", "1234", {writeFrame("010D", "04", "000004D2")}, "1234.5");
        no("tenths: minimum 1235 above 1234.5", "tenths", "txtMinFlow", "1235", range("[0-999999]"), "1234.5");

        same("stored percent", std, "txt1Percent", "20");
        same("stored percent with a leading zero", std, "txt1Percent", "020");
        same("stored interval: no mirror either", std, "txtMeasureInter", "50");
        same("stored full scale in tenths", "tenths", "txtMaxFlow", "1234.5");
        same("stored pointer", std, "txtDataPointer", "1970");
        same("stored unit name", std, "txtUDEUString", "UD");
        // The device keeps two characters: the rest changes nothing there.
        same("stored unit name and more", std, "txtUDEUString", "UDX");
        same("name shorter than two characters", std, "txtUDEUString", "X", CommitResult::Ignored);
        // The other end of every range.
        ok("mA scale 0", std, "txtmAScale", "0", {writeFrame("0101", "02", "0000")});
        ok("response 0", std, "txtResponseTime", "0", {writeFrame("0103", "01", "00")});
        ok("full scale 1", std, "txtMaxFlow", "1", {writeFrame("0105", "04", "00000001")});
        ok("percent 2: 0", std, "txt2Percent", "0", {writeFrame("0111", "01", "00")});
        no("percent 2: 101", std, "txt2Percent", "101", range("[0-100]"));
        ok("percent 3: 0", std, "txt3Percent", "0", {writeFrame("0116", "01", "00")});
        ok("percent 3: 100", std, "txt3Percent", "100", {writeFrame("0116", "01", "64")});
        no("percent 3: 101", std, "txt3Percent", "101", range("[0-100]"));
        ok("scale factor 1", std, "txtScaleFactor", "1", {writeFrame("0118", "04", "00000001")});
        ok("coefficient A 0", std, "txtAFCor", "0", {writeFrame("012D", "02", "0000")});
        no("coefficient A 10000", std, "txtAFCor", "10000", range("[0-9999]"));
        ok("coefficient B 0", std, "txtBFCor", "0", {writeFrame("0130", "02", "0000")});
        ok("coefficient B 9999", std, "txtBFCor", "9999", {writeFrame("0130", "02", "270F")});
        ok("high cut-off 1", std, "txtHighFcut", "1", {writeFrame("0134", "02", "0001")});
        ok("password 1", std, "txtPassword", "1", {writeFrame("0138", "02", "0001")});
        ok("mA offset 0", std, "txtmAOffset", "0", {writeFrame("013A", "02", "0000")});
        ok("mA offset 4095", std, "txtmAOffset", "4095", {writeFrame("013A", "02", "0FFF")});
        no("mA offset 4096", std, "txtmAOffset", "4096", range("[0-4095]"));
        ok("turbulence 0", std, "txtTurbWindow", "0", {writeFrame("014C", "01", "00")});
        ok("low cut-off 0", std, "txtLowFcut", "0", {writeFrame("014D", "02", "0000")});
        ok("density 1", std, "txtFluDensity", "1", {writeFrame("0170", "04", "00000001")});
        ok("K-factor 999998999", std, "txtUDKfactor", "999998999", {writeFrame("017C", "04", "3B9AC617")});
        ok("log interval 1 and its mirror", std, "txtLogInterval", "1", {writeFrame("01E8", "01", "01"), writeFrame("0008", "01", "01")});
        no("log interval 256", std, "txtLogInterval", "256", range("[1-255]"));
        ok("time-out 0", std, "txtTimeOut", "0", {writeFrame("01E9", "01", "00")});
        ok("interval 255", std, "txtMeasureInter", "255", {writeFrame("0100", "01", "FF"), writeFrame("0030", "01", "FF")});
        no("empty interval reads 0", std, "txtMeasureInter", "", range("[1-255]"));
        ok("empty percent commits 0", std, "txt1Percent", "", {writeFrame("010C", "01", "00")});
    }

    void commit()
    {
        const auto [preset, control, typed, other, outcome, message, writes] = kCommit.fetch();

        Rig rig(preset);
        QVERIFY(rig.readOut());
        const Parameter *p = ParameterMap::find(control);
        const qint64 before = rig.session.state().cellValue(p->address);
        // cmdOK commits exactly what Enter would send or refuse.
        QCOMPARE(rig.commit.isPending(control, typed), outcome != CommitResult::Unchanged);
        QStringList asked;
        const CommitResult r = rig.commit.commit(control, typed, [&, &other = other](const QString &c) {
            asked << c;
            return c == p->crossField && !other.isEmpty() ? other : rig.commit.displayText(c);
        });

        QCOMPARE(int(r.outcome), outcome);
        QCOMPARE(asked, p->crossField.isEmpty() ? QStringList() : QStringList{p->crossField});
        QCOMPARE(rig.writeFrames(), writes);
        QCOMPARE(rig.prompter.texts(), message.isEmpty() ? QStringList() : QStringList{message});
        QCOMPARE(r.text, typed);
        if (outcome != CommitResult::Written) {
            if (!message.isEmpty())
                QCOMPARE(rig.prompter.entries.first().title, QStringLiteral("System Monitor"));
            QCOMPARE(rig.session.state().cellValue(p->address), before);
            if (writes.isEmpty())
                QCOMPARE(rig.device->framesReceived(), 0);
            return;
        }
        // The device holds it, and so does the terminal's copy; the same text
        // again sends nothing.
        const quint32 held = rig.device->value(p->address.toInt(nullptr, 16), p->width);
        QCOMPARE(rig.session.state().cellValue(p->address), qint64(held));
        QCOMPARE(ParameterMap::padHex(held, p->width), writes.first().mid(14));
        if (!p->mirror.isEmpty())
            QCOMPARE(int(rig.device->byte(p->mirror.toInt(nullptr, 16))), int(held));
        QVERIFY(!rig.commit.isPending(control, typed));
        QCOMPARE(rig.commit.commit(control, typed, rig.shownAsLoaded()).outcome, CommitResult::Unchanged);
        QCOMPARE(rig.writeFrames().size(), writes.size());
    }

    // The options byte for each button of the two pairs, over stored bytes that
    // carry other bits too: element 0 of optEnable and element 1 of optPulse set
    // their bits. A change is mirrored to RAM at 0026h.
    void optionsByte_data()
    {
        kOptionsByte.add();

        QTest::newRow("enable on") << 0xF0 << "optEnable" << 0 << "F2";
        QTest::newRow("enable off") << 0xFF << "optEnable" << 1 << "FD";
        QTest::newRow("pulse on") << 0x80 << "optPulse" << 1 << "81";
        QTest::newRow("pulse off") << 0x0F << "optPulse" << 0 << "0E";
        QTest::newRow("enable already on") << 0x02 << "optEnable" << 0 << "";
        QTest::newRow("enable already off") << 0x01 << "optEnable" << 1 << "";
        QTest::newRow("pulse already on") << 0x01 << "optPulse" << 1 << "";
        QTest::newRow("pulse already off") << 0x02 << "optPulse" << 0 << "";
    }

    void optionsByte()
    {
        const auto [stored, control, element, data] = kOptionsByte.fetch();

        Rig rig;
        rig.device->setValue(0x01EA, 1, quint32(stored));
        rig.device->setValue(0x0026, 1, quint32(stored));
        QVERIFY(rig.readOut());
        const CommitResult r = rig.commit.commitOption(control, element);

        QCOMPARE(std::pair(r.index, rig.commit.optionElement(control)), std::pair(element, element));
        if (data.isEmpty()) {
            QCOMPARE(std::pair(int(r.outcome), rig.device->framesReceived()), std::pair(int(CommitResult::Unchanged), 0));
            return;
        }
        QCOMPARE(r.outcome, CommitResult::Written);
        QCOMPARE(rig.writeFrames(), (QStringList{writeFrame("01EA", "01", data), writeFrame("0026", "01", data)}));
        // The byte, its RAM copy and the terminal's copy.
        QCOMPARE(QList<qint64>({rig.device->byte(0x01EA), rig.device->byte(0x0026), rig.session.state().cellValue(QStringLiteral("01EA"))}),
                 QList<qint64>(3, data.toInt(nullptr, 16)));
    }

    void unitName_data()
    {
        kUnitName.add();

        QTest::newRow("two letters") << "AB" << "414200" << "AB";
        QTest::newRow("characters after the second are not sent") << "GPH" << "475000" << "GP";
        QTest::newRow("beyond the device's set: ?") << QString::fromUtf8("\u20acX") << "3F5800" << "?X";
        QTest::newRow("a control character makes three digits, no 00") << "\tA" << "941" << "";
    }

    void unitName()
    {
        const auto [typed, data, held] = kUnitName.fetch();
        QCOMPARE(ParameterCommit::unitNameData(typed), data);
        if (data.size() != 6)
            return;

        Rig rig;
        QVERIFY(rig.readOut());
        const QString field = QStringLiteral("txtUDEUString");
        const CommitResult r = rig.commit.commit(field, typed, rig.shownAsLoaded());
        QCOMPARE(r.outcome, CommitResult::Written);
        QCOMPARE(rig.writeFrames(), QStringList{writeFrame("01E5", "03", data)});
        QCOMPARE(rig.device->memory().mid(0x01E5, 3).toHex().toUpper(), data.toLatin1());
        // The field and the terminal's copy show what the device keeps, and the
        // same text again, by Enter or by OK, sends nothing.
        QCOMPARE(QStringList({r.text, rig.commit.displayText(field)}), QStringList(2, held));
        QVERIFY(!rig.commit.isPending(field, typed));
        QCOMPARE(rig.commit.commit(field, typed, rig.shownAsLoaded()).outcome, CommitResult::Unchanged);
        QCOMPARE(rig.writeFrames().size(), 1);
    }

    // The reset with the flow reading as the main window shows it, or, for the
    // command line, read from the device's own display ("<stopped>", "<flowing>").
    void totalizerReset_data()
    {
        kTotalizerReset.add();

        const QStringList both = {writeFrame("015C", "04", "00000000"), writeFrame("0109", "02", "0000")};
        const QStringList none;
        QTest::newRow("flow 0.00") << true << "0.00" << false << int(ParameterCommit::ResetDone) << 0 << both;
        QTest::newRow("flow 0.01") << true << "0.01" << false << int(ParameterCommit::ResetFlowNotZero) << 1 << none;
        QTest::newRow("no flow reading") << true << "" << false << int(ParameterCommit::ResetNoReading) << 0 << none;
        QTest::newRow("blanks of a failed read") << true << "            " << false << int(ParameterCommit::ResetNoReading) << 0 << none;
        QTest::newRow("answered No") << false << "0.00" << false << int(ParameterCommit::ResetDeclined) << 0 << none;
        // Both writes go out whatever the first read-back; only the second decides.
        QTest::newRow("not verified") << true << "0.00" << true << int(ParameterCommit::ResetNotVerified) << 2 << both;
        QTest::newRow("display: valve closed") << true << "<stopped>" << false << int(ParameterCommit::ResetDone) << 0 << both;
        QTest::newRow("display: flowing") << true << "<flowing>" << false << int(ParameterCommit::ResetFlowNotZero) << 1 << none;
    }

    void totalizerReset()
    {
        const auto [yes, flow, corrupt, outcome, messages, writes] = kTotalizerReset.fetch();

        Rig rig;
        const bool display = flow.startsWith(QLatin1Char('<'));
        rig.device->setFlowStopped(flow == QLatin1String("<stopped>"));
        QVERIFY(rig.readOut());
        TerminalState &s = rig.session.state();
        s.TotalMultiplier = 2;
        s.FlowText = flow;
        if (corrupt)
            rig.corruptReadbacks();
        rig.prompter.answers = {yes};
        QStringList shownTotals;
        const auto result = rig.commit.resetTotal([&] { shownTotals << rig.commit.totalText(); }, [&] {
            if (display)
                LiveDisplay(rig.session.link(), rig.session.state(), &rig.prompter).readFlow();
            return rig.session.state().FlowText;
        });

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
        if (display)
            QCOMPARE(rig.device->receivedFrames().mid(0, 2), (QStringList{"R5202:01014F00", "R5202:0A012A00"}));
        // The total shows zero after the first write; the multiplier goes only
        // with a verified second one.
        QCOMPARE(shownTotals, writes.isEmpty() ? QStringList() : QStringList(outcome == ParameterCommit::ResetDone ? 2 : 1, "00000000"));
        QCOMPARE(rig.commit.totalUnitText(), outcome == ParameterCommit::ResetDone ? QStringLiteral("LTR") : QStringLiteral(" M  LTR"));
        if (outcome == ParameterCommit::ResetDone)
            QCOMPARE(rig.device->value(0x015C, 4) + rig.device->value(0x0109, 2), 0u);
    }

    // The editor's number pictures on both sides of each bound (precisionText
    // is not shown anywhere yet; oneDecimalText shows a full scale in tenths).
    void displayFormats()
    {
        const struct { double v; const char *precision, *oneDecimal; } rows[] = {
            {0.5, "0.5000", "0.5"}, {9.25, "9.250", "9.3"}, {10, "10.00", "10.0"}, {99.99, "99.99", "100.0"},
            {100, "100.0", "100.0"}, {1000, "1000", "1000.0"}, {12345.6, "12346", "12345.6"},
            {123456.7, "123457", "123456.7"}, {1234567.8, "1234568", "1234567.8"}};
        for (const auto &r : rows) {
            QCOMPARE(ParameterCommit::precisionText(r.v), QString::fromLatin1(r.precision));
            QCOMPARE(ParameterCommit::oneDecimalText(r.v), QString::fromLatin1(r.oneDecimal));
        }
    }
};

QTEST_GUILESS_MAIN(TestParameterMap)
#include "tst_parametermap.moc"
