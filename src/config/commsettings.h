#pragma once
// The communication settings: the lists the settings dialog offers, the
// reading of a port's settings text, and the per-user settings store
// (application "Quorin Terminal", section "Properties").
//
// Values are stored as text. The two interval indices count from 1 in the
// store and in the main window; the dialog's lists count from 0.
#include <QString>
#include <QStringList>
#include <memory>

class QSettings;

class CommSettings
{
public:
    // The dialog's lists, in list order.
    static const QStringList &interfaces();   // "RS232", "RS485"
    static const QStringList &speeds();       // "110" .. "256000"
    static const QStringList &dataBits();     // "4" .. "8"
    static const QStringList &parities();     // "Even", "Odd", "None", "Mark", "Space"
    static const QStringList &stopBits();     // "1", "1.5", "2"
    static const QStringList &intervals();    // update rates and recording intervals, ms
    static QStringList comPorts();            // "Com1" .. "Com16"
    static const QStringList &flowControls(); // captions of the handshaking modes 0..3

    // Milliseconds of interval list entry index (from 1); 0 outside the list.
    static int intervalMs(int index);
    // The timers' own intervals, kept until a stored index names another.
    static constexpr int DefaultUpdateMs = 1000;
    static constexpr int DefaultRecordMs = 750;

    // A settings text "19200,e,7,1.5" cut into its fields by position, as the
    // dialog has always done: the stop bits are the last one character, or
    // three when the text holds a "."; speed, parity letter and data bits sit
    // at fixed distances before them. A text too short for that gives empty
    // fields rather than a crash.
    struct LineText {
        QString speed;
        QString parityLetter;
        QString dataBits;
        QString stopBits;
    };
    static LineText splitSettings(const QString &text);
    // "e" Even, "m" Mark, "n" None, "o" Odd, "s" Space. The letter is taken in
    // either case, because the dialog itself stores it upper case; anything
    // else gives an empty text.
    static QString parityEntry(const QString &letter);
    // What OK assigns to the port: trimmed speed, the parity entry's first
    // letter as it stands ("Even" gives "E"), trimmed data and stop bits.
    static QString settingsText(const QString &speed, const QString &parity, const QString &dataBits,
                                const QString &stopBits);

    // What the dialog selects when it loads (LoadPropertySettings): the list
    // indices (from 0, -1 when nothing fits) and the texts of the line fields.
    struct PropertyView {
        int interfaceIndex = 0;
        QString speed;
        QString parity;
        QString dataBits;
        QString stopBits;
        int portIndex = -1;
        int flowIndex = 0;
        int echoIndex = 0;
        int tssIndex = -1;
        int tsrIndex = -1;
    };
    // portNumber counts from 1 in the dialog's port list; the interval
    // indices count from 1 as stored.
    static PropertyView LoadPropertySettings(bool rs232, const QString &settingsText, int portNumber,
                                             int handshaking, bool echo, int timeSs, int timeSr);

    // The port as stored under "CommPort": the number for "Com1".."Com16",
    // the name itself for any other port (a device path, the simulated
    // transmitter).
    static QString portNameFromStored(const QString &stored);
    static QString storedFromPortName(const QString &name);

    // The runtime's Boolean texts.
    static QString boolText(bool value) { return value ? QStringLiteral("True") : QStringLiteral("False"); }
    // "True"/"False" in any case, or a number (0 is false); other text gives def.
    static bool readBool(const QString &text, bool def);

    // The settings store of this program.
    static std::unique_ptr<QSettings> store();
    static QString value(const QString &key, const QString &def = QString());
    static void setValue(const QString &key, const QString &value);
    // The program's own keys beyond the table, each in a section of its own
    // ("Trend/Shown", "Mqtt/Broker"), so "Properties" holds only its keys.
    static QString extraValue(const QString &sectionAndKey, const QString &def = QString());
    static void setExtraValue(const QString &sectionAndKey, const QString &value);

    // Start-up reads every key of the table, in table order.
    struct Stored {
        QString Settings;       // "" leaves the port's settings alone
        QString CommPort;       // "" leaves the port alone
        QString Handshaking;    // "" leaves the port's handshaking alone
        bool Echo = false;
        int TotUnit = 1;
        int TimeSs = 1;
        int TimeSr = 4;
        bool hasTimeSs = false; // a stored index names the interval
        bool hasTimeSr = false;
        bool Interface = true;  // true is RS232
        int ComMonitor = 0;
        int DevInfo = 0;
    };
    static Stored load();
    // The settings dialog's OK: Settings, CommPort, Handshaking, Echo,
    // Interface, Time_ss, Time_sr, in this order.
    // Addresses typed into the port list (tcp://, rfc2217://, paths), the
    // last used first; kept apart from the specified keys.
    static QStringList recentPorts();
    static void rememberPort(const QString &name);
    static void saveProperties(const QString &settings, const QString &portName, int handshaking, bool echo,
                               bool rs232, int timeSs, int timeSr);
    // Exit and unload: Cur_unit, Com_monitor, Dev_info.
    static void saveExit(const QString &curUnit, int comMonitor, int devInfo);
};
