#include "scriptedprompter.h"

bool ScriptedPrompter::ask(const QString &kind, const QString &text, const QString &title, Icon icon)
{
    entries.append({kind, text, title, icon});
    return answers.isEmpty() ? false : answers.takeFirst();
}

bool ScriptedPrompter::inputBox(const QString &prompt, const QString &title, const QString &, QString *answer)
{
    entries.append({QStringLiteral("input"), prompt, title, Information});
    if (inputs.isEmpty() || inputs.first().isNull()) {
        if (!inputs.isEmpty())
            inputs.removeFirst();
        return false;
    }
    *answer = inputs.takeFirst();
    return true;
}

QString ScriptedPrompter::fileName(const QString &kind, const QString &title, const QString &proposed, const QString &filter)
{
    entries.append({kind, proposed, title + QStringLiteral(" | ") + filter, Information});
    return fileNames.isEmpty() ? QString() : fileNames.takeFirst();
}

void ScriptedPrompter::beep()
{
    entries.append({QStringLiteral("beep"), QString(), QString(), Information});
    ++beeps;
}

QStringList ScriptedPrompter::texts(const QString &kind) const
{
    QStringList out;
    for (const Entry &e : entries)
        if (e.kind == kind)
            out << e.text;
    return out;
}

QStringList ScriptedPrompter::said() const
{
    QStringList out;
    for (const Entry &e : entries)
        out << line(e.kind, e.title, e.icon, e.text);
    return out;
}

QString ScriptedPrompter::line(const QString &kind, const QString &title, Icon icon, const QString &text)
{
    return QStringList{kind, title, QString::number(icon), text}.join(QLatin1Char('|'));
}
