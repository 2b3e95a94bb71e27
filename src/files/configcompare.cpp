#include "configcompare.h"

#include "configtable.h"
#include "session/parametermap.h"
#include "session/terminalstate.h"

namespace {

const QString kCoefficientA = QStringLiteral("012D");
const QString kMaxFlow = QStringLiteral("0105");

bool tenthsOf(const ConfigTable &t, int rows)
{
    const int r = ConfigCompare::findRow(t, kCoefficientA, rows);
    return r >= 0 && t.row(r).Data.toUInt(nullptr, 16) == uint(ParameterMap::TenthsMarker);
}

} // namespace

QString CompareRow::parameterText() const
{
    return (control.isEmpty() ? QString() : control + QLatin1Char(' ')) + QLatin1Char('(') + name + QLatin1Char(')');
}

QString CompareRow::mark() const
{
    if (live)
        return differs ? QStringLiteral("live, differs") : QStringLiteral("live");
    return differs ? QStringLiteral("differs") : QStringLiteral("same");
}

namespace ConfigCompare {

bool isLive(const QString &address)
{
    return address == QLatin1String("01FE") || address == QLatin1String("0109");
}

int findRow(const ConfigTable &table, const QString &address, int rows)
{
    for (int r = 0; r < rows && r < ConfigTable::Capacity; ++r)
        if (table.row(r).Address.compare(address, Qt::CaseInsensitive) == 0)
            return r;
    return -1;
}

QString normalised(const QString &data, int width)
{
    // Empty stays empty: no data is not the value 0.
    QString d = data.trimmed().toUpper();
    if (d.isEmpty())
        return d;
    // The same value written in another width is the same value.
    while (d.size() > 2 * width && d.startsWith(QLatin1String("00")))
        d.remove(0, 2);
    while (d.size() < 2 * width)
        d.prepend(QLatin1Char('0'));
    return d;
}

QString readable(const QString &address, const QString &data, bool tenths)
{
    bool ok = false;
    const quint32 v = data.toUInt(&ok, 16);
    if (!ok)
        return data.isEmpty() ? QStringLiteral("(empty)") : QStringLiteral("(not hex) ") + data;
    const Parameter *p = ParameterMap::find(address);
    if (!p)
        return QString::number(v);
    switch (p->encoding) {
    case Parameter::FullScale:
        return tenths ? QString::number(v / 10) + QLatin1Char('.') + QString::number(v % 10) : QString::number(v);
    case Parameter::HexPointer:
    case Parameter::OptionBits:
        return data + QLatin1Char('h');
    case Parameter::UnitName: {
        QString text;
        for (const char c : QByteArray::fromHex(data.toLatin1()).left(2))
            text += c >= 0x20 && c < 0x7F ? QChar::fromLatin1(c) : QChar(u'?');
        return QLatin1Char('"') + text + QLatin1Char('"');
    }
    case Parameter::ListIndex:
        if (address == QLatin1String("01E4"))
            return (QString::number(v) + QLatin1Char(' ') + TerminalState::unitName(int(v))).trimmed();
        return (QString::number(v) + TerminalState::timeBaseName(int(v)).replace(QLatin1Char('/'), QLatin1Char(' ')))
            .trimmed();
    default:
        return QString::number(v);
    }
}

bool compare(const ConfigTable &a, const ConfigTable &b, QList<CompareRow> *rows, QString *error, int rowsA, int rowsB)
{
    rows->clear();
    const bool tenthsA = tenthsOf(a, rowsA);
    const bool tenthsB = tenthsOf(b, rowsB);
    for (int r = 0; r < ConfigTable::RowCount; ++r) {
        const QString address = ConfigTable::rowAddress(r);
        const int width = ConfigTable::rowWidth(r).toInt();
        const int ra = findRow(a, address, rowsA);
        const int rb = findRow(b, address, rowsB);
        if (ra < 0 || rb < 0) {
            *error = QStringLiteral("%1 has no row for address %2").arg(ra < 0 ? "A" : "B", address);
            return false;
        }
        CompareRow c;
        c.row = r;
        c.address = address;
        if (const Parameter *p = ParameterMap::find(address)) {
            c.control = p->control;
            c.name = p->title;
        }
        c.dataA = normalised(a.row(ra).Data, width);
        c.dataB = normalised(b.row(rb).Data, width);
        c.valueA = readable(address, c.dataA, tenthsA);
        c.valueB = readable(address, c.dataB, tenthsB);
        c.differs = c.dataA != c.dataB;
        c.live = isLive(address);
        rows->append(c);
    }
    return true;
}

int differences(const QList<CompareRow> &rows)
{
    int n = 0;
    for (const CompareRow &c : rows)
        n += c.differs && !c.live;
    return n;
}

QStringList listing(const QList<CompareRow> &rows, const QString &nameA, const QString &nameB)
{
    const auto cell = [](const QString &s, int w) { return s.leftJustified(w); };
    QStringList out;
    out << cell(QStringLiteral("row"), 5) + cell(QStringLiteral("addr"), 6)
               + cell(QStringLiteral("parameter"), 58) + cell(nameA, 18) + cell(nameB, 18);
    for (const CompareRow &c : rows)
        out << cell(QString::number(c.row), 5) + cell(c.address, 6) + cell(c.parameterText(), 58)
                   + cell(c.valueA, 18) + cell(c.valueB, 18) + c.mark();
    return out;
}

} // namespace ConfigCompare
