// Device Properties driven through its controls against the simulated
// transmitter (what it shows on loading is in tst_windowtexts): keys and
// Enter, the combos and option pairs, cmdOK with edits typed without Enter,
// and the totalizer reset, checked by the frames the device received and the
// texts shown.
#include "config/frmdprop.h"
#include "config/parametercommit.h"
#include "support/columns.h"
#include "support/simrig.h"

#include <QClipboard>
#include <QComboBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QStackedWidget>
#include <QTabBar>
#include <QtTest>

namespace {

struct Rig : SimRig {
    using SimRig::SimRig;
    // The readout the main window runs before it opens the form (unless the
    // test ran it already), then the form.
    bool open(bool readOut = true)
    {
        if (readOut && !session.synchronize())
            return false;
        device->clearReceivedFrames();
        prompter.clear();
        form = std::make_unique<frmDProp>(session);
        form->show();
        return QTest::qWaitForWindowExposed(form.get());
    }
    template <typename T = QLineEdit>
    T *child(const QString &name) const
    {
        return form->findChild<T *>(name);
    }
    // Brings the frame that holds w to the front, as a click on its tab does.
    void showFrameOf(QWidget *w) const
    {
        auto *frames = child<QStackedWidget>(QStringLiteral("fraSettings"));
        for (int i = 0; i < frames->count(); ++i)
            if (frames->widget(i)->isAncestorOf(w))
                child<QTabBar>(QStringLiteral("tabSettings"))->setCurrentIndex(i);
        QVERIFY(w->isVisible());
    }
    void click(const QString &name) const
    {
        auto *w = child<QWidget>(name);
        showFrameOf(w);
        QTest::mouseClick(w, Qt::LeftButton);
    }
    // Clears a field and types keys into it as the operator would; "\x7f"
    // stands for Home and then Delete.
    void type(const QString &field, const QString &keys, bool enter)
    {
        QLineEdit *f = child(field);
        showFrameOf(f);
        f->setFocus();
        f->clear();
        const QStringList parts = keys.split(QChar(0x7f));
        for (int i = 0; i < parts.size(); ++i) {
            if (i > 0) {
                QTest::keyClick(f, Qt::Key_Home);
                QTest::sendKeyEvent(QTest::Click, f, Qt::Key_Delete, QString(QChar(0x7f)), Qt::NoModifier); // as X11 sends it
            }
            QTest::keyClicks(f, parts[i]);
        }
        if (enter)
            QTest::keyClick(f, Qt::Key_Return);
    }

    std::unique_ptr<frmDProp> form;
};

const auto writeFrame = &SimRig::writeFrame;

// shown: the field's text before Enter
const Columns<QString, QString, QString, QString, int, QStringList, QStringList> kTypingAndEnter{
    "preset", "field", "keys", "shown", "beeps", "messages", "writes"};
const Columns<QString, QString, QString, QString> kPasteHeldToTheKeyRule{"preset", "field", "pasted", "shown"};

} // namespace

class TestFrmDProp : public QObject
{
    Q_OBJECT
private slots:
    void typingAndEnter_data()
    {
        kTypingAndEnter.add();

        QTest::newRow("letters swallowed") << "standard" << "txt1Percent" << "3a0" << "30" << 0 << QStringList() << QStringList{writeFrame("010C", "01", "1E")};
        QTest::newRow("Backspace passes") << "standard" << "txt2Percent" << "45\b6" << "46" << 0 << QStringList() << QStringList{writeFrame("0111", "01", "2E")};
        QTest::newRow("refused value stays as typed") << "standard" << "txt1Percent" << "101" << "101" << 0
            << QStringList{"The value of the parameter is out of\r permissible range [0-100] Try again!"} << QStringList();
        QTest::newRow("pointer beeps at other keys") << "standard" << "txtDataPointer" << "2a0G0" << "200" << 2
                                                     << QStringList() << QStringList{writeFrame("01FE", "02", "0200")};
        QTest::newRow("Delete edits a number") << "standard" << "txt2Percent" << "456\x7f" << "56" << 0 << QStringList() << QStringList{writeFrame("0111", "01", "38")};
        QTest::newRow("Delete edits the pointer, no beep") << "standard" << "txtDataPointer" << "0400\x7f" << "400" << 0
                                                           << QStringList() << QStringList{writeFrame("01FE", "02", "0400")};
        QTest::newRow("whole units: point swallowed") << "standard" << "txtMaxFlow" << "12.5" << "125" << 0 << QStringList()
                                                      << QStringList{writeFrame("0105", "04", "0000007D")};
        QTest::newRow("tenths: point taken") << "tenths" << "txtMaxFlow" << "12.5" << "12.5" << 0 << QStringList() << QStringList{writeFrame("0105", "04", "0000007D")};
        QTest::newRow("unit name takes any key") << "standard" << "txtUDEUString" << "m3" << "m3" << 0 << QStringList() << QStringList{writeFrame("01E5", "03", "6D3300")};
    }

    void typingAndEnter()
    {
        const auto [preset, field, keys, shown, beeps, messages, writes] = kTypingAndEnter.fetch();

        Rig rig(preset);
        QVERIFY(rig.open());
        rig.type(field, keys, false);
        QCOMPARE(std::tuple(rig.child(field)->text(), rig.prompter.beeps, rig.device->framesReceived()), std::tuple(shown, beeps, 0));

        QTest::keyClick(rig.child(field), Qt::Key_Return);
        QCOMPARE(rig.prompter.texts(), messages);
        QCOMPARE(rig.writeFrames(), writes);
        QCOMPARE(rig.child(field)->text(), shown);
        QVERIFY(rig.form->isVisible()); // Enter never closes the form
    }

    // Each field has its own key rule: digits, upper-case hex for the pointer,
    // any key for the unit name.
    void everyFieldTakesItsOwnKeys()
    {
        Rig rig;
        QVERIFY(rig.open());
        for (const QString &control : ParameterCommit::textFields()) {
            rig.type(control, QStringLiteral("9a .F"), false);
            QCOMPARE(rig.child(control)->text(), control == "txtDataPointer" ? "9F" : control == "txtUDEUString" ? "9a .F" : "9");
        }
    }

    // Text that arrives by paste (keys, middle button) or by setText (a drop)
    // keeps only what the field's keys could type.
    void pasteHeldToTheKeyRule_data()
    {
        kPasteHeldToTheKeyRule.add();
        QTest::newRow("digits") << "standard" << "txt1Percent" << "1a-2\n" << "12";
        QTest::newRow("pointer: upper-case hex") << "standard" << "txtDataPointer" << "2a0F" << "20F";
        QTest::newRow("whole units: no point") << "standard" << "txtMaxFlow" << "12.5" << "125";
        QTest::newRow("tenths: point") << "tenths" << "txtMaxFlow" << "12.5x" << "12.5";
        QTest::newRow("unit name: anything") << "standard" << "txtUDEUString" << "m3/h" << "m3/h";
    }

    void pasteHeldToTheKeyRule()
    {
        const auto [preset, field, pasted, shown] = kPasteHeldToTheKeyRule.fetch();

        Rig rig(preset);
        QVERIFY(rig.open());
        QLineEdit *f = rig.child(field);
        rig.type(field, QString(), false);
        QGuiApplication::clipboard()->setText(pasted);
        QTest::keySequence(f, QKeySequence::Paste);
        QCOMPARE(f->text(), shown);
        f->setText(pasted);
        QCOMPARE(f->text(), shown);
        QCOMPARE(rig.device->framesReceived(), 0);
    }

    // Coefficient A at 202 puts the full-scale flow in tenths: the field shows
    // the stored number / 10 and takes a point from then on.
    void coefficientASwitchesTenths()
    {
        Rig rig;
        QVERIFY(rig.open());
        rig.type(QStringLiteral("txtAFCor"), QStringLiteral("202"), true);
        QCOMPARE(rig.writeFrames(), QStringList{writeFrame("012D", "02", "00CA")});
        QCOMPARE(rig.child("txtMaxFlow")->text(), QStringLiteral("500.0"));

        rig.type(QStringLiteral("txtMaxFlow"), QStringLiteral("750.5"), true);
        QCOMPARE(std::pair(rig.writeFrames().last(), rig.device->value(0x0105, 4)), std::pair(writeFrame("0105", "04", "00001D51"), 7505u));

        rig.type(QStringLiteral("txtAFCor"), QStringLiteral("1000"), true);
        QCOMPARE(rig.child("txtMaxFlow")->text(), QStringLiteral("7505"));
    }

    // A choice the device took shows with its unit; after a corrupted read-back
    // every kind of control shows what the terminal knows the device holds.
    void controlsShowWhatTheDeviceHolds()
    {
        Rig rig;
        QVERIFY(rig.open());
        auto *unit = rig.child<QComboBox>("cboEUnit");
        rig.showFrameOf(unit);
        unit->setFocus();
        QTest::keyClick(unit, Qt::Key_Down);
        QCOMPARE(rig.writeFrames(), QStringList{writeFrame("01E4", "01", "06")});
        QCOMPARE(QStringList({rig.session.state().unitText(), rig.child<QLabel>("lblTotalEU")->text()}), QStringList({"CUM/Min", "CUM"}));

        rig.corruptReadbacks();
        for (const auto &[field, typed, held] : {std::tuple{"txt1Percent", "30", "20"}, {"txtDataPointer", "0400", "1970"}, {"txtUDEUString", "AB", "UD"}}) {
            rig.type(QLatin1String(field), QLatin1String(typed), true);
            QCOMPARE(rig.child(QLatin1String(field))->text(), QString::fromLatin1(held));
        }
        rig.showFrameOf(unit);
        unit->setFocus();
        QTest::keyClick(unit, Qt::Key_Down);
        QCOMPARE(unit->currentIndex(), 6);
        rig.click(QStringLiteral("optEnable_1"));
        QVERIFY(rig.child<QRadioButton>("optEnable_0")->isChecked());

        QCOMPARE(rig.writeFrames().mid(1), (QStringList{writeFrame("010C", "01", "1E"), writeFrame("01FE", "02", "0400"),
                                                        writeFrame("01E5", "03", "414200"), writeFrame("01E4", "01", "07"),
                                                        writeFrame("01EA", "01", "00")}));
        QCOMPARE(rig.prompter.texts().size(), 5);
        for (const QString &t : rig.prompter.texts())
            QVERIFY2(t.startsWith(QLatin1String("Verify data is failed!\r data recieved: ")), qPrintable(t));
    }

    // cmdOK commits what was typed without Enter, in the form's order (so the
    // new high cut-off is the low cut-off's limit), and closes.
    void okCommitsEditsTypedWithoutEnter()
    {
        Rig rig;
        QVERIFY(rig.open());
        rig.type(QStringLiteral("txt1Percent"), QStringLiteral("30"), false);
        rig.type(QStringLiteral("txtLowFcut"), QStringLiteral("1200"), false);
        rig.type(QStringLiteral("txtHighFcut"), QStringLiteral("1500"), false);
        rig.type(QStringLiteral("txtTimeOut"), QStringLiteral("030"), false); // the stored value
        QCOMPARE(rig.device->framesReceived(), 0);

        rig.click(QStringLiteral("cmdOK"));
        QCOMPARE(rig.writeFrames(), (QStringList{writeFrame("0134", "02", "05DC"), writeFrame("014D", "02", "04B0"),
                                                 writeFrame("010C", "01", "1E")}));
        QCOMPARE(rig.prompter.texts(), QStringList());
        QCOMPARE(std::pair(rig.form->isVisible(), rig.form->result()), std::pair(false, int(QDialog::Accepted)));
    }

    // A refused edit gets its message and keeps the form open on its field; the
    // other pending edits are written.
    void okStaysOnARefusedEdit()
    {
        Rig rig;
        QVERIFY(rig.open());
        rig.type(QStringLiteral("txt1Percent"), QStringLiteral("101"), false);
        rig.type(QStringLiteral("txtTurbWindow"), QStringLiteral("40"), false);
        rig.child<QTabBar>("tabSettings")->setCurrentIndex(0);

        rig.click(QStringLiteral("cmdOK"));
        QCOMPARE(rig.writeFrames(), QStringList{writeFrame("014C", "01", "28")});
        QCOMPARE(rig.prompter.texts(),
                 QStringList{"The value of the parameter is out of\r permissible range [0-100] Try again!"});
        QVERIFY(rig.form->isVisible());
        auto *frames = rig.form->findChild<QStackedWidget *>("fraSettings");
        QVERIFY(frames->currentWidget()->isAncestorOf(rig.child("txt1Percent")));
        QCOMPARE(rig.child<QTabBar>("tabSettings")->currentIndex(), frames->currentIndex());
        QCOMPARE(rig.child("txt1Percent")->text(), QStringLiteral("101"));
    }

    // The labels follow the reset as it goes.
    void totalizerReset()
    {
        Rig rig;
        QVERIFY(rig.session.synchronize());
        rig.session.state().TotalMultiplier = 1;
        rig.session.state().FlowText = QStringLiteral("0.00");
        QVERIFY(rig.open(false));
        QCOMPARE(rig.child<QLabel>("lblTotalEU")->text(), QStringLiteral(" K  LTR"));
        rig.prompter.answers = {true};
        rig.click(QStringLiteral("cmdTSetZero"));
        QCOMPARE(rig.writeFrames().size(), 2);
        QCOMPARE(QStringList({rig.child<QLabel>("lblTotal")->text(), rig.child<QLabel>("lblTotalEU")->text()}), QStringList({"00000000", "LTR"}));
    }
};

QTEST_MAIN(TestFrmDProp)
#include "tst_frmdprop.moc"
