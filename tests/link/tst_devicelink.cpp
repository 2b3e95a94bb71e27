#include "link/devicelink.h"
#include "link/qtserialport.h"
#include "support/scriptedport.h"
#include "support/scriptedprompter.h"
#include "sim/simdevice.h"
#include "sim/simserialport.h"

#include <QSocketNotifier>
#include <QTimer>
#include <QtTest>

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace {
const QString kNoConnection = QStringLiteral("No connection!");

// A device on the master side of a pseudo-terminal: 64 bytes of memory,
// answers read frames with ">:" + hex + "\n" and stores write frames.
class PtyDevice : public QObject
{
public:
    PtyDevice()
    {
        char name[256] = {};
        if (openpty(&master, &slave, name, nullptr, nullptr) != 0)
            return;
        termios t;
        tcgetattr(slave, &t);
        cfmakeraw(&t);
        tcsetattr(slave, TCSANOW, &t);
        path = QString::fromLatin1(name);
        fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
        notifier = new QSocketNotifier(master, QSocketNotifier::Read, this);
        connect(notifier, &QSocketNotifier::activated, this, [this] { onData(); });
        memory.fill('\0', 64);
    }
    ~PtyDevice() override
    {
        delete notifier;
        if (master >= 0)
            ::close(master);
        if (slave >= 0)
            ::close(slave);
    }

    void onData()
    {
        char buf[512];
        ssize_t n;
        while ((n = ::read(master, buf, sizeof buf)) > 0)
            rx.append(buf, int(n));
        int end;
        while ((end = rx.indexOf('\x1A')) >= 0) {
            const QByteArray frame = rx.left(end);
            rx.remove(0, end + 1);
            if (rx.startsWith('\r'))
                rx.remove(0, 1);
            frames << frame;
            const int count = frame.mid(6, 2).toInt(nullptr, 16);
            const int addr = frame.mid(8, 4).toInt(nullptr, 16);
            if (frame.at(4) == '0') {
                memory.replace(addr, count, QByteArray::fromHex(frame.mid(14)));
            } else if (!silent) {
                QByteArray data = memory.mid(addr, count).toHex().toUpper();
                if (corrupt && !data.isEmpty())
                    data[0] = data[0] == '0' ? '1' : '0';
                const QByteArray reply = ">:" + data + "\n";
                (void)!::write(master, reply.constData(), size_t(reply.size()));
            }
        }
    }

    int master = -1;
    int slave = -1;
    QString path;
    QSocketNotifier *notifier = nullptr;
    QByteArray rx;
    QByteArray memory;
    QList<QByteArray> frames;
    bool silent = false;
    bool corrupt = false;
};
} // namespace

class tst_DeviceLink : public QObject
{
    Q_OBJECT

private slots:
    void framesOnTheWire_data();
    void framesOnTheWire();
    void sendFrameWithPortClosedSendsNothing();
    void replySplitAtEveryPositionStillCompletes_data();
    void replySplitAtEveryPositionStillCompletes();
    void busReplyEndsEarlyWhenSplitAfterColon();
    void zeroByteReadCompletesOnColon();
    void timeoutReportsAtOnceWithoutAutoUpdate();
    void timeoutSilentBelowTenMissesDuringAutoUpdate();
    void storePauseArithmetic_data();
    void storePauseArithmetic();
    void verifiedWriteOverPseudoTerminal();
    void lengthCheckSendsNothing();
    void closedPortIsOpenedFirst();
    void hangUpEndsTheWaitAndIsReportedOnce();
    void displayPollStaysOffThroughVerifiedWrite();
};

void tst_DeviceLink::framesOnTheWire_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("wire");
    QTest::newRow("config read") << "R5202:50010000" << QByteArray("R5202:50010000\x1A");
    QTest::newRow("one-byte write") << "R5200:0101180005" << QByteArray("R5200:0101180005\x1A\r");
    // Only the fifth character decides the kind.
    QTest::newRow("fifth 0 is a write") << "ABCD0" << QByteArray("ABCD0\x1A\r");
    QTest::newRow("fifth 1 is a read") << "R5201:0101" << QByteArray("R5201:0101\x1A");
    QTest::newRow("short text") << "am " << QByteArray("am \x1A");
}

void tst_DeviceLink::framesOnTheWire()
{
    QFETCH(QString, command);
    QFETCH(QByteArray, wire);
    QCOMPARE(DeviceLink::wireBytes(command), wire);
}

void tst_DeviceLink::sendFrameWithPortClosedSendsNothing()
{
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    auto *port = new ScriptedPort;
    link.setPort(port);
    link.AwaitingReply = true;
    link.SendFrame(QStringLiteral("R5200:01011800"));
    QVERIFY(port->written.isEmpty());
    QVERIFY(link.AwaitingReply);

    port->open();
    link.SendFrame(QStringLiteral("R5202:01014F00"));
    QCOMPARE(link.ExpectedByteCount, qint16(1));
    QVERIFY(link.AwaitingReply);
    link.SendFrame(QStringLiteral("R5200:01011800" "05"));
    QCOMPARE(link.ExpectedByteCount, qint16(0));
    QVERIFY(!link.AwaitingReply);
    QCOMPARE(port->written.size(), 2);
}

void tst_DeviceLink::replySplitAtEveryPositionStillCompletes_data()
{
    QTest::addColumn<bool>("rs232");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("expected");
    QTest::newRow("rs232 prompt and line feed") << true << QByteArray(">:0A1B2C3D\n") << "0A1B2C3D";
    QTest::newRow("rs232 plain") << true << QByteArray(":00FF7E01") << "00FF7E01";
    // The bus tag before ":" counts towards the length and is cut by the link.
    QTest::newRow("rs485 tag") << false << QByteArray("01R5:0A1B2C3D") << "0A1B2C3D";
    QTest::newRow("rs485 keeps >") << false << QByteArray(">1R5:0A1B2C3D") << "0A1B2C3D";
}

void tst_DeviceLink::replySplitAtEveryPositionStillCompletes()
{
    QFETCH(bool, rs232);
    QFETCH(QByteArray, reply);
    QFETCH(QString, expected);
    // On the bus the tag counts towards the expected length, so a reply is
    // only whole when it is split before its ":" (the device sends it in one
    // burst); later splits end the reply early, as the device family expects.
    const int lastCut = rs232 ? int(reply.size()) : int(reply.indexOf(':'));
    for (int cut = 0; cut <= lastCut; ++cut) {
        for (int cut2 = cut; cut2 <= lastCut; cut2 += 3) {
            ScriptedPrompter prompter;
            DeviceLink link(&prompter);
            link.Rs232Mode = rs232;
            auto *port = new ScriptedPort;
            link.setPort(port);
            port->open();
            port->replies << QList<QByteArray>{reply.left(cut), reply.mid(cut, cut2 - cut), reply.mid(cut2)};
            const QString got = link.Transact(QStringLiteral("R5202:04010000"));
            QCOMPARE(got, expected);
            QVERIFY(prompter.entries.isEmpty());
            QVERIFY(!link.AwaitingReply);
            QVERIFY(link.LineReady);
        }
    }
}

void tst_DeviceLink::busReplyEndsEarlyWhenSplitAfterColon()
{
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    link.Rs232Mode = false;
    auto *port = new ScriptedPort;
    link.setPort(port);
    port->open();
    port->replies << QList<QByteArray>{QByteArray("01R5:0A1B"), QByteArray("2C3D")};
    QCOMPARE(link.Transact(QStringLiteral("R5202:04010000")), QStringLiteral("0A1B"));
}

void tst_DeviceLink::zeroByteReadCompletesOnColon()
{
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    auto *port = new ScriptedPort;
    link.setPort(port);
    port->open();
    port->replies << QList<QByteArray>{QByteArray(">"), QByteArray(":")};
    link.Transact(QStringLiteral("R5202:00010000"));
    QVERIFY(!link.AwaitingReply);
    QCOMPARE(link.txtRs, QString());

    // Characters seen before the ":" count towards the expected length.
    link.ExpectedByteCount = 2;
    link.AssembleReply(QStringLiteral("AB"));
    QVERIFY(!link.ReplyComplete);
    link.AssembleReply(QStringLiteral(":CD"));
    QVERIFY(link.ReplyComplete);
    QCOMPARE(link.txtRs, QStringLiteral("ABCD"));
}

void tst_DeviceLink::timeoutReportsAtOnceWithoutAutoUpdate()
{
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    link.setReplyTimeout(50);
    auto *port = new ScriptedPort;
    link.setPort(port);
    port->open();
    port->replies << QList<QByteArray>{QByteArray(":12")}; // shorter than asked for
    const QString got = link.Transact(QStringLiteral("R5202:02010000"));
    QVERIFY(got.isEmpty());
    QCOMPARE(prompter.texts(), QStringList{kNoConnection});
    QCOMPARE(prompter.entries.first().title, QStringLiteral("Communication Error"));
    QVERIFY(link.LineReady);
    QVERIFY(!link.AwaitingReply);
}

void tst_DeviceLink::timeoutSilentBelowTenMissesDuringAutoUpdate()
{
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    link.setReplyTimeout(20);
    QTimer timer4;
    timer4.setInterval(100000);
    link.setTimer4(&timer4);
    link.AutoUpdateOn = true;
    auto *port = new ScriptedPort;
    link.setPort(port);
    port->open();
    for (int i = 1; i <= 9; ++i) {
        QVERIFY(link.Transact(QStringLiteral("R5202:01014F00")).isEmpty());
        QVERIFY2(prompter.entries.isEmpty(), qPrintable(QString::number(i)));
        QVERIFY(timer4.isActive()); // the poll runs again after each exchange
    }
    QCOMPARE(link.TimeoutCount, qint16(9));
    // A reply in between resets the run of misses.
    port->replies << QList<QByteArray>{QByteArray(":07")};
    QCOMPARE(link.Transact(QStringLiteral("R5202:01014F00")), QStringLiteral("07"));
    QCOMPARE(link.TimeoutCount, qint16(0));
    for (int i = 1; i <= 10; ++i)
        link.Transact(QStringLiteral("R5202:01014F00"));
    QCOMPARE(prompter.texts(), QStringList{kNoConnection});
    QCOMPARE(link.TimeoutCount, qint16(0));
}

void tst_DeviceLink::storePauseArithmetic_data()
{
    QTest::addColumn<qint64>("now");
    QTest::addColumn<int>("pause");
    QTest::newRow("whole second") << qint64(10000) << 1000;
    QTest::newRow("just after") << qint64(10001) << 999;
    QTest::newRow("below half") << qint64(10400) << 600;
    // 11.5 rounds to the even 12, 12.5 to the even 12.
    QTest::newRow("half to even up") << qint64(10500) << 1500;
    QTest::newRow("half to even down") << qint64(11500) << 500;
    QTest::newRow("above half") << qint64(10600) << 1400;
    QTest::newRow("before midnight") << qint64(86399700) << 1300;
    QTest::newRow("last ms of day") << qint64(86399999) << 1001;
}

void tst_DeviceLink::storePauseArithmetic()
{
    QFETCH(qint64, now);
    QFETCH(int, pause);
    QCOMPARE(DeviceLink::StorePauseMs(now), pause);
    QVERIFY(pause >= 500 && pause <= 1500);
}

void tst_DeviceLink::verifiedWriteOverPseudoTerminal()
{
    PtyDevice device;
    QVERIFY(!device.path.isEmpty());
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    link.setStorePauseOverride(10);
    link.setReplyTimeout(300);
    link.setPort(new QtSerialPort(device.path));

    QCOMPARE(link.WriteRamData(QStringLiteral("02"), QStringLiteral("0010"), QStringLiteral("0FFF")),
             QStringLiteral("0FFF"));
    QVERIFY(prompter.entries.isEmpty());
    QCOMPARE(device.frames, (QList<QByteArray>{"R5200:020010000FFF", "R5202:02001000"}));
    QCOMPARE(link.ReadMemory(QStringLiteral("0010"), QStringLiteral("02")), QStringLiteral("0FFF"));

    // Lower-case data is stored but the upper-case read-back differs.
    QVERIFY(link.WriteRamData(QStringLiteral("01"), QStringLiteral("0020"), QStringLiteral("ab")).isEmpty());
    QCOMPARE(prompter.texts().last(), QStringLiteral("Verify data is failed!\r data recieved: AB"));

    // Odd length: 3 characters read back 2 bytes and the comparison fails.
    device.frames.clear();
    QVERIFY(link.WriteRamData(QStringLiteral("02"), QStringLiteral("0030"), QStringLiteral("123")).isEmpty());
    QCOMPARE(device.frames.value(1), QByteArray("R5202:02003000"));

    device.corrupt = true;
    QVERIFY(link.WriteRamData(QStringLiteral("01"), QStringLiteral("0000"), QStringLiteral("5A")).isEmpty());
    QCOMPARE(prompter.texts().last(), QStringLiteral("Verify data is failed!\r data recieved: 0A"));

    device.corrupt = false;
    device.silent = true;
    prompter.clear();
    QVERIFY(link.WriteRamData(QStringLiteral("01"), QStringLiteral("0000"), QStringLiteral("5A")).isEmpty());
    QCOMPARE(prompter.texts(), (QStringList{kNoConnection,
                                            QStringLiteral("Communication ERROR. Can not verify\r data in RAM")}));
}

void tst_DeviceLink::lengthCheckSendsNothing()
{
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    auto *port = new ScriptedPort;
    link.setPort(port);
    const QString message = QStringLiteral("Data string does not \r match length field!");
    QVERIFY(link.WriteRamData(QStringLiteral("1"), QStringLiteral("0100"), QStringLiteral("0102")).isEmpty());
    QVERIFY(link.WriteRamData(QStringLiteral("0"), QStringLiteral("0100"), QStringLiteral("01")).isEmpty());
    QCOMPARE(prompter.texts(), (QStringList{message, message}));
    QVERIFY(port->written.isEmpty());
    QCOMPARE(port->opens, 0);
}

void tst_DeviceLink::closedPortIsOpenedFirst()
{
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    auto *port = new ScriptedPort;
    link.setPort(port);
    port->replies << QList<QByteArray>{QByteArray(":01")};
    QCOMPARE(link.ReadMemory(QStringLiteral("0100"), QStringLiteral("01")), QStringLiteral("01"));
    QCOMPARE(port->opens, 1);

    port->close();
    port->failOpen = true;
    QVERIFY(link.ReadMemory(QStringLiteral("0100"), QStringLiteral("01")).isEmpty());
    QCOMPARE(prompter.texts(), QStringList{QStringLiteral("Port is not available")});
    QCOMPARE(port->written.size(), 1);
}

void tst_DeviceLink::hangUpEndsTheWaitAndIsReportedOnce()
{
    PtyDevice device;
    device.silent = true;
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    link.setPort(new QtSerialPort(device.path));
    QVERIFY(link.openPort());
    QTimer::singleShot(100, this, [&] {
        device.notifier->setEnabled(false);
        ::close(device.master);
        device.master = -1;
        ::close(device.slave);
        device.slave = -1;
    });
    QElapsedTimer t;
    t.start();
    QVERIFY(link.ReadMemory(QStringLiteral("0100"), QStringLiteral("50")).isEmpty());
    QVERIFY(t.elapsed() < 2500); // ended by the hang-up, not by the time-out
    QTest::qWait(100);
    QVERIFY(!link.PortOpen());
    QCOMPARE(prompter.texts().size(), 1);
}

void tst_DeviceLink::displayPollStaysOffThroughVerifiedWrite()
{
    auto *device = new SimDevice;
    DeviceLink link(nullptr);
    link.setPort(new SimSerialPort(device));
    device->setParent(link.port());
    link.setStorePauseOverride(300);
    QTimer timer4;
    timer4.setInterval(20);
    connect(&timer4, &QTimer::timeout, &link, [&] { link.ReadMemory(QStringLiteral("0100"), QStringLiteral("01")); });
    link.setTimer4(&timer4);
    link.AutoUpdateOn = true;
    timer4.start();
    QTest::qWait(60);
    QCOMPARE(link.WriteRamData(QStringLiteral("01"), QStringLiteral("01E9"), QStringLiteral("1E")), QStringLiteral("1E"));
    const QStringList frames = device->receivedFrames();
    const int write = frames.indexOf(QStringLiteral("R5200:0101E9001E"));
    QVERIFY(write > 0);  // the poll ran before the write
    QCOMPARE(frames.value(write + 1), QStringLiteral("R5202:0101E900"));
    QVERIFY(timer4.isActive());
}

QTEST_MAIN(tst_DeviceLink)
#include "tst_devicelink.moc"
