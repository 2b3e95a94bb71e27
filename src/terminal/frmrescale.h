#pragma once
// Access prompt of the rescale: a three-character code checked against the
// device's own code. It leaves RescaleGranted or RescaleCancelled in the
// state for the caller, which reads them after the prompt closed.
#include <QDialog>

class QLineEdit;
class QPushButton;
class TerminalHost;

class frmRescale : public QDialog
{
    Q_OBJECT
public:
    frmRescale(TerminalHost &host, QWidget *parent = nullptr);

    void cmdSave_Click();
    void cmdCancel_Click();
    // The close box and Escape count as Cancel.
    void reject() override;

protected:
    void mousePressEvent(QMouseEvent *event) override;

private:

    TerminalHost &m_host;
    QLineEdit *txtPassword;
    QPushButton *cmdSave;
    QPushButton *cmdCancel;
};
