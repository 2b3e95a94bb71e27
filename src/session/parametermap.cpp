#include "session/parametermap.h"

#include "common/numtext.h"

#include <QMap>

QString Parameter::widthText() const
{
    return QStringLiteral("0%1").arg(width);
}

namespace ParameterMap {

const QList<Parameter> &all()
{
    using P = Parameter;
    static const QList<Parameter> table = {
        {"txtMeasureInter", "measuring-interval", "measuring interval", "0100", 1, P::Unsigned, 0, true, 256, "", " permissible range [1-255]", "0030"},
        {"txtmAScale", "ma-scale", "mA output scale", "0101", 2, P::Unsigned, 0, false, 4096, "", " permissible range [0-4095]", ""},
        {"txtResponseTime", "response-time", "response time", "0103", 1, P::Unsigned, 0, false, 11, "", " permissible range [0-10]", ""},
        {"cboEUTimeBase", "time-base", "engineering-unit time base", "0104", 1, P::ListIndex, 0, false, 4, "", " permissible range [0-3]", ""},
        {"txtMaxFlow", "max-flow", "full-scale flow", "0105", 4, P::FullScale, 0, true, 5000001, "", " permissible range [1-5000000]", ""},
        {"", "total-counter", "totalizer fraction / counter word", "0109", 2, P::ResetOnly, 0, false, 65536, "", "", ""},
        {"txt1Percent", "percent-1", "first percentage point", "010C", 1, P::Unsigned, 0, false, 101, "", " permissible range [0-100]", ""},
        {"txtMinFlow", "min-flow", "minimum flow", "010D", 4, P::Unsigned, 0, false, 0, "txtMaxFlow", " permissible range [0-999999]", ""},
        {"txt2Percent", "percent-2", "second percentage point", "0111", 1, P::Unsigned, 0, false, 101, "", " permissible range [0-100]", ""},
        {"txt3Percent", "percent-3", "third percentage point", "0116", 1, P::Unsigned, 0, false, 101, "", " permissible range [0-100]", ""},
        {"txtScaleFactor", "scale-factor", "scaling factor", "0118", 4, P::Unsigned, 0, true, 999999000, "", " permissible range [1-999999000]", ""},
        {"txtAFCor", "coefficient-a", "correction coefficient A", "012D", 2, P::Unsigned, 0, false, 10000, "", " permissible range [0-9999]", ""},
        {"txtBFCor", "coefficient-b", "correction coefficient B", "0130", 2, P::Unsigned, 0, false, 10000, "", " permissible range [0-9999]", ""},
        {"txtHighFcut", "high-cutoff", "high frequency cut-off", "0134", 2, P::Unsigned, 0, true, 10000, "", " permissible range [1-9999]", ""},
        {"txtPassword", "password", "device password", "0138", 2, P::Unsigned, 0, true, 1000, "", " permissible range [1-999]", ""},
        {"txtmAOffset", "ma-offset", "mA output offset", "013A", 2, P::Unsigned, 0, false, 4096, "", " permissible range [0-4095]", ""},
        {"txtTurbWindow", "turbulence-window", "turbulence window", "014C", 1, P::Unsigned, 0, false, 101, "", " permissible range [0-100]", ""},
        {"txtLowFcut", "low-cutoff", "low frequency cut-off", "014D", 2, P::Unsigned, 0, false, 0, "txtHighFcut", " permissible range [0-9999]", ""},
        {"", "total", "totalizer", "015C", 4, P::ResetOnly, 0, false, 4294967296.0, "", "", ""},
        {"txtFluDensity", "density", "fluid density", "0170", 4, P::Unsigned, 0, true, 10000000, "", " permissible range [1-9999999]", ""},
        {"txtUDKfactor", "ud-kfactor", "user-defined engineering-unit K-factor", "017C", 4, P::Unsigned, 0, true, 999999000, "", " permissible range [1-999999000]", ""},
        {"cboEUnit", "unit", "engineering unit", "01E4", 1, P::ListIndex, 0, false, 9, "", " permissible range [0-8]", ""},
        {"txtUDEUString", "ud-unit-name", "user-defined unit name", "01E5", 3, P::UnitName, 0, false, 0, "", "", ""},
        {"txtLogInterval", "log-interval", "flow log interval", "01E8", 1, P::Unsigned, 0, true, 256, "", " permissible range [1-255]", "0008"},
        {"txtTimeOut", "time-out", "time-out", "01E9", 1, P::Unsigned, 0, false, 256, "", " permissible range [0-255]", ""},
        {"optEnable", "output-options", "output options byte", "01EA", 1, P::OptionBits, 0, false, 256, "", "", "0026"},
        {"txtDataPointer", "data-pointer", "flow log data pointer", "01FE", 2, P::HexPointer, 409, true, 0x8000, "", " permissible range [200h-7FFFh]", ""},
    };
    return table;
}

const Parameter *find(const QString &nameOrAddress)
{
    for (const Parameter &p : all()) {
        if ((!p.control.isEmpty() && p.control.compare(nameOrAddress, Qt::CaseInsensitive) == 0)
            || p.alias.compare(nameOrAddress, Qt::CaseInsensitive) == 0
            || p.address.compare(nameOrAddress, Qt::CaseInsensitive) == 0)
            return &p;
    }
    if (nameOrAddress.compare(QLatin1String("optPulse"), Qt::CaseInsensitive) == 0)
        return find(QStringLiteral("optEnable"));
    return nullptr;
}

QString rangeMessage(const QString &rangeText)
{
    return QStringLiteral("The value of the parameter is out of\r") + rangeText + QStringLiteral(" Try again!");
}

QString tenthsRangeText()
{
    return QStringLiteral(" permissible range [0.1-5000000.0]");
}

QString unit(const QString &address)
{
    static const QMap<QString, QString> units = {
        {QStringLiteral("0100"), QStringLiteral("x 20 ms")},
        {QStringLiteral("0118"), QStringLiteral("pulses per 1000 L")},
        {QStringLiteral("0134"), QStringLiteral("Hz")},
        {QStringLiteral("014D"), QStringLiteral("Hz")},
        {QStringLiteral("010C"), QStringLiteral("%")},
        {QStringLiteral("0111"), QStringLiteral("%")},
        {QStringLiteral("0116"), QStringLiteral("%")},
    };
    return units.value(address.toUpper());
}

const QStringList &tableAddresses()
{
    static const QStringList a = {
        "0100", "0105", "010D", "0134", "014D", "0118", "0103", "014C", "0170", "01E9", "0138", "01E4", "0104",
        "013A", "0101", "01E5", "017C", "01E8", "01FE", "01EA", "0109", "010C", "0111", "0116", "012D", "0130",
    };
    return a;
}

QString padHex(quint32 value, int width)
{
    return numtext::hexPadded(value, 2 * width);
}

bool exactValue(const QString &text, int decimals, qint64 *scaled)
{
    qint64 v = 0;
    int significant = 0;
    int fraction = -1; // digits after the point; -1 before it
    bool anyDigit = false;
    for (QChar c : text) {
        if (c == QLatin1Char('.')) {
            if (fraction >= 0)
                return false;
            fraction = 0;
            continue;
        }
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return false;
        const int d = c.digitValue();
        anyDigit = true;
        if (fraction >= 0 && ++fraction > decimals) {
            if (d != 0)
                return false;
            continue;
        }
        if ((v != 0 || d != 0) && ++significant > 17)
            return false;
        v = v * 10 + d;
    }
    if (!anyDigit && !text.isEmpty())
        return false;
    for (int i = qMax(fraction, 0); i < decimals; ++i)
        v *= 10;
    *scaled = v;
    return true;
}

bool fitsWidth(qint64 value, int width)
{
    return value >= 0 && (width >= 8 || value < (qint64(1) << (8 * width)));
}

bool isUpperHex(const QString &text)
{
    for (QChar c : text)
        if (!((c >= QLatin1Char('0') && c <= QLatin1Char('9')) || (c >= QLatin1Char('A') && c <= QLatin1Char('F'))))
            return false;
    return true;
}

} // namespace ParameterMap
