#include "session/terminalstate.h"

#include "common/numtext.h"
#include "session/parametermap.h"

TerminalState::TerminalState()
{
    AlarmText << QStringLiteral("No Alarm") << QStringLiteral("High") << QStringLiteral(" Low");
    FlowArray.resize(FlowArrayRows);
}

void TerminalState::setCell(const QString &address, const QString &text, qint64 value)
{
    CellText.insert(address, text);
    CellValue.insert(address, value);
}

bool TerminalState::tenthsMode() const
{
    return cellValue(QStringLiteral("012D")) == ParameterMap::TenthsMarker;
}

QString TerminalState::unitName(int code)
{
    static const char *names[] = {"LB", "KG", "TON", "TONN", "CFT", "LTR", "CUM", "GAL", "UD"};
    return code >= 0 && code <= 8 ? QString::fromLatin1(names[code]) : QStringLiteral("    ");
}

QString TerminalState::timeBaseName(int code)
{
    static const char *names[] = {"/Sec", "/Min", "/Hr", "/Day"};
    return code >= 0 && code <= 3 ? QString::fromLatin1(names[code]) : QStringLiteral("    ");
}

QString TerminalState::totalUnitText() const
{
    const QString unit = unitName(EngUnit);
    if (TotalMultiplier == 1)
        return unit + QStringLiteral(" K  ");
    if (TotalMultiplier == 2)
        return unit + QStringLiteral(" M  ");
    return unit;
}

void TerminalState::decodeTotal(const QString &hex0109, const QString &hex0174, QString *text, int *multiplier)
{
    QString digits;
    for (int i = 0; i + 1 < hex0174.size(); i += 2)
        digits += QString::number(numtext::hexValueForcePositive(hex0174.mid(i, 2)));
    while (digits.size() > 1 && digits.startsWith(QLatin1Char('0')))
        digits.remove(0, 1);
    if (text)
        *text = digits;
    if (multiplier) {
        const int m = numtext::hexValueForcePositive(hex0109.left(2));
        *multiplier = m >= 0 && m <= 2 ? m : 0;
    }
}

void TerminalState::fillCellsFromImages()
{
    for (const Parameter &p : ParameterMap::all()) {
        const int addr = p.address.toInt(nullptr, 16);
        QString hex;
        if (addr >= 0x100 && addr + p.width <= 0x150 && MemoryImage0100.size() >= 160)
            hex = MemoryImage0100.mid((addr - 0x100) * 2, p.width * 2);
        else if (addr >= 0x1E5 && addr + p.width <= 0x1EB && MemoryImage01E5.size() >= 12)
            hex = MemoryImage01E5.mid((addr - 0x1E5) * 2, p.width * 2);
        else if (p.address == QLatin1String("0170"))
            hex = DensityHex;
        else if (p.address == QLatin1String("017C"))
            hex = UDFactorHex;
        else if (p.address == QLatin1String("01E4"))
            hex = EngUnitHex;
        else if (p.address == QLatin1String("01FE"))
            hex = DataPointerHex;
        else if (p.address == QLatin1String("0109"))
            hex = Total0109;
        if (hex.isEmpty())
            continue;
        const qint64 value = qint64(hex.toULongLong(nullptr, 16));
        QString text;
        switch (p.encoding) {
        case Parameter::UnitName: {
            const QByteArray bytes = QByteArray::fromHex(hex.toLatin1());
            text = QString::fromLatin1(bytes.left(2));
            break;
        }
        case Parameter::HexPointer:
            text = hex;
            break;
        case Parameter::ResetOnly:
            text = hex;
            break;
        default:
            text = QString::number(value);
            break;
        }
        setCell(p.address, text, value);
    }
}

namespace {

struct Copy {
    QString TerminalState::*hex;
    int first;
    int size;   // bytes the copy holds when whole
};

const Copy kCopies[] = {{&TerminalState::MemoryImage0100, 0x100, 80}, {&TerminalState::MemoryImage0100Export, 0x100, 80},
                        {&TerminalState::MemoryImage01E5, 0x1E5, 6},  {&TerminalState::DensityHex, 0x170, 4},
                        {&TerminalState::UDFactorHex, 0x17C, 4},      {&TerminalState::EngUnitHex, 0x1E4, 1},
                        {&TerminalState::DataPointerHex, 0x1FE, 2},   {&TerminalState::Total0109, 0x109, 2},
                        {&TerminalState::Total0174, 0x174, 8}};

} // namespace

void TerminalState::takeWrite(int address, const QString &hex)
{
    const QString data = hex.toUpper();
    bool total = false;
    for (const Copy &c : kCopies) {
        QString &copy = this->*c.hex;
        if (copy.size() != 2 * c.size)
            continue;   // not read: stays unknown
        for (int i = 0; i + 1 < data.size(); i += 2) {
            const int offset = (address + i / 2 - c.first) * 2;
            if (offset >= 0 && offset + 2 <= copy.size()) {
                copy.replace(offset, 2, data.mid(i, 2));
                total = total || c.hex == &TerminalState::Total0109 || c.hex == &TerminalState::Total0174;
            }
        }
    }
    fillCellsFromImages();
    Density = qint32(DensityHex.toUInt(nullptr, 16));
    UDFactor = qint32(UDFactorHex.toUInt(nullptr, 16));
    EngUnit = EngUnitHex.toInt(nullptr, 16);
    if (total)
        decodeTotal(Total0109, Total0174, &TotalText, &TotalMultiplier);
}

QString TerminalState::knownBytes(int address, int width) const
{
    QString out;
    for (int a = address; a < address + width; ++a) {
        QString byte;
        for (const Copy &c : kCopies) {
            const QString &copy = this->*c.hex;
            const int offset = (a - c.first) * 2;
            if (copy.size() == 2 * c.size && offset >= 0 && offset + 2 <= copy.size()) {
                byte = copy.mid(offset, 2);
                break;
            }
        }
        if (byte.isEmpty())
            return QString();
        out += byte;
    }
    return out.toUpper();
}
