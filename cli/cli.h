#pragma once
// quorin-cli: the headless front end. Each command lives in its own
// cli/cmd_*.cpp and registers itself with a CliCommand object.
//
// Exit status: 0 success; 1 the device did not answer, refused or the
// verification failed; 2 bad usage or bad input.
#include "common/prompter.h"
#include "terminal/mqttpublisher.h"

#include <QJsonObject>
#include <QJsonValue>

#include <QMap>
#include <QStringList>
#include <QTextStream>
#include <functional>

class DeviceLink;
class TerminalHost;
class TerminalSession;

enum CliExit { ExitOk = 0, ExitDevice = 1, ExitUsage = 2 };

// Messages go to stderr with each carriage return as a line break; questions
// are answered Yes/OK only when --yes was given.
class CliPrompter : public Prompter
{
public:
    void message(const QString &text, const QString &title, Icon icon) override;
    bool askYesNo(const QString &text, const QString &title, Icon icon) override;
    bool askOkCancel(const QString &text, const QString &title, Icon icon) override;
    bool inputBox(const QString &prompt, const QString &title, const QString &defaultText,
                  QString *answer) override;
    QString openFileName(const QString &title, const QString &proposed, const QString &filter) override;
    QString saveFileName(const QString &title, const QString &proposed, const QString &filter) override;
    void beep() override {}

    bool yes = false;
    QStringList inputs;     // answers for input boxes, in order
    QString fileName;       // the answer to a file dialog
    int messages = 0;
};

struct CliContext {
    QStringList args;                  // positional arguments after the command name
    QMap<QString, QString> options;    // --name value
    QStringList flags;                 // --name
    DeviceLink *link = nullptr;        // connected lazily by connect()
    CliPrompter *prompter = nullptr;
    QTextStream *out = nullptr;
    QTextStream *err = nullptr;
    std::function<bool()> connect;     // sets up the port; false on bad options
    // The terminal state and services for this run over the same link
    // (connects first); nullptr when the port options are bad.
    std::function<TerminalHost *()> host;
    TerminalSession *session = nullptr; // the same host, with its records

    // Opens the port and reads the device's configuration, for the commands
    // that work from it. ExitOk with *host set; ExitUsage when the port
    // options are bad; ExitDevice when the readout failed (it said why).
    int readOut(TerminalHost **host) const;

    bool flag(const QString &name) const { return flags.contains(name); }
    QString option(const QString &name, const QString &def = QString()) const { return options.value(name, def); }
    int usage(const QString &text) const; // prints "quorin-cli: " text, returns ExitUsage
    // --json: the commands that know it print JSON instead of text.
    bool json() const { return flag(QStringLiteral("json")); }
    // One compact JSON object and a line end, flushed so that a script
    // reading the pipe sees it at once.
    void printJson(const QJsonObject &object) const;
};

struct CliCommand {
    using Run = std::function<int(CliContext &)>;
    CliCommand(const char *name, const char *synopsis, Run run);
    static const QMap<QString, CliCommand *> &all();

    QString name;
    QString synopsis;
    Run run;
};

struct Parameter;
// A parameter's value as a JSON number: the shown text read as a number for
// the decimal parameters, the number the device holds for the others (the
// unit and time base index, the unit name's bytes, the pointer, the options
// byte, the reset-only words); null when there is none.
QJsonValue jsonNumber(const Parameter &p, const QString &shown, qint64 held, bool known = true);
// Text read as a decimal number ("  12.5" included), or null.
QJsonValue jsonDecimal(const QString &text);

// True when text is exactly n hexadecimal digits (upper or lower case).
bool isHexText(const QString &text, int n = -1);

// --mqtt and its companions (monitor and sweep): the broker, its files and the
// queue's bound. An empty host: no broker. False when something is wrong (said, exit 2).
bool readMqtt(const CliContext &c, MqttPublisher::Address *broker, int *queue);
