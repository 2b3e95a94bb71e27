#include "frmrescale.h"

#include "rescale.h"
#include "terminalhost.h"
#include "terminalstate.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

frmRescale::frmRescale(TerminalHost &host, QWidget *parent)
    : QDialog(parent), m_host(host)
{
    setObjectName(QStringLiteral("frmRescale"));
    setWindowTitle(QStringLiteral("Password"));
    setModal(true);

    txtPassword = new QLineEdit(this);
    txtPassword->setObjectName(QStringLiteral("txtPassword"));
    maskPassword();
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

    connect(cmdSave, &QPushButton::clicked, this, &frmRescale::cmdSave_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmRescale::cmdCancel_Click);
    connect(txtPassword, &QLineEdit::returnPressed, this, &frmRescale::cmdSave_Click);

    Rescale::clearFlags(m_host.state());
}

void frmRescale::maskPassword()
{
    txtPassword->setEchoMode(QLineEdit::Password);
    txtPassword->setStyleSheet(QStringLiteral("lineedit-password-character: 42"));
}

void frmRescale::mousePressEvent(QMouseEvent *event)
{
    maskPassword();
    QDialog::mousePressEvent(event);
}

void frmRescale::cmdSave_Click()
{
    Rescale::accept(m_host.state(), txtPassword->text());
    done(Accepted);
}

void frmRescale::cmdCancel_Click()
{
    m_host.state().RescaleCancelled = true;
    done(Rejected);
}

void frmRescale::reject()
{
    cmdCancel_Click();
}
