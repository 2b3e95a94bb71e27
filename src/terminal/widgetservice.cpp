#include "widgetservice.h"

#include "common/numtext.h"
#include "common/prompter.h"
#include "frmethernet.h"
#include "frmrescale.h"
#include "rescale.h"
#include "session/operationgate.h"
#include "session/terminalhost.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QValidator>

namespace {

// Holds text that reaches a box other than by a key (paste, middle-click,
// drop, setText) to the box's key rule: what a key could not type is dropped.
class KeyRuleValidator : public QValidator
{
public:
    KeyRuleValidator(std::function<bool(int key)> passes, QObject *parent) : QValidator(parent), m_passes(std::move(passes)) {}
    State validate(QString &input, int &pos) const override
    {
        numtext::keepTypeable(&input, &pos, m_passes);
        return Acceptable;
    }

private:
    std::function<bool(int)> m_passes;
};

// The key as a text box's key-press handler sees it: 13 Enter, 8 Backspace,
// 27 Escape, control characters as their codes (Ctrl+V 22), else the typed
// character. Keys that type nothing (arrows, Home, Delete, Tab) give -1 and
// are left to the box.
int keyPressCode(const QKeyEvent *e)
{
    if (e->matches(QKeySequence::Paste))
        return 22;
    switch (e->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return 13;
    case Qt::Key_Backspace:
        return 8;
    case Qt::Key_Escape:
        return 27;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
    case Qt::Key_Delete:
        return -1;
    default:
        break;
    }
    const QString t = e->text();
    if (t.isEmpty())
        return -1;
    return t.at(0).unicode();
}

QLineEdit *hexBox(const char *name, int maxLength, QWidget *parent)
{
    auto *box = new QLineEdit(parent);
    box->setObjectName(QLatin1String(name));
    box->setMaxLength(maxLength);
    // Only what the key filter lets through gets in: no paste by mouse.
    box->setContextMenuPolicy(Qt::NoContextMenu);
    box->setAcceptDrops(false);
    return box;
}

// While a device operation runs, the controls that would start another one or
// leave the frame are disabled.
void followGate(TerminalHost &host, QObject *context, const QList<QWidget *> &controls)
{
    QObject::connect(&host.gate(), &OperationGate::busyChanged, context, [controls](bool busy) {
        for (QWidget *w : controls)
            w->setEnabled(!busy);
    });
}

QPushButton *button(const char *name, const QString &caption, QWidget *parent)
{
    auto *b = new QPushButton(caption, parent);
    b->setObjectName(QLatin1String(name));
    return b;
}

QLabel *label(const char *name, QWidget *parent)
{
    auto *l = new QLabel(parent);
    l->setObjectName(QLatin1String(name));
    return l;
}

} // namespace

// ---------------------------------------------------------------- RescaleFrame

RescaleFrame::RescaleFrame(TerminalHost &host, QWidget *parent)
    : QFrame(parent), m_host(host), m_rescale(std::make_unique<Rescale>(host))
{
    setObjectName(QStringLiteral("fraRescale"));
    setFrameShape(QFrame::StyledPanel);

    lblMaxFlowOld = label("lblMaxFlowOld", this);
    lblScaleFactorOld = label("lblScaleFactorOld", this);
    txtMaxFlowNew = new QLineEdit(this);
    txtMaxFlowNew->setObjectName(QStringLiteral("txtMaxFlowNew"));
    lblSFNew = label("lblSFNew", this);
    lblSFNew->hide();
    cmdRescale = button("cmdRescale", QStringLiteral("Rescale"), this);
    cmdCancelRescale = button("cmdCancelRescale", QStringLiteral("Cancel"), this);

    auto *form = new QFormLayout(this);
    form->addRow(QStringLiteral("Maximum Flow:"), lblMaxFlowOld);
    form->addRow(QStringLiteral("Scaling Factor:"), lblScaleFactorOld);
    form->addRow(QStringLiteral("New Maximum Flow:"), txtMaxFlowNew);
    form->addRow(QStringLiteral("New Scaling Factor:"), lblSFNew);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdRescale);
    buttons->addWidget(cmdCancelRescale);
    form->addRow(buttons);

    followGate(m_host, this, {txtMaxFlowNew, cmdRescale, cmdCancelRescale});
    connect(cmdRescale, &QPushButton::clicked, this, &RescaleFrame::cmdRescale_Click);
    connect(cmdCancelRescale, &QPushButton::clicked, this, &RescaleFrame::cmdCancelRescale_Click);

    runAccessPrompt = [this] {
        frmRescale prompt(m_host, window());
        prompt.exec();
    };
    hide();
}

RescaleFrame::~RescaleFrame() = default;

double RescaleFrame::newSF() const
{
    return m_rescale->newSF;
}

void RescaleFrame::start()
{
    if (!m_rescale->confirmEntry())
        return;
    if (runAccessPrompt)
        runAccessPrompt();
    if (!m_rescale->accessGranted())
        return;
    lblMaxFlowOld->setText(m_rescale->maxFlowOldText());
    lblScaleFactorOld->setText(m_rescale->scaleFactorOldText());
    txtMaxFlowNew->clear();
    lblSFNew->clear();
    lblSFNew->hide();
    show();
    m_host.setMenusLocked(true);
    txtMaxFlowNew->setFocus();
}

void RescaleFrame::cmdRescale_Click()
{
    if (m_host.gate().busy())
        return;
    // The labels show, and the rescale uses, what the device holds now.
    lblMaxFlowOld->setText(m_rescale->maxFlowOldText());
    lblScaleFactorOld->setText(m_rescale->scaleFactorOldText());
    const Rescale::Result r = m_rescale->compute(txtMaxFlowNew->text());
    if (r.busy)
        return;
    if (r.computed) {
        lblSFNew->setText(QString::number(r.sf));
        lblSFNew->show();
    }
    if (r.leave)
        leave();
}

void RescaleFrame::cmdCancelRescale_Click()
{
    // Not while the rescale writes: the frame and the menu lock stay until it ends.
    if (m_host.gate().busy())
        return;
    leave();
}

void RescaleFrame::leave()
{
    txtMaxFlowNew->clear();
    lblMaxFlowOld->clear();
    lblScaleFactorOld->clear();
    lblSFNew->hide();
    hide();
    m_host.setMenusLocked(false);
}

// ---------------------------------------------------------------- CalibrateFrame

CalibrateFrame::CalibrateFrame(TerminalHost &host, QWidget *parent)
    : QFrame(parent), m_host(host), m_calibration(std::make_unique<Calibration>(host))
{
    setObjectName(QStringLiteral("fraCalibrate"));
    setFrameShape(QFrame::StyledPanel);

    txtScaleFactor = new QLineEdit(this);
    txtScaleFactor->setObjectName(QStringLiteral("txtScaleFactor"));
    txtScaleFactor->setContextMenuPolicy(Qt::NoContextMenu);
    txtScaleFactor->setAcceptDrops(false);
    txtScaleFactor->installEventFilter(this);
    txtScaleFactor->setValidator(new KeyRuleValidator(&Calibration::keyPasses, txtScaleFactor));
    cmdWOK = button("cmdWOK", QStringLiteral("OK"), this);
    cmdWCancel = button("cmdWCancel", QStringLiteral("Cancel"), this);

    auto *layout = new QHBoxLayout(this);
    layout->addWidget(new QLabel(QStringLiteral("Scaling Factor:"), this));
    layout->addWidget(txtScaleFactor);
    layout->addWidget(cmdWOK);
    layout->addWidget(cmdWCancel);

    followGate(m_host, this, {cmdWOK, cmdWCancel});
    connect(cmdWOK, &QPushButton::clicked, this, &CalibrateFrame::cmdWOK_Click);
    connect(cmdWCancel, &QPushButton::clicked, this, &CalibrateFrame::cmdWCancel_Click);
    hide();
}

CalibrateFrame::~CalibrateFrame() = default;

void CalibrateFrame::start()
{
    if (!m_calibration->confirmEntry())
        return;
    txtScaleFactor->setText(m_calibration->startText());
    // As the Update menu does: polling pauses while the operator types. A
    // second start while the frame is up must not toggle it back.
    if (!isVisible())
        m_host.setAutoUpdate(!m_host.autoUpdateOn());
    show();
    txtScaleFactor->setFocus();
}

void CalibrateFrame::cmdWOK_Click()
{
    txtScaleFactor_Enter();
}

void CalibrateFrame::txtScaleFactor_Enter()
{
    const Calibration::Outcome outcome = m_calibration->enter(txtScaleFactor->text());
    if (outcome == Calibration::Written || outcome == Calibration::Unchanged)
        leave();
}

void CalibrateFrame::cmdWCancel_Click()
{
    // Leaves without writing; not while a write runs.
    if (!m_host.gate().busy() && isVisible())
        leave();
}

void CalibrateFrame::leave()
{
    hide();
    m_host.setAutoUpdate(!m_host.autoUpdateOn());
}

bool CalibrateFrame::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == txtScaleFactor && event->type() == QEvent::KeyPress) {
        const int key = keyPressCode(static_cast<QKeyEvent *>(event));
        if (key < 0)
            return false;
        if (key == 13) {
            txtScaleFactor_Enter();
            return true;
        }
        if (key == 27) {
            cmdWCancel_Click();
            return true;
        }
        return !Calibration::keyPasses(key);
    }
    return QFrame::eventFilter(watched, event);
}

// ---------------------------------------------------------------- MemWriteFrame

MemWriteFrame::MemWriteFrame(TerminalHost &host, QWidget *parent)
    : QFrame(parent), m_host(host), m_memWrite(std::make_unique<MemWrite>(host))
{
    setObjectName(QStringLiteral("FraMemWrite"));
    setFrameShape(QFrame::StyledPanel);

    txtNumByte = hexBox("txtNumByte", MemWrite::maxLength(MemWrite::NumByte), this);
    txtSAddress = hexBox("txtSAddress", MemWrite::maxLength(MemWrite::SAddress), this);
    txtWData = hexBox("txtWData", MemWrite::maxLength(MemWrite::WData), this);
    for (QLineEdit *b : {txtNumByte, txtSAddress, txtWData}) {
        b->installEventFilter(this);
        b->setValidator(new KeyRuleValidator([](int key) { return MemWrite::hexKey(MemWrite::WData, key, {}) == MemWrite::Pass; }, b));
    }
    cmdMWrite = button("cmdMWrite", QStringLiteral("Write"), this);
    cmdMWCancel = button("cmdMWCancel", QStringLiteral("Cancel"), this);
    followGate(m_host, this, {cmdMWrite, cmdMWCancel});

    auto *form = new QFormLayout(this);
    form->addRow(QStringLiteral("Number of Bytes (hex):"), txtNumByte);
    form->addRow(QStringLiteral("Start Address (hex):"), txtSAddress);
    form->addRow(QStringLiteral("Data (hex):"), txtWData);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdMWrite);
    buttons->addWidget(cmdMWCancel);
    form->addRow(buttons);

    connect(cmdMWrite, &QPushButton::clicked, this, &MemWriteFrame::cmdMWrite_Click);
    connect(cmdMWCancel, &QPushButton::clicked, this, &MemWriteFrame::cmdMWCancel_Click);

    runAccessPrompt = [this] {
        frmEthernet prompt(m_host, window());
        prompt.exec();
    };
    hide();
}

MemWriteFrame::~MemWriteFrame() = default;

QLineEdit *MemWriteFrame::box(int which) const
{
    switch (which) {
    case MemWrite::NumByte:
        return txtNumByte;
    case MemWrite::SAddress:
        return txtSAddress;
    case MemWrite::WData:
        return txtWData;
    default:
        return nullptr;
    }
}

void MemWriteFrame::start()
{
    // The frame whose write runs stays as it is.
    if (m_host.gate().busy())
        return;
    hide();
    if (runAccessPrompt)
        runAccessPrompt();
    if (!m_memWrite->accessGranted())
        return;
    show();
    txtNumByte->setFocus();
}

void MemWriteFrame::cmdMWrite_Click()
{
    if (m_host.gate().busy())
        return;
    MemWrite::Box faulty = MemWrite::NoBox;
    if (m_memWrite->write(txtNumByte->text(), txtSAddress->text(), txtWData->text(), &faulty)) {
        txtNumByte->clear();
        txtSAddress->clear();
        txtWData->clear();
        txtNumByte->setFocus();
    } else if (QLineEdit *b = box(faulty)) {
        b->setFocus();
    }
}

void MemWriteFrame::cmdMWCancel_Click()
{
    if (m_host.gate().busy())
        return;
    txtNumByte->clear();
    txtSAddress->clear();
    txtWData->clear();
    hide();
}

bool MemWriteFrame::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress)
        return QFrame::eventFilter(watched, event);
    MemWrite::Box which = MemWrite::NoBox;
    if (watched == txtNumByte)
        which = MemWrite::NumByte;
    else if (watched == txtSAddress)
        which = MemWrite::SAddress;
    else if (watched == txtWData)
        which = MemWrite::WData;
    if (which == MemWrite::NoBox)
        return QFrame::eventFilter(watched, event);

    const int key = keyPressCode(static_cast<QKeyEvent *>(event));
    if (key < 0)
        return false;
    switch (MemWrite::hexKey(which, key, box(which)->text())) {
    case MemWrite::Pass:
        return false;
    case MemWrite::Beep:
        m_host.prompter().beep();
        return true;
    case MemWrite::FocusNext:
        if (which == MemWrite::NumByte)
            txtSAddress->setFocus();
        else if (which == MemWrite::SAddress)
            txtWData->setFocus();
        else
            cmdMWrite->setFocus();
        return true;
    }
    return true;
}
