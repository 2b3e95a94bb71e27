// The journal of verified writes, and undoing the newest of them.
#include "cli.h"

#include "session/parametermap.h"
#include "session/terminalhost.h"
#include "session/writejournal.h"
#include "session/writeundo.h"

#include <QJsonValue>
#include <climits>

namespace {

// --last N: a positive count, or `def` when not given; -1 when bad.
int lastCount(const CliContext &c, int def)
{
    if (!c.options.contains(QStringLiteral("last")))
        return def;
    bool ok = false;
    const int n = c.option(QStringLiteral("last")).toInt(&ok);
    return ok && n > 0 ? n : -1;
}

// The parameter a record wrote, by its control name; "" for raw memory.
QString parameterName(const JournalRecord &r)
{
    const Parameter *p = ParameterMap::find(r.address);
    return p && p->width == r.width ? (p->control.isEmpty() ? p->alias : p->control) : QString();
}

QJsonObject jsonLine(const JournalRecord &r)
{
    const auto orNull = [](const QString &text) { return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text); };
    return {{QStringLiteral("time"), r.time},
            {QStringLiteral("port"), r.port},
            {QStringLiteral("operation"), r.operation},
            {QStringLiteral("source"), r.source},
            {QStringLiteral("address"), r.address},
            {QStringLiteral("width"), r.width},
            {QStringLiteral("name"), orNull(parameterName(r))},
            {QStringLiteral("before"), orNull(r.before)},
            {QStringLiteral("written"), r.written},
            {QStringLiteral("verified"), r.verified},
            {QStringLiteral("outcome"), r.outcomeText()},
            {QStringLiteral("read_back"), orNull(r.readBack)}};
}

QString line(const JournalRecord &r)
{
    const QString parameter = parameterName(r);
    const QString name = parameter.isEmpty() ? QStringLiteral("-") : parameter;
    return QStringList{r.time, r.port.isEmpty() ? QStringLiteral("-") : r.port,
                       r.operation.isEmpty() ? QStringLiteral("-") : r.operation,
                       r.source.isEmpty() ? QStringLiteral("-") : r.source, r.address,
                       QStringLiteral("%1").arg(r.width, 2, 10, QLatin1Char('0')), name,
                       QStringLiteral("before ") + (r.beforeKnown() ? r.before : QStringLiteral("unknown")),
                       QStringLiteral("written ") + r.written,
                       r.outcomeText()}
        .join(QLatin1String("  "));
}

} // namespace

static CliCommand journalCommand("journal",
    "journal [--last N]     list the journal of verified writes, newest first",
    [](CliContext &c) -> int {
        if (!c.args.isEmpty())
            return c.usage(QStringLiteral("journal takes no arguments"));
        const int n = lastCount(c, INT_MAX);
        if (n < 0)
            return c.usage(QStringLiteral("--last needs a positive whole number"));
        const WriteJournal journal;
        QString error;
        // Read from the end: the newest records cost the same in any journal.
        const QList<JournalRecord> records = n == INT_MAX ? journal.records(&error) : journal.newest(n, &error);
        if (!error.isEmpty()) {
            *c.err << "quorin-cli: " << error << "\n";
            return ExitUsage;
        }
        for (int i = records.size() - 1; i >= 0; --i) {
            if (c.json())
                c.printJson(jsonLine(records[i]));
            else
                *c.out << line(records[i]) << "\n";
        }
        return ExitOk;
    });

static CliCommand undoCommand("undo",
    "undo --last N --yes    put back the data of the newest N journaled writes, newest first;\n"
    "                       refused when the device no longer holds what they wrote",
    [](CliContext &c) -> int {
        if (!c.args.isEmpty())
            return c.usage(QStringLiteral("undo takes no arguments"));
        const int n = lastCount(c, -1);
        if (n < 0)
            return c.usage(QStringLiteral("undo needs --last N, a positive whole number"));
        // The readout lets the journal name the data each undo write replaces.
        TerminalHost *host = nullptr;
        if (const int status = c.readOut(&host))
            return status;
        const WriteJournal journal;
        WriteUndo undo(*host, journal);
        undo.undone = [&](const JournalRecord &r) {
            *c.out << "undone: " << WriteUndo::describe(r) << "\n";
            c.out->flush();
        };
        switch (undo.undoLast(n)) {
        case WriteUndo::Done:
            return ExitOk;
        case WriteUndo::Declined:
            return ExitUsage;
        default:
            *c.err << "quorin-cli: undo refused: " << undo.refusal() << "\n";
            return ExitDevice;
        }
    });
