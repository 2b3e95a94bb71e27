#include "widgetprompter.h"

#include <QApplication>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>

namespace {
QMessageBox::Icon boxIcon(Prompter::Icon icon)
{
    switch (icon) {
    case Prompter::Information: return QMessageBox::Information;
    case Prompter::Exclamation:
    case Prompter::Warning: return QMessageBox::Warning;
    case Prompter::Critical: return QMessageBox::Critical;
    case Prompter::Question: return QMessageBox::Question;
    }
    return QMessageBox::NoIcon;
}

// The program's texts use a carriage return for a line break.
QString lines(const QString &text)
{
    QString t = text;
    t.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    t.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return t;
}

int ask(QWidget *parent, const QString &text, const QString &title, Prompter::Icon icon,
        QMessageBox::StandardButtons buttons, QMessageBox::StandardButton def)
{
    QMessageBox box(boxIcon(icon), title, lines(text), buttons, parent);
    box.setDefaultButton(def);
    return box.exec();
}
} // namespace

void WidgetPrompter::message(const QString &text, const QString &title, Icon icon)
{
    ask(m_parent, text, title, icon, QMessageBox::Ok, QMessageBox::Ok);
}

bool WidgetPrompter::askYesNo(const QString &text, const QString &title, Icon icon)
{
    return ask(m_parent, text, title, icon, QMessageBox::Yes | QMessageBox::No, QMessageBox::No)
        == QMessageBox::Yes;
}

bool WidgetPrompter::askOkCancel(const QString &text, const QString &title, Icon icon)
{
    return ask(m_parent, text, title, icon, QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Ok)
        == QMessageBox::Ok;
}

bool WidgetPrompter::inputBox(const QString &prompt, const QString &title, const QString &defaultText,
                              QString *answer)
{
    bool ok = false;
    const QString text = QInputDialog::getText(m_parent, title, lines(prompt), QLineEdit::Normal,
                                               defaultText, &ok);
    if (ok)
        *answer = text;
    return ok;
}

QString WidgetPrompter::openFileName(const QString &title, const QString &proposed, const QString &filter)
{
    return QFileDialog::getOpenFileName(m_parent, title, proposed, qtFilter(filter));
}

QString WidgetPrompter::saveFileName(const QString &title, const QString &proposed, const QString &filter)
{
    // The replace question is the program's own, asked after the dialog.
    return QFileDialog::getSaveFileName(m_parent, title, proposed, qtFilter(filter), nullptr,
                                        QFileDialog::DontConfirmOverwrite);
}

void WidgetPrompter::beep()
{
    QApplication::beep();
}

QString WidgetPrompter::qtFilter(const QString &pairs)
{
    const QStringList parts = pairs.split(QLatin1Char('|'));
    QStringList out;
    for (int i = 0; i + 1 < parts.size(); i += 2) {
        QString desc = parts[i];
        const int paren = desc.indexOf(QLatin1Char('('));
        if (paren >= 0)
            desc = desc.left(paren).trimmed();
        QString pattern = parts[i + 1];
        pattern.replace(QLatin1String("*.*"), QLatin1String("*"));
        pattern.replace(QLatin1Char(';'), QLatin1Char(' '));
        out << QStringLiteral("%1 (%2)").arg(desc, pattern);
    }
    return out.join(QLatin1String(";;"));
}
