#include "frmexporte.h"

#include "filesave.h"
#include "session/terminalhost.h"

#include <QDir>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

frmExportE::frmExportE(TerminalHost &host, QWidget *parent)
    : QDialog(parent), m_host(host), m_table(ConfigTable::fromTerminal(host.state()))
{
    setObjectName(QStringLiteral("frmExportE"));
    setWindowTitle(QStringLiteral("Export Configuration Table"));

    Text1 = new QPlainTextEdit(this);
    Text1->setObjectName(QStringLiteral("Text1"));
    Text1->setReadOnly(true);
    Text1->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    Text1->setLineWrapMode(QPlainTextEdit::NoWrap);
    cmdSave = new QPushButton(QStringLiteral("Save"), this);
    cmdSave->setObjectName(QStringLiteral("cmdSave"));
    cmdCancel = new QPushButton(QStringLiteral("Cancel"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));

    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdSave);
    buttons->addWidget(cmdCancel);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(Text1);
    layout->addLayout(buttons);
    resize(620, 480);

    QStringList lines;
    for (int r = 0; r < ConfigTable::RowCount; ++r)
        lines << m_table.displayLine(r, QStringLiteral("    "));
    Text1->setPlainText(lines.join(QLatin1Char('\n')));

    connect(cmdSave, &QPushButton::clicked, this, &frmExportE::cmdSave_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmExportE::cmdCancel_Click);
}

QString frmExportE::text() const
{
    return Text1->toPlainText();
}

void frmExportE::cmdSave_Click()
{
    const SaveDialogText dialog{QStringLiteral("Save Configuration Table to the File"),
                                QDir(m_host.programFolder()).filePath(QStringLiteral("qrn000001.epr")),
                                QStringLiteral("EEPROM Files (*.EPR)|*.epr|All Files (*.*)|*.*"),
                                QStringLiteral("Configuration Table has been Saved. Click OK.")};
    const QString path = saveWithReplaceQuestion(m_host.prompter(), dialog, [this](const QString &p, QString *error) {
        return m_table.writeFile(p, error);
    });
    if (!path.isEmpty())
        m_saved = path;
}

void frmExportE::cmdCancel_Click()
{
    reject();
}
