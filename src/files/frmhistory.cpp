#include "frmhistory.h"

#include "common/prompter.h"
#include "session/operationgate.h"
#include "session/parametermap.h"
#include "session/terminalhost.h"
#include "session/writeundo.h"
#include "link/devicelink.h"
#include "session/terminalstate.h"
#include "configcompare.h"
#include "servicereport.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QHeaderView>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QTableWidget>
#include <QVBoxLayout>

frmHistory::frmHistory(TerminalHost &host, const QString &journalPath, QWidget *parent)
    : QDialog(parent), m_host(host), m_journal(journalPath)
{
    setObjectName(QStringLiteral("frmHistory"));
    setWindowTitle(QStringLiteral("Change History"));
    grdHistory = new QTableWidget(this);
    grdHistory->setObjectName(QStringLiteral("grdHistory"));
    grdHistory->setColumnCount(10);
    grdHistory->setHorizontalHeaderLabels({QStringLiteral("Time"), QStringLiteral("Port"), QStringLiteral("Operation"),
                                           QStringLiteral("Window or command"), QStringLiteral("Address"),
                                           QStringLiteral("Parameter"), QStringLiteral("Before"),
                                           QStringLiteral("Written"), QStringLiteral("Outcome"),
                                           QStringLiteral("Raw bytes")});
    grdHistory->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grdHistory->setSelectionBehavior(QAbstractItemView::SelectRows);
    grdHistory->setSelectionMode(QAbstractItemView::SingleSelection);
    grdHistory->horizontalHeader()->setStretchLastSection(true);
    cmdUndo = new QPushButton(QStringLiteral("Undo Selected and Newer"), this);
    cmdUndo->setObjectName(QStringLiteral("cmdUndo"));
    cmdClose = new QPushButton(QStringLiteral("Close"), this);
    cmdClose->setObjectName(QStringLiteral("cmdClose"));
    cmdOlder = new QPushButton(QStringLiteral("Show Older"), this);
    cmdOlder->setObjectName(QStringLiteral("cmdOlder"));

    cboPort = new QComboBox(this);
    cboPort->setObjectName(QStringLiteral("cboPort"));
    cboDate = new QComboBox(this);
    cboDate->setObjectName(QStringLiteral("cboDate"));
    auto *filters = new QHBoxLayout;
    filters->addWidget(new QLabel(QStringLiteral("Port:"), this));
    cboPort->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    filters->addWidget(cboPort);
    filters->addWidget(new QLabel(QStringLiteral("Date:"), this));
    filters->addWidget(cboDate);
    filters->addStretch();

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdOlder);
    buttons->addStretch();
    buttons->addWidget(cmdUndo);
    buttons->addWidget(cmdClose);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(filters);
    layout->addWidget(grdHistory);
    layout->addLayout(buttons);
    resize(900, 480);

    connect(cmdUndo, &QPushButton::clicked, this, &frmHistory::cmdUndo_Click);
    connect(cmdClose, &QPushButton::clicked, this, &QDialog::reject);
    connect(cmdOlder, &QPushButton::clicked, this, [this] {
        m_limit *= 2;
        reload();
    });
    connect(cboPort, &QComboBox::currentIndexChanged, this, &frmHistory::showRecords);
    connect(cboDate, &QComboBox::currentIndexChanged, this, &frmHistory::showRecords);
    connect(&host.gate(), &OperationGate::busyChanged, this, [this](bool busy) {
        cmdUndo->setEnabled(!busy);
        cmdClose->setEnabled(!busy);
    });
    reload();
}

namespace {

const Parameter *parameterOf(const JournalRecord &r)
{
    const Parameter *p = ParameterMap::find(r.address);
    return p && p->width == r.width ? p : nullptr;
}

// A code of one byte held in the record's device rows; -1 when not held or out of range.
int codeOf(const QMap<QString, QString> &rows, const QString &address, int count)
{
    bool ok = false;
    const QString hex = rows.value(address);
    const int code = hex.toInt(&ok, 16);
    return ok && hex.size() == 2 && code < count ? code : -1;
}

// A parameter's bytes as the editor shows its value, in its unit; raw
// memory stays hex. A flow value is read in the terms of the device the
// write went to, as its record holds them (the open device may be another):
// tenths from its coefficient A, the unit from its unit rows. Where the
// record does not hold them, the stored number alone.
QString valueText(const JournalRecord &r, const QString &data)
{
    if (data.isEmpty())
        return QStringLiteral("unknown");
    if (!parameterOf(r))
        return data;
    const bool flow = r.address == QLatin1String("0105") || r.address == QLatin1String("010D");
    if (!flow) {
        const QString value = ConfigCompare::readable(r.address, data, false);
        const QString unit = ParameterMap::unit(r.address);
        return unit.isEmpty() ? value : value + QLatin1Char(' ') + unit;
    }
    QMap<QString, QString> rows;
    for (const QString &row : r.device.split(QLatin1Char(','), Qt::SkipEmptyParts))
        rows.insert(row.section(QLatin1Char('='), 0, 0), row.section(QLatin1Char('='), 1));
    bool known = false;
    const QString coefficient = rows.value(QStringLiteral("012D"));
    const bool tenths = coefficient.toUInt(&known, 16) == ParameterMap::TenthsMarker;
    known = known && coefficient.size() == 4;
    const QString value = ConfigCompare::readable(r.address, data, known && tenths);
    const int unit = codeOf(rows, QStringLiteral("01E4"), 9);
    const int base = codeOf(rows, QStringLiteral("0104"), 4);
    if (!known || unit < 0 || base < 0)
        return value;
    return value + QLatin1Char(' ') + TerminalState::unitName(unit) + TerminalState::timeBaseName(base);
}

QString nameOf(const JournalRecord &r)
{
    const Parameter *p = parameterOf(r);
    return p ? p->title : QStringLiteral("memory");
}

QString rawText(const JournalRecord &r)
{
    return (r.beforeKnown() ? r.before : QStringLiteral("?")) + QStringLiteral(" -> ") + r.written;
}

const QString kAllPorts = QStringLiteral("All ports");
const QString kAllDates = QStringLiteral("All dates");

// Fills a filter with "all" and the values found, keeping the choice made.
void fillFilter(QComboBox *box, const QString &all, QStringList values)
{
    const QString chosen = box->currentText();
    values.removeDuplicates();
    const QSignalBlocker quiet(box);
    box->clear();
    box->addItem(all);
    box->addItems(values);
    box->setCurrentIndex(std::max(0, box->findText(chosen)));
}

} // namespace

void frmHistory::reload()
{
    QString error;
    // The newest records only, read from the end: a long journal opens as
    // fast as a short one; older ones come on request.
    m_records = m_journal.newest(m_limit, &error);
    cmdOlder->setEnabled(m_records.size() >= m_limit);
    if (!error.isEmpty())
        m_host.prompter().message(error, QStringLiteral("System Monitor"), Prompter::Exclamation);
    QStringList ports, dates;
    for (int i = m_records.size() - 1; i >= 0; --i) {
        ports << m_records[i].port;
        dates << m_records[i].time.left(10);
    }
    ports.sort();
    fillFilter(cboPort, kAllPorts, ports);
    fillFilter(cboDate, kAllDates, dates);
    showRecords();
}

void frmHistory::showRecords()
{
    const QString port = cboPort->currentIndex() > 0 ? cboPort->currentText() : QString();
    const QString date = cboDate->currentIndex() > 0 ? cboDate->currentText() : QString();
    m_shown.clear();
    for (int i = m_records.size() - 1; i >= 0; --i)
        if ((port.isNull() || m_records[i].port == port) && (date.isNull() || m_records[i].time.startsWith(date)))
            m_shown << i;
    grdHistory->setRowCount(m_shown.size());
    for (int row = 0; row < m_shown.size(); ++row) {
        const JournalRecord &r = m_records[m_shown[row]];
        const QStringList cells = {ServiceReport::localTime(r.time), r.port, r.operation, r.source, r.address, nameOf(r),
                                   valueText(r, r.before), valueText(r, r.written),
                                   r.outcomeText(),
                                   rawText(r)};
        for (int c = 0; c < cells.size(); ++c)
            grdHistory->setItem(row, c, new QTableWidgetItem(cells[c]));
    }
    grdHistory->resizeColumnsToContents();
    fitColumns();
}

// Wide enough for every column as filled, within the screen.
void frmHistory::fitColumns()
{
    int width = grdHistory->verticalHeader()->width() + 2 * grdHistory->frameWidth()
        + grdHistory->verticalScrollBar()->sizeHint().width();
    for (int c = 0; c < grdHistory->columnCount(); ++c)
        width += grdHistory->columnWidth(c);
    width += layout()->contentsMargins().left() + layout()->contentsMargins().right();
    const QScreen *screen = this->screen();
    const int most = screen ? screen->availableGeometry().width() : width;
    if (width > this->width())
        resize(std::min(width, most), height());
}

void frmHistory::cmdUndo_Click()
{
    const int row = grdHistory->currentRow();
    if (row < 0 || row >= m_shown.size() || m_host.gate().busy())
        return;
    const QString port = m_records[m_shown[row]].port;
    const SerialPort *open = m_host.link().port();
    WriteUndo undo(m_host, m_journal);
    // The question names the values as this window shows them.
    undo.describeStep = [](const JournalRecord &r) {
        return nameOf(r) + QStringLiteral(" at ") + r.address + QStringLiteral(": ") + valueText(r, r.written)
               + QStringLiteral(" back to ") + valueText(r, r.before) + QStringLiteral(" (") + r.written
               + QStringLiteral(" -> ") + r.before + QLatin1Char(')');
    };
    WriteUndo::Result result = WriteUndo::Refused;
    QString why;
    if (!open || open->portName() != port) {
        why = QStringLiteral("the write was made through %1, and the port open now is %2")
                  .arg(port, open ? open->portName() : QStringLiteral("none"));
    } else {
        // The chosen write and every newer one on the same port, newest first.
        QList<JournalRecord> steps;
        for (int i = m_records.size() - 1; i >= m_shown[row]; --i)
            if (m_records[i].port == port)
                steps << m_records[i];
        result = undo.undo(steps);
        why = undo.refusal();
    }
    if (result == WriteUndo::Refused || result == WriteUndo::Failed)
        m_host.prompter().message((result == WriteUndo::Failed ? QStringLiteral("Undo failed: ") : QStringLiteral("Undo refused: "))
                                      + why,
                                  QStringLiteral("System Monitor"),
                                  result == WriteUndo::Failed ? Prompter::Exclamation : Prompter::Information);
    reload();
}
