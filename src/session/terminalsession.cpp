#include "session/terminalsession.h"

#include "session/configreadout.h"
#include "link/devicelink.h"

#include <QDir>

TerminalSession::TerminalSession(Prompter *prompter, SerialPort *port)
    : folder(QDir::currentPath()), m_prompter(prompter), m_link(std::make_unique<DeviceLink>(prompter))
{
    m_link->setPort(port);
}

TerminalSession::~TerminalSession() = default;

bool TerminalSession::readOut(const std::function<void(int)> &progress)
{
    ConfigReadout readout(*m_link, m_state, m_prompter);
    readout.progress = progress;
    return readout.run();
}

bool TerminalSession::synchronize()
{
    const OperationGate::Hold hold = m_gate.begin(QStringLiteral("readout"));
    if (!hold)
        return false;
    return readOut([this](int v) { progressSteps << v; });
}

void TerminalSession::setStatusText(const QString &text)
{
    m_status = text;
    statusHistory << text;
}

bool TerminalSession::autoUpdateOn() const
{
    return m_link->AutoUpdateOn;
}

void TerminalSession::setAutoUpdate(bool on)
{
    m_link->AutoUpdateOn = on;
}
