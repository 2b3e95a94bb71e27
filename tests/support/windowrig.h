#pragma once
// The main window for a test, on the in-process simulated transmitter (or on
// the port its stored settings name), with a scripted prompter, dialogs
// recorded instead of run, and the store pause and reply time-out shortened.
#include "config/commsettings.h"
#include "link/devicelink.h"
#include "sim/simdevice.h"
#include "sim/simserialport.h"
#include "support/filebytes.h"
#include "support/scriptedprompter.h"
#include "support/simfaultspec.h"
#include "terminal/frmterminal.h"

#include <QAction>
#include <QDialog>
#include <QLabel>
#include <QMap>
#include <QSettings>
#include <QTemporaryDir>
#include <memory>

struct WindowRig {
    // withSim false keeps the port the settings gave.
    explicit WindowRig(bool withSim = true)
    {
        window = std::make_unique<frmTerminal>(&prompter);
        window->setProgramFolder(dir.path());
        window->execDialog = [this](QDialog &d) {
            dialogs << QString::fromLatin1(d.metaObject()->className());
            return int(QDialog::Rejected);
        };
        if (withSim) {
            device = new SimDevice;
            port = new SimSerialPort(device);
            device->setParent(port);
            window->setPort(port);
        }
        window->link().setStorePauseOverride(0);
        window->link().setReplyTimeout(200);
        window->show();
    }
    // Values for the settings store, as the last exit left them.
    static void storeSettings(const QMap<QString, QString> &values)
    {
        const auto store = CommSettings::store();
        for (auto it = values.begin(); it != values.end(); ++it)
            store->setValue(QStringLiteral("Properties/") + it.key(), it.value());
    }
    template <typename T = QWidget>
    T *child(const QString &name) const { return window->findChild<T *>(name); }
    QString panel(const QString &key) const { return window->panel(key)->text(); }
    // The texts of several status bar panels, in the order given.
    QStringList panels(const QStringList &keys) const
    {
        QStringList out;
        for (const QString &k : keys)
            out << panel(k);
        return out;
    }
    bool enabled(const QString &item) const { return window->menuItem(item)->isEnabled(); }
    bool buttonEnabled(const QString &key) const { return window->button(key)->isEnabled(); }
    bool shown(const char *name) const { return child(QLatin1String(name))->isVisible(); }
    // "1" or "0" per menu item ("mnu...") or toolbar key, in the order given.
    QString states(const QStringList &names) const
    {
        QString out;
        for (const QString &n : names)
            out += (n.startsWith(QLatin1String("mnu")) ? enabled(n) : buttonEnabled(n)) ? QLatin1Char('1') : QLatin1Char('0');
        return out;
    }
    QStringList frames() const { return device ? device->receivedFrames() : QStringList(); }

    QTemporaryDir dir;
    ScriptedPrompter prompter;
    SimDevice *device = nullptr;
    SimSerialPort *port = nullptr;
    std::unique_ptr<frmTerminal> window;
    QStringList dialogs;
};
