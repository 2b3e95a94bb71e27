// The runtime's number and text rules, one row per rule. Inputs are written as
// text; "fn" picks the function under test.
#include "common/numtext.h"
#include "support/columns.h"

#include <QtTest>

#include <cmath>
#include <functional>
#include <cstdlib>

using namespace numtext;

namespace {

const Columns<QString, QString, QString, QString> kRow{"fn", "in", "arg", "out"};

struct Row {
    const char *fn, *in, *arg, *out;
};

void addRows(std::initializer_list<Row> rows)
{
    kRow.add();
    for (const Row &r : rows)
        QTest::addRow("%s(\"%s\", \"%s\")", r.fn, r.in, r.arg)
            << QString::fromLatin1(r.fn) << QString::fromLatin1(r.in) << QString::fromLatin1(r.arg)
            << QString::fromLatin1(r.out);
}

// strtod reads "inf", "nan" and subnormals, which the tables need.
double number(const QString &text)
{
    return std::strtod(text.toLatin1().constData(), nullptr);
}

} // namespace

class TestNumText : public QObject
{
    Q_OBJECT
private slots:
    void readsAndRoundsNumbersAsTheRuntime_data()
    {
        addRows({
            {"val", "", "", "0"}, {"val", "abc", "", "0"}, {"val", " 1\t2\n3", "", "123"}, {"val", "1\r2", "", "1"},
            {"val", "12abc", "", "12"}, {"val", "1,5", "", "1"}, {"val", "- 5", "", "-5"}, {"val", "+5", "", "5"},
            {"val", "+-5", "", "0"}, {"val", "-.5", "", "-0.5"}, {"val", ".25", "", "0.25"}, {"val", "5.", "", "5"}, {"val", "1.2.3", "", "1.2"},
            {"val", "2.5e-1", "", "0.25"}, {"val", "1D2", "", "100"}, {"val", "1E+", "", "1"}, {"val", "1E400", "", "0"},
            {"val", "&hff", "", "255"}, {"val", "&H 1 F", "", "31"}, {"val", "&O177777", "", "-1"}, {"val", "&o17", "", "15"}, {"val", "&X5", "", "0"},
            {"val", "&O200000", "", "65536"},
            {"hex", "FFFF", "", "-1"}, {"hex", "8000", "", "-32768"}, {"hex", "0FFFF", "", "65535"},
            {"hex", "FFFFFFFF", "", "-1"}, {"hex", "80000000", "", "-2147483648"}, {"hex", "123456789", "", "0"},
            {"hex", "000000001F", "", "31"}, {"hex", "1G2", "", "1"}, {"hex", "-1", "", "0"}, {"hex", "", "", "0"},
            {"hex0", "FFFF", "", "65535"}, {"hex0", "7FFF", "", "32767"}, {"hex0", "FFFFFFFF", "", "-1"},
            {"round", "0.5", "", "0"}, {"round", "1.5", "", "2"}, {"round", "2.5", "", "2"}, {"round", "-2.5", "", "-2"},
            {"round", "-0.5", "", "0"}, {"round", "2.6", "", "3"}, {"round", "1000000000000000.5", "", "1000000000000000"},
            {"roundInt", "1e19", "", "0"}, {"roundInt", "nan", "", "0"},
        });
    }

    void readsAndRoundsNumbersAsTheRuntime()
    {
        const auto [fn, in, arg, out] = kRow.fetch();
        const double expected = out.toDouble();
        if (fn == QLatin1String("val")) {
            QCOMPARE(val(in), expected);
        } else if (fn.startsWith(QLatin1String("hex"))) {
            QCOMPARE(double(fn == QLatin1String("hex") ? hexValue(in) : hexValueForcePositive(in)), expected);
        } else if (fn == QLatin1String("round")) {
            const double r = roundHalfEven(number(in));
            QCOMPARE(r, expected);
            QVERIFY2(r != 0 || !std::signbit(r), "no \"-0\" for the screens");
            QCOMPARE(roundHalfEvenToInt(number(in)), qint64(expected));
        } else {
            QCOMPARE(roundHalfEvenToInt(number(in)), qint64(expected));
        }
    }

    void textsOfNumbersAsTheRuntime_data()
    {
        // "roundTrip" is DecToIEEE754 then IEEE754ToDec: the short wire form only
        // comes back when no byte lost a leading zero.
        addRows({
            {"single", "0", "", "0"}, {"single", "-0", "", "0"}, {"single", "0.1", "", "0.1"}, {"single", "100", "", "100"},
            {"single", "-0.25", "", "-0.25"}, {"single", "123.456", "", "123.456"}, {"single", "9999999", "", "9999999"},
            {"single", "12345678", "", "1.234568E+07"}, {"single", "1e7", "", "1E+07"},
            {"single", "1234568.5", "", "1234569"}, {"single", "0.0001", "", "0.0001"}, {"single", "0.00001", "", "1E-05"},
            {"single", "1.5e-5", "", "1.5E-05"}, {"single", "1.4e-45", "", "1.401298E-45"},
            {"single", "-inf", "", "-1.#INF"}, {"single", "nan", "", "1.#QNAN"},
            {"double", "0.30000000000000004", "", "0.3"}, {"double", "123456789012345", "", "123456789012345"},
            {"double", "1e15", "", "1E+15"}, {"double", "1234567890123456", "", "1.23456789012346E+15"},
            {"double", "1e-300", "", "1E-300"},
            {"hex", "0", "", "0"}, {"hex", "4294967295", "", "FFFFFFFF"}, {"hex", "11259375", "", "ABCDEF"},
            {"hex", "31", "4", "001F"}, {"hex", "74565", "4", "12345"},
            {"format", "5", "0####", "00005"}, {"format", "123456", "0####", "123456"},
            {"format", "0.12345", "#0.0000", "0.1235"}, {"format", "9.99996", "#0.0000", "10.0000"},
            {"format", "12.25", "###0.0", "12.3"}, {"format", "0.075", "0.00", "0.07"}, {"format", "-2.5", "0", "-3"},
            {"format", "0.4", "#####0", "0"}, {"format", "0.5", "#.00", ".50"}, {"format", "5", "#.##", "5."},
            {"format", "123.896", "#.##", "123.9"}, {"format", "0", "#", ""}, {"format", "12.5", ".00", "12.50"},
            {"format", "-0.01", "0.0", "-0.0"}, {"format", "3", "0.0 kg", "3.0 kg"}, {"format", "7", "\"#\"0", "#7"},
            {"format", "7", "\\00", "07"}, {"format", "1e20", "0", "100000000000000000000"},
            {"format", "9", "!@@@", "9   "}, {"format", "0.5", "", "0.5"},
            {"text", "25", "!@@@", "25  "}, {"text", "", "!@@@", "    "}, {"text", "9", "@@@@", "   9"},
            {"text", "12345", "!@@@", "12345"}, {"text", "12345", "@@@", "12345"}, {"text", "AB", "&&&", "AB"},
            {"text", "abc", ">@@@@", " ABC"}, {"text", "ABC", "<!@@@@", "abc  "}, {"text", "123", "@@-@@", " 1-23"},
            {"text", "12345", "@@-@@", "123-45"},
            {"DecToIEEE754", "0", "", "0000"}, {"DecToIEEE754", "1", "", "3F8000"}, {"DecToIEEE754", "-2", "", "C0000"},
            {"DecToIEEE754", "0.1", "", "3DCCCCCD"}, {"DecToIEEE754", " 2 5.4", "", "41CB3333"},
            {"DecToIEEE754", "abc", "", "0000"}, {"DecToIEEE754", "1e39", "", ""},
            {"IEEE754ToDec", "3F800000", "", "1"}, {"IEEE754ToDec", "C0000000", "", "-2"},
            {"IEEE754ToDec", "80000000", "", "0"}, {"IEEE754ToDec", "3f800000", "", "1"},
            {"IEEE754ToDec", "4B3C614E", "", "1.234568E+07"}, {"IEEE754ToDec", "7F800000", "", "1.#INF"},
            {"IEEE754ToDec", "ZZ800000", "", "1.175494E-38"}, {"IEEE754ToDec", "3F800000FF", "", "1"},
            {"IEEE754ToDec", "3F80000", "", ""}, {"IEEE754ToDec", "", "", ""},
            {"roundTrip", "0.1", "", "0.1"}, {"roundTrip", "123.456", "", "123.456"}, {"roundTrip", "1", "", ""},
            {"NibbleToBinary", "5", "", "0101"}, {"NibbleToBinary", "f", "", "1111"}, {"NibbleToBinary", "", "", "0000"},
            {"NibbleToBinary", "G", "", "0000"}, {"NibbleToBinary", "10", "", "    "},
        });
    }

    void textsOfNumbersAsTheRuntime()
    {
        // Plain variables, not bindings: the lambdas below capture them.
        QFETCH(QString, fn);
        QFETCH(QString, in);
        QFETCH(QString, arg);
        QFETCH(QString, out);
        const double v = number(in);
        const QHash<QString, std::function<QString()>> fns = {
            {"single", [&] { return singleToText(float(v)); }},
            {"double", [&] { return doubleToText(v); }},
            {"hex", [&] { return arg.isEmpty() ? hex(quint32(v)) : hexPadded(quint32(v), arg.toInt()); }},
            {"format", [&] { return format(v, arg); }},
            {"text", [&] { return formatText(in, arg); }},
            {"DecToIEEE754", [&] { return DecToIEEE754(in); }},
            {"NibbleToBinary", [&] { return NibbleToBinary(in); }},
        };
        QString got;
        if (fns.contains(fn)) {
            got = fns[fn]();
        } else {
            // Only a text shorter than 8 characters fails, and then gives "".
            bool ok = out.isEmpty();
            got = IEEE754ToDec(fn == QLatin1String("roundTrip") ? DecToIEEE754(in) : in, &ok);
            QCOMPARE(ok, !out.isEmpty());
        }
        QCOMPARE(got, out);
    }
};

QTEST_APPLESS_MAIN(TestNumText)
#include "tst_numtext.moc"
