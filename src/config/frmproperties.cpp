#include "frmproperties.h"

#include "commsettings.h"
#include "common/prompter.h"
#include "link/devicelink.h"
#include "link/portfactory.h"
#include "link/tcpport.h"
#include "link/serialport.h"
#include "session/terminalhost.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSerialPortInfo>
#include <QStackedWidget>
#include <QTabBar>
#include <QVBoxLayout>

namespace {
QComboBox *combo(QWidget *parent, const char *name, const QStringList &entries, bool editable = false)
{
    auto *c = new QComboBox(parent);
    c->setObjectName(QLatin1String(name));
    c->addItems(entries);
    c->setEditable(editable);
    return c;
}

// Selects the entry with this text; an editable box takes any text.
void selectText(QComboBox *c, const QString &text)
{
    const int i = c->findText(text);
    if (i >= 0)
        c->setCurrentIndex(i);
    else if (c->isEditable())
        c->setEditText(text);
}
} // namespace

frmProperties::frmProperties(TerminalHost &host, const Current &current, QWidget *parent)
    : QDialog(parent), m_host(host), m_current(current)
{
    setObjectName(QStringLiteral("frmProperties"));
    setWindowTitle(tr("Properties"));

    tabSettings = new QTabBar(this);
    tabSettings->setObjectName(QStringLiteral("tabSettings"));
    tabSettings->addTab(tr("Port"));
    tabSettings->addTab(tr("Flow Control"));
    tabSettings->addTab(tr("Update Rates"));
    fraSettings = new QStackedWidget(this);
    fraSettings->setObjectName(QStringLiteral("fraSettings"));

    auto *port = new QWidget(fraSettings);
    auto *portForm = new QFormLayout(port);
    cboInterface = combo(port, "cboInterface", CommSettings::interfaces());
    // A network address (tcp://HOST:PORT, rfc2217://HOST:PORT) or a path can be typed.
    cboPort = combo(port, "cboPort", portList(portName()), true);
    cboSpeed = combo(port, "cboSpeed", CommSettings::speeds(), true);
    cboDataBits = combo(port, "cboDataBits", CommSettings::dataBits());
    cboParity = combo(port, "cboParity", CommSettings::parities());
    cboStopBits = combo(port, "cboStopBits", CommSettings::stopBits());
    portForm->addRow(tr("Interface:"), cboInterface);
    portForm->addRow(tr("Port:"), cboPort);
    portForm->addRow(tr("Speed (baud):"), cboSpeed);
    portForm->addRow(tr("Data bits:"), cboDataBits);
    portForm->addRow(tr("Parity:"), cboParity);
    portForm->addRow(tr("Stop bits:"), cboStopBits);
    fraSettings->addWidget(port);

    auto *flow = new QWidget(fraSettings);
    auto *flowLayout = new QVBoxLayout(flow);
    auto *flowBox = new QGroupBox(tr("Handshaking"), flow);
    auto *flowBoxLayout = new QVBoxLayout(flowBox);
    auto *flowGroup = new QButtonGroup(this);
    for (int i = 0; i < 4; ++i) {
        optFlow[i] = new QRadioButton(CommSettings::flowControls().at(i), flowBox);
        optFlow[i]->setObjectName(QStringLiteral("optFlow%1").arg(i));
        flowGroup->addButton(optFlow[i], i);
        flowBoxLayout->addWidget(optFlow[i]);
        connect(optFlow[i], &QRadioButton::clicked, this, [this, i] { optFlow_Click(i); });
    }
    auto *echoBox = new QGroupBox(tr("Local echo"), flow);
    auto *echoLayout = new QHBoxLayout(echoBox);
    auto *echoGroup = new QButtonGroup(this);
    const QString echoText[2] = {tr("Off"), tr("On")};
    for (int i = 0; i < 2; ++i) {
        optEcho[i] = new QRadioButton(echoText[i], echoBox);
        optEcho[i]->setObjectName(QStringLiteral("optEcho%1").arg(i));
        echoGroup->addButton(optEcho[i], i);
        echoLayout->addWidget(optEcho[i]);
    }
    flowLayout->addWidget(flowBox);
    flowLayout->addWidget(echoBox);
    fraSettings->addWidget(flow);

    auto *rates = new QWidget(fraSettings);
    auto *ratesForm = new QFormLayout(rates);
    cboTSs = combo(rates, "cboTSs", CommSettings::intervals());
    cboTSr = combo(rates, "cboTSr", CommSettings::intervals());
    ratesForm->addRow(tr("Display update (ms):"), cboTSs);
    ratesForm->addRow(tr("Recording interval (ms):"), cboTSr);
    fraSettings->addWidget(rates);

    cmdOK = new QPushButton(tr("OK"), this);
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdOK->setDefault(true);
    cmdCancel = new QPushButton(tr("Cancel"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    auto *buttons = new QDialogButtonBox(this);
    buttons->addButton(cmdOK, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel, QDialogButtonBox::RejectRole);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tabSettings);
    layout->addWidget(fraSettings);
    layout->addWidget(buttons);

    connect(tabSettings, &QTabBar::currentChanged, this, &frmProperties::tabSettings_Click);
    connect(cboInterface, &QComboBox::activated, this, &frmProperties::cboInterface_Click);
    connect(cboTSs, &QComboBox::activated, this, &frmProperties::cboTSs_Click);
    connect(cboTSr, &QComboBox::activated, this, &frmProperties::cboTSr_Click);
    // Not the box's own accept/reject: OK may refuse and keep the form open.
    connect(cmdOK, &QPushButton::clicked, this, &frmProperties::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmProperties::cmdCancel_Click);

    Form_Load();
}

frmProperties::~frmProperties() = default;

QStringList frmProperties::portList(const QString &current)
{
    QStringList ports = CommSettings::comPorts();
    for (const QSerialPortInfo &info : QSerialPortInfo::availablePorts()) {
        const QString path = info.systemLocation();
        // The serial ports of the board are the Com entries already.
        if (!path.startsWith(QLatin1String("/dev/ttyS")) && !ports.contains(path))
            ports << path;
    }
    for (const QString &recent : CommSettings::recentPorts())
        if (!ports.contains(recent) && !PortFactory::isRegistered(recent))
            ports << recent;
    if (!current.isEmpty() && !PortFactory::isRegistered(current) && !ports.contains(current))
        ports << current;
    ports << PortFactory::registeredNames();
    return ports;
}

void frmProperties::Form_Load()
{
    LoadPropertySettings();
    tabSettings->setCurrentIndex(0);
    tabSettings_Click(0);
}

QString frmProperties::portName() const
{
    SerialPort *port = m_host.link().port();
    return port ? port->portName() : QString();
}

void frmProperties::LoadPropertySettings()
{
    SerialPort *port = m_host.link().port();
    const int portNumber = cboPort->findText(portName()) + 1;
    const CommSettings::PropertyView v = CommSettings::LoadPropertySettings(
        m_host.link().Rs232Mode, port ? port->settings() : QString(), portNumber, port ? port->handshaking() : 0,
        m_current.echo, m_current.updateRateIndex, m_current.recordIntervalIndex);
    cboInterface->setCurrentIndex(v.interfaceIndex);
    selectText(cboSpeed, v.speed);
    selectText(cboParity, v.parity);
    selectText(cboDataBits, v.dataBits);
    selectText(cboStopBits, v.stopBits);
    cboPort->setCurrentIndex(v.portIndex);
    m_flow = v.flowIndex;
    optFlow[v.flowIndex]->setChecked(true);
    optEcho[v.echoIndex]->setChecked(true);
    cboTSs->setCurrentIndex(v.tssIndex);
    cboTSr->setCurrentIndex(v.tsrIndex);
}

void frmProperties::tabSettings_Click(int index)
{
    if (index >= 0 && index < fraSettings->count())
        fraSettings->setCurrentIndex(index);
}

void frmProperties::cboInterface_Click()
{
    emit interfaceChosen(cboInterface->currentIndex() == 0);
}

void frmProperties::cboTSs_Click()
{
    if (cboTSs->currentIndex() >= 0) {
        m_current.updateRateIndex = cboTSs->currentIndex() + 1;
        emit updateRateChosen(m_current.updateRateIndex);
    }
}

void frmProperties::cboTSr_Click()
{
    if (cboTSr->currentIndex() >= 0) {
        m_current.recordIntervalIndex = cboTSr->currentIndex() + 1;
        emit recordIntervalChosen(m_current.recordIntervalIndex);
    }
}

void frmProperties::optFlow_Click(int index)
{
    m_flow = index;
}

void frmProperties::cmdOK_Click()
{
    Prompter &prompter = m_host.prompter();
    auto refuse = [&prompter](const QString &error) {
        prompter.message(error, QStringLiteral("System Monitor"), Prompter::Exclamation);
    };
    // A network address is taken as typed, so a stray blank is refused with
    // its reason rather than cut away.
    const QString typed = cboPort->currentText();
    const QString chosen = TcpPort::isNetworkName(typed) ? typed : typed.trimmed();
    if (chosen != portName()) {
        QString error;
        if (!choosePort || !choosePort(chosen, &error)) {
            refuse(error);
            return;
        }
    }
    SerialPort *port = m_host.link().port();
    const QString settings = CommSettings::settingsText(cboSpeed->currentText(), cboParity->currentText(),
                                                        cboDataBits->currentText(), cboStopBits->currentText());
    if (!port->setSettings(settings)) {
        refuse(port->errorString());
        return;
    }
    if (!port->setHandshaking(m_flow)) {
        refuse(port->errorString());
        return;
    }
    const bool rs232 = cboInterface->currentIndex() == 0;
    if (!CommSettings::comPorts().contains(chosen) && !PortFactory::isRegistered(chosen))
        CommSettings::rememberPort(chosen);
    emit interfaceChosen(rs232);
    m_current.echo = optEcho[1]->isChecked();
    emit applied(cboInterface->currentText(), chosen, m_current.echo);
    CommSettings::saveProperties(port->settings(), chosen, m_flow, m_current.echo, rs232,
                                 m_current.updateRateIndex, m_current.recordIntervalIndex);
    accept();
}

void frmProperties::cmdCancel_Click()
{
    reject();
}
