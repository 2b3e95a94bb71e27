#pragma once
// Flow memory log window: reads the device's flow log up to a typed end
// address, lists every sample and saves them to an .mlg file.
#include <QDialog>

class FlowLogReadout;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class TerminalHost;

class frmMemLog : public QDialog
{
    Q_OBJECT
public:
    frmMemLog(TerminalHost &host, QWidget *parent = nullptr);

    void cmdRead_Click();
    void cmdSave_Click();
    void cmdCancel_Click();
    void reject() override;

    QLineEdit *endAddressBox() const { return txtEAddr; }
    QString text() const;
    QProgressBar *progressBar() const { return m_progress; }
    FlowLogReadout &readout() { return *m_readout; }
    QString savedPath() const { return m_saved; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void txtEAddr_Change();

    TerminalHost &m_host;
    FlowLogReadout *m_readout;
    QString m_saved;
    QLineEdit *txtEAddr;
    QPlainTextEdit *Text1;
    QProgressBar *m_progress;
    QLabel *lblProgress;
    QPushButton *cmdRead;
    QPushButton *cmdSave;
    QPushButton *cmdCancel;
};
