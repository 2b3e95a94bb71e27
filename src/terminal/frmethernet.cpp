#include "frmethernet.h"

#include "rescale.h"
#include "terminalhost.h"
#include "terminalstate.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

frmEthernet::frmEthernet(TerminalHost &host, QWidget *parent)
    : QDialog(parent), m_host(host)
{
    setObjectName(QStringLiteral("frmEthernet"));
    setWindowTitle(QStringLiteral("Password"));
    setModal(true);

    txtPassword = new QLineEdit(this);
    txtPassword->setObjectName(QStringLiteral("txtPassword"));
    txtPassword->setEchoMode(QLineEdit::Password);
    txtPassword->setStyleSheet(QStringLiteral("lineedit-password-character: 42"));
    cmdSave = new QPushButton(QStringLiteral("OK"), this);
    cmdSave->setObjectName(QStringLiteral("cmdSave"));
    cmdCancel = new QPushButton(QStringLiteral("Cancel"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    // Enter in the box accepts through returnPressed alone, not twice.
    cmdSave->setAutoDefault(false);
    cmdCancel->setAutoDefault(false);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdSave);
    buttons->addWidget(cmdCancel);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(txtPassword);
    layout->addLayout(buttons);

    connect(cmdSave, &QPushButton::clicked, this, &frmEthernet::cmdSave_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmEthernet::cmdCancel_Click);
    connect(txtPassword, &QLineEdit::returnPressed, this, &frmEthernet::cmdSave_Click);

    MemWrite::clearFlags(m_host.state());
}

void frmEthernet::cmdSave_Click()
{
    MemWrite::accept(m_host.state(), txtPassword->text());
    done(Accepted);
}

void frmEthernet::cmdCancel_Click()
{
    m_host.state().BackDoorCancelled = true;
    done(Rejected);
}

void frmEthernet::reject()
{
    cmdCancel_Click();
}
