// quorin-sim end to end: the simulator process on a pseudo-terminal, opened
// as a serial port with Qt Serial Port as the terminal does.
#include "support/simprocess.h"

#include <QElapsedTimer>
#include <QFile>
#include <QEventLoop>
#include <QProcess>
#include <QSerialPort>
#include <QTimer>
#include <QtTest>

#include <unistd.h>

namespace {

// A serial client on the pty: what it received, and waits that run the loop.
class Client
{
public:
    explicit Client(const QString &path)
    {
        port.setPortName(path);
        QObject::connect(&port, &QSerialPort::readyRead, &port, [this] { rx += port.readAll(); });
        QObject::connect(&port, &QSerialPort::errorOccurred, &port, [this](QSerialPort::SerialPortError e) {
            if (e == QSerialPort::ReadError || e == QSerialPort::ResourceError || e == QSerialPort::WriteError) {
                lineErrors++;
                port.close(); // a hung-up pty floods this error while it stays open
            }
        });
    }
    bool open(int baud = 9600)
    {
        return port.open(QIODevice::ReadWrite) && port.setBaudRate(baud);
    }
    // Sends a frame and waits for n reply bytes; returns them (fewer on time-out).
    QByteArray ask(const QByteArray &frame, int n, int ms = 3000)
    {
        rx.clear();
        port.write(frame);
        waitUntil([&] { return rx.size() >= n; }, ms);
        return rx;
    }
    bool waitUntil(const std::function<bool()> &done, int ms)
    {
        QEventLoop loop;
        QTimer timer;
        timer.setSingleShot(true);
        QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        QObject::connect(&port, &QSerialPort::readyRead, &loop, [&] { if (done()) loop.quit(); });
        QObject::connect(&port, &QSerialPort::errorOccurred, &loop, [&] { if (done()) loop.quit(); });
        timer.start(ms);
        if (!done())
            loop.exec();
        return done();
    }

    QSerialPort port;
    QByteArray rx;
    int lineErrors = 0;
};

// CPU time (user + system, in clock ticks) a process has used so far.
qint64 cpuTicks(qint64 pid)
{
    QFile f(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray stat = f.readAll();
    // Fields after the command name in parentheses; utime and stime are the
    // 12th and 13th of them.
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 12 ? fields.at(11).toLongLong() + fields.at(12).toLongLong() : -1;
}

void settle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

class TestSimPty : public QObject
{
    Q_OBJECT
private slots:
    void servesTheDeviceOverAPseudoTerminal();
    void rs485AndPresets();
    void clientsComeAndGoAndSignalsEndIt();
    void pacedAtTheBaudRate();
    void hangUpFaultClosesTheLine();
    void badArgumentsAreRefused_data();
    void badArgumentsAreRefused();
};

void TestSimPty::servesTheDeviceOverAPseudoTerminal()
{
    SimProcess sim;
    QVERIFY2(sim.start({QStringLiteral("--baud"), QStringLiteral("115200")}), qPrintable(sim.errorString()));
    QVERIFY(sim.path().startsWith(QLatin1String("/dev/")));
    Client c(sim.path());
    QVERIFY2(c.open(115200), qPrintable(c.port.errorString()));

    const QByteArray block = c.ask("R5202:50010000\x1A", 161);
    QCOMPARE(block.size(), 161);
    QVERIFY2(block.startsWith(":320FA0030100001388"), block.constData());
    QCOMPARE(block.mid(1 + 2 * 0x4C), QByteArray("05000A03")); // turbulence, low cut-off, point code

    QCOMPARE(c.ask("R5202:0601E500\x1A", 13), QByteArray(":554400051E02"));
    // Write (with its CR), then read back, through the raw pty: every byte
    // reaches the device unchanged.
    c.port.write("R5200:02013800" "0315" "\x1A\r");
    QCOMPARE(c.ask("R5202:02013800\x1A", 5), QByteArray(":0315"));
    QCOMPARE(c.ask("R5202:00013800\x1A", 1), QByteArray(":"));
    QCOMPARE(c.lineErrors, 0);
    c.port.close();
    QVERIFY(sim.stop());
}

void TestSimPty::rs485AndPresets()
{
    SimProcess sim;
    QVERIFY2(sim.start({QStringLiteral("--rs485"), QStringLiteral("--preset"), QStringLiteral("second"),
                        QStringLiteral("--no-pacing")}),
             qPrintable(sim.errorString()));
    Client c(sim.path());
    QVERIFY(c.open());
    QCOMPARE(c.ask("R5202:0101E400\x1A", 7), QByteArray("01R5:01"));
    QCOMPARE(c.ask("R5202:03013800\x1A", 11), QByteArray("01R5:01C803")); // password 456
}

void TestSimPty::clientsComeAndGoAndSignalsEndIt()
{
    SimProcess sim;
    QVERIFY2(sim.start({QStringLiteral("--no-pacing")}), qPrintable(sim.errorString()));
    // No client yet: the simulator must neither be gone nor spin on a master
    // that reports hang-up.
    const qint64 before = cpuTicks(sim.process()->processId());
    QVERIFY(before >= 0);
    settle(1000);
    QVERIFY(sim.isRunning());
    const qint64 used = cpuTicks(sim.process()->processId()) - before;
    QVERIFY2(used * 1000 / sysconf(_SC_CLK_TCK) < 100, qPrintable(QStringLiteral("%1 ticks in 1 s").arg(used)));
    for (int round = 0; round < 3; ++round) {
        Client c(sim.path());
        QVERIFY2(c.open(), qPrintable(c.port.errorString()));
        QCOMPARE(c.ask("R5202:0101E400\x1A", 3), QByteArray(":05"));
        c.port.close();
    }
    QVERIFY(sim.isRunning());
    QElapsedTimer t;
    t.start();
    QVERIFY(sim.stop(3000)); // SIGTERM: a normal exit with status 0
    QVERIFY(t.elapsed() < 2000);
}

void TestSimPty::pacedAtTheBaudRate()
{
    SimProcess sim;
    QVERIFY2(sim.start({QStringLiteral("--baud"), QStringLiteral("9600")}), qPrintable(sim.errorString()));
    Client c(sim.path());
    QVERIFY(c.open(9600));
    const QByteArray frame = "R5202:FF020000\x1A";
    const double wireMs = (frame.size() + 511) * 10.0 * 1000 / 9600;
    QElapsedTimer t;
    t.start();
    const QByteArray reply = c.ask(frame, 511);
    const double ms = t.nsecsElapsed() / 1e6;
    QCOMPARE(reply.size(), 511);
    QVERIFY2(ms >= wireMs * 0.95 && ms <= wireMs * 1.3 + 50,
             qPrintable(QStringLiteral("%1 ms for %2 ms of wire").arg(ms).arg(wireMs)));
}

void TestSimPty::hangUpFaultClosesTheLine()
{
    SimProcess sim;
    QVERIFY2(sim.start({QStringLiteral("--no-pacing"), QStringLiteral("--fault"), QStringLiteral("hangup:2")}),
             qPrintable(sim.errorString()));
    Client c(sim.path());
    QVERIFY(c.open());
    QCOMPARE(c.ask("R5202:0101E400\x1A", 3), QByteArray(":05"));
    c.port.write("R5202:0101E400\x1A");
    QVERIFY(c.waitUntil([&] { return c.lineErrors > 0; }, 3000));
    QVERIFY(!c.port.isOpen());
    QVERIFY(sim.waitForExit(3000));
    QVERIFY(!sim.crashed());
    QCOMPARE(sim.exitCode(), 0);
    QVERIFY(sim.errorOutput().contains("hung up"));
}

void TestSimPty::badArgumentsAreRefused_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QByteArray>("says");
    QTest::newRow("baud 0") << QStringList{"--baud", "0"} << QByteArray("--baud");
    QTest::newRow("baud text") << QStringList{"--baud", "fast"} << QByteArray("--baud");
    QTest::newRow("unknown fault") << QStringList{"--fault", "explode"} << QByteArray("explode");
    QTest::newRow("unknown preset") << QStringList{"--preset", "nope"} << QByteArray("standard, tenths, second");
    QTest::newRow("unknown option") << QStringList{"--colour"} << QByteArray("colour");
    QTest::newRow("stray argument") << QStringList{"extra"} << QByteArray("extra");
}

void TestSimPty::badArgumentsAreRefused()
{
    QFETCH(QStringList, args);
    QFETCH(QByteArray, says);
    SimProcess sim;
    QVERIFY(!sim.start(args, 5000));
    QVERIFY(sim.path().isEmpty());
    QVERIFY(sim.waitForExit(1000));
    QCOMPARE(sim.exitCode(), 2);
    QVERIFY2(sim.errorOutput().contains(says), sim.errorOutput().constData());
}

QTEST_GUILESS_MAIN(TestSimPty)
#include "tst_simpty.moc"
