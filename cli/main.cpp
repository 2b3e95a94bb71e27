#include "cli.h"

#include "link/devicelink.h"
#include "link/portfactory.h"
#include "link/tcpport.h"
#include "session/parametermap.h"
#include "session/terminalsession.h"
#include "sim/simdevice.h"
#include "sim/simserialport.h"

#include <QGuiApplication>
#include <QJsonDocument>
#include <QTextStream>
#include <cstdio>
#include <memory>

namespace {

QMap<QString, CliCommand *> &registry()
{
    static QMap<QString, CliCommand *> r;
    return r;
}

// Options that take a value; everything else starting with "--" is a flag.
const QStringList kValueOptions = {
    QStringLiteral("port"), QStringLiteral("settings"), QStringLiteral("fault"),
    QStringLiteral("preset"), QStringLiteral("count"), QStringLiteral("interval"),
    QStringLiteral("code"), QStringLiteral("timeout"), QStringLiteral("last"), QStringLiteral("only"),
    QStringLiteral("mqtt"), QStringLiteral("as-found"), QStringLiteral("mqtt-cafile"), QStringLiteral("mqtt-cert"),
    QStringLiteral("mqtt-key"), QStringLiteral("mqtt-queue"),
    QStringLiteral("out"), QStringLiteral("jobs"), QStringLiteral("golden"), QStringLiteral("device-timeout"),
};
const QStringList kFlags = {
    QStringLiteral("sim"), QStringLiteral("rs485"), QStringLiteral("yes"), QStringLiteral("help"), QStringLiteral("version"),
    QStringLiteral("dry-run"), QStringLiteral("changed"), QStringLiteral("reconnect"), QStringLiteral("json"), QStringLiteral("stats"),
    QStringLiteral("report"), QStringLiteral("restore"),
};
// The commands that print JSON with --json.
const QStringList kJsonCommands = {
    QStringLiteral("info"), QStringLiteral("get"), QStringLiteral("params"),
    QStringLiteral("monitor"), QStringLiteral("compare"), QStringLiteral("journal"),
    QStringLiteral("sweep"), QStringLiteral("sweep-one"),
};

void printHelp(QTextStream &out)
{
    out << "usage: quorin-cli (--port PATH | --sim) [--rs485] [--settings 9600,n,8,1] COMMAND ARGS\n"
           "  --port takes a serial device, tcp://HOST:PORT (raw bytes through a serial device server)\n"
           "    or rfc2217://HOST:PORT (the server's line follows --settings)\n"
           "  --sim uses the built-in simulated transmitter (--preset NAME, --fault SPEC)\n"
           "  --version prints the program's version\n"
           "  --reconnect: monitor opens a lost port again every 2 s and goes on\n"
           "  --json: info, get, params, compare print one JSON object; monitor, journal and sweep one per line\n"
           "  --mqtt mqtt[s]://[USER[:PASSWORD]@]HOST[:PORT]/TOPIC: monitor also publishes every reading there,\n"
           "    sweep each transmitter's result (retained, under TOPIC/NAME)\n"
           "    (JSON, retained, QoS 1; the password may come from QUORIN_MQTT_PASSWORD instead)\n"
           "    --mqtt-cafile FILE: the CA of an mqtts:// broker; --mqtt-cert FILE --mqtt-key FILE: a client certificate\n"
           "    --mqtt-queue N: readings held while the broker is away (10000)\n"
           "commands:\n";
    for (const CliCommand *c : registry())
        out << "  " << c->synopsis << "\n";
    out << "exit status: 0 success, 1 device failure or refusal, 2 bad usage or input\n";
}

} // namespace

CliCommand::CliCommand(const char *n, const char *s, Run r)
    : name(QString::fromLatin1(n)), synopsis(QString::fromLatin1(s)), run(std::move(r))
{
    registry().insert(name, this);
}

const QMap<QString, CliCommand *> &CliCommand::all()
{
    return registry();
}

int CliContext::readOut(TerminalHost **out) const
{
    TerminalHost *h = host();
    *out = h;
    if (!h)
        return ExitUsage;
    return h->synchronize() ? ExitOk : ExitDevice;
}

int CliContext::usage(const QString &text) const
{
    *err << "quorin-cli: " << text << "\n";
    err->flush();
    return ExitUsage;
}

void CliContext::printJson(const QJsonObject &object) const
{
    *out << QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)) << "\n";
    out->flush();
}

QJsonValue jsonDecimal(const QString &text)
{
    bool ok = false;
    const double v = text.trimmed().toDouble(&ok);
    return ok ? QJsonValue(v) : QJsonValue(QJsonValue::Null);
}

QJsonValue jsonNumber(const Parameter &p, const QString &shown, qint64 held, bool known)
{
    if (!known)
        return QJsonValue(QJsonValue::Null);
    if (p.encoding == Parameter::Unsigned || p.encoding == Parameter::FullScale)
        return jsonDecimal(shown);
    return QJsonValue(held);
}

bool isHexText(const QString &text, int n)
{
    if (text.isEmpty() || (n >= 0 && text.size() != n))
        return false;
    for (QChar c : text)
        if (!c.isDigit() && !QStringLiteral("abcdefABCDEF").contains(c))
            return false;
    return true;
}

static QString lines(QString text)
{
    text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text;
}

void CliPrompter::message(const QString &text, const QString &, Icon)
{
    ++messages;
    QTextStream(stderr) << lines(text) << "\n";
}

bool CliPrompter::askYesNo(const QString &text, const QString &, Icon)
{
    QTextStream(stderr) << lines(text) << (yes ? " Yes\n" : " No (give --yes to answer Yes)\n");
    return yes;
}

bool CliPrompter::askOkCancel(const QString &text, const QString &, Icon)
{
    QTextStream(stderr) << lines(text) << (yes ? " OK\n" : " Cancel (give --yes to answer OK)\n");
    return yes;
}

bool CliPrompter::inputBox(const QString &prompt, const QString &, const QString &, QString *answer)
{
    if (inputs.isEmpty()) {
        QTextStream(stderr) << lines(prompt) << " (no answer given)\n";
        return false;
    }
    *answer = inputs.takeFirst();
    return true;
}

QString CliPrompter::openFileName(const QString &, const QString &, const QString &)
{
    return fileName;
}

QString CliPrompter::saveFileName(const QString &, const QString &, const QString &)
{
    return fileName;
}

int main(int argc, char **argv)
{
    QCoreApplication::setApplicationName(QStringLiteral("Quorin Terminal"));
    QTextStream out(stdout);
    QTextStream err(stderr);

    CliContext ctx;
    CliPrompter prompter;
    ctx.prompter = &prompter;
    ctx.out = &out;
    ctx.err = &err;

    QString command;
    QStringList argvList;
    for (int i = 1; i < argc; ++i)
        argvList << QString::fromLocal8Bit(argv[i]);
    for (int i = 0; i < argvList.size(); ++i) {
        const QString a = argvList[i];
        if (a.startsWith(QLatin1String("--"))) {
            QString name = a.mid(2);
            QString value;
            const int eq = name.indexOf(QLatin1Char('='));
            if (eq >= 0) {
                value = name.mid(eq + 1);
                name = name.left(eq);
                if (!kValueOptions.contains(name))
                    return ctx.usage(QStringLiteral("option --%1 takes no value").arg(name));
                ctx.options.insert(name, value);
            } else if (kValueOptions.contains(name)) {
                if (i + 1 >= argvList.size())
                    return ctx.usage(QStringLiteral("option --%1 needs a value").arg(name));
                ctx.options.insert(name, argvList[++i]);
            } else if (kFlags.contains(name)) {
                ctx.flags << name;
            } else {
                return ctx.usage(QStringLiteral("unknown option %1").arg(a));
            }
        } else if (command.isEmpty()) {
            command = a;
        } else {
            ctx.args << a;
        }
    }
    prompter.yes = ctx.flag(QStringLiteral("yes"));

    // The report draws its pages with the fonts of Qt Gui; nothing is shown,
    // so no display is needed.
    std::unique_ptr<QCoreApplication> app;
    if (command == QLatin1String("report")
        || (command == QLatin1String("sweep-one") && ctx.flag(QStringLiteral("report")))) {
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        app = std::make_unique<QGuiApplication>(argc, argv);
    } else {
        app = std::make_unique<QCoreApplication>(argc, argv);
    }

    if (ctx.flag(QStringLiteral("version"))) {
        out << "quorin-cli " << QUORIN_VERSION << "\n";
        return ExitOk;
    }
    if (ctx.flag(QStringLiteral("help")) || command == QLatin1String("help")) {
        printHelp(out);
        return ExitOk;
    }
    if (command.isEmpty()) {
        printHelp(err);
        return ExitUsage;
    }
    CliCommand *cmd = registry().value(command);
    if (!cmd)
        return ctx.usage(QStringLiteral("unknown command \"%1\" (try --help)").arg(command));
    for (const QString &name : ctx.options.keys())
        if (name.startsWith(QLatin1String("mqtt")) && command != QLatin1String("monitor") && command != QLatin1String("sweep"))
            return ctx.usage(QStringLiteral("--%1 works with monitor and sweep only").arg(name));
    if (ctx.json() && !kJsonCommands.contains(command))
        return ctx.usage(QStringLiteral("--json works with %1 only").arg(kJsonCommands.join(QLatin1String(", "))));

    TerminalSession session(&prompter, nullptr);
    ctx.session = &session;
    session.journalSource = [command] { return QStringLiteral("quorin-cli ") + command; };
    DeviceLink &link = session.link();
    ctx.link = &link;
    ctx.connect = [&]() -> bool {
        const bool sim = ctx.flag(QStringLiteral("sim"));
        const QString port = ctx.option(QStringLiteral("port"));
        if (sim == !port.isEmpty()) {
            ctx.usage(QStringLiteral("name a port with --port PATH, or give --sim"));
            return false;
        }
        const bool rs485 = ctx.flag(QStringLiteral("rs485"));
        SerialPort *p = nullptr;
        if (sim) {
            const QString preset = ctx.option(QStringLiteral("preset"), QStringLiteral("standard"));
            if (!SimDevice::presetNames().contains(preset)) {
                ctx.usage(QStringLiteral("unknown preset; choose one of: ") + SimDevice::presetNames().join(QLatin1String(", ")));
                return false;
            }
            SimFaults faults;
            QString error;
            if (!SimFaults::parse(ctx.option(QStringLiteral("fault"), QStringLiteral("none")), &faults, &error)) {
                ctx.usage(error);
                return false;
            }
            SimSerialPort::registerPort(preset, faults, rs485);
            p = PortFactory::make(SimSerialPort::Name);
        } else {
            // A malformed network address is a mistake in the command, found
            // before anything is opened.
            QString error;
            if (TcpPort::isNetworkName(port) && !PortFactory::exists(port, &error)) {
                ctx.usage(error);
                return false;
            }
            p = PortFactory::make(port);
        }
        const QString settings = ctx.option(QStringLiteral("settings"));
        if (!settings.isEmpty() && !p->setSettings(settings)) {
            ctx.usage(QStringLiteral("bad --settings \"%1\": %2").arg(settings, p->errorString()));
            delete p;
            return false;
        }
        link.setPort(p);
        link.Rs232Mode = !rs485;
        bool ok = false;
        const int timeout = ctx.option(QStringLiteral("timeout")).toInt(&ok);
        if (ok && timeout > 0)
            link.setReplyTimeout(timeout);
        return true;
    };

    bool connected = false;
    ctx.host = [&]() -> TerminalHost * { return connected || ctx.connect() ? &session : nullptr; };
    auto connectOnce = ctx.connect;
    ctx.connect = [&]() -> bool {
        if (connected)
            return true;
        connected = connectOnce();
        return connected;
    };

    const int status = cmd->run(ctx);
    out.flush();
    err.flush();
    return status;
}
