#pragma once
// What the main window offers the other windows and the command-line tool:
// the link, the shared state, the prompter and the few main-window services
// they call back into. The main window implements it; tests and quorin-cli
// use TerminalSession.
#include <QString>

class DeviceLink;
class OperationGate;
class Prompter;
class TerminalState;

class TerminalHost
{
public:
    virtual ~TerminalHost() = default;

    virtual DeviceLink &link() = 0;
    virtual TerminalState &state() = 0;
    virtual Prompter &prompter() = 0;
    // One device operation at a time, for every window and the command line.
    virtual OperationGate &gate() = 0;

    // The configuration readout with its progress bar and messages; true on
    // success. Refused (false, without a message) while another operation runs.
    virtual bool synchronize() = 0;
    // Status bar panel "Status": the full panel text ("Status: ..."); the
    // status clearing timer Timer2 is started by startTimer2().
    virtual void setStatusText(const QString &text) = 0;
    virtual QString statusText() const = 0;
    virtual void startTimer2() = 0;
    // Auto update (the display poll) on or off.
    virtual bool autoUpdateOn() const = 0;
    virtual void setAutoUpdate(bool on) = 0;
    // The main window's current flow reading as shown ("" when none).
    virtual QString currentFlowText() const = 0;
    // Menus and toolbar locked while a service frame is shown; unlocking
    // restores each item's kept state (the log items keep theirs).
    virtual void setMenusLocked(bool locked) = 0;
    // Re-shows the status bar panels from the state after a value changed.
    virtual void refreshStatusBar() = 0;
    // The folder default file names are proposed in.
    virtual QString programFolder() const = 0;
};
