// The service frames of the main window driven through their controls: the
// access prompts, the menu locking, the key filters, the focus after a
// refused write, and what reaches the simulated transmitter.
#include "support/columns.h"
#include "support/simrig.h"
#include "terminal/rescale.h"
#include "terminal/widgetservice.h"

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <QtTest>

namespace {

struct Rig : SimRig {
    explicit Rig(const QString &preset = QStringLiteral("standard")) : SimRig(preset)
    {
        rescale = new RescaleFrame(session, &window);
        calibrate = new CalibrateFrame(session, &window);
        memWrite = new MemWriteFrame(session, &window);
        auto *layout = new QVBoxLayout(&window);
        layout->addWidget(rescale);
        layout->addWidget(calibrate);
        layout->addWidget(memWrite);
    }
    bool showAndReadOut()
    {
        window.show();
        if (!QTest::qWaitForWindowActive(&window))
            return false;
        return readOut();
    }
    template <typename T = QLineEdit>
    T *child(const char *name) const
    {
        return window.findChild<T *>(QLatin1String(name));
    }
    // The rescale frame shown, the menus locked, its old maximum and factor, its new factor shown.
    std::tuple<bool, bool, QString, QString, bool> frameState() const
    {
        return {rescale->isVisible(), session.menusLocked, child<QLabel>("lblMaxFlowOld")->text(),
                child<QLabel>("lblScaleFactorOld")->text(), child<QLabel>("lblSFNew")->isVisible()};
    }

    QWidget window;
    RescaleFrame *rescale;
    CalibrateFrame *calibrate;
    MemWriteFrame *memWrite;
};

// Answers the next modal prompt: types into its password box, then presses
// the named button, or Enter in the box when button is empty. Looks again
// every 20 ms until the prompt is up.
struct PromptAnswer {
    QString typed;
    QString button;
    bool answered = false;
    QLineEdit::EchoMode echo = QLineEdit::Normal;
    int tries = 0;

    void arm()
    {
        QTimer::singleShot(0, [this] { tryAnswer(); });
    }
    void tryAnswer()
    {
        auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (!dialog) {
            if (++tries < 250)
                QTimer::singleShot(20, [this] { tryAnswer(); });
            return;
        }
        auto *box = dialog->findChild<QLineEdit *>(QStringLiteral("txtPassword"));
        if (!box)
            return;
        echo = box->echoMode();
        QTest::keyClicks(box, typed);
        answered = true;
        if (button.isEmpty())
            QTest::keyClick(box, Qt::Key_Return);
        else if (auto *b = dialog->findChild<QPushButton *>(button))
            QTest::mouseClick(b, Qt::LeftButton);
    }
};

const QString kRescaleRefused = QStringLiteral("Password is not correct. Can not open\r Access to Rescale! Try again.");
const QString kBackDoorRefused = QStringLiteral("Password is not correct. Can not open\r Back Door! Try again");

// calibrated: a factor written by calibration while the frame is up
// refusal: the frame stays with it, then Cancel
const Columns<QString, QString, QString, quint32, quint32, QString, QString> kRescaleFromTheFrame{
    "preset", "newMax", "maxFlowOld", "factorAfter", "maxAfter", "calibrated", "refusal"};
// button: empty: Enter in the box
const Columns<bool, bool, QString, QString, QStringList, bool> kAccessPrompts{
    "backDoor", "confirm", "typed", "button", "messages", "shown"};
const Columns<QString, QString, QString, QString, QString> kMemWriteRefusalsReturnTheFocus{
    "numByte", "address", "data", "message", "focus"};

} // namespace

class TestService : public QObject
{
    Q_OBJECT
private slots:
    void rescaleFromTheFrame_data()
    {
        kRescaleFromTheFrame.add();
        QTest::newRow("standard") << "standard" << "10000" << "5000" << 1000000u << 10000u << "" << "";
        // Full scale 1234.5 stored as 12345.
        QTest::newRow("tenths") << "tenths" << "1500" << "1234.5" << 607533u << 15000u << "" << "";
        // The rescale works from the factor the device holds, not the one shown on opening.
        QTest::newRow("factor changed meanwhile") << "standard" << "10000" << "5000" << 500000u << 10000u << "250000" << "";
        QTest::newRow("refused, then Cancel") << "standard" << "10006" << "5000" << 500000u << 5000u << ""
            << "New value of the Frequency: 1001 is more than High Frequency Cut off: 1000 Hz\r"
               " Decrease New Flow Rate value and try again.";
    }

    void rescaleFromTheFrame()
    {
        const auto [preset, newMax, maxFlowOld, factorAfter, maxAfter, calibrated, refusal] = kRescaleFromTheFrame.fetch();

        Rig rig(preset);
        QVERIFY(rig.showAndReadOut());
        rig.prompter.answers = {true, true};
        rig.rescale->runAccessPrompt = [&rig] { Rescale::accept(rig.session.state(), QStringLiteral("123")); };
        rig.rescale->start();
        // The frame up, the menus locked, the old maximum and factor shown, no new factor yet.
        QCOMPARE(rig.frameState(), std::tuple(true, true, maxFlowOld, QStringLiteral("500000"), false));

        if (!calibrated.isEmpty())
            QCOMPARE(Calibration(rig.session).enter(calibrated), Calibration::Written);
        QTest::keyClicks(rig.child("txtMaxFlowNew"), newMax);
        QTest::mouseClick(rig.child<QPushButton>("cmdRescale"), Qt::LeftButton);

        if (refusal.isEmpty()) {
            QCOMPARE(rig.prompter.texts(), QStringList{"New Scaling Factor was Successfully Updated!"});
            QCOMPARE(rig.child("txtMaxFlowNew")->text(), QString());
        } else {
            QCOMPARE(rig.prompter.texts(), QStringList{refusal});
            QCOMPARE(rig.frameState(), std::tuple(true, true, maxFlowOld, QStringLiteral("500000"), true));
            QCOMPARE(rig.child<QLabel>("lblSFNew")->text(), QStringLiteral("1000600"));
            QTest::mouseClick(rig.child<QPushButton>("cmdCancelRescale"), Qt::LeftButton);
            QCOMPARE(rig.device->framesReceived(), 0);
        }
        QCOMPARE(QList<quint32>({rig.device->value(0x0118, 4), rig.device->value(0x0105, 4)}), QList<quint32>({factorAfter, maxAfter}));
        QCOMPARE(rig.frameState(), std::tuple(false, false, QString(), QString(), false));
    }

    void accessPrompts_data()
    {
        kAccessPrompts.add();
        QTest::newRow("rescale: No to the warning") << false << false << QString() << QString() << QStringList() << false;
        QTest::newRow("rescale: cancel") << false << true << "123" << "cmdCancel" << QStringList() << false;
        QTest::newRow("rescale: wrong code") << false << true << "124" << QString() << QStringList{kRescaleRefused} << false;
        QTest::newRow("rescale: right value, wrong length") << false << true << "0123" << "cmdSave" << QStringList{kRescaleRefused} << false;
        QTest::newRow("rescale: code, Enter") << false << true << "123" << QString() << QStringList() << true;
        QTest::newRow("back door: code, button") << true << true << "47318" << "cmdSave" << QStringList() << true;
        QTest::newRow("back door: four characters") << true << true << "4731" << "cmdSave" << QStringList{kBackDoorRefused} << false;
        QTest::newRow("back door: cancel") << true << true << "47318" << "cmdCancel" << QStringList() << false;
    }

    void accessPrompts()
    {
        const auto [backDoor, confirm, typed, button, messages, shown] = kAccessPrompts.fetch();

        Rig rig;
        QVERIFY(rig.showAndReadOut());
        rig.prompter.answers = {confirm};
        int prompts = 0;
        PromptAnswer answer{typed, button};
        if (confirm)
            answer.arm();
        else
            rig.rescale->runAccessPrompt = [&prompts] { ++prompts; };
        QFrame *frame = backDoor ? static_cast<QFrame *>(rig.memWrite) : rig.rescale;
        backDoor ? rig.memWrite->start() : rig.rescale->start();

        QCOMPARE(answer.answered, confirm);
        QCOMPARE(prompts, 0);
        if (!backDoor)
            QCOMPARE(rig.prompter.texts(QStringLiteral("yesno")),
                     QStringList{"WARNING: Proceeding with this may change the Calibration Data!\r Do you want to Change Scaling Factor?   "});
        if (confirm)
            QCOMPARE(answer.echo, QLineEdit::Password);
        QCOMPARE(rig.prompter.texts(), messages);
        QCOMPARE(std::pair(frame->isVisible(), rig.session.menusLocked), std::pair(shown, shown && !backDoor));
        QCOMPARE(rig.device->framesReceived(), 0);
        if (shown) {
            // The offscreen platform does not hand activation back after a modal prompt.
            rig.window.activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(&rig.window));
            QCOMPARE(QApplication::focusWidget(), rig.child(backDoor ? "txtNumByte" : "txtMaxFlowNew"));
        }
    }

    void calibrateFrame()
    {
        Rig rig;
        QVERIFY(rig.showAndReadOut());
        rig.session.setAutoUpdate(true);
        rig.prompter.answers = {true};
        rig.calibrate->start();
        QCOMPARE(rig.prompter.texts(QStringLiteral("yesno")),
                 QStringList{"WARNING: Proceeding with this may cause loosing of the Calibration Data!\r"
                             "   Do you want to Calibrate Scale Factor?   "});
        QVERIFY(rig.calibrate->isVisible());
        QVERIFY(!rig.session.autoUpdateOn()); // polling paused while typing

        QLineEdit *box = rig.child("txtScaleFactor");
        QCOMPARE(box->text(), QStringLiteral("500000"));
        box->clear();
        QTest::keyClicks(box, QStringLiteral("12a/3.4-6 "));
        QCOMPARE(box->text(), QStringLiteral("12346"));
        // Pasted or dropped text keeps to the same rule; Delete edits.
        box->setText(QStringLiteral("9.9e9"));
        QCOMPARE(box->text(), QStringLiteral("999"));
        QTest::keyClick(box, Qt::Key_Home);
        QTest::keyClick(box, Qt::Key_Delete);
        QCOMPARE(box->text(), QStringLiteral("99"));
        // A refusal stays in the frame.
        box->setText(QStringLiteral("0"));
        QTest::keyClick(box, Qt::Key_Return);
        QVERIFY(rig.calibrate->isVisible());

        box->setText(QStringLiteral("12346"));
        QTest::mouseClick(rig.child<QPushButton>("cmdWOK"), Qt::LeftButton);
        QCOMPARE(std::pair(rig.session.statusText(), rig.device->value(0x0118, 4)), std::pair(QStringLiteral("Status: 04 0118 0000303A   12346"), 12346u));
        QCOMPARE(std::pair(rig.calibrate->isVisible(), rig.session.autoUpdateOn()), std::pair(false, true));
    }

    void hexBoxesTakeUpperCaseHexOnly()
    {
        Rig rig;
        QVERIFY(rig.showAndReadOut());
        rig.memWrite->runAccessPrompt = [&rig] { MemWrite::accept(rig.session.state(), QStringLiteral("47318")); };
        rig.memWrite->start();
        QLineEdit *count = rig.child("txtNumByte");
        QLineEdit *address = rig.child("txtSAddress");
        QLineEdit *data = rig.child("txtWData");
        QTRY_COMPARE(QApplication::focusWidget(), count);

        QTest::keyClicks(count, QStringLiteral("0g"));
        QCOMPARE(std::pair(count->text(), rig.prompter.beeps), std::pair(QStringLiteral("0"), 1));
        QTest::keyClick(count, Qt::Key_Return); // one digit: stays, beeps
        QCOMPARE(rig.prompter.beeps, 2);
        QCOMPARE(QApplication::focusWidget(), count);
        QTest::keyClicks(count, QStringLiteral("2"));
        QTest::keyClick(count, Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), address);

        QTest::keyClicks(address, QStringLiteral("0300"));
        QTest::keyClick(address, Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), data);

        QTest::keyClicks(data, QStringLiteral("AbC"));
        QCOMPARE(data->text(), QStringLiteral("AC"));
        QTest::keyClick(data, Qt::Key_Backspace);
        QCOMPARE(data->text(), QStringLiteral("A"));
        QTest::keyClick(data, Qt::Key_Return); // fewer than two characters
        QCOMPARE(rig.prompter.beeps, 4);
        QTest::keyClicks(data, QStringLiteral("B1F"));
        QCOMPARE(data->text(), QStringLiteral("AB1F"));
        QTest::keyClick(data, Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), rig.child<QPushButton>("cmdMWrite"));
        QCOMPARE(rig.device->framesReceived(), 0);
        QCOMPARE(rig.prompter.texts(), QStringList());
        // The data box holds at most 255 bytes.
        data->setText(QString(600, QLatin1Char('A')));
        QCOMPARE(data->text().size(), 2 * 255);

        QTest::mouseClick(rig.child<QPushButton>("cmdMWCancel"), Qt::LeftButton);
        QVERIFY(!rig.memWrite->isVisible());
        QCOMPARE(count->text() + address->text() + data->text(), QString());
    }

    void memWriteRefusalsReturnTheFocus_data()
    {
        kMemWriteRefusalsReturnTheFocus.add();
        const QString countText = QStringLiteral("The number of the bytes to be sent\r is not correct! Try again!");
        const QString addressText = QStringLiteral("The destination address of the data to be sent\r is not correct! Try again!");
        const QString dataText = QStringLiteral("The data field\r is not correct! Try again!");
        QTest::newRow("count one digit") << "1" << "7FFF" << "AB" << countText << "txtNumByte";
        QTest::newRow("count checked first") << "" << "8000" << "A" << countText << "txtNumByte";
        QTest::newRow("address 8000") << "01" << "8000" << "AB" << addressText << "txtSAddress";
        QTest::newRow("address FFFF") << "01" << "FFFF" << "AB" << addressText << "txtSAddress";
        QTest::newRow("address three digits, before data") << "01" << "7FF" << "ABC" << addressText << "txtSAddress";
        QTest::newRow("data too short") << "02" << "7FF0" << "AB" << dataText << "txtWData";
        // Pasted text keeps to the key rule and is never read as another number.
        QTest::newRow("pasted address 7FFG") << "01" << "7FFG" << "AB" << addressText << "txtSAddress";
        QTest::newRow("pasted count 0x") << "0x" << "7FFF" << "AB" << countText << "txtNumByte";
        QTest::newRow("pasted data a1") << "01" << "7FFF" << "a1" << dataText << "txtWData";
        QTest::newRow("address 7FFF written") << "01" << "7FFF" << "AB" << QString() << "txtNumByte";
        QTest::newRow("scaling factor written") << "04" << "0118" << "0000303A" << QString() << "txtNumByte";
    }

    void memWriteRefusalsReturnTheFocus()
    {
        auto [numByte, address, data, message, focus] = kMemWriteRefusalsReturnTheFocus.fetch();

        Rig rig;
        QVERIFY(rig.showAndReadOut());
        rig.memWrite->runAccessPrompt = [&rig] { MemWrite::accept(rig.session.state(), QStringLiteral("47318")); };
        rig.memWrite->start();
        rig.child("txtNumByte")->setText(numByte);
        rig.child("txtSAddress")->setText(address);
        rig.child("txtWData")->setText(data);
        QTest::mouseClick(rig.child<QPushButton>("cmdMWrite"), Qt::LeftButton);

        QCOMPARE(QApplication::focusWidget(), rig.child(qPrintable(focus)));
        if (message.isEmpty()) {
            QCOMPARE(rig.prompter.texts(), QStringList());
            QCOMPARE(rig.device->memory().mid(address.toInt(nullptr, 16), data.size() / 2).toHex().toUpper(), data.toLatin1());
            // What the terminal holds follows the device.
            QCOMPARE(rig.session.state().cellValue(QStringLiteral("0118")), qint64(rig.device->value(0x0118, 4)));
            QCOMPARE(rig.child("txtNumByte")->text() + rig.child("txtSAddress")->text() + rig.child("txtWData")->text(),
                     QString());
        } else {
            QCOMPARE(rig.prompter.texts(), QStringList{message});
            QCOMPARE(rig.device->framesReceived(), 0);
            QCOMPARE(rig.child("txtSAddress")->text(), address.remove(QLatin1Char('G'))); // the boxes keep their text
        }
    }
};

QTEST_MAIN(TestService)
#include "tst_service.moc"
