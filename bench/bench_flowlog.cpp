// Reads the whole flow-log area (127 blocks of 255 bytes, as the memory log
// window does) from quorin-sim over a pseudo-terminal, paced at the line's
// baud rate and handed on in pieces as a UART would, and compares the time
// taken with the time the bytes need on the wire. In the same run and on the
// same simulated line a plain peer does the same download: a loop that
// writes each frame and reads exactly the reply's count (poll, then read
// what is missing), as a short serial script would.
//
//   bench_flowlog [--baud N ...] [--pieces MS ...] [--mode link|peer|both] [--ser2net [--no-chardelay]]
//
// "link" reads through DeviceLink::ReadMemory on the port the program would
// open (QtSerialPort, or TcpPort through ser2net), as the terminal does.
// Printed per reader: elapsed against the wire limit, CPU as a share of
// elapsed, wake-ups per reply (reads the program or the peer woke up for)
// and context switches per reply, and what each exchange took beyond its
// bytes' wire time. Defaults: 115200 and 9600 baud, 1 ms and 10 ms pieces,
// both readers. With --ser2net both read through Debian's ser2net serving
// the simulator's pseudo-terminal as raw TCP, as a plant's serial device
// server would; --no-chardelay turns off the server's wait for more bytes.
#include "benchsupport.h"

#include "link/devicelink.h"
#include "link/portfactory.h"

#include <QCoreApplication>
#include <QFile>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>

namespace {

constexpr int kBlockBytes = 0xFF;
constexpr int kReplyBytes = 1 + 2 * kBlockBytes; // ":" and the hex pairs

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

QByteArray frameBytes(int addr)
{
    return "R5202:FF" + hex4(addr).toLatin1() + "00\x1A";
}

qint64 contextSwitches()
{
    rusage u {};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_nvcsw + u.ru_nivcsw;
}

struct Result {
    int blocks = 0;
    qint64 bytesOut = 0;
    qint64 bytesIn = 0;
    qint64 wakes = 0;
    QList<qint64> exchangeNs; // each exchange, frame to whole reply
};

// A quantile of what the exchanges took beyond their bytes' wire time, in
// ms: the total hides whether a few exchanges or all of them lost the time.
double overWireMs(QList<qint64> ns, double q, int baud)
{
    if (ns.isEmpty())
        return 0;
    std::sort(ns.begin(), ns.end());
    const double wireNs = double(frameBytes(0x200).size() + kReplyBytes) * 10e9 / baud;
    return (double(ns.at(qMin(int(ns.size()) - 1, int(q * ns.size())))) - wireNs) / 1e6;
}

Result readThroughLink(const QString &path, int baud)
{
    Result r;
    bench::StderrPrompter prompter;
    DeviceLink link(&prompter);
    SerialPort *port = PortFactory::make(path);
    port->setSettings(QStringLiteral("%1,n,8,1").arg(baud));
    link.setPort(port);
    if (!link.openPort())
        return r;
    QObject::connect(&link, &DeviceLink::commEvent, [&r](int code) {
        if (code == CommEvent::Receive)
            ++r.wakes;
    });
    // Streamed as the flow log reads them: the line after each block is
    // checked up to the next reply, and for the settle time after the last.
    DeviceLink::StreamedReads streamed(link);
    const QList<int> addresses = blockAddresses();
    for (int addr : addresses) {
        QElapsedTimer t;
        t.start();
        const QString reply = link.ReadMemory(hex4(addr), QStringLiteral("FF"));
        if (!link.streamLineClean(addr == addresses.last())) {
            std::fprintf(stderr, "block before %s: more than the reply came\n", qPrintable(hex4(addr)));
            break;
        }
        if (reply.size() != 2 * kBlockBytes) {
            std::fprintf(stderr, "block %s: %d characters\n", qPrintable(hex4(addr)), int(reply.size()));
            break;
        }
        r.exchangeNs << t.nsecsElapsed();
        r.bytesOut += frameBytes(addr).size();
        r.bytesIn += kReplyBytes;
        ++r.blocks;
    }
    return r;
}

// The peer's line: the pseudo-terminal raw at the baud rate, or a TCP
// connection to "tcp://HOST:PORT"; -1 when it cannot be opened.
int openPeer(const QString &path, int baud)
{
    if (path.startsWith(QLatin1String("tcp://"))) {
        const int port = path.section(QLatin1Char(':'), -1).toInt();
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a {};
        a.sin_family = AF_INET;
        a.sin_port = htons(quint16(port));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (fd < 0 || ::connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0)
            return -1;
        const int one = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        return fd;
    }
    const int fd = ::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    termios tio {};
    if (fd < 0 || ::tcgetattr(fd, &tio) != 0)
        return -1;
    ::cfmakeraw(&tio);
    ::cfsetspeed(&tio, baud == 9600 ? B9600 : B115200);
    ::tcsetattr(fd, TCSANOW, &tio);
    ::tcflush(fd, TCIFLUSH);
    return fd;
}

Result readPeer(const QString &path, int baud)
{
    Result r;
    const int fd = openPeer(path, baud);
    if (fd < 0) {
        std::fprintf(stderr, "the peer cannot open %s\n", qPrintable(path));
        return r;
    }
    char buf[kReplyBytes];
    for (int addr : blockAddresses()) {
        const QByteArray frame = frameBytes(addr);
        QElapsedTimer t;
        t.start();
        if (::write(fd, frame.constData(), size_t(frame.size())) != frame.size())
            break;
        int have = 0;
        while (have < kReplyBytes) {
            pollfd p {fd, POLLIN, 0};
            if (::poll(&p, 1, 3000) <= 0)
                break;
            ++r.wakes;
            const ssize_t n = ::read(fd, buf + have, size_t(kReplyBytes - have));
            if (n <= 0)
                break;
            have += int(n);
        }
        if (have != kReplyBytes || buf[0] != ':') {
            std::fprintf(stderr, "peer, block %s: %d bytes\n", qPrintable(hex4(addr)), have);
            break;
        }
        r.exchangeNs << t.nsecsElapsed();
        r.bytesOut += frame.size();
        r.bytesIn += have;
        ++r.blocks;
    }
    ::close(fd);
    return r;
}

// ser2net in front of the simulator's line, raw, on a free loopback port;
// the address to read through, or "" when it did not start.
QString startSer2net(QProcess &server, QTemporaryDir &dir, const QString &device, int baud, bool charDelay)
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
    // By default ser2net waits two characters' time (at least 1 ms) after
    // the last byte from the line before it sends what it has.
    if (!charDelay)
        config.write("  options:\n    chardelay: false\n");
    config.close();
    server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    server.setStandardInputFile(QProcess::nullDevice());
    server.start(QStringLiteral("ser2net"), {QStringLiteral("-n"), QStringLiteral("-d"), QStringLiteral("-c"), config.fileName()});
    QTcpSocket s;
    for (int i = 0; i < 50; ++i) {
        s.connectToHost(QHostAddress::LocalHost, quint16(port));
        if (s.waitForConnected(100)) {
            s.disconnectFromHost();
            bench::settle(100);
            return QStringLiteral("tcp://127.0.0.1:%1").arg(port);
        }
        bench::settle(100);
    }
    return QString();
}

bool run(int baud, int pieceMs, const QStringList &modes, bool viaSer2net, bool charDelay)
{
    bench::Sim sim;
    if (!sim.start({QStringLiteral("--baud"), QString::number(baud), QStringLiteral("--pieces"), QString::number(pieceMs)}))
        return false;
    QProcess server;
    QTemporaryDir dir;
    QString path = sim.path;
    if (viaSer2net) {
        path = startSer2net(server, dir, path, baud, charDelay);
        if (path.isEmpty()) {
            std::fprintf(stderr, "ser2net did not start\n");
            return false;
        }
    }
    bool ok = true;
    for (const QString &mode : modes) {
        const double cpu0 = bench::cpuSeconds();
        const qint64 switches0 = contextSwitches();
        QElapsedTimer t;
        t.start();
        const Result r = mode == QLatin1String("peer") ? readPeer(path, baud) : readThroughLink(path, baud);
        const double elapsed = t.nsecsElapsed() / 1e9;
        const double cpu = bench::cpuSeconds() - cpu0;
        const qint64 switches = contextSwitches() - switches0;
        const double wire = double(r.bytesOut + r.bytesIn) * 10.0 / baud;
        const double blocks = qMax(1, r.blocks);
        std::printf("%s%6d baud, %2d ms pieces, %-4s: %3d blocks; elapsed %7.3f s, wire limit %7.3f s, ratio %.4f "
                    "(+%.2f ms per exchange); CPU %.3f s = %.2f %% of elapsed; %.2f wake-ups and %.1f context "
                    "switches per reply; per exchange over its wire time: median %+.2f ms, p95 %+.2f ms\n",
                    viaSer2net ? (charDelay ? "ser2net " : "ser2net, no chardelay, ") : "", baud, pieceMs, qPrintable(mode), r.blocks, elapsed, wire,
                    wire > 0 ? elapsed / wire : 0.0, 1000.0 * (elapsed - wire) / blocks, cpu,
                    elapsed > 0 ? 100 * cpu / elapsed : 0.0, r.wakes / blocks, switches / blocks,
                    overWireMs(r.exchangeNs, 0.5, baud), overWireMs(r.exchangeNs, 0.95, baud));
        std::fflush(stdout);
        ok = r.blocks == 127 && ok;
        bench::settle(200); // the line goes quiet before the next reader
    }
    server.terminate();
    server.waitForFinished(3000);
    return ok;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QList<int> bauds;
    QList<int> pieces;
    QStringList modes;
    bool viaSer2net = false;
    bool charDelay = true;
    const QStringList args = app.arguments();
    for (int i = 1; i < args.size(); ++i) {
        const QString next = i + 1 < args.size() ? args[i + 1] : QString();
        if (args[i] == QLatin1String("--ser2net")) {
            viaSer2net = true;
        } else if (args[i] == QLatin1String("--no-chardelay")) {
            charDelay = false;
        } else if (args[i] == QLatin1String("--baud") && (next == QLatin1String("9600") || next == QLatin1String("115200"))) {
            bauds << args[++i].toInt();
        } else if (args[i] == QLatin1String("--pieces") && next.toInt() >= 1 && next.toInt() <= 1000) {
            pieces << args[++i].toInt();
        } else if (args[i] == QLatin1String("--mode") && (next == QLatin1String("link") || next == QLatin1String("peer"))) {
            modes << args[++i];
        } else if (args[i] == QLatin1String("--mode") && next == QLatin1String("both")) {
            ++i;
        } else {
            std::fprintf(stderr, "usage: bench_flowlog [--baud 9600|115200 ...] [--pieces MS ...] "
                                 "[--mode link|peer|both] [--ser2net [--no-chardelay]]\n");
            return 2;
        }
    }
    if (bauds.isEmpty())
        bauds = {115200, 9600};
    if (pieces.isEmpty())
        pieces = {1, 10};
    if (modes.isEmpty())
        modes = {QStringLiteral("link"), QStringLiteral("peer")};
    bool ok = true;
    for (int baud : bauds)
        for (int ms : pieces)
            ok = run(baud, ms, modes, viaSer2net, charDelay) && ok;
    return ok ? 0 : 1;
}
