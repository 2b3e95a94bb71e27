#include "session/terminalsession.h"

#include "session/configreadout.h"
#include "link/devicelink.h"

#include <QDir>

TerminalSession::TerminalSession(Prompter *prompter, SerialPort *port)
    : folder(QDir::currentPath()), m_prompter(prompter), m_link(std::make_unique<DeviceLink>(prompter)),
      m_linkRef(m_link.get())
{
    m_link->setPort(port);
}

TerminalSession::TerminalSession(Prompter *prompter, DeviceLink &link)
    : folder(QDir::currentPath()), m_prompter(prompter), m_linkRef(&link)
{
}

TerminalSession::~TerminalSession() = default;

bool TerminalSession::synchronize()
{
    ConfigReadout readout(*m_linkRef, m_state, m_prompter);
    readout.progress = [this](int v) { progressSteps << v; };
    return readout.run();
}

void TerminalSession::setStatusText(const QString &text)
{
    m_status = text;
    statusHistory << text;
}

bool TerminalSession::autoUpdateOn() const
{
    return m_linkRef->AutoUpdateOn;
}

void TerminalSession::setAutoUpdate(bool on)
{
    m_linkRef->AutoUpdateOn = on;
}
