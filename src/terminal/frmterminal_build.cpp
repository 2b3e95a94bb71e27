// Building the main window: menus, toolbar, status bar and the flow display,
// and finding its controls by name.
#include "frmterminal.h"

#include "session/configreadout.h"
#include "widgetservice.h"
#include "widgettrend.h"

#include <QAction>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QRegularExpression>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>

namespace {
const QStringList kPanels = {"Status", "Settings", "Interface", "Comport", "Device",
                             "SampleTime", "MaxFlow", "EngUnit", "UpdateRate", "Link"};

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

// A status bar panel that gives way when the bar is short: it draws its text
// cut with "..." instead of over its neighbours, and then carries the whole
// text as its tool-tip. "Status" keeps room for its text first.
class PanelLabel : public QLabel
{
public:
    PanelLabel(bool keepsRoom, QWidget *parent) : QLabel(parent), m_keepsRoom(keepsRoom) {}
    QSize minimumSizeHint() const override
    {
        const QSize full = QLabel::minimumSizeHint();
        const int frame = full.width() - fontMetrics().horizontalAdvance(text());
        const int least = frame + (m_keepsRoom ? fontMetrics().averageCharWidth() * 20
                                                : fontMetrics().horizontalAdvance(QStringLiteral("X...")));
        return {std::min(full.width(), least), full.height()};
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        drawFrame(&p);
        const QRect r = contentsRect();
        p.drawText(r, int(alignment()), shownText());
    }
    void resizeEvent(QResizeEvent *event) override
    {
        QLabel::resizeEvent(event);
        refreshTip();
    }

public:
    QString shownText() const { return fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width()); }
    void refreshTip() { setToolTip(shownText() == text() ? QString() : text()); }

private:
    bool m_keepsRoom;
};

QFont displayFont(int pixels, bool bold = true)
{
    QFont f(QStringLiteral("DejaVu Sans Mono"));
    f.setStyleHint(QFont::Monospace);
    f.setPixelSize(pixels);
    f.setBold(bold);
    return f;
}
} // namespace

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

    fraTrend = new WidgetTrend(*m_trend, *m_prompter, central);
    fraTrend->setFolder(m_programFolder);
    layout->addWidget(fraTrend, 2);

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
        "#lblMDEU, #Label12 { color: #e8efe9; }"
        // Values not read lately are greyed: they are not what the device shows now.
        "#lblMDRe:disabled, #Label7:disabled, #lblMDEU:disabled, #Label12:disabled { color: #4f5c56; }"
        "#lblSince { color: #ffbf3c; }"));
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

    grid->addWidget(caption("lblCaptionFlow", tr("FLOW RATE")), 0, 0, 1, 2);
    grid->addWidget(lblMDRe, 1, 0);
    grid->addWidget(lblMDEU, 1, 1);
    grid->addWidget(caption("lblCaptionTotal", tr("TOTAL")), 2, 0, 1, 2);
    grid->addWidget(Label7, 3, 0);
    grid->addWidget(Label12, 3, 1);
    lblSince = new QLabel(panel);
    lblSince->setObjectName(QStringLiteral("lblSince"));
    lblSince->setFont(displayFont(15, true));
    lblSince->hide();
    grid->addWidget(lblSince, 4, 0, 1, 2);
    grid->setColumnStretch(0, 1);
    grid->setRowStretch(1, 3);
    grid->setRowStretch(3, 2);
    lblMDRe->installEventFilter(this);
    Label7->installEventFilter(this);
    fitDisplay();
    return panel;
}

namespace {
// The display's full sizes in pixels: captions, flow, unit, total, its unit.
constexpr int kCaptionPx = 15, kFlowPx = 136, kUnitPx = 40, kTotalPx = 84, kTotalUnitPx = 36;
} // namespace

// The figures shrink with the window, so a small window or a large scale
// never runs the flow under its unit or cuts the total.
void frmTerminal::fitDisplay()
{
    auto width = [](int px, const char *text) {
        return QFontMetrics(displayFont(px)).horizontalAdvance(QLatin1String(text));
    };
    auto height = [](int px) { return QFontMetrics(displayFont(px)).height(); };
    // Each row's figure and unit share its width, whoever takes how much:
    // eight digits and a point beside the longest unit.
    const double scale = std::min({1.0,
                                   double(lblMDRe->width() + lblMDEU->width()) / (width(kFlowPx, "00000000.") + width(kUnitPx, "TONN/Day")),
                                   double(Label7->width() + Label12->width()) / (width(kTotalPx, "000000000") + width(kTotalUnitPx, "TONN M  ")),
                                   double(lblMDRe->height()) / height(kFlowPx), double(Label7->height()) / height(kTotalPx)});
    const int flowPx = std::max(8, int(kFlowPx * scale));
    if (lblMDRe->font().pixelSize() == flowPx && lblMDEU->minimumWidth() > 0)
        return;
    // The figures take what room the window gives (their fonts follow it);
    // the units keep room for the longest one.
    auto apply = [scale](QLabel *l, int px, const char *room) {
        l->setFont(displayFont(std::max(8, int(px * scale)), l->font().bold()));
        l->setMinimumWidth(room ? QFontMetrics(l->font()).horizontalAdvance(QLatin1String(room)) : 0);
        l->setSizePolicy(room ? QSizePolicy::Preferred : QSizePolicy::Ignored, QSizePolicy::Ignored);
    };
    apply(lblMDRe, kFlowPx, nullptr);
    apply(lblMDEU, kUnitPx, "TONN/Day");
    apply(Label7, kTotalPx, nullptr);
    apply(Label12, kTotalUnitPx, "TONN M  ");
    for (QLabel *l : lblMDRe->parentWidget()->findChildren<QLabel *>(QRegularExpression(QStringLiteral("^lblCaption|^lblSince$"))))
        l->setFont(displayFont(std::max(11, int(kCaptionPx * scale))));
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
    addItem(file, "mnuSaveReport", tr("Save &Report..."), QKeySequence(), true, &T::mnuSaveReport_Click);
    addItem(file, "mnuOpenSite", tr("Open &Site..."), QKeySequence(), true, &T::mnuOpenSite_Click);
    addItem(file, "mnuNewServiceRecord", tr("&New Service Record"), QKeySequence(), true, &T::mnuNewServiceRecord_Click);
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
    addItem(port, "mnuLinkHealth", tr("Link &Health..."), QKeySequence(), true, &T::mnuLinkHealth_Click);
    QAction *reconnect = addItem(port, "mnuReconnect", tr("&Reconnect Automatically"), QKeySequence(), true,
                                 &T::mnuReconnect_Click);
    reconnect->setCheckable(true);

    QMenu *device = top("Device", tr("&Device"));
    addItem(device, "mnuDeviceSinhronize", tr("&Synchronize"), Qt::CTRL | Qt::Key_S, true, &T::mnuDeviceSinhronize_Click);
    QMenu *recorder = sub(device, "mnuDRec", tr("&Recorder"));
    addItem(recorder, "mnuDRecStart", tr("St&art"), Qt::Key_F5, false, &T::mnuDRecStart_Click);
    addItem(recorder, "mnuDRecStop", tr("St&op"), Qt::CTRL | Qt::Key_F5, false, &T::mnuDRecStop_Click);
    addSeparator(device, "Bar11");
    addItem(device, "mnuDProperties", tr("&Properties..."), Qt::CTRL | Qt::Key_D, true, &T::mnuDProperties_Click);
    addItem(device, "mnuDeviceHistory", tr("Change &History..."), QKeySequence(), true, &T::mnuDeviceHistory_Click);

    QMenu *options = top("mnuOptions", tr("&Options"));
    addItem(options, "mnuOptionsBackDoor", tr("&BackDoor"), Qt::CTRL | Qt::Key_B, true, &T::mnuOptionsBackDoor_Click);
    addItem(options, "mnuOptionsMemExport", tr("MEM &Export"), QKeySequence(), true, &T::mnuOptionsMemExport_Click);
    addItem(options, "mnuOptionsMemImport", tr("MEM &Import"), QKeySequence(), true, &T::mnuOptionsMemImport_Click);
    addItem(options, "mnuOptionsCalibrate", tr("Calibrate"), Qt::CTRL | Qt::Key_C, true, &T::mnuOptionsCalibrate_Click);
    addItem(options, "mnuOptionsView", tr("View Log File"), Qt::CTRL | Qt::Key_V, true, &T::mnuOptionsView_Click);
    addItem(options, "mnuOptionRescale", tr("Rescale"), Qt::SHIFT | Qt::CTRL | Qt::Key_F1, true, &T::mnuOptionRescale_Click);
    addSeparator(options, "BarTrend");
    addItem(options, "mnuOptionsTrend", tr("&Trend"), QKeySequence(), true, &T::mnuOptionsTrend_Click)->setCheckable(true);
    addItem(options, "mnuOptionsMqtt", tr("MQTT Broker..."), QKeySequence(), true, &T::mnuOptionsMqtt_Click);

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
        auto *l = new PanelLabel(key == QLatin1String("Status"), bar);
        l->setObjectName(key);
        l->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
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
    l->updateGeometry();
    static_cast<PanelLabel *>(l)->refreshTip();
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
