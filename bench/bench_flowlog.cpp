// Reads the whole flow-log area (127 blocks of 255 bytes, as the memory log
// window does) from quorin-sim over a pseudo-terminal, paced at the line's
// baud rate, and compares the time taken with the time the bytes need on the
// wire.
//
//   bench_flowlog [--baud N ...] [--mode link|raw|both] [--ser2net]
//
// With --ser2net the link reads through Debian's ser2net serving the
// simulator's pseudo-terminal as raw TCP (tcp://127.0.0.1:PORT), as a plant's
// serial device server would.
//
// "link" reads through DeviceLink::ReadMemory on a QtSerialPort, as the
// terminal does; "raw" drives a QSerialPort directly (no link logic). The
// default is both modes at 9600 and 115200 baud.
#include "common/prompter.h"
#include "link/devicelink.h"
#include "link/portfactory.h"
#include "link/qtserialport.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTcpSocket>
#include <QTcpServer>
#include <QSerialPort>
#include <QTimer>

#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

namespace {

class StderrPrompter : public Prompter
{
public:
    void message(const QString &text, const QString &title, Icon) override
    {
        std::fprintf(stderr, "[%s] %s\n", qPrintable(title), qPrintable(QString(text).replace(QLatin1Char('\r'), QLatin1Char('\n'))));
        ++messages;
    }
    bool askYesNo(const QString &, const QString &, Icon) override { return false; }
    bool askOkCancel(const QString &, const QString &, Icon) override { return false; }
    bool inputBox(const QString &, const QString &, const QString &, QString *) override { return false; }
    QString openFileName(const QString &, const QString &, const QString &) override { return QString(); }
    QString saveFileName(const QString &, const QString &, const QString &) override { return QString(); }
    void beep() override {}
    int messages = 0;
};

double cpuSeconds()
{
    rusage u {};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_utime.tv_usec / 1e6 + u.ru_stime.tv_sec + u.ru_stime.tv_usec / 1e6;
}

// CPU seconds a running process has used (from /proc).
double processCpuSeconds(qint64 pid)
{
    QFile f(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray stat = f.readAll();
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13)
        return -1;
    return double(fields.at(11).toLongLong() + fields.at(12).toLongLong()) / double(sysconf(_SC_CLK_TCK));
}

// The block addresses of a full readout: 0200h, then 254 bytes further each
// time, the last block moved down to 7EFFh.
QList<int> blockAddresses()
{
    QList<int> list;
    for (int i = 0, addr = 0x200; i < 127; ++i, addr += 254)
        list << qMin(addr, 0x7EFF);
    return list;
}

QString hex4(int v)
{
    return QStringLiteral("%1").arg(v, 4, 16, QLatin1Char('0')).toUpper();
}

bool startSim(QProcess &sim, int baud, QString *path)
{
    sim.setProgram(QStringLiteral(QUORIN_SIM_EXE));
    sim.setArguments({QStringLiteral("--baud"), QString::number(baud)});
    sim.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    sim.start();
    QEventLoop loop;
    QObject::connect(&sim, &QProcess::readyReadStandardOutput, &loop, [&] {
        if (sim.canReadLine())
            loop.quit();
    });
    QObject::connect(&sim, &QProcess::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    if (!sim.canReadLine())
        loop.exec();
    *path = QString::fromLocal8Bit(sim.readLine()).trimmed();
    return !path->isEmpty();
}

struct Result {
    int blocks = 0;
    qint64 bytesOut = 0;
    qint64 bytesIn = 0;
};

Result readThroughLink(const QString &path, int baud)
{
    Result r;
    StderrPrompter prompter;
    DeviceLink link(&prompter);
    SerialPort *port = PortFactory::make(path);
    port->setSettings(QStringLiteral("%1,n,8,1").arg(baud));
    link.setPort(port);
    if (!link.openPort())
        return r;
    for (int addr : blockAddresses()) {
        const QString frame = link.readFrame(hex4(addr), QStringLiteral("FF"));
        const QString reply = link.ReadMemory(hex4(addr), QStringLiteral("FF"));
        if (reply.size() != 510) {
            std::fprintf(stderr, "block %s: %d characters\n", qPrintable(hex4(addr)), int(reply.size()));
            break;
        }
        r.bytesOut += DeviceLink::wireBytes(frame).size();
        r.bytesIn += 1 + reply.size();
        ++r.blocks;
    }
    return r;
}

Result readRaw(const QString &path, int baud)
{
    Result r;
    QSerialPort port(path);
    if (!port.open(QIODevice::ReadWrite)) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(path), qPrintable(port.errorString()));
        return r;
    }
    port.setBaudRate(baud);
    QByteArray rx;
    for (int addr : blockAddresses()) {
        const QByteArray frame = "R5202:FF" + hex4(addr).toLatin1() + "00\x1A";
        rx.clear();
        QEventLoop loop;
        QObject::connect(&port, &QSerialPort::readyRead, &loop, [&] {
            rx += port.readAll();
            if (rx.size() >= 511)
                loop.quit();
        });
        QTimer::singleShot(3000, &loop, &QEventLoop::quit);
        port.write(frame);
        loop.exec();
        if (rx.size() != 511) {
            std::fprintf(stderr, "block %s: %d bytes\n", qPrintable(hex4(addr)), int(rx.size()));
            break;
        }
        r.bytesOut += frame.size();
        r.bytesIn += rx.size();
        ++r.blocks;
    }
    return r;
}

// ser2net in front of the simulator's line, raw, on a free loopback port;
// the address to read through, or "" when it did not start.
QString startSer2net(QProcess &server, QTemporaryDir &dir, const QString &device, int baud)
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const int port = probe.serverPort();
    probe.close();
    QFile config(dir.filePath(QStringLiteral("ser2net.yaml")));
    if (!config.open(QIODevice::WriteOnly))
        return QString();
    config.write(QStringLiteral("connection: &line\n  accepter: tcp,127.0.0.1,%1\n  connector: serialdev,%2,%3n81,local\n")
                     .arg(port).arg(device).arg(baud).toUtf8());
    config.close();
    server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    server.setStandardInputFile(QProcess::nullDevice());
    server.start(QStringLiteral("ser2net"), {QStringLiteral("-n"), QStringLiteral("-d"), QStringLiteral("-c"), config.fileName()});
    QTcpSocket s;
    for (int i = 0; i < 50; ++i) {
        s.connectToHost(QHostAddress::LocalHost, quint16(port));
        if (s.waitForConnected(100)) {
            s.disconnectFromHost();
            return QStringLiteral("tcp://127.0.0.1:%1").arg(port);
        }
        QEventLoop pause;
        QTimer::singleShot(100, &pause, &QEventLoop::quit);
        pause.exec();
    }
    return QString();
}

bool run(int baud, const QString &mode, bool viaSer2net)
{
    QProcess sim;
    QString path;
    if (!startSim(sim, baud, &path)) {
        std::fprintf(stderr, "quorin-sim did not start\n");
        return false;
    }
    QProcess server;
    QTemporaryDir dir;
    if (viaSer2net) {
        path = startSer2net(server, dir, path, baud);
        if (path.isEmpty()) {
            std::fprintf(stderr, "ser2net did not start\n");
            return false;
        }
    }
    const double simCpu0 = processCpuSeconds(sim.processId());
    const double cpu0 = cpuSeconds();
    QElapsedTimer t;
    t.start();
    const Result r = mode == QLatin1String("raw") ? readRaw(path, baud) : readThroughLink(path, baud);
    const double elapsed = t.nsecsElapsed() / 1e9;
    const double cpu = cpuSeconds() - cpu0;
    const double simCpu = processCpuSeconds(sim.processId()) - simCpu0;
    if (sim.state() == QProcess::NotRunning || simCpu < 0)
        std::fprintf(stderr, "quorin-sim ended during the readout (%s, status %d)\n",
                     sim.exitStatus() == QProcess::CrashExit ? "crashed" : "exited", sim.exitCode());
    server.terminate();
    server.waitForFinished(3000);
    sim.terminate();
    sim.waitForFinished(3000);

    const double wire = double(r.bytesOut + r.bytesIn) * 10.0 / baud;
    std::printf("%s%-4s %6d baud: %3d blocks, %6lld bytes out, %6lld in; elapsed %8.3f s, wire limit %8.3f s, "
                "ratio %.4f; CPU %.3f s (%.2f %% of elapsed); simulator CPU %.3f s\n",
                viaSer2net ? "ser2net " : "", qPrintable(mode), baud, r.blocks, r.bytesOut, r.bytesIn, elapsed, wire,
                wire > 0 ? elapsed / wire : 0.0, cpu, elapsed > 0 ? 100 * cpu / elapsed : 0.0, simCpu);
    // The target: the whole download within 5 % of the time its bytes take on the wire.
    // Through a device server each exchange also waits for the server, so
    // there the figures are reported and only a complete download is asked.
    const bool ok = r.blocks == 127 && (viaSer2net || elapsed <= wire * 1.05);
    std::printf("  %s\n", !ok ? "FAIL (target: all blocks, within 5 % of the wire limit on a local line)"
                           : viaSer2net ? "PASS (all blocks; no time target through a device server)" : "PASS");
    std::fflush(stdout);
    return ok;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QList<int> bauds;
    QStringList modes;
    bool viaSer2net = false;
    const QStringList args = app.arguments();
    for (int i = 1; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--ser2net")) {
            viaSer2net = true;
        } else if (args[i] == QLatin1String("--baud") && i + 1 < args.size() && args[i + 1].toInt() > 0) {
            bauds << args[++i].toInt();
        } else if (args[i] == QLatin1String("--mode") && i + 1 < args.size()) {
            const QString m = args[++i];
            if (m == QLatin1String("both"))
                modes << QStringLiteral("link") << QStringLiteral("raw");
            else if (m == QLatin1String("link") || m == QLatin1String("raw"))
                modes << m;
            else
                i = -1;
        } else {
            i = -1;
        }
        if (i < 0) {
            std::fprintf(stderr, "usage: bench_flowlog [--baud N ...] [--mode link|raw|both] [--ser2net]\n");
            return 2;
        }
    }
    if (bauds.isEmpty())
        bauds = {9600, 115200};
    if (modes.isEmpty())
        modes = viaSer2net ? QStringList{QStringLiteral("link")} : QStringList{QStringLiteral("link"), QStringLiteral("raw")};
    if (viaSer2net && modes.contains(QStringLiteral("raw"))) {
        std::fprintf(stderr, "bench_flowlog: --ser2net reads through the link only\n");
        return 2;
    }
    bool ok = true;
    for (int baud : bauds)
        for (const QString &mode : modes)
            ok = run(baud, mode, viaSer2net) && ok;
    return ok ? 0 : 1;
}
