#include "common/numtext.h"

#include <QByteArray>
#include <QChar>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <system_error>
#include <vector>

// Everything here produces and reads "." as the decimal separator whatever the
// user's locale is: the program runs with C-locale number rules so that files
// and screens look the same on every workstation. printf output is only ever
// taken apart digit by digit, so a locale that prints "," does not matter.

namespace numtext {

namespace {

// Val ignores these wherever they appear ("1 2" reads 12).
bool isValBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n';
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

int digitValue(char c, int base)
{
    int d = -1;
    if (c >= '0' && c <= '9')
        d = c - '0';
    else if (c >= 'A' && c <= 'F')
        d = c - 'A' + 10;
    else if (c >= 'a' && c <= 'f')
        d = c - 'a' + 10;
    return d < base ? d : -1;
}

// The text without the blanks Val skips. Characters outside Latin-1 become
// "?", which ends any number, so they cannot be mistaken for digits.
std::string valChars(const QString &text)
{
    const QByteArray latin = text.toLatin1();
    std::string s;
    s.reserve(static_cast<size_t>(latin.size()));
    for (char c : latin)
        if (!isValBlank(c))
            s.push_back(c);
    return s;
}

// The digits after "&H" or "&O". The type follows the digit count, leading
// zeros included, as the runtime decides it: up to 4 hex digits (6 octal
// digits with a 16-bit value) make a 16-bit integer, so "FFFF" is -1 while
// "0FFFF" is 65535; longer texts make a 32-bit integer. More significant
// digits than 32 bits hold is an overflow, which reads 0 here.
int32_t readRadix(const std::string &s, size_t pos, int base)
{
    uint64_t value = 0;
    int digits = 0;
    int significant = 0;
    const int maxSignificant = base == 16 ? 8 : 11;
    for (; pos < s.size(); ++pos) {
        const int d = digitValue(s[pos], base);
        if (d < 0)
            break;
        ++digits;
        if (significant > 0 || d != 0)
            ++significant;
        if (significant > maxSignificant)
            return 0;
        value = value * static_cast<uint64_t>(base) + static_cast<uint64_t>(d);
    }
    if (value > 0xFFFFFFFFull)
        return 0;
    const bool small = base == 16 ? digits <= 4 : (digits <= 6 && value <= 0xFFFFull);
    if (small)
        return static_cast<int16_t>(static_cast<uint16_t>(value));
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}

// Parses a decimal number with from_chars, which ignores the locale.
double parseDecimal(const std::string &number)
{
    double v = 0.0;
    const char *first = number.data();
    const char *last = first + number.size();
    const auto res = std::from_chars(first, last, v, std::chars_format::general);
    if (res.ec != std::errc() || !std::isfinite(v))
        return 0.0; // the runtime raises an overflow here; we read 0
    return v + 0.0; // no negative zero
}

std::string printfDigits(const char *fmt, int precision, double a)
{
    const int n = std::snprintf(nullptr, 0, fmt, precision, a);
    std::vector<char> buf(static_cast<size_t>(n > 0 ? n : 0) + 1);
    std::snprintf(buf.data(), buf.size(), fmt, precision, a);
    return std::string(buf.data());
}

// Adds one unit in the last place of a string of decimal digits. Returns true
// when the carry runs out of the front ("999" becomes "000").
bool incrementDigits(std::string &digits)
{
    for (size_t i = digits.size(); i-- > 0;) {
        if (digits[i] == '9') {
            digits[i] = '0';
        } else {
            ++digits[i];
            return false;
        }
    }
    return true;
}

QString specialText(double v)
{
    // The texts the runtime shows for values that are not numbers.
    if (std::isinf(v))
        return v < 0 ? QStringLiteral("-1.#INF") : QStringLiteral("1.#INF");
    return std::signbit(v) ? QStringLiteral("-1.#QNAN") : QStringLiteral("1.#QNAN");
}

// Default text form with `precision` significant digits, rounded half away
// from zero on the exact binary value (40 extra digits are far more than a
// double needs to tell a true tie from a near one).
QString toText(double v, int precision)
{
    if (!std::isfinite(v))
        return specialText(v);
    if (v == 0.0)
        return QStringLiteral("0");
    const bool negative = v < 0;
    const std::string e = printfDigits("%.*e", 40, std::fabs(v));
    // e looks like "d.ddd...e+XX"; the separator is whatever the locale prints.
    std::string digits;
    size_t pos = 0;
    for (; pos < e.size() && e[pos] != 'e'; ++pos)
        if (isDigit(e[pos]))
            digits.push_back(e[pos]);
    int exponent = pos + 1 < e.size() ? std::atoi(e.c_str() + pos + 1) : 0;

    const bool roundUp = digits[static_cast<size_t>(precision)] >= '5';
    digits.resize(static_cast<size_t>(precision));
    if (roundUp && incrementDigits(digits)) {
        digits.insert(digits.begin(), '1');
        digits.pop_back();
        ++exponent;
    }
    while (digits.size() > 1 && digits.back() == '0')
        digits.pop_back();

    std::string out;
    if (negative)
        out.push_back('-');
    if (exponent < -4 || exponent >= precision) {
        out.push_back(digits[0]);
        if (digits.size() > 1) {
            out.push_back('.');
            out.append(digits, 1, std::string::npos);
        }
        out.push_back('E');
        out.push_back(exponent < 0 ? '-' : '+');
        const int absExp = exponent < 0 ? -exponent : exponent;
        if (absExp < 10)
            out.push_back('0');
        out.append(std::to_string(absExp));
    } else if (exponent >= 0) {
        const size_t intLen = static_cast<size_t>(exponent) + 1;
        if (digits.size() <= intLen) {
            out.append(digits);
            out.append(intLen - digits.size(), '0');
        } else {
            out.append(digits, 0, intLen);
            out.push_back('.');
            out.append(digits, intLen, std::string::npos);
        }
    } else {
        out.append("0.");
        out.append(static_cast<size_t>(-exponent - 1), '0');
        out.append(digits);
    }
    return QString::fromLatin1(out.data(), static_cast<int>(out.size()));
}

// One element of a format picture.
struct PictureItem
{
    enum Kind { Zero, Hash, Point, At, Amp, Literal } kind;
    QString text; // for Literal
};

// Splits a picture into placeholders and literal text. "\x" and "..." quote
// literal characters; "!", "<" and ">" are reported through the flags.
std::vector<PictureItem> parsePicture(const QString &picture, bool *leftToRight, int *caseMode)
{
    std::vector<PictureItem> items;
    auto literal = [&items](const QString &t) {
        if (!items.empty() && items.back().kind == PictureItem::Literal)
            items.back().text += t;
        else
            items.push_back({PictureItem::Literal, t});
    };
    bool seenPoint = false;
    for (int i = 0; i < picture.size(); ++i) {
        const QChar c = picture.at(i);
        if (c == QLatin1Char('0')) {
            items.push_back({PictureItem::Zero, {}});
        } else if (c == QLatin1Char('#')) {
            items.push_back({PictureItem::Hash, {}});
        } else if (c == QLatin1Char('.') && !seenPoint) {
            seenPoint = true;
            items.push_back({PictureItem::Point, {}});
        } else if (c == QLatin1Char('@')) {
            items.push_back({PictureItem::At, {}});
        } else if (c == QLatin1Char('&')) {
            items.push_back({PictureItem::Amp, {}});
        } else if (c == QLatin1Char('!') && leftToRight) {
            // Fill from the left. The "!" keeps a place of its own: "!@@@" has
            // always given 4 characters ("9   ") in the files this program writes.
            *leftToRight = true;
            items.push_back({PictureItem::At, {}});
        } else if (c == QLatin1Char('<') || c == QLatin1Char('>')) {
            if (caseMode)
                *caseMode = c == QLatin1Char('<') ? -1 : 1;
            else
                literal(QString(c));
        } else if (c == QLatin1Char('\\') && i + 1 < picture.size()) {
            literal(QString(picture.at(++i)));
        } else if (c == QLatin1Char('"')) {
            const int end = picture.indexOf(QLatin1Char('"'), i + 1);
            const int stop = end < 0 ? picture.size() : end;
            literal(picture.mid(i + 1, stop - i - 1));
            i = stop;
        } else {
            literal(QString(c));
        }
    }
    return items;
}

bool isTextPicture(const QString &picture)
{
    return picture.contains(QLatin1Char('@')) || picture.contains(QLatin1Char('&'));
}

} // namespace

double val(const QString &text)
{
    const std::string s = valChars(text);
    if (s.size() >= 2 && s[0] == '&') {
        if (s[1] == 'H' || s[1] == 'h')
            return readRadix(s, 2, 16);
        if (s[1] == 'O' || s[1] == 'o')
            return readRadix(s, 2, 8);
        return 0.0;
    }
    size_t i = 0;
    std::string number;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
        if (s[i] == '-')
            number.push_back('-');
        ++i;
    }
    bool anyDigit = false;
    while (i < s.size() && isDigit(s[i])) {
        number.push_back(s[i++]);
        anyDigit = true;
    }
    if (i < s.size() && s[i] == '.') {
        number.push_back('.');
        ++i;
        while (i < s.size() && isDigit(s[i])) {
            number.push_back(s[i++]);
            anyDigit = true;
        }
    }
    if (!anyDigit)
        return 0.0;
    // "E" and the old double-precision "D" both introduce an exponent; an
    // exponent letter without digits is where reading stops.
    if (i < s.size() && (s[i] == 'E' || s[i] == 'e' || s[i] == 'D' || s[i] == 'd')) {
        size_t j = i + 1;
        std::string exp = "e";
        if (j < s.size() && (s[j] == '+' || s[j] == '-'))
            exp.push_back(s[j++]);
        bool expDigit = false;
        while (j < s.size() && isDigit(s[j])) {
            exp.push_back(s[j++]);
            expDigit = true;
        }
        if (expDigit)
            number += exp;
    }
    if (number.size() > 1 && number[0] == '-' && number[1] == '.')
        number.insert(1, "0");
    else if (number[0] == '.')
        number.insert(0, "0");
    return parseDecimal(number);
}

int32_t hexValue(const QString &digits)
{
    return readRadix(valChars(digits), 0, 16);
}

int32_t hexValueForcePositive(const QString &digits)
{
    return hexValue(QLatin1Char('0') + digits);
}

double roundHalfEven(double v)
{
    // nearbyint follows the current rounding mode, which is to-nearest-even
    // unless someone changed it; rint/nearbyint never round half away.
    return std::nearbyint(v) + 0.0;
}

int64_t roundHalfEvenToInt(double v)
{
    const double r = roundHalfEven(v);
    // The runtime raises an overflow here; a value out of range reads 0.
    if (!(r >= -9223372036854775808.0 && r < 9223372036854775808.0))
        return 0;
    return static_cast<int64_t>(r);
}

QString singleToText(float v)
{
    return toText(static_cast<double>(v), 7);
}

QString doubleToText(double v)
{
    return toText(v, 15);
}

QString hex(uint32_t v)
{
    return QString::number(v, 16).toUpper();
}

QString hexPadded(uint32_t v, int width)
{
    return hex(v).rightJustified(width, QLatin1Char('0'));
}

QString format(double v, const QString &picture)
{
    if (picture.isEmpty())
        return doubleToText(v);
    if (isTextPicture(picture))
        return formatText(doubleToText(v), picture);
    if (!std::isfinite(v))
        return specialText(v);

    const std::vector<PictureItem> items = parsePicture(picture, nullptr, nullptr);
    int intPlaces = 0, fracPlaces = 0;
    int firstIntZero = -1, lastFracZero = -1;
    bool afterPoint = false;
    for (const PictureItem &it : items) {
        if (it.kind == PictureItem::Point) {
            afterPoint = true;
        } else if (it.kind == PictureItem::Zero || it.kind == PictureItem::Hash) {
            const bool zero = it.kind == PictureItem::Zero;
            if (afterPoint) {
                if (zero)
                    lastFracZero = fracPlaces;
                ++fracPlaces;
            } else {
                if (zero && firstIntZero < 0)
                    firstIntZero = intPlaces;
                ++intPlaces;
            }
        }
    }

    // Digits of the exact value, then rounded half away from zero to the
    // picture's decimals the way the runtime's Format does (12.25 -> "12.3",
    // but 0.075 -> "0.07" because the stored double is just below 0.075).
    const std::string fixed = printfDigits("%.*f", fracPlaces + 40, std::fabs(v));
    std::string intDigits, fracDigits;
    bool inFrac = false;
    for (char c : fixed) {
        if (isDigit(c))
            (inFrac ? fracDigits : intDigits).push_back(c);
        else
            inFrac = true;
    }
    const bool roundUp = fracDigits[static_cast<size_t>(fracPlaces)] >= '5';
    std::string all = intDigits + fracDigits.substr(0, static_cast<size_t>(fracPlaces));
    if (roundUp && incrementDigits(all))
        all.insert(all.begin(), '1');
    intDigits = all.substr(0, all.size() - static_cast<size_t>(fracPlaces));
    fracDigits = all.substr(all.size() - static_cast<size_t>(fracPlaces));

    const size_t firstNonZero = intDigits.find_first_not_of('0');
    intDigits = firstNonZero == std::string::npos ? std::string() : intDigits.substr(firstNonZero);
    // A "0" placeholder shows a digit from its position to the right.
    const size_t minInt = firstIntZero < 0 ? 0 : static_cast<size_t>(intPlaces - firstIntZero);
    if (intDigits.size() < minInt)
        intDigits.insert(0, minInt - intDigits.size(), '0');
    // Trailing zeros show only up to the last "0" placeholder.
    size_t fracShown = fracDigits.size();
    while (fracShown > static_cast<size_t>(lastFracZero + 1) && fracDigits[fracShown - 1] == '0')
        --fracShown;

    QString out;
    if (v < 0)
        out += QLatin1Char('-'); // sign decided on the value, so -0.01 gives "-0.0"
    const size_t nInt = static_cast<size_t>(intPlaces);
    size_t intIndex = 0, fracIndex = 0;
    afterPoint = false;
    for (const PictureItem &it : items) {
        switch (it.kind) {
        case PictureItem::Point:
            // A picture such as ".00" has no integer places; the integer digits
            // still show, in front of the point.
            if (nInt == 0)
                out += QString::fromLatin1(intDigits.data(), static_cast<int>(intDigits.size()));
            afterPoint = true;
            out += QLatin1Char('.');
            break;
        case PictureItem::Zero:
        case PictureItem::Hash:
            if (!afterPoint) {
                // Digits that do not fit the picture all come out at its first place.
                if (intIndex == 0 && intDigits.size() > nInt)
                    out += QString::fromLatin1(intDigits.data(), static_cast<int>(intDigits.size() - nInt));
                const size_t fromRight = nInt - 1 - intIndex;
                if (fromRight < intDigits.size())
                    out += QLatin1Char(intDigits[intDigits.size() - 1 - fromRight]);
                ++intIndex;
            } else {
                if (fracIndex < fracShown)
                    out += QLatin1Char(fracDigits[fracIndex]);
                ++fracIndex;
            }
            break;
        case PictureItem::Literal:
            out += it.text;
            break;
        case PictureItem::At:
        case PictureItem::Amp:
            break; // not in numeric pictures (handled above)
        }
    }
    return out;
}

QString formatText(const QString &text, const QString &picture)
{
    bool leftToRight = false;
    int caseMode = 0;
    const std::vector<PictureItem> items = parsePicture(picture, &leftToRight, &caseMode);
    QString t = caseMode < 0 ? text.toLower() : caseMode > 0 ? text.toUpper() : text;

    int places = 0;
    for (const PictureItem &it : items)
        if (it.kind == PictureItem::At || it.kind == PictureItem::Amp)
            ++places;
    const int len = t.size();
    const int extra = len > places ? len - places : 0;

    QString out;
    int place = 0;
    bool placedExtra = false;
    for (const PictureItem &it : items) {
        if (it.kind == PictureItem::At || it.kind == PictureItem::Amp) {
            int index;
            if (leftToRight) {
                index = place < len ? place : -1;
            } else {
                // Right-aligned: the last character goes to the last placeholder,
                // characters that do not fit come out at the first one.
                if (place == 0 && extra > 0) {
                    out += t.left(extra);
                    placedExtra = true;
                }
                const int offset = place - (places - len);
                index = offset >= 0 ? offset : -1;
            }
            if (index >= 0)
                out += t.at(index);
            else if (it.kind == PictureItem::At)
                out += QLatin1Char(' ');
            ++place;
            if (leftToRight && place == places && extra > 0) {
                out += t.mid(places);
                placedExtra = true;
            }
        } else if (it.kind == PictureItem::Literal) {
            out += it.text;
        } else if (it.kind == PictureItem::Zero) {
            out += QLatin1Char('0');
        } else if (it.kind == PictureItem::Hash) {
            out += QLatin1Char('#');
        } else if (it.kind == PictureItem::Point) {
            out += QLatin1Char('.');
        }
    }
    if (!placedExtra && extra > 0)
        out += t; // no placeholders at all: the text follows the literals
    return out;
}

QString NibbleToBinary(const QString &hexDigit)
{
    const int32_t v = hexValueForcePositive(hexDigit);
    if (v < 0 || v > 15)
        return QStringLiteral("    ");
    QString bits(4, QLatin1Char('0'));
    for (int i = 0; i < 4; ++i)
        if (v & (8 >> i))
            bits[i] = QLatin1Char('1');
    return bits;
}

QString DecToIEEE754(const QString &text)
{
    const double d = val(text);
    const float f = static_cast<float>(d);
    // Beyond the single range the runtime stops with an overflow; an empty
    // text is our failure result, which the callers' range checks never reach.
    if (std::isinf(f))
        return QString();
    uint32_t bits = 0;
    static_assert(sizeof bits == sizeof f, "single is 4 bytes");
    std::memcpy(&bits, &f, sizeof bits);
    // Bytes in memory order b[0] (least significant) to b[3], each prepended
    // without a leading zero: 1.0 gives "3F" "80" "0" "0" = "3F8000". The device
    // software has always received this short form, so it is kept as it is.
    QString result;
    for (int i = 0; i < 4; ++i)
        result.prepend(hex((bits >> (8 * i)) & 0xFFu));
    return result;
}

QString IEEE754ToDec(const QString &hex, bool *ok)
{
    if (hex.size() < 8) {
        if (ok)
            *ok = false;
        return QString();
    }
    uint32_t bits = 0;
    // Pairs 1-2, 3-4, 5-6, 7-8 are b[3], b[2], b[1], b[0]; a pair that is not
    // hex reads as 0 like any "&H" text.
    for (int i = 0; i < 4; ++i) {
        const uint32_t byte = static_cast<uint32_t>(hexValue(hex.mid(2 * i, 2))) & 0xFFu;
        bits = (bits << 8) | byte;
    }
    float f = 0.0f;
    std::memcpy(&f, &bits, sizeof f);
    if (ok)
        *ok = true;
    return singleToText(f);
}

void keepTypeable(QString *text, int *pos, const std::function<bool(int key)> &passes)
{
    QString kept;
    for (int i = 0; i < text->size(); ++i) {
        const int key = text->at(i).unicode();
        if (key != 8 && passes(key))
            kept += text->at(i);
        else if (i < *pos)
            --*pos;
    }
    *text = kept;
}

} // namespace numtext
