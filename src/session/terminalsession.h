#pragma once
// A TerminalHost without a window: the command-line tool's and the tests'
// host. It owns a link and a state and keeps the status text in memory.
#include "session/terminalhost.h"
#include "session/terminalstate.h"

#include <QStringList>
#include <memory>

class SerialPort;

class TerminalSession : public TerminalHost
{
public:
    // The session takes ownership of the port.
    TerminalSession(Prompter *prompter, SerialPort *port);
    // A session over a link someone else owns (the command-line tool's).
    TerminalSession(Prompter *prompter, DeviceLink &link);
    ~TerminalSession() override;

    DeviceLink &link() override { return *m_linkRef; }
    TerminalState &state() override { return m_state; }
    Prompter &prompter() override { return *m_prompter; }
    bool synchronize() override;
    void setStatusText(const QString &text) override;
    QString statusText() const override { return m_status; }
    void startTimer2() override { ++timer2Starts; }
    bool autoUpdateOn() const override;
    void setAutoUpdate(bool on) override;
    QString currentFlowText() const override { return m_state.FlowText; }
    void setMenusLocked(bool locked) override { menusLocked = locked; }
    void refreshStatusBar() override {}
    QString programFolder() const override { return folder; }

    QStringList statusHistory;   // every status text set, in order
    int timer2Starts = 0;
    bool menusLocked = false;
    QString folder;
    QList<int> progressSteps;    // progress values of the last readouts

private:
    Prompter *m_prompter;
    std::unique_ptr<DeviceLink> m_link;
    DeviceLink *m_linkRef;
    TerminalState m_state;
    QString m_status;
};
