#pragma once
// A Prompter for tests: records every message and question with its title,
// and answers questions, input boxes and file dialogs from queues. A question
// with an empty queue answers with the safe default (No / Cancel) and is
// recorded, so an unexpected question shows up in the assertions.
#include "common/prompter.h"
#include <QList>
#include <QStringList>

class ScriptedPrompter : public Prompter
{
public:
    struct Entry {
        QString kind;   // "message", "yesno", "okcancel", "input", "open", "save", "beep"
        QString text;
        QString title;  // a file dialog's is followed by " | " and its filter
        Icon icon = Information;
    };

    void message(const QString &text, const QString &title, Icon icon) override { entries.append({QStringLiteral("message"), text, title, icon}); }
    bool askYesNo(const QString &text, const QString &title, Icon icon) override { return ask(QStringLiteral("yesno"), text, title, icon); }
    bool askOkCancel(const QString &text, const QString &title, Icon icon) override { return ask(QStringLiteral("okcancel"), text, title, icon); }
    bool inputBox(const QString &prompt, const QString &title, const QString &defaultText,
                  QString *answer) override;
    QString openFileName(const QString &title, const QString &proposed, const QString &filter) override { return fileName(QStringLiteral("open"), title, proposed, filter); }
    QString saveFileName(const QString &title, const QString &proposed, const QString &filter) override { return fileName(QStringLiteral("save"), title, proposed, filter); }
    void beep() override;

    // Texts of the entries of one kind, in order ("message" by default).
    QStringList texts(const QString &kind = QStringLiteral("message")) const;
    // Every entry whole, "kind|title|icon|text", to compare all in one go.
    QStringList said() const;
    static QString line(const QString &kind, const QString &title, Icon icon, const QString &text = {});
    void clear() { entries.clear(); }

    QList<Entry> entries;
    QList<bool> answers;          // for Yes/No and OK/Cancel, in order
    QStringList inputs;           // for input boxes; a null QString cancels
    QStringList fileNames;        // for file dialogs; empty cancels
    int beeps = 0;

private:
    // A question recorded, and answered from the queue.
    bool ask(const QString &kind, const QString &text, const QString &title, Icon icon);
    // A file dialog recorded, and answered from the queue.
    QString fileName(const QString &kind, const QString &title, const QString &proposed, const QString &filter);
};
