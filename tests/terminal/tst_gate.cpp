// One device operation at a time, in the main window, with the device's real
// kind of store pause: a click, a shortcut or a close that arrives while a
// verified write waits must not start a second operation, leave the frame or
// close the port. Also the menu lock that a service frame holds.
#include "session/terminalstate.h"
#include "support/windowrig.h"
#include "terminal/rescale.h"
#include "terminal/widgetservice.h"

#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTimer>
#include <QtTest>

#include <functional>

namespace {

// The window rig with a store pause long enough for a click to land between
// a write and its read-back.
struct Window : WindowRig {
    Window() : window(*WindowRig::window)
    {
        window.link().setStorePauseOverride(300);
        window.link().setReplyTimeout(500);
    }
    QStringList writes() const { return frames().filter(QRegularExpression(QStringLiteral("^R5200:"))); }
    // Runs `during` 150 ms into whatever `operation` starts.
    static void interfere(const std::function<void()> &operation, const std::function<void()> &during)
    {
        QTimer::singleShot(150, during);
        operation();
    }
    frmTerminal &window;
};


} // namespace

class TestGate : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void secondActionDuringRescaleIsRefused_data()
    {
        QTest::addColumn<QString>("action");
        for (const char *a : {"rescale again", "cancel", "close window", "back door", "device properties", "close port"})
            QTest::newRow(a) << QString::fromLatin1(a);
    }

    void secondActionDuringRescaleIsRefused()
    {
        QFETCH(QString, action);
        Window w;
        QVERIFY(w.window.synchronize());
        auto *frame = w.child<RescaleFrame>("fraRescale");
        frame->runAccessPrompt = [&w] { Rescale::accept(w.window.state(), QStringLiteral("123")); };
        w.prompter.answers = {true, true}; // enter the rescale, activate the factor
        w.window.mnuOptionRescale_Click();
        QVERIFY(frame->isVisible() && w.window.menusLocked());
        QTest::keyClicks(w.child("txtMaxFlowNew"), QStringLiteral("6000"));
        w.device->clearReceivedFrames();
        w.prompter.clear();

        bool enabledDuring = true;
        Window::interfere([&] { frame->cmdRescale_Click(); }, [&] {
            enabledDuring = w.child<QPushButton>("cmdRescale")->isEnabled()
                            || w.child<QPushButton>("cmdCancelRescale")->isEnabled()
                            || w.window.menuItem(QStringLiteral("mnuDProperties"))->isEnabled();
            if (action == QLatin1String("rescale again")) {
                w.child<QLineEdit>("txtMaxFlowNew")->setText(QStringLiteral("7000"));
                frame->cmdRescale_Click();
            } else if (action == QLatin1String("cancel")) {
                frame->cmdCancelRescale_Click();
                QVERIFY(frame->isVisible() && w.window.menusLocked());
            } else if (action == QLatin1String("close window")) {
                w.window.close();
            } else if (action == QLatin1String("back door")) {
                w.window.mnuOptionsBackDoor_Click();
            } else if (action == QLatin1String("device properties")) {
                w.window.mnuDProperties_Click();
            } else {
                w.window.mnuOpen_Click();
            }
        });

        QVERIFY2(!enabledDuring, "controls that start an operation stay enabled during the write");
        QCOMPARE(w.writes(), (QStringList{"R5200:04011800" "000927C0", "R5200:04010500" "00001770"}));
        QCOMPARE(w.prompter.texts(), QStringList{"New Scaling Factor was Successfully Updated!"});
        QVERIFY(w.dialogs.isEmpty());
        // The window up on its open port; the frame gone, the menus free, no back door frame.
        QCOMPARE(QList<bool>({w.window.isVisible(), w.window.link().PortOpen(), frame->isVisible(), w.window.menusLocked(),
                              w.window.menuItem(QStringLiteral("mnuDProperties"))->isEnabled(), w.child("FraMemWrite")->isVisible()}),
                 QList<bool>({true, true, false, false, true, false}));
    }

    void backDoorFrameStaysWhileItsWriteRuns()
    {
        Window w;
        auto *frame = w.child<MemWriteFrame>("FraMemWrite");
        frame->runAccessPrompt = [&w] { MemWrite::accept(w.window.state(), QStringLiteral("47318")); };
        w.window.mnuOptionsBackDoor_Click();
        QVERIFY(frame->isVisible());
        w.child<QLineEdit>("txtNumByte")->setText(QStringLiteral("01"));
        w.child<QLineEdit>("txtSAddress")->setText(QStringLiteral("0030"));
        w.child<QLineEdit>("txtWData")->setText(QStringLiteral("7B"));
        int prompts = 0;
        frame->runAccessPrompt = [&prompts] { ++prompts; };
        Window::interfere([&] { frame->cmdMWrite_Click(); }, [&] {
            QVERIFY(!w.child<QPushButton>("cmdMWCancel")->isEnabled());
            w.window.mnuOptionsBackDoor_Click(); // Ctrl+B
            frame->cmdMWCancel_Click();
            frame->cmdMWrite_Click();
        });
        QCOMPARE(w.writes(), QStringList{"R5200:01003000" "7B"});
        QCOMPARE(prompts, 0);
        QVERIFY(frame->isVisible());
        QCOMPARE(w.child<QLineEdit>("txtWData")->text(), QString()); // written: the boxes are cleared
    }

    void calibrationCanBeLeftWithoutWriting()
    {
        Window w;
        QVERIFY(w.window.synchronize());
        auto *frame = w.child<CalibrateFrame>("fraCalibrate");
        auto *box = w.child<QLineEdit>("txtScaleFactor");
        for (bool byEscape : {true, false}) {
            w.prompter.answers = {true};
            w.window.mnuOptionsCalibrate_Click();
            QVERIFY(frame->isVisible() && w.window.autoUpdateOn());
            box->setText(QStringLiteral("654321"));
            if (byEscape)
                QTest::keyClick(box, Qt::Key_Escape);
            else
                QTest::mouseClick(w.child<QPushButton>("cmdWCancel"), Qt::LeftButton);
            QCOMPARE(std::pair(frame->isVisible(), w.window.autoUpdateOn()), std::pair(false, false));
        }
        QVERIFY(w.writes().isEmpty());
        QCOMPARE(w.device->value(0x0118, 4), 500000u);
    }

    void logClosingUnderTheLockKeepsTheLock()
    {
        // A communication log that closes itself (a full disk) while the rescale
        // frame holds the lock: the lock stays, and unlocking shows the log's new state.
        Window w;
        w.prompter.fileNames = {w.dir.filePath(QStringLiteral("a.tlg"))};
        w.window.mnuOpenLog_Click();
        w.window.setMenusLocked(true);
        w.window.mnuCloseLog_Click();
        QCOMPARE(w.states({"mnuOpenLog", "mnuCloseLog", "mnuOptionRescale", "OpenLogFile"}), QStringLiteral("0000"));
        w.window.setMenusLocked(false);
        QCOMPARE(w.states({"mnuOpenLog", "OpenLogFile", "mnuCloseLog", "CloseLogFile"}), QStringLiteral("1100"));
    }
};

QTEST_MAIN(TestGate)
#include "tst_gate.moc"
