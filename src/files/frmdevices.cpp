#include "frmdevices.h"

#include "common/prompter.h"
#include "common/wholefile.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QDir>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {
const QString kTitle = QStringLiteral("System Monitor");
const QStringList kColumns = {QStringLiteral("Name"), QStringLiteral("Port"), QStringLiteral("Reached"),
                              QStringLiteral("Differences"), QStringLiteral("Flow"), QStringLiteral("Total"),
                              QStringLiteral("Last sweep")};
} // namespace

frmDevices::frmDevices(Prompter &prompter, const QString &program, QWidget *parent)
    : QDialog(parent), m_prompter(prompter), m_program(program)
{
    setObjectName(QStringLiteral("frmDevices"));
    setWindowTitle(tr("Devices"));
    grdDevices = new QTableWidget(0, kColumns.size(), this);
    grdDevices->setObjectName(QStringLiteral("grdDevices"));
    grdDevices->setHorizontalHeaderLabels(kColumns);
    grdDevices->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grdDevices->setSelectionBehavior(QAbstractItemView::SelectRows);
    grdDevices->horizontalHeader()->setStretchLastSection(true);
    cmdSweep = new QPushButton(tr("&Sweep"), this);
    cmdSweep->setObjectName(QStringLiteral("cmdSweep"));
    cmdRestore = new QPushButton(tr("&Restore"), this);
    cmdRestore->setObjectName(QStringLiteral("cmdRestore"));
    cmdStop = new QPushButton(tr("S&top"), this);
    cmdStop->setObjectName(QStringLiteral("cmdStop"));
    cmdStop->setEnabled(false);
    cmdClose = new QPushButton(tr("&Close"), this);
    cmdClose->setObjectName(QStringLiteral("cmdClose"));
    ProgBar1 = new QProgressBar(this);
    ProgBar1->setObjectName(QStringLiteral("ProgBar1"));
    ProgBar1->setValue(0);
    lblStatus = new QLabel(this);
    lblStatus->setObjectName(QStringLiteral("lblStatus"));

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdSweep);
    buttons->addWidget(cmdRestore);
    buttons->addWidget(cmdStop);
    buttons->addWidget(ProgBar1, 1);
    buttons->addWidget(cmdClose);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(grdDevices);
    layout->addWidget(lblStatus);
    layout->addLayout(buttons);
    resize(820, 480);

    connect(cmdSweep, &QPushButton::clicked, this, &frmDevices::cmdSweep_Click);
    connect(cmdRestore, &QPushButton::clicked, this, &frmDevices::cmdRestore_Click);
    connect(cmdStop, &QPushButton::clicked, this, &frmDevices::cmdStop_Click);
    connect(cmdClose, &QPushButton::clicked, this, &QDialog::reject);
    connect(grdDevices, &QTableWidget::cellDoubleClicked, this, [this](int row, int) {
        if (!m_running && row >= 0 && row < m_devices.size())
            emit openDevice(m_devices[row]);
    });
}

QString frmDevices::cliProgram()
{
    const QString named = qEnvironmentVariable("QUORIN_CLI");
    return named.isEmpty() ? QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("quorin-cli")) : named;
}

void frmDevices::reject()
{
    if (!m_running)
        QDialog::reject();
}

QString frmDevices::outDir() const
{
    const QFileInfo site(m_sitePath);
    return site.absoluteDir().filePath(site.completeBaseName() + QStringLiteral("-sweep"));
}

bool frmDevices::openSite(const QString &sitePath)
{
    SiteFile site;
    if (!site.read(sitePath)) {
        m_prompter.message(QStringLiteral("The site file is refused:\r") + site.errors().join(QLatin1Char('\r')), kTitle,
                           Prompter::Exclamation);
        return false;
    }
    m_sitePath = sitePath;
    m_devices = site.devices();
    m_results.clear();
    // The last sweep's results, for the transmitters still in the site file.
    QList<SweepResult> last;
    QString error;
    const QString summary = QDir(outDir()).filePath(QStringLiteral("summary.csv"));
    if (QFileInfo::exists(summary) && !SiteSweep::readSummary(summary, &last, &error))
        lblStatus->setText(error);
    for (const SiteDevice &d : std::as_const(m_devices)) {
        SweepResult r;
        r.device = d;
        for (const SweepResult &l : std::as_const(last))
            if (l.device.name == d.name && l.device.port == d.port) {
                r = l;
                r.device = d;
            }
        m_results << r;
    }
    setWindowTitle(tr("Devices - %1").arg(QFileInfo(sitePath).fileName()));
    showResults();
    return true;
}

void frmDevices::showResults()
{
    grdDevices->setRowCount(m_results.size());
    for (int i = 0; i < m_results.size(); ++i) {
        const SweepResult &r = m_results[i];
        const bool known = r.state == SweepResult::Done || r.state == SweepResult::Stopped;
        const QString reached = r.state == SweepResult::Running ? QStringLiteral("sweeping")
                              : !known                          ? QString()
                              : r.state == SweepResult::Stopped ? QStringLiteral("stopped")
                              : r.reached                       ? QStringLiteral("yes")
                                                                : QStringLiteral("no: ") + r.reason;
        const QStringList cells{r.device.name, r.device.port, reached,
                                known && r.differences >= 0 ? QString::number(r.differences) : QString(),
                                known && !r.flow.isEmpty() ? (r.flow.trimmed() + QLatin1Char(' ') + r.unit).trimmed() : QString(),
                                known && !r.total.isEmpty() ? (r.total.trimmed() + QLatin1Char(' ') + r.totalUnit).trimmed() : QString(),
                                known ? r.finished.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : QString()};
        for (int c = 0; c < cells.size(); ++c)
            grdDevices->setItem(i, c, new QTableWidgetItem(cells[c]));
    }
    grdDevices->resizeColumnsToContents();
}

void frmDevices::cmdSweep_Click()
{
    runSweep(false);
}

void frmDevices::cmdRestore_Click()
{
    if (m_running || m_devices.isEmpty())
        return;
    if (!m_prompter.askYesNo(QStringLiteral("Write the rows that differ from their golden tables into the transmitters "
                                            "of this site, each row verified?"),
                             kTitle, Prompter::Warning))
        return;
    runSweep(true);
}

void frmDevices::cmdStop_Click()
{
    if (m_sweep && !m_sweep->isStopping())
        m_sweep->stop();
}

void frmDevices::runSweep(bool restore)
{
    if (m_running || m_devices.isEmpty())
        return;
    const QStringList refused = SiteSweep::checkOutputs(m_sitePath, m_devices, outDir(), false);
    if (!refused.isEmpty()) {
        m_prompter.message(QStringLiteral("The sweep is refused; no transmitter was touched:\r") + refused.join(QLatin1Char('\r')),
                           kTitle, Prompter::Exclamation);
        return;
    }
    if (!QDir().mkpath(outDir())) {
        m_prompter.message(outDir() + QStringLiteral(": the folder cannot be made"), kTitle, Prompter::Exclamation);
        return;
    }
    SiteSweep::Options options;
    options.program = m_program;
    options.outDir = outDir();
    options.jobs = m_jobs;
    options.deviceTimeoutMs = m_timeoutMs;
    options.restore = restore;
    options.yes = restore;
    SiteSweep sweep(m_devices, options);
    m_running = true;
    m_sweep = &sweep;
    for (QPushButton *b : {cmdSweep, cmdRestore, cmdClose, cmdStop})
        b->setEnabled(b == cmdStop);
    ProgBar1->setRange(0, m_devices.size());
    ProgBar1->setValue(0);
    connect(&sweep, &SiteSweep::deviceStarted, this, [this](int i) {
        m_results[i].state = SweepResult::Running;
        showResults();
    });
    connect(&sweep, &SiteSweep::deviceFinished, this, [this, &sweep](int i) {
        m_results[i] = sweep.results()[i];
        ProgBar1->setValue(sweep.finishedCount());
        lblStatus->setText(SiteSweep::resultLine(m_results[i]));
        showResults();
    });
    sweep.run();
    m_results = sweep.results();
    QString error;
    const QString summary = QDir(outDir()).filePath(QStringLiteral("summary.csv"));
    QList<SweepResult> back;
    const bool saved = wholefile::write(summary, SiteSweep::summaryCsv(m_results), &error)
                    && SiteSweep::readSummary(summary, &back, &error);
    lblStatus->setText(saved ? SiteSweep::summaryLine(m_results) : error);
    showResults();
    ProgBar1->setValue(0);
    m_running = false;
    m_sweep = nullptr;
    for (QPushButton *b : {cmdSweep, cmdRestore, cmdClose, cmdStop})
        b->setEnabled(b != cmdStop);
}
