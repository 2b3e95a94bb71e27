#pragma once
// Device Properties: view and change the transmitter's configuration one
// field at a time. Enter in a field commits it with a verified write; the
// rules themselves live in ParameterCommit, which quorin-cli runs too.
#include <QDialog>
#include <QHash>
#include <memory>

class QComboBox;
class QFrame;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QStackedWidget;
class QTabBar;
class ParameterCommit;
class TerminalHost;

class frmDProp : public QDialog
{
    Q_OBJECT
public:
    explicit frmDProp(TerminalHost &host, QWidget *parent = nullptr);
    ~frmDProp() override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // A device operation runs (a write of this window, or anything else).
    bool busy() const;
    using KeyPressHandler = void (frmDProp::*)(int &KeyAscii);

    void buildForm();
    QFrame *newFrame(int index, const QString &caption);
    static KeyPressHandler keyPressHandler(const QString &control);
    QLineEdit *newField(const QString &control, int maxLength = 0);
    // A field with its unit (or range) label beside it.
    QWidget *fieldRow(const QString &control, QLabel *unit, int maxLength = 0);
    QWidget *fieldRow(const QString &control, const QString &unit, int maxLength = 0);
    void Form_Load();
    void tabSettings_Click(int index);

    // One KeyPress handler per field: KeyAscii is the character code the
    // field receives (13 Enter, 8 Backspace); setting it to 0 swallows the key.
    void txtMeasureInter_KeyPress(int &KeyAscii);
    void txtmAScale_KeyPress(int &KeyAscii);
    void txtResponseTime_KeyPress(int &KeyAscii);
    void txtMaxFlow_KeyPress(int &KeyAscii);
    void txt1Percent_KeyPress(int &KeyAscii);
    void txtMinFlow_KeyPress(int &KeyAscii);
    void txt2Percent_KeyPress(int &KeyAscii);
    void txt3Percent_KeyPress(int &KeyAscii);
    void txtScaleFactor_KeyPress(int &KeyAscii);
    void txtAFCor_KeyPress(int &KeyAscii);
    void txtBFCor_KeyPress(int &KeyAscii);
    void txtHighFcut_KeyPress(int &KeyAscii);
    void txtPassword_KeyPress(int &KeyAscii);
    void txtmAOffset_KeyPress(int &KeyAscii);
    void txtTurbWindow_KeyPress(int &KeyAscii);
    void txtLowFcut_KeyPress(int &KeyAscii);
    void txtFluDensity_KeyPress(int &KeyAscii);
    void txtUDKfactor_KeyPress(int &KeyAscii);
    void txtUDEUString_KeyPress(int &KeyAscii);
    void txtLogInterval_KeyPress(int &KeyAscii);
    void txtTimeOut_KeyPress(int &KeyAscii);
    void txtDataPointer_KeyPress(int &KeyAscii);

    // The filter and Enter commit every field shares.
    void fieldKeyPress(const QString &control, int &KeyAscii);
    // Returns false when the value was refused (the field keeps the text).
    bool commitField(const QString &control);
    void showMaxFlow();

    void cboEUnit_Click(int index);
    void cboEUTimeBase_Click(int index);
    void optEnable_Click(int index);
    void optPulse_Click(int index);
    void showOptions();
    void showTotal();
    void cmdTSetZero_Click();
    // Closing waits while a value is written.
    void reject() override;
    void cmdOK_Click();

    TerminalHost &m_host;
    std::unique_ptr<ParameterCommit> m_commit;
    QTabBar *tabSettings = nullptr;
    QStackedWidget *fraSettings = nullptr;
    QHash<QString, QLineEdit *> m_fields;
    QHash<QObject *, KeyPressHandler> m_keyPress;
    QComboBox *cboEUnit = nullptr;
    QComboBox *cboEUTimeBase = nullptr;
    QRadioButton *optEnable[2] = {nullptr, nullptr};
    QRadioButton *optPulse[2] = {nullptr, nullptr};
    QLabel *lblMaxFlowUnit = nullptr;
    QLabel *lblMinFlowUnit = nullptr;
    QLabel *lblTotal = nullptr;
    QLabel *lblTotalEU = nullptr;
    QPushButton *cmdOK = nullptr;
    QPushButton *cmdTSetZero = nullptr;
};
