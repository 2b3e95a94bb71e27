#pragma once
// The windows' Prompter: modal message boxes, input box and file dialogs.
#include "common/prompter.h"

class QWidget;

class WidgetPrompter : public Prompter
{
public:
    explicit WidgetPrompter(QWidget *parent = nullptr) : m_parent(parent) {}
    void setParent(QWidget *parent) { m_parent = parent; }

    void message(const QString &text, const QString &title, Icon icon) override;
    bool askYesNo(const QString &text, const QString &title, Icon icon) override;
    bool askOkCancel(const QString &text, const QString &title, Icon icon) override;
    bool inputBox(const QString &prompt, const QString &title, const QString &defaultText,
                  QString *answer) override;
    QString openFileName(const QString &title, const QString &proposed, const QString &filter) override;
    QString saveFileName(const QString &title, const QString &proposed, const QString &filter) override;
    void beep() override;

    // "Memory Log (*.MLG)|*.mlg|All Files (*.*)|*.*" to Qt's "Memory Log (*.mlg);;All Files (*)".
    static QString qtFilter(const QString &pairs);

private:
    QWidget *m_parent;
};
