#include "common/numtext.h"

#include <QtTest>

#include <limits>

using namespace numtext;

class TestNumText : public QObject
{
    Q_OBJECT
private slots:
    void val_data(); void val();
    void hexValues_data(); void hexValues();
    void roundHalfEven_data(); void roundHalfEven();
    void singleToText_data(); void singleToText();
    void doubleToText_data(); void doubleToText();
    void hexText();
    void format_data(); void format();
    void formatText_data(); void formatText();
    void nibbleToBinary_data(); void nibbleToBinary();
    void decToIEEE754_data(); void decToIEEE754();
    void ieee754ToDec_data(); void ieee754ToDec();
    void floatRoundTripNeedsFullBytes_data(); void floatRoundTripNeedsFullBytes();
};

void TestNumText::val_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("expected");
    const struct { const char *text; double v; } rows[] = {
        {"", 0}, {"abc", 0}, {"  42", 42}, {" 1 2", 12}, {"\t7", 7}, {"1\n2", 12}, {"1\r2", 1},
        {"1615 198th Street N.E.", 1615198}, {"24 and 57", 24}, {"12abc", 12}, {"1,5", 1},
        {"3.25", 3.25}, {"-3.25", -3.25}, {"+5", 5}, {"- 5", -5}, {"+-5", 0}, {".5", 0.5},
        {"-.5", -0.5}, {"5.", 5}, {".", 0}, {"-", 0}, {"1.2.3", 1.2}, {"1E3", 1000},
        {"2.5e-1", 0.25}, {"1D2", 100}, {"1E", 1}, {"1E+", 1}, {"1e400", 0},
        {"&H1F", 31}, {"&hff", 255}, {"&HFFFF", -1}, {"&H8000", -32768}, {"&H0FFFF", 65535},
        {"&H10000", 65536}, {"&HFFFFFFFF", -1}, {"&H7FFFFFFF", 2147483647},
        {"&H123456789", 0}, {"&H", 0}, {"&HG", 0}, {"&H 1 F", 31}, {"&O17", 15},
        {"&O177777", -1}, {"&X5", 0},
    };
    for (const auto &r : rows)
        QTest::newRow(r.text) << QString::fromLatin1(r.text) << r.v;
}

void TestNumText::val()
{
    QFETCH(QString, text);
    QFETCH(double, expected);
    QCOMPARE(numtext::val(text), expected);
}

void TestNumText::hexValues_data()
{
    QTest::addColumn<QString>("digits");
    QTest::addColumn<int>("plain");
    QTest::addColumn<int>("positive");
    const int minInt = std::numeric_limits<int>::min();
    const struct { const char *tag, *digits; int plain, positive; } rows[] = {
        {"FFFF", "FFFF", -1, 65535}, {"8000", "8000", -32768, 32768}, {"7FFF", "7FFF", 32767, 32767},
        {"1F", "1F", 31, 31}, {"lower ff", "ff", 255, 255}, {"empty", "", 0, 0}, {"not hex", "G", 0, 0},
        {"stops at G", "1G2", 1, 1}, {"sign is not hex", "-1", 0, 0}, {"5 digits", "0FFFF", 65535, 65535},
        {"FFFFFFFF", "FFFFFFFF", -1, -1}, {"80000000", "80000000", minInt, minInt},
        {"9 digits overflow", "123456789", 0, 0}, {"leading zeros", "000000001F", 31, 31},
    };
    for (const auto &r : rows)
        QTest::newRow(r.tag) << QString::fromLatin1(r.digits) << r.plain << r.positive;
}

void TestNumText::hexValues()
{
    QFETCH(QString, digits);
    QFETCH(int, plain);
    QFETCH(int, positive);
    QCOMPARE(hexValue(digits), plain);
    QCOMPARE(hexValueForcePositive(digits), positive);
}

void TestNumText::roundHalfEven_data()
{
    QTest::addColumn<double>("v");
    QTest::addColumn<double>("expected");
    const double rows[][2] = {{0.5, 0}, {1.5, 2}, {2.5, 2}, {3.5, 4}, {-0.5, 0}, {-1.5, -2},
                              {-2.5, -2}, {2.4, 2}, {2.6, 3}, {-2.6, -3}, {0, 0}, {1e15 + 0.5, 1e15}};
    for (const auto &r : rows)
        QTest::addRow("%g", r[0]) << r[0] << r[1];
}

void TestNumText::roundHalfEven()
{
    QFETCH(double, v);
    QFETCH(double, expected);
    const double r = numtext::roundHalfEven(v);
    QCOMPARE(r, expected);
    QVERIFY(!std::signbit(r) || r != 0); // no "-0" for the screens
    QCOMPARE(roundHalfEvenToInt(v), static_cast<qint64>(expected));
}

void TestNumText::singleToText_data()
{
    QTest::addColumn<float>("v");
    QTest::addColumn<QString>("text");
    const float inf = std::numeric_limits<float>::infinity();
    const struct { float v; const char *t; } rows[] = {
        {0, "0"}, {-0.0f, "0"}, {1, "1"}, {-2, "-2"}, {0.5f, "0.5"}, {-0.25f, "-0.25"},
        {0.1f, "0.1"}, {123.456f, "123.456"}, {100, "100"}, {1e6f, "1000000"},
        {1234567, "1234567"}, {9999999, "9999999"}, {12345678.0f, "1.234568E+07"},
        {1e7f, "1E+07"}, {16777216.0f, "1.677722E+07"}, {-123456789.0f, "-1.234568E+08"},
        {1234568.5f, "1234569"}, {0.0001f, "0.0001"}, {0.00001f, "1E-05"},
        {1.5e-5f, "1.5E-05"}, {3.4028235e38f, "3.402823E+38"}, {1.4e-45f, "1.401298E-45"},
        {inf, "1.#INF"}, {-inf, "-1.#INF"},
    };
    for (const auto &r : rows)
        QTest::addRow("%.9g", double(r.v)) << r.v << QString::fromLatin1(r.t);
}

void TestNumText::singleToText()
{
    QFETCH(float, v);
    QFETCH(QString, text);
    QCOMPARE(numtext::singleToText(v), text);
}

void TestNumText::doubleToText_data()
{
    QTest::addColumn<double>("v");
    QTest::addColumn<QString>("text");
    QTest::newRow("0.1+0.2") << 0.1 + 0.2 << "0.3";
    QTest::newRow("1/3") << 1.0 / 3 << "0.333333333333333";
    QTest::newRow("15 digits") << 123456789012345.0 << "123456789012345";
    QTest::newRow("1E+15") << 1e15 << "1E+15";
    QTest::newRow("16 digits") << 1234567890123456.0 << "1.23456789012346E+15";
    QTest::newRow("1E-05") << 0.00001 << "1E-05";
    QTest::newRow("0.0001") << 0.0001 << "0.0001";
    QTest::newRow("-2.5") << -2.5 << "-2.5";
    QTest::newRow("3-digit exponent") << 1e-300 << "1E-300";
}

void TestNumText::doubleToText()
{
    QFETCH(double, v);
    QFETCH(QString, text);
    QCOMPARE(numtext::doubleToText(v), text);
}

void TestNumText::hexText()
{
    QCOMPARE(hex(0), QStringLiteral("0"));
    QCOMPARE(hex(0xABCDEFu), QStringLiteral("ABCDEF"));
    QCOMPARE(hex(0xFFFFFFFFu), QStringLiteral("FFFFFFFF"));
    QCOMPARE(hexPadded(0x1F, 4), QStringLiteral("001F"));
    QCOMPARE(hexPadded(0, 2), QStringLiteral("00"));
    QCOMPARE(hexPadded(0x12345, 4), QStringLiteral("12345"));
}

void TestNumText::format_data()
{
    QTest::addColumn<double>("v");
    QTest::addColumn<QString>("picture");
    QTest::addColumn<QString>("text");
    const struct { double v; const char *pic; const char *t; } rows[] = {
        {5, "0####", "00005"}, {16129, "0####", "16129"}, {123456, "0####", "123456"},
        {0.5, "#0.0000", "0.5000"}, {0.12345, "#0.0000", "0.1235"}, {9.99996, "#0.0000", "10.0000"},
        {12.25, "###0.0", "12.3"}, {12.35, "###0.0", "12.3"}, {99.95, "##0.0", "100.0"},
        {0.075, "0.00", "0.07"}, {2.5, "0", "3"}, {-2.5, "0", "-3"},
        {1234567, "#######0", "1234567"}, {0, "#######0", "0"}, {0.4, "#####0", "0"},
        {12345.67, "#####0.0", "12345.7"}, {0.5, "#.00", ".50"}, {5, "#.##", "5."},
        {123.896, "#.##", "123.9"}, {0, "#", ""}, {12.5, ".00", "12.50"}, {-0.01, "0.0", "-0.0"},
        {3, "0.0 kg", "3.0 kg"}, {7, "\"#\"0", "#7"}, {1e20, "0", "100000000000000000000"},
        {9, "!@@@", "9   "}, {25, "@@@", " 25"}, {0.5, "", "0.5"},
    };
    for (const auto &r : rows)
        QTest::addRow("%g %s", r.v, r.pic) << r.v << QString::fromLatin1(r.pic) << QString::fromLatin1(r.t);
}

void TestNumText::format()
{
    QFETCH(double, v);
    QFETCH(QString, picture);
    QFETCH(QString, text);
    QCOMPARE(numtext::format(v, picture), text);
}

void TestNumText::formatText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("picture");
    QTest::addColumn<QString>("expected");
    const char *rows[][3] = {
        {"9", "!@@@", "9   "}, {"25", "!@@@", "25  "}, {"0", "!@@@", "0   "}, {"", "!@@@", "    "}, {"10", "!@@@", "10  "},
        {"9", "@@@@", "   9"}, {"12345", "!@@@", "12345"}, {"12345", "@@@", "12345"},
        {"AB", "&&&", "AB"}, {"abc", ">@@@@", " ABC"}, {"ABC", "<!@@@@", "abc  "},
        {"1234", "@@-@@", "12-34"}, {"123", "@@-@@", " 1-23"}, {"12345", "@@-@@", "123-45"},
    };
    for (const auto &r : rows)
        QTest::addRow("%s %s", r[0], r[1]) << QString::fromLatin1(r[0]) << QString::fromLatin1(r[1])
                                           << QString::fromLatin1(r[2]);
}

void TestNumText::formatText()
{
    QFETCH(QString, text);
    QFETCH(QString, picture);
    QFETCH(QString, expected);
    QCOMPARE(numtext::formatText(text, picture), expected);
}

void TestNumText::nibbleToBinary_data()
{
    QTest::addColumn<QString>("digit");
    QTest::addColumn<QString>("bits");
    const char *rows[][2] = {{"0", "0000"}, {"5", "0101"}, {"A", "1010"}, {"F", "1111"}, {"f", "1111"},
                             {"", "0000"}, {"G", "0000"}, {"10", "    "}, {"FF", "    "}};
    for (const auto &r : rows)
        QTest::newRow(r[0]) << QString::fromLatin1(r[0]) << QString::fromLatin1(r[1]);
}

void TestNumText::nibbleToBinary()
{
    QFETCH(QString, digit);
    QFETCH(QString, bits);
    QCOMPARE(NibbleToBinary(digit), bits);
}

void TestNumText::decToIEEE754_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("hexText");
    const char *rows[][2] = {{"0", "0000"}, {"1", "3F8000"}, {"-2", "C0000"}, {"123.5", "42F700"},
                             {"0.1", "3DCCCCCD"}, {"3.14159", "4049FD0"}, {"abc", "0000"},
                             {" 2 5.4", "41CB3333"}, {"1e39", ""}};
    for (const auto &r : rows)
        QTest::newRow(r[0]) << QString::fromLatin1(r[0]) << QString::fromLatin1(r[1]);
}

void TestNumText::decToIEEE754()
{
    QFETCH(QString, text);
    QFETCH(QString, hexText);
    QCOMPARE(DecToIEEE754(text), hexText);
}

void TestNumText::ieee754ToDec_data()
{
    QTest::addColumn<QString>("hexText");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    const struct { const char *h; const char *t; bool ok; } rows[] = {
        {"3F800000", "1", true}, {"C0000000", "-2", true}, {"00000000", "0", true},
        {"80000000", "0", true}, {"3f800000", "1", true}, {"3DCCCCCD", "0.1", true},
        {"42F6E979", "123.456", true}, {"4B3C614E", "1.234568E+07", true},
        {"3727C5AC", "1E-05", true}, {"7F800000", "1.#INF", true},
        {"ZZ800000", "1.175494E-38", true}, {"3F800000FF", "1", true},
        {"3F80000", "", false}, {"", "", false},
    };
    for (const auto &r : rows)
        QTest::newRow(r.h) << QString::fromLatin1(r.h) << QString::fromLatin1(r.t) << r.ok;
}

void TestNumText::ieee754ToDec()
{
    QFETCH(QString, hexText);
    QFETCH(QString, text);
    QFETCH(bool, ok);
    bool gotOk = !ok;
    QCOMPARE(IEEE754ToDec(hexText, &gotOk), text);
    QCOMPARE(gotOk, ok);
}

// The short wire form only comes back intact when no byte lost a leading zero.
void TestNumText::floatRoundTripNeedsFullBytes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("roundTrips");
    QTest::newRow("0.1") << "0.1" << true;
    QTest::newRow("123.456") << "123.456" << true;
    QTest::newRow("25.4") << "25.4" << true;
    QTest::newRow("1") << "1" << false;
    QTest::newRow("3.14159") << "3.14159" << false;
}

void TestNumText::floatRoundTripNeedsFullBytes()
{
    QFETCH(QString, text);
    QFETCH(bool, roundTrips);
    bool ok = false;
    const QString back = IEEE754ToDec(DecToIEEE754(text), &ok);
    QCOMPARE(ok, roundTrips);
    QCOMPARE(back == text, roundTrips);
}

QTEST_APPLESS_MAIN(TestNumText)
#include "tst_numtext.moc"
