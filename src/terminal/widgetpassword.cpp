#include "widgetpassword.h"

#include <QDialog>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

PasswordLayout buildPasswordLayout(QDialog *dialog, const char *objectName, const std::function<void()> &accept,
                                   const std::function<void()> &cancel)
{
    dialog->setObjectName(QLatin1String(objectName));
    dialog->setWindowTitle(QStringLiteral("Password"));
    dialog->setModal(true);

    PasswordLayout w{new QLineEdit(dialog), new QPushButton(QStringLiteral("OK"), dialog),
                     new QPushButton(QStringLiteral("Cancel"), dialog)};
    w.txtPassword->setObjectName(QStringLiteral("txtPassword"));
    maskPassword(w.txtPassword);
    w.cmdSave->setObjectName(QStringLiteral("cmdSave"));
    w.cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    // Enter in the box accepts through returnPressed alone, not twice.
    w.cmdSave->setAutoDefault(false);
    w.cmdCancel->setAutoDefault(false);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(w.cmdSave);
    buttons->addWidget(w.cmdCancel);
    auto *layout = new QVBoxLayout(dialog);
    layout->addWidget(w.txtPassword);
    layout->addLayout(buttons);

    QObject::connect(w.cmdSave, &QPushButton::clicked, dialog, accept);
    QObject::connect(w.cmdCancel, &QPushButton::clicked, dialog, cancel);
    QObject::connect(w.txtPassword, &QLineEdit::returnPressed, dialog, accept);
    return w;
}

void maskPassword(QLineEdit *box)
{
    box->setEchoMode(QLineEdit::Password);
    box->setStyleSheet(QStringLiteral("lineedit-password-character: 42"));
}
