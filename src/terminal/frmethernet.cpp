#include "frmethernet.h"

#include "rescale.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"
#include "widgetpassword.h"

#include <QLineEdit>

frmEthernet::frmEthernet(TerminalHost &host, QWidget *parent)
    : QDialog(parent), m_host(host)
{
    const PasswordLayout w = buildPasswordLayout(this, "frmEthernet", [this] { cmdSave_Click(); }, [this] { cmdCancel_Click(); });
    txtPassword = w.txtPassword;
    cmdSave = w.cmdSave;
    cmdCancel = w.cmdCancel;

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
