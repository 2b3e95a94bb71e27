#include "frmhistory.h"

#include "common/prompter.h"
#include "session/operationgate.h"
#include "session/parametermap.h"
#include "session/terminalhost.h"
#include "session/writeundo.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

frmHistory::frmHistory(TerminalHost &host, const QString &journalPath, QWidget *parent)
    : QDialog(parent), m_host(host), m_journal(journalPath)
{
    setObjectName(QStringLiteral("frmHistory"));
    setWindowTitle(QStringLiteral("Change History"));
    grdHistory = new QTableWidget(this);
    grdHistory->setObjectName(QStringLiteral("grdHistory"));
    grdHistory->setColumnCount(9);
    grdHistory->setHorizontalHeaderLabels({QStringLiteral("Time"), QStringLiteral("Port"), QStringLiteral("Operation"),
                                           QStringLiteral("Window or command"), QStringLiteral("Address"),
                                           QStringLiteral("Parameter"), QStringLiteral("Before"),
                                           QStringLiteral("Written"), QStringLiteral("Outcome")});
    grdHistory->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grdHistory->setSelectionBehavior(QAbstractItemView::SelectRows);
    grdHistory->setSelectionMode(QAbstractItemView::SingleSelection);
    grdHistory->horizontalHeader()->setStretchLastSection(true);
    cmdUndo = new QPushButton(QStringLiteral("Undo Selected and Newer"), this);
    cmdUndo->setObjectName(QStringLiteral("cmdUndo"));
    cmdClose = new QPushButton(QStringLiteral("Close"), this);
    cmdClose->setObjectName(QStringLiteral("cmdClose"));

    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdUndo);
    buttons->addWidget(cmdClose);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(grdHistory);
    layout->addLayout(buttons);
    resize(900, 480);

    connect(cmdUndo, &QPushButton::clicked, this, &frmHistory::cmdUndo_Click);
    connect(cmdClose, &QPushButton::clicked, this, &QDialog::reject);
    connect(&host.gate(), &OperationGate::busyChanged, this, [this](bool busy) {
        cmdUndo->setEnabled(!busy);
        cmdClose->setEnabled(!busy);
    });
    reload();
}

void frmHistory::reload()
{
    QString error;
    const QList<JournalRecord> records = m_journal.records(&error);
    if (!error.isEmpty())
        m_host.prompter().message(error, QStringLiteral("System Monitor"), Prompter::Exclamation);
    grdHistory->setRowCount(records.size());
    for (int i = 0; i < records.size(); ++i) {
        const JournalRecord &r = records[records.size() - 1 - i];
        const Parameter *p = ParameterMap::find(r.address);
        const QString name = p && p->width == r.width ? (p->control.isEmpty() ? p->alias : p->control) : QString();
        const QStringList cells = {r.time, r.port, r.operation, r.source, r.address, name,
                                   r.beforeKnown() ? r.before : QStringLiteral("unknown"), r.written,
                                   r.verified ? QStringLiteral("verified") : QStringLiteral("failed, read back ") + r.readBack};
        for (int c = 0; c < cells.size(); ++c)
            grdHistory->setItem(i, c, new QTableWidgetItem(cells[c]));
    }
    grdHistory->resizeColumnsToContents();
}

void frmHistory::cmdUndo_Click()
{
    const int row = grdHistory->currentRow();
    if (row < 0 || m_host.gate().busy())
        return;
    WriteUndo undo(m_host, m_journal);
    const WriteUndo::Result result = undo.undoLast(row + 1);
    if (result == WriteUndo::Refused || result == WriteUndo::Failed)
        m_host.prompter().message(QStringLiteral("Undo refused: ") + undo.refusal(), QStringLiteral("System Monitor"),
                                  Prompter::Information);
    reload();
}
