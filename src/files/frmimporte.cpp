#include "frmimporte.h"

#include "common/prompter.h"
#include "configimport.h"
#include "session/operationgate.h"
#include "session/terminalhost.h"

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

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdOpen);
    buttons->addStretch();
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
    // While rows are written nothing here may start another upload, open
    // another file or leave the window.
    connect(&host.gate(), &OperationGate::busyChanged, this, [this](bool busy) {
        for (QPushButton *b : {cmdOpen, cmdUpload, cmdCancel})
            b->setEnabled(!busy);
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
    if (m_import->upload(m_table))
        accept();
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
