// The simulated transmitter's memory and answers, byte for byte, and its live
// flow, totalizer and flow log as its clock moves on.
#include "sim/simdevice.h"

#include <QtTest>

namespace {

QByteArray readFrame(const QByteArray &text)
{
    return text + '\x1A';
}

QByteArray writeFrame(const QByteArray &text)
{
    return text + "\x1A\r";
}

QByteArray readHex(SimDevice &d, int addr, int count)
{
    const QByteArray f = "R5202:" + QByteArray::number(count, 16).toUpper().rightJustified(2, '0')
        + QByteArray::number(addr, 16).toUpper().rightJustified(4, '0') + "00";
    const QByteArray reply = d.feed(readFrame(f));
    return reply.startsWith(':') ? reply.mid(1) : QByteArray("no reply: ") + reply;
}

// The flow text the terminal makes of the display block and the point code.
QString displayText(SimDevice &d)
{
    const QByteArray hex = readHex(d, 0x012A, 10);
    const int code = readHex(d, 0x014F, 1).toInt(nullptr, 16);
    auto digit = [&](int pos) { return QString::number(QByteArray(1, hex.at(pos - 1)).toInt(nullptr, 16)); };
    const QString digits = digit(20) + digit(18) + digit(12) + digit(4) + digit(2);
    if (code <= 3)
        return digits.left(code + 1) + QLatin1Char('.') + digits.mid(code + 1);
    return digits + QString(code - 4, QLatin1Char('0'));
}

// Eight display digits, one per byte, as hex text.
QByteArray digitBytes(quint64 v)
{
    QByteArray hex;
    for (const char c : QByteArray::number(v).rightJustified(8, '0'))
        hex += '0' + QByteArray(1, c);
    return hex;
}

double runningTotal(const SimDevice &d)
{
    return d.value(0x015C, 4) + d.byte(0x010A) / 100.0;
}

} // namespace

class TestSimDevice : public QObject
{
    Q_OBJECT
private slots:
    void readReplies_data();
    void readReplies();
    void configBlockIsByteExact();
    void writesAreStoredAndNotAnswered();
    void malformedFramesAreIgnored_data();
    void malformedFramesAreIgnored();
    void presetsHoldPermissibleValues_data();
    void presetsHoldPermissibleValues();
    void displayShowsTheFlow_data();
    void displayShowsTheFlow();
    void flowVariesSmoothlyAndStops();
    void totalizerFollowsTheFlow();
    void totalizerDisplayAndMultiplier_data();
    void totalizerDisplayAndMultiplier();
    void totalizerResetClearsEverything_data();
    void totalizerResetClearsEverything();
    void flowLogGrowsAndWraps();
    void verifiedWritesReadBackWhileRunning();
    void corruptReadbackChangesOneDigit();
};

void TestSimDevice::readReplies_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<bool>("rs485");
    QTest::addColumn<QByteArray>("reply");

    QTest::newRow("unit code") << QByteArray("R5202:0101E400") << false << QByteArray(":05");
    QTest::newRow("user unit text, interval, time-out, options")
        << QByteArray("R5202:0601E500") << false << QByteArray(":554400051E02");
    QTest::newRow("data pointer after 3000 samples") << QByteArray("R5202:0201FE00") << false << QByteArray(":1970");
    QTest::newRow("density") << QByteArray("R5202:04017000") << false << QByteArray(":000003E6");
    QTest::newRow("total word") << QByteArray("R5202:02010900") << false << QByteArray(":0000");
    QTest::newRow("total digits") << QByteArray("R5202:08017400") << false << QByteArray(":0001020304050607");
    QTest::newRow("display block at 3000.0")
        << QByteArray("R5202:0A012A00") << false << QByteArray(":00000003E80000190003");
    QTest::newRow("RS485 bus tag") << QByteArray("R5202:0201FE00") << true << QByteArray("01R5:1970");
    QTest::newRow("count 00") << QByteArray("R5202:00010000") << false << QByteArray(":");
    QTest::newRow("count 00, RS485") << QByteArray("R5202:00010000") << true << QByteArray("01R5:");
    QTest::newRow("lower-case hex") << QByteArray("R5202:0101e400") << false << QByteArray(":05");
    QTest::newRow("any fifth character but 0 reads") << QByteArray("R5207:0101E400") << false << QByteArray(":05");
    QTest::newRow("last byte, erased") << QByteArray("R5202:017FFF00") << false << QByteArray(":FF");
    QTest::newRow("RAM mirrors") << QByteArray("R5202:01003000") << false << QByteArray(":32");
}

void TestSimDevice::readReplies()
{
    QFETCH(QByteArray, frame);
    QFETCH(bool, rs485);
    QFETCH(QByteArray, reply);
    SimDevice d;
    d.setRs485(rs485);
    QCOMPARE(d.feed(readFrame(frame)), reply);
    QCOMPARE(d.framesReceived(), 1);
    QCOMPARE(d.receivedFrames(), QStringList{QString::fromLatin1(frame)});
}

void TestSimDevice::configBlockIsByteExact()
{
    SimDevice d;
    const QByteArray expected = QByteArray(":")
        + "32" "0FA0" "03" "01" "00001388"      // 0100 interval 50, mA scale 4000, response 3, /Min, full scale 5000
        + "0000" "00" "14" "00000064"           // 0109 total word, 010C 20 %, 010D min flow 100
        + "32" "00000000" "50" "00" "0007A120"  // 0111 50 %, 0116 80 %, 0118 scaling factor 500000
        + QByteArray(28, '0')                   // 011C-0129
        + "00" "00" "00" "03E8" "00" "0019" "00" "03" // display 3000.0 around A 1000 and B 25
        + "03E8" "0000" "007B" "0333"           // 0134 high cut 1000, 0138 password 123, 013A offset 819
        + QByteArray(32, '0')                   // 013C-014B
        + "05" "000A" "03";                     // 014C turbulence 5, 014D low cut 10, 014F point code
    const QByteArray reply = d.feed(readFrame("R5202:50010000"));
    QCOMPARE(reply.size(), 161);
    QCOMPARE(reply, expected);

    // A whole log block: 255 bytes, 510 hex digits.
    const QByteArray block = d.feed(readFrame("R5202:FF7EFF00"));
    QCOMPARE(block.size(), 511);
    QCOMPARE(block.mid(1), QByteArray(510, 'F'));
}

void TestSimDevice::writesAreStoredAndNotAnswered()
{
    SimDevice d;
    QCOMPARE(d.feed(writeFrame("R5200:04011800000F4240")), QByteArray());
    QCOMPARE(d.value(0x0118, 4), 1000000u);

    // The CR after a write may come in the next piece; it is not part of the
    // next frame.
    QCOMPARE(d.feed("R5200:01010C0037\x1A"), QByteArray());
    QCOMPARE(d.feed("\rR5202:01010C00\x1A"), QByteArray(":37"));
    QCOMPARE(d.receivedFrames().last(), QStringLiteral("R5202:01010C00"));

    // Lower-case data is stored; the reply is upper case.
    d.feed(writeFrame("R5200:02013800abcd"));
    QCOMPARE(readHex(d, 0x0138, 2), QByteArray("ABCD"));

    // Fewer bytes than the count: the bytes that came are stored.
    d.feed(writeFrame("R5200:04017000AABBCC"));
    QCOMPARE(readHex(d, 0x0170, 4), QByteArray("AABBCCE6"));

    // Count 00 and the RAM mirrors simply store.
    QCOMPARE(d.feed(writeFrame("R5200:00010000")), QByteArray());
    d.feed(writeFrame("R5200:0100300007"));
    d.feed(writeFrame("R5200:0100080009"));
    d.feed(writeFrame("R5200:0100260003"));
    QCOMPARE(d.byte(0x0030), quint8(7));
    QCOMPARE(d.byte(0x0008), quint8(9));
    QCOMPARE(d.byte(0x0026), quint8(3));

    // Several frames in one piece, each answered in order.
    QCOMPARE(d.feed(readFrame("R5202:01003000") + writeFrame("R5200:0100300008") + readFrame("R5202:01003000")),
             QByteArray(":07:08"));
    QCOMPARE(d.framesReceived(), 14);
    QCOMPARE(d.receivedFrames().at(0), QStringLiteral("R5200:04011800000F4240"));
}

void TestSimDevice::malformedFramesAreIgnored_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("bad count") << readFrame("R5202:G1010000");
    QTest::newRow("bad address") << readFrame("R5202:0101Z400");
    QTest::newRow("address low byte not 00") << readFrame("R5202:01010001");
    QTest::newRow("past 7FFF") << readFrame("R5202:027FFF00");
    QTest::newRow("address 8000") << readFrame("R5202:00800000");
    QTest::newRow("read with data") << readFrame("R5202:01010000AB");
    QTest::newRow("too short") << readFrame("R5202:0101");
    QTest::newRow("no colon") << readFrame("R5202-01010000");
    QTest::newRow("empty") << readFrame("");
    QTest::newRow("write odd data") << writeFrame("R5200:02010000ABC");
    QTest::newRow("write more than count") << writeFrame("R5200:01010000ABCD");
    QTest::newRow("write bad hex") << writeFrame("R5200:02010000ZZ00");
    QTest::newRow("write past 7FFF") << writeFrame("R5200:027FFF00AAAA");
    QTest::newRow("control bytes") << readFrame(QByteArray("\x00\x01\xFF\x1B", 4));
    QTest::newRow("endless noise") << QByteArray(5000, 'x');
    QTest::newRow("noise, then a frame cut short") << readFrame("xx:yyR5202:0101");
}

void TestSimDevice::malformedFramesAreIgnored()
{
    QFETCH(QByteArray, bytes);
    SimDevice d;
    const QByteArray before = d.memory();
    QCOMPARE(d.feed(bytes), QByteArray());
    QCOMPARE(d.memory(), before);
    // The device is not stuck: the next good frame is answered.
    QCOMPARE(d.feed(readFrame("R5202:0101E400")), QByteArray(":05"));
}

void TestSimDevice::presetsHoldPermissibleValues_data()
{
    QTest::addColumn<QString>("preset");
    for (const QString &p : SimDevice::presetNames())
        QTest::newRow(qPrintable(p)) << p;
}

void TestSimDevice::presetsHoldPermissibleValues()
{
    QFETCH(QString, preset);
    SimDevice d(preset);
    QCOMPARE(d.preset(), preset);
    struct Range { int addr, width; qint64 low, high; };
    const bool tenths = d.value(0x012D, 2) == 202;
    const Range ranges[] = {
        {0x0100, 1, 1, 255}, {0x0101, 2, 0, 4095}, {0x0103, 1, 0, 10}, {0x0104, 1, 0, 3},
        {0x0105, 4, 1, tenths ? 50000000 : 5000000}, {0x010C, 1, 0, 100}, {0x0111, 1, 0, 100},
        {0x0116, 1, 0, 100}, {0x0118, 4, 1, 999998999}, {0x012D, 2, 0, 9999}, {0x0130, 2, 0, 9999},
        {0x0134, 2, 1, 9999}, {0x0138, 2, 1, 999}, {0x013A, 2, 0, 4095}, {0x014C, 1, 0, 100},
        {0x0170, 4, 1, 9999999}, {0x017C, 4, 1, 999998999}, {0x01E4, 1, 0, 8}, {0x01E8, 1, 1, 255},
        {0x01E9, 1, 0, 255}, {0x01FE, 2, 0x0200, 0x7FFE},
    };
    for (const Range &r : ranges) {
        const qint64 v = d.value(r.addr, r.width);
        QVERIFY2(v >= r.low && v <= r.high, qPrintable(QStringLiteral("%1h = %2").arg(r.addr, 4, 16).arg(v)));
    }
    QVERIFY(d.value(0x010D, 4) < d.value(0x0105, 4) / (tenths ? 10 : 1));
    QVERIFY(d.value(0x014D, 2) < d.value(0x0134, 2));
    const double hz = d.value(0x0118, 4) / 1000.0;
    QVERIFY(hz > d.value(0x014D, 2) && hz < d.value(0x0134, 2));
    QVERIFY(QChar::fromLatin1(char(d.byte(0x01E5))).isLetter() && QChar::fromLatin1(char(d.byte(0x01E6))).isLetter());
    QCOMPARE(d.byte(0x01E7), quint8(0));
    QCOMPARE(tenths, preset == QLatin1String("tenths"));
    QCOMPARE(d.byte(0x0030), d.byte(0x0100));
    QCOMPARE(d.byte(0x0008), d.byte(0x01E8));
    QCOMPARE(d.byte(0x0026), d.byte(0x01EA));
    // Samples behind the pointer are logged flow, ahead of it erased memory.
    const int pointer = int(d.value(0x01FE, 2));
    QVERIFY(pointer > 0x0200);
    QVERIFY(d.value(pointer - 2, 2) <= 32767);
    QCOMPARE(d.value(pointer, 2), 0xFFFFu);
    SimDevice standard;
    if (preset != QLatin1String("standard"))
        QVERIFY(readHex(d, 0x0100, 0x50) != readHex(standard, 0x0100, 0x50));
}

void TestSimDevice::displayShowsTheFlow_data()
{
    QTest::addColumn<quint32>("fullScale");
    QTest::addColumn<int>("coefA");
    QTest::addColumn<int>("code");
    QTest::newRow("5") << 5u << 1000 << 0;
    QTest::newRow("99") << 99u << 1000 << 1;
    QTest::newRow("100") << 100u << 1000 << 2;
    QTest::newRow("5000") << 5000u << 1000 << 3;
    QTest::newRow("12345 in tenths") << 12345u << 202 << 3;
    QTest::newRow("10000") << 10000u << 1000 << 4;
    QTest::newRow("250000") << 250000u << 1000 << 5;
    QTest::newRow("5000000") << 5000000u << 1000 << 6;
    QTest::newRow("50000000 in tenths") << 50000000u << 202 << 6;
}

void TestSimDevice::displayShowsTheFlow()
{
    QFETCH(quint32, fullScale);
    QFETCH(int, coefA);
    QFETCH(int, code);
    SimDevice d;
    d.setValue(0x0105, 4, fullScale);
    d.setValue(0x012D, 2, coefA);
    for (int i = 0; i < 5; ++i) {
        d.advance(7300);
        QCOMPARE(int(d.byte(0x014F)), code);
        const double shown = displayText(d).toDouble();
        const double step = std::pow(10.0, code - 4); // one count of the last digit
        QVERIFY2(std::abs(shown - d.flow()) <= step / 2 + 1e-9,
                 qPrintable(QStringLiteral("shown %1, flow %2").arg(displayText(d)).arg(d.flow())));
        QVERIFY(d.flow() > 0 && d.flow() < d.fullScale());
    }
    // Coefficients A and B inside the display block are left alone.
    QCOMPARE(int(d.value(0x012D, 2)), coefA);
    QCOMPARE(d.value(0x0130, 2), 25u);
}

void TestSimDevice::flowVariesSmoothlyAndStops()
{
    SimDevice d;
    QCOMPARE(displayText(d), QStringLiteral("3000.0"));
    QList<double> flows;
    for (int s = 0; s < 60; ++s) {
        d.advance(1000);
        flows << displayText(d).toDouble();
    }
    const double fs = 5000;
    double lowest = fs, highest = 0;
    for (int i = 0; i < flows.size(); ++i) {
        lowest = qMin(lowest, flows[i]);
        highest = qMax(highest, flows[i]);
        if (i > 0)
            QVERIFY2(std::abs(flows[i] - flows[i - 1]) < 0.05 * fs, "the flow jumps");
    }
    QVERIFY2(highest - lowest > 0.05 * fs, "the flow hardly moves");
    QVERIFY(lowest > 0.3 * fs && highest < 0.9 * fs);

    // The valve closes once a cycle, long enough to zero the totalizer.
    int zeroSeconds = 0;
    for (int s = 0; s < 120; ++s) {
        d.advance(1000);
        if (displayText(d) == QLatin1String("0000.0"))
            ++zeroSeconds;
    }
    QVERIFY2(zeroSeconds >= 15 && zeroSeconds <= 40, qPrintable(QString::number(zeroSeconds)));

    // Held closed by hand, whatever the cycle does.
    d.setFlowStopped(true);
    for (int s = 0; s < 10; ++s) {
        d.advance(10000);
        QCOMPARE(displayText(d), QStringLiteral("0000.0"));
    }
    d.setFlowStopped(false);
    d.advance(130000 - d.clockMs() % 120000); // mid-fill again
    QVERIFY(d.flow() > 0);
}

void TestSimDevice::totalizerFollowsTheFlow()
{
    // Same flow, time base per second against per minute: 60 times the total.
    SimDevice perMinute;
    SimDevice perSecond;
    perSecond.feed(writeFrame("R5200:0101040000"));
    QCOMPARE(perSecond.byte(0x0104), quint8(0));
    perSecond.advance(3000); // past the hold that follows the write
    perMinute.advance(3000);
    const double m0 = runningTotal(perMinute);
    const double s0 = runningTotal(perSecond);
    double flowSum = 0;
    for (int i = 0; i < 60; ++i) {
        perMinute.advance(1000);
        perSecond.advance(1000);
        flowSum += perMinute.flow();
    }
    const double minuteGain = runningTotal(perMinute) - m0;
    const double secondGain = runningTotal(perSecond) - s0;
    // One minute of flow in units per minute: about the mean flow.
    QVERIFY2(std::abs(minuteGain - flowSum / 60) < 0.02 * flowSum / 60, qPrintable(QString::number(minuteGain)));
    QVERIFY2(std::abs(secondGain / 60 - minuteGain) < 0.02 * minuteGain, qPrintable(QString::number(secondGain)));
    QVERIFY(perMinute.byte(0x010A) <= 99);
    QCOMPARE(readHex(perMinute, 0x0174, 8), digitBytes(perMinute.value(0x015C, 4)));
    QCOMPARE(readHex(perSecond, 0x0174, 8), digitBytes(perSecond.value(0x015C, 4)));
}

void TestSimDevice::totalizerDisplayAndMultiplier_data()
{
    QTest::addColumn<QByteArray>("total");
    QTest::addColumn<QByteArray>("word");
    QTest::addColumn<QByteArray>("digits");
    QTest::newRow("zero") << QByteArray("00000000") << QByteArray("00") << QByteArray("0000000000000000");
    QTest::newRow("99999999") << QByteArray("05F5E0FF") << QByteArray("00") << QByteArray("0909090909090909");
    QTest::newRow("100000000 in thousands") << QByteArray("05F5E100") << QByteArray("01") << QByteArray("0000010000000000");
    QTest::newRow("largest count") << QByteArray("FFFFFFFF") << QByteArray("01") << QByteArray("0004020904090607");
}

void TestSimDevice::totalizerDisplayAndMultiplier()
{
    QFETCH(QByteArray, total);
    QFETCH(QByteArray, word);
    QFETCH(QByteArray, digits);
    SimDevice d;
    d.setFlowStopped(true);
    d.feed(writeFrame("R5200:04015C00" + total));
    QCOMPARE(readHex(d, 0x0109, 1), word);
    QCOMPARE(readHex(d, 0x0174, 8), digits);
    d.advance(5000);
    QCOMPARE(readHex(d, 0x015C, 4), total);
    QCOMPARE(readHex(d, 0x0174, 8), digits);
}

void TestSimDevice::totalizerResetClearsEverything_data()
{
    QTest::addColumn<bool>("totalFirst");
    QTest::newRow("total, then word") << true;
    QTest::newRow("word, then total") << false;
}

void TestSimDevice::totalizerResetClearsEverything()
{
    QFETCH(bool, totalFirst);
    SimDevice d;
    d.setValue(0x015C, 4, 123456789); // shown in thousands
    d.advance(1000);
    QCOMPARE(d.byte(0x0109), quint8(1));
    QCOMPARE(readHex(d, 0x0174, 8), digitBytes(d.value(0x015C, 4) / 1000));
    d.setFlowStopped(true); // the terminal refuses a reset while flow shows
    const QByteArray total = writeFrame("R5200:04015C0000000000");
    const QByteArray word = writeFrame("R5200:02010900" "0000");
    d.feed(totalFirst ? total : word);
    d.advance(1000);
    d.feed(totalFirst ? word : total);
    d.advance(1200);
    QCOMPARE(readHex(d, 0x015C, 4), QByteArray("00000000"));
    QCOMPARE(readHex(d, 0x0109, 2), QByteArray("0000"));
    QCOMPARE(readHex(d, 0x0174, 8), QByteArray(16, '0'));

    // It counts again from zero once the flow comes back.
    d.setFlowStopped(false);
    d.advance(60000);
    QVERIFY(d.value(0x015C, 4) > 0);
    QCOMPARE(d.byte(0x0109), quint8(0));
}

void TestSimDevice::flowLogGrowsAndWraps()
{
    SimDevice d;
    QCOMPARE(d.value(0x01FE, 2), 0x1970u);
    // 5 s interval: ten samples in 50 s, each the flow of its moment scaled
    // to 0..32767 of full scale.
    for (int i = 0; i < 10; ++i) {
        d.advance(5000);
        const int expected = int(std::lround(d.flow() / d.fullScale() * 32767));
        QCOMPARE(int(d.value(0x01FE, 2)), 0x1970 + 2 * (i + 1));
        QCOMPARE(int(d.value(0x1970 + 2 * i, 2)), expected);
    }
    QCOMPARE(readHex(d, 0x1984, 2), QByteArray("FFFF"));

    // Interval 1 s set through a write: no sample for 2 s, then one a second.
    d.feed(writeFrame("R5200:0101E80001"));
    d.advance(1900);
    QCOMPARE(d.value(0x01FE, 2), 0x1984u);
    d.advance(200);
    QCOMPARE(d.value(0x01FE, 2), 0x1986u);
    d.advance(3000);
    QCOMPARE(d.value(0x01FE, 2), 0x198Cu);

    // The last slot is 7FFCh, then the log starts over at 0200h.
    d.feed(writeFrame("R5200:0201FE007FFA"));
    d.advance(4000);
    QCOMPARE(d.value(0x01FE, 2), 0x0202u);
    QVERIFY(d.value(0x7FFC, 2) <= 32767);
    QVERIFY(d.value(0x0200, 2) <= 32767);
    QCOMPARE(readHex(d, 0x7FFE, 2), QByteArray("FFFF"));

    // Interval 0 stops the log.
    d.feed(writeFrame("R5200:0101E80000"));
    d.advance(60000);
    QCOMPARE(d.value(0x01FE, 2), 0x0202u);
}

void TestSimDevice::verifiedWritesReadBackWhileRunning()
{
    // Write, pause as the terminal does (up to 1.5 s), read back: the values
    // the device moves itself still read back as written.
    SimDevice d;
    const struct { const char *write; const char *read; const char *data; } cases[] = {
        {"R5200:0201FE00", "R5202:0201FE00", "0300"},
        {"R5200:0101E800", "R5202:0101E800", "02"},
        {"R5200:04015C00", "R5202:04015C00", "00000000"},
        {"R5200:02010900", "R5202:02010900", "0000"},
        {"R5200:04010500", "R5202:04010500", "00000FA0"},
    };
    for (const auto &c : cases) {
        d.feed(writeFrame(QByteArray(c.write) + c.data));
        d.advance(1500);
        QCOMPARE(d.feed(readFrame(c.read)), QByteArray(":") + c.data);
    }
}

void TestSimDevice::corruptReadbackChangesOneDigit()
{
    SimDevice d;
    d.setCorruptReadback(true);
    d.feed(writeFrame("R5200:02013400" "0320"));
    QCOMPARE(d.feed(readFrame("R5202:02013400")), QByteArray(":0321"));
    QCOMPARE(d.value(0x0134, 2), 0x0320u);
    // Only the read right after the write, and only at its address.
    QCOMPARE(d.feed(readFrame("R5202:02013400")), QByteArray(":0320"));
    d.feed(writeFrame("R5200:02013400" "0321"));
    QCOMPARE(d.feed(readFrame("R5202:02013800")), QByteArray(":007B"));
    QCOMPARE(d.feed(readFrame("R5202:02013400")), QByteArray(":0321"));
}

QTEST_GUILESS_MAIN(TestSimDevice)
#include "tst_simdevice.moc"
