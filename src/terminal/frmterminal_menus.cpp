// The main window's menu and toolbar handlers.
#include "frmterminal.h"
#include "frmterminal_p.h"

#include "common/prompter.h"
#include "config/commsettings.h"
#include "config/frmdprop.h"
#include "config/frmproperties.h"
#include "frmabout.h"
#include "link/devicelink.h"
#include "session/operationgate.h"
#include "session/terminalsession.h"
#include "terminallogs.h"
#include "widgetservice.h"

// TEMPORARY while the chart viewer is being written.
#include "files/frmautotune.h"
#include "files/frmdevices.h"
#include "files/frmexporte.h"
#include "files/frmhistory.h"
#include "files/frmimporte.h"
#include "files/frmmemlog.h"
#include "files/filesave.h"
#include "files/servicereport.h"

#include <QAction>
#include <QDialog>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QScreen>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QFrame>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTimer>
#include <QVBoxLayout>

using frmterminal::kSystemMonitor;

namespace {
const QString kCaption = QStringLiteral("ZENTIR Control Terminal");
const QString kCommLogFilter = QStringLiteral("Log Files (*.TLG)|*.tlg|All Files (*.*)|*.*");
const QString kDataLogFilter = QStringLiteral("Log Files (*.LOG)|*.log|All Files (*.*)|*.*");

// Disabled while a service frame is shown; the log items and their buttons
// get back the state they had.
const QStringList kLockedItems = {
    "mnuOpen", "mnuMSComm", "mnuProperties", "mnuDeviceSinhronize", "mnuOptionsBackDoor",
    "mnuOptionsMemExport", "mnuOptionsMemImport", "mnuOptionsCalibrate", "mnuOptionsView",
    "mnuOptionRescale", "mnuDProperties", "mnuOpenLog", "mnuCloseLog", "mnuFileALogO", "mnuFileALogC", "mnuOALF",
    "mnuSaveReport", "mnuOpenSite"};
const QStringList kLockedButtons = {"DialPhoneNumber", "HangUpPhone", "OpenLogFile", "CloseLogFile",
                                    "ALogO", "ALogC", "Properties", "StartAM"};
} // namespace

bool frmTerminal::busyRefused() const
{
    // One device operation at a time: a command that would start another, or
    // open a window over values half read, waits for a later click.
    return m_session->gate().busy();
}

void frmTerminal::tbrToolBar_ButtonClick(const QString &key)
{
    // The keys reach their commands crosswise; that mapping is kept as the
    // operators know it.
    if (key == QLatin1String("OpenLogFile"))
        mnuOpenLog_Click();
    else if (key == QLatin1String("CloseLogFile"))
        mnuCloseLog_Click();
    else if (key == QLatin1String("ALogO"))
        mnuFileALogO_Click();
    else if (key == QLatin1String("ALogC"))
        mnuFileALogC_Click();
    else if (key == QLatin1String("StartAS"))
        mnuAutoS_Click();
    else if (key == QLatin1String("DialPhoneNumber"))
        mnuDeviceSinhronize_Click();
    else if (key == QLatin1String("HangUpPhone"))
        mnuOptionsBackDoor_Click();
    else if (key == QLatin1String("Properties"))
        mnuProperties_Click();
    else if (key == QLatin1String("TransmitTextFile"))
        mnuMonitor_Click();
    else if (key == QLatin1String("RStart"))
        mnuDRecStart_Click();
    else if (key == QLatin1String("RStop"))
        mnuDRecStop_Click();
    // "StartAM" and any other key: nothing.

    // The check marks of the toggle buttons follow what they show.
    button(QStringLiteral("StartAS"))->setChecked(m_link->AutoUpdateOn);
    button(QStringLiteral("TransmitTextFile"))->setChecked(m_monitor);
    button(QStringLiteral("DialPhoneNumber"))->setChecked(m_link->PortOpen());
}

void frmTerminal::setEnabledPair(const QStringList &items, const QStringList &buttons, bool enabled)
{
    // Under a lock an item keeps the state it is to get back.
    const bool locked = m_locked || m_busyLocked;
    for (const QString &name : items)
        if (QAction *a = menuItem(name)) {
            if (locked && m_kept.contains(name))
                m_kept.insert(name, enabled);
            else
                a->setEnabled(enabled);
        }
    for (const QString &key : buttons)
        if (QAction *b = button(key)) {
            const QString kept = QStringLiteral("button:") + key;
            if (locked && m_kept.contains(kept))
                m_kept.insert(kept, enabled);
            else
                b->setEnabled(enabled);
        }
}

bool frmTerminal::confirm(const QString &text)
{
    return m_prompter->askYesNo(text, kSystemMonitor, Prompter::Warning);
}

int frmTerminal::runDialog(QDialog &dialog)
{
    return execDialog ? execDialog(dialog) : dialog.exec();
}

void frmTerminal::mnuOpenLog_Click()
{
    QString path;
    bool append = false;
    if (!chooseLogFile(*m_prompter, QStringLiteral("Open Communications Log File"), kCommLogFilter,
                       QDir(m_programFolder).filePath(QStringLiteral("My_TLog1.tlg")), &path, &append))
        return;
    QString error;
    if (!m_commLog->open(path, append, &error)) {
        m_prompter->message(error, kSystemMonitor, Prompter::Exclamation);
        return;
    }
    setEnabledPair({"mnuCloseLog"}, {"CloseLogFile"}, true);
    setEnabledPair({"mnuOpenLog"}, {"OpenLogFile"}, false);
    setWindowTitle(kCaption + QStringLiteral(" - ") + path);
}

void frmTerminal::mnuCloseLog_Click()
{
    QString error;
    if (!m_commLog->close(&error))
        m_prompter->message(error, kSystemMonitor, Prompter::Exclamation);
    setEnabledPair({"mnuOpenLog"}, {"OpenLogFile"}, true);
    setEnabledPair({"mnuCloseLog"}, {"CloseLogFile"}, false);
    setWindowTitle(kCaption);
}

void frmTerminal::mnuFileALogO_Click()
{
    QString path;
    bool append = false;
    if (!chooseLogFile(*m_prompter, QStringLiteral("Open Auto Log File"), kDataLogFilter,
                       QDir(m_programFolder).filePath(QStringLiteral("My_ALog1.log")), &path, &append))
        return;
    QString error;
    if (!m_dataLog->open(path, append, &error)) {
        m_prompter->message(error, kSystemMonitor, Prompter::Exclamation);
        return;
    }
    setEnabledPair({"mnuFileALogC", "mnuDRecStart"}, {"ALogC", "RStart"}, true);
    setEnabledPair({"mnuFileALogO"}, {"ALogO", "RStop"}, false);
    setWindowTitle(QStringLiteral("I/O Terminal - ") + path);
}

void frmTerminal::mnuFileALogC_Click()
{
    // No record can follow once the log is gone.
    m_recording = false;
    m_recordDue = false;
    Timer5->stop();
    QString error;
    if (!m_dataLog->close(&error))
        m_prompter->message(error, kSystemMonitor, Prompter::Exclamation);
    setEnabledPair({"mnuFileALogO"}, {"ALogO"}, true);
    setEnabledPair({"mnuFileALogC", "mnuDRecStart", "mnuDRecStop"}, {"ALogC", "RStart", "RStop"}, false);
    setWindowTitle(kCaption);
}

void frmTerminal::mnuOALF_Click()
{
    if (!confirm(QStringLiteral("  Do you want to Save Flow Memory Log into the File?  ")))
        return;
    frmMemLog dialog(*this, this);
    runDialog(dialog);
}

void frmTerminal::commLogWritten(bool ok)
{
    // A log that cannot be written (a full disk) is closed with its reason,
    // once, after the exchange in progress: a message box must not open in
    // the middle of a wait for a reply.
    if (ok || !m_commLog->isOpen() || m_commLogCloseQueued)
        return;
    m_commLogCloseQueued = true;
    QMetaObject::invokeMethod(this, [this] {
        m_commLogCloseQueued = false;
        if (m_commLog->isOpen())
            mnuCloseLog_Click();
    }, Qt::QueuedConnection);
}

void frmTerminal::mnuAutoS_Click()
{
    setAutoUpdate(!m_link->AutoUpdateOn);
}

void frmTerminal::mnuMonitor_Click()
{
    m_monitor = !m_monitor;
    m_comMonitor = m_monitor ? 1 : 0;
    menuItem(QStringLiteral("mnuMonitor"))->setChecked(m_monitor);
    button(QStringLiteral("TransmitTextFile"))->setChecked(m_monitor);
    fraSendR->setVisible(m_monitor);
    TimerM_Timer();
}

void frmTerminal::mnuStart_Click()
{
    m_devInfo = 1;
    m_link->SuppressTerminal = false;
    txtTerm->show();
    txtTerm->setFocus();
    menuItem(QStringLiteral("mnuStart"))->setEnabled(false);
    menuItem(QStringLiteral("mnuStop"))->setEnabled(true);
}

void frmTerminal::mnuStop_Click()
{
    m_devInfo = 0;
    m_link->SuppressTerminal = true;
    txtTerm->hide();
    menuItem(QStringLiteral("mnuStart"))->setEnabled(true);
    menuItem(QStringLiteral("mnuStop"))->setEnabled(false);
}

std::unique_ptr<frmProperties> frmTerminal::propertiesDialog()
{
    auto dialog = std::make_unique<frmProperties>(*this, frmProperties::Current{m_echo, m_timeSs, m_timeSr}, this);
    dialog->choosePort = [this](const QString &name, QString *error) { return choosePort(name, error); };
    connect(dialog.get(), &frmProperties::interfaceChosen, this, &frmTerminal::setInterfaceFlag);
    connect(dialog.get(), &frmProperties::updateRateChosen, this, &frmTerminal::setUpdateRateIndex);
    connect(dialog.get(), &frmProperties::recordIntervalChosen, this, &frmTerminal::setRecordIntervalIndex);
    connect(dialog.get(), &frmProperties::applied, this, [this](const QString &interfaceText, const QString &port, bool echo) {
        setPanelText(QStringLiteral("Interface"), QStringLiteral("Interface: ") + interfaceText);
        setPanelText(QStringLiteral("Comport"), QStringLiteral("COM Port: ") + port);
        showPortState();
        setEcho(echo);
    });
    return dialog;
}

void frmTerminal::mnuProperties_Click()
{
    if (busyRefused())
        return;
    const auto dialog = propertiesDialog();
    runDialog(*dialog);
}

void frmTerminal::mnuDeviceSinhronize_Click()
{
    if (busyRefused())
        return;
    synchronize();
}

void frmTerminal::mnuDRecStart_Click()
{
    m_recording = true;
    m_recordDue = false;
    Timer5->start();
    button(QStringLiteral("RStart"))->setEnabled(false);
    button(QStringLiteral("RStop"))->setEnabled(true);
    menuItem(QStringLiteral("mnuDRecStart"))->setEnabled(false);
    menuItem(QStringLiteral("mnuDRecStop"))->setEnabled(true);
    m_prompter->beep();
}

void frmTerminal::mnuDRecStop_Click()
{
    m_recording = false;
    m_recordDue = false;
    Timer5->stop();
    button(QStringLiteral("RStart"))->setEnabled(true);
    button(QStringLiteral("RStop"))->setEnabled(false);
    menuItem(QStringLiteral("mnuDRecStart"))->setEnabled(true);
    menuItem(QStringLiteral("mnuDRecStop"))->setEnabled(false);
    m_prompter->beep();
}

void frmTerminal::mnuDProperties_Click()
{
    if (busyRefused())
        return;
    DevicePropertiesOpen = 1;
    PropertiesEdit = 1;
    synchronize();
    frmDProp dialog(*this, this);
    runDialog(dialog);
}

void frmTerminal::mnuOptionsBackDoor_Click()
{
    if (busyRefused())
        return;
    m_memWrite->start();
}

void frmTerminal::mnuOptionsMemExport_Click()
{
    if (busyRefused())
        return;
    if (!confirm(QStringLiteral("  Do you want to Save Configuration Table into the File?  ")))
        return;
    synchronize();
    frmExportE dialog(*this, this);
    runDialog(dialog);
}

void frmTerminal::mnuOptionsMemImport_Click()
{
    if (busyRefused())
        return;
    if (!confirm(QStringLiteral("WARNING: Proceeding with this may cause loosing of the Calibration Data!\r"
                                "   Do you want to Import Configuration Table into the Unit?   ")))
        return;
    frmImportE dialog(*this, this);
    runDialog(dialog);
}

void frmTerminal::mnuOptionsCalibrate_Click()
{
    if (busyRefused())
        return;
    m_calibrate->start();
}

void frmTerminal::mnuOptionsView_Click()
{
    if (busyRefused())
        return;
    frmAutoTune dialog(*this, this);
    runDialog(dialog);
}

void frmTerminal::mnuOptionRescale_Click()
{
    if (busyRefused())
        return;
    m_rescale->start();
}

void frmTerminal::mnuDeviceHistory_Click()
{
    if (busyRefused())
        return;
    frmHistory dialog(*this, m_session->journal().path(), this);
    runDialog(dialog);
}

void frmTerminal::mnuNewServiceRecord_Click()
{
    m_session->newServiceRecord();
}

void frmTerminal::mnuSaveReport_Click()
{
    if (busyRefused())
        return;
    // As left is what the device holds now, so the report reads it first;
    // a failed readout has said why and no report is made.
    if (!synchronize())
        return;
    ServiceReport report;
    QString error;
    if (!report.build(*m_session, nullptr, QString(), &error)) {
        prompter().message(error, kSystemMonitor, Prompter::Exclamation);
        return;
    }
    // Where the last report went, else the user's documents: a report is
    // the customer's paper, not the program's.
    QString folder = CommSettings::extraValue(QStringLiteral("Report/Folder"));
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const SaveDialogText dialog = {QStringLiteral("Save Service Report"),
                                   QDir(folder).filePath(QStringLiteral("report.pdf")),
                                   QStringLiteral("PDF Files (*.PDF)|*.pdf|All Files (*.*)|*.*"),
                                   QStringLiteral("Service report has been saved.")};
    const QString saved = saveWithReplaceQuestion(
        prompter(), dialog, [&report](const QString &path, QString *e) { return report.writeFile(path, e); });
    if (!saved.isEmpty())
        CommSettings::setExtraValue(QStringLiteral("Report/Folder"), QFileInfo(saved).absolutePath());
}

void frmTerminal::mnuOpenSite_Click()
{
    if (busyRefused())
        return;
    const QString path = prompter().openFileName(QStringLiteral("Open Site File"), programFolder(),
                                                 QStringLiteral("Site Files (*.CSV)|*.csv|All Files (*.*)|*.*"));
    if (path.isEmpty())
        return;
    frmDevices dialog(prompter(), frmDevices::cliProgram(), this);
    if (!dialog.openSite(path))
        return;
    SiteDevice chosen;
    connect(&dialog, &frmDevices::openDevice, &dialog, [&chosen, &dialog](const SiteDevice &d) {
        chosen = d;
        dialog.accept();
    });
    runDialog(dialog);
    if (chosen.port.isEmpty())
        return;
    // The transmitter chosen becomes this window's device: its port, line
    // settings and interface, then its configuration is read.
    QString error;
    if (!choosePort(chosen.port, &error)) {
        prompter().message(error, kSystemMonitor, Prompter::Exclamation);
        return;
    }
    if (!chosen.settings.isEmpty() && port() && !port()->setSettings(chosen.settings)) {
        prompter().message(port()->errorString(), kSystemMonitor, Prompter::Exclamation);
        return;
    }
    m_link->Rs232Mode = !chosen.rs485;
    synchronize();
}

void frmTerminal::mnuLinkHealth_Click()
{
    if (!m_health) {
        m_health = new QDialog(this);
        m_health->setObjectName(QStringLiteral("frmLinkHealth"));
        m_health->setWindowTitle(tr("Link Health"));
        m_health->setAttribute(Qt::WA_DeleteOnClose);
        auto *text = new QLabel(m_health);
        text->setObjectName(QStringLiteral("lblHealth"));
        text->setTextInteractionFlags(Qt::TextSelectableByMouse);
        auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, m_health);
        buttons->button(QDialogButtonBox::Close)->setObjectName(QStringLiteral("cmdClose"));
        connect(buttons, &QDialogButtonBox::rejected, m_health, &QDialog::close);
        auto *layout = new QVBoxLayout(m_health);
        layout->addWidget(text);
        layout->addWidget(buttons);
        const auto show = [this, text] {
            const LinkHealth &h = m_link->health;
            const LinkHealth::Times t = h.times();
            // Every frame sent ends one way: a reply, a time-out, cut off by
            // a lost connection, no reply expected, or still awaited.
            const qint64 open = h.framesSent - h.replies - h.timeouts - h.lost - h.noReply;
            QString s = tr("Frames sent: %1\n  Replies: %2\n  Time-outs: %3\n  Lost with the connection: %4\n"
                           "  Expecting no reply (writes, set point): %5\n  Awaiting a reply: %6\n"
                           "Replies discarded (late or partial): %7\nBytes out: %8\nBytes in: %9\n")
                            .arg(h.framesSent).arg(h.replies).arg(h.timeouts).arg(h.lost).arg(h.noReply).arg(open)
                            .arg(h.discarded).arg(h.bytesOut).arg(h.bytesIn);
            // No replies yet: no reply times to show.
            s += t.count > 0 ? tr("Reply time, ms: least %1, median %2, 95% %3, most %4").arg(t.least).arg(t.median).arg(t.p95).arg(t.most)
                             : tr("Reply time, ms: none yet");
            text->setText(s);
        };
        show();
        auto *refresh = new QTimer(m_health);
        connect(refresh, &QTimer::timeout, m_health, show);
        refresh->start(500);
        m_health->adjustSize();
        // Beside the main window, on its right where there is room, so the display stays in view.
        const QRect main = frameGeometry();
        QPoint at(main.right() + 8, main.top());
        if (const QScreen *screen = this->screen(); screen && at.x() + m_health->width() > screen->availableGeometry().right())
            at.setX(qMax(screen->availableGeometry().left(), main.left() - m_health->frameGeometry().width() - 8));
        m_health->move(at);
    }
    m_health->show();
    m_health->raise();
}

void frmTerminal::mnuHelpA_Click()
{
    frmAbout dialog(this);
    runDialog(dialog);
}

void frmTerminal::setMenusLocked(bool locked)
{
    if (locked != m_locked)
        setLocks(locked, m_busyLocked);
}

// The service frames' lock and a running device operation disable the same
// items. While either holds, each item's own state is kept in m_kept, and
// whatever changes an item meanwhile (a log closing itself) changes the kept
// state; the last lock to go restores them all.
void frmTerminal::setLocks(bool frame, bool busy)
{
    const bool before = m_locked || m_busyLocked;
    const bool frameReleased = m_locked && !frame;
    m_locked = frame;
    m_busyLocked = busy;
    const bool after = frame || busy;
    if (!before && after) {
        m_kept.clear();
        for (const QString &name : kLockedItems)
            if (QAction *a = menuItem(name)) {
                m_kept.insert(name, a->isEnabled());
                a->setEnabled(false);
            }
        for (const QString &key : kLockedButtons)
            if (QAction *b = button(key)) {
                m_kept.insert(QStringLiteral("button:") + key, b->isEnabled());
                b->setEnabled(false);
            }
    }
    // Leaving a service frame, "StartAM" comes back only while the update is off.
    if (frameReleased)
        m_kept.insert(QStringLiteral("button:StartAM"), !m_link->AutoUpdateOn);
    if (before && !after) {
        for (const QString &name : kLockedItems)
            if (QAction *a = menuItem(name))
                a->setEnabled(m_kept.value(name, true));
        for (const QString &key : kLockedButtons)
            if (QAction *b = button(key))
                b->setEnabled(m_kept.value(QStringLiteral("button:") + key, true));
    }
    if (imgConnected && imgNotConnected) {
        imgConnected->setEnabled(!after);
        imgNotConnected->setEnabled(!after);
    }
}
