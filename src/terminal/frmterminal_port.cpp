// The main window's port: choosing and replacing it, the port toggle, its
// state on screen and the line events.
#include "frmterminal.h"
#include "frmterminal_p.h"

#include "common/prompter.h"
#include "lineevents.h"
#include "link/devicelink.h"
#include "link/portfactory.h"
#include "session/reconnector.h"
#include "session/terminalsession.h"
#include "config/commsettings.h"

#include <QAction>
#include <QDateTime>
#include <QLabel>
#include <QSettings>
#include <QTimer>

using frmterminal::kSystemMonitor;

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
        // Not under an operation that is talking to the device.
        if (busyRefused())
            return true;
        closePort();
    } else if (!p->open()) {
        m_prompter->message(p->errorString(), kSystemMonitor, Prompter::Exclamation);
    } else {
        // A fresh connection starts without the old line texts, and a new
        // service record: the cable may lead to another device now.
        m_lineEvents->clear();
        m_session->newServiceRecord();
        m_connectedSince = QDateTime::currentMSecsSinceEpoch();
        blankReadings();
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
    // The link has reported the loss; the operator can open the port again,
    // or the reconnect does it and the update goes on where it stopped.
    m_resumeUpdate = m_link->AutoUpdateOn;
    setAutoUpdate(false);
    showPortState();
}

bool frmTerminal::reconnectOn() const
{
    return m_reconnector->isEnabled();
}

void frmTerminal::setReconnect(bool on)
{
    m_reconnector->setEnabled(on);
    menuItem(QStringLiteral("mnuReconnect"))->setChecked(on);
    CommSettings::store()->setValue(QStringLiteral("Network/Reconnect"), on);
}

void frmTerminal::mnuReconnect_Click()
{
    setReconnect(!reconnectOn());
}

void frmTerminal::watchReconnect()
{
    m_reconnector = new Reconnector(m_link, 2000, this);
    m_reconnector->setEnabled(CommSettings::store()->value(QStringLiteral("Network/Reconnect"), false).toBool());
    connect(m_reconnector, &Reconnector::reconnecting, this, [this] {
        setStatusText(QStringLiteral("Status: ") + (m_lossText.isEmpty() ? QString() : m_lossText + QLatin1Char(' '))
                      + QStringLiteral("Reconnecting to ") + portName() + QStringLiteral("..."));
        m_lossText.clear();
    });
    connect(m_reconnector, &Reconnector::reconnected, this, [this] {
        m_lineEvents->clear();
        m_connectedSince = QDateTime::currentMSecsSinceEpoch();
        blankReadings();
        showPortState();
        setStatusText(QStringLiteral("Status: Reconnected to ") + portName());
        startTimer2();
        // Not inside the reconnect's own timer event.
        QTimer::singleShot(0, this, &frmTerminal::resumeAfterReconnect);
    });
}

void frmTerminal::blankReadings()
{
    // What was read before is not this connection's (the cable may lead to
    // another transmitter): no flow, total or unit until its first poll, and
    // no old flow for the totalizer reset to go by. "No reading since" keeps
    // the time of the last one.
    m_state->FlowText.clear();
    m_readingsBlank = true;
    showFlowLabels();
}

void frmTerminal::resumeAfterReconnect()
{
    // Another transmitter may be on the line now (a cable moved): nothing of
    // the old one stays on the status bar, and its configuration is read
    // before its first reading is shown.
    const bool resume = m_resumeUpdate;
    m_resumeUpdate = false;
    setPanelText(QStringLiteral("SampleTime"), QStringLiteral("Sample time: "));
    setPanelText(QStringLiteral("MaxFlow"), QStringLiteral("Max Flow: "));
    setPanelText(QStringLiteral("EngUnit"), QStringLiteral("Enginnering Unit: "));
    if (synchronize() && resume)
        setAutoUpdate(true);
}

namespace {
// The link's messages, except the one about a lost port while the reconnect
// is on: that goes to the status panel, so nothing waits for a click while
// the program recovers.
class LinkPrompter : public Prompter
{
public:
    LinkPrompter(Prompter *inner, std::function<bool(const QString &)> takes) : m_inner(inner), m_takes(std::move(takes)) {}
    void message(const QString &text, const QString &title, Icon icon) override
    {
        if (!m_takes(text))
            m_inner->message(text, title, icon);
    }
    bool askYesNo(const QString &text, const QString &title, Icon icon) override { return m_inner->askYesNo(text, title, icon); }
    bool askOkCancel(const QString &text, const QString &title, Icon icon) override { return m_inner->askOkCancel(text, title, icon); }
    bool inputBox(const QString &prompt, const QString &title, const QString &defaultText, QString *answer) override
    {
        return m_inner->inputBox(prompt, title, defaultText, answer);
    }
    QString openFileName(const QString &title, const QString &proposed, const QString &filter) override
    {
        return m_inner->openFileName(title, proposed, filter);
    }
    QString saveFileName(const QString &title, const QString &proposed, const QString &filter) override
    {
        return m_inner->saveFileName(title, proposed, filter);
    }
    void beep() override { m_inner->beep(); }

private:
    Prompter *m_inner;
    std::function<bool(const QString &)> m_takes;
};
} // namespace

void frmTerminal::routeLossToStatus()
{
    m_linkPrompter = std::make_unique<LinkPrompter>(m_prompter, [this](const QString &text) {
        if (!m_lossPending)
            return false;
        m_lossPending = false;
        m_lossText = text;
        setStatusText(QStringLiteral("Status: ") + text);
        return true;
    });
    m_link->setPrompter(m_linkPrompter.get());
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
