#include "rescale.h"

#include "common/numtext.h"
#include "common/prompter.h"
#include "session/parametermap.h"
#include "link/devicelink.h"
#include "session/operationgate.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

const QString Rescale::FactorAddress = QStringLiteral("0118");
const QString Rescale::MaxFlowAddress = QStringLiteral("0105");
const QString Rescale::CodeAddress = QStringLiteral("0138");

namespace {

const QString kHighCutAddress = QStringLiteral("0134");
const QString kLowCutAddress = QStringLiteral("014D");
const QString kWidth4 = QStringLiteral("04");
// Factors at or above this are refused although the range text names it:
// the device takes the bound as exclusive.
constexpr qint64 kFactorLimit = 999999000;

const QString kWriteError = QStringLiteral("Error during Memory Write Operation");

// "Status: 04 0118 0000303A   12346"
QString writtenStatus(const QString &address, const QString &data, qint64 value)
{
    return QStringLiteral("Status: ") + kWidth4 + QLatin1Char(' ') + address + QLatin1Char(' ') + data
        + QStringLiteral("   ") + QString::number(value);
}

qint32 currentFactor(const TerminalState &s)
{
    return qint32(quint32(s.cellValue(Rescale::FactorAddress)));
}

qint32 currentMaxFlow(const TerminalState &s)
{
    return qint32(quint32(s.cellValue(Rescale::MaxFlowAddress)));
}

bool isHexDigitKey(int key)
{
    return (key >= '0' && key <= '9') || (key >= 'A' && key <= 'F');
}

} // namespace

// ---------------------------------------------------------------- Rescale

bool Rescale::confirmEntry()
{
    return m_host.prompter().askYesNo(
        QStringLiteral("WARNING: Proceeding with this may change the Calibration Data!\r"
                       " Do you want to Change Scaling Factor?   "),
        QStringLiteral("System Monitor"), Prompter::Warning);
}

bool Rescale::codeMatches(const QString &typed, const TerminalState &state)
{
    // The length decides first; the comparison is by value, not by text.
    if (typed.size() != 3)
        return false;
    if (!state.CellValue.contains(CodeAddress))
        return false;
    const qint16 code = qint16(quint16(state.cellValue(CodeAddress)));
    return numtext::val(typed) == double(code);
}

void Rescale::accept(TerminalState &state, const QString &typed)
{
    if (codeMatches(typed, state))
        state.RescaleGranted = true;
}

void Rescale::clearFlags(TerminalState &state)
{
    state.RescaleGranted = false;
    state.RescaleCancelled = false;
}

bool Rescale::accessGranted()
{
    const TerminalState &s = m_host.state();
    if (s.RescaleCancelled)
        return false;
    if (!s.RescaleGranted) {
        m_host.prompter().message(
            QStringLiteral("Password is not correct. Can not open\r Access to Rescale! Try again."),
            QStringLiteral("System Monitor"), Prompter::Information);
        return false;
    }
    return true;
}

QString Rescale::maxFlowOldText() const
{
    const TerminalState &s = m_host.state();
    if (!s.CellValue.contains(MaxFlowAddress))
        return QString();
    const qint32 stored = currentMaxFlow(s);
    if (s.tenthsMode())
        return numtext::doubleToText(stored / 10.0);
    return QString::number(stored);
}

QString Rescale::scaleFactorOldText() const
{
    const TerminalState &s = m_host.state();
    if (!s.CellValue.contains(FactorAddress))
        return QString();
    return QString::number(currentFactor(s));
}

Rescale::Result Rescale::compute(const QString &newMaxText)
{
    Result r;
    // The whole computation is one operation: its questions and both writes.
    const OperationGate::Hold hold = m_host.gate().begin(QStringLiteral("rescale"));
    if (!hold) {
        r.busy = true;
        return r;
    }
    Prompter &p = m_host.prompter();
    TerminalState &s = m_host.state();
    const QString title = QStringLiteral("System Monitor");
    const bool tenths = s.tenthsMode();

    // The old values are what the device holds now, not what a label showed
    // when the frame opened.
    const double newMax = numtext::val(newMaxText);
    const double oldMax = !s.CellValue.contains(MaxFlowAddress) ? 0.0
        : tenths ? currentMaxFlow(s) / 10.0 : double(currentMaxFlow(s));
    if (!(newMax > 0 && oldMax > 0)) {
        // Only an exact zero gets the first text; a negative new value the second.
        if (newMax == 0)
            p.message(QStringLiteral("New Maximum Flow value has to be more than zero! Can not calculate\r"
                                     " new Scaling Factor! Try again."), title, Prompter::Information);
        else
            p.message(QStringLiteral("Old Maximum Flow value has to be more than zero! Can not calculate\r"
                                     " new Scaling Factor! Try again."), title, Prompter::Information);
        return r;
    }
    // The full scale is stored as typed (in tenths when coefficient A says
    // so): a value the field cannot hold exactly is refused, not rounded.
    QString digits = newMaxText;
    digits.remove(QLatin1Char(' ')).remove(QLatin1Char('\t')).remove(QLatin1Char('\n'));
    const qint64 top = tenths ? 50000000 : 5000000;
    if (!ParameterMap::exactValue(digits, tenths ? 1 : 0, &r.maxStored) || r.maxStored < 1 || r.maxStored > top) {
        r.maxStored = 0;
        p.message(ParameterMap::rangeMessage(tenths ? ParameterMap::tenthsRangeText()
                                                    : ParameterMap::find(MaxFlowAddress)->rangeText),
                  title, Prompter::Information);
        return r;
    }

    const double oldSF = s.CellValue.contains(FactorAddress) ? double(currentFactor(s)) : 0.0;
    newSF = oldSF * (newMax / oldMax);
    r.sf = numtext::roundHalfEvenToInt(newSF);
    r.computed = true;
    // Output frequency at full scale, in Hz.
    const qint64 freq = numtext::roundHalfEvenToInt(double(r.sf) / 1000.0);

    const qint16 high = qint16(quint16(s.cellValue(kHighCutAddress)));
    const qint16 low = qint16(quint16(s.cellValue(kLowCutAddress)));
    if (freq > high) {
        p.message(QStringLiteral("New value of the Frequency: ") + QString::number(freq)
                      + QStringLiteral(" is more than High Frequency Cut off: ") + QString::number(high)
                      + QStringLiteral(" Hz\r Decrease New Flow Rate value and try again."),
                  title, Prompter::Information);
        return r;
    }
    if (freq < low) {
        p.message(QStringLiteral("New value of the Frequency: ") + QString::number(freq)
                      + QStringLiteral(" is less than Low Frequency Cut off: ") + QString::number(low)
                      + QStringLiteral(" Hz\r Increase New Flow Rate value and try again."),
                  title, Prompter::Information);
        return r;
    }
    r.leave = true;
    if (!p.askYesNo(QStringLiteral("New Scaling Factor is: ") + QString::number(r.sf)
                        + QStringLiteral("\rDo you want to Activate New Scaling Factor?"),
                    title, Prompter::Warning)) {
        p.message(QStringLiteral("WARNING: New Scaling Factor was Not Updated!"), title, Prompter::Information);
        return r;
    }

    DeviceLink &link = m_host.link();
    QString pendingStatus;
    if (r.sf >= 1 && r.sf < kFactorLimit && r.sf != currentFactor(s)) {
        const QString data = ParameterMap::padHex(quint32(r.sf), 4);
        if (link.WriteRamData(kWidth4, FactorAddress, data) == data) {
            m_host.setStatusText(writtenStatus(FactorAddress, data, r.sf));
            m_host.startTimer2();
            r.factorDone = true;
        } else {
            p.message(QStringLiteral("ABORT: Error during Scale Factor Update!"), title, Prompter::Information);
            pendingStatus = kWriteError;
            r.failed = true;
        }
    }
    // Never a new full scale over the old factor: the flow follows only a
    // factor the device has taken.
    if (r.factorDone && r.maxStored != currentMaxFlow(s)) {
        const QString data = ParameterMap::padHex(quint32(r.maxStored), 4);
        if (link.WriteRamData(kWidth4, MaxFlowAddress, data) == data) {
            m_host.setStatusText(writtenStatus(MaxFlowAddress, data, r.maxStored));
            m_host.startTimer2();
            r.flowDone = true;
        } else {
            p.message(QStringLiteral("ABORT: Error during Maximum Flow Update!"), title, Prompter::Information);
            pendingStatus = kWriteError;
            r.failed = true;
        }
    }
    if (!pendingStatus.isEmpty()) {
        m_host.setStatusText(QStringLiteral("Status: ") + pendingStatus);
        m_host.startTimer2();
    }
    if (r.factorDone || r.flowDone)
        m_host.refreshStatusBar();
    if (r.factorDone && r.flowDone)
        p.message(QStringLiteral("New Scaling Factor was Successfully Updated!"), title, Prompter::Information);
    return r;
}

// ---------------------------------------------------------------- Calibration

bool Calibration::confirmEntry()
{
    return m_host.prompter().askYesNo(
        QStringLiteral("WARNING: Proceeding with this may cause loosing of the Calibration Data!\r"
                       "   Do you want to Calibrate Scale Factor?   "),
        QStringLiteral("System Monitor"), Prompter::Warning);
}

QString Calibration::startText() const
{
    const TerminalState &s = m_host.state();
    return s.CellValue.contains(Rescale::FactorAddress) ? QString::number(currentFactor(s)) : QString();
}

bool Calibration::keyPasses(int key)
{
    return (key >= '0' && key <= '9') || key == 8;
}

Calibration::Outcome Calibration::enter(const QString &text)
{
    const OperationGate::Hold hold = m_host.gate().begin(QStringLiteral("calibration"));
    if (!hold)
        return Busy;
    qint64 factor = 0;
    if (!ParameterMap::exactValue(text, 0, &factor) || factor <= 0 || factor >= kFactorLimit) {
        // The panel, not a message box; the range text names 999999000 although it is refused.
        m_host.setStatusText(QStringLiteral("Status: The value of the parameter is out of")
                             + ParameterMap::find(QStringLiteral("txtScaleFactor"))->rangeText
                             + QStringLiteral(" Try again!"));
        return OutOfRange;
    }
    // Against what the device holds now: a rescale may have changed it
    // since the frame opened.
    TerminalState &s = m_host.state();
    if (s.CellValue.contains(Rescale::FactorAddress) && factor == currentFactor(s))
        return Unchanged;

    const QString data = ParameterMap::padHex(quint32(factor), 4);
    if (m_host.link().WriteRamData(kWidth4, Rescale::FactorAddress, data) != data) {
        m_host.setStatusText(QStringLiteral("Status: ") + kWriteError);
        return Failed;
    }
    m_host.setStatusText(writtenStatus(Rescale::FactorAddress, data, factor));
    m_host.startTimer2();
    m_host.refreshStatusBar();
    return Written;
}

// ---------------------------------------------------------------- MemWrite

bool MemWrite::codeMatches(const QString &typed, const TerminalState &state)
{
    return typed.size() == 5 && typed == state.AccessCode;
}

void MemWrite::accept(TerminalState &state, const QString &typed)
{
    if (codeMatches(typed, state))
        state.BackDoorGranted = true;
}

void MemWrite::clearFlags(TerminalState &state)
{
    state.BackDoorGranted = false;
    state.BackDoorCancelled = false;
}

bool MemWrite::accessGranted()
{
    const TerminalState &s = m_host.state();
    if (s.BackDoorCancelled)
        return false;
    if (!s.BackDoorGranted) {
        m_host.prompter().message(QStringLiteral("Password is not correct. Can not open\r Back Door! Try again"),
                                  QStringLiteral("System Monitor"), Prompter::Information);
        return false;
    }
    return true;
}

int MemWrite::maxLength(Box box)
{
    switch (box) {
    case NumByte:
        return 2;
    case SAddress:
        return 4;
    case WData:
        return 2 * 0xFF;
    default:
        return 0;
    }
}

MemWrite::KeyAction MemWrite::hexKey(Box box, int key, const QString &text)
{
    if (key == 8)
        return Pass;
    if (key == 13) {
        switch (box) {
        case NumByte:
            return text.size() == 2 ? FocusNext : Beep;
        case SAddress:
            return text.size() == 4 ? FocusNext : Beep;
        case WData:
            return text.size() >= 2 ? FocusNext : Beep;
        default:
            return Beep;
        }
    }
    // Upper-case digits only: the device echoes hex in upper case and the
    // read-back is compared as text.
    return isHexDigitKey(key) ? Pass : Beep;
}

MemWrite::Box MemWrite::check(const QString &numByte, const QString &sAddress, const QString &wData)
{
    Prompter &p = m_host.prompter();
    const QString title = QStringLiteral("System Monitor");
    // Every box holds hex digits only: text that is not hex is never read as 0.
    if (numByte.size() != 2 || !ParameterMap::isUpperHex(numByte)) {
        p.message(QStringLiteral("The number of the bytes to be sent\r is not correct! Try again!"), title,
                  Prompter::Information);
        return NumByte;
    }
    // Read with a leading zero so that 8000h and above count as too high,
    // not as negative.
    const qint32 address = numtext::hexValueForcePositive(sAddress);
    if (sAddress.size() != 4 || !ParameterMap::isUpperHex(sAddress) || address > 0x7FFF) {
        p.message(QStringLiteral("The destination address of the data to be sent\r is not correct! Try again!"),
                  title, Prompter::Information);
        return SAddress;
    }
    const qint32 count = numtext::hexValueForcePositive(numByte);
    if (wData.size() != 2 * count || !ParameterMap::isUpperHex(wData)) {
        p.message(QStringLiteral("The data field\r is not correct! Try again!"), title, Prompter::Information);
        return WData;
    }
    return NoBox;
}

bool MemWrite::write(const QString &numByte, const QString &sAddress, const QString &wData, Box *faulty)
{
    if (faulty)
        *faulty = NoBox;
    const OperationGate::Hold hold = m_host.gate().begin(QStringLiteral("back door write"));
    if (!hold)
        return false;
    const Box box = check(numByte, sAddress, wData);
    if (faulty)
        *faulty = box;
    if (box != NoBox)
        return false;
    const QString readBack = m_host.link().WriteRamData(numByte, sAddress, wData);
    if (readBack.isEmpty() || readBack != wData)
        return false;
    m_host.refreshStatusBar();
    return true;
}
