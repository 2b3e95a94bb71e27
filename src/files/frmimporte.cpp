#include "frmimporte.h"

#include "common/prompter.h"
#include "configcompare.h"
#include "configimport.h"
#include "session/operationgate.h"
#include "session/terminalhost.h"

#include <QComboBox>
#include <QDir>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

frmImportE::frmImportE(TerminalHost &host, QWidget *parent)
    : QDialog(parent), m_host(host), m_import(new ConfigImport(host, this))
{
    setObjectName(QStringLiteral("frmImportE"));
    setWindowTitle(QStringLiteral("Import Configuration Table"));

    lblFile = new QLabel(this);
    lblFile->setObjectName(QStringLiteral("lblFile"));
    Text1 = new QPlainTextEdit(this);
    Text1->setObjectName(QStringLiteral("Text1"));
    Text1->setReadOnly(true);
    Text1->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    Text1->setLineWrapMode(QPlainTextEdit::NoWrap);
    ProgBar1 = new QProgressBar(this);
    ProgBar1->setObjectName(QStringLiteral("ProgBar1"));
    ProgBar1->setRange(0, ConfigImport::RowsWritten);
    ProgBar1->setValue(0);
    ProgBar1->setFormat(QStringLiteral("%v of %m rows"));
    cmdOpen = new QPushButton(QStringLiteral("Open"), this);
    cmdOpen->setObjectName(QStringLiteral("cmdOpen"));
    cmdUpload = new QPushButton(QStringLiteral("Upload"), this);
    cmdUpload->setObjectName(QStringLiteral("cmdUpload"));
    cmdCancel = new QPushButton(QStringLiteral("Cancel"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    cmdCompare = new QPushButton(QStringLiteral("Compare with Device"), this);
    cmdCompare->setObjectName(QStringLiteral("cmdCompare"));
    cboUploadRows = new QComboBox(this);
    cboUploadRows->setObjectName(QStringLiteral("cboUploadRows"));
    cboUploadRows->addItems({QStringLiteral("All rows"), QStringLiteral("Changed rows only")});

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdOpen);
    buttons->addWidget(cmdCompare);
    buttons->addStretch();
    buttons->addWidget(cboUploadRows);
    buttons->addWidget(cmdUpload);
    buttons->addWidget(cmdCancel);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(lblFile);
    layout->addWidget(Text1);
    layout->addWidget(ProgBar1);
    layout->addLayout(buttons);
    resize(620, 520);

    connect(cmdOpen, &QPushButton::clicked, this, &frmImportE::cmdOpen_Click);
    connect(cmdUpload, &QPushButton::clicked, this, &frmImportE::cmdUpload_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmImportE::cmdCancel_Click);
    connect(cmdCompare, &QPushButton::clicked, this, &frmImportE::cmdCompare_Click);
    // While rows are written nothing here may start another upload, open
    // another file or leave the window.
    connect(&host.gate(), &OperationGate::busyChanged, this, [this](bool busy) {
        for (QPushButton *b : {cmdOpen, cmdUpload, cmdCancel, cmdCompare})
            b->setEnabled(!busy);
        cboUploadRows->setEnabled(!busy);
    });
    connect(m_import, &ConfigImport::progress, this, [this](int rows) {
        ProgBar1->setValue(rows);
        m_peak = qMax(m_peak, rows);
    });
}

QString frmImportE::text() const
{
    return Text1->toPlainText();
}

QString frmImportE::fileLabel() const
{
    return lblFile->text();
}

void frmImportE::cmdOpen_Click()
{
    const QString path = m_host.prompter().openFileName(QStringLiteral("Open Configuration Table File"),
                                                        QDir(m_host.programFolder()).filePath(QStringLiteral("*.epr")),
                                                        QStringLiteral("EEPROM Files (*.EPR)|*.epr|All Files (*.*)|*.*"));
    if (!path.isEmpty())
        openFile(path);
}

bool frmImportE::openFile(const QString &path)
{
    QString error;
    if (!m_table.readFile(path, &error)) {
        m_host.prompter().message(error, QStringLiteral("System Monitor"), Prompter::Exclamation);
        return false;
    }
    lblFile->setText(QStringLiteral(" ...") + path.right(25));
    QStringList lines;
    for (int r = 0; r < ConfigTable::RowCount; ++r)
        lines << m_table.displayLine(r, QStringLiteral("   "));
    Text1->setPlainText(lines.join(QLatin1Char('\n')));
    return true;
}

void frmImportE::cmdUpload_Click()
{
    // A second click while rows are being written is ignored: the upload
    // already running finishes (or stops) on its own.
    if (m_host.gate().busy())
        return;
    m_peak = 0;
    if (cboUploadRows->currentIndex() == 0) {
        if (m_import->upload(m_table))
            accept();
        return;
    }
    // Only the rows whose data differs from the device's as it is now.
    if (!m_host.synchronize())
        return;
    const QList<int> rows = ConfigImport::changedEntries(m_table, m_host.state(), m_import->uploadEntries());
    if (rows.isEmpty()) {
        m_host.prompter().message(QStringLiteral("The device already holds every row of the table."),
                                  QStringLiteral("System Monitor"), Prompter::Information);
        return;
    }
    if (m_import->upload(m_table, rows))
        accept();
}

void frmImportE::cmdCompare_Click()
{
    if (m_host.gate().busy() || !m_host.synchronize())
        return;
    const ConfigTable device = ConfigTable::fromTerminal(m_host.state());
    QList<CompareRow> rows;
    QString error;
    if (!ConfigCompare::compare(m_table, device, &rows, &error, m_table.recordsRead())) {
        m_host.prompter().message(QStringLiteral("The table cannot be compared: ")
                                      + error.replace(QLatin1String("A has"), QLatin1String("the file has")),
                                  QStringLiteral("System Monitor"), Prompter::Information);
        return;
    }
    QStringList lines;
    for (int r = 0; r < ConfigTable::RowCount; ++r) {
        QString line = m_table.displayLine(r, QStringLiteral("   "));
        for (const CompareRow &c : std::as_const(rows))
            if (c.differs && c.address.compare(m_table.row(r).Address, Qt::CaseInsensitive) == 0)
                line += (c.live ? QStringLiteral("   <> device ") : QStringLiteral("   <> DIFFERS, device "))
                        + c.dataB + QStringLiteral(" (") + c.valueB + (c.live ? QStringLiteral(", live)") : QStringLiteral(")"));
        lines << line;
    }
    Text1->setPlainText(lines.join(QLatin1Char('\n')));
}

void frmImportE::cmdCancel_Click()
{
    reject();
}

void frmImportE::reject()
{
    if (m_host.gate().busy())
        return;
    QDialog::reject();
}
