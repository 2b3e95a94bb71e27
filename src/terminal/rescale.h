#pragma once
// The service tools without their windows: the scaling factor rescale, the
// calibration entry and the back door's raw memory write. The frames of the
// main window and quorin-cli both run these, so the checks, the messages and
// the writes are the same wherever they start.
#include <QString>
#include <QtGlobal>

class TerminalHost;
class TerminalState;

// Rescale: a new full-scale flow gives a new scaling factor in proportion;
// both are written, the factor first.
class Rescale
{
public:
    explicit Rescale(TerminalHost &host) : m_host(host) {}

    // Parameter addresses the rescale works with.
    static const QString FactorAddress;    // "0118"
    static const QString MaxFlowAddress;   // "0105"
    static const QString CodeAddress;      // "0138", the device password

    // The first question; true when answered Yes.
    bool confirmEntry();

    // frmRescale's test of the typed code: exactly three characters whose
    // numeric value equals the device's code ("012" matches 12). A device
    // code that was never read matches nothing.
    static bool codeMatches(const QString &typed, const TerminalState &state);
    // Accept of frmRescale: sets RescaleGranted when the code matches.
    static void accept(TerminalState &state, const QString &typed);
    // Loading frmRescale clears both flags.
    static void clearFlags(TerminalState &state);
    // After the prompt closed: false when cancelled (silently) or refused
    // (with the message), true when granted.
    bool accessGranted();

    // Texts the frame opens with.
    QString maxFlowOldText() const;      // tenths shown as the stored value / 10
    QString scaleFactorOldText() const;

    struct Result {
        bool computed = false;   // sf was computed: show it in lblSFNew
        qint64 sf = 0;
        qint64 maxStored = 0;
        bool leave = false;      // the frame is left (answered, written or not)
        bool factorDone = false;
        bool flowDone = false;
        bool failed = false;     // a verified write failed
        bool busy = false;       // another device operation runs: nothing was done
    };
    // cmdRescale_Click with the new maximum typed, against the values the
    // device holds: checks, the second question, the factor write and then
    // the maximum flow write.
    Result compute(const QString &newMaxText);

    // The last computed factor, unrounded.
    double newSF = 0;

private:
    TerminalHost &m_host;
};

// Calibration entry: a scaling factor typed directly.
class Calibration
{
public:
    explicit Calibration(TerminalHost &host) : m_host(host) {}

    bool confirmEntry();
    // The current factor as text, for the box to start with.
    QString startText() const;

    // txtScaleFactor's key filter on a key code as the box receives it
    // (Enter 13, Backspace 8, else the character): digits and Backspace pass.
    static bool keyPasses(int key);

    // Busy: another device operation runs; nothing was checked or sent.
    enum Outcome { OutOfRange, Unchanged, Written, Failed, Busy };
    // Enter in txtScaleFactor (and cmdWOK): range test, then, unless the
    // device holds that factor already, the verified write.
    Outcome enter(const QString &text);

private:
    TerminalHost &m_host;
};

// The back door and its raw memory write.
class MemWrite
{
public:
    explicit MemWrite(TerminalHost &host) : m_host(host) {}

    // frmEthernet: exactly five characters, equal as text to the access code.
    static bool codeMatches(const QString &typed, const TerminalState &state);
    static void accept(TerminalState &state, const QString &typed);
    static void clearFlags(TerminalState &state);
    bool accessGranted();

    enum Box { NoBox, NumByte, SAddress, WData };
    enum KeyAction { Pass, Beep, FocusNext }; // Beep and FocusNext swallow the key
    // The one key filter of the three hex boxes: key as in Calibration
    // (13 Enter, 8 Backspace, else the character); text is the box's text
    // before the key.
    static KeyAction hexKey(Box box, int key, const QString &text);
    static int maxLength(Box box);

    // The write checks in order; on a failure the message is shown and the
    // faulty box returned (NoBox when all pass).
    Box check(const QString &numByte, const QString &sAddress, const QString &wData);
    // The checks and the verified write. True when the device holds the data
    // (the boxes are cleared); *faulty names the box a check refused. False
    // at once, nothing sent, while another device operation runs.
    bool write(const QString &numByte, const QString &sAddress, const QString &wData, Box *faulty = nullptr);

private:
    TerminalHost &m_host;
};
