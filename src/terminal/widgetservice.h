#pragma once
// The service frames of the main window: rescale, calibration entry and the
// raw memory write tool reached through the back door. Each is a QFrame the
// main window embeds (hidden) and starts from its menu with start(), which
// runs the whole entry flow: confirmation, access prompt, showing the frame,
// and for the rescale the locking and restoring of the menus.
#include <QFrame>
#include <functional>
#include <memory>

class QLabel;
class QLineEdit;
class QPushButton;
class TerminalHost;
class Rescale;
class Calibration;
class MemWrite;

class RescaleFrame : public QFrame
{
    Q_OBJECT
public:
    RescaleFrame(TerminalHost &host, QWidget *parent = nullptr);
    ~RescaleFrame() override;

    // mnuOptionRescale: confirmation, frmRescale, then the frame.
    void start();

    // Runs the access prompt, which leaves RescaleGranted/RescaleCancelled
    // in the state. The default shows frmRescale modally; tests replace it.
    std::function<void()> runAccessPrompt;

    void cmdRescale_Click();
    void cmdCancelRescale_Click();

    // The last computed factor, unrounded.
    double newSF() const;

private:
    void leave();

    TerminalHost &m_host;
    std::unique_ptr<Rescale> m_rescale;
    QLabel *lblMaxFlowOld;
    QLabel *lblScaleFactorOld;
    QLineEdit *txtMaxFlowNew;
    QLabel *lblSFNew;
    QPushButton *cmdRescale;
    QPushButton *cmdCancelRescale;
};

class CalibrateFrame : public QFrame
{
    Q_OBJECT
public:
    CalibrateFrame(TerminalHost &host, QWidget *parent = nullptr);
    ~CalibrateFrame() override;

    // mnuOptionsCalibrate: confirmation, then the frame with the periodic
    // update toggled so that polling stops while the operator types. The
    // frame is left, and the update toggled back, once Enter found the
    // value written or unchanged, or Cancel (Escape) was chosen.
    void start();

    // Does what Enter in txtScaleFactor does.
    void cmdWOK_Click();
    // Leaves the frame without writing (also Escape in txtScaleFactor).
    void cmdWCancel_Click();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void txtScaleFactor_Enter();
    void leave();

    TerminalHost &m_host;
    std::unique_ptr<Calibration> m_calibration;
    QLineEdit *txtScaleFactor;
    QPushButton *cmdWOK;
    QPushButton *cmdWCancel;
};

class MemWriteFrame : public QFrame
{
    Q_OBJECT
public:
    MemWriteFrame(TerminalHost &host, QWidget *parent = nullptr);
    ~MemWriteFrame() override;

    // mnuOptionsBackDoor: frmEthernet, then the tool.
    void start();

    // Runs the access prompt, which leaves BackDoorGranted/BackDoorCancelled
    // in the state. The default shows frmEthernet modally; tests replace it.
    std::function<void()> runAccessPrompt;

    void cmdMWrite_Click();
    void cmdMWCancel_Click();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QLineEdit *box(int which) const;

    TerminalHost &m_host;
    std::unique_ptr<MemWrite> m_memWrite;
    QLineEdit *txtNumByte;
    QLineEdit *txtSAddress;
    QLineEdit *txtWData;
    QPushButton *cmdMWrite;
    QPushButton *cmdMWCancel;
};
