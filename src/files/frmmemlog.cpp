#include "frmmemlog.h"

#include "filesave.h"
#include "flowlogreadout.h"
#include "mlgfile.h"
#include "common/prompter.h"
#include "session/operationgate.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

#include <QDir>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

frmMemLog::frmMemLog(TerminalHost &host, QWidget *parent)
    : QDialog(parent), m_host(host), m_readout(new FlowLogReadout(host, this))
{
    setObjectName(QStringLiteral("frmMemLog"));
    setWindowTitle(QStringLiteral("Flow Memory Log"));

    txtEAddr = new QLineEdit(FlowLogReadout::pointerText(host), this);
    txtEAddr->setObjectName(QStringLiteral("txtEAddr"));
    txtEAddr->setMaxLength(4);
    txtEAddr->installEventFilter(this);
    Text1 = new QPlainTextEdit(this);
    Text1->setObjectName(QStringLiteral("Text1"));
    Text1->setReadOnly(true);
    Text1->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    Text1->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_progress = new QProgressBar(this);
    m_progress->setObjectName(QStringLiteral("ProgBar1"));
    // No block count until a read has its end address.
    m_progress->setValue(0);
    m_progress->setFormat(QString());
    lblProgress = new QLabel(this);
    lblProgress->setObjectName(QStringLiteral("lblProgress"));
    cmdRead = new QPushButton(QStringLiteral("Read"), this);
    cmdRead->setObjectName(QStringLiteral("cmdRead"));
    cmdSave = new QPushButton(QStringLiteral("Save"), this);
    cmdSave->setObjectName(QStringLiteral("cmdSave"));
    cmdCancel = new QPushButton(QStringLiteral("Cancel"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    for (QPushButton *b : {cmdRead, cmdSave, cmdCancel})
        b->setAutoDefault(false);

    auto *top = new QHBoxLayout;
    top->addWidget(new QLabel(QStringLiteral("End address (hex):"), this));
    top->addWidget(txtEAddr);
    top->addStretch();
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(lblProgress);
    buttons->addStretch();
    buttons->addWidget(cmdRead);
    buttons->addWidget(cmdSave);
    buttons->addWidget(cmdCancel);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(Text1);
    layout->addWidget(m_progress);
    layout->addLayout(buttons);
    resize(560, 560);

    connect(cmdRead, &QPushButton::clicked, this, &frmMemLog::cmdRead_Click);
    connect(cmdSave, &QPushButton::clicked, this, &frmMemLog::cmdSave_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmMemLog::cmdCancel_Click);
    connect(txtEAddr, &QLineEdit::textEdited, this, &frmMemLog::txtEAddr_Change);
    connect(m_readout, &FlowLogReadout::blockRead, this, [this](int done, int total, const QStringList &lines) {
        m_progress->setMaximum(total);
        m_progress->setValue(done);
        Text1->appendPlainText(lines.join(QLatin1Char('\n')));
    });
}

QString frmMemLog::text() const
{
    return Text1->toPlainText();
}

bool frmMemLog::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == txtEAddr && event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        const int k = key->key();
        if (k == Qt::Key_Backspace || k == Qt::Key_Left || k == Qt::Key_Right || k == Qt::Key_Tab)
            return false;
        if (k == Qt::Key_Return || k == Qt::Key_Enter) {
            if (txtEAddr->text().size() == 4)
                cmdRead_Click();
            return true;
        }
        const QString t = key->text();
        const bool accepted = t.size() == 1
                              && ((t[0] >= QLatin1Char('0') && t[0] <= QLatin1Char('9'))
                                  || (t[0] >= QLatin1Char('A') && t[0] <= QLatin1Char('F')));
        return !accepted;
    }
    return QDialog::eventFilter(watched, event);
}

void frmMemLog::txtEAddr_Change()
{
    // A partly typed address is not judged yet: the check runs once the box
    // holds all four digits.
    const QString t = txtEAddr->text();
    if (t.size() < 4)
        return;
    if (!FlowLogReadout::checkEndAddress(t.toInt(nullptr, 16), m_host))
        txtEAddr->setText(FlowLogReadout::pointerText(m_host));
}

void frmMemLog::cmdRead_Click()
{
    if (m_host.gate().busy())
        return;
    bool ok = false;
    const int end = txtEAddr->text().toInt(&ok, 16);
    if (!ok || !FlowLogReadout::checkEndAddress(end, m_host)) {
        txtEAddr->setText(FlowLogReadout::pointerText(m_host));
        return;
    }
    Text1->clear();
    const int total = FlowLogReadout::blockCount(end);
    m_progress->setMaximum(qMax(total, 1));
    m_progress->setValue(0);
    m_progress->setFormat(QStringLiteral("%v of %m blocks"));
    cmdRead->setEnabled(false);
    cmdSave->setEnabled(false);
    txtEAddr->setEnabled(false);
    cmdCancel->setText(QStringLiteral("Stop"));
    lblProgress->setText(QStringLiteral("Reading..."));
    const FlowLogReadout::Outcome outcome = m_readout->read(end);
    if (outcome == FlowLogReadout::Refused)
        return;
    cmdCancel->setText(QStringLiteral("Cancel"));
    cmdRead->setEnabled(true);
    cmdSave->setEnabled(true);
    txtEAddr->setEnabled(true);
    const int points = m_host.state().FlowPointCount;
    lblProgress->setText(outcome == FlowLogReadout::Cancelled
                             ? QStringLiteral("Stopped: %1 points read").arg(points)
                             : QStringLiteral("%1 points read").arg(points));
}

void frmMemLog::cmdSave_Click()
{
    const TerminalState &s = m_host.state();
    if (s.FlowPointCount == 0) {
        m_host.prompter().message(QStringLiteral("Flow array is ampty! Please first Reed data. Click OK."),
                                  QStringLiteral("System Monitor"), Prompter::Information);
        return;
    }
    const QByteArray bytes = mlgfile::bytes(qint32(s.cellValue(QStringLiteral("0105"))),
                                            qint32(s.cellValue(QStringLiteral("0118"))), s.Density, s.FlowArray,
                                            s.FlowPointCount);
    const SaveDialogText dialog{QStringLiteral("Save Memory Log to the File"),
                                QDir(m_host.programFolder()).filePath(QStringLiteral("My_Flow1.mlg")),
                                QStringLiteral("Memory Log (*.MLG)|*.mlg|All Files (*.*)|*.*"),
                                QStringLiteral("Flow Data have been Saved. Click OK.")};
    const QString path = saveWithReplaceQuestion(m_host.prompter(), dialog, [&bytes](const QString &p, QString *error) {
        return mlgfile::write(p, bytes, error);
    });
    if (!path.isEmpty())
        m_saved = path;
}

void frmMemLog::cmdCancel_Click()
{
    // During a readout the button stops it after the block in progress.
    if (m_readout->running()) {
        m_readout->cancel();
        return;
    }
    QDialog::reject();
}

void frmMemLog::reject()
{
    cmdCancel_Click();
}
