#include "frmrescale.h"

#include "rescale.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"
#include "widgetpassword.h"

#include <QLineEdit>

frmRescale::frmRescale(TerminalHost &host, QWidget *parent)
    : QDialog(parent), m_host(host)
{
    const PasswordLayout w = buildPasswordLayout(this, "frmRescale", [this] { cmdSave_Click(); }, [this] { cmdCancel_Click(); });
    txtPassword = w.txtPassword;
    cmdSave = w.cmdSave;
    cmdCancel = w.cmdCancel;

    Rescale::clearFlags(m_host.state());
}

void frmRescale::mousePressEvent(QMouseEvent *event)
{
    maskPassword(txtPassword);
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
