#pragma once
// The main window: owns the serial link and the terminal state for the whole
// run, shows the device's flow display and totalizer, and opens every other
// window from its menus and toolbar. Handlers carry the names of their
// controls and events (mnuOpen_Click, Timer4_Timer, MSComm1_OnComm).
#include "session/terminalhost.h"

#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <functional>
#include <memory>

class QAction;
class QDialog;
class QFrame;
class QLabel;
class QLineEdit;
class QMenu;
class QPlainTextEdit;
class QProgressBar;
class QTimer;
class QToolBar;
class CalibrateFrame;
class CommLog;
class DataLog;
class LineEvents;
class MemWriteFrame;
class MqttPublisher;
class RescaleFrame;
class SerialPort;
class TerminalState;
class Reconnector;
class TerminalSession;
class TrendBuffer;
class WidgetTrend;
class WidgetPrompter;
class frmProperties;

class frmTerminal : public QMainWindow, public TerminalHost
{
    Q_OBJECT
public:
    // Without a prompter the window makes its own message boxes.
    explicit frmTerminal(Prompter *prompter = nullptr, QWidget *parent = nullptr);
    ~frmTerminal() override;

    // TerminalHost
    DeviceLink &link() override { return *m_link; }
    TerminalState &state() override { return *m_state; }
    Prompter &prompter() override { return *m_prompter; }
    OperationGate &gate() override;
    bool synchronize() override;
    void setStatusText(const QString &text) override;
    QString statusText() const override;
    void startTimer2() override;
    bool autoUpdateOn() const override;
    void setAutoUpdate(bool on) override;
    QString currentFlowText() const override;
    void setMenusLocked(bool locked) override;
    void refreshStatusBar() override;
    QString programFolder() const override { return m_programFolder; }

    // The port. setPort takes ownership and keeps the line settings and the
    // handshaking of the port it replaces.
    void setPort(SerialPort *port);
    SerialPort *port() const;
    QString portName() const;
    // A port by name from the port factory (a serial port, or a port some
    // program registered, such as the simulated transmitter).
    void setPortByName(const QString &name);
    // The settings dialog's change of port: an open port is closed and the
    // new one opened in its place. On an error the old port stays, and
    // *error says why.
    bool choosePort(const QString &name, QString *error);

    // The folder default file names are proposed in, and where setup.dat goes.
    void setProgramFolder(const QString &folder);
    QString setupFolder() const { return m_setupFolder; }

    // Handlers.
    void Form_Load();
    void mnuFileExit_Click();
    void Form_Unload();
    bool mnuOpen_Click(); // the port toggle; true when the port is open afterwards
    void MSComm1_OnComm(int code);
    void Timer2_Timer();
    void Timer4_Timer();
    void Timer5_Timer();
    void TimerM_Timer();
    void tbrToolBar_ButtonClick(const QString &key);

    void mnuOpenLog_Click();
    void mnuCloseLog_Click();
    void mnuFileALogO_Click();
    void mnuFileALogC_Click();
    void mnuOALF_Click();
    void mnuSaveReport_Click();
    void mnuOpenSite_Click();
    // The next readout is the configuration as found of a new service record.
    void mnuNewServiceRecord_Click();
    void mnuCommandsFlow_Click();
    void mnuAutoS_Click();
    void mnuMonitor_Click();
    void mnuStart_Click();
    void mnuStop_Click();
    void mnuProperties_Click();
    void mnuDeviceSinhronize_Click();
    void mnuDRecStart_Click();
    void mnuDRecStop_Click();
    void mnuDProperties_Click();
    void mnuOptionsBackDoor_Click();
    void mnuOptionsMemExport_Click();
    void mnuOptionsMemImport_Click();
    void mnuOptionsCalibrate_Click();
    void mnuOptionsView_Click();
    void mnuOptionRescale_Click();
    void mnuOptionsTrend_Click(); // shows or hides the trend chart
    void mnuOptionsMqtt_Click();  // asks for the MQTT broker the readings go to
    void mnuHelpA_Click();
    void mnuDeviceHistory_Click();
    // A small window beside the main one with the line's counters, kept up
    // to date while open; not modal, so the display goes on under it.
    void mnuLinkHealth_Click();
    // Automatic reconnect of a lost port (a setting, off unless chosen).
    void mnuReconnect_Click();
    void setReconnect(bool on);
    bool reconnectOn() const;
    // The communication settings dialog, wired to this window.
    std::unique_ptr<frmProperties> propertiesDialog();

    // Controls by name: menu items (and submenus) by control name, toolbar
    // buttons by key, status panels by key.
    QAction *menuItem(const QString &name) const;
    QAction *button(const QString &key) const;
    QLabel *panel(const QString &key) const;
    void setPanelText(const QString &key, const QString &text);

    // What the settings dialog changes.
    void setUpdateRateIndex(int index);     // from 1; Timer4 and the "UpdateRate" panel
    void setRecordIntervalIndex(int index); // from 1; Timer5
    int updateRateIndex() const { return m_timeSs; }
    int recordIntervalIndex() const { return m_timeSr; }
    void setInterfaceFlag(bool rs232);
    bool echoOn() const { return m_echo; }
    void setEcho(bool on) { m_echo = on; }
    // Mark and picture of the port state; "Settings" panel.
    void showPortState();

    bool recording() const { return m_recording; }
    bool monitorOn() const { return m_monitor; }
    bool menusLocked() const { return m_locked; }
    const CommLog &commLog() const { return *m_commLog; }
    const DataLog &dataLog() const { return *m_dataLog; }
    const LineEvents &lineEvents() const { return *m_lineEvents; }
    const TrendBuffer &trendBuffer() const { return *m_trend; }
    WidgetTrend *trendWidget() const { return fraTrend; }
    // Publishes every reading to mqtt[s]://HOST[:PORT]/TOPIC; empty for none.
    // False (reported) for an address that is not one.
    bool setMqttBroker(const QString &url, const QString &caFile = QString(), const QString &certFile = QString(),
                       const QString &keyFile = QString());

    // Set to 1 by Device Properties before its window opens.
    qint16 DevicePropertiesOpen = 0;
    qint16 PropertiesEdit = 0;

    // How a modal window is shown; tests replace it.
    std::function<int(QDialog &)> execDialog;

    QTimer *Timer2 = nullptr; // clears the status text
    QTimer *Timer4 = nullptr; // display poll
    QTimer *Timer5 = nullptr; // recorder
    QTimer *TimerM = nullptr; // monitor and connect-time refresh

protected:
    void closeEvent(QCloseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildWindow();
    void buildMenus();
    void buildToolBar();
    void buildStatusBar();
    QWidget *buildDisplay();
    QAction *addItem(QMenu *menu, const char *name, const QString &caption, const QKeySequence &key,
                     bool enabled, void (frmTerminal::*handler)());
    void addSeparator(QMenu *menu, const char *name);
    void setEnabledPair(const QStringList &items, const QStringList &buttons, bool enabled);
    void setLocks(bool frame, bool busy);
    bool busyRefused() const;
    void commLogWritten(bool ok);
    void applyStoredSettings();
    void applyTrendSettings();
    void closePort();
    void onPortLost();
    void watchReconnect();
    void resumeAfterReconnect();
    void blankReadings();
    void routeLossToStatus();
    void showDisplay();
    void showFlowLabels();
    // Greys the display while its values are not current (no reading since).
    void showReadingAge();
    void fitDisplay();
    int staleAfterMs() const;
    void sendTerminalLine();
    void appendTerminal(const QString &text);
    bool writeSetupFile();
    void saveExitSettings();
    void closeLogs();
    bool confirm(const QString &text);
    int runDialog(QDialog &dialog);

    Prompter *m_prompter = nullptr;
    std::unique_ptr<WidgetPrompter> m_ownPrompter;
    std::unique_ptr<TerminalSession> m_session;
    Reconnector *m_reconnector = nullptr;
    bool m_resumeUpdate = false; // auto update ran when the port went away
    std::unique_ptr<Prompter> m_linkPrompter;
    bool m_lossPending = false; // the link's next message is the loss, for the status panel
    QString m_lossText;
    DeviceLink *m_link = nullptr;
    TerminalState *m_state = nullptr;
    std::unique_ptr<LineEvents> m_lineEvents;
    std::unique_ptr<CommLog> m_commLog;
    std::unique_ptr<DataLog> m_dataLog;
    std::unique_ptr<TrendBuffer> m_trend;
    std::unique_ptr<MqttPublisher> m_mqtt;

    QHash<QString, QAction *> m_items;
    QHash<QString, QAction *> m_buttons;
    QHash<QString, QLabel *> m_panels;
    QHash<QString, bool> m_kept; // enabled states kept while the menus are locked
    QToolBar *tbrToolBar = nullptr;
    QLabel *imgConnected = nullptr;
    QLabel *imgNotConnected = nullptr;
    QLabel *lblConnectTime = nullptr;
    QFrame *fraSendR = nullptr;
    QLabel *lblTr = nullptr;
    QLineEdit *txtRs = nullptr;
    QFrame *fraMulti = nullptr;
    QLabel *lblMDRe = nullptr;
    QLabel *lblMDEU = nullptr;
    QLabel *Label7 = nullptr;
    QLabel *Label12 = nullptr;
    QLabel *lblSince = nullptr; // when the greyed values were read
    QProgressBar *PrgBar1 = nullptr;
    WidgetTrend *fraTrend = nullptr;
    QPlainTextEdit *txtTerm = nullptr;
    RescaleFrame *m_rescale = nullptr;
    CalibrateFrame *m_calibrate = nullptr;
    MemWriteFrame *m_memWrite = nullptr;
    QPointer<QDialog> m_health; // Link Health, beside the main window

    QString m_programFolder;
    QString m_setupFolder;
    qint64 m_connectedSince = 0;
    qint64 m_readingAt = 0;  // the last poll that read the flow
    qint64 m_pollAt = 0;     // the last poll that ran (or auto update started)
    bool m_flowOk = false;   // what the last poll read
    bool m_totalOk = false;
    bool m_pollSkipped = false; // a tick gave way to another operation
    bool m_readingsBlank = false; // a new connection that has not polled yet
    int m_termInputStart = 0;
    int m_timeSs = 1;
    int m_timeSr = 4;
    int m_comMonitor = 0;
    int m_devInfo = 0;
    bool m_monitor = false;
    bool m_echo = false;
    bool m_recording = false;
    bool m_recordDue = false;
    bool m_commLogCloseQueued = false;
    bool m_locked = false;      // a service frame locked the menus
    bool m_busyLocked = false;  // a device operation runs
    bool m_asking = false;
    bool m_unloaded = false;
};
