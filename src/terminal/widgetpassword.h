#pragma once
// The layout the two access-code prompts share: a masked box above OK and
// Cancel. Enter in the box and OK both call `accept`, Cancel calls `cancel`.
#include <functional>

class QDialog;
class QLineEdit;
class QPushButton;

struct PasswordLayout {
    QLineEdit *txtPassword;
    QPushButton *cmdSave;
    QPushButton *cmdCancel;
};

PasswordLayout buildPasswordLayout(QDialog *dialog, const char *objectName, const std::function<void()> &accept,
                                   const std::function<void()> &cancel);
// Shows the box's text as asterisks.
void maskPassword(QLineEdit *box);
