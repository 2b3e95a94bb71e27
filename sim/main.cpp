// quorin-sim: the simulated transmitter on a pseudo-terminal, or with
// --listen on a TCP port of 127.0.0.1. The first line on stdout is the port
// name to open: the pseudo-terminal's path, or "tcp://127.0.0.1:PORT".
#include "ptyserver.h"
#include "simdevice.h"
#include "simfaults.h"
#include "tcpserver.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int sig)
{
    const char c = char(sig);
    [[maybe_unused]] const ssize_t n = ::write(signalPipe[1], &c, 1);
}

// SIGTERM, SIGINT and SIGHUP end the event loop, so the pseudo-terminal is closed
// and the process exits normally.
bool quitOnSignals(QCoreApplication *app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return false;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, app);
    QObject::connect(notifier, &QSocketNotifier::activated, app, [app] {
        char sig = 0;
        if (::read(signalPipe[0], &sig, 1) == 1)
            std::fprintf(stderr, "quorin-sim: ending on signal %d\n", int(sig));
        app->quit();
    });
    struct sigaction sa {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    return ::sigaction(SIGTERM, &sa, nullptr) == 0 && ::sigaction(SIGINT, &sa, nullptr) == 0
        && ::sigaction(SIGHUP, &sa, nullptr) == 0;
}

int usage(const QString &text)
{
    std::fprintf(stderr, "quorin-sim: %s\n", qPrintable(text));
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quorin-sim"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Simulated flow transmitter on a pseudo-terminal (or a TCP port with --listen). "
        "Prints the port name to open as the first line."));
    parser.addHelpOption();
    const QCommandLineOption rs485(QStringLiteral("rs485"), QStringLiteral("Answer with the RS485 bus tag."));
    const QCommandLineOption baud(QStringLiteral("baud"), QStringLiteral("Line speed for pacing (default 9600)."),
                                  QStringLiteral("N"), QStringLiteral("9600"));
    const QCommandLineOption fault(QStringLiteral("fault"),
                                   QStringLiteral("none, noanswer, late:MS (replies that late), corrupt, split[:SEED], "
                                                  "hangup:N, greet (a greeting on connect), noise (text before "
                                                  "every reply), trickle:MS (one byte every MS), opensb (--listen: "
                                                  "an unterminated telnet subnegotiation), flood (--listen: "
                                                  "endless bytes without a \":\"); several joined by commas."),
                                   QStringLiteral("SPEC"), QStringLiteral("none"));
    const QCommandLineOption preset(QStringLiteral("preset"),
                                    QStringLiteral("Device preset: %1.").arg(SimDevice::presetNames().join(QLatin1String(", "))),
                                    QStringLiteral("NAME"), QStringLiteral("standard"));
    const QCommandLineOption noPacing(QStringLiteral("no-pacing"), QStringLiteral("Answer at once, not at line speed."));
    const QCommandLineOption listen(QStringLiteral("listen"),
                                    QStringLiteral("Serve raw bytes on TCP port N of 127.0.0.1, one client at a "
                                                   "time (0: a free port), instead of a pseudo-terminal."),
                                    QStringLiteral("N"));
    parser.addOptions({rs485, baud, fault, preset, noPacing, listen});
    if (!parser.parse(app.arguments()))
        return usage(parser.errorText());
    if (parser.isSet(QStringLiteral("help"))) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return 0;
    }
    if (!parser.positionalArguments().isEmpty())
        return usage(QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().first()));

    bool ok = false;
    const int baudRate = parser.value(baud).toInt(&ok);
    if (!ok || baudRate <= 0)
        return usage(QStringLiteral("--baud needs a positive whole number, not \"%1\"").arg(parser.value(baud)));
    SimFaults faults;
    QString error;
    if (!SimFaults::parse(parser.value(fault), &faults, &error))
        return usage(error);
    if (!SimDevice::presetNames().contains(parser.value(preset)))
        return usage(QStringLiteral("unknown preset \"%1\"; choose one of: %2")
                         .arg(parser.value(preset), SimDevice::presetNames().join(QLatin1String(", "))));

    int listenPort = -1;
    if (parser.isSet(listen)) {
        listenPort = parser.value(listen).toInt(&ok);
        if (!ok || listenPort < 0 || listenPort > 65535)
            return usage(QStringLiteral("--listen needs a TCP port number 0 to 65535, not \"%1\"").arg(parser.value(listen)));
    }

    SimDevice device(parser.value(preset));
    device.setRs485(parser.isSet(rs485));
    PtyServer server(&device);
    TcpSimServer tcp(&device);
    QString portName;
    if (listenPort >= 0) {
        tcp.setBaud(baudRate);
        tcp.setPacing(!parser.isSet(noPacing));
        tcp.setFaults(faults);
        if (!tcp.listen(quint16(listenPort), &error)) {
            std::fprintf(stderr, "quorin-sim: cannot listen on 127.0.0.1:%d: %s\n", listenPort, qPrintable(error));
            return 1;
        }
        // A device server that drops the line drops the client, not itself.
        QObject::connect(&tcp, &TcpSimServer::hungUp, &app,
                         [] { std::fprintf(stderr, "quorin-sim: hung up (fault), waiting for the next client\n"); });
        portName = tcp.address();
    } else {
        server.setBaud(baudRate);
        server.setPacing(!parser.isSet(noPacing));
        server.setFaults(faults);
        if (!server.open(&error)) {
            std::fprintf(stderr, "quorin-sim: cannot create a pseudo-terminal: %s\n", qPrintable(error));
            return 1;
        }
        QObject::connect(&server, &PtyServer::hungUp, &app, [&app] {
            std::fprintf(stderr, "quorin-sim: hung up (fault)\n");
            app.quit();
        });
        QObject::connect(&server, &PtyServer::lineSpeedChanged, &app, [](int baud) {
            std::fprintf(stderr, "quorin-sim: the line is set to %d baud\n", baud);
        });
        portName = server.slavePath();
    }
    if (!quitOnSignals(&app))
        std::fprintf(stderr, "quorin-sim: signals will not end the simulator cleanly\n");
    device.startClock();

    std::printf("%s\n", qPrintable(portName));
    std::fflush(stdout);
    std::fprintf(stderr, "quorin-sim: serving preset %s at %d baud%s%s, faults %s\n",
                 qPrintable(device.preset()), baudRate, parser.isSet(noPacing) ? " (no pacing)" : "",
                 parser.isSet(rs485) ? ", RS485" : "", qPrintable(faults.toString()));

    const int status = app.exec();
    server.close();
    return status;
}
