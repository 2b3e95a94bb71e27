#pragma once
// The live flow and total display: the device's own five-digit display read
// from its display memory and shown digit for digit with the point where the
// device puts it, plus the engineering unit and the totalizer.
#include <QString>
#include <optional>

class DeviceLink;
class Prompter;
class TerminalState;

class LiveDisplay
{
public:
    LiveDisplay(DeviceLink &link, TerminalState &state, Prompter *prompter)
        : m_link(link), m_state(state), m_prompter(prompter) {}

    // Shown in place of the flow after a failed display read.
    static const QString Blanks;
    static const QString FlowFailure;

    // The five display digits, e the most significant.
    struct Digits {
        int a = 0, b = 0, c = 0, d = 0, e = 0;
    };
    // From the 20 hex characters of the 10-byte block at 012Ah: the single
    // characters at positions 2, 4, 12, 18 and 20 (from 1) are a, b, c, d, e.
    static Digits digits(const QString &block);
    // The decimal-point code places the point (0 "e.dcba" .. 3 "edcb.a"), or
    // none (4), or appends zeros (5 to 7). Other codes give an empty text. A
    // digit above 9 is written as its decimal number.
    static QString flowText(int code, const Digits &d);
    // The unit as the display shows it: unit and time base, or the unit
    // alone while no readout has read the time base.
    static QString unitShown(const TerminalState &state);
    // What the recorder hands the data log for one record.
    static QString recordText(const QString &flow, const QString &unit)
    {
        return flow + QStringLiteral("   ") + unit;
    }

    // One poll of the display: the flow (014Fh and 012Ah), the unit (01E4h)
    // and the totalizer (0109h, 0174h). Results go to the state (FlowText,
    // EngUnit, TotalText, TotalMultiplier); each failing read reports its own
    // message. A poll never reopens a port that went away during it: the
    // loss has been reported already, so it stops there.
    // What this poll read, each value only when its reads came whole; a
    // value it did not read is empty, never the last or a default one.
    struct Result {
        bool flowOk = false;
        bool unitOk = false;
        bool totalOk = false;
        bool stopped = false; // the port closed during the poll
        bool ok() const { return flowOk && unitOk && totalOk; }
        bool anyRead() const { return flowOk || unitOk || totalOk; }
        std::optional<QString> flow;      // the display text, trimmed
        std::optional<QString> unit;      // with its time base when known
        std::optional<QString> total;     // the totalizer text
        std::optional<QString> totalUnit; // needs the unit and the total
    };
    Result tick();
    // Step one alone: the flow text, or Blanks after a failure.
    bool readFlow();

private:
    bool readFlow(Prompter &quiet);

    DeviceLink &m_link;
    TerminalState &m_state;
    Prompter *m_prompter;
};
