// quorin-sim: the simulated transmitter on a pseudo-terminal, or with
// --listen on a TCP port of 127.0.0.1. The first line on stdout is the port
// name to open: the pseudo-terminal's path, or "tcp://127.0.0.1:PORT".
#include "ptyserver.h"
#include "simdevice.h"
#include "simfaults.h"
#include "simline.h"
#include "tcpserver.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QRandomGenerator>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>
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

// A simulated site: N transmitters, each with its own TCP server on one of N
// consecutive ports.
struct Site {
    std::vector<std::unique_ptr<SimDevice>> devices;
    std::vector<std::unique_ptr<TcpSimServer>> servers;
};

// Binds N consecutive ports from `first`; with 0 the first is a free one and
// a run that meets a taken port starts over elsewhere.
bool listenSite(Site &site, int first, const std::function<void()> &makeServers, QString *error)
{
    const int n = int(site.devices.size());
    for (int attempt = 0; attempt < (first == 0 ? 50 : 1); ++attempt) {
        makeServers();
        int base = first;
        int bound = 0;
        for (; bound < n; ++bound) {
            TcpSimServer &s = *site.servers[size_t(bound)];
            const int want = bound == 0 ? base : base + bound;
            if (want > 65535 || !s.listen(quint16(want), error))
                break;
            if (bound == 0)
                base = s.port();
        }
        if (bound == n)
            return true;
    }
    return false;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quorin-sim"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUORIN_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Simulated flow transmitter on a pseudo-terminal (or a TCP port with --listen). "
        "Prints the port name to open as the first line."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption rs485(QStringLiteral("rs485"), QStringLiteral("Answer with the RS485 bus tag."));
    const QCommandLineOption baud(QStringLiteral("baud"), QStringLiteral("Line speed for pacing (default 9600)."),
                                  QStringLiteral("N"), QStringLiteral("9600"));
    const QCommandLineOption fault(QStringLiteral("fault"),
                                   QStringLiteral("none, noanswer, late:MS (replies that late), corrupt, split[:SEED], "
                                                  "hangup:N, mute:N (silent after N frames), lose:N (no reply to frame N), greet (a greeting on connect), noise (text before "
                                                  "every reply), trickle:MS (one byte every MS), opensb (--listen: "
                                                  "an unterminated telnet subnegotiation), flood (--listen: "
                                                  "endless bytes without a \":\"), long[:MS] (a data byte more, "
                                                  "the last two digits 1 or MS ms later), lategreet (a greeting "
                                                  "with a \":\" just ahead of the first reply), echo (every frame sent back "
                                                  "ahead of its reply); several joined by commas."),
                                   QStringLiteral("SPEC"), QStringLiteral("none"));
    const QCommandLineOption preset(QStringLiteral("preset"),
                                    QStringLiteral("Device preset: %1.").arg(SimDevice::presetNames().join(QLatin1String(", "))),
                                    QStringLiteral("NAME"), QStringLiteral("standard"));
    const QCommandLineOption pieces(QStringLiteral("pieces"),
                                    QStringLiteral("Hand a paced reply on in pieces of MS milliseconds of line time, "
                                                   "1 to 1000 (default 10; a UART or USB adapter: 1)."),
                                    QStringLiteral("MS"), QStringLiteral("10"));
    const QCommandLineOption noPacing(QStringLiteral("no-pacing"), QStringLiteral("Answer at once, not at line speed."));
    const QCommandLineOption listen(QStringLiteral("listen"),
                                    QStringLiteral("Serve raw bytes on TCP port N of 127.0.0.1, one client at a "
                                                   "time (0: a free port), instead of a pseudo-terminal."),
                                    QStringLiteral("N"));
    const QCommandLineOption devices(QStringLiteral("devices"),
                                     QStringLiteral("With --listen: serve N transmitters on N consecutive ports, "
                                                    "one address a line on stdout."),
                                     QStringLiteral("N"));
    const QCommandLineOption seed(QStringLiteral("seed"),
                                  QStringLiteral("With --devices: vary the presets from this seed (else all --preset)."),
                                  QStringLiteral("S"));
    const QCommandLineOption deviceFault(QStringLiteral("device-fault"),
                                         QStringLiteral("With --devices: I:SPEC gives transmitter I (from 1) its own "
                                                        "faults instead of --fault; may be repeated."),
                                         QStringLiteral("I:SPEC"));
    parser.addOptions({rs485, baud, fault, preset, pieces, noPacing, listen, devices, seed, deviceFault});
    if (!parser.parse(app.arguments()))
        return usage(parser.errorText());
    if (parser.isSet(QStringLiteral("help"))) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return 0;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        std::printf("quorin-sim %s\n", QUORIN_VERSION);
        return 0;
    }
    if (!parser.positionalArguments().isEmpty())
        return usage(QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().first()));

    bool ok = false;
    const int baudRate = parser.value(baud).toInt(&ok);
    if (!ok || baudRate <= 0)
        return usage(QStringLiteral("--baud needs a positive whole number, not \"%1\"").arg(parser.value(baud)));
    const int pieceMs = parser.value(pieces).toInt(&ok);
    if (!ok || pieceMs < 1 || pieceMs > 1000)
        return usage(QStringLiteral("--pieces needs milliseconds 1 to 1000, not \"%1\"").arg(parser.value(pieces)));
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

    if (parser.isSet(devices)) {
        const int n = parser.value(devices).toInt(&ok);
        if (!ok || n < 1 || n > 1000)
            return usage(QStringLiteral("--devices needs a number 1 to 1000, not \"%1\"").arg(parser.value(devices)));
        if (listenPort < 0)
            return usage(QStringLiteral("--devices needs --listen PORT"));
        if (listenPort > 0 && listenPort + n - 1 > 65535)
            return usage(QStringLiteral("--listen %1 leaves no room for %2 ports").arg(listenPort).arg(n));
        std::vector<SimFaults> deviceFaults(size_t(n), faults);
        for (const QString &spec : parser.values(deviceFault)) {
            const int colon = spec.indexOf(QLatin1Char(':'));
            const int i = spec.left(colon).toInt(&ok);
            if (colon < 0 || !ok || i < 1 || i > n)
                return usage(QStringLiteral("--device-fault needs I:SPEC with I from 1 to %1, not \"%2\"").arg(n).arg(spec));
            if (!SimFaults::parse(spec.mid(colon + 1), &deviceFaults[size_t(i - 1)], &error))
                return usage(error);
        }
        quint32 seedValue = 0;
        if (parser.isSet(seed)) {
            seedValue = parser.value(seed).toUInt(&ok);
            if (!ok)
                return usage(QStringLiteral("--seed needs a whole number, not \"%1\"").arg(parser.value(seed)));
        }
        QRandomGenerator pick(seedValue);
        const QStringList presets = SimDevice::presetNames();
        Site site;
        for (int i = 0; i < n; ++i) {
            const QString name = parser.isSet(seed) ? presets[int(pick.bounded(quint32(presets.size())))] : parser.value(preset);
            site.devices.push_back(std::make_unique<SimDevice>(name));
            site.devices.back()->setRs485(parser.isSet(rs485));
        }
        const auto makeServers = [&] {
            site.servers.clear();
            for (int i = 0; i < n; ++i) {
                site.servers.push_back(std::make_unique<TcpSimServer>(site.devices[size_t(i)].get()));
                TcpSimServer &t = *site.servers.back();
                t.setBaud(baudRate);
                t.setPacing(!parser.isSet(noPacing));
                t.setFaults(deviceFaults[size_t(i)]);
                t.line()->setPieceMs(pieceMs);
            }
        };
        if (!listenSite(site, listenPort, makeServers, &error)) {
            std::fprintf(stderr, "quorin-sim: cannot listen on %d consecutive ports from %d: %s\n", n, listenPort,
                         qPrintable(error));
            return 1;
        }
        if (!quitOnSignals(&app))
            std::fprintf(stderr, "quorin-sim: signals will not end the simulator cleanly\n");
        for (int i = 0; i < n; ++i) {
            site.devices[size_t(i)]->startClock();
            std::printf("%s\n", qPrintable(site.servers[size_t(i)]->address()));
            std::fprintf(stderr, "quorin-sim: %d %s preset %s, faults %s\n", i + 1,
                         qPrintable(site.servers[size_t(i)]->address()), qPrintable(site.devices[size_t(i)]->preset()),
                         qPrintable(deviceFaults[size_t(i)].toString()));
        }
        std::fflush(stdout);
        return app.exec();
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
        tcp.line()->setPieceMs(pieceMs);
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
        server.line()->setPieceMs(pieceMs);
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
                 qPrintable(device.preset()), baudRate,
                 parser.isSet(noPacing) ? " (no pacing)" : qPrintable(QStringLiteral(" in %1 ms pieces").arg(pieceMs)),
                 parser.isSet(rs485) ? ", RS485" : "", qPrintable(faults.toString()));

    const int status = app.exec();
    server.close();
    return status;
}
