// The main window's construction, start-up and shutdown. Its other jobs live
// beside this file: frmterminal_build (the window's controls), _port (the
// port and its line events), _poll (readout, display poll and timers),
// _menus (menu and toolbar handlers), _term (terminal typing, set point).
#include "frmterminal.h"
#include "frmterminal_p.h"

#include "common/prompter.h"
#include "config/commsettings.h"
#include "lineevents.h"
#include "mqttpublisher.h"
#include "link/devicelink.h"
#include "link/portfactory.h"
#include "session/operationgate.h"
#include "session/terminalsession.h"
#include "session/terminalstate.h"
#include "setupfile.h"
#include "terminallogs.h"
#include "trendbuffer.h"
#include "widgetprompter.h"
#include "widgettrend.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDateTime>
#include <QDialog>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QScreen>
#include <QStandardPaths>
#include <QTimer>

using frmterminal::kSystemMonitor;

frmTerminal::frmTerminal(Prompter *prompter, QWidget *parent)
    : QMainWindow(parent), m_lineEvents(std::make_unique<LineEvents>()),
      m_commLog(std::make_unique<CommLog>()), m_dataLog(std::make_unique<DataLog>()),
      m_trend(std::make_unique<TrendBuffer>())
{
    setObjectName(QStringLiteral("frmTerminal"));
    if (!prompter) {
        m_ownPrompter = std::make_unique<WidgetPrompter>(this);
        prompter = m_ownPrompter.get();
    }
    m_prompter = prompter;
    m_session = std::make_unique<TerminalSession>(m_prompter, nullptr);
    m_link = &m_session->link();
    m_state = &m_session->state();
    connect(&m_session->gate(), &OperationGate::busyChanged, this, [this](bool busy) { setLocks(m_locked, busy); });
    execDialog = [](QDialog &dialog) { return dialog.exec(); };

    // Default file names and setup.dat go beside the program when that
    // folder can be written, else to the user's folders.
    const QString exeDir = QCoreApplication::applicationDirPath();
    if (QFileInfo(exeDir).isWritable()) {
        m_programFolder = m_setupFolder = exeDir;
    } else {
        m_programFolder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
        m_setupFolder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    }

    auto timer = [this](const char *name, int ms) {
        auto *t = new QTimer(this);
        t->setObjectName(QLatin1String(name));
        t->setInterval(ms);
        return t;
    };
    Timer2 = timer("Timer2", 3000);
    Timer4 = timer("Timer4", CommSettings::DefaultUpdateMs);
    Timer5 = timer("Timer5", CommSettings::DefaultRecordMs);
    TimerM = timer("TimerM", 500);
    connect(Timer2, &QTimer::timeout, this, &frmTerminal::Timer2_Timer);
    connect(Timer4, &QTimer::timeout, this, &frmTerminal::Timer4_Timer);
    connect(Timer5, &QTimer::timeout, this, &frmTerminal::Timer5_Timer);
    connect(TimerM, &QTimer::timeout, this, &frmTerminal::TimerM_Timer);
    m_link->setTimer4(Timer4);
    m_link->setOpenHandler([this] { return mnuOpen_Click(); });

    connect(m_link, &DeviceLink::frameSent, this, [this](const QString &frame) {
        lblTr->setText(frame);
        commLogWritten(m_commLog->frameSent(frame, QDateTime::currentDateTime()));
    });
    connect(m_link, &DeviceLink::replyReceived, this, [this](const QString &raw) {
        txtRs->setText(raw);
        commLogWritten(m_commLog->replyReceived(raw, QDateTime::currentDateTime()));
    });
    connect(m_link, &DeviceLink::terminalText, this, &frmTerminal::appendTerminal);
    connect(m_link, &DeviceLink::statusText, this, &frmTerminal::setStatusText);
    // Queued: the handler may ask a question, and a nested event loop must
    // never run inside the port's own event.
    connect(m_link, &DeviceLink::commEvent, this, &frmTerminal::MSComm1_OnComm, Qt::QueuedConnection);
    connect(m_link, &DeviceLink::portStateChanged, this, [this](bool open) {
        if (!open) {
            // The link tells the loss next; with the reconnect on it is a status.
            m_lossPending = reconnectOn();
            onPortLost();
        }
        else
            showPortState();
    });

    buildWindow();
    watchReconnect();
    routeLossToStatus();
    menuItem(QStringLiteral("mnuReconnect"))->setChecked(reconnectOn());
    // Journal records name the window a write came from.
    m_session->journalSource = [] {
        const QWidget *w = QApplication::activeModalWidget();
        return w ? w->objectName() : QStringLiteral("frmTerminal");
    };
    m_link->setPort(PortFactory::make(QStringLiteral("Com1")));
    Form_Load();
}

frmTerminal::~frmTerminal()
{
    // The frames and the link use the state and the logs: they go first.
    m_link->disconnect(this);
    Timer4->stop();
    TimerM->stop();
    m_mqtt.reset();
    delete centralWidget();
    m_session.reset();
}

void frmTerminal::Form_Load()
{
    m_link->ReadPrefix = QStringLiteral("R5202:");
    m_link->WritePrefix = QStringLiteral("R5200:");
    m_state->DeviceLabel = QStringLiteral("R52  ");
    m_state->AccessCode = QStringLiteral("47318");

    setWindowTitle(QStringLiteral("Quorin Terminal"));
    showPortState();

    // Sized from the screen; the frames follow the window's width.
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        const QRect avail = screen->availableGeometry();
        resize(qMin(1340, avail.width() * 95 / 100), qMin(780, avail.height() * 9 / 10));
        fraMulti->setMinimumHeight(0);
        fraMulti->setMaximumHeight(avail.height());
    }
    fraMulti->hide();

    m_state->AlarmText = QStringList{QStringLiteral("No Alarm"), QStringLiteral("High"), QStringLiteral(" Low")};

    setEnabledPair({"mnuOpenLog", "mnuFileALogO", "mnuOALF"}, {"OpenLogFile", "ALogO"}, true);
    setEnabledPair({"mnuCloseLog", "mnuFileALogC"}, {"CloseLogFile", "ALogC"}, false);

    applyStoredSettings();
    applyTrendSettings();

    setPanelText(QStringLiteral("Comport"), QStringLiteral("COM Port: ") + portName());
    TimerM->start();
    setPanelText(QStringLiteral("Device"), QStringLiteral("Device: R52   "));
    setStatusText(QStringLiteral("Status: "));
    button(QStringLiteral("HangUpPhone"))->setEnabled(true);
}

// Reads the stored settings in the order of the table, applying each.
void frmTerminal::applyStoredSettings()
{
    const CommSettings::Stored s = CommSettings::load();
    auto report = [this](const QString &error) { m_prompter->message(error, kSystemMonitor, Prompter::Exclamation); };

    if (!s.Settings.isEmpty() && !port()->setSettings(s.Settings))
        report(port()->errorString());
    if (!s.CommPort.isEmpty()) {
        const QString name = CommSettings::portNameFromStored(s.CommPort);
        QString error;
        if (name != portName() && !choosePort(name, &error))
            report(error);
    }
    if (!s.Handshaking.isEmpty()) {
        bool ok = false;
        const int mode = s.Handshaking.trimmed().toInt(&ok);
        if (!port()->setHandshaking(ok ? mode : -1))
            report(port()->errorString());
    }
    m_echo = s.Echo;
    m_state->TotUnit = s.TotUnit;

    m_timeSs = s.TimeSs;
    m_timeSr = s.TimeSr;
    // The timers keep their own intervals until a stored index names one.
    if (s.hasTimeSs && CommSettings::intervalMs(s.TimeSs) > 0)
        Timer4->setInterval(CommSettings::intervalMs(s.TimeSs));
    if (s.hasTimeSr && CommSettings::intervalMs(s.TimeSr) > 0)
        Timer5->setInterval(CommSettings::intervalMs(s.TimeSr));
    setPanelText(QStringLiteral("UpdateRate"), QStringLiteral("Update Rate: %1 ms").arg(Timer4->interval()));

    setInterfaceFlag(s.Interface);
    setPanelText(QStringLiteral("Interface"), s.Interface ? QStringLiteral("Interface: RS232") : QStringLiteral("Interface: RS485"));

    m_monitor = s.ComMonitor == 1;
    m_comMonitor = s.ComMonitor;
    menuItem(QStringLiteral("mnuMonitor"))->setChecked(m_monitor);
    button(QStringLiteral("TransmitTextFile"))->setChecked(m_monitor);
    fraSendR->setVisible(m_monitor);

    // The terminal pane is the device-information view: open when it was
    // open at the last exit.
    m_devInfo = s.DevInfo;
    txtTerm->setVisible(m_devInfo == 1);
    m_link->SuppressTerminal = m_devInfo != 1;
    menuItem(QStringLiteral("mnuStop"))->setEnabled(m_devInfo == 1);
    menuItem(QStringLiteral("mnuStart"))->setEnabled(m_devInfo != 1);
}

void frmTerminal::mnuFileExit_Click()
{
    if (busyRefused())
        return;
    if (m_recording)
        mnuDRecStop_Click();
    closeLogs();
    if (m_link->PortOpen()) {
        m_link->pause(1000);
        if (m_link->PortOpen())
            mnuOpen_Click();
    }
    if (m_state->TotUnit > 0)
        writeSetupFile();
    saveExitSettings();
    close();
}

void frmTerminal::Form_Unload()
{
    if (m_unloaded)
        return;
    m_unloaded = true;
    setAutoUpdate(false);
    if (SerialPort *p = port(); p && p->isOpen()) {
        if (!p->flush(2000))
            m_prompter->message(QStringLiteral("Data cannot be sent"), kSystemMonitor, Prompter::Information);
        closePort();
    }
    // Both logs: a log file is complete only once it is closed.
    closeLogs();
    saveExitSettings();
}

void frmTerminal::closeEvent(QCloseEvent *event)
{
    // The window stays until the device operation in progress has ended:
    // closing would close the port in the middle of a write.
    if (busyRefused()) {
        event->ignore();
        return;
    }
    Form_Unload();
    event->accept();
}

void frmTerminal::closeLogs()
{
    if (m_commLog->isOpen())
        mnuCloseLog_Click();
    if (m_dataLog->isOpen())
        mnuFileALogC_Click();
}

bool frmTerminal::writeSetupFile()
{
    QString error;
    if (!SetupFile::save(QDir(m_setupFolder).filePath(QStringLiteral("setup.dat")), m_state->DeviceRecords,
                         m_state->TotUnit, &error)) {
        m_prompter->message(error, kSystemMonitor, Prompter::Exclamation);
        return false;
    }
    return true;
}

void frmTerminal::saveExitSettings()
{
    CommSettings::saveExit(QString::number(m_state->EngUnit), m_comMonitor, m_devInfo);
}

void frmTerminal::setProgramFolder(const QString &folder)
{
    m_programFolder = folder;
    m_setupFolder = folder;
    fraTrend->setFolder(folder);
}

OperationGate &frmTerminal::gate()
{
    return m_session->gate();
}
