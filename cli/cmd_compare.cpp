// Comparing configuration tables: the device against a file, or two files.
#include "cli.h"

#include "files/configcompare.h"
#include "files/configtable.h"
#include "session/parametermap.h"
#include "session/terminalhost.h"

#include <QFileInfo>
#include <QJsonArray>

namespace {

// Exit status as diff has it: 0 the same, 1 they differ, 2 trouble.
enum CompareExit { Same = 0, Differ = 1, Trouble = 2 };

// Each side's value as shown and as a number, with the data it holds.
QJsonObject side(const CompareRow &r, const QString &data, const QString &text)
{
    const Parameter *p = ParameterMap::find(r.address);
    const bool known = p && !data.isEmpty();
    return {{QStringLiteral("data"), data},
            {QStringLiteral("value"), known ? jsonNumber(*p, text, qint64(data.toULongLong(nullptr, 16)))
                                            : QJsonValue(QJsonValue::Null)},
            {QStringLiteral("text"), text}};
}

void printJson(const CliContext &c, const QList<CompareRow> &rows, const QString &nameA, const QString &nameB, int n)
{
    QJsonArray list;
    for (const CompareRow &r : rows)
        list.append(QJsonObject{{QStringLiteral("row"), r.row},
                                {QStringLiteral("address"), r.address},
                                {QStringLiteral("name"), !r.control.isEmpty() ? r.control
                                        : ParameterMap::find(r.address) ? ParameterMap::find(r.address)->alias : r.name},
                                {QStringLiteral("a"), side(r, r.dataA, r.valueA)},
                                {QStringLiteral("b"), side(r, r.dataB, r.valueB)},
                                {QStringLiteral("differs"), r.differs},
                                {QStringLiteral("live"), r.live},
                                {QStringLiteral("mark"), r.mark()}});
    c.printJson({{QStringLiteral("a"), nameA}, {QStringLiteral("b"), nameB}, {QStringLiteral("rows"), list},
                 {QStringLiteral("differences"), n}});
}

int report(CliContext &c, const ConfigTable &a, int rowsA, const QString &nameA, const ConfigTable &b, int rowsB,
           const QString &nameB)
{
    QList<CompareRow> rows;
    QString error;
    if (!ConfigCompare::compare(a, b, &rows, &error, rowsA, rowsB)) {
        error.replace(QLatin1String("A has"), nameA + QStringLiteral(" has"));
        error.replace(QLatin1String("B has"), nameB + QStringLiteral(" has"));
        return c.usage(error);
    }
    const int n = ConfigCompare::differences(rows);
    if (c.json()) {
        printJson(c, rows, nameA, nameB, n);
        return n == 0 ? Same : Differ;
    }
    for (const QString &line : ConfigCompare::listing(rows, nameA, nameB))
        *c.out << line.trimmed() << "\n";
    *c.out << (n == 0 ? QStringLiteral("no differences") : QStringLiteral("%1 rows differ").arg(n)) << "\n";
    return n == 0 ? Same : Differ;
}

} // namespace

static CliCommand compareCommand("compare",
    "compare FILE.epr [B.epr]  compare the device (or B.epr) with FILE row by row;\n"
    "                         exit 0 the same, 1 they differ, 2 bad input or no device readout;\n"
    "                         the data pointer (01FE) and counter word (0109) move by themselves:\n"
    "                         shown as live values, never a difference on their own",
    [](CliContext &c) -> int {
        if (c.args.size() != 1 && c.args.size() != 2)
            return c.usage(QStringLiteral("compare needs FILE.epr, or A.epr B.epr"));
        ConfigTable a;
        QString error;
        if (!a.readFile(c.args[0], &error))
            return c.usage(error);
        const QString nameA = QFileInfo(c.args[0]).fileName();
        if (c.args.size() == 2) {
            ConfigTable b;
            if (!b.readFile(c.args[1], &error))
                return c.usage(error);
            return report(c, a, a.recordsRead(), nameA, b, b.recordsRead(), QFileInfo(c.args[1]).fileName());
        }
        TerminalHost *host = nullptr;
        if (c.readOut(&host) != ExitOk)
            return Trouble;
        return report(c, ConfigTable::fromTerminal(host->state()), ConfigTable::RowCount, QStringLiteral("device"), a,
                      a.recordsRead(), nameA);
    });
