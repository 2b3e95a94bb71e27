#include "configtable.h"

#include "common/wholefile.h"

#include "common/numtext.h"
#include "session/terminalstate.h"

#include <QFile>
#include <QMap>
#include <QFileInfo>

namespace {

struct RowSpec {
    const char *address;
    const char *width;
};

// File order of the rows; it is not sorted by address.
const RowSpec kRows[ConfigTable::RowCount] = {
    {"0100", "01"}, {"0105", "04"}, {"010D", "04"}, {"0134", "02"}, {"014D", "02"}, {"0118", "04"},
    {"0103", "01"}, {"014C", "01"}, {"0170", "04"}, {"01E9", "01"}, {"0138", "02"}, {"01E4", "01"},
    {"0104", "01"}, {"013A", "02"}, {"0101", "02"}, {"01E5", "03"}, {"017C", "04"}, {"01E8", "01"},
    {"01FE", "02"}, {"01EA", "01"}, {"0109", "02"}, {"010C", "01"}, {"0111", "01"}, {"0116", "01"},
    {"012D", "02"}, {"0130", "02"},
};

// One "0" in front of a text shorter than `width`, once only: a pointer
// below 100h keeps 3 digits, as the device's own tools write it.
QString padOnce(const QString &text, int width)
{
    return text.size() < width ? QLatin1Char('0') + text : text;
}

// Cuts a row's bytes out of a memory image read at `base`; a short image
// (device not read) gives a short or empty field rather than a refusal.
QString cut(const QString &image, int base, const QString &address, int width)
{
    const int start = (address.toInt(nullptr, 16) - base) * 2;
    return image.mid(start, width * 2);
}

// Splits one line into fields the way the runtime's sequential input reads
// them: a field in double quotes is taken without the quotes (commas inside
// stay), an unquoted field runs to the next comma with outer blanks dropped.
bool splitRecord(const QString &line, QStringList *fields, QString *why)
{
    fields->clear();
    int i = 0;
    const int n = line.size();
    for (;;) {
        while (i < n && (line[i] == QLatin1Char(' ') || line[i] == QLatin1Char('\t')))
            ++i;
        QString field;
        if (i < n && line[i] == QLatin1Char('"')) {
            const int close = line.indexOf(QLatin1Char('"'), i + 1);
            if (close < 0) {
                *why = QStringLiteral("a quoted field is not closed");
                return false;
            }
            field = line.mid(i + 1, close - i - 1);
            i = close + 1;
            while (i < n && (line[i] == QLatin1Char(' ') || line[i] == QLatin1Char('\t')))
                ++i;
            if (i < n && line[i] != QLatin1Char(',')) {
                *why = QStringLiteral("text follows a quoted field");
                return false;
            }
        } else {
            const int comma = line.indexOf(QLatin1Char(','), i);
            const int end = comma < 0 ? n : comma;
            field = line.mid(i, end - i).trimmed();
            i = end;
        }
        fields->append(field);
        if (i >= n)
            return true;
        ++i; // the comma
    }
}

// Row 15 shows the first two characters of the unit name, written so that
// the file reads back the same: a name never set holds zero bytes and shows
// empty; a quote or a control byte would end the field or the record early,
// and a character the file's 8-bit text cannot hold would change, so these
// show as "?".
QString unitNameValue(const QString &name)
{
    QString out;
    for (const QChar c : name.left(2)) {
        if (c.unicode() == 0)
            break;
        out += c.unicode() < 0x20 || c.unicode() > 0xFF || c == QLatin1Char('"') ? QChar(u'?') : c;
    }
    return out;
}

} // namespace

ConfigTable::ConfigTable() : m_rows(Capacity) {}

QString ConfigTable::rowAddress(int row)
{
    return row >= 0 && row < RowCount ? QString::fromLatin1(kRows[row].address) : QString();
}

QString ConfigTable::rowWidth(int row)
{
    return row >= 0 && row < RowCount ? QString::fromLatin1(kRows[row].width) : QString();
}

ConfigTable ConfigTable::fromTerminal(const TerminalState &s)
{
    ConfigTable t;
    for (int r = 0; r < RowCount; ++r) {
        ConfigRow &row = t.m_rows[r];
        const QString address = rowAddress(r);
        const int width = rowWidth(r).toInt();
        const qint64 held = s.cellValue(address);
        const qint64 value = width == 4 ? qint64(qint32(quint32(held))) : held;
        row.Value = QString::number(value);
        row.Index = numtext::formatText(QString::number(r), QStringLiteral("!@@@"));
        row.Address = address;
        row.Width = rowWidth(r);
        if (address == QLatin1String("0170"))
            row.Data = s.DensityHex;
        else if (address == QLatin1String("01E4"))
            row.Data = s.EngUnitHex;
        else if (address == QLatin1String("017C"))
            row.Data = s.UDFactorHex;
        else if (address == QLatin1String("01FE"))
            row.Data = padOnce(numtext::hex(quint32(held)), 4);
        else if (address.startsWith(QLatin1String("01E")))
            row.Data = cut(s.MemoryImage01E5, 0x1E5, address, width);
        else
            row.Data = cut(s.MemoryImage0100Export, 0x100, address, width);

        if (address == QLatin1String("01E5"))
            row.Value = unitNameValue(s.cellText(address));
        else if (address == QLatin1String("01FE"))
            row.Value = row.Data;
        else if (address == QLatin1String("01EA"))
            row.Value = padOnce(numtext::hex(quint32(held)), 2);
    }
    t.m_read = RowCount;
    return t;
}

QByteArray ConfigTable::fileBytes() const
{
    QByteArray out;
    const auto quoted = [](const QString &s) { return '"' + s.toLatin1() + '"'; };
    for (int r = 0; r < RowCount; ++r) {
        const ConfigRow &row = m_rows[r];
        out += quoted(row.Index) + ',' + quoted(row.Address) + ',' + quoted(row.Width) + ',' + quoted(row.Data)
               + ',' + quoted(row.Value) + "\r\n";
    }
    return out;
}

bool ConfigTable::writeFile(const QString &path, QString *error) const
{
    return wholefile::write(path, fileBytes(), error);
}

bool ConfigTable::read(const QByteArray &bytes, QString *error)
{
    // CR LF as written, LF or a bare CR as other editors leave them.
    QByteArray text = bytes;
    text.replace("\r\n", "\n");
    text.replace('\r', '\n');
    QList<QByteArray> lines = text.split('\n');
    // Blank lines after the last record are not records.
    while (!lines.isEmpty() && lines.last().trimmed().isEmpty())
        lines.removeLast();

    QVector<ConfigRow> rows = m_rows;
    QMap<QString, int> lineOf;   // address -> the line that names it
    int k = 0;
    for (int i = 0; i < lines.size(); ++i) {
        const QByteArray raw = lines[i];
        const QString where = QStringLiteral("line %1: ").arg(i + 1);
        for (char c : std::as_const(raw)) {
            const uchar u = uchar(c);
            if (u < 0x20 && c != '\t') {
                *error = where + QStringLiteral("the file holds binary data, not a configuration table");
                return false;
            }
        }
        if (k >= Capacity) {
            *error = where + QStringLiteral("more than %1 records; a configuration table has %2").arg(Capacity).arg(RowCount);
            return false;
        }
        QStringList fields;
        QString why;
        if (!splitRecord(QString::fromLatin1(raw), &fields, &why)) {
            *error = where + why;
            return false;
        }
        if (fields.size() != 5) {
            *error = where + QStringLiteral("the record has %1 fields, 5 expected").arg(fields.size());
            return false;
        }
        // One address, one meaning: a second row for it would be read
        // differently by whoever takes the first or the last.
        // "134" and "0134" are the same cell of device memory.
        QString address = fields[1].trimmed().toUpper();
        bool hex = false;
        const uint cell = address.toUInt(&hex, 16);
        if (hex && cell <= 0xFFFF)
            address = QStringLiteral("%1").arg(cell, 4, 16, QLatin1Char('0')).toUpper();
        if (!address.isEmpty() && lineOf.contains(address)) {
            *error = where + QStringLiteral("the address %1 is named again; line %2 names it first")
                                 .arg(fields[1]).arg(lineOf.value(address));
            return false;
        }
        lineOf.insert(address, i + 1);
        rows[k] = ConfigRow{fields[0], fields[1], fields[2], fields[3], fields[4]};
        ++k;
    }
    m_rows = rows;
    m_read = k;
    return true;
}

bool ConfigTable::readFile(const QString &path, QString *error)
{
    QFile file(path);
    const QString name = QFileInfo(path).fileName();
    if (!file.open(QIODevice::ReadOnly)) {
        *error = name + QStringLiteral(": ") + file.errorString();
        return false;
    }
    // A table is about 1 KiB; anything far larger is not one.
    constexpr qint64 limit = 1 << 20;
    if (file.size() > limit) {
        *error = name + QStringLiteral(": the file is too large for a configuration table");
        return false;
    }
    const QByteArray bytes = file.read(limit);
    if (file.error() != QFileDevice::NoError) {
        *error = name + QStringLiteral(": ") + file.errorString();
        return false;
    }
    QString why;
    if (!read(bytes, &why)) {
        *error = name + QStringLiteral(", ") + why;
        return false;
    }
    return true;
}

QString ConfigTable::displayLine(int row, const QString &separator) const
{
    const ConfigRow &r = m_rows[row];
    return r.Index + separator + r.Address + separator + r.Width + separator + r.Data + separator + r.Value;
}
