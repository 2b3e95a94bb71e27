#pragma once
// Change History window: the journal of verified writes, newest first, shown
// for one port and one day or all of them, and undo of the selected write
// together with every newer write on its port.
#include "session/writejournal.h"

#include <QDialog>

class QComboBox;
class QPushButton;
class QTableWidget;
class TerminalHost;

class frmHistory : public QDialog
{
    Q_OBJECT
public:
    frmHistory(TerminalHost &host, const QString &journalPath = WriteJournal::defaultPath(), QWidget *parent = nullptr);

    // Reads the journal's newest records again and shows those the filters let through.
    void reload();
    // Undoes the selected record and all newer ones on its port, after the
    // question. A record of another port than the open one is refused.
    void cmdUndo_Click();

private:
    void showRecords();
    void fitColumns();

    TerminalHost &m_host;
    WriteJournal m_journal;
    QList<JournalRecord> m_records;  // the newest m_limit records, oldest first
    int m_limit = 500;
    QList<int> m_shown;              // rows shown: indexes into m_records
    QComboBox *cboPort;              // "All ports" or one port
    QComboBox *cboDate;              // "All dates" or one day, yyyy-MM-dd
    QTableWidget *grdHistory;
    QPushButton *cmdUndo;
    QPushButton *cmdClose;
    QPushButton *cmdOlder;           // doubles the records loaded
};
