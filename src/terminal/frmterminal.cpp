#include "frmterminal.h"

#include "common/numtext.h"
#include "config/commsettings.h"
#include "config/frmdprop.h"
#include "config/frmproperties.h"
#include "session/configreadout.h"
#include "session/terminalsession.h"
#include "frmabout.h"
#include "lineevents.h"
#include "link/devicelink.h"
#include "link/portfactory.h"
#include "livedisplay.h"
#include "terminallogs.h"
#include "session/terminalstate.h"
#include "widgetprompter.h"
#include "widgetservice.h"

// TEMPORARY while the chart viewer is being written.
#include "files/frmautotune.h"
#include "files/frmexporte.h"
#include "files/frmimporte.h"
#include "files/frmmemlog.h"

#include <QApplication>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPainter>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QSaveFile>
#include <QScreen>
#include <QStandardPaths>
#include <QStatusBar>
#include <QStyle>
#include <QTextCursor>
#include <QTextDocument>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>


namespace {
const QString kSystemMonitor = QStringLiteral("System Monitor");
const QString kCaption = QStringLiteral("ZENTIR Control Terminal");
const QString kCommLogFilter = QStringLiteral("Log Files (*.TLG)|*.tlg|All Files (*.*)|*.*");
const QString kDataLogFilter = QStringLiteral("Log Files (*.LOG)|*.log|All Files (*.*)|*.*");

const QStringList kPanels = {"Status", "Settings", "Interface", "Comport", "Device",
                             "SampleTime", "MaxFlow", "EngUnit", "UpdateRate"};

// Disabled while a service frame is shown; the log items and their buttons
// get back the state they had.
const QStringList kLockedItems = {
    "mnuOpen", "mnuMSComm", "mnuProperties", "mnuDeviceSinhronize", "mnuOptionsBackDoor",
    "mnuOptionsMemExport", "mnuOptionsMemImport", "mnuOptionsCalibrate", "mnuOptionsView",
    "mnuOptionRescale", "mnuDProperties", "mnuOpenLog", "mnuCloseLog", "mnuFileALogO", "mnuFileALogC", "mnuOALF"};
const QStringList kLockedButtons = {"DialPhoneNumber", "HangUpPhone", "OpenLogFile", "CloseLogFile",
                                    "ALogO", "ALogC", "Properties", "StartAM"};

// The connection pictures: a joined or a parted connector on a coloured disc.
QPixmap connectionPicture(bool connected)
{
    const int s = 44;
    QPixmap pm(s, s);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(connected ? QColor(0x2e, 0xa0, 0x43) : QColor(0xb8, 0x32, 0x2c));
    p.drawEllipse(2, 2, s - 4, s - 4);
    p.setPen(QPen(Qt::white, 3, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::white);
    if (connected) {
        p.drawLine(9, 22, 35, 22);
        p.drawRoundedRect(QRectF(16, 15, 12, 14), 2, 2);
    } else {
        p.drawLine(9, 25, 15, 25);
        p.drawLine(29, 19, 35, 19);
        p.drawRoundedRect(QRectF(13, 20, 6, 10), 1, 1);
        p.drawRoundedRect(QRectF(25, 14, 6, 10), 1, 1);
    }
    return pm;
}

QString quotedField(const QString &text)
{
    QString t = text;
    t.replace(QLatin1Char('"'), QLatin1Char('\''));
    return QLatin1Char('"') + t + QLatin1Char('"');
}

QFont displayFont(int pixels, bool bold = true)
{
    QFont f(QStringLiteral("DejaVu Sans Mono"));
    f.setStyleHint(QFont::Monospace);
    f.setPixelSize(pixels);
    f.setBold(bold);
    return f;
}
} // namespace

frmTerminal::frmTerminal(Prompter *prompter, QWidget *parent)
    : QMainWindow(parent), m_lineEvents(std::make_unique<LineEvents>()),
      m_commLog(std::make_unique<CommLog>()), m_dataLog(std::make_unique<DataLog>())
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
        if (!open)
            onPortLost();
        else
            showPortState();
    });

    buildWindow();
    m_link->setPort(PortFactory::make(QStringLiteral("Com1")));
    Form_Load();
}

frmTerminal::~frmTerminal()
{
    // The frames and the link use the state and the logs: they go first.
    m_link->disconnect(this);
    Timer4->stop();
    delete centralWidget();
    m_session.reset();
}

// ---------------------------------------------------------------- building

void frmTerminal::buildWindow()
{
    buildMenus();
    buildToolBar();
    buildStatusBar();

    auto *central = new QWidget(this);
    auto *layout = new QVBoxLayout(central);
    layout->setContentsMargins(10, 8, 10, 8);
    layout->setSpacing(8);

    fraSendR = new QFrame(central);
    fraSendR->setObjectName(QStringLiteral("fraSendR"));
    fraSendR->setFrameShape(QFrame::StyledPanel);
    auto *sendLayout = new QGridLayout(fraSendR);
    sendLayout->setContentsMargins(8, 4, 8, 4);
    lblTr = new QLabel(fraSendR);
    lblTr->setObjectName(QStringLiteral("lblTr"));
    lblTr->setFont(displayFont(14, false));
    lblTr->setTextInteractionFlags(Qt::TextSelectableByMouse);
    txtRs = new QLineEdit(fraSendR);
    txtRs->setObjectName(QStringLiteral("txtRs"));
    txtRs->setReadOnly(true);
    txtRs->setFont(displayFont(14, false));
    sendLayout->addWidget(new QLabel(tr("Sent:"), fraSendR), 0, 0);
    sendLayout->addWidget(lblTr, 0, 1);
    sendLayout->addWidget(new QLabel(tr("Received:"), fraSendR), 1, 0);
    sendLayout->addWidget(txtRs, 1, 1);
    sendLayout->setColumnStretch(1, 1);
    fraSendR->hide();
    layout->addWidget(fraSendR);

    fraMulti = new QFrame(central);
    fraMulti->setObjectName(QStringLiteral("fraMulti"));
    fraMulti->hide();
    layout->addWidget(fraMulti);

    auto *row = new QHBoxLayout;
    row->setSpacing(12);
    auto *pictures = new QVBoxLayout;
    imgConnected = new QLabel(central);
    imgConnected->setObjectName(QStringLiteral("imgConnected"));
    imgConnected->setPixmap(connectionPicture(true));
    imgNotConnected = new QLabel(central);
    imgNotConnected->setObjectName(QStringLiteral("imgNotConnected"));
    imgNotConnected->setPixmap(connectionPicture(false));
    for (QLabel *img : {imgConnected, imgNotConnected}) {
        img->setAlignment(Qt::AlignCenter);
        img->setCursor(Qt::PointingHandCursor);
        img->setToolTip(tr("Open or close the port"));
        img->installEventFilter(this);
        pictures->addWidget(img, 0, Qt::AlignHCenter);
    }
    imgConnected->hide();
    lblConnectTime = new QLabel(central);
    lblConnectTime->setObjectName(QStringLiteral("lblConnectTime"));
    lblConnectTime->setAlignment(Qt::AlignCenter);
    pictures->addWidget(lblConnectTime);
    pictures->addStretch(1);
    row->addLayout(pictures);
    row->addWidget(buildDisplay(), 1);
    layout->addLayout(row, 2);

    m_rescale = new RescaleFrame(*this, central);
    m_calibrate = new CalibrateFrame(*this, central);
    m_memWrite = new MemWriteFrame(*this, central);
    layout->addWidget(m_rescale);
    layout->addWidget(m_calibrate);
    layout->addWidget(m_memWrite);

    txtTerm = new QPlainTextEdit(central);
    txtTerm->setObjectName(QStringLiteral("txtTerm"));
    txtTerm->setFont(displayFont(13, false));
    txtTerm->setPlaceholderText(tr("Terminal: type a frame such as R5202:01014F00 and press Enter"));
    txtTerm->installEventFilter(this);
    txtTerm->hide();
    layout->addWidget(txtTerm, 1);

    setCentralWidget(central);
}

QWidget *frmTerminal::buildDisplay()
{
    auto *panel = new QFrame(this);
    panel->setObjectName(QStringLiteral("fraDisplay"));
    panel->setStyleSheet(QStringLiteral(
        "#fraDisplay { background: #0d1512; border: 2px solid #2a3a33; border-radius: 8px; }"
        "#fraDisplay QLabel { background: transparent; }"
        "#lblCaptionFlow, #lblCaptionTotal { color: #8fa89b; }"
        "#lblMDRe { color: #4dff88; }"
        "#Label7 { color: #ffbf3c; }"
        "#lblMDEU, #Label12 { color: #e8efe9; }"));
    auto *grid = new QGridLayout(panel);
    grid->setContentsMargins(24, 14, 24, 14);
    grid->setHorizontalSpacing(18);
    grid->setVerticalSpacing(2);

    auto caption = [panel](const char *name, const QString &text) {
        auto *l = new QLabel(text, panel);
        l->setObjectName(QLatin1String(name));
        l->setFont(displayFont(15, true));
        return l;
    };
    auto value = [panel](const char *name, int pixels, Qt::Alignment align) {
        auto *l = new QLabel(panel);
        l->setObjectName(QLatin1String(name));
        l->setFont(displayFont(pixels));
        l->setAlignment(align | Qt::AlignVCenter);
        return l;
    };
    lblMDRe = value("lblMDRe", 136, Qt::AlignRight);
    lblMDEU = value("lblMDEU", 40, Qt::AlignLeft);
    Label7 = value("Label7", 84, Qt::AlignRight);
    Label12 = value("Label12", 36, Qt::AlignLeft);
    // Room for eight digits and a point, so the display does not jump.
    lblMDRe->setMinimumWidth(QFontMetrics(lblMDRe->font()).horizontalAdvance(QStringLiteral("00000000.")));
    Label7->setMinimumWidth(QFontMetrics(Label7->font()).horizontalAdvance(QStringLiteral("000000000")));
    lblMDEU->setMinimumWidth(QFontMetrics(lblMDEU->font()).horizontalAdvance(QStringLiteral("TONN/Day")));

    grid->addWidget(caption("lblCaptionFlow", tr("FLOW RATE")), 0, 0, 1, 2);
    grid->addWidget(lblMDRe, 1, 0);
    grid->addWidget(lblMDEU, 1, 1);
    grid->addWidget(caption("lblCaptionTotal", tr("TOTAL")), 2, 0, 1, 2);
    grid->addWidget(Label7, 3, 0);
    grid->addWidget(Label12, 3, 1);
    grid->setColumnStretch(0, 1);
    grid->setRowStretch(1, 3);
    grid->setRowStretch(3, 2);
    return panel;
}

QAction *frmTerminal::addItem(QMenu *menu, const char *name, const QString &caption, const QKeySequence &key,
                              bool enabled, void (frmTerminal::*handler)())
{
    QAction *a = menu->addAction(caption);
    a->setObjectName(QLatin1String(name));
    a->setShortcut(key);
    a->setEnabled(enabled);
    if (handler)
        connect(a, &QAction::triggered, this, [this, handler] { (this->*handler)(); });
    m_items.insert(QLatin1String(name), a);
    return a;
}

void frmTerminal::addSeparator(QMenu *menu, const char *name)
{
    menu->addSeparator()->setObjectName(QLatin1String(name));
}

void frmTerminal::buildMenus()
{
    auto top = [this](const char *name, const QString &caption) {
        QMenu *m = menuBar()->addMenu(caption);
        m->setObjectName(QLatin1String(name));
        m->menuAction()->setObjectName(QLatin1String(name));
        m_items.insert(QLatin1String(name), m->menuAction());
        return m;
    };
    auto sub = [this](QMenu *parent, const char *name, const QString &caption) {
        QMenu *m = parent->addMenu(caption);
        m->setObjectName(QLatin1String(name));
        m->menuAction()->setObjectName(QLatin1String(name));
        m_items.insert(QLatin1String(name), m->menuAction());
        return m;
    };
    using T = frmTerminal;
    QMenu *file = top("mnuFile", tr("&File"));
    addItem(file, "mnuOpenLog", tr("&Open Log File..."), Qt::Key_F2, true, &T::mnuOpenLog_Click);
    addItem(file, "mnuCloseLog", tr("&Close Log File"), Qt::CTRL | Qt::Key_F2, false, &T::mnuCloseLog_Click);
    addSeparator(file, "Bar4");
    addItem(file, "mnuFileALogO", tr("Open D&ataLog File"), Qt::Key_F3, true, &T::mnuFileALogO_Click);
    addItem(file, "mnuFileALogC", tr("Close Da&taLog File"), Qt::CTRL | Qt::Key_F3, false, &T::mnuFileALogC_Click);
    addSeparator(file, "Bar5");
    addItem(file, "mnuOALF", tr("Download Flow Log"), Qt::Key_F4, true, &T::mnuOALF_Click);
    addSeparator(file, "Bar6");
    addItem(file, "mnuFileExit", tr("E&xit"), Qt::CTRL | Qt::Key_X, true, &T::mnuFileExit_Click);

    QMenu *commands = top("mnuCommands", tr("&Commands"));
    addItem(commands, "mnuCommandsFlow", tr("&Flow"), Qt::CTRL | Qt::Key_F, true, &T::mnuCommandsFlow_Click);
    addSeparator(commands, "Bar7");
    addItem(commands, "mnuAutoS", tr("&Update"), Qt::CTRL | Qt::Key_U, true, &T::mnuAutoS_Click);

    QMenu *port = top("mnuPort", tr("Comm&Port"));
    QAction *open = addItem(port, "mnuOpen", tr("Port &Open"), Qt::CTRL | Qt::Key_M, true, nullptr);
    open->setCheckable(true);
    connect(open, &QAction::triggered, this, [this] { mnuOpen_Click(); });
    addSeparator(port, "Bar9");
    addItem(port, "mnuMonitor", tr("&Monitor"), Qt::CTRL | Qt::Key_R, true, &T::mnuMonitor_Click)->setCheckable(true);
    addSeparator(port, "Bar10");
    QMenu *terminal = sub(port, "mnuMSComm", tr("&Terminal"));
    addItem(terminal, "mnuStart", tr("&Open"), Qt::Key_F1, true, &T::mnuStart_Click);
    addItem(terminal, "mnuStop", tr("&Close"), Qt::CTRL | Qt::Key_F1, true, &T::mnuStop_Click);
    addSeparator(port, "Bar12");
    addItem(port, "mnuProperties", tr("Properties..."), Qt::CTRL | Qt::Key_P, true, &T::mnuProperties_Click);

    QMenu *device = top("Device", tr("&Device"));
    addItem(device, "mnuDeviceSinhronize", tr("&Synchronize"), Qt::CTRL | Qt::Key_S, true, &T::mnuDeviceSinhronize_Click);
    QMenu *recorder = sub(device, "mnuDRec", tr("&Recorder"));
    addItem(recorder, "mnuDRecStart", tr("St&art"), Qt::Key_F5, false, &T::mnuDRecStart_Click);
    addItem(recorder, "mnuDRecStop", tr("St&op"), Qt::CTRL | Qt::Key_F5, false, &T::mnuDRecStop_Click);
    addSeparator(device, "Bar11");
    addItem(device, "mnuDProperties", tr("&Properties..."), Qt::CTRL | Qt::Key_D, true, &T::mnuDProperties_Click);

    QMenu *options = top("mnuOptions", tr("&Options"));
    addItem(options, "mnuOptionsBackDoor", tr("&BackDoor"), Qt::CTRL | Qt::Key_B, true, &T::mnuOptionsBackDoor_Click);
    addItem(options, "mnuOptionsMemExport", tr("MEM &Export"), QKeySequence(), true, &T::mnuOptionsMemExport_Click);
    addItem(options, "mnuOptionsMemImport", tr("MEM &Import"), QKeySequence(), true, &T::mnuOptionsMemImport_Click);
    addItem(options, "mnuOptionsCalibrate", tr("Calibrate"), Qt::CTRL | Qt::Key_C, true, &T::mnuOptionsCalibrate_Click);
    addItem(options, "mnuOptionsView", tr("View Log File"), Qt::CTRL | Qt::Key_V, true, &T::mnuOptionsView_Click);
    addItem(options, "mnuOptionRescale", tr("Rescale"), Qt::SHIFT | Qt::CTRL | Qt::Key_F1, true, &T::mnuOptionRescale_Click);

    QMenu *help = top("mnuHelp", tr("&Help"));
    addItem(help, "mnuHelpA", tr("&About"), Qt::CTRL | Qt::Key_L, true, &T::mnuHelpA_Click);
}

void frmTerminal::buildToolBar()
{
    tbrToolBar = addToolBar(tr("Toolbar"));
    tbrToolBar->setObjectName(QStringLiteral("tbrToolBar"));
    tbrToolBar->setMovable(false);
    tbrToolBar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    tbrToolBar->setIconSize(QSize(24, 24));
    struct Button {
        const char *key;
        QStyle::StandardPixmap icon;
        const char *text;
        const char *tip;
        bool checkable;
        bool enabled;
    };
    const Button buttons[] = {
        {"OpenLogFile", QStyle::SP_DialogOpenButton, "Open Log", "Open communication log file", false, true},
        {"CloseLogFile", QStyle::SP_DialogCloseButton, "Close Log", "Close communication log file", false, false},
        {nullptr, {}, nullptr, nullptr, false, false},
        {"ALogO", QStyle::SP_FileIcon, "Data Log", "Open data log file", false, true},
        {"ALogC", QStyle::SP_DialogDiscardButton, "Close Data", "Close data log file", false, false},
        {nullptr, {}, nullptr, nullptr, false, false},
        {"StartAS", QStyle::SP_BrowserReload, "Update", "Start or stop the display update", true, true},
        {"StartAM", QStyle::SP_MediaSeekForward, "Auto", "Not used", false, true},
        {"DialPhoneNumber", QStyle::SP_ArrowDown, "Synchronize", "Read the device configuration", true, true},
        {"HangUpPhone", QStyle::SP_MessageBoxWarning, "Back Door", "Raw memory write (access code)", false, true},
        {"Properties", QStyle::SP_FileDialogDetailedView, "Properties", "Communication settings", false, true},
        {"TransmitTextFile", QStyle::SP_FileDialogContentsView, "Monitor", "Show the frames sent and received", true, false},
        {nullptr, {}, nullptr, nullptr, false, false},
        {"RStart", QStyle::SP_MediaPlay, "Rec Start", "Start the recorder", false, false},
        {"RStop", QStyle::SP_MediaStop, "Rec Stop", "Stop the recorder", false, false},
    };
    for (const Button &b : buttons) {
        if (!b.key) {
            tbrToolBar->addSeparator();
            continue;
        }
        const QString key = QLatin1String(b.key);
        QAction *a = tbrToolBar->addAction(style()->standardIcon(b.icon), tr(b.text));
        a->setObjectName(key);
        a->setToolTip(tr(b.tip));
        a->setCheckable(b.checkable);
        a->setEnabled(b.enabled);
        connect(a, &QAction::triggered, this, [this, key] { tbrToolBar_ButtonClick(key); });
        m_buttons.insert(key, a);
    }
}

void frmTerminal::buildStatusBar()
{
    QStatusBar *bar = statusBar();
    bar->setObjectName(QStringLiteral("sbrStatus"));
    QFont small = bar->font();
    small.setPointSizeF(small.pointSizeF() * 0.9);
    bar->setFont(small);
    for (const QString &key : kPanels) {
        auto *l = new QLabel(bar);
        l->setObjectName(key);
        l->setFrameShape(QFrame::Panel);
        l->setFrameShadow(QFrame::Sunken);
        l->setContentsMargins(4, 0, 4, 0);
        bar->addWidget(l, key == QLatin1String("Status") ? 1 : 0);
        m_panels.insert(key, l);
    }
    PrgBar1 = new QProgressBar(bar);
    PrgBar1->setObjectName(QStringLiteral("PrgBar1"));
    PrgBar1->setRange(0, ConfigReadout::ProgressMax);
    PrgBar1->setMaximumWidth(160);
    PrgBar1->hide();
    bar->addPermanentWidget(PrgBar1);
}

// ---------------------------------------------------------------- start-up and shutdown

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
    QDir().mkpath(m_setupFolder);
    const QString path = QDir(m_setupFolder).filePath(QStringLiteral("setup.dat"));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        m_prompter->message(path + QStringLiteral("\r") + file.errorString(), kSystemMonitor, Prompter::Exclamation);
        return false;
    }
    const int count = qBound(0, m_state->TotUnit, 4);
    for (int i = 0; i < count; ++i) {
        TerminalState::DeviceRecord &r = m_state->DeviceRecords[i];
        if (r.name.isEmpty())
            r.name = QString::number(i + 1);
        if (r.values[3] == 0)
            r.values[3] = 1;
        QStringList fields{quotedField(r.name), quotedField(r.text)};
        for (qint16 v : r.values)
            fields << QString::number(v);
        file.write(fields.join(QLatin1Char(',')).toLatin1() + "\r\n");
    }
    if (!file.commit()) {
        m_prompter->message(path + QStringLiteral("\r") + file.errorString(), kSystemMonitor, Prompter::Exclamation);
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
}

// ---------------------------------------------------------------- the port

SerialPort *frmTerminal::port() const
{
    return m_link->port();
}

QString frmTerminal::portName() const
{
    return port() ? port()->portName() : QString();
}

void frmTerminal::setPortByName(const QString &name)
{
    setPort(PortFactory::make(name));
}

void frmTerminal::setPort(SerialPort *newPort)
{
    if (!newPort)
        return;
    if (SerialPort *old = port()) {
        // The line settings belong to the program, not to the port object.
        newPort->setSettings(old->settings());
        newPort->setHandshaking(old->handshaking());
    }
    m_link->setPort(newPort);
    setInterfaceFlag(m_link->Rs232Mode);
    showPortState();
    setPanelText(QStringLiteral("Comport"), QStringLiteral("COM Port: ") + portName());
}

bool frmTerminal::choosePort(const QString &name, QString *error)
{
    SerialPort *old = port();
    if (!PortFactory::exists(name, error))
        return false;
    const bool wasOpen = old && old->isOpen();
    std::unique_ptr<SerialPort> next(PortFactory::make(name));
    if (old) {
        next->setSettings(old->settings());
        next->setHandshaking(old->handshaking());
    }
    if (wasOpen) {
        setAutoUpdate(false);
        old->close();
        if (!next->open()) {
            if (error)
                *error = next->errorString();
            old->open();
            showPortState();
            return false;
        }
    }
    setPort(next.release());
    return true;
}

bool frmTerminal::mnuOpen_Click()
{
    SerialPort *p = port();
    if (!p)
        return false;
    if (p->isOpen()) {
        closePort();
    } else if (!p->open()) {
        m_prompter->message(p->errorString(), kSystemMonitor, Prompter::Exclamation);
    } else {
        // A fresh connection starts without the old line texts.
        m_lineEvents->clear();
        m_connectedSince = QDateTime::currentMSecsSinceEpoch();
    }
    showPortState();
    return p->isOpen();
}

void frmTerminal::closePort()
{
    setAutoUpdate(false);
    if (SerialPort *p = port())
        p->close();
    showPortState();
}

void frmTerminal::onPortLost()
{
    // The link has reported the loss; the operator can open the port again.
    setAutoUpdate(false);
    showPortState();
}

void frmTerminal::showPortState()
{
    const bool open = m_link->PortOpen();
    if (QAction *a = menuItem(QStringLiteral("mnuOpen")))
        a->setChecked(open);
    if (QAction *b = button(QStringLiteral("TransmitTextFile")))
        b->setEnabled(open);
    if (QAction *b = button(QStringLiteral("DialPhoneNumber")))
        b->setChecked(open);
    imgConnected->setVisible(open);
    imgNotConnected->setVisible(!open);
    setPanelText(QStringLiteral("Settings"),
                 QStringLiteral("Settings: ") + (open && port() ? port()->settings() : QString()));
    TimerM_Timer();
}

void frmTerminal::setInterfaceFlag(bool rs232)
{
    m_link->Rs232Mode = rs232;
    if (port())
        port()->setInterfaceMode(rs232);
}

void frmTerminal::setUpdateRateIndex(int index)
{
    m_timeSs = index;
    if (const int ms = CommSettings::intervalMs(index); ms > 0) {
        Timer4->setInterval(ms);
        if (!m_link->AutoUpdateOn)
            Timer4->stop();
    }
    setPanelText(QStringLiteral("UpdateRate"), QStringLiteral("Update Rate: %1 ms").arg(Timer4->interval()));
}

void frmTerminal::setRecordIntervalIndex(int index)
{
    m_timeSr = index;
    if (const int ms = CommSettings::intervalMs(index); ms > 0) {
        Timer5->setInterval(ms);
        if (!m_recording)
            Timer5->stop();
    }
}

// ---------------------------------------------------------------- line events and status

void frmTerminal::MSComm1_OnComm(int code)
{
    const LineEvents::Action action = m_lineEvents->OnComm(code);
    if (action == LineEvents::None)
        return;
    setStatusText(m_lineEvents->statusText(action));
    if (action == LineEvents::AskError) {
        m_prompter->beep();
        // One question at a time: events that come while it is up only
        // update the status text.
        if (!m_asking) {
            m_asking = true;
            const bool ignore = m_prompter->askOkCancel(m_lineEvents->LineErrorText, LineEvents::QuestionTitle,
                                                        Prompter::Exclamation);
            m_asking = false;
            if (!ignore && m_link->PortOpen())
                closePort();
        }
    }
    Timer2->start();
}

void frmTerminal::Timer2_Timer()
{
    setStatusText(QStringLiteral("Status: "));
    Timer2->stop();
}

void frmTerminal::setStatusText(const QString &text)
{
    setPanelText(QStringLiteral("Status"), text);
}

QString frmTerminal::statusText() const
{
    QLabel *l = panel(QStringLiteral("Status"));
    return l ? l->text() : QString();
}

void frmTerminal::startTimer2()
{
    Timer2->start();
}

QAction *frmTerminal::menuItem(const QString &name) const
{
    return m_items.value(name);
}

QAction *frmTerminal::button(const QString &key) const
{
    return m_buttons.value(key);
}

QLabel *frmTerminal::panel(const QString &key) const
{
    return m_panels.value(key);
}

void frmTerminal::setPanelText(const QString &key, const QString &text)
{
    QLabel *l = panel(key);
    if (!l)
        return;
    l->setText(text);
    // The status bar would cut the panels short; only "Status" gives way.
    if (key != QLatin1String("Status"))
        l->setMinimumWidth(l->sizeHint().width());
}

void frmTerminal::refreshStatusBar()
{
    if (m_state->MemoryImage0100.isEmpty())
        return;
    setPanelText(QStringLiteral("SampleTime"),
                 QStringLiteral("Sample time: ") + m_state->cellText(QStringLiteral("0100")) + QStringLiteral(" x 20 ms"));
    const qint64 maxFlow = m_state->cellValue(QStringLiteral("0105"));
    // In tenths mode the device stores ten times the flow.
    const QString maxText = m_state->tenthsMode() ? numtext::doubleToText(maxFlow / 10.0) : QString::number(maxFlow);
    setPanelText(QStringLiteral("MaxFlow"), QStringLiteral("Max Flow: ") + maxText + QStringLiteral(" L/s"));
    if (!m_state->EngUnitHex.isEmpty())
        setPanelText(QStringLiteral("EngUnit"), QStringLiteral("Enginnering Unit: ") + m_state->unitText());
}

// ---------------------------------------------------------------- readout and live display

bool frmTerminal::synchronize()
{
    if (m_syncing)
        return false;
    m_syncing = true;
    ConfigReadout readout(*m_link, *m_state, m_prompter);
    PrgBar1->setValue(0);
    PrgBar1->show();
    readout.progress = [this](int v) {
        PrgBar1->setValue(v);
        if (v == 1 || v == 5)
            refreshStatusBar();
    };
    const bool ok = readout.run();
    PrgBar1->hide();
    if (ok) {
        refreshStatusBar();
        showFlowLabels();
    }
    m_syncing = false;
    return ok;
}

bool frmTerminal::autoUpdateOn() const
{
    return m_link->AutoUpdateOn;
}

void frmTerminal::setAutoUpdate(bool on)
{
    m_link->AutoUpdateOn = on;
    if (on) {
        m_link->TimeoutCount = 0;
        Timer4->start();
    } else {
        Timer4->stop();
    }
    if (QAction *b = button(QStringLiteral("StartAS")))
        b->setChecked(on);
}

QString frmTerminal::currentFlowText() const
{
    return m_state->FlowText;
}

void frmTerminal::mnuAutoS_Click()
{
    setAutoUpdate(!m_link->AutoUpdateOn);
}

void frmTerminal::showFlowLabels()
{
    lblMDRe->setText(m_state->FlowText);
    lblMDEU->setText(LiveDisplay::unitShown(*m_state));
    Label7->setText(m_state->TotalText);
    Label12->setText(m_state->totalUnitText());
}

void frmTerminal::Timer4_Timer()
{
    if (!m_link->AutoUpdateOn) {
        Timer4->stop();
        return;
    }
    Timer4->stop();
    // A message of the running poll is up; the poll starts the timer again
    // when it ends.
    if (m_inTick)
        return;
    if (!m_link->PortOpen() && !m_link->openPort()) {
        setAutoUpdate(false);
        return;
    }
    m_inTick = true;
    LiveDisplay live(*m_link, *m_state, m_prompter);
    const LiveDisplay::Result r = live.tick();
    showFlowLabels();
    if (!r.stopped && m_recording && m_recordDue) {
        Timer5->stop();
        m_recordDue = false;
        if (m_dataLog->record(QDateTime::currentDateTime(), m_state->FlowText, lblMDEU->text()))
            Timer5->start();
        else
            mnuFileALogC_Click();  // stops recording and reports why the log could not be saved
    }
    m_inTick = false;
    if (m_link->AutoUpdateOn && !Timer4->isActive())
        Timer4->start();
}

void frmTerminal::Timer5_Timer()
{
    m_recordDue = true;
}

void frmTerminal::TimerM_Timer()
{
    if (m_monitor) {
        lblTr->setText(m_link->lblTr);
        txtRs->setText(m_link->txtRs);
    }
    if (m_link->PortOpen()) {
        const qint64 s = m_connectedSince > 0 ? (QDateTime::currentMSecsSinceEpoch() - m_connectedSince) / 1000 : 0;
        lblConnectTime->setText(QStringLiteral("%1:%2:%3")
                                    .arg(s / 3600, 2, 10, QLatin1Char('0'))
                                    .arg(s / 60 % 60, 2, 10, QLatin1Char('0'))
                                    .arg(s % 60, 2, 10, QLatin1Char('0')));
    } else {
        lblConnectTime->setText(tr("Closed"));
    }
}

// ---------------------------------------------------------------- toolbar and menus

void frmTerminal::tbrToolBar_ButtonClick(const QString &key)
{
    // The keys reach their commands crosswise; that mapping is kept as the
    // operators know it.
    if (key == QLatin1String("OpenLogFile"))
        mnuOpenLog_Click();
    else if (key == QLatin1String("CloseLogFile"))
        mnuCloseLog_Click();
    else if (key == QLatin1String("ALogO"))
        mnuFileALogO_Click();
    else if (key == QLatin1String("ALogC"))
        mnuFileALogC_Click();
    else if (key == QLatin1String("StartAS"))
        mnuAutoS_Click();
    else if (key == QLatin1String("DialPhoneNumber"))
        mnuDeviceSinhronize_Click();
    else if (key == QLatin1String("HangUpPhone"))
        mnuOptionsBackDoor_Click();
    else if (key == QLatin1String("Properties"))
        mnuProperties_Click();
    else if (key == QLatin1String("TransmitTextFile"))
        mnuMonitor_Click();
    else if (key == QLatin1String("RStart"))
        mnuDRecStart_Click();
    else if (key == QLatin1String("RStop"))
        mnuDRecStop_Click();
    // "StartAM" and any other key: nothing.

    // The check marks of the toggle buttons follow what they show.
    button(QStringLiteral("StartAS"))->setChecked(m_link->AutoUpdateOn);
    button(QStringLiteral("TransmitTextFile"))->setChecked(m_monitor);
    button(QStringLiteral("DialPhoneNumber"))->setChecked(m_link->PortOpen());
}

void frmTerminal::setEnabledPair(const QStringList &items, const QStringList &buttons, bool enabled)
{
    for (const QString &name : items)
        if (QAction *a = menuItem(name))
            a->setEnabled(enabled);
    for (const QString &key : buttons)
        if (QAction *b = button(key))
            b->setEnabled(enabled);
}

bool frmTerminal::confirm(const QString &text)
{
    return m_prompter->askYesNo(text, kSystemMonitor, Prompter::Warning);
}

int frmTerminal::runDialog(QDialog &dialog)
{
    return execDialog ? execDialog(dialog) : dialog.exec();
}

void frmTerminal::mnuOpenLog_Click()
{
    QString path;
    bool append = false;
    if (!chooseLogFile(*m_prompter, QStringLiteral("Open Communications Log File"), kCommLogFilter,
                       QDir(m_programFolder).filePath(QStringLiteral("My_TLog1.tlg")), &path, &append))
        return;
    QString error;
    if (!m_commLog->open(path, append, &error)) {
        m_prompter->message(error, kSystemMonitor, Prompter::Exclamation);
        return;
    }
    setEnabledPair({"mnuCloseLog"}, {"CloseLogFile"}, true);
    setEnabledPair({"mnuOpenLog"}, {"OpenLogFile"}, false);
    setWindowTitle(kCaption + QStringLiteral(" - ") + path);
}

void frmTerminal::mnuCloseLog_Click()
{
    QString error;
    if (!m_commLog->close(&error))
        m_prompter->message(error, kSystemMonitor, Prompter::Exclamation);
    setEnabledPair({"mnuOpenLog"}, {"OpenLogFile"}, true);
    setEnabledPair({"mnuCloseLog"}, {"CloseLogFile"}, false);
    setWindowTitle(kCaption);
}

void frmTerminal::mnuFileALogO_Click()
{
    QString path;
    bool append = false;
    if (!chooseLogFile(*m_prompter, QStringLiteral("Open Auto Log File"), kDataLogFilter,
                       QDir(m_programFolder).filePath(QStringLiteral("My_ALog1.log")), &path, &append))
        return;
    QString error;
    if (!m_dataLog->open(path, append, &error)) {
        m_prompter->message(error, kSystemMonitor, Prompter::Exclamation);
        return;
    }
    setEnabledPair({"mnuFileALogC", "mnuDRecStart"}, {"ALogC", "RStart"}, true);
    setEnabledPair({"mnuFileALogO"}, {"ALogO", "RStop"}, false);
    setWindowTitle(QStringLiteral("I/O Terminal - ") + path);
}

void frmTerminal::mnuFileALogC_Click()
{
    // No record can follow once the log is gone.
    m_recording = false;
    m_recordDue = false;
    Timer5->stop();
    QString error;
    if (!m_dataLog->close(&error))
        m_prompter->message(error, kSystemMonitor, Prompter::Exclamation);
    setEnabledPair({"mnuFileALogO"}, {"ALogO"}, true);
    setEnabledPair({"mnuFileALogC", "mnuDRecStart", "mnuDRecStop"}, {"ALogC", "RStart", "RStop"}, false);
    setWindowTitle(kCaption);
}

void frmTerminal::mnuOALF_Click()
{
    if (!confirm(QStringLiteral("  Do you want to Save Flow Memory Log into the File?  ")))
        return;
    frmMemLog dialog(*this, this);
    runDialog(dialog);
}

void frmTerminal::mnuCommandsFlow_Click()
{
    // The set point travels as a plain text command, "SD=" value "%", and is
    // not a memory frame: it goes straight onto the line.
    QString answer;
    if (!m_prompter->inputBox(QStringLiteral("Enter New Value of Set Point"),
                              QStringLiteral("Recieve Global Set Point"), QString(), &answer))
        return;
    bool ok = false;
    const double value = answer.trimmed().toDouble(&ok);
    if (!ok || value < 0 || value > 100) {
        m_prompter->message(QStringLiteral("The value of the parameter is out of\r permissible range [0-100] Try again!"),
                            kSystemMonitor, Prompter::Information);
        return;
    }
    if (!m_link->PortOpen() && !m_link->openPort())
        return;
    const QString command = QStringLiteral("SD=") + numtext::doubleToText(value) + QStringLiteral("%");
    port()->write(command.toLatin1() + '\r');
    m_link->lblTr = command;
    lblTr->setText(command);
    commLogWritten(m_commLog->frameSent(command, QDateTime::currentDateTime()));
}

void frmTerminal::commLogWritten(bool ok)
{
    // A log that cannot be written (a full disk) is closed with its reason,
    // once, after the exchange in progress: a message box must not open in
    // the middle of a wait for a reply.
    if (ok || !m_commLog->isOpen() || m_commLogCloseQueued)
        return;
    m_commLogCloseQueued = true;
    QMetaObject::invokeMethod(this, [this] {
        m_commLogCloseQueued = false;
        if (m_commLog->isOpen())
            mnuCloseLog_Click();
    }, Qt::QueuedConnection);
}

void frmTerminal::mnuMonitor_Click()
{
    m_monitor = !m_monitor;
    m_comMonitor = m_monitor ? 1 : 0;
    menuItem(QStringLiteral("mnuMonitor"))->setChecked(m_monitor);
    button(QStringLiteral("TransmitTextFile"))->setChecked(m_monitor);
    fraSendR->setVisible(m_monitor);
    TimerM_Timer();
}

void frmTerminal::mnuStart_Click()
{
    m_devInfo = 1;
    m_link->SuppressTerminal = false;
    txtTerm->show();
    txtTerm->setFocus();
    menuItem(QStringLiteral("mnuStart"))->setEnabled(false);
    menuItem(QStringLiteral("mnuStop"))->setEnabled(true);
}

void frmTerminal::mnuStop_Click()
{
    m_devInfo = 0;
    m_link->SuppressTerminal = true;
    txtTerm->hide();
    menuItem(QStringLiteral("mnuStart"))->setEnabled(true);
    menuItem(QStringLiteral("mnuStop"))->setEnabled(false);
}

std::unique_ptr<frmProperties> frmTerminal::propertiesDialog()
{
    auto dialog = std::make_unique<frmProperties>(*this, frmProperties::Current{m_echo, m_timeSs, m_timeSr}, this);
    dialog->choosePort = [this](const QString &name, QString *error) { return choosePort(name, error); };
    connect(dialog.get(), &frmProperties::interfaceChosen, this, &frmTerminal::setInterfaceFlag);
    connect(dialog.get(), &frmProperties::updateRateChosen, this, &frmTerminal::setUpdateRateIndex);
    connect(dialog.get(), &frmProperties::recordIntervalChosen, this, &frmTerminal::setRecordIntervalIndex);
    connect(dialog.get(), &frmProperties::applied, this, [this](const QString &interfaceText, const QString &port, bool echo) {
        setPanelText(QStringLiteral("Interface"), QStringLiteral("Interface: ") + interfaceText);
        setPanelText(QStringLiteral("Comport"), QStringLiteral("COM Port: ") + port);
        showPortState();
        setEcho(echo);
    });
    return dialog;
}

void frmTerminal::mnuProperties_Click()
{
    const auto dialog = propertiesDialog();
    runDialog(*dialog);
}

OperationGate &frmTerminal::gate()
{
    return m_session->gate();
}

void frmTerminal::mnuDeviceSinhronize_Click()
{
    synchronize();
}

void frmTerminal::mnuDRecStart_Click()
{
    m_recording = true;
    m_recordDue = false;
    Timer5->start();
    button(QStringLiteral("RStart"))->setEnabled(false);
    button(QStringLiteral("RStop"))->setEnabled(true);
    menuItem(QStringLiteral("mnuDRecStart"))->setEnabled(false);
    menuItem(QStringLiteral("mnuDRecStop"))->setEnabled(true);
    m_prompter->beep();
}

void frmTerminal::mnuDRecStop_Click()
{
    m_recording = false;
    m_recordDue = false;
    Timer5->stop();
    button(QStringLiteral("RStart"))->setEnabled(true);
    button(QStringLiteral("RStop"))->setEnabled(false);
    menuItem(QStringLiteral("mnuDRecStart"))->setEnabled(true);
    menuItem(QStringLiteral("mnuDRecStop"))->setEnabled(false);
    m_prompter->beep();
}

void frmTerminal::mnuDProperties_Click()
{
    DevicePropertiesOpen = 1;
    PropertiesEdit = 1;
    synchronize();
    frmDProp dialog(*this, this);
    runDialog(dialog);
}

void frmTerminal::mnuOptionsBackDoor_Click()
{
    m_memWrite->start();
}

void frmTerminal::mnuOptionsMemExport_Click()
{
    if (!confirm(QStringLiteral("  Do you want to Save Configuration Table into the File?  ")))
        return;
    synchronize();
    frmExportE dialog(*this, this);
    runDialog(dialog);
}

void frmTerminal::mnuOptionsMemImport_Click()
{
    if (!confirm(QStringLiteral("WARNING: Proceeding with this may cause loosing of the Calibration Data!\r"
                                "   Do you want to Import Configuration Table into the Unit?   ")))
        return;
    frmImportE dialog(*this, this);
    runDialog(dialog);
}

void frmTerminal::mnuOptionsCalibrate_Click()
{
    m_calibrate->start();
}

void frmTerminal::mnuOptionsView_Click()
{
    frmAutoTune dialog(*this, this);
    runDialog(dialog);
}

void frmTerminal::mnuOptionRescale_Click()
{
    m_rescale->start();
}

void frmTerminal::mnuHelpA_Click()
{
    frmAbout dialog(this);
    runDialog(dialog);
}

void frmTerminal::setMenusLocked(bool locked)
{
    if (locked == m_locked)
        return;
    m_locked = locked;
    if (locked) {
        m_kept.clear();
        for (const QString &name : kLockedItems)
            if (QAction *a = menuItem(name)) {
                m_kept.insert(name, a->isEnabled());
                a->setEnabled(false);
            }
        for (const QString &key : kLockedButtons)
            if (QAction *b = button(key)) {
                m_kept.insert(QStringLiteral("button:") + key, b->isEnabled());
                b->setEnabled(false);
            }
    } else {
        for (const QString &name : kLockedItems)
            if (QAction *a = menuItem(name))
                a->setEnabled(m_kept.value(name, true));
        for (const QString &key : kLockedButtons)
            if (QAction *b = button(key))
                b->setEnabled(m_kept.value(QStringLiteral("button:") + key, true));
        button(QStringLiteral("StartAM"))->setEnabled(!m_link->AutoUpdateOn);
    }
    imgConnected->setEnabled(!locked);
    imgNotConnected->setEnabled(!locked);
}

// ---------------------------------------------------------------- terminal typing

void frmTerminal::appendTerminal(const QString &text)
{
    QString t = text;
    t.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    t.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    QTextCursor c = txtTerm->textCursor();
    c.movePosition(QTextCursor::End);
    c.insertText(t);
    txtTerm->setTextCursor(c);
    m_termInputStart = txtTerm->document()->characterCount() - 1;
}

void frmTerminal::sendTerminalLine()
{
    const int end = txtTerm->document()->characterCount() - 1;
    QTextCursor c = txtTerm->textCursor();
    c.setPosition(qMin(m_termInputStart, end));
    c.setPosition(end, QTextCursor::KeepAnchor);
    const QString line = c.selectedText().trimmed();
    if (m_echo) {
        c.clearSelection();
        c.movePosition(QTextCursor::End);
        c.insertText(QStringLiteral("\n"));
    } else {
        // Without local echo the pane shows only what the device sends back.
        c.removeSelectedText();
    }
    txtTerm->setTextCursor(c);
    m_termInputStart = txtTerm->document()->characterCount() - 1;
    if (line.isEmpty())
        return;
    m_link->Transact(line);
}

bool frmTerminal::eventFilter(QObject *watched, QEvent *event)
{
    if ((watched == imgConnected || watched == imgNotConnected) && event->type() == QEvent::MouseButtonRelease) {
        if (!m_locked)
            mnuOpen_Click();
        return true;
    }
    if (watched == txtTerm && event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            sendTerminalLine();
            return true;
        }
        QTextCursor c = txtTerm->textCursor();
        // What came from the device is not edited; typing goes to the end.
        if (c.position() < m_termInputStart || c.anchor() < m_termInputStart) {
            c.movePosition(QTextCursor::End);
            txtTerm->setTextCursor(c);
        }
        if (key->key() == Qt::Key_Backspace && txtTerm->textCursor().position() <= m_termInputStart)
            return true;
        if (!key->text().isEmpty() && key->text().at(0).isPrint()
            && txtTerm->textCursor().position() == m_termInputStart && m_termInputStart > 0
            && txtTerm->document()->characterAt(m_termInputStart - 1) != QChar::ParagraphSeparator) {
            // A new line of input starts on a line of its own.
            appendTerminal(QStringLiteral("\n"));
        }
    }
    return QMainWindow::eventFilter(watched, event);
}
