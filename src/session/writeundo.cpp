#include "session/writeundo.h"

#include "common/prompter.h"
#include "link/devicelink.h"
#include "session/operationgate.h"
#include "session/parametermap.h"
#include "session/terminalhost.h"

#include <QMap>

namespace {

QString widthText(int width)
{
    return QStringLiteral("%1").arg(width, 2, 16, QLatin1Char('0')).toUpper();
}

// The RAM address a parameter's byte is copied to after each write ("" none).
QString mirrorOf(const JournalRecord &r)
{
    const Parameter *p = ParameterMap::find(r.address);
    return p && p->width == r.width ? p->mirror : QString();
}

QString where(const JournalRecord &r)
{
    return QStringLiteral("the write of %1 at %2 (%3)").arg(r.written, r.address, r.time);
}

} // namespace

QString WriteUndo::describe(const JournalRecord &r)
{
    const Parameter *p = ParameterMap::find(r.address);
    QString name;
    if (p && p->width == r.width)
        name = QStringLiteral("  ") + (p->control.isEmpty() ? p->alias : p->control);
    return r.address + QLatin1Char(' ') + widthText(r.width) + QStringLiteral("  ") + r.written
           + QStringLiteral(" -> ") + r.before + name;
}

WriteUndo::Result WriteUndo::refuse(const QString &why, Result result)
{
    m_refusal = why;
    return result;
}

WriteUndo::Result WriteUndo::undoLast(int count)
{
    m_refusal.clear();
    if (m_host.gate().busy())
        return refuse(QStringLiteral("another device operation is running"), Busy);
    QString error;
    const QList<JournalRecord> all = m_journal.records(&error);
    if (!error.isEmpty())
        return refuse(error);
    if (count < 1 || count > all.size())
        return refuse(QStringLiteral("the journal holds %1 records").arg(all.size()));

    QList<JournalRecord> steps;
    for (int i = all.size() - 1; i >= all.size() - count; --i)
        steps << all[i];
    return undo(steps);
}

WriteUndo::Result WriteUndo::undo(const QList<JournalRecord> &chosen)
{
    m_refusal.clear();
    const OperationGate::Hold hold = m_host.gate().begin(QStringLiteral("undo"));
    if (!hold)
        return refuse(QStringLiteral("another device operation is running"), Busy);
    if (chosen.isEmpty())
        return refuse(QStringLiteral("no write is chosen"));
    // A parameter put back is copied to its RAM address again, as the editor
    // does after a write; the copies the editor journaled (their data before
    // is never known) need no step of their own then.
    QStringList copies;
    for (const JournalRecord &r : chosen)
        copies << mirrorOf(r);
    QList<JournalRecord> steps;
    for (const JournalRecord &r : chosen)
        if (!copies.contains(r.address) || r.width != 1)
            steps << r;

    // What each byte will hold once the steps before it are undone, so that
    // two writes to one address undo in turn.
    QMap<int, QString> planned;
    for (const JournalRecord &r : std::as_const(steps)) {
        if (!r.beforeKnown())
            return refuse(where(r) + QStringLiteral(": the data before it is not known"));
        const QString wrote = r.verified ? r.written : r.readBack;
        if (wrote.isEmpty() || wrote.size() != 2 * r.width || r.before.size() != 2 * r.width)
            return refuse(where(r) + QStringLiteral(": what the device held afterwards is not known"));
        bool ok = false;
        const int first = r.address.toInt(&ok, 16);
        if (!ok)
            return refuse(where(r) + QStringLiteral(": the address is not hexadecimal"));

        QString current;
        bool fromPlan = true;
        for (int a = first; a < first + r.width; ++a)
            fromPlan = fromPlan && planned.contains(a);
        if (fromPlan) {
            for (int a = first; a < first + r.width; ++a)
                current += planned.value(a);
        } else {
            current = m_host.link().ReadMemory(r.address, widthText(r.width));
            if (current.isEmpty())
                return refuse(QStringLiteral("the device did not answer a read of %1").arg(r.address), Failed);
            // Bytes an earlier step puts back count as put back.
            for (int a = first; a < first + r.width; ++a)
                if (planned.contains(a))
                    current.replace(2 * (a - first), 2, planned.value(a));
        }
        if (current.compare(wrote, Qt::CaseInsensitive) != 0)
            return refuse(where(r) + QStringLiteral(": the device holds %1 there now; it was changed since").arg(current));
        for (int a = first; a < first + r.width; ++a)
            planned.insert(a, r.before.mid(2 * (a - first), 2));
    }

    QString question = QStringLiteral("Undo writes these, newest first:\r");
    for (const JournalRecord &r : std::as_const(steps))
        question += QStringLiteral("  ") + describeStep(r)
                    + (mirrorOf(r).isEmpty() ? QString() : QStringLiteral(", and its copy at ") + mirrorOf(r))
                    + QLatin1Char('\r');
    question += QStringLiteral("Go on?");
    if (!m_host.prompter().askYesNo(question, QStringLiteral("System Monitor"), Prompter::Warning))
        return Declined;

    for (const JournalRecord &r : std::as_const(steps)) {
        for (const QString &address : {r.address, mirrorOf(r)}) {
            if (!address.isEmpty() && m_host.link().WriteRamData(widthText(r.width), address, r.before) != r.before)
                return refuse(QStringLiteral("the write of %1 at %2 was not verified; undo stopped").arg(r.before, address),
                              Failed);
        }
        if (undone)
            undone(r);
    }
    return Done;
}
