#include "frmabout.h"

#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

frmAbout::frmAbout(QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("frmAbout"));
    setWindowTitle(tr("About Quorin Terminal"));

    auto *title = new QLabel(tr("Quorin Terminal"), this);
    title->setObjectName(QStringLiteral("lblTitle"));
    QFont big = title->font();
    big.setPointSize(big.pointSize() + 6);
    big.setBold(true);
    title->setFont(big);

    QString version = QCoreApplication::applicationVersion();
    if (version.isEmpty())
        version = QStringLiteral("0.1");
    auto *lblVersion = new QLabel(tr("Version %1").arg(version), this);
    lblVersion->setObjectName(QStringLiteral("lblVersion"));

    auto *text = new QLabel(tr("Configuration and monitoring terminal for R52 flow transmitters.\n"
                               "Serial line RS232 or RS485; a simulated transmitter is built in."),
                            this);
    text->setObjectName(QStringLiteral("lblDescription"));
    text->setWordWrap(true);

    auto *cmdOK = new QPushButton(tr("OK"), this);
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdOK->setDefault(true);
    auto *buttons = new QDialogButtonBox(this);
    buttons->addButton(cmdOK, QDialogButtonBox::AcceptRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(lblVersion);
    layout->addSpacing(8);
    layout->addWidget(text);
    layout->addWidget(buttons);
}
