#pragma once
// The configuration readout ("synchronize"): reads the device's configuration
// memory into the TerminalState that the status bar, the editor, the rescale
// and the export work from. Also the single reads the live display repeats.
#include <QString>
#include <functional>

class DeviceLink;
class Prompter;
class TerminalState;

class ConfigReadout
{
public:
    ConfigReadout(DeviceLink &link, TerminalState &state, Prompter *prompter)
        : m_link(link), m_state(state), m_prompter(prompter) {}

    // Progress of the readout: 1, 5, 10, 15, 17, 20 as the steps complete.
    static constexpr int ProgressMax = 20;
    std::function<void(int)> progress;

    // The whole readout. Each failing step reports its own message and ends
    // the readout, followed by the configuration message. True on success.
    bool run();

    // Single steps, each reporting its own failure.
    bool readEngUnit();   // 1 byte at 01E4h
    bool GetDens();       // 4 bytes at 0170h
    bool readTotal();     // 2 bytes at 0109h and 8 bytes at 0174h
    bool GetUserDefEUFactor(); // 4 bytes at 017Ch

    static const QString ConfigFailure;
    static const QString TerminatedLine; // "Communication ERROR. Transmission is terminated!" CR

private:
    void report(const QString &text);
    void step(int value);

    DeviceLink &m_link;
    TerminalState &m_state;
    Prompter *m_prompter;
};
