#include "frmdprop.h"

#include "parametercommit.h"
#include "common/numtext.h"
#include "common/prompter.h"
#include "session/operationgate.h"
#include "session/parametermap.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

#include <QComboBox>
#include <QFormLayout>
#include <QFrame>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QTabBar>
#include <QVBoxLayout>
#include <QValidator>

namespace {

// Holds text that reaches a field other than by a key (paste, middle-click,
// drop, setText) to the field's key rule: what a key could not type is dropped.
class KeyRuleValidator : public QValidator
{
public:
    KeyRuleValidator(TerminalHost &host, const QString &control, QObject *parent)
        : QValidator(parent), m_host(host), m_control(control) {}
    State validate(QString &input, int &pos) const override
    {
        numtext::keepTypeable(&input, &pos, [this](int key) {
            return ParameterCommit::keyAction(m_control, key, m_host.state().tenthsMode()) == ParameterCommit::KeyPass;
        });
        return Acceptable;
    }

private:
    TerminalHost &m_host; // outlives the form, unlike its ParameterCommit
    QString m_control;
};

QWidget *withUnit(QWidget *field, QLabel *unit)
{
    auto *box = new QWidget;
    auto *row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(field);
    row->addWidget(unit);
    row->addStretch();
    return box;
}

QWidget *withUnit(QWidget *field, const QString &unit)
{
    return withUnit(field, new QLabel(unit));
}

} // namespace

frmDProp::frmDProp(TerminalHost &host, QWidget *parent)
    : QDialog(parent), m_host(host), m_commit(std::make_unique<ParameterCommit>(host))
{
    setObjectName(QStringLiteral("frmDProp"));
    setModal(true);
    buildForm();
    Form_Load();
}

frmDProp::~frmDProp() = default;

QFrame *frmDProp::newFrame(int index, const QString &caption)
{
    auto *frame = new QFrame;
    frame->setObjectName(QStringLiteral("fraSettings_%1").arg(index));
    tabSettings->addTab(caption);
    fraSettings->addWidget(frame);
    return frame;
}

QLineEdit *frmDProp::newField(const QString &control, int maxLength)
{
    auto *field = new QLineEdit;
    field->setObjectName(control);
    field->setMaximumWidth(120);
    if (maxLength > 0)
        field->setMaxLength(maxLength);
    field->installEventFilter(this);
    field->setValidator(new KeyRuleValidator(m_host, control, field));
    m_fields.insert(control, field);
    m_keyPress.insert(field, keyPressHandler(control));
    return field;
}

frmDProp::KeyPressHandler frmDProp::keyPressHandler(const QString &control)
{
    static const QHash<QString, KeyPressHandler> handlers = {
        {QStringLiteral("txtMeasureInter"), &frmDProp::txtMeasureInter_KeyPress},
        {QStringLiteral("txtmAScale"), &frmDProp::txtmAScale_KeyPress},
        {QStringLiteral("txtResponseTime"), &frmDProp::txtResponseTime_KeyPress},
        {QStringLiteral("txtMaxFlow"), &frmDProp::txtMaxFlow_KeyPress},
        {QStringLiteral("txt1Percent"), &frmDProp::txt1Percent_KeyPress},
        {QStringLiteral("txtMinFlow"), &frmDProp::txtMinFlow_KeyPress},
        {QStringLiteral("txt2Percent"), &frmDProp::txt2Percent_KeyPress},
        {QStringLiteral("txt3Percent"), &frmDProp::txt3Percent_KeyPress},
        {QStringLiteral("txtScaleFactor"), &frmDProp::txtScaleFactor_KeyPress},
        {QStringLiteral("txtAFCor"), &frmDProp::txtAFCor_KeyPress},
        {QStringLiteral("txtBFCor"), &frmDProp::txtBFCor_KeyPress},
        {QStringLiteral("txtHighFcut"), &frmDProp::txtHighFcut_KeyPress},
        {QStringLiteral("txtPassword"), &frmDProp::txtPassword_KeyPress},
        {QStringLiteral("txtmAOffset"), &frmDProp::txtmAOffset_KeyPress},
        {QStringLiteral("txtTurbWindow"), &frmDProp::txtTurbWindow_KeyPress},
        {QStringLiteral("txtLowFcut"), &frmDProp::txtLowFcut_KeyPress},
        {QStringLiteral("txtFluDensity"), &frmDProp::txtFluDensity_KeyPress},
        {QStringLiteral("txtUDKfactor"), &frmDProp::txtUDKfactor_KeyPress},
        {QStringLiteral("txtUDEUString"), &frmDProp::txtUDEUString_KeyPress},
        {QStringLiteral("txtLogInterval"), &frmDProp::txtLogInterval_KeyPress},
        {QStringLiteral("txtTimeOut"), &frmDProp::txtTimeOut_KeyPress},
        {QStringLiteral("txtDataPointer"), &frmDProp::txtDataPointer_KeyPress},
    };
    return handlers.value(control);
}

QWidget *frmDProp::fieldRow(const QString &control, QLabel *unit, int maxLength)
{
    return withUnit(newField(control, maxLength), unit);
}

QWidget *frmDProp::fieldRow(const QString &control, const QString &unit, int maxLength)
{
    return withUnit(newField(control, maxLength), unit);
}

void frmDProp::buildForm()
{
    tabSettings = new QTabBar;
    tabSettings->setObjectName(QStringLiteral("tabSettings"));
    tabSettings->setExpanding(false);
    fraSettings = new QStackedWidget;
    fraSettings->setObjectName(QStringLiteral("fraSettings"));
    fraSettings->setFrameShape(QFrame::StyledPanel);

    const TerminalState &s = m_host.state();
    lblMaxFlowUnit = new QLabel(s.unitText());
    lblMinFlowUnit = new QLabel(s.unitText());

    // Flow range and sensor.
    auto *flow = new QFormLayout(newFrame(0, tr("Flow")));
    flow->addRow(tr("Full-scale flow:"), fieldRow(QStringLiteral("txtMaxFlow"), lblMaxFlowUnit));
    flow->addRow(tr("Minimum flow:"), fieldRow(QStringLiteral("txtMinFlow"), lblMinFlowUnit));
    flow->addRow(tr("Scaling factor:"), fieldRow(QStringLiteral("txtScaleFactor"), ParameterMap::unit(QStringLiteral("0118"))));
    flow->addRow(tr("High cut-off:"), fieldRow(QStringLiteral("txtHighFcut"), ParameterMap::unit(QStringLiteral("0134"))));
    flow->addRow(tr("Low cut-off:"), fieldRow(QStringLiteral("txtLowFcut"), ParameterMap::unit(QStringLiteral("014D"))));

    // How the device measures.
    auto *measure = new QFormLayout(newFrame(1, tr("Measurement")));
    measure->addRow(tr("Measuring interval:"), fieldRow(QStringLiteral("txtMeasureInter"), tr("1-255")));
    measure->addRow(tr("Response time:"), fieldRow(QStringLiteral("txtResponseTime"), tr("0-10")));
    measure->addRow(tr("Turbulence window:"), fieldRow(QStringLiteral("txtTurbWindow"), tr("0-100")));
    measure->addRow(tr("Time-out:"), fieldRow(QStringLiteral("txtTimeOut"), tr("0-255")));

    // Units of the display and the totalizer.
    auto *units = new QFormLayout(newFrame(2, tr("Units")));
    cboEUnit = new QComboBox;
    cboEUnit->setObjectName(QStringLiteral("cboEUnit"));
    cboEUTimeBase = new QComboBox;
    cboEUTimeBase->setObjectName(QStringLiteral("cboEUTimeBase"));
    units->addRow(tr("Engineering unit:"), withUnit(cboEUnit, QString()));
    units->addRow(tr("Time base:"), withUnit(cboEUTimeBase, QString()));
    units->addRow(tr("Fluid density:"), fieldRow(QStringLiteral("txtFluDensity"), tr("1-9999999")));
    units->addRow(tr("User unit name:"), fieldRow(QStringLiteral("txtUDEUString"), tr("2 characters")));
    units->addRow(tr("User unit K-factor:"), fieldRow(QStringLiteral("txtUDKfactor"), QString()));

    // Analogue and pulse outputs.
    QFrame *outputsFrame = newFrame(3, tr("Outputs"));
    auto *outputs = new QFormLayout(outputsFrame);
    outputs->addRow(tr("mA offset:"), fieldRow(QStringLiteral("txtmAOffset"), tr("0-4095")));
    outputs->addRow(tr("mA scale:"), fieldRow(QStringLiteral("txtmAScale"), tr("0-4095")));
    // The two pairs are laid out in opposite senses: element 0 of optEnable
    // sets its bit, element 1 of optPulse sets its bit.
    auto optionPair = [this](const QString &name, QRadioButton **pair, const QString &first, const QString &second,
                             void (frmDProp::*click)(int)) {
        auto *box = new QWidget;
        box->setObjectName(name);
        auto *row = new QHBoxLayout(box);
        row->setContentsMargins(0, 0, 0, 0);
        const QString captions[2] = {first, second};
        for (int i = 0; i < 2; ++i) {
            pair[i] = new QRadioButton(captions[i], box);
            pair[i]->setObjectName(QStringLiteral("%1_%2").arg(name).arg(i));
            row->addWidget(pair[i]);
            connect(pair[i], &QRadioButton::clicked, this, [this, click, i] { (this->*click)(i); });
        }
        row->addStretch();
        return box;
    };
    outputs->addRow(tr("Output:"), optionPair(QStringLiteral("optEnable"), optEnable, tr("Enabled"), tr("Disabled"),
                                              &frmDProp::optEnable_Click));
    outputs->addRow(tr("Pulse output:"), optionPair(QStringLiteral("optPulse"), optPulse, tr("Off"), tr("On"),
                                                    &frmDProp::optPulse_Click));

    // Correction points and coefficients.
    auto *correction = new QFormLayout(newFrame(4, tr("Correction")));
    correction->addRow(tr("First point:"), fieldRow(QStringLiteral("txt1Percent"), ParameterMap::unit(QStringLiteral("010C"))));
    correction->addRow(tr("Second point:"), fieldRow(QStringLiteral("txt2Percent"), ParameterMap::unit(QStringLiteral("0111"))));
    correction->addRow(tr("Third point:"), fieldRow(QStringLiteral("txt3Percent"), ParameterMap::unit(QStringLiteral("0116"))));
    correction->addRow(tr("Coefficient A:"), fieldRow(QStringLiteral("txtAFCor"), tr("0-9999")));
    correction->addRow(tr("Coefficient B:"), fieldRow(QStringLiteral("txtBFCor"), tr("0-9999")));

    // Flow log and device access.
    auto *log = new QFormLayout(newFrame(5, tr("Log and Access")));
    log->addRow(tr("Log interval:"), fieldRow(QStringLiteral("txtLogInterval"), tr("s")));
    log->addRow(tr("Log data pointer:"), fieldRow(QStringLiteral("txtDataPointer"), tr("hex"), 4));
    log->addRow(tr("Device password:"), fieldRow(QStringLiteral("txtPassword"), tr("1-999")));

    // The totalizer stays in view whatever the tab.
    auto *totalBox = new QGroupBox(tr("Totalizer"));
    auto *totalRow = new QHBoxLayout(totalBox);
    lblTotal = new QLabel;
    lblTotal->setObjectName(QStringLiteral("lblTotal"));
    lblTotal->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    lblTotal->setMinimumWidth(110);
    lblTotal->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    lblTotalEU = new QLabel;
    lblTotalEU->setObjectName(QStringLiteral("lblTotalEU"));
    cmdTSetZero = new QPushButton(tr("Reset to Zero"));
    cmdTSetZero->setObjectName(QStringLiteral("cmdTSetZero"));
    cmdTSetZero->setAutoDefault(false);
    totalRow->addWidget(lblTotal);
    totalRow->addWidget(lblTotalEU);
    totalRow->addStretch();
    totalRow->addWidget(cmdTSetZero);

    // Enter belongs to the fields: it commits them, it never presses OK.
    cmdOK = new QPushButton(tr("OK"));
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdOK->setAutoDefault(false);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdOK);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tabSettings);
    layout->addWidget(fraSettings);
    layout->addWidget(totalBox);
    layout->addLayout(buttons);

    connect(tabSettings, &QTabBar::currentChanged, this, &frmDProp::tabSettings_Click);
    connect(cboEUnit, qOverload<int>(&QComboBox::activated), this, &frmDProp::cboEUnit_Click);
    connect(cboEUTimeBase, qOverload<int>(&QComboBox::activated), this, &frmDProp::cboEUTimeBase_Click);
    connect(cmdTSetZero, &QPushButton::clicked, this, &frmDProp::cmdTSetZero_Click);
    connect(cmdOK, &QPushButton::clicked, this, &frmDProp::cmdOK_Click);
    // While a value is written nothing here may start another write or close the window.
    connect(&m_host.gate(), &OperationGate::busyChanged, this, [this](bool on) {
        cmdOK->setEnabled(!on);
        cmdTSetZero->setEnabled(!on);
    });
}

void frmDProp::Form_Load()
{
    setWindowTitle(QStringLiteral("Device Properties"));
    tabSettings->setCurrentIndex(0);
    fraSettings->setCurrentIndex(0);
    cboEUnit->addItems(ParameterCommit::unitNames());
    cboEUTimeBase->addItems(ParameterCommit::timeBaseNames());
    // Everything from the current-value cells; the readout ran before.
    cboEUnit->setCurrentIndex(m_commit->comboIndex(QStringLiteral("cboEUnit")));
    cboEUTimeBase->setCurrentIndex(m_commit->comboIndex(QStringLiteral("cboEUTimeBase")));
    for (const QString &control : ParameterCommit::textFields())
        m_fields.value(control)->setText(m_commit->displayText(control));
    showOptions();
    showTotal();
}

void frmDProp::tabSettings_Click(int index)
{
    fraSettings->setCurrentIndex(index);
}

bool frmDProp::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress || !m_keyPress.contains(watched))
        return QDialog::eventFilter(watched, event);
    const auto *key = static_cast<QKeyEvent *>(event);
    int KeyAscii = 0;
    // Delete edits like Backspace, and a paste is held to the key rule by the
    // field's validator: neither is a typed character.
    if (key->key() == Qt::Key_Delete || key->matches(QKeySequence::Paste))
        return false;
    if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)
        KeyAscii = 13;
    else if (key->key() == Qt::Key_Backspace)
        KeyAscii = 8;
    else if (!key->text().isEmpty() && key->text().at(0).unicode() >= 32)
        KeyAscii = key->text().at(0).unicode();
    else
        return false; // arrows, Tab, Escape and shortcuts are not typed characters
    if (busy())
        return true;
    (this->*m_keyPress.value(watched))(KeyAscii);
    return KeyAscii == 0;
}

void frmDProp::fieldKeyPress(const QString &control, int &KeyAscii)
{
    switch (m_commit->keyAction(control, KeyAscii)) {
    case ParameterCommit::KeyPass:
        return;
    case ParameterCommit::KeyBeep:
        m_host.prompter().beep();
        break;
    case ParameterCommit::KeySwallow:
        break;
    case ParameterCommit::KeyCommit:
        KeyAscii = 0;
        commitField(control);
        break;
    }
    KeyAscii = 0;
}

void frmDProp::txtMeasureInter_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtMeasureInter"), KeyAscii); }
void frmDProp::txtmAScale_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtmAScale"), KeyAscii); }
void frmDProp::txtResponseTime_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtResponseTime"), KeyAscii); }
void frmDProp::txtMaxFlow_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtMaxFlow"), KeyAscii); }
void frmDProp::txt1Percent_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txt1Percent"), KeyAscii); }
void frmDProp::txtMinFlow_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtMinFlow"), KeyAscii); }
void frmDProp::txt2Percent_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txt2Percent"), KeyAscii); }
void frmDProp::txt3Percent_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txt3Percent"), KeyAscii); }
void frmDProp::txtScaleFactor_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtScaleFactor"), KeyAscii); }
void frmDProp::txtAFCor_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtAFCor"), KeyAscii); }
void frmDProp::txtBFCor_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtBFCor"), KeyAscii); }
void frmDProp::txtHighFcut_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtHighFcut"), KeyAscii); }
void frmDProp::txtPassword_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtPassword"), KeyAscii); }
void frmDProp::txtmAOffset_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtmAOffset"), KeyAscii); }
void frmDProp::txtTurbWindow_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtTurbWindow"), KeyAscii); }
void frmDProp::txtLowFcut_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtLowFcut"), KeyAscii); }
void frmDProp::txtFluDensity_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtFluDensity"), KeyAscii); }
void frmDProp::txtUDKfactor_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtUDKfactor"), KeyAscii); }
void frmDProp::txtUDEUString_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtUDEUString"), KeyAscii); }
void frmDProp::txtLogInterval_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtLogInterval"), KeyAscii); }
void frmDProp::txtTimeOut_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtTimeOut"), KeyAscii); }
void frmDProp::txtDataPointer_KeyPress(int &KeyAscii) { fieldKeyPress(QStringLiteral("txtDataPointer"), KeyAscii); }

bool frmDProp::commitField(const QString &control)
{
    QLineEdit *field = m_fields.value(control);
    const bool tenthsBefore = m_commit->tenthsMode();
    const CommitResult r = m_commit->commit(control, field->text(), [this](const QString &other) {
        const QLineEdit *f = m_fields.value(other);
        return f ? f->text() : QString();
    });
    field->setText(r.text);
    // A new coefficient A can switch the full scale in or out of tenths.
    if (m_commit->tenthsMode() != tenthsBefore)
        showMaxFlow();
    if (r.outcome == CommitResult::Refused) {
        field->setFocus();
        field->selectAll();
        return false;
    }
    return true;
}

void frmDProp::showMaxFlow()
{
    m_fields.value(QStringLiteral("txtMaxFlow"))->setText(m_commit->displayText(QStringLiteral("txtMaxFlow")));
}

void frmDProp::cboEUnit_Click(int index)
{
    if (busy()) {
        cboEUnit->setCurrentIndex(m_commit->comboIndex(QStringLiteral("cboEUnit")));
        return;
    }
    const CommitResult r = m_commit->commitIndex(QStringLiteral("cboEUnit"), index);
    cboEUnit->setCurrentIndex(r.index);
    lblMaxFlowUnit->setText(m_host.state().unitText());
    lblMinFlowUnit->setText(m_host.state().unitText());
    showTotal();
}

void frmDProp::cboEUTimeBase_Click(int index)
{
    if (busy()) {
        cboEUTimeBase->setCurrentIndex(m_commit->comboIndex(QStringLiteral("cboEUTimeBase")));
        return;
    }
    const CommitResult r = m_commit->commitIndex(QStringLiteral("cboEUTimeBase"), index);
    cboEUTimeBase->setCurrentIndex(r.index);
    lblMaxFlowUnit->setText(m_host.state().unitText());
    lblMinFlowUnit->setText(m_host.state().unitText());
}

void frmDProp::optEnable_Click(int index)
{
    if (!busy())
        m_commit->commitOption(QStringLiteral("optEnable"), index);
    showOptions();
}

void frmDProp::optPulse_Click(int index)
{
    if (!busy())
        m_commit->commitOption(QStringLiteral("optPulse"), index);
    showOptions();
}

void frmDProp::showOptions()
{
    optEnable[m_commit->optionElement(QStringLiteral("optEnable"))]->setChecked(true);
    optPulse[m_commit->optionElement(QStringLiteral("optPulse"))]->setChecked(true);
}

void frmDProp::showTotal()
{
    lblTotal->setText(m_commit->totalText());
    lblTotalEU->setText(m_commit->totalUnitText());
}

void frmDProp::cmdTSetZero_Click()
{
    if (busy())
        return;
    m_commit->resetTotal([this] { showTotal(); });
    showTotal();
}

bool frmDProp::busy() const
{
    return m_host.gate().busy();
}

void frmDProp::reject()
{
    // The window stays while a write runs; it is left once the device has answered.
    if (!busy())
        QDialog::reject();
}

void frmDProp::cmdOK_Click()
{
    if (busy())
        return;
    // Edits typed without Enter are committed as if Enter had been pressed;
    // a refused one keeps the form open on its field.
    bool allTaken = true;
    QLineEdit *firstRefused = nullptr;
    for (const QString &control : ParameterCommit::textFields()) {
        QLineEdit *field = m_fields.value(control);
        if (!m_commit->isPending(control, field->text()))
            continue;
        if (!commitField(control)) {
            allTaken = false;
            if (!firstRefused)
                firstRefused = field;
        }
    }
    if (allTaken) {
        accept();
        return;
    }
    for (int i = 0; i < fraSettings->count(); ++i)
        if (fraSettings->widget(i)->isAncestorOf(firstRefused))
            tabSettings->setCurrentIndex(i);
    firstRefused->setFocus();
    firstRefused->selectAll();
}
