#include "session/writeundo.h"

#include "common/prompter.h"
#include "link/devicelink.h"
#include "session/operationgate.h"
#include "session/parametermap.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"
#include "link/serialport.h"

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

bool WriteUndo::isCopyOf(const JournalRecord &copy, const JournalRecord &write)
{
    return !copy.address.isEmpty() && mirrorOf(write) == copy.address && copy.width == write.width
           && copy.written == write.written && copy.port == write.port;
}

WriteUndo::Result WriteUndo::undoLast(int count)
{
    m_refusal.clear();
    if (m_host.gate().busy())
        return refuse(QStringLiteral("another device operation is running"), Busy);
    const SerialPort *open = m_host.link().port();
    if (!open)
        return refuse(QStringLiteral("no port is open"));
    // Only what was written through this port; a write and its RAM copy are
    // one step.
    const QString port = open->portName();
    QString error;
    const QList<JournalRecord> found =
        m_journal.newest(2 * count + 1, &error, [&port](const JournalRecord &r) { return r.port == port; });
    if (!error.isEmpty())
        return refuse(error);
    QList<JournalRecord> steps;
    int taken = 0;
    for (int i = found.size() - 1; i >= 0 && taken < count; --i, ++taken) {
        steps << found[i];
        if (i > 0 && isCopyOf(found[i], found[i - 1]))
            steps << found[--i];
    }
    if (count < 1 || taken < count)
        return refuse(QStringLiteral("the journal holds %1 writes through %2").arg(taken).arg(port));
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

    // The device open now must be the one the writes went to: in the rows
    // none of them touched, it holds what the terminal knew then.
    const TerminalState &state = m_host.state();
    const auto touched = [&chosen](const QString &address, int width) {
        const int a = address.toInt(nullptr, 16);
        for (const JournalRecord &r : chosen) {
            const int f = r.address.toInt(nullptr, 16);
            if (f < a + width && a < f + r.width)
                return true;
        }
        return false;
    };
    for (const JournalRecord &r : chosen) {
        for (const QString &row : r.device.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
            const QString address = row.section(QLatin1Char('='), 0, 0);
            const QString then = row.section(QLatin1Char('='), 1);
            const Parameter *p = ParameterMap::find(address);
            if (!p || then.isEmpty() || touched(address, p->width))
                continue;
            const QString now = state.knownBytes(address.toInt(nullptr, 16), p->width);
            if (!now.isEmpty() && now != then)
                return refuse(where(r) + QStringLiteral(": the device open now is another: it holds %1 at %2, "
                                                        "the device written held %3")
                                             .arg(now, address, then));
        }
    }

    // What each byte will hold once the steps before it are undone, so that
    // two writes to one address undo in turn.
    QMap<int, QString> planned;
    for (const JournalRecord &r : std::as_const(steps)) {
        if (!r.beforeKnown())
            return refuse(where(r) + QStringLiteral(": the data before it is not known"));
        // A write whose outcome was not seen is undone only if the device
        // holds what it asked for; one whose read-back differed, also if it
        // holds what it answered then.
        const bool differed = r.state == JournalRecord::Done && !r.verified;
        if (r.written.size() != 2 * r.width || r.before.size() != 2 * r.width
            || (differed && r.readBack.size() != 2 * r.width))
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
        const auto holds = [&current](const QString &data) { return current.compare(data, Qt::CaseInsensitive) == 0; };
        if (!holds(r.written) && !(differed && holds(r.readBack))) {
            if (!r.verified && !differed && holds(r.before))
                return refuse(where(r) + QStringLiteral(": the device holds %1 there, the data before it; "
                                                        "the write did not take effect").arg(current));
            return refuse(where(r) + QStringLiteral(": the device holds %1 there now; it was changed since").arg(current));
        }
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
            if (!address.isEmpty() && m_host.link().WriteRamData(widthText(r.width), address, r.before) != r.before) {
                m_host.refreshStatusBar();
                return refuse(QStringLiteral("the write of %1 at %2 was not verified; undo stopped").arg(r.before, address),
                              Failed);
            }
        }
        if (undone)
            undone(r);
    }
    m_host.refreshStatusBar();
    return Done;
}
