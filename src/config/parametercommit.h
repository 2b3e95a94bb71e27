#pragma once
// The device properties editor without its window: what each field accepts,
// the range tests, the encoding into hex data, the verified write and what the
// terminal keeps afterwards, the output options byte, the user-defined unit
// name and the totalizer reset. frmDProp and quorin-cli both run these, so a
// value is refused, written and mirrored the same way wherever it is typed.
#include <QString>
#include <QStringList>
#include <functional>

class TerminalHost;
struct Parameter;

struct CommitResult {
    enum Outcome {
        Refused,    // out of range: the range message was shown, nothing sent
        Unchanged,  // equal to what the device holds: nothing sent
        Written,    // written and read back equal
        Failed,     // the write or its verification failed: the stored value is shown again
        Ignored,    // nothing to do (a unit name shorter than two characters)
        Busy,       // another device operation runs: nothing sent, the field shows what it did
    };
    Outcome outcome = Ignored;
    QString text;   // what the field shows afterwards
    int index = -1; // combos: the list index shown; option pairs: the element chosen
    QString data;   // the hex data sent, when something was sent
};

class ParameterCommit
{
public:
    explicit ParameterCommit(TerminalHost &host) : m_host(host) {}

    // The editor's text fields in the order the form fills them.
    static const QStringList &textFields();
    static QStringList unitNames();      // cboEUnit: "LB" .. "UD"
    static QStringList timeBaseNames();  // cboEUTimeBase: "Sec" .. "Day"

    // Key filter of a field. keyAscii is the character code the field
    // receives: 13 for Enter, 8 for Backspace, otherwise the character.
    enum KeyAction { KeyPass, KeySwallow, KeyBeep, KeyCommit };
    static KeyAction keyAction(const QString &control, int keyAscii, bool tenths);
    KeyAction keyAction(const QString &control, int keyAscii) const;
    // The text a field holds after text was typed into it key by key.
    QString typedText(const QString &control, const QString &text) const;

    bool tenthsMode() const;

    // What the form shows for a control, filled from the current-value cells.
    QString displayText(const QString &control) const;
    int comboIndex(const QString &control) const;
    // optEnable / optPulse: the element (0 or 1) that shows the stored bit.
    int optionElement(const QString &control) const;
    int optionBit(const QString &control) const;

    // The shown text of another field, for the cross-field limits.
    using ShownText = std::function<QString(const QString &control)>;

    // Enter in a text field: range test, unchanged test, verified write, the
    // RAM mirror, and the current-value cell (or the stored value shown again).
    CommitResult commit(const QString &control, const QString &typed, const ShownText &shown);
    // True when the field's text stands for another value than the stored
    // one, so that cmdOK commits it.
    bool isPending(const QString &control, const QString &shown) const;

    // Choosing entry index in cboEUnit or cboEUTimeBase.
    CommitResult commitIndex(const QString &control, int index);
    // Choosing element (0 or 1) of optEnable or optPulse.
    CommitResult commitOption(const QString &control, int element);
    // The new bit that choosing element of a pair means: the pairs are laid
    // out in opposite senses.
    static int optionBitFor(const QString &control, int element);
    // The options byte (two hex digits) with the enable (bitValue 2) or pulse
    // (bitValue 1) bit replaced, rebuilt through the nibble's binary digits.
    static QString rebuildOptions(int storedByte, int bitValue, int newBit);

    // "0100" to "F": four binary digits back to one hex digit.
    static QString TranslateBinaryToNible(const QString &binary);
    // The unit name's data: the codes of its first two characters, joined,
    // and "00" after them when they make four digits.
    static QString unitNameData(const QString &text);

    // Format pictures by magnitude.
    static QString precisionPicture(double v);
    static QString oneDecimalPicture(double v);
    static QString precisionText(double v);
    static QString oneDecimalText(double v);

    // Totalizer reset (cmdTSetZero). show is called after each step that
    // changes the total shown, so that a window can update its labels.
    // flowReading gives the flow as shown, asked for after the confirmation;
    // by default the main window's current reading.
    enum ResetOutcome { ResetDeclined, ResetNoReading, ResetFlowNotZero, ResetDone, ResetNotVerified, ResetBusy };
    ResetOutcome resetTotal(const std::function<void()> &show = {},
                            const std::function<QString()> &flowReading = {});
    QString totalText() const;      // lblTotal
    QString totalUnitText() const;  // lblTotalEU: " K  " or " M  " before the unit name

private:
    // The typed text as the number the device would hold; false when it is none.
    bool readValue(const Parameter &p, const QString &typed, qint64 *value) const;
    // The unit name's data as the device holds it ("" before any readout).
    QString heldUnitData() const;
    CommitResult commitUnitName(const Parameter &p, const QString &typed);
    CommitResult finish(const Parameter &p, const QString &control, const QString &typed, const QString &data);
    void refused(const QString &rangeText);

    TerminalHost &m_host;
};
