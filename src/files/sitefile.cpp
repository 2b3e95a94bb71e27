#include "sitefile.h"

#include "files/configtable.h"
#include "link/lineparams.h"
#include "link/portfactory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace {

const QStringList kColumns = {QStringLiteral("name"), QStringLiteral("port"), QStringLiteral("settings"),
                              QStringLiteral("interface"), QStringLiteral("golden")};

bool hasControl(const QString &text)
{
    for (QChar c : text)
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            return true;
    return false;
}

} // namespace

bool SiteFile::splitLine(const QString &line, QStringList *fields)
{
    fields->clear();
    QString field;
    bool quoted = false;
    for (int i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        if (quoted) {
            if (c != QLatin1Char('"'))
                field += c;
            else if (i + 1 < line.size() && line[i + 1] == QLatin1Char('"'))
                field += line[++i];
            else
                quoted = false;
        } else if (c == QLatin1Char('"')) {
            quoted = true;
        } else if (c == QLatin1Char(',')) {
            *fields << field;
            field.clear();
        } else {
            field += c;
        }
    }
    *fields << field;
    return !quoted;
}

bool SiteFile::isSafeName(const QString &name, QString *why)
{
    QString reason;
    if (name.isEmpty())
        reason = QStringLiteral("the name is empty");
    else if (name.size() > 64)
        reason = QStringLiteral("the name is longer than 64 characters");
    else if (hasControl(name))
        reason = QStringLiteral("the name holds a control character");
    else if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\')) || name.contains(QLatin1Char(':')))
        reason = QStringLiteral("the name holds a path separator");
    else if (name.startsWith(QLatin1Char('.')) || name.startsWith(QLatin1Char(' ')) || name.endsWith(QLatin1Char(' ')))
        reason = QStringLiteral("the name starts with a dot or starts or ends with a blank");
    if (why)
        *why = reason;
    return reason.isEmpty();
}

void SiteFile::fail(int line, const QString &text)
{
    m_errors << QStringLiteral("%1:%2: %3").arg(m_fileName).arg(line).arg(text);
}

bool SiteFile::read(const QString &path)
{
    m_devices.clear();
    m_errors.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        m_errors << path + QStringLiteral(": ") + file.errorString();
        return false;
    }
    return parse(file.readAll(), QFileInfo(path).absolutePath(), path);
}

bool SiteFile::parse(const QByteArray &input, const QString &folder, const QString &fileName)
{
    m_devices.clear();
    m_errors.clear();
    m_fileName = fileName;
    QByteArray bytes = input;
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes.remove(0, 3);
    const QString text = QString::fromUtf8(bytes);
    if (text.contains(QChar::ReplacementCharacter)) {
        fail(1, QStringLiteral("the file is not UTF-8 text"));
        return false;
    }
    QStringList lines = text.split(QLatin1Char('\n'));
    QList<int> columns; // the field index of each known column, -1 when absent
    QSet<QString> names, ports;
    bool header = false;
    for (int n = 0; n < lines.size(); ++n) {
        QString line = lines[n];
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        const int number = n + 1;
        if (line.trimmed().isEmpty() || line.trimmed().startsWith(QLatin1Char('#')))
            continue;
        QStringList fields;
        if (!splitLine(line, &fields)) {
            fail(number, QStringLiteral("a quote is not closed"));
            continue;
        }
        for (QString &f : fields)
            f = f.trimmed();
        if (!header) {
            header = true;
            for (const QString &f : fields)
                if (!kColumns.contains(f.toLower()))
                    fail(number, QStringLiteral("unknown column \"%1\"; the columns are %2").arg(f, kColumns.join(QLatin1Char(','))));
            for (const QString &c : kColumns) {
                int at = -1;
                for (int i = 0; i < fields.size(); ++i)
                    if (fields[i].toLower() == c)
                        at = at < 0 ? i : -2;
                if (at == -2)
                    fail(number, QStringLiteral("column \"%1\" is given twice").arg(c));
                columns << at;
            }
            if (columns[0] < 0 || columns[1] < 0)
                fail(number, QStringLiteral("the header needs the columns name and port"));
            if (!m_errors.isEmpty())
                return false;
            continue;
        }
        int width = 0;
        for (int c : columns)
            width = qMax(width, c + 1);
        if (fields.size() != width) {
            fail(number, QStringLiteral("%1 fields where the header has %2").arg(fields.size()).arg(width));
            continue;
        }
        const auto field = [&](int column) { return columns[column] < 0 ? QString() : fields[columns[column]]; };
        SiteDevice d;
        d.line = number;
        d.name = field(0);
        d.port = field(1);
        d.settings = field(2);
        const QString interface = field(3).toUpper();
        d.golden = field(4);
        QString why;
        const int before = m_errors.size();
        if (!isSafeName(d.name, &why))
            fail(number, why);
        else if (names.contains(d.name.toLower()))
            fail(number, QStringLiteral("the name \"%1\" is given twice").arg(d.name));
        if (d.port.isEmpty())
            fail(number, QStringLiteral("no port"));
        else if (hasControl(d.port) || !PortFactory::exists(d.port, &why))
            fail(number, QStringLiteral("bad port \"%1\": %2").arg(d.port, hasControl(d.port) ? QStringLiteral("a control character") : why));
        else if (ports.contains(d.port))
            fail(number, QStringLiteral("the port \"%1\" is given twice").arg(d.port));
        if (!d.settings.isEmpty() && !parseLineSettings(d.settings, nullptr, &why))
            fail(number, QStringLiteral("bad settings \"%1\": %2").arg(d.settings, why));
        if (!interface.isEmpty() && interface != QLatin1String("RS232") && interface != QLatin1String("RS485"))
            fail(number, QStringLiteral("interface \"%1\" is neither RS232 nor RS485").arg(field(3)));
        d.rs485 = interface == QLatin1String("RS485");
        if (!d.golden.isEmpty()) {
            d.golden = QDir::cleanPath(QDir(folder).absoluteFilePath(d.golden));
            ConfigTable table;
            if (!QFileInfo(d.golden).isFile())
                fail(number, QStringLiteral("golden file %1 does not exist").arg(field(4)));
            else if (!table.readFile(d.golden, &why))
                fail(number, QStringLiteral("golden file: ") + why);
            else if (table.recordsRead() != ConfigTable::RowCount)
                fail(number, QStringLiteral("golden file %1 holds %2 rows; a configuration table has %3")
                                 .arg(field(4)).arg(table.recordsRead()).arg(ConfigTable::RowCount));
        }
        names.insert(d.name.toLower());
        ports.insert(d.port);
        if (m_errors.size() == before)
            m_devices << d;
    }
    if (!header)
        fail(1, QStringLiteral("no header line name,port,settings,interface,golden"));
    else if (m_errors.isEmpty() && m_devices.isEmpty())
        fail(lines.size(), QStringLiteral("no transmitters"));
    return m_errors.isEmpty();
}
