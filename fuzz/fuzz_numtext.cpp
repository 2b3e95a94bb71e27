// The number and text rules under arbitrary text and values.
//
// Input: byte 0 picks the rule (low 3 bits) and how the text is decoded
// (bit 7: Latin-1, else UTF-8); the rest is the text, or 8 bytes of a double
// (4 of a single) followed by a picture.
//
// Checked, besides not crashing: blanks anywhere do not change what val
// reads; hex text reads the same in either case and the same as "&H" text;
// a single's or double's text form reads back within its rounding; a numeric
// picture of "0" and "#" shows the value rounded to its decimals; "@" and
// "!@" pictures align the text as documented; NibbleToBinary is always four
// characters; the single's hex text is short-form hex bytes or empty.
#include "fuzzsupport.h"
#include "common/numtext.h"

// "$" would also match before a final line feed: patterns end in "\\z".
#include <QRegularExpression>

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

using namespace numtext;

namespace {

bool near(double a, double b, double rel, double absFloor)
{
    return std::fabs(a - b) <= rel * std::fabs(b) + absFloor;
}

QString asciiLower(const QString &s)
{
    QString r = s;
    for (QChar &c : r)
        if (c.unicode() >= 'A' && c.unicode() <= 'Z')
            c = QChar(c.unicode() + 32);
    return r;
}

void checkVal(const QString &text, int at)
{
    const double v = val(text);
    FUZZ_CHECK(std::isfinite(v));
    QString spaced = text;
    spaced.insert(text.isEmpty() ? 0 : at % (text.size() + 1), QLatin1Char(' '));
    FUZZ_CHECK(val(spaced) == v);
}

void checkHex(const QString &text)
{
    const int32_t v = hexValue(text);
    FUZZ_CHECK(hexValue(asciiLower(text)) == v);
    FUZZ_CHECK(val(QStringLiteral("&H") + text) == double(v));
    // Four hex digits and then something else: "&H0" forces 0..65535.
    static const QRegularExpression four(QStringLiteral("\\A[0-9A-Fa-f]{4}([^0-9A-Fa-f \\t\\n]|\\z)"));
    if (four.match(text).hasMatch()) {
        const int32_t p = hexValueForcePositive(text);
        FUZZ_CHECK(p >= 0 && p <= 0xFFFF);
        FUZZ_CHECK(int16_t(uint16_t(p)) == v);
    }
}

void checkIeee(const QString &text)
{
    bool ok = false;
    const QString dec = IEEE754ToDec(text, &ok);
    FUZZ_CHECK(ok == (text.size() >= 8));
    FUZZ_CHECK(ok != dec.isEmpty());
    if (ok && !dec.contains(QLatin1Char('#'))) {
        // Read the pairs back the way the device's bytes are meant.
        uint32_t bits = 0;
        for (int i = 0; i < 4; ++i)
            bits = (bits << 8) | (uint32_t(hexValue(text.mid(2 * i, 2))) & 0xFFu);
        float f;
        std::memcpy(&f, &bits, sizeof f);
        FUZZ_CHECK(std::isfinite(f));
        FUZZ_CHECK(near(val(dec), double(f), 5.1e-7, 0.0));
    }
}

void checkDecToIeee(const QString &text)
{
    const QString h = DecToIEEE754(text);
    const double d = val(text);
    const bool fits = !std::isinf(float(d));
    FUZZ_CHECK(fits != h.isEmpty());
    if (fits) {
        static const QRegularExpression shortHex(QStringLiteral("\\A[0-9A-F]{4,8}\\z"));
        FUZZ_CHECK(shortHex.match(h).hasMatch());
    }
}

void checkFormat(double v, const QString &picture)
{
    const QString out = format(v, picture);
    static const QRegularExpression plain(QStringLiteral("\\A([0#]*)(\\.([0#]*))?\\z"));
    const QRegularExpressionMatch m = plain.match(picture);
    if (!picture.isEmpty() && m.hasMatch() && std::isfinite(v)) {
        const int decimals = int(m.captured(3).size());
        FUZZ_CHECK(near(val(out), v, 1e-15, 0.5 * std::pow(10.0, -decimals) * (1 + 1e-9)));
    }
    if (picture.isEmpty())
        FUZZ_CHECK(out == doubleToText(v));
}

void checkFormatText(const QString &text, const QString &picture)
{
    const QString out = formatText(text, picture);
    static const QRegularExpression ats(QStringLiteral("\\A@+\\z"));
    static const QRegularExpression bangAts(QStringLiteral("\\A!@*\\z"));
    if (ats.match(picture).hasMatch())
        FUZZ_CHECK(out == text.rightJustified(int(picture.size())));
    else if (bangAts.match(picture).hasMatch())
        FUZZ_CHECK(out == text.leftJustified(int(picture.size())));
    if (!picture.contains(QLatin1Char('<')) && !picture.contains(QLatin1Char('>')))
        FUZZ_CHECK(out.size() >= text.size());
}

void checkTextForms(const QByteArray &bytes)
{
    if (bytes.size() >= 4) {
        float f;
        std::memcpy(&f, bytes.constData(), sizeof f);
        const QString t = singleToText(f);
        if (std::isfinite(f))
            FUZZ_CHECK(near(val(t), double(f), 5.1e-7, 0.0));
        else
            FUZZ_CHECK(t.contains(QLatin1String("1.#")));
    }
    if (bytes.size() >= 8) {
        double d;
        std::memcpy(&d, bytes.constData(), sizeof d);
        const QString t = doubleToText(d);
        if (std::isfinite(d)) {
            // Read back as a double: beyond the double range it reads 0.
            const double back = val(t);
            FUZZ_CHECK(near(back, d, 5.1e-15, 1e-300) || (back == 0 && std::fabs(d) > 1.7e308));
            const double r = roundHalfEven(d);
            FUZZ_CHECK(r == std::floor(r) && std::fabs(r - d) <= 0.5);
            if (std::fabs(r - d) == 0.5)
                FUZZ_CHECK(std::fmod(r, 2.0) == 0.0);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::ensureApp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const uint8_t mode = data[0];
    const QByteArray rest(reinterpret_cast<const char *>(data) + 1, int(size - 1));
    auto decode = [mode](const QByteArray &b) {
        return (mode & 0x80) ? QString::fromLatin1(b) : QString::fromUtf8(b);
    };
    switch (mode & 7) {
    case 0:
        checkVal(decode(rest), rest.isEmpty() ? 0 : uint8_t(rest.at(0)));
        break;
    case 1:
        checkHex(decode(rest));
        break;
    case 2:
        checkIeee(decode(rest));
        break;
    case 3:
        checkDecToIeee(decode(rest));
        break;
    case 4: {
        if (rest.size() < 8)
            return 0;
        double v;
        std::memcpy(&v, rest.constData(), sizeof v);
        checkFormat(v, decode(rest.mid(8)));
        break;
    }
    case 5: {
        const int sep = rest.indexOf('\xFF');
        const QByteArray text = sep < 0 ? rest : rest.left(sep);
        const QByteArray picture = sep < 0 ? QByteArray() : rest.mid(sep + 1);
        checkFormatText(decode(text), decode(picture));
        break;
    }
    case 6:
        FUZZ_CHECK(NibbleToBinary(decode(rest)).size() == 4);
        break;
    case 7:
        checkTextForms(rest);
        break;
    }
    return 0;
}
