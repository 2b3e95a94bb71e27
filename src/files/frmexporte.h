#pragma once
// Export window: shows the configuration table as the terminal last read it
// from the device and saves it to an .epr file.
#include "configtable.h"

#include <QDialog>

class QPlainTextEdit;
class QPushButton;
class TerminalHost;

class frmExportE : public QDialog
{
    Q_OBJECT
public:
    frmExportE(TerminalHost &host, QWidget *parent = nullptr);

    void cmdSave_Click();
    void cmdCancel_Click();

    const ConfigTable &table() const { return m_table; }
    QString text() const;
    // The path of the last successful save ("" when none).
    QString savedPath() const { return m_saved; }

private:
    TerminalHost &m_host;
    ConfigTable m_table;
    QString m_saved;
    QPlainTextEdit *Text1;
    QPushButton *cmdSave;
    QPushButton *cmdCancel;
};
