// A reply that arrives in pieces, as a UART or a device server hands it on,
// completes exactly once and wakes the link once, on a serial line (a
// pseudo-terminal whose far end the test writes) and on a raw network port;
// a reply that comes short ends by the time-out and leaves the line as it was.
#include "link/devicelink.h"
#include "link/qtserialport.h"
#include "link/tcpport.h"
#include "sim/simdevice.h"
#include "sim/simserialport.h"
#include "support/clirun.h"
#include "support/columns.h"
#include "support/scriptedprompter.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

using Sizes = QList<int>;

namespace {

const Columns<bool, Sizes> kReplyInPiecesCompletesOnce{"network", "sizes"};
const Columns<int, int, int> kSimulatorHandsRepliesOnInPieces{"baud", "pieceMs", "pieces"};

} // namespace

class TestReplyWake : public QObject
{
    Q_OBJECT
private slots:
    void replyInPiecesCompletesOnce_data()
    {
        kReplyInPiecesCompletesOnce.add();
        const QByteArray reply(":0A0B0C0D");
        for (bool network : {false, true}) {
            const char *kind = network ? "tcp" : "pty";
            QTest::addRow("%s one piece", kind) << network << Sizes{int(reply.size())};
            QTest::addRow("%s 1-byte pieces", kind) << network << Sizes(reply.size(), 1);
            for (int at = 1; at < reply.size(); ++at)
                QTest::addRow("%s split at %d", kind, at) << network << Sizes{at, int(reply.size()) - at};
            QTest::addRow("%s one byte short", kind) << network << Sizes{4, int(reply.size()) - 5};
        }
    }

    void replyInPiecesCompletesOnce()
    {
        auto [network, sizes] = kReplyInPiecesCompletesOnce.fetch();
        const QByteArray reply(":0A0B0C0D");
        const bool whole = std::accumulate(sizes.begin(), sizes.end(), 0) == reply.size();

        // The device's end: the pseudo-terminal's master, or the accepted socket.
        int master = -1, slave = -1;
        QTcpServer server;
        QTcpSocket *client = nullptr;
        SerialPort *port = nullptr;
        if (network) {
            QVERIFY(server.listen(QHostAddress::LocalHost));
            port = new TcpPort(QStringLiteral("tcp://127.0.0.1:%1").arg(server.serverPort()));
        } else {
            master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
            QVERIFY(master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0);
            port = new QtSerialPort(QString::fromLocal8Bit(::ptsname(master)));
            slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_NONBLOCK); // to read the line's settings
        }
        ScriptedPrompter prompter;
        DeviceLink link(&prompter);
        link.setReplyTimeout(400);
        link.setPort(port);
        QVERIFY(link.openPort());
        if (network) {
            QVERIFY(server.hasPendingConnections() || server.waitForNewConnection(2000));
            client = server.nextPendingConnection();
        }
        auto send = [&](const QByteArray &bytes) {
            if (client) {
                client->write(bytes);
                client->flush();
            } else {
                QCOMPARE(::write(master, bytes.constData(), size_t(bytes.size())), ssize_t(bytes.size()));
            }
        };
        // The pieces leave 3 ms apart once the frame went out, each its own read.
        connect(&link, &DeviceLink::frameSent, this, [&, &sizes = sizes] {
            int at = 0;
            for (int i = 0; i < sizes.size(); ++i) {
                const QByteArray piece = reply.mid(at, sizes[i]);
                at += sizes[i];
                QTimer::singleShot(3 * (i + 1), this, [&send, piece] { send(piece); });
            }
        });
        int receives = 0;
        connect(&link, &DeviceLink::commEvent, this, [&](int code) { receives += code == CommEvent::Receive; });
        QSignalSpy echo(&link, &DeviceLink::terminalText);
        QSignalSpy replies(&link, &DeviceLink::replyReceived);

        QCOMPARE(link.ReadMemory(QStringLiteral("0200"), QStringLiteral("04")), whole ? QStringLiteral("0A0B0C0D") : QString());
        // Replies, time-outs, and what a short reply left, counted as discarded.
        QCOMPARE(QList<qint64>({replies.count(), link.health.timeouts, link.health.discarded}), whole ? QList<qint64>({1, 0, 0}) : QList<qint64>({0, 1, 1}));
        // The bytes wake the link once, when the reply can be complete; a short
        // reply never does and goes with the time-out.
        QCOMPARE(std::pair(receives, echo.value(0).value(0).toString()), std::pair(whole ? 1 : 0, whole ? QString::fromLatin1(reply) : QString()));
        termios tio {};
        if (slave >= 0) // the line reads every byte again
            QVERIFY(::tcgetattr(slave, &tio) == 0 && tio.c_cc[VMIN] == 0 && tio.c_cc[VTIME] == 0);
        // The next exchange on the same line still works, byte by byte too.
        sizes = Sizes(reply.size(), 1);
        QCOMPARE(link.ReadMemory(QStringLiteral("0200"), QStringLiteral("04")), QStringLiteral("0A0B0C0D"));
        link.setPort(nullptr);
        for (int fd : {slave, master})
            if (fd >= 0)
                ::close(fd);
    }

    void frameIsOnTheLineWhenWriteReturns()
    {
        const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
        QVERIFY(master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0);
        QtSerialPort port(QString::fromLocal8Bit(::ptsname(master)));
        QVERIFY(port.open() && port.write("R5202:FF020000\x1A") == 15);
        pollfd p {master, POLLIN, 0}; // no turn of the event loop: the driver has the frame
        char buf[32];
        QVERIFY(::poll(&p, 1, 2000) == 1 && ::read(master, buf, sizeof buf) == 15);
        ::close(master);
    }

    void readThresholdIsOneByteWide()
    {
        QList<int> got;
        for (int missing : {-1, 0, 1, 255, 256})
            got << QtSerialPort::readThreshold(missing);
        QCOMPARE(got, QList<int>({0, 0, 1, 255, 255}));
    }

    void simulatorHandsRepliesOnInPieces_data()
    {
        kSimulatorHandsRepliesOnInPieces.add();
        // A reply of 129 bytes; a byte takes 10 bit times.
        QTest::newRow("115200 baud, 1 ms: 11.52 bytes a piece") << 115200 << 1 << 12;
        QTest::newRow("115200 baud, 10 ms") << 115200 << 10 << 2;
        QTest::newRow("9600 baud, 1 ms: a byte a piece") << 9600 << 1 << 129;
        QTest::newRow("9600 baud, 10 ms") << 9600 << 10 << 14;
        QTest::newRow("9600 baud, a whole reply") << 9600 << 135 << 1;
    }

    void simulatorHandsRepliesOnInPieces()
    {
        const auto [baud, pieceMs, pieces] = kSimulatorHandsRepliesOnInPieces.fetch();
        auto *port = new SimSerialPort;
        port->setPacing(true);
        port->setPieceMs(pieceMs);
        QVERIFY(port->setSettings(QStringLiteral("%1,n,8,1").arg(baud)));
        ScriptedPrompter prompter;
        DeviceLink link(&prompter);
        link.setPort(port);
        QVERIFY(link.openPort());
        int receives = 0;
        connect(&link, &DeviceLink::commEvent, this, [&](int code) { receives += code == CommEvent::Receive; });
        QCOMPARE(link.ReadMemory(QStringLiteral("0200"), QStringLiteral("40")).size(), 128);
        QCOMPARE(receives, pieces);
    }

    void simulatorRefusesBadPieces()
    {
        for (const QString bad : {"0", "1001", "x"}) {
            const CliRun sim = runProgram(QStringLiteral(QUORIN_SIM_EXE), {QStringLiteral("--pieces"), bad}, 10000);
            QCOMPARE(std::pair(sim.code, sim.err), std::pair(2, "quorin-sim: --pieces needs milliseconds 1 to 1000, not \"" + bad + "\"\n"));
        }
    }
};

QTEST_GUILESS_MAIN(TestReplyWake)
#include "tst_replywake.moc"
