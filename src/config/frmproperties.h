#pragma once
// Communication settings: port, line settings, handshaking, local echo, the
// RS232/RS485 interface and the two update rates of the main window. The
// interface and the rates take effect as soon as they are chosen; OK applies
// the port settings, checking each step, and only then stores them.
#include <QDialog>
#include <functional>

class QComboBox;
class QPushButton;
class QRadioButton;
class QStackedWidget;
class QTabBar;
class TerminalHost;

class frmProperties : public QDialog
{
    Q_OBJECT
public:
    // What the main window uses when the dialog opens.
    struct Current {
        bool echo = false;
        int updateRateIndex = 1;
        int recordIntervalIndex = 4;
    };
    frmProperties(TerminalHost &host, const Current &current, QWidget *parent = nullptr);

    // The main window's change of port: an open port is closed and the new
    // one opened in its place; false with *error when that failed.
    std::function<bool(const QString &name, QString *error)> choosePort;
    ~frmProperties() override;

    // The port list: "Com1".."Com16", the ports found on this machine, the
    // port in use when it is none of those, and the simulated transmitter.
    static QStringList portList(const QString &current);

    void Form_Load();
    void LoadPropertySettings();
    void tabSettings_Click(int index);
    void cboInterface_Click();
    void cboTSs_Click();
    void cboTSr_Click();
    void optFlow_Click(int index);
    void cmdOK_Click();
    void cmdCancel_Click();

signals:
    // The interface and the two rates act as soon as they are chosen.
    void interfaceChosen(bool rs232);
    void updateRateChosen(int index);
    void recordIntervalChosen(int index);
    // OK applied the port settings; the panels and the echo follow them.
    void applied(const QString &interfaceText, const QString &port, bool echo);

private:
    QString portName() const;

    TerminalHost &m_host;
    Current m_current;
    QTabBar *tabSettings = nullptr;
    QStackedWidget *fraSettings = nullptr;
    QComboBox *cboInterface = nullptr;
    QComboBox *cboPort = nullptr;
    QComboBox *cboSpeed = nullptr;
    QComboBox *cboDataBits = nullptr;
    QComboBox *cboParity = nullptr;
    QComboBox *cboStopBits = nullptr;
    QComboBox *cboTSs = nullptr;
    QComboBox *cboTSr = nullptr;
    QRadioButton *optFlow[4] = {};
    QRadioButton *optEcho[2] = {};
    QPushButton *cmdOK = nullptr;
    QPushButton *cmdCancel = nullptr;
    int m_flow = 0; // the optFlow element clicked last
};
