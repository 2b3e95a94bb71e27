// The simulated transmitter's framing, which must be as strict as the device
// so that a malformed frame of the terminal gets no answer, and the flow log
// the terminal downloads as the device's clock moves on.
#include "sim/simdevice.h"

#include <QtTest>

#include <cmath>

namespace {

QByteArray readHex(SimDevice &d, int addr, int count)
{
    const QString f = QStringLiteral("R5202:%1%2").arg(count, 2, 16, QLatin1Char('0')).arg(addr, 4, 16, QLatin1Char('0'));
    return d.feed(f.toUpper().toLatin1() + "00\x1A").mid(1);
}

} // namespace

class TestSimDevice : public QObject
{
    Q_OBJECT
private slots:
    void eachFrameGetsTheDevicesReply_data();
    void eachFrameGetsTheDevicesReply();
    void malformedFramesAreIgnored_data();
    void malformedFramesAreIgnored();
    void flowLogGrowsAndWraps();
};

void TestSimDevice::eachFrameGetsTheDevicesReply_data()
{
    // Pieces are fed one by one, the device's clock moving pauseMs after each.
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<QByteArray>("replies");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("pauseMs");
    auto row = [](const char *tag, const QByteArrayList &pieces, const QByteArray &replies, const char *mode = "",
                  int pauseMs = 0) { QTest::newRow(tag) << pieces << replies << QString::fromLatin1(mode) << pauseMs; };
    const QByteArray readUnit = "R5202:0101E400\x1A";
    row("lower case, fifth character not 0", {"R5207:0101e400\x1A"}, ":05");
    row("count 00", {"R5202:00010000\x1A"}, ":");
    row("RS485 bus tag", {readUnit}, "01R5:05", "rs485");
    row("largest count, erased", {"R5202:FF7EFF00\x1A"}, ":" + QByteArray(510, 'F'));
    row("noise before the prefix", {"\r\nxx:yy" + readUnit}, ":05");
    row("frame in pieces", {"R5202:01", "01E400", "\x1A"}, ":05");
    row("CR of a write in the next piece", {"R5200:01010C0037\x1A", "\rR5202:01010C00\x1A"}, ":37");
    row("fewer bytes than count, lower case", {"R5200:04017000aabbcc\x1A\r", "R5202:04017000\x1A"}, ":AABBCCE6");
    row("frames in one piece, RAM mirror", {"R5202:01003000\x1AR5200:0100300008\x1A\rR5202:01003000\x1A"}, ":32:08");
    // A verified write (write, pause, read back) of what the device moves
    // itself reads back as written; the write is not answered.
    for (const char *w : {"0201FE000300", "0101E80002", "04015C0000000000", "020109000000", "0401050000000FA0"}) {
        const QByteArray f(w);
        row(w, {"R5200:" + f + "\x1A\r", "R5202:" + f.left(8) + "\x1A"}, ":" + f.mid(8), "", 1500);
    }
    // Only the read right after a write, at its address, comes back spoilt.
    const QByteArray write = "R5200:020134000320\x1A\r";
    row("corrupt read-back", {write, "R5202:02013400\x1A", "R5202:02013400\x1A"}, ":0321:0320", "corrupt");
    row("corrupt, another address", {write, "R5202:02013800\x1A"}, ":007B", "corrupt");
}

void TestSimDevice::eachFrameGetsTheDevicesReply()
{
    QFETCH(QByteArrayList, pieces);
    QFETCH(QByteArray, replies);
    QFETCH(QString, mode);
    QFETCH(int, pauseMs);
    SimDevice d;
    d.setRs485(mode == QLatin1String("rs485"));
    d.setCorruptReadback(mode == QLatin1String("corrupt"));
    QByteArray got;
    for (const QByteArray &p : pieces) {
        got += d.feed(p);
        d.advance(pauseMs);
    }
    QCOMPARE(got, replies);
}

void TestSimDevice::malformedFramesAreIgnored_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("count not hex") << QByteArray("R5202:G1010000\x1A");
    QTest::newRow("address low byte not 00") << QByteArray("R5202:01010001\x1A");
    QTest::newRow("past 7FFF") << QByteArray("R5202:027FFF00\x1A");
    QTest::newRow("read with data") << QByteArray("R5202:01010000AB\x1A");
    QTest::newRow("no colon") << QByteArray("R5202-01010000\x1A");
    QTest::newRow("noise, then a frame cut short") << QByteArray("xx:yyR5202:0101\x1A");
    QTest::newRow("write, half a byte") << QByteArray("R5200:02010000ABC\x1A\r");
    QTest::newRow("write, more than count") << QByteArray("R5200:01010000ABCD\x1A\r");
    QTest::newRow("write, not hex") << QByteArray("R5200:02010000ZZ00\x1A\r");
    QTest::newRow("endless noise") << QByteArray(5000, 'x');
}

void TestSimDevice::malformedFramesAreIgnored()
{
    QFETCH(QByteArray, bytes);
    SimDevice d;
    const QByteArray before = d.memory();
    QCOMPARE(d.feed(bytes), QByteArray());
    QCOMPARE(d.memory(), before);
    // The device is not stuck: the next good frame is answered.
    QCOMPARE(d.feed("R5202:0101E400\x1A"), QByteArray(":05"));
}

void TestSimDevice::flowLogGrowsAndWraps()
{
    SimDevice d;
    QCOMPARE(d.value(0x01FE, 2), 0x1970u);
    // 5 s interval: ten samples in 50 s, each the flow of its moment scaled
    // to 0..32767 of full scale.
    for (int i = 0; i < 10; ++i) {
        d.advance(5000);
        QCOMPARE(int(d.value(0x01FE, 2)), 0x1970 + 2 * (i + 1));
        QCOMPARE(int(d.value(0x1970 + 2 * i, 2)), int(std::lround(d.flow() / d.fullScale() * 32767)));
    }
    QCOMPARE(readHex(d, 0x1984, 2), QByteArray("FFFF"));
    // Interval 1 s set through a write: no sample for 2 s, then one a second.
    d.feed("R5200:0101E80001\x1A\r");
    d.advance(1900);
    QCOMPARE(d.value(0x01FE, 2), 0x1984u);
    d.advance(3200);
    QCOMPARE(d.value(0x01FE, 2), 0x198Cu);
    // The last slot is 7FFCh, then the log starts over at 0200h.
    d.feed("R5200:0201FE007FFA\x1A\r");
    d.advance(4000);
    QCOMPARE(d.value(0x01FE, 2), 0x0202u);
    // Interval 0 stops the log.
    d.feed("R5200:0101E80000\x1A\r");
    d.advance(60000);
    QCOMPARE(d.value(0x01FE, 2), 0x0202u);
}

QTEST_GUILESS_MAIN(TestSimDevice)
#include "tst_simdevice.moc"
