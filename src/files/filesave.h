#pragma once
// The save dialog of the export and the flow log windows: propose a name,
// ask before replacing a file (Cancel goes back to the dialog), write the
// file whole, report the outcome.
#include <QString>
#include <functional>

class Prompter;

struct SaveDialogText {
    QString title;      // "Save Configuration Table to the File"
    QString proposed;   // full path proposed in the dialog
    QString filter;     // "EEPROM Files (*.EPR)|*.epr|All Files (*.*)|*.*"
    QString savedText;  // shown after a successful save
};

// `write` writes the chosen path and returns false with the reason. Returns
// the path saved, or "" when cancelled or failed (the failure was reported).
QString saveWithReplaceQuestion(Prompter &prompter, const SaveDialogText &text,
                                const std::function<bool(const QString &path, QString *error)> &write);
