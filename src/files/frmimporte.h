#pragma once
// Import window: opens an .epr file, shows its rows and writes them into the
// device with read-back verification.
#include "configtable.h"

#include <QDialog>

class ConfigImport;
class QComboBox;
class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class TerminalHost;

class frmImportE : public QDialog
{
    Q_OBJECT
public:
    frmImportE(TerminalHost &host, QWidget *parent = nullptr);

    void cmdOpen_Click();
    void cmdUpload_Click();
    void cmdCancel_Click();
    // Reads the device and marks the rows of the shown table that differ.
    void cmdCompare_Click();
    // Closing waits for a running upload to end; rows are never cut off half-way.
    void reject() override;

    // Reads a file into the table and shows it; false (with a message) when
    // the file cannot be taken, the table then stays as it was.
    bool openFile(const QString &path);

    const ConfigTable &table() const { return m_table; }
    QString text() const;
    QString fileLabel() const;
    ConfigImport &importer() { return *m_import; }
    QProgressBar *progressBar() const { return ProgBar1; }
    int progressPeak() const { return m_peak; }

private:
    TerminalHost &m_host;
    ConfigTable m_table;
    ConfigImport *m_import;
    int m_peak = 0;
    QLabel *lblFile;
    QPlainTextEdit *Text1;
    QProgressBar *ProgBar1;
    QPushButton *cmdOpen;
    QPushButton *cmdUpload;
    QPushButton *cmdCancel;
    QPushButton *cmdCompare;
    QComboBox *cboUploadRows;  // "All rows" or "Changed rows only"
};
