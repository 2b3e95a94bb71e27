#include "link/devicelink.h"
#include "support/columns.h"
#include "support/scriptedport.h"
#include "support/scriptedprompter.h"
#include "sim/simdevice.h"
#include "sim/simserialport.h"

#include <QtTest>

namespace {
const QString kNoConnection = QStringLiteral("No connection!");

// A far end that answers at once: the reply's receive event comes before
// the frame's send event, as from a fast device on a pseudo-terminal.
// `input` is what the port holds unread.
class EagerPort : public ScriptedPort
{
public:
    QByteArray reply;
    QByteArray input;

    qint64 write(const QByteArray &bytes) override
    {
        written << bytes;
        QMetaObject::invokeMethod(this, [this] {
            input += reply;
            emit commEvent(CommEvent::Receive);
        }, Qt::QueuedConnection);
        QMetaObject::invokeMethod(this, [this] { emit commEvent(CommEvent::Send); }, Qt::QueuedConnection);
        return bytes.size();
    }
    QByteArray readAll() override { return std::exchange(input, QByteArray()); }
};

// A link on an open scripted port, prompter and port owned by the test.
struct Rig {
    explicit Rig(ScriptedPort *p = new ScriptedPort) : port(p)
    {
        link.setPort(port);
        port->open();
    }
    ScriptedPrompter prompter;
    DeviceLink link {&prompter};
    ScriptedPort *port;
};

// expected: ExpectedByteCount
const Columns<QString, QByteArray, int, bool> kSendFrame{"command", "wire", "expected", "awaited"};
// expected: "-": no reply, the read times out
// discards: noise was dropped and counted
const Columns<bool, QString, QByteArray, QString, bool> kReplySplitAtEveryPositionStillCompletes{
    "rs232", "count", "reply", "expected", "discards"};
// pieces: of the late reply, 30 ms apart from 120 ms on
// least: of them in before the next frame
const Columns<int, int, int, int> kAfterATimeOutTheNextFrameWaitsForQuiet{"first", "pieces", "least", "most"};
// readBack: the device's answer; empty: silent, "-": the port will not open
// frames: what went out, frames joined
const Columns<QString, QString, QByteArray, QString, QStringList, QByteArray> kVerifiedWrite{
    "count", "data", "readBack", "result", "messages", "frames"};

} // namespace

class tst_DeviceLink : public QObject
{
    Q_OBJECT

private slots:
    void sendFrame_data()
    {
        kSendFrame.add();
        QTest::newRow("config read") << "R5202:50010000" << QByteArray("R5202:50010000\x1A") << 0x50 << true;
        QTest::newRow("one-byte write") << "R5200:0101180005" << QByteArray("R5200:0101180005\x1A\r") << 0 << false;
        // Only the fifth character decides the kind.
        QTest::newRow("fifth 0 is a write") << "ABCD0" << QByteArray("ABCD0\x1A\r") << 0 << false;
        QTest::newRow("fifth 1 is a read") << "R5201:0101" << QByteArray("R5201:0101\x1A") << 1 << true;
        QTest::newRow("short text") << "am " << QByteArray("am \x1A") << 0 << true;
    }

    void sendFrame()
    {
        const auto [command, wire, expected, awaited] = kSendFrame.fetch();
        Rig r;
        r.link.ExpectedByteCount = 7;
        r.link.AwaitingReply = !awaited;
        r.port->close(); // nothing is sent, no flag changes
        r.link.SendFrame(command);
        using Flags = std::pair<qint16, bool>; // ExpectedByteCount, AwaitingReply
        QVERIFY(r.port->written.isEmpty());
        QCOMPARE(Flags(r.link.ExpectedByteCount, r.link.AwaitingReply), Flags(7, !awaited));
        r.port->open();
        r.link.SendFrame(command);
        QCOMPARE(r.port->written, QList<QByteArray>{wire});
        QCOMPARE(Flags(r.link.ExpectedByteCount, r.link.AwaitingReply), Flags(expected, awaited));
    }

    void replySplitAtEveryPositionStillCompletes_data()
    {
        kReplySplitAtEveryPositionStillCompletes.add();
        QTest::newRow("rs232 prompt and line feed") << true << "04" << QByteArray(">:0A1B2C3D\n") << "0A1B2C3D" << false;
        QTest::newRow("rs232 plain") << true << "04" << QByteArray(":00FF7E01") << "00FF7E01" << false;
        QTest::newRow("line end after the data") << true << "02" << QByteArray(":0a1B\r\n") << "0a1B" << false;
        QTest::newRow("zero bytes end on colon") << true << "00" << QByteArray(">:") << "" << false;
        // Nothing before ":" belongs to the reply.
        QTest::newRow("greeting with a colon") << true << "02" << QByteArray("Welcome, line 3: ready\r\n:0C8A") << "0C8A" << true;
        QTest::newRow("echo of the frame") << true << "02" << QByteArray("R5202:02010000\x1a>:0C8A") << "0C8A" << true;
        // A reply starts its line: text on the line before ":" makes it none.
        QTest::newRow("telnet bytes before") << true << "02" << QByteArray("\xff\xfd,\xff\xfb\x03:0C8A") << "-" << true;
        QTest::newRow("text before colon") << true << "02" << QByteArray("AB:CDEF") << "-" << true;
        QTest::newRow("not hex") << true << "02" << QByteArray(":0C8G") << "-" << true;
        QTest::newRow("line end before the data is whole") << true << "02" << QByteArray(":0C8\r\nA") << "-" << true;
        QTest::newRow("frame cut by a new start") << true << "02" << QByteArray(":0C:8A") << "-" << true;
        // Whatever follows the data but line ends, in the same piece or soon after.
        QTest::newRow("one data byte more") << true << "02" << QByteArray(":0C8A\r01") << "-" << true;
        QTest::newRow("late greeting, then the reply") << true << "01" << QByteArray("Connected at 12:34\r\n:56") << "56" << true;
        // The bus tag before ":" is waited for on top of the data and cut by the link.
        QTest::newRow("rs485 tag") << false << "04" << QByteArray("01R5:0A1B2C3D") << "0A1B2C3D" << false;
        QTest::newRow("rs485 keeps >") << false << "04" << QByteArray(">1R5:0A1B2C3D") << "0A1B2C3D" << false;
        QTest::newRow("rs485 banner before the tag") << false << "02" << QByteArray("ser2net port\r\n01R5:0C8A") << "0C8A" << true;
        QTest::newRow("rs485 noise glued to the tag") << false << "02" << QByteArray("xx01R5:0C8A") << "-" << true;
        QTest::newRow("rs485 driver glitch before the tag") << false << "02" << QByteArray("\xff\x11" "01R5:0C8A") << "0C8A" << true;
        QTest::newRow("NUL before the reply") << true << "02" << QByteArray("\0:0C8A", 6) << "0C8A" << true;
        QTest::newRow("rs485 echo of the frame") << false << "02" << QByteArray("R5202:02010000\x1a" "01R5:0C8A") << "0C8A" << true;
        QTest::newRow("rs485 without its tag") << false << "02" << QByteArray("1R5:0C8A") << "-" << true;
        QTest::newRow("rs485 one data byte more") << false << "02" << QByteArray("01R5:0C8A01") << "-" << true;
    }

    void replySplitAtEveryPositionStillCompletes()
    {
        const auto [rs232, count, reply, expected, discards] = kReplySplitAtEveryPositionStillCompletes.fetch();
        const bool fails = expected == QLatin1String("-");
        for (int cut = 0; cut <= reply.size(); ++cut) {
            for (int cut2 = cut; cut2 <= reply.size(); cut2 += fails ? 5 : 3) {
                Rig r;
                r.link.Rs232Mode = rs232;
                r.link.setReplyTimeout(20);
                r.port->replies << QList<QByteArray>{reply.left(cut), reply.mid(cut, cut2 - cut), reply.mid(cut2)};
                QCOMPARE(r.link.ReadMemory(QStringLiteral("0100"), count), fails ? QString() : expected);
                QCOMPARE(r.prompter.texts(), fails ? QStringList{kNoConnection} : QStringList());
                QCOMPARE(r.link.health.discarded, qint64(discards));
                QVERIFY(!r.link.AwaitingReply && r.link.LineReady);
            }
        }
    }

    void timeouts()
    {
        Rig r;
        r.link.setReplyTimeout(20);
        r.port->replies << QList<QByteArray>{QByteArray(":12")}; // shorter than asked for
        QVERIFY(r.link.Transact(QStringLiteral("R5202:02010000")).isEmpty());
        QCOMPARE(r.prompter.texts(), QStringList{kNoConnection});
        QCOMPARE(r.prompter.entries.first().title, QStringLiteral("Communication Error"));
        QVERIFY(r.link.LineReady && !r.link.AwaitingReply);
        // A frame whose send event never comes still ends, as a time-out.
        r.port->sendEvents = false;
        QVERIFY(r.link.Transact(QStringLiteral("R5202:02010000")).isEmpty());
        QCOMPARE(r.prompter.texts(), QStringList(2, kNoConnection));
        r.port->sendEvents = true;
        // A reply followed by more is no reply, and what followed is not
        // taken as the start of the next one.
        r.port->replies << QList<QByteArray>{QByteArray(":ABCD"), QByteArray("XY")}
                        << QList<QByteArray>{QByteArray(":0102")};
        QVERIFY(r.link.Transact(QStringLiteral("R5202:02010000")).isEmpty());
        QCOMPARE(r.prompter.texts(), QStringList(3, kNoConnection));
        QCOMPARE(r.link.Transact(QStringLiteral("R5202:02010000")), QStringLiteral("0102"));

        // During the auto update the first nine misses in a row stay silent.
        r.prompter.clear();
        QTimer timer4;
        timer4.setInterval(100000);
        r.link.setTimer4(&timer4);
        r.link.AutoUpdateOn = true;
        for (int i = 1; i <= 9; ++i) {
            QVERIFY(r.link.Transact(QStringLiteral("R5202:01014F00")).isEmpty());
            QVERIFY2(r.prompter.entries.isEmpty(), qPrintable(QString::number(i)));
            QVERIFY(timer4.isActive()); // the poll runs again after each exchange
        }
        QCOMPARE(r.link.TimeoutCount, qint16(9));
        // A lost line ends the run: the loss is its report.
        emit r.port->portLost(QStringLiteral("lost"));
        r.port->open();
        r.prompter.clear();
        QVERIFY(r.link.Transact(QStringLiteral("R5202:01014F00")).isEmpty());
        QVERIFY(r.prompter.entries.isEmpty());
        // A reply in between resets the run of misses.
        r.port->replies << QList<QByteArray>{QByteArray(":07")};
        QCOMPARE(r.link.Transact(QStringLiteral("R5202:01014F00")), QStringLiteral("07"));
        QCOMPARE(r.link.TimeoutCount, qint16(0));
        for (int i = 1; i <= 10; ++i)
            r.link.Transact(QStringLiteral("R5202:01014F00"));
        QCOMPARE(r.prompter.texts(), QStringList{kNoConnection});
        QCOMPARE(r.link.TimeoutCount, qint16(0));

        // A port replaced under a read ends the read at once, without a report.
        r.prompter.clear();
        r.link.AutoUpdateOn = false;
        QTimer::singleShot(10, &r.link, [&] { r.link.setPort(new ScriptedPort); });
        QVERIFY(r.link.Transact(QStringLiteral("R5202:01014F00")).isEmpty());
        QVERIFY(r.prompter.entries.isEmpty() && !r.link.Timer3->isActive());
    }

    // A send event that comes after the reply completed (a fast device) must not
    // restart the reply timer nor mark the line busy; bytes left unread in the
    // port (a late reply nobody took) must not be glued to the next reply.
    void lateSendEventAndStaleInputDoNotSpoilTheNextExchange()
    {
        auto *port = new EagerPort;
        Rig r(port);
        r.link.setReplyTimeout(1000);
        port->reply = ":0C8A";
        QCOMPARE(r.link.ReadMemory(QStringLiteral("0109"), QStringLiteral("02")), QStringLiteral("0C8A"));
        QVERIFY(r.link.LineReady && !r.link.AwaitingReply);
        QVERIFY(!r.link.Timer3->isActive());
        port->input = ":77";
        port->reply = ":0C8B";
        QCOMPARE(r.link.ReadMemory(QStringLiteral("0109"), QStringLiteral("02")), QStringLiteral("0C8B"));
        QCOMPARE(r.prompter.texts(), QStringList());
    }

    void afterATimeOutTheNextFrameWaitsForQuiet_data()
    {
        kAfterATimeOutTheNextFrameWaitsForQuiet.add();
        // Time-out 100 ms, then as long again without a byte: the late reply
        // is taken in whole and dropped before the next frame goes out,
        // also when it came most of a time-out after its own.
        QTest::newRow("late reply") << 120 << 3 << 3 << 3;
        QTest::newRow("reply long after its time-out") << 185 << 1 << 1 << 1;
        // A line that never goes quiet holds the next frame two time-outs at
        // most (until about 300 ms).
        QTest::newRow("endless trickle") << 120 << 20 << 4 << 8;
    }

    void afterATimeOutTheNextFrameWaitsForQuiet()
    {
        const auto [first, pieces, least, most] = kAfterATimeOutTheNextFrameWaitsForQuiet.fetch();
        auto *port = new EagerPort;
        Rig r(port);
        r.link.setReplyTimeout(100);
        QString seen;
        QObject::connect(&r.link, &DeviceLink::frameSent, [&seen] { seen += QLatin1Char('W'); });
        for (int i = 0; i < pieces; ++i)
            QTimer::singleShot(first + 30 * i, port, [port, &seen] {
                if (seen.count(QLatin1Char('W')) > 1)
                    return; // the trickle stops once the next frame is out, not inside its reply
                seen += QLatin1Char('.');
                port->input += ":0C";
                emit port->commEvent(CommEvent::Receive);
            });
        QVERIFY(r.link.ReadMemory(QStringLiteral("0109"), QStringLiteral("02")).isEmpty());
        port->reply = ":0C8B";
        QCOMPARE(r.link.ReadMemory(QStringLiteral("0109"), QStringLiteral("02")), QStringLiteral("0C8B"));
        const int before = seen.indexOf(QLatin1Char('W'), 1) - 1;
        QVERIFY2(seen.startsWith(QLatin1Char('W')) && before >= least && before <= most, qPrintable(seen));
        QCOMPARE(r.link.health.discarded, qint64(1));
    }

    void storePauseArithmetic()
    {
        // 10500: 11.5 rounds to the even 12; 11500: 12.5 too; the last two across midnight.
        QList<int> pauses;
        for (int ms : {10000, 10400, 10500, 11500, 86399700, 86399999})
            pauses << DeviceLink::StorePauseMs(ms);
        QCOMPARE(pauses, QList<int>({1000, 600, 1500, 500, 1300, 1001}));
    }

    void verifiedWrite_data()
    {
        kVerifiedWrite.add();
        const QString failed = QStringLiteral("Verify data is failed!\r data recieved: ");
        const QString tooLong = QStringLiteral("Data string does not \r match length field!");
        QTest::newRow("verified") << "02" << "0FFF" << QByteArray(":0FFF") << "0FFF" << QStringList()
                                  << QByteArray("R5200:020030000FFF\x1A\rR5202:02003000\x1A");
        // The device answers in upper case; the comparison is exact.
        QTest::newRow("lower case") << "01" << "ab" << QByteArray(":AB") << QString() << QStringList{failed + "AB"}
                                    << QByteArray("R5200:01003000ab\x1A\rR5202:01003000\x1A");
        // Three characters read back two bytes.
        QTest::newRow("odd length") << "02" << "123" << QByteArray(":1230") << QString() << QStringList{failed + "1230"}
                                    << QByteArray("R5200:02003000123\x1A\rR5202:02003000\x1A");
        QTest::newRow("silent") << "01" << "5A" << QByteArray() << QString()
                                << QStringList{kNoConnection, "Communication ERROR. Can not verify\r data in RAM"}
                                << QByteArray("R5200:010030005A\x1A\rR5202:01003000\x1A");
        QTest::newRow("longer than count") << "1" << "0102" << QByteArray() << QString() << QStringList{tooLong}
                                           << QByteArray();
        QTest::newRow("count 0") << "0" << "01" << QByteArray() << QString() << QStringList{tooLong} << QByteArray();
        QTest::newRow("port will not open") << "01" << "5A" << QByteArray("-") << QString()
                                            << QStringList{"Port is not available"} << QByteArray();
    }

    void verifiedWrite()
    {
        const auto [count, data, readBack, result, messages, frames] = kVerifiedWrite.fetch();
        Rig r;
        r.port->close(); // the write opens it
        r.port->failOpen = readBack == "-";
        r.link.setStorePauseOverride(0);
        r.link.setReplyTimeout(50);
        r.port->replies << (readBack.isEmpty() ? QList<QByteArray>() : QList<QByteArray>{readBack});
        QCOMPARE(r.link.WriteRamData(count, QStringLiteral("0030"), data), result);
        QCOMPARE(r.prompter.texts(), messages);
        QCOMPARE(r.port->written.join(), frames);
    }

    void displayPollStaysOffThroughVerifiedWrite()
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

    void replyTimesKeepTheLastThousand()
    {
        LinkHealth h;
        for (int ms = 1; ms <= 20; ++ms)
            h.addReplyTime(21 - ms);
        LinkHealth::Times t = h.times();
        QCOMPARE(QList<qint64>({t.least, t.median, t.p95, t.most}), QList<qint64>({1, 10, 19, 20}));
        for (int i = 0; i < 1000; ++i)
            h.addReplyTime(500);
        t = h.times();
        QCOMPARE(t.count, 1000);
        QCOMPARE(t.least, qint64(500)); // the first twenty have gone
    }
};

QTEST_MAIN(tst_DeviceLink)
#include "tst_devicelink.moc"
