// CPU use of the terminal while it waits: for a reply that never comes (the
// 3 s time-out) and while auto update polls the display. The waits are
// nested event loops, so the process should sleep through them.
//
//   bench_cpu [--timeouts N] [--seconds S] [--interval MS] [--baud N] [--trend]
//
// Against quorin-sim on a pseudo-terminal (paced at the line's baud rate),
// opened through Qt Serial Port as the terminal does. Target: under 2% of
// elapsed time in both cases. With --trend the auto update also feeds the
// trend chart, shown (offscreen unless a platform is chosen) with a full hour
// of points in a 60-minute view, the worst case to draw; target under 1%.
#include "benchsupport.h"

#include "link/devicelink.h"
#include "link/qtserialport.h"
#include "terminal/livedisplay.h"
#include "terminal/trendbuffer.h"
#include "terminal/widgettrend.h"
#include "session/terminalsession.h"
#include "session/terminalstate.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDateTime>
#include <cmath>
#include <cstring>
#include <memory>

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
    bool trend = false;
    for (int i = 1; i < argc; ++i)
        trend = trend || std::strcmp(argv[i], "--trend") == 0;
    if (trend && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    std::unique_ptr<QCoreApplication> appHolder(trend ? new QApplication(argc, argv) : new QCoreApplication(argc, argv));
    QCoreApplication &app = *appHolder;
    QCommandLineParser parser;
    const QCommandLineOption timeoutsOpt(QStringLiteral("timeouts"), QStringLiteral("Time-outs to wait for."), QStringLiteral("N"), QStringLiteral("3"));
    const QCommandLineOption secondsOpt(QStringLiteral("seconds"), QStringLiteral("Seconds of auto update."), QStringLiteral("S"), QStringLiteral("20"));
    const QCommandLineOption intervalOpt(QStringLiteral("interval"), QStringLiteral("Timer4 interval in ms."), QStringLiteral("MS"), QStringLiteral("1000"));
    const QCommandLineOption baudOpt(QStringLiteral("baud"), QStringLiteral("Line speed."), QStringLiteral("N"), QStringLiteral("9600"));
    const QCommandLineOption trendOpt(QStringLiteral("trend"), QStringLiteral("Feed and show the trend chart while auto updating."));
    parser.addOptions({timeoutsOpt, secondsOpt, intervalOpt, baudOpt, trendOpt});
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
        TrendBuffer buffer;
        std::unique_ptr<WidgetTrend> chart;
        if (trend) {
            const qint64 now = QDateTime::currentMSecsSinceEpoch();
            for (int i = buffer.capacity(); i > 0; --i)
                buffer.addFlow(now - qint64(i) * TrendBuffer::FastestPollMs, 50 + 20 * std::sin(i / 90.0));
            chart = std::make_unique<WidgetTrend>(buffer, prompter);
            chart->setSpanMinutes(60);
            chart->resize(1300, 300);
            chart->show();
        }
        QObject::connect(&timer4, &QTimer::timeout, [&] {
            ++polls;
            const LiveDisplay::Result r = display.tick();
            if (!r.ok())
                ++failed;
            if (chart) {
                const qint64 now = QDateTime::currentMSecsSinceEpoch();
                if (r.flowOk)
                    buffer.addFlowText(now, session.state().FlowText);
                else
                    buffer.addGap(now);
                chart->setUnit(LiveDisplay::unitShown(session.state()));
                chart->pointAdded();
            }
        });
        std::printf("auto update every %d ms for %d s, quorin-sim at %d baud%s:\n", interval, seconds, baud,
                    trend ? ", trend chart shown (60 min, full)" : "");
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
        const double target = trend ? 1.0 : 2.0;
        std::printf("  terminal CPU %.3f s in %.1f s = %.3f%% of elapsed (target < %.0f%%); simulator %.2f s\n", u.cpu,
                    u.elapsed, u.percent(), target, u.simCpu);
        ok = ok && failed == 0 && polls > 0 && u.percent() < target;
    }
    std::printf("%s\n", ok ? "PASS" : "FAIL");
    return ok ? 0 : 1;
}
