#include "parametercommit.h"

#include "common/numtext.h"
#include "common/prompter.h"
#include "link/devicelink.h"
#include "session/parametermap.h"
#include "session/operationgate.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

namespace {

const QString kTitle = QStringLiteral("System Monitor");
const QString kWriteOperation = QStringLiteral("parameter write");
const QString kUnitName = QStringLiteral("txtUDEUString");
const QString kDataPointer = QStringLiteral("txtDataPointer");
const QString kMaxFlow = QStringLiteral("txtMaxFlow");
const QString kEnable = QStringLiteral("optEnable");
const QString kPulse = QStringLiteral("optPulse");
const QString kEUnit = QStringLiteral("cboEUnit");

// A full-scale flow entered in tenths is refused from here on.
constexpr double kTenthsLimit = 5000000.1;

bool isDigitKey(int key)
{
    return key >= '0' && key <= '9';
}

bool isUpperHexKey(int key)
{
    return isDigitKey(key) || (key >= 'A' && key <= 'F');
}

} // namespace

const QStringList &ParameterCommit::textFields()
{
    static const QStringList fields = {
        QStringLiteral("txtMeasureInter"), QStringLiteral("txtMaxFlow"), QStringLiteral("txtMinFlow"),
        QStringLiteral("txtHighFcut"), QStringLiteral("txtLowFcut"), QStringLiteral("txtScaleFactor"),
        QStringLiteral("txtResponseTime"), QStringLiteral("txtTurbWindow"), QStringLiteral("txtFluDensity"),
        QStringLiteral("txtTimeOut"), QStringLiteral("txtPassword"), QStringLiteral("txtmAOffset"),
        QStringLiteral("txtmAScale"), QStringLiteral("txtUDEUString"), QStringLiteral("txtUDKfactor"),
        QStringLiteral("txtLogInterval"), QStringLiteral("txtDataPointer"), QStringLiteral("txt1Percent"),
        QStringLiteral("txt2Percent"), QStringLiteral("txt3Percent"), QStringLiteral("txtAFCor"),
        QStringLiteral("txtBFCor"),
    };
    return fields;
}

QStringList ParameterCommit::unitNames()
{
    QStringList names;
    for (int i = 0; i <= 8; ++i)
        names << TerminalState::unitName(i);
    return names;
}

QStringList ParameterCommit::timeBaseNames()
{
    return {QStringLiteral("Sec"), QStringLiteral("Min"), QStringLiteral("Hour"), QStringLiteral("Day")};
}

// ------------------------------------------------------------------ keys

ParameterCommit::KeyAction ParameterCommit::keyAction(const QString &control, int key, bool tenths)
{
    if (key == 13)
        return KeyCommit;
    if (control == kUnitName)
        return KeyPass;
    if (key == 8)
        return KeyPass;
    if (control == kDataPointer) {
        if (isUpperHexKey(key))
            return KeyPass;
        // Lower-case hex would fail the device's exact read-back compare.
        return key >= '0' ? KeyBeep : KeySwallow;
    }
    if (isDigitKey(key))
        return KeyPass;
    if (control == kMaxFlow && tenths && key == '.')
        return KeyPass;
    return KeySwallow;
}

ParameterCommit::KeyAction ParameterCommit::keyAction(const QString &control, int key) const
{
    return keyAction(control, key, tenthsMode());
}

QString ParameterCommit::typedText(const QString &control, const QString &text) const
{
    QString field;
    for (QChar c : text) {
        const int key = c.unicode();
        if (keyAction(control, key) != KeyPass)
            continue;
        if (key == 8)
            field.chop(1);
        else
            field += c;
    }
    return field;
}

bool ParameterCommit::tenthsMode() const
{
    return m_host.state().tenthsMode();
}

// --------------------------------------------------------------- display

QString ParameterCommit::displayText(const QString &control) const
{
    const Parameter *p = ParameterMap::find(control);
    const TerminalState &s = m_host.state();
    if (!p || !s.CellValue.contains(p->address))
        return QString();
    const qint64 v = s.cellValue(p->address);
    switch (p->encoding) {
    case Parameter::FullScale:
        return tenthsMode() ? oneDecimalText(double(v) / 10) : QString::number(v);
    case Parameter::HexPointer:
        return numtext::hexPadded(quint32(v), 4);
    case Parameter::UnitName:
        return s.cellText(p->address);
    case Parameter::ListIndex: {
        const QStringList names = control == kEUnit ? unitNames() : timeBaseNames();
        return v >= 0 && v < names.size() ? names.at(int(v)) : QString();
    }
    case Parameter::OptionBits:
        if (control == kEnable || control == kPulse)
            return QString::number(optionBit(control));
        return numtext::hexPadded(quint32(v), 2);
    default:
        return QString::number(v);
    }
}

int ParameterCommit::comboIndex(const QString &control) const
{
    const Parameter *p = ParameterMap::find(control);
    const int top = control == kEUnit ? 8 : 3;
    if (!p || !m_host.state().CellValue.contains(p->address))
        return -1;
    const qint64 v = m_host.state().cellValue(p->address);
    return v >= 0 && v <= top ? int(v) : -1;
}

int ParameterCommit::optionBit(const QString &control) const
{
    const int byte = int(m_host.state().cellValue(ParameterMap::find(kEnable)->address));
    return (byte & (control == kEnable ? 2 : 1)) ? 1 : 0;
}

int ParameterCommit::optionElement(const QString &control) const
{
    const int bit = optionBit(control);
    return control == kEnable ? (bit ? 0 : 1) : (bit ? 1 : 0);
}

QString ParameterCommit::precisionPicture(double v)
{
    if (v < 1)
        return QStringLiteral("#0.0000");
    if (v < 10)
        return QStringLiteral("#0.000");
    if (v < 100)
        return QStringLiteral("##0.00");
    if (v < 1000)
        return QStringLiteral("###0.0");
    if (v < 10000)
        return QStringLiteral("#####0");
    return QStringLiteral("#######0");
}

QString ParameterCommit::oneDecimalPicture(double v)
{
    if (v < 10)
        return QStringLiteral("#0.0");
    if (v < 100)
        return QStringLiteral("##0.0");
    if (v < 1000)
        return QStringLiteral("###0.0");
    if (v < 10000)
        return QStringLiteral("####0.0");
    if (v < 100000)
        return QStringLiteral("#####0.0");
    if (v < 1000000)
        return QStringLiteral("######0.0");
    return QStringLiteral("#######0.0");
}

QString ParameterCommit::precisionText(double v)
{
    return numtext::format(v, precisionPicture(v));
}

QString ParameterCommit::oneDecimalText(double v)
{
    return numtext::format(v, oneDecimalPicture(v));
}

// ---------------------------------------------------------------- commit

void ParameterCommit::refused(const QString &rangeText)
{
    m_host.prompter().message(ParameterMap::rangeMessage(rangeText), kTitle, Prompter::Information);
}

bool ParameterCommit::isPending(const QString &control, const QString &shown) const
{
    if (!textFields().contains(control))
        return false;
    const Parameter *p = ParameterMap::find(control);
    if (p->encoding == Parameter::UnitName)
        return shown.size() < 2 || unitNameData(shown) != heldUnitData();
    qint64 value = 0;
    // Text that is no value the device could hold is pending: its commit refuses it.
    if (!readValue(*p, shown, &value))
        return true;
    return value != m_host.state().cellValue(p->address);
}

bool ParameterCommit::readValue(const Parameter &p, const QString &typed, qint64 *value) const
{
    if (p.encoding == Parameter::HexPointer) {
        // Typed in hex and sent as typed: only upper-case digits that fit the field.
        if (!ParameterMap::isUpperHex(typed) || typed.size() > 2 * p.width)
            return false;
        *value = typed.isEmpty() ? 0 : typed.toLongLong(nullptr, 16);
        return true;
    }
    const bool tenths = p.encoding == Parameter::FullScale && tenthsMode();
    return ParameterMap::exactValue(typed, tenths ? 1 : 0, value);
}

QString ParameterCommit::heldUnitData() const
{
    const Parameter &p = *ParameterMap::find(kUnitName);
    const TerminalState &s = m_host.state();
    return s.CellValue.contains(p.address) ? ParameterMap::padHex(quint32(s.cellValue(p.address)), p.width) : QString();
}

CommitResult ParameterCommit::commit(const QString &control, const QString &typed, const ShownText &shown)
{
    CommitResult r;
    r.text = typed;
    const Parameter *p = ParameterMap::find(control);
    if (!p || !textFields().contains(control))
        return r;
    if (p->encoding == Parameter::UnitName)
        return commitUnitName(*p, typed);

    const bool tenths = p->encoding == Parameter::FullScale && tenthsMode();
    // stored is what the device would hold: tenths of the full scale in tenth mode.
    qint64 stored = 0;
    const bool read = readValue(*p, typed, &stored);
    const double v = tenths ? stored / 10.0 : double(stored);
    QString rangeText = p->rangeText;
    double upper = p->upperExclusive;
    if (tenths) {
        upper = kTenthsLimit;
        rangeText = ParameterMap::tenthsRangeText();
    } else if (!p->crossField.isEmpty()) {
        // The limit is what the other field shows now, committed or not, but
        // never beyond what that field itself accepts.
        const Parameter *other = ParameterMap::find(p->crossField);
        upper = numtext::val(shown ? shown(p->crossField) : displayText(p->crossField));
        const double otherUpper = other->encoding == Parameter::FullScale && tenthsMode() ? kTenthsLimit
                                                                                          : other->upperExclusive;
        upper = qMin(upper, otherUpper);
    }
    const bool lowerOk = p->lowerExclusive ? v > p->lower : v >= p->lower;
    if (!read || !lowerOk || v >= upper || !ParameterMap::fitsWidth(stored, p->width)) {
        refused(rangeText);
        r.outcome = CommitResult::Refused;
        return r;
    }

    if (stored == m_host.state().cellValue(p->address)) {
        r.outcome = CommitResult::Unchanged;
        return r;
    }

    QString data;
    if (p->encoding == Parameter::HexPointer) {
        // Sent as typed: the device reads back what it was given.
        data = typed.size() == 3 ? QLatin1Char('0') + typed : typed;
    } else {
        data = ParameterMap::padHex(quint32(stored), p->width);
    }
    return finish(*p, control, typed, data);
}

CommitResult ParameterCommit::finish(const Parameter &p, const QString &control, const QString &typed,
                                     const QString &data)
{
    CommitResult r;
    r.data = data;
    const OperationGate::Hold hold = m_host.gate().begin(kWriteOperation);
    if (!hold) {
        r.outcome = CommitResult::Busy;
        r.text = typed;
        return r;
    }
    DeviceLink &link = m_host.link();
    if (link.WriteRamData(p.widthText(), p.address, data) != data) {
        // Show what the device is known to hold.
        r.outcome = CommitResult::Failed;
        r.text = displayText(control);
        return r;
    }
    if (!p.mirror.isEmpty())
        link.WriteRamData(p.widthText(), p.mirror, data);
    // The write path has put the read-back into the state already.
    m_host.refreshStatusBar();
    r.outcome = CommitResult::Written;
    r.text = typed;
    return r;
}

CommitResult ParameterCommit::commitUnitName(const Parameter &p, const QString &typed)
{
    CommitResult r;
    r.text = typed;
    if (typed.size() < 2)
        return r;
    // Compared as the device holds it: two character codes and the zero byte.
    const QString data = unitNameData(typed);
    if (data == heldUnitData()) {
        r.outcome = CommitResult::Unchanged;
        return r;
    }
    r.data = data;
    const OperationGate::Hold hold = m_host.gate().begin(kWriteOperation);
    if (!hold) {
        r.outcome = CommitResult::Busy;
        return r;
    }
    if (m_host.link().WriteRamData(p.widthText(), p.address, data) != data) {
        r.outcome = CommitResult::Failed;
        r.text = displayText(p.control);
        return r;
    }
    // The device keeps two characters ("?" for those beyond its set); that is the name from now on.
    m_host.refreshStatusBar();
    r.outcome = CommitResult::Written;
    r.text = displayText(p.control);
    return r;
}

QString ParameterCommit::unitNameData(const QString &text)
{
    QString data;
    for (int i = 0; i < 2 && i < text.size(); ++i) {
        const ushort code = text.at(i).unicode();
        // Characters outside the device's 8-bit set travel as "?".
        data += numtext::hex(code <= 0xFF ? code : '?');
    }
    if (data.size() == 4)
        data += QStringLiteral("00");
    return data;
}

// ------------------------------------------------------ combos and options

CommitResult ParameterCommit::commitIndex(const QString &control, int index)
{
    CommitResult r;
    const Parameter *p = ParameterMap::find(control);
    if (!p || p->encoding != Parameter::ListIndex)
        return r;
    const QStringList names = control == kEUnit ? unitNames() : timeBaseNames();
    r.index = comboIndex(control);
    r.text = displayText(control);
    if (index < 0 || index >= names.size()) {
        refused(p->rangeText);
        r.outcome = CommitResult::Refused;
        return r;
    }
    if (index == m_host.state().cellValue(p->address)) {
        r.outcome = CommitResult::Unchanged;
        return r;
    }
    r.data = ParameterMap::padHex(quint32(index), p->width);
    const OperationGate::Hold hold = m_host.gate().begin(kWriteOperation);
    if (!hold) {
        r.outcome = CommitResult::Busy;
        return r;
    }
    if (m_host.link().WriteRamData(p->widthText(), p->address, r.data) != r.data) {
        r.outcome = CommitResult::Failed;
        return r;
    }
    m_host.refreshStatusBar();
    r.outcome = CommitResult::Written;
    r.index = index;
    r.text = names.at(index);
    return r;
}

int ParameterCommit::optionBitFor(const QString &control, int element)
{
    return control == kEnable ? (element == 0 ? 1 : 0) : (element == 1 ? 1 : 0);
}

QString ParameterCommit::TranslateBinaryToNible(const QString &binary)
{
    int v = 0;
    for (int i = 0; i < 4; ++i)
        v = v * 2 + (i < binary.size() && binary.at(i) == QLatin1Char('1') ? 1 : 0);
    return numtext::hex(quint32(v));
}

QString ParameterCommit::rebuildOptions(int storedByte, int bitValue, int newBit)
{
    const QString byte = numtext::hexPadded(quint32(storedByte & 0xFF), 2);
    QString bits = numtext::NibbleToBinary(byte.mid(1, 1));
    bits[bitValue == 2 ? 2 : 3] = newBit ? QLatin1Char('1') : QLatin1Char('0');
    return (byte.left(1) + TranslateBinaryToNible(bits)).rightJustified(2, QLatin1Char('0'));
}

CommitResult ParameterCommit::commitOption(const QString &control, int element)
{
    CommitResult r;
    if ((control != kEnable && control != kPulse) || element < 0 || element > 1)
        return r;
    const Parameter &p = *ParameterMap::find(kEnable);
    const int bitValue = control == kEnable ? 2 : 1;
    const int newBit = optionBitFor(control, element);
    const int storedByte = int(m_host.state().cellValue(p.address)) & 0xFF;
    r.index = optionElement(control);
    r.text = QString::number(optionBit(control));
    if (newBit == optionBit(control)) {
        r.outcome = CommitResult::Unchanged;
        return r;
    }
    r.data = rebuildOptions(storedByte, bitValue, newBit);
    const OperationGate::Hold hold = m_host.gate().begin(kWriteOperation);
    if (!hold) {
        r.outcome = CommitResult::Busy;
        return r;
    }
    DeviceLink &link = m_host.link();
    if (link.WriteRamData(p.widthText(), p.address, r.data) != r.data) {
        r.outcome = CommitResult::Failed;
        return r;
    }
    link.WriteRamData(p.widthText(), p.mirror, r.data);
    m_host.refreshStatusBar();
    r.outcome = CommitResult::Written;
    r.index = element;
    r.text = QString::number(newBit);
    return r;
}

// ------------------------------------------------------------- totalizer

QString ParameterCommit::totalText() const
{
    return m_host.state().TotalText;
}

QString ParameterCommit::totalUnitText() const
{
    const TerminalState &s = m_host.state();
    const QString unit = TerminalState::unitName(s.EngUnit);
    if (s.TotalMultiplier == 1)
        return QStringLiteral(" K  ") + unit;
    if (s.TotalMultiplier == 2)
        return QStringLiteral(" M  ") + unit;
    return unit;
}

ParameterCommit::ResetOutcome ParameterCommit::resetTotal(const std::function<void()> &show,
                                                          const std::function<QString()> &flowReading)
{
    const OperationGate::Hold hold = m_host.gate().begin(QStringLiteral("totalizer reset"));
    if (!hold)
        return ResetBusy;
    Prompter &prompter = m_host.prompter();
    if (!prompter.askYesNo(QStringLiteral("WARNING: Proceeding with this will reset Totalizer to Zero!\r"
                                          "   Do you want to Reset Totalizer to Zero?   "),
                           kTitle, Prompter::Exclamation))
        return ResetDeclined;
    // A failed display read leaves blanks: no reading either.
    const QString flow = flowReading ? flowReading() : m_host.currentFlowText();
    if (flow.trimmed().isEmpty())
        return ResetNoReading;
    if (numtext::val(flow) != 0) {
        prompter.message(QStringLiteral("WARNING: Flow reading is not zero!\r Please make sure flow reading is zero!"),
                         kTitle, Prompter::Information);
        return ResetFlowNotZero;
    }

    const Parameter &total = *ParameterMap::find(QStringLiteral("015C"));
    const Parameter &word = *ParameterMap::find(QStringLiteral("0109"));
    TerminalState &s = m_host.state();
    DeviceLink &link = m_host.link();
    const QString zeros = ParameterMap::padHex(0, total.width);
    // The total's own read-back is not looked at; the word below decides.
    link.WriteRamData(total.widthText(), total.address, zeros);
    s.TotalText = zeros;
    s.setCell(total.address, zeros, 0);
    if (show)
        show();

    const QString wordZeros = ParameterMap::padHex(0, word.width);
    if (link.WriteRamData(word.widthText(), word.address, wordZeros) != wordZeros)
        return ResetNotVerified;
    s.TotalText = zeros;
    s.TotalMultiplier = 0;
    s.Total0109 = wordZeros;
    s.setCell(word.address, wordZeros, 0);
    if (show)
        show();
    return ResetDone;
}
