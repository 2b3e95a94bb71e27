// CPU use of the terminal while it waits: for a reply that never comes (the
// 3 s time-out) and while auto update polls the display. The waits are
// nested event loops, so the process should sleep through them.
//
//   bench_cpu [--timeouts N] [--seconds S] [--interval MS] [--baud N]
//
// Against quorin-sim on a pseudo-terminal (paced at the line's baud rate),
// opened through Qt Serial Port as the terminal does. Target: under 2% of
// elapsed time in both cases.
#include "benchsupport.h"

#include "link/devicelink.h"
#include "link/qtserialport.h"
#include "terminal/livedisplay.h"
#include "session/terminalsession.h"
#include "session/terminalstate.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

struct Usage {
    double elapsed = 0;
    double cpu = 0;
    double simCpu = 0;
    double percent() const { return elapsed > 0 ? 100.0 * cpu / elapsed : 0; }
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption timeoutsOpt(QStringLiteral("timeouts"), QStringLiteral("Time-outs to wait for."), QStringLiteral("N"), QStringLiteral("3"));
    const QCommandLineOption secondsOpt(QStringLiteral("seconds"), QStringLiteral("Seconds of auto update."), QStringLiteral("S"), QStringLiteral("20"));
    const QCommandLineOption intervalOpt(QStringLiteral("interval"), QStringLiteral("Timer4 interval in ms."), QStringLiteral("MS"), QStringLiteral("1000"));
    const QCommandLineOption baudOpt(QStringLiteral("baud"), QStringLiteral("Line speed."), QStringLiteral("N"), QStringLiteral("9600"));
    parser.addOptions({timeoutsOpt, secondsOpt, intervalOpt, baudOpt});
    parser.addHelpOption();
    parser.process(app);
    const int timeouts = parser.value(timeoutsOpt).toInt();
    const int seconds = parser.value(secondsOpt).toInt();
    const int interval = parser.value(intervalOpt).toInt();
    const int baud = parser.value(baudOpt).toInt();
    const QString settings = QStringLiteral("%1,n,8,1").arg(baud);
    bool ok = true;

    // 1. Waiting for replies that never come.
    {
        bench::Sim sim;
        if (!sim.start({QStringLiteral("--baud"), QString::number(baud), QStringLiteral("--fault"), QStringLiteral("noanswer")}))
            return 1;
        bench::StderrPrompter prompter;
        auto *port = new QtSerialPort(sim.path);
        port->setSettings(settings);
        TerminalSession session(&prompter, port);
        DeviceLink &link = session.link();
        if (!link.openPort())
            return 1;
        std::printf("waiting for the reply time-out (%d ms), %d times, quorin-sim at %d baud:\n",
                    link.replyTimeout(), timeouts, baud);
        Usage total;
        for (int i = 0; i < timeouts; ++i) {
            QElapsedTimer t;
            const double cpu0 = bench::cpuSeconds();
            t.start();
            const QString r = link.ReadMemory(QStringLiteral("0170"), QStringLiteral("04"));
            Usage u;
            u.elapsed = t.elapsed() / 1000.0;
            u.cpu = bench::cpuSeconds() - cpu0;
            std::printf("  wait %d: %s after %.3f s, CPU %.4f s (%.3f%%)\n", i + 1,
                        r.isEmpty() ? "time-out" : "reply (unexpected)", u.elapsed, u.cpu, u.percent());
            total.elapsed += u.elapsed;
            total.cpu += u.cpu;
            ok = ok && r.isEmpty();
        }
        std::printf("  total: %.3f s waited, CPU %.4f s = %.3f%% of elapsed (target < 2%%), messages %d\n",
                    total.elapsed, total.cpu, total.percent(), prompter.messages);
        ok = ok && total.percent() < 2.0;
    }

    // 2. Auto update at the given rate.
    {
        bench::Sim sim;
        if (!sim.start({QStringLiteral("--baud"), QString::number(baud)}))
            return 1;
        bench::StderrPrompter prompter;
        auto *port = new QtSerialPort(sim.path);
        port->setSettings(settings);
        TerminalSession session(&prompter, port);
        DeviceLink &link = session.link();
        if (!link.openPort())
            return 1;
        LiveDisplay display(link, session.state(), &prompter);
        QTimer timer4;
        timer4.setInterval(interval);
        link.setTimer4(&timer4);
        int polls = 0;
        int failed = 0;
        QObject::connect(&timer4, &QTimer::timeout, [&] {
            ++polls;
            if (!display.tick().ok())
                ++failed;
        });
        std::printf("auto update every %d ms for %d s, quorin-sim at %d baud:\n", interval, seconds, baud);
        const double cpu0 = bench::cpuSeconds();
        const double simCpu0 = bench::processCpuSeconds(sim.pid());
        QElapsedTimer t;
        t.start();
        session.setAutoUpdate(true);
        timer4.start();
        bench::settle(seconds * 1000);
        timer4.stop();
        session.setAutoUpdate(false);
        Usage u;
        u.elapsed = t.elapsed() / 1000.0;
        u.cpu = bench::cpuSeconds() - cpu0;
        u.simCpu = bench::processCpuSeconds(sim.pid()) - simCpu0;
        std::printf("  %d polls (%d failed), last flow \"%s\"\n", polls, failed,
                    qPrintable(session.state().FlowText.trimmed()));
        std::printf("  terminal CPU %.3f s in %.1f s = %.3f%% of elapsed (target < 2%%); simulator %.2f s\n", u.cpu,
                    u.elapsed, u.percent(), u.simCpu);
        ok = ok && failed == 0 && polls > 0 && u.percent() < 2.0;
    }
    std::printf("%s\n", ok ? "PASS" : "FAIL");
    return ok ? 0 : 1;
}
