#pragma once
// Every message the operator sees, and every question the program asks, goes
// through one Prompter. The windows use a message-box implementation, the
// command-line tool prints to stderr and answers from its flags, and tests
// record the texts and answer from a queue.
#include <QString>

class Prompter
{
public:
    enum Icon { Information, Exclamation, Warning, Critical, Question };

    virtual ~Prompter() = default;

    // A report with only an OK button. Carriage returns in the text are line breaks.
    virtual void message(const QString &text, const QString &title = QStringLiteral("System Monitor"),
                         Icon icon = Information) = 0;
    // Yes/No question, No is the default button. True means Yes.
    virtual bool askYesNo(const QString &text, const QString &title = QStringLiteral("System Monitor"),
                          Icon icon = Warning) = 0;
    // OK/Cancel question. True means OK.
    virtual bool askOkCancel(const QString &text, const QString &title = QStringLiteral("System Monitor"),
                             Icon icon = Information) = 0;
    // Input box; returns false when cancelled.
    virtual bool inputBox(const QString &prompt, const QString &title, const QString &defaultText,
                          QString *answer) = 0;
    // File dialogs; an empty result means the dialog was cancelled.
    // filter uses the "Description (*.ext)|*.ext|..." pairs the program's dialogs are given.
    virtual QString openFileName(const QString &title, const QString &proposed, const QString &filter) = 0;
    virtual QString saveFileName(const QString &title, const QString &proposed, const QString &filter) = 0;
    virtual void beep() = 0;
};
