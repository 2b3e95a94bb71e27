// Start-up: time from starting the program to its main window's first
// paint, and the resident memory then. Each run is a fresh process (this
// program started again with --child), so loading Qt and the libraries
// counts, as it does for the operator.
//
//   bench_startup [--runs N] [--exe PATH]
//
// The child builds the main window as app/main.cpp does, on the built-in
// simulated transmitter, and reports when the window has painted.
// --exe measures a program that reports itself: started with
// QUORIN_EXIT_AFTER_SHOW=1 it prints "shown <resident kB>" after its first
// shown window and quits.
// Run it under xvfb-run for the X11 platform, or with
// QT_QPA_PLATFORM=offscreen. Targets: under 0.5 s and 80 MB resident.
#include "benchsupport.h"

#include "sim/simdevice.h"
#include "sim/simserialport.h"
#include "terminal/frmterminal.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QStandardPaths>

#include <algorithm>
#include <cstdio>

namespace {

// Reports once, after the window's first paint has finished.
class FirstPaint : public QObject
{
public:
    explicit FirstPaint(QElapsedTimer *sinceMain) : m_sinceMain(sinceMain) {}

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && !m_done) {
            m_done = true;
            QTimer::singleShot(0, qApp, [this] {
                std::printf("shown %lld %lld %lld\n", bench::statusKb("VmRSS"), bench::statusKb("VmHWM"),
                            m_sinceMain->elapsed());
                std::fflush(stdout);
                qApp->quit();
            });
        }
        return QObject::eventFilter(watched, event);
    }

private:
    QElapsedTimer *m_sinceMain;
    bool m_done = false;
};

int child(int argc, char **argv)
{
    QElapsedTimer sinceMain;
    sinceMain.start();
    // Keeps the operator's own settings out of it.
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    SimSerialPort::registerPort();
    QApplication::setApplicationName(QStringLiteral("Quorin Terminal"));
    QApplication::setStyle(QStringLiteral("Fusion"));
    frmTerminal window;
    window.setPortByName(SimSerialPort::Name);
    FirstPaint watcher(&sinceMain);
    window.installEventFilter(&watcher);
    window.show();
    return app.exec();
}

struct Run {
    double wallMs = -1;
    qint64 rssKb = -1;
    qint64 hwmKb = -1;
    qint64 insideMs = -1;
};

Run measure(const QString &program, const QStringList &args)
{
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QUORIN_EXIT_AFTER_SHOW"), QStringLiteral("1"));
    p.setProcessEnvironment(env);
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    Run run;
    QElapsedTimer t;
    t.start();
    p.start(program, args);
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&p, &QProcess::readyReadStandardOutput, &loop, [&] {
        while (p.canReadLine()) {
            const QList<QByteArray> f = p.readLine().trimmed().split(' ');
            if (f.value(0) == "shown") {
                run.wallMs = t.nsecsElapsed() / 1e6;
                run.rssKb = f.value(1).toLongLong();
                run.hwmKb = f.size() > 2 ? f.value(2).toLongLong() : -1;
                run.insideMs = f.size() > 3 ? f.value(3).toLongLong() : -1;
                loop.quit();
            }
        }
    });
    QObject::connect(&p, &QProcess::finished, &loop, &QEventLoop::quit);
    limit.start(30000);
    loop.exec();
    if (!p.waitForFinished(10000))
        p.kill();
    return run;
}

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i)
        if (qstrcmp(argv[i], "--child") == 0)
            return child(argc, argv);

    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption runsOpt(QStringLiteral("runs"), QStringLiteral("Start-ups to time."), QStringLiteral("N"), QStringLiteral("5"));
    const QCommandLineOption exeOpt(QStringLiteral("exe"), QStringLiteral("Program that reports its first shown window."), QStringLiteral("PATH"));
    parser.addOptions({runsOpt, exeOpt});
    parser.addHelpOption();
    parser.process(app);
    const int runs = std::max(1, parser.value(runsOpt).toInt());
    const QString program = parser.isSet(exeOpt) ? parser.value(exeOpt) : QCoreApplication::applicationFilePath();
    const QStringList args = parser.isSet(exeOpt) ? QStringList{QStringLiteral("--sim")} : QStringList{QStringLiteral("--child")};

    const QString platform = qEnvironmentVariable("QT_QPA_PLATFORM", qEnvironmentVariableIsSet("DISPLAY") ? QStringLiteral("xcb") : QStringLiteral("default"));
    std::printf("start-up of %s to the first painted main window, platform %s, %d runs:\n",
                qPrintable(parser.isSet(exeOpt) ? program : QStringLiteral("the main window (as app/main.cpp)")),
                qPrintable(platform), runs);
    QList<double> times;
    qint64 worstRss = 0;
    for (int i = 0; i < runs; ++i) {
        const Run r = measure(program, args);
        if (r.wallMs < 0) {
            std::printf("  run %d: no window reported\n", i + 1);
            return 1;
        }
        std::printf("  run %d: %.0f ms (%lld ms after main), resident %.1f MB (peak %.1f MB)\n", i + 1, r.wallMs,
                    r.insideMs, r.rssKb / 1024.0, r.hwmKb / 1024.0);
        times << r.wallMs;
        worstRss = std::max(worstRss, std::max(r.rssKb, r.hwmKb));
    }
    std::sort(times.begin(), times.end());
    const double median = times.at(times.size() / 2);
    std::printf("  median %.0f ms (target < 500 ms), worst resident %.1f MB (target < 80 MB)\n", median,
                worstRss / 1024.0);
    bool ok = median < 500 && worstRss < 80 * 1024;

    // The command line's start-up: a whole configuration readout from the
    // built-in simulated transmitter, start to exit.
    QList<double> cli;
    for (int i = 0; i < runs; ++i) {
        QProcess p;
        p.setStandardOutputFile(QProcess::nullDevice());
        QElapsedTimer t;
        t.start();
        p.start(QStringLiteral(QUORIN_CLI_EXE), {QStringLiteral("--sim"), QStringLiteral("info")});
        const bool done = p.waitForFinished(30000) && p.exitCode() == 0;
        cli << (done ? double(t.elapsed()) : 1e9);
    }
    std::sort(cli.begin(), cli.end());
    std::printf("  quorin-cli --sim info, start to exit: median %.0f ms of %d runs (best %.0f ms)\n",
                cli.at(cli.size() / 2), runs, cli.first());
    ok = ok && cli.at(cli.size() / 2) < 1e9;
    std::printf("%s\n", ok ? "PASS" : "FAIL");
    return ok ? 0 : 1;
}
