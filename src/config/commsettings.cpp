#include "commsettings.h"

#include "common/numtext.h"

#include <QSettings>

namespace {
const QString kSection = QStringLiteral("Properties/");

QString mid1(const QString &text, int pos1, int n)
{
    // Positions count from 1; a position before the text gives nothing.
    if (pos1 < 1 || n <= 0)
        return QString();
    return text.mid(pos1 - 1, n);
}

int readInt(const QString &text, int def)
{
    if (text.trimmed().isEmpty())
        return def;
    return int(numtext::roundHalfEvenToInt(numtext::val(text)));
}
} // namespace

const QStringList &CommSettings::interfaces()
{
    static const QStringList l = {QStringLiteral("RS232"), QStringLiteral("RS485")};
    return l;
}

const QStringList &CommSettings::speeds()
{
    static const QStringList l = {"110",   "300",   "600",   "1200",  "2400",   "4800",   "9600",   "14400",
                                  "19200", "28800", "38400", "56000", "57600", "115200", "128000", "256000"};
    return l;
}

const QStringList &CommSettings::dataBits()
{
    static const QStringList l = {"4", "5", "6", "7", "8"};
    return l;
}

const QStringList &CommSettings::parities()
{
    static const QStringList l = {"Even", "Odd", "None", "Mark", "Space"};
    return l;
}

const QStringList &CommSettings::stopBits()
{
    static const QStringList l = {"1", "1.5", "2"};
    return l;
}

const QStringList &CommSettings::intervals()
{
    static const QStringList l = {"1000", "2000", "3000",  "4000",  "5000",  "6000",  "7000",
                                  "8000", "9000", "10000", "15000", "20000", "30000", "60000"};
    return l;
}

QStringList CommSettings::comPorts()
{
    QStringList l;
    for (int i = 1; i <= 16; ++i)
        l << QStringLiteral("Com%1").arg(i);
    return l;
}

const QStringList &CommSettings::flowControls()
{
    static const QStringList l = {"None", "XOn/XOff", "RTS/CTS", "RTS/CTS and XOn/XOff"};
    return l;
}

int CommSettings::intervalMs(int index)
{
    if (index < 1 || index > intervals().size())
        return 0;
    return intervals().at(index - 1).toInt();
}

CommSettings::LineText CommSettings::splitSettings(const QString &text)
{
    const int k = text.contains(QLatin1Char('.')) ? 2 : 0;
    const int L = text.size();
    LineText t;
    if (L - 6 - k > 0)
        t.speed = text.left(L - 6 - k);
    t.parityLetter = mid1(text, L - 4 - k, 1);
    t.dataBits = mid1(text, L - 2 - k, 1);
    if (L >= k + 1)
        t.stopBits = text.right(k + 1);
    return t;
}

QString CommSettings::parityEntry(const QString &letter)
{
    const QString l = letter.toLower();
    if (l == QLatin1String("e"))
        return QStringLiteral("Even");
    if (l == QLatin1String("m"))
        return QStringLiteral("Mark");
    if (l == QLatin1String("n"))
        return QStringLiteral("None");
    if (l == QLatin1String("o"))
        return QStringLiteral("Odd");
    if (l == QLatin1String("s"))
        return QStringLiteral("Space");
    return QString();
}

QString CommSettings::settingsText(const QString &speed, const QString &parity, const QString &dataBits,
                                   const QString &stopBits)
{
    return speed.trimmed() + QLatin1Char(',') + parity.left(1) + QLatin1Char(',') + dataBits.trimmed()
        + QLatin1Char(',') + stopBits.trimmed();
}

CommSettings::PropertyView CommSettings::LoadPropertySettings(bool rs232, const QString &settingsText,
                                                              int portNumber, int handshaking, bool echo,
                                                              int timeSs, int timeSr)
{
    PropertyView v;
    v.interfaceIndex = rs232 ? 0 : 1;
    const LineText t = splitSettings(settingsText);
    v.speed = t.speed;
    v.parity = parityEntry(t.parityLetter);
    v.dataBits = t.dataBits;
    v.stopBits = t.stopBits;
    v.portIndex = portNumber - 1;
    v.flowIndex = handshaking >= 0 && handshaking < flowControls().size() ? handshaking : 0;
    v.echoIndex = echo ? 1 : 0;
    v.tssIndex = timeSs >= 1 && timeSs <= intervals().size() ? timeSs - 1 : -1;
    v.tsrIndex = timeSr >= 1 && timeSr <= intervals().size() ? timeSr - 1 : -1;
    return v;
}

QString CommSettings::portNameFromStored(const QString &stored)
{
    bool ok = false;
    const int n = stored.trimmed().toInt(&ok);
    if (ok)
        return QStringLiteral("Com%1").arg(n);
    return stored;
}

QString CommSettings::storedFromPortName(const QString &name)
{
    if (name.startsWith(QLatin1String("Com"))) {
        bool ok = false;
        const int n = name.mid(3).toInt(&ok);
        if (ok && n >= 1 && QStringLiteral("Com%1").arg(n) == name)
            return QString::number(n);
    }
    return name;
}

bool CommSettings::readBool(const QString &text, bool def)
{
    const QString t = text.trimmed();
    if (t.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0)
        return true;
    if (t.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0)
        return false;
    bool ok = false;
    const double v = t.toDouble(&ok);
    return ok ? v != 0 : def;
}

std::unique_ptr<QSettings> CommSettings::store()
{
    return std::make_unique<QSettings>(QSettings::UserScope, QStringLiteral("Quorin"),
                                       QStringLiteral("Quorin Terminal"));
}

QString CommSettings::value(const QString &key, const QString &def)
{
    return store()->value(kSection + key, def).toString();
}

void CommSettings::setValue(const QString &key, const QString &value)
{
    store()->setValue(kSection + key, value);
}

QString CommSettings::extraValue(const QString &sectionAndKey, const QString &def)
{
    return store()->value(sectionAndKey, def).toString();
}

void CommSettings::setExtraValue(const QString &sectionAndKey, const QString &value)
{
    store()->setValue(sectionAndKey, value);
}

CommSettings::Stored CommSettings::load()
{
    const auto s = store();
    auto text = [&s](const char *key, const QString &def) {
        return s->value(kSection + QLatin1String(key), def).toString();
    };
    Stored r;
    r.Settings = text("Settings", QString());
    r.CommPort = text("CommPort", QString());
    r.Handshaking = text("Handshaking", QString());
    r.Echo = readBool(text("Echo", QString()), false);
    r.TotUnit = qBound(0, readInt(text("Tot_unit", QStringLiteral("1")), 1), 4);
    const QString ss = text("Time_ss", QString());
    r.hasTimeSs = !ss.trimmed().isEmpty();
    r.TimeSs = readInt(ss, 1);
    const QString sr = text("Time_sr", QString());
    r.hasTimeSr = !sr.trimmed().isEmpty();
    r.TimeSr = readInt(sr, 4);
    r.Interface = readBool(text("Interface", QStringLiteral("True")), true);
    r.ComMonitor = readInt(text("Com_monitor", QStringLiteral("0")), 0) == 1 ? 1 : 0;
    r.DevInfo = readInt(text("Dev_info", QStringLiteral("0")), 0) != 0 ? 1 : 0;
    return r;
}

void CommSettings::saveProperties(const QString &settings, const QString &portName, int handshaking, bool echo,
                                  bool rs232, int timeSs, int timeSr)
{
    const auto s = store();
    s->setValue(kSection + QLatin1String("Settings"), settings);
    s->setValue(kSection + QLatin1String("CommPort"), storedFromPortName(portName));
    s->setValue(kSection + QLatin1String("Handshaking"), QString::number(handshaking));
    s->setValue(kSection + QLatin1String("Echo"), boolText(echo));
    s->setValue(kSection + QLatin1String("Interface"), boolText(rs232));
    s->setValue(kSection + QLatin1String("Time_ss"), QString::number(timeSs));
    s->setValue(kSection + QLatin1String("Time_sr"), QString::number(timeSr));
}

void CommSettings::saveExit(const QString &curUnit, int comMonitor, int devInfo)
{
    const auto s = store();
    s->setValue(kSection + QLatin1String("Cur_unit"), curUnit);
    s->setValue(kSection + QLatin1String("Com_monitor"), QString::number(comMonitor));
    s->setValue(kSection + QLatin1String("Dev_info"), QString::number(devInfo));
}

QStringList CommSettings::recentPorts()
{
    return store()->value(QStringLiteral("Network/RecentPorts")).toStringList();
}

void CommSettings::rememberPort(const QString &name)
{
    QStringList ports = recentPorts();
    ports.removeAll(name);
    ports.prepend(name);
    store()->setValue(QStringLiteral("Network/RecentPorts"), ports.mid(0, 5));
}
