// Soak: the auto-update poll (flow, unit and total reads, as Timer4 runs
// them) against the simulated transmitter until 10 000 exchanges are done.
// Reports resident memory at the start and the end (and along the way),
// ticks that came late, and exchanges that failed or took too long.
//
//   bench_soak [--exchanges N] [--interval MS] [--baud N] [--inprocess]
//
// --interval is Timer4's interval (default 1 ms: as fast as the line
// allows; the settings dialog's fastest rate is 1000 ms). The default line
// is quorin-sim on a pseudo-terminal, paced at 115200 baud, opened through
// Qt Serial Port as the terminal does; --inprocess uses the built-in
// simulated transmitter instead.
#include "benchsupport.h"

#include "link/devicelink.h"
#include "link/qtserialport.h"
#include "sim/simdevice.h"
#include "sim/simserialport.h"
#include "terminal/livedisplay.h"
#include "session/terminalsession.h"
#include "session/terminalstate.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>
#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption exchangesOpt(QStringLiteral("exchanges"), QStringLiteral("Exchanges to run."), QStringLiteral("N"), QStringLiteral("10000"));
    const QCommandLineOption intervalOpt(QStringLiteral("interval"), QStringLiteral("Timer4 interval in ms."), QStringLiteral("MS"), QStringLiteral("1"));
    const QCommandLineOption baudOpt(QStringLiteral("baud"), QStringLiteral("Line speed."), QStringLiteral("N"), QStringLiteral("115200"));
    const QCommandLineOption inprocessOpt(QStringLiteral("inprocess"), QStringLiteral("Use the built-in simulated transmitter."));
    parser.addOptions({exchangesOpt, intervalOpt, baudOpt, inprocessOpt});
    parser.addHelpOption();
    parser.process(app);
    const int target = parser.value(exchangesOpt).toInt();
    const int interval = parser.value(intervalOpt).toInt();
    const int baud = parser.value(baudOpt).toInt();
    const bool inprocess = parser.isSet(inprocessOpt);
    if (target <= 0 || interval < 0 || baud <= 0) {
        std::fprintf(stderr, "bench_soak: bad option value\n");
        return 2;
    }

    bench::Sim sim;
    SerialPort *port = nullptr;
    const QString settings = QStringLiteral("%1,n,8,1").arg(baud);
    if (inprocess) {
        auto *simPort = new SimSerialPort;
        simPort->setPacing(true);
        simPort->device()->startClock();
        port = simPort;
    } else {
        if (!sim.start({QStringLiteral("--baud"), QString::number(baud)}))
            return 1;
        port = new QtSerialPort(sim.path);
    }
    port->setSettings(settings);

    bench::StderrPrompter prompter;
    TerminalSession session(&prompter, port);
    DeviceLink &link = session.link();
    if (!link.openPort())
        return 1;
    LiveDisplay display(link, session.state(), &prompter);

    QTimer timer4;
    timer4.setObjectName(QStringLiteral("Timer4"));
    timer4.setInterval(interval);
    link.setTimer4(&timer4);

    // An exchange lasts from its frame to its reply; a failed one ends at
    // the next frame or the end of the poll.
    int exchanges = 0;
    int failedPolls = 0;
    int slowExchanges = 0;
    qint64 longestExchangeMs = 0;
    QElapsedTimer clock;
    qint64 frameAt = -1;
    QObject::connect(&link, &DeviceLink::frameSent, [&] {
        ++exchanges;
        frameAt = clock.elapsed();
    });
    QObject::connect(&link, &DeviceLink::replyReceived, [&] {
        if (frameAt < 0)
            return;
        const qint64 took = clock.elapsed() - frameAt;
        longestExchangeMs = std::max(longestExchangeMs, took);
        frameAt = -1;
    });

    // A tick is late when it starts later after the previous poll than the
    // timer's interval and its slack allow (Qt's coarse timers may fire up
    // to 5% late; the event loop adds a little).
    const qint64 slackMs = std::max<qint64>(50, interval / 10);
    int ticks = 0;
    int lateTicks = 0;
    qint64 worstGapMs = 0;
    qint64 lastEnd = -1;
    qint64 rssStart = -1, hwmStart = -1;
    QList<QPair<int, qint64>> rssTrail;
    QEventLoop done;

    QObject::connect(&timer4, &QTimer::timeout, [&] {
        const qint64 start = clock.elapsed();
        if (lastEnd >= 0) {
            const qint64 gap = start - lastEnd;
            worstGapMs = std::max(worstGapMs, gap);
            if (gap > interval + slackMs)
                ++lateTicks;
        }
        ++ticks;
        const LiveDisplay::Result r = display.tick();
        if (!r.ok())
            ++failedPolls;
        if (frameAt >= 0) { // the last read of the poll got no reply
            longestExchangeMs = std::max(longestExchangeMs, clock.elapsed() - frameAt);
            frameAt = -1;
        }
        lastEnd = clock.elapsed();
        if (rssStart < 0 && exchanges >= 100) {
            rssStart = bench::statusKb("VmRSS");
            hwmStart = bench::statusKb("VmHWM");
        }
        if (rssTrail.isEmpty() || exchanges / 1000 > rssTrail.last().first / 1000)
            rssTrail << qMakePair(exchanges, bench::statusKb("VmRSS"));
        if (exchanges >= target || r.stopped) {
            timer4.stop();
            session.setAutoUpdate(false);
            done.quit();
        }
    });

    std::printf("soak: %d exchanges, Timer4 %d ms, %s at %d baud (paced)\n", target, interval,
                inprocess ? "built-in simulated transmitter" : "quorin-sim over a pseudo-terminal", baud);
    const double cpu0 = bench::cpuSeconds();
    clock.start();
    session.setAutoUpdate(true);
    timer4.start();
    done.exec();
    const qint64 elapsedMs = clock.elapsed();
    const double cpu = bench::cpuSeconds() - cpu0;
    const qint64 rssEnd = bench::statusKb("VmRSS");
    const qint64 hwmEnd = bench::statusKb("VmHWM");

    // Exchanges that outlived the reply time-out would be stuck waits.
    slowExchanges = longestExchangeMs > link.replyTimeout() ? 1 : 0;
    std::printf("  polls %d, exchanges %d in %.1f s (%.2f ms each), CPU %.1f s (%.1f%% of elapsed)\n", ticks,
                exchanges, elapsedMs / 1000.0, double(elapsedMs) / std::max(exchanges, 1), cpu,
                100.0 * cpu / (elapsedMs / 1000.0));
    std::printf("  resident memory: start %lld kB (peak %lld kB), end %lld kB (peak %lld kB), growth %lld kB\n",
                rssStart, hwmStart, rssEnd, hwmEnd, rssEnd - rssStart);
    std::printf("  resident memory every 1000 exchanges (kB):");
    for (const auto &p : rssTrail)
        std::printf(" %lld", p.second);
    std::printf("\n");
    std::printf("  late ticks %d (gap over %lld ms; worst gap %lld ms), failed polls %d, messages %d\n", lateTicks,
                interval + slackMs, worstGapMs, failedPolls, prompter.messages);
    std::printf("  longest exchange %lld ms (time-out %d ms): %s\n", longestExchangeMs, link.replyTimeout(),
                slowExchanges ? "a wait outlived the time-out" : "no stuck wait");
    const bool ok = exchanges >= target && failedPolls == 0 && lateTicks == 0 && slowExchanges == 0
        && prompter.messages == 0;
    std::printf("  %s\n", ok ? "PASS" : "FAIL");
    return ok ? 0 : 1;
}
