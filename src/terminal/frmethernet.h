#pragma once
// Access prompt of the back door: the five-character access code. It leaves
// BackDoorGranted or BackDoorCancelled in the state for the caller, which
// reads them after the prompt closed.
#include <QDialog>

class QLineEdit;
class QPushButton;
class TerminalHost;

class frmEthernet : public QDialog
{
    Q_OBJECT
public:
    frmEthernet(TerminalHost &host, QWidget *parent = nullptr);

    void cmdSave_Click();
    void cmdCancel_Click();
    // The close box and Escape count as Cancel.
    void reject() override;

private:
    TerminalHost &m_host;
    QLineEdit *txtPassword;
    QPushButton *cmdSave;
    QPushButton *cmdCancel;
};
