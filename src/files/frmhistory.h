#pragma once
// Change History window: the journal of verified writes, newest first, and
// undo of the selected write together with every newer one.
#include "session/writejournal.h"

#include <QDialog>

class QPushButton;
class QTableWidget;
class TerminalHost;

class frmHistory : public QDialog
{
    Q_OBJECT
public:
    frmHistory(TerminalHost &host, const QString &journalPath = WriteJournal::defaultPath(), QWidget *parent = nullptr);

    // Reads the journal again and shows it.
    void reload();
    // Undoes the selected record and all newer ones, after the question.
    void cmdUndo_Click();

private:
    TerminalHost &m_host;
    WriteJournal m_journal;
    QTableWidget *grdHistory;
    QPushButton *cmdUndo;
    QPushButton *cmdClose;
};
