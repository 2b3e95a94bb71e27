// The main window against the simulated transmitter: start-up from the
// settings store, the configuration readout, the menus and the toolbar's
// crosswise keys, the logs and the recorder, line events, a port that goes
// away, terminal typing and the exit with setup.dat.
#include "support/columns.h"
#include "support/fulldisk.h"
#include "support/scriptedport.h"
#include "support/windowrig.h"
#include "terminal/terminallogs.h"
#include "session/operationgate.h"
#include "session/terminalstate.h"
#include "terminal/trendbuffer.h"
#include "files/servicereport.h"
#include "terminal/widgetservice.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

namespace {

using Rig = WindowRig;
const auto storeSettings = &WindowRig::storeSettings;

const Columns<QMap<QString, QString>, QString, QString, bool, int, int, QStringList> kStartUp{
    "stored", "portName", "line", "rs232", "timer4", "timer5", "messages"};

const QStringList kReadoutFrames = {"R5202:50010000", "R5202:0101E400", "R5202:04017000", "R5202:02010900",
                                    "R5202:08017400", "R5202:04017C00", "R5202:0601E500", "R5202:0201FE00"};

const Columns<QString, QString> kToolbarKeys{"key", "reaches"};
const Columns<QString, QString> kConfirmationAnsweredNoSendsNothing{"item", "question"};
const Columns<QString, int> kExitWritesSetupFileAndSettings{"totUnit", "lines"};

} // namespace

class TestFrmTerminal : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        SimSerialPort::registerPort();
    }

    void init()
    {
        CommSettings::store()->clear();
    }

    // What start-up takes from the settings store as the last exit left it
    // (what the window shows of it is in tst_windowtexts).
    void startUp_data()
    {
        kStartUp.add();
        QTest::newRow("empty: defaults, the line untouched") << QMap<QString, QString>() << "Com1" << "9600,n,8,1" << true
                                                             << 1000 << 750 << QStringList();
        QTest::newRow("filled") << QMap<QString, QString>{{"Settings", "19200,e,7,1.5"}, {"CommPort", "Simulated transmitter"},
                                                          {"Handshaking", "2"}, {"Echo", "True"}, {"Tot_unit", "3"},
                                                          {"Time_ss", "3"}, {"Time_sr", "1"}, {"Interface", "False"},
                                                          {"Com_monitor", "1"}, {"Dev_info", "1"}}
                                // The first rate, not the 750 ms default.
                                << "Simulated transmitter" << "19200,e,7,1.5" << false << 3000 << 1000 << QStringList();
        QTest::newRow("rejected: reported, start-up goes on")
            << QMap<QString, QString>{{"Settings", "9600,x,8,1"}, {"CommPort", "/dev/no-such-port"}, {"Handshaking", "7"},
                                      {"Interface", "False"}, {"Time_ss", "2"}}
            << "Com1" << "9600,n,8,1" << false << 2000 << 750
            << QStringList{"Invalid property value", "Invalid port number (/dev/no-such-port does not exist)", "Invalid property value"};
    }

    void startUp()
    {
        const auto [stored, portName, line, rs232, timer4, timer5, messages] = kStartUp.fetch();
        storeSettings(stored);
        Rig rig(false);
        QCOMPARE(QStringList({rig.window->portName(), rig.window->port()->settings()}), QStringList({portName, line}));
        QVERIFY(!rig.window->port()->isOpen());
        QCOMPARE(rig.window->link().Rs232Mode, rs232);
        QCOMPARE(QList<int>({rig.window->Timer4->interval(), rig.window->Timer5->interval()}), QList<int>({timer4, timer5}));
        QVERIFY(!rig.window->Timer4->isActive() && rig.window->TimerM->isActive());
        QStringList said;
        for (const QString &m : messages)
            said << ScriptedPrompter::line("message", "System Monitor", Prompter::Exclamation, m);
        QCOMPARE(rig.prompter.said(), said);
        if (stored.isEmpty())
            QCOMPARE(rig.window->state().DeviceLabel, QStringLiteral("R52  "));
        if (!stored.contains(QStringLiteral("Tot_unit")))
            return;
        QCOMPARE(rig.window->state().TotUnit, 3);
        rig.window->menuItem(QStringLiteral("mnuMonitor"))->trigger();
        QCOMPARE(std::tuple(rig.shown("fraSendR"), rig.window->monitorOn(), rig.shown("txtTerm"), rig.states({"mnuStop", "mnuStart"})),
                 std::tuple(false, false, true, QStringLiteral("10")));
        QVERIFY(rig.prompter.entries.isEmpty());
        // RS485 on the built-in transmitter: its replies carry the bus tag, and
        // the readout still works.
        rig.window->link().setReplyTimeout(500);
        QVERIFY(rig.window->synchronize());
    }

    void readoutFillsStateAndStatusBar()
    {
        Rig rig;
        QSignalSpy progress(rig.child<QProgressBar>(QStringLiteral("PrgBar1")), &QProgressBar::valueChanged);
        QVERIFY(rig.window->synchronize());
        QCOMPARE(rig.frames(), kReadoutFrames);
        QList<int> values;
        for (const QList<QVariant> &v : progress)
            values << v.first().toInt();
        QCOMPARE(values, QList<int>({0, 1, 5, 10, 15, 17, 20}));
        QVERIFY(!rig.shown("PrgBar1"));
        // The port was opened through the toggle.
        QVERIFY(rig.shown("imgConnected") && rig.window->menuItem(QStringLiteral("mnuOpen"))->isChecked());
        QVERIFY(rig.buttonEnabled(QStringLiteral("TransmitTextFile")));
        QCOMPARE(rig.panels({"Settings", "SampleTime", "MaxFlow", "EngUnit"}),
                 QStringList({"Settings: 9600,n,8,1", "Sample time: 50 x 20 ms", "Max Flow: 5000 L/s", "Enginnering Unit: LTR/Min"}));
        const TerminalState &s = rig.window->state();
        QCOMPARE(QList<int>({int(s.MemoryImage0100.size()), int(s.MemoryImage01E5.size())}), QList<int>({160, 12}));
        QCOMPARE(s.MemoryImage0100Export, s.MemoryImage0100);
        QCOMPARE(s.cellValue(QStringLiteral("0118")), qint64(500000));
        QVERIFY(rig.prompter.entries.isEmpty());
    }

    void readoutWithoutAnswerReadsTwiceThenReports()
    {
        Rig rig;
        rig.port->setFaults(simFaults("noanswer"));
        QVERIFY(!rig.window->synchronize());
        QCOMPARE(rig.frames(), QStringList({"R5202:50010000", "R5202:50010000"}));
        // The two time-outs, then the readout's own message.
        const QStringList messages = rig.prompter.texts();
        QCOMPARE(messages.count(QStringLiteral("No connection!")), messages.size() - 1);
        QCOMPARE(messages.last(), QStringLiteral("Communication ERROR. Transmission is terminated!\r"
                                                 " Can not get device configuration data!"));
        QVERIFY(rig.panel(QStringLiteral("SampleTime")).isEmpty());
        QVERIFY(!rig.shown("PrgBar1"));
    }

    void toolbarKeys_data()
    {
        kToolbarKeys.add();
        QTest::newRow("DialPhoneNumber") << "DialPhoneNumber" << "synchronize";
        QTest::newRow("HangUpPhone") << "HangUpPhone" << "backdoor";
        QTest::newRow("TransmitTextFile") << "TransmitTextFile" << "monitor";
        QTest::newRow("StartAS") << "StartAS" << "update";
        QTest::newRow("Properties") << "Properties" << "dialog:frmProperties";
        QTest::newRow("OpenLogFile") << "OpenLogFile" << "save:Open Communications Log File | Log Files (*.TLG)|*.tlg|All Files (*.*)|*.*";
        QTest::newRow("ALogO") << "ALogO" << "save:Open Auto Log File | Log Files (*.LOG)|*.log|All Files (*.*)|*.*";
        QTest::newRow("StartAM") << "StartAM" << "nothing";
        QTest::newRow("case matters") << "startas" << "nothing";
        QTest::newRow("unknown") << "Connect" << "nothing";
    }

    void toolbarKeys()
    {
        const auto [key, reaches] = kToolbarKeys.fetch();
        Rig rig;
        bool backDoor = false;
        auto *memWrite = rig.child<MemWriteFrame>(QStringLiteral("FraMemWrite"));
        QVERIFY(memWrite);
        memWrite->runAccessPrompt = [&] {
            backDoor = true;
            rig.window->state().BackDoorCancelled = true;
        };
        rig.window->tbrToolBar_ButtonClick(key);

        // Read out, back door, monitor shown, polling with its timer and key down: only what the key reaches.
        const bool sync = reaches == "synchronize", monitor = reaches == "monitor", update = reaches == "update";
        QCOMPARE((QList<bool>{!rig.frames().isEmpty(), backDoor, rig.window->monitorOn(), rig.shown("fraSendR"), rig.window->autoUpdateOn(),
                              rig.window->Timer4->isActive(), rig.window->button(QStringLiteral("StartAS"))->isChecked()}),
                 (QList<bool>{sync, reaches == "backdoor", monitor, monitor, update, update, update}));
        rig.window->setAutoUpdate(false);
        QCOMPARE(rig.dialogs, reaches.startsWith(QLatin1String("dialog:")) ? QStringList{reaches.mid(7)} : QStringList());
        const bool save = reaches.startsWith(QLatin1String("save:"));
        QCOMPARE(rig.prompter.entries.size(), int(save));
        if (save)
            QCOMPARE(rig.prompter.entries.first().kind + '|' + rig.prompter.entries.first().title, "save|" + reaches.mid(5));
    }

    void confirmationAnsweredNoSendsNothing_data()
    {
        kConfirmationAnsweredNoSendsNothing.add();
        QTest::newRow("flow log") << "mnuOALF" << "  Do you want to Save Flow Memory Log into the File?  ";
        QTest::newRow("export") << "mnuOptionsMemExport" << "  Do you want to Save Configuration Table into the File?  ";
        QTest::newRow("import") << "mnuOptionsMemImport"
                                << "WARNING: Proceeding with this may cause loosing of the Calibration Data!\r"
                                   "   Do you want to Import Configuration Table into the Unit?   ";
    }

    void confirmationAnsweredNoSendsNothing()
    {
        const auto [item, question] = kConfirmationAnsweredNoSendsNothing.fetch();
        Rig rig;
        rig.prompter.answers = {false};
        rig.window->menuItem(item)->trigger();
        // An empty answer queue is the box closed without an answer.
        rig.window->menuItem(item)->trigger();
        QCOMPARE(rig.prompter.said(), QStringList(2, ScriptedPrompter::line("yesno", "System Monitor", Prompter::Warning, question)));
        QVERIFY(rig.dialogs.isEmpty());
        QCOMPARE(std::pair(rig.device->framesReceived(), rig.window->port()->isOpen()), std::pair(0, false));
    }

    void commLogRecordsTrafficAndCaption()
    {
        Rig rig;
        const QString path = rig.dir.filePath(QStringLiteral("comm.tlg"));
        rig.prompter.fileNames = {path};
        rig.window->menuItem(QStringLiteral("mnuOpenLog"))->trigger();
        QCOMPARE(rig.prompter.entries.first().text, rig.dir.filePath(QStringLiteral("My_TLog1.tlg")));
        const QStringList logItems = {"mnuCloseLog", "CloseLogFile", "mnuOpenLog", "OpenLogFile"};
        QCOMPARE(QStringList({rig.window->windowTitle(), rig.states(logItems)}), QStringList({"ZENTIR Control Terminal - " + path, "1100"}));

        QVERIFY(rig.window->synchronize());
        rig.window->tbrToolBar_ButtonClick(QStringLiteral("CloseLogFile"));
        QCOMPARE(QStringList({rig.window->windowTitle(), rig.states(logItems)}), QStringList({"ZENTIR Control Terminal", "0011"}));

        const QList<QByteArray> lines = fileBytes(path).split('\n');
        QCOMPARE(lines.size(), 2 * kReadoutFrames.size() + 1); // TX and RX per frame, then the last line end
        QVERIFY(lines[0].endsWith("  TX  R5202:50010000\r") && lines[1].contains("  RX  "));
        QCOMPARE(lines[1].size(), QByteArray("2024-05-01 14:03:07.125  RX  ").size() + 160 + 1);
    }

    void recorderLogsOncePerIntervalAndStopsWithTheLog()
    {
        Rig rig;
        const QString path = rig.dir.filePath(QStringLiteral("data.log"));
        rig.prompter.fileNames = {path};
        rig.window->tbrToolBar_ButtonClick(QStringLiteral("ALogO"));
        const QStringList items = {"mnuFileALogC", "ALogC", "mnuDRecStart", "RStart", "RStop", "mnuDRecStop", "mnuFileALogO", "ALogO"};
        QCOMPARE(QStringList({rig.window->windowTitle(), rig.states(items)}), QStringList({"I/O Terminal - " + path, "11110000"}));

        rig.window->tbrToolBar_ButtonClick(QStringLiteral("RStart"));
        QCOMPARE(std::pair(rig.window->recording(), rig.prompter.beeps), std::pair(true, 1));
        QCOMPARE(rig.states(items), QStringLiteral("11001100"));

        // Polls every 20 ms, a record due every 100 ms: most polls write none.
        rig.window->Timer4->setInterval(20);
        rig.window->Timer5->setInterval(100);
        rig.window->Timer5->start();
        QElapsedTimer clock;
        clock.start();
        rig.window->setAutoUpdate(true);
        QTRY_VERIFY_WITH_TIMEOUT(rig.window->dataLog().linesWritten() >= 3, 5000);
        const int polls = rig.frames().count(QStringLiteral("R5202:01014F00"));
        const int records = rig.window->dataLog().linesWritten();
        QVERIFY2(records <= clock.elapsed() / 100, qPrintable(QStringLiteral("%1 records in %2 ms").arg(records).arg(clock.elapsed())));
        // Never more than one record per poll, however slow the polls run.
        QVERIFY2(records <= polls, qPrintable(QStringLiteral("%1 records in %2 polls").arg(records).arg(polls)));

        rig.window->menuItem(QStringLiteral("mnuFileALogC"))->trigger();
        QVERIFY(!rig.window->recording());
        QCOMPARE(QStringList({rig.window->windowTitle(), rig.states(items)}), QStringList({"ZENTIR Control Terminal", "00000011"}));
        const QByteArray written = fileBytes(path);
        QTest::qWait(300);
        QCOMPARE(fileBytes(path), written);
        rig.window->setAutoUpdate(false);

        const QList<QByteArray> lines = written.split('\n');
        QCOMPARE(lines.first(), QByteArray("\"Date Time\",\"Flow\",\"Unit\"\r"));
        QCOMPARE(lines.size(), records + 2);
        // "2024-05-01 14:03:07",1234.5,"LTR": the flow as the display shows it.
        const QRegularExpression record(QStringLiteral("^\"\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\",\\d+(\\.\\d+)?,\"LTR\"\r$"));
        for (int i = 1; i <= records; ++i)
            QVERIFY2(record.match(QString::fromLatin1(lines[i])).hasMatch(), lines[i].constData());
    }

    void recordingStopsWhenTheDiskIsFull()
    {
        Rig rig;
        const QString path = rig.dir.filePath(QStringLiteral("full.log"));
        rig.prompter.fileNames = {path};
        rig.window->tbrToolBar_ButtonClick(QStringLiteral("ALogO"));
        rig.window->tbrToolBar_ButtonClick(QStringLiteral("RStart"));
        rig.prompter.clear();
        rig.window->Timer4->setInterval(20);
        rig.window->Timer5->setInterval(20);
        {
            // Room for the header and a record or two.
            FullDisk full(100);
            rig.window->setAutoUpdate(true);
            QTRY_VERIFY_WITH_TIMEOUT(!rig.window->recording(), 5000);
        }
        rig.window->setAutoUpdate(false);
        // Told once, why; the log is closed and no cut-off file is left.
        QCOMPARE(rig.prompter.texts().size(), 1);
        QVERIFY2(rig.prompter.texts().first().startsWith(path + QStringLiteral(": ")), qPrintable(rig.prompter.texts().first()));
        QCOMPARE(rig.prompter.entries.first().icon, Prompter::Exclamation);
        QCOMPARE(std::tuple(rig.window->dataLog().isOpen(), rig.states({"mnuFileALogO", "mnuFileALogC"}), QFile::exists(path)),
                 std::tuple(false, QStringLiteral("10"), false));
    }

    void liveDisplayShowsTheDevice()
    {
        Rig rig;
        QVERIFY(rig.window->synchronize());
        rig.device->setValue(0x14F, 1, 2);
        const int digits[5][2] = {{0x133, 9}, {0x132, 8}, {0x12F, 7}, {0x12B, 6}, {0x12A, 5}};
        for (const auto &d : digits)
            rig.device->setValue(d[0], 1, quint32(d[1]));
        rig.device->setBytes(0x174, QByteArray::fromHex("0000000102030405"));
        rig.device->setValue(0x109, 1, 2);
        rig.window->Timer4->setInterval(10);
        rig.window->mnuAutoS_Click();
        QTRY_COMPARE(rig.child<QLabel>(QStringLiteral("lblMDRe"))->text(), QStringLiteral("987.65"));
        // One poll: point code, display block, unit, multiplier word, total digits.
        QCOMPARE(rig.frames().mid(kReadoutFrames.size(), 5), QStringList({"R5202:01014F00", "R5202:0A012A00", "R5202:0101E400",
                                                                          "R5202:02010900", "R5202:08017400"}));
        QStringList shown;
        for (const char *label : {"lblMDEU", "Label7", "Label12"})
            shown << rig.child<QLabel>(QLatin1String(label))->text();
        QCOMPARE(shown, QStringList({"LTR/Min", "12345", "LTR M  "}));
        rig.window->mnuAutoS_Click();
        QVERIFY(!rig.window->autoUpdateOn() && !rig.window->Timer4->isActive());
        QVERIFY(rig.prompter.entries.isEmpty());
    }

    void lineEventsInTheWindow()
    {
        Rig rig;
        rig.window->Timer2->setInterval(50);
        QVERIFY(rig.window->mnuOpen_Click());

        // A line change: the status text, cleared by Timer2.
        rig.port->raiseEvent(CommEvent::CTS);
        QTRY_COMPARE(rig.panel(QStringLiteral("Status")), QStringLiteral("Status: Change in CTS Detected"));
        QVERIFY(rig.window->Timer2->isActive());
        QTRY_COMPARE(rig.panel(QStringLiteral("Status")), QStringLiteral("Status: "));
        QVERIFY(!rig.window->Timer2->isActive());
        QVERIFY(rig.prompter.entries.isEmpty());

        // Reopening the port starts the texts afresh; ring is an error with the
        // question, OK keeps the port open.
        rig.window->mnuOpen_Click();
        rig.window->mnuOpen_Click();
        rig.prompter.answers = {true, false};
        rig.port->raiseEvent(CommEvent::Ring);
        QTRY_COMPARE(rig.prompter.texts(QStringLiteral("okcancel")).size(), 1);
        QCOMPARE(rig.prompter.said(), QStringList({ScriptedPrompter::line("beep", "", Prompter::Information),
                                                   ScriptedPrompter::line("okcancel", "Click Cancel to quit, OK to ignore.",
                                                                          Prompter::Exclamation, "Unknown error or event")}));
        QCOMPARE(rig.panel(QStringLiteral("Status")), QStringLiteral("Status: Unknown error or event"));
        QVERIFY(rig.window->port()->isOpen());

        // The kept error comes back with the next traffic event; Cancel closes the port.
        rig.port->raiseEvent(CommEvent::Receive);
        QTRY_COMPARE(rig.prompter.texts(QStringLiteral("okcancel")).size(), 2);
        QCOMPARE(std::tuple(rig.window->port()->isOpen(), rig.shown("imgNotConnected"), rig.prompter.beeps), std::tuple(false, true, 2));
    }

    void linkHealthBesideTheWindowAddsUp()
    {
        Rig rig;
        rig.window->setGeometry(20, 20, 400, 300);
        QVERIFY(rig.window->synchronize());                                  // 8 replies
        rig.window->link().WriteMemory(QStringLiteral("0100"), QStringLiteral("01"), QStringLiteral("05"));
        rig.window->link().SendText(QStringLiteral("SD=5%"));               // 2 expect none
        rig.port->setFaults(simFaults("noanswer"));
        rig.window->link().ReadMemory(QStringLiteral("0100"), QStringLiteral("01")); // 1 time-out
        rig.window->mnuLinkHealth_Click();
        rig.window->mnuLinkHealth_Click(); // the same window again
        const auto windows = rig.window->findChildren<QDialog *>(QStringLiteral("frmLinkHealth"));
        QCOMPARE(windows.size(), 1);
        QDialog *health = windows.first();
        QVERIFY(health->isVisible() && !health->isModal() && rig.dialogs.isEmpty());
        QVERIFY(health->frameGeometry().left() > rig.window->frameGeometry().right());
        QVERIFY(rig.child<QLabel>(QStringLiteral("lblHealth"))->text().startsWith(
            "Frames sent: 11\n  Replies: 8\n  Time-outs: 1\n  Lost with the connection: 0\n"
            "  Expecting no reply (writes, set point): 2\n  Awaiting a reply: 0\n"));
        QTest::mouseClick(health->findChild<QPushButton *>(QStringLiteral("cmdClose")), Qt::LeftButton);
        QTRY_VERIFY(!rig.child<QDialog>(QStringLiteral("frmLinkHealth")));
    }

    void reportInLocalTimeWhereTheLastWasSaved()
    {
        const QByteArray tz = qgetenv("TZ");
        qputenv("TZ", "America/St_Johns");
        QCOMPARE(ServiceReport::localTime(QStringLiteral("2026-11-24T12:06:59Z")), QStringLiteral("2026-11-24 08:36 -03:30"));
        qputenv("TZ", tz);

        Rig rig;
        const QString saved = rig.dir.filePath(QStringLiteral("site/r.pdf"));
        QVERIFY(QDir().mkpath(QFileInfo(saved).path()));
        rig.prompter.fileNames = {saved};
        rig.window->mnuSaveReport_Click();
        rig.window->mnuSaveReport_Click();
        QCOMPARE(rig.prompter.texts(QStringLiteral("save")),
                 QStringList({QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation) + "/report.pdf",
                              QFileInfo(saved).path() + "/report.pdf"}));
    }

    void reconnectReadsTheDeviceAgainAndReportsTheLossAsStatus()
    {
        Rig rig;
        rig.window->setReconnect(true);
        QVERIFY(rig.window->synchronize());
        rig.port->setFaults(simFaults("hangup:1"));
        rig.window->Timer4->setInterval(10);
        rig.window->mnuAutoS_Click();
        QTRY_VERIFY(!rig.window->port()->isOpen());
        // Nothing waits for a click; meanwhile another transmitter is put on the line.
        QCOMPARE(rig.panel(QStringLiteral("Status")),
                 QStringLiteral("Status: The simulated transmitter hung up Reconnecting to Simulated transmitter..."));
        QCOMPARE(rig.prompter.entries.size(), 0);
        rig.port->setFaults(SimFaults());
        rig.device->setValue(0x105, 4, 4000);
        rig.device->setValue(0x104, 1, 3); // another time base: its flow is another unit
        const qint64 lostMs = QDateTime::currentMSecsSinceEpoch();
        const int lostAt = rig.frames().size();
        // Until the new connection's first reading, nothing of the old one (nor its total beside the old time).
        QStringList atFirstPoll;
        connect(rig.device, &SimDevice::frameReceived, rig.window.get(), [&](const QString &frame) {
            for (const char *name : {"lblMDRe", "lblMDEU", "Label7", "Label12"})
                if (frame == QLatin1String("R5202:01014F00") && atFirstPoll.size() < 4)
                    atFirstPoll << rig.child<QLabel>(QLatin1String(name))->text();
        });
        QTRY_VERIFY_WITH_TIMEOUT(rig.window->autoUpdateOn() && rig.frames().size() > lostAt + 9, 6000);
        QCOMPARE(rig.frames().mid(lostAt, 9), kReadoutFrames + QStringList{"R5202:01014F00"});
        QCOMPARE(rig.panels({"MaxFlow", "Status"}), QStringList({"Max Flow: 4000 L/s", "Status: Reconnected to Simulated transmitter"}));
        QCOMPARE(atFirstPoll, QStringList(4, QString()));
        // The old device's points, in its unit, are not drawn under the new one.
        QTRY_VERIFY(rig.window->trendBuffer().size() > 0);
        QVERIFY(rig.window->trendBuffer().at(0).ms >= lostMs);
    }

    void smallWindowFitsTheDisplayAndThePanels_data()
    {
        // 800 x 600, and the same at a scale of 1.5 (533 x 400 in the window's units).
        QTest::addColumn<QSize>("size");
        QTest::newRow("800 x 600") << QSize(800, 600);
        QTest::newRow("800 x 600 at 1.5") << QSize(533, 400);
    }

    void smallWindowFitsTheDisplayAndThePanels()
    {
        QFETCH(QSize, size);
        Rig rig;
        QVERIFY(rig.window->synchronize());
        const QString address = QStringLiteral("tcp://127.0.0.1:47301");
        rig.window->setPortByName(address);
        rig.window->setStatusText(QStringLiteral("Status: Reconnected to ") + address);
        QList<QLabel *> l;
        for (const char *name : {"lblMDRe", "lblMDEU", "Label7"})
            l << rig.child<QLabel>(QLatin1String(name));
        for (int i = 0; i < 3; ++i) // the longest texts
            l[i]->setText(QStringList{"1234500.0", "TONN/Day", "123456789"}[i]);
        rig.window->resize(size);
        QTest::qWait(50);
        QCOMPARE(rig.window->size(), size);
        // The figures fit their labels and stay left of their units.
        for (QLabel *v : l)
            QVERIFY2(v->fontMetrics().horizontalAdvance(v->text()) <= v->contentsRect().width()
                         && v->fontMetrics().height() <= v->height() + 2, qPrintable(v->objectName()));
        QVERIFY(l[0]->geometry().right() < l[1]->geometry().left());
        // The panels side by side inside the bar; a cut one carries its whole text as tool-tip.
        const QWidget *bar = rig.window->statusBar();
        int right = -1;
        for (const QString &key : {"Status", "Settings", "Interface", "Comport", "Device", "SampleTime", "MaxFlow",
                                   "EngUnit", "UpdateRate", "Link"}) {
            QLabel *p = rig.window->panel(key);
            QVERIFY2(p->geometry().left() > right && p->geometry().right() < bar->width(), qPrintable(key));
            right = p->geometry().right();
            const bool cut = p->fontMetrics().horizontalAdvance(p->text()) > p->contentsRect().width();
            QCOMPARE(p->toolTip(), cut ? p->text() : QString());
        }
        QCOMPARE(rig.window->panel(QStringLiteral("Comport"))->toolTip(), QStringLiteral("COM Port: ") + address);
        QLabel *status = rig.window->panel(QStringLiteral("Status"));
        QVERIFY(status->contentsRect().width() >= status->fontMetrics().horizontalAdvance(QStringLiteral("Status: Reconnected")));
    }

    void valuesNotReadAreGreyedAndTheTrendHasAGap_data()
    {
        QTest::addColumn<QString>("cause");
        QTest::newRow("link lost") << "lost";
        QTest::newRow("ticks skipped by an operation") << "busy";
        QTest::newRow("ticks held off by exchanges") << "held";
        QTest::newRow("update stopped") << "stopped";
    }

    void valuesNotReadAreGreyedAndTheTrendHasAGap()
    {
        QFETCH(QString, cause);
        Rig rig;
        const QTime before = QTime::currentTime().addMSecs(-1000);
        rig.window->Timer4->setInterval(10);
        rig.window->mnuAutoS_Click();
        QLabel *flow = rig.child<QLabel>(QStringLiteral("lblMDRe")), *total = rig.child<QLabel>(QStringLiteral("Label7"));
        QLabel *since = rig.child<QLabel>(QStringLiteral("lblSince"));
        QTRY_VERIFY(flow->isEnabled() && total->isEnabled() && since->isHidden() && rig.window->trendBuffer().size() > 1);
        const QString shown = flow->text() + total->text();
        const TrendBuffer &trend = rig.window->trendBuffer();

        OperationGate::Hold hold;
        if (cause == "lost") {
            rig.port->setFaults(simFaults("hangup:1"));
        } else if (cause == "busy") {
            hold = rig.window->gate().begin(QStringLiteral("download"));
            rig.window->link().setReplyTimeout(3000); // not yet overdue: the skipped tick itself tells
        } else if (cause == "held") {
            rig.window->link().holdPoll();
        } else {
            rig.window->mnuAutoS_Click();
        }
        // The last reading stays, greyed, with its time; the trend breaks off.
        QTRY_VERIFY_WITH_TIMEOUT(!flow->isEnabled() && !total->isEnabled() && trend.at(trend.size() - 1).gap, 2000);
        QVERIFY(!rig.child<QLabel>(QStringLiteral("lblMDEU"))->isEnabled() && since->isVisible());
        QCOMPARE(flow->text() + total->text(), shown);
        if (cause == "lost") // reported once; nothing reopens the port on its own
            QVERIFY(rig.prompter.texts() == QStringList{"The simulated transmitter hung up"} && !rig.window->Timer4->isActive()
                    && rig.shown("imgNotConnected") && !rig.window->button(QStringLiteral("StartAS"))->isChecked());
        const QRegularExpressionMatch m = QRegularExpression(QStringLiteral("^No reading since (\\d\\d:\\d\\d:\\d\\d)$")).match(since->text());
        QVERIFY2(m.hasMatch(), qPrintable(since->text()));
        const QTime at = QTime::fromString(m.captured(1), QStringLiteral("HH:mm:ss"));
        QVERIFY(before <= at && at <= QTime::currentTime());

        // The first good reading brings them back, after the gap.
        const int points = trend.size();
        if (cause == "lost") {
            rig.port->setFaults(SimFaults());
            QVERIFY(rig.window->mnuOpen_Click());
            QCOMPARE(flow->text() + total->text(), QString()); // perhaps another device now
        }
        if (cause == "busy")
            hold.release();
        else if (cause == "held")
            rig.window->link().releasePoll();
        else
            rig.window->mnuAutoS_Click();
        QTRY_VERIFY(flow->isEnabled() && total->isEnabled() && since->isHidden());
        QVERIFY(trend.at(points - 1).gap && !trend.at(trend.size() - 1).gap);
    }

    void menusLockedAndRestored()
    {
        Rig rig;
        rig.prompter.fileNames = {rig.dir.filePath(QStringLiteral("a.tlg"))};
        rig.window->mnuOpenLog_Click();
        rig.window->setMenusLocked(true);
        const QStringList locked = {"mnuOpen", "mnuMSComm", "mnuProperties", "mnuDeviceSinhronize", "mnuOptionsBackDoor",
                                    "mnuOptionsMemExport", "mnuOptionsMemImport", "mnuOptionsCalibrate", "mnuOptionsView",
                                    "mnuOptionRescale", "mnuDProperties", "mnuOpenLog", "mnuCloseLog", "mnuFileALogO",
                                    "mnuFileALogC", "mnuOALF", "DialPhoneNumber", "HangUpPhone", "OpenLogFile",
                                    "CloseLogFile", "ALogO", "ALogC", "Properties", "StartAM", "mnuAutoS", "mnuFileExit"};
        QCOMPARE(rig.states(locked), QString(24, QLatin1Char('0')) + QStringLiteral("11"));
        QVERIFY(!rig.child(QStringLiteral("imgNotConnected"))->isEnabled());

        rig.window->setAutoUpdate(true);
        rig.window->setMenusLocked(false);
        rig.window->setAutoUpdate(false);
        // The log items get back their own states; "StartAM" stays off while
        // the update runs.
        QCOMPARE(rig.states({"mnuOpen", "mnuMSComm", "mnuProperties", "mnuOptionRescale", "mnuDProperties", "mnuCloseLog",
                             "mnuFileALogO", "mnuOALF", "mnuOpenLog", "OpenLogFile", "mnuFileALogC", "ALogC", "CloseLogFile",
                             "StartAM"}),
                 QStringLiteral("11111111000010"));
        QVERIFY(rig.child(QStringLiteral("imgNotConnected"))->isEnabled());
    }

    void terminalTypingSendsAndShowsReply()
    {
        Rig rig;
        rig.window->menuItem(QStringLiteral("mnuStart"))->trigger();
        auto *term = rig.child<QPlainTextEdit>(QStringLiteral("txtTerm"));
        QVERIFY(term->isVisible());
        QVERIFY(!rig.enabled(QStringLiteral("mnuStart")) && rig.enabled(QStringLiteral("mnuStop")));
        rig.device->setValue(0x1E4, 1, 7);
        term->setFocus();
        QTest::keyClicks(term, QStringLiteral("R5202:0101E400"));
        QTest::keyClick(term, Qt::Key_Return);
        QCOMPARE(rig.frames(), QStringList{"R5202:0101E400"});
        // Echo is off: the pane shows what came back, not what was typed.
        QTRY_COMPARE(term->toPlainText(), QStringLiteral(":07"));
        rig.window->setEcho(true);
        QTest::keyClicks(term, QStringLiteral("R5202:0101E400"));
        QTest::keyClick(term, Qt::Key_Return);
        QTRY_COMPARE(term->toPlainText(), QStringLiteral(":07\nR5202:0101E400\n:07"));
        // The line being typed is edited anywhere in it, down to its first
        // character; what came before it is not: typing there goes to the end.
        QTest::keyClicks(term, QStringLiteral("AB"));
        QTest::keyClick(term, Qt::Key_Home);
        QTest::keyClicks(term, QStringLiteral("X"));
        QTest::keyClick(term, Qt::Key_Left);
        QTest::keyClick(term, Qt::Key_Backspace);
        QTextCursor c = term->textCursor();
        c.setPosition(1);
        term->setTextCursor(c);
        QTest::keyClicks(term, QStringLiteral("Y"));
        QCOMPARE(term->toPlainText(), QStringLiteral(":07\nR5202:0101E400\n:07\nXABY"));
        rig.window->menuItem(QStringLiteral("mnuStop"))->trigger();
        QCOMPARE(std::pair(term->isVisible(), rig.window->link().SuppressTerminal), std::pair(false, true));
    }

    void setPointCommand()
    {
        Rig rig(false);
        auto *port = new ScriptedPort;
        rig.window->setPort(port);
        rig.prompter.inputs = {QStringLiteral("150"), QStringLiteral("37.5")};
        rig.window->mnuCommandsFlow_Click();
        QCOMPARE(rig.prompter.texts(), QStringList{"The value of the parameter is out of\r permissible range [0-100] Try again!"});
        QVERIFY(!rig.window->port()->isOpen());
        rig.window->mnuCommandsFlow_Click();
        QCOMPARE(rig.prompter.texts(QStringLiteral("input")), QStringList(2, QStringLiteral("Enter New Value of Set Point")));
        QCOMPARE(rig.prompter.entries.first().title, QStringLiteral("Recieve Global Set Point"));
        QCOMPARE(rig.child<QLabel>(QStringLiteral("lblTr"))->text(), QStringLiteral("SD=37.5%"));
        QVERIFY(rig.window->port()->isOpen());
        // Not a memory frame: no frame end, only the carriage return.
        QCOMPARE(port->written, QList<QByteArray>{"SD=37.5%\r"});
    }

    void exitWritesSetupFileAndSettings_data()
    {
        // The layout itself is tst_setupfile's.
        kExitWritesSetupFileAndSettings.add();
        QTest::newRow("three records") << "3" << 3;
        QTest::newRow("none") << "0" << 0;
    }

    void exitWritesSetupFileAndSettings()
    {
        const auto [totUnit, lines] = kExitWritesSetupFileAndSettings.fetch();
        storeSettings({{"Tot_unit", totUnit}});
        Rig rig;
        QVERIFY(rig.window->synchronize());
        rig.prompter.fileNames = {rig.dir.filePath(QStringLiteral("x.tlg"))};
        rig.window->mnuOpenLog_Click();
        rig.window->mnuMonitor_Click();
        rig.window->mnuStart_Click();

        rig.window->menuItem(QStringLiteral("mnuFileExit"))->trigger();
        QVERIFY(!rig.window->isVisible() && !rig.window->port()->isOpen() && !rig.window->commLog().isOpen());
        QVERIFY(QFile::exists(rig.dir.filePath(QStringLiteral("x.tlg"))));
        const QString setup = rig.dir.filePath(QStringLiteral("setup.dat"));
        QCOMPARE(std::pair(QFile::exists(setup), fileBytes(setup).count("\r\n")), std::pair(lines > 0, qsizetype(lines)));
        QCOMPARE((QStringList{CommSettings::value("Com_monitor"), CommSettings::value("Dev_info"), CommSettings::value("Cur_unit")}),
                 QStringList({"1", "1", "5"}));
        QVERIFY(rig.prompter.texts().isEmpty());
    }
};

QTEST_MAIN(TestFrmTerminal)
#include "tst_frmterminal.moc"
