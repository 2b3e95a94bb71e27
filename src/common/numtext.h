#pragma once
// The number and text rules the device protocol and the program's screens and
// files rely on. Use these everywhere instead of ad-hoc conversions: the
// device compares texts exactly, so a different rounding or a different digit
// count is a real fault.
#include <QString>
#include <cstdint>
#include <functional>

namespace numtext {

// Reads a number from the start of the text as the runtime's Val does.
// Blanks, tabs and line feeds are ignored wherever they are (" 1 2" reads 12);
// then an optional sign, digits, an optional "." fraction and an optional
// exponent ("E" or "D", e.g. "1E3"); reading stops at the first character
// that does not fit ("12abc" reads 12, "1,5" reads 1). Only "." is a decimal
// separator, whatever the locale. Empty or invalid text reads 0, and so does
// a number beyond the double range (the runtime stops with an overflow).
// "&H..." and "&O..." texts are read as hex/octal with the rules of hexValue
// ("&HFFFF" is -1, "&H1F" is 31).
double val(const QString &text);

// Reads hexadecimal digits as the runtime does for "&H" + text: digits are
// taken up to the first non-hex character (invalid or empty text reads 0;
// lower-case digits are accepted, blanks are skipped as in val).
// Up to 4 digits give a signed 16-bit number ("FFFF" is -1, "8000" is
// -32768), 5 or more digits a signed 32-bit number ("FFFFFFFF" is -1).
// Leading zeros count as digits, which is why "&H0" + text forces a positive
// value for 4-digit texts. More than 8 significant digits do not fit 32 bits:
// the runtime stops with an overflow, here the result is 0.
int32_t hexValue(const QString &digits);          // "&H" + digits
int32_t hexValueForcePositive(const QString &digits); // "&H0" + digits ("FFFF" is 65535)

// Round half to even (banker's rounding), as the runtime's integer conversion
// does: 0.5 -> 0, 1.5 -> 2, 2.5 -> 2, -1.5 -> -2. Zero comes back as +0.
double roundHalfEven(double v);
// Same, as an integer; NaN or a value outside the 64-bit range gives 0.
int64_t roundHalfEvenToInt(double v);

// The runtime's default text form of a single-precision value: at most 7
// significant digits (rounded half away from zero), no trailing zeros, no
// trailing ".", "0." for values below one ("0.5", "-0.25"), "-" for
// negatives, "0" for zero of either sign. The scientific form "1.234568E+07",
// "1E-05" (exponent with sign and at least 2 digits) is used when the decimal
// exponent is 7 or more or below -4: 1234567 -> "1234567", 1E7 -> "1E+07",
// 0.0001 -> "0.0001", 0.00001 -> "1E-05". Infinities and NaN give "1.#INF",
// "-1.#INF", "1.#QNAN". Always "." as the decimal separator.
QString singleToText(float v);
// Same rules for double precision: 15 significant digits, scientific from an
// exponent of 15 ("1E+15") or below -4.
QString doubleToText(double v);

// Upper-case hexadecimal text of a non-negative number without leading zeros
// ("Hex$"; hex(0) is "0"). For a negative 16-bit value pass it as uint16_t.
QString hex(uint32_t v);
// Hex text padded on the left with "0" to width characters; never cut.
QString hexPadded(uint32_t v, int width);

// The runtime's Format() with a numeric picture: digit placeholders "0"
// (digit or zero) and "#" (digit or nothing), one decimal point ".", any other
// character (or "\x", or "..." in double quotes) copied as it is.
// The value is rounded half away from zero, on its exact binary value, to the
// decimals of the picture ("###0.0" with 12.25 gives "12.3", with 0.075 and
// "0.00" the stored double is just below the half and gives "0.07").
// Integer digits beyond the picture are all shown ("0####": 5 -> "00005",
// 16129 -> "16129", 123456 -> "123456"); "#" alone before the point shows no
// leading zero ("#.00" with 0.5 gives ".50"); trailing "#" decimals drop zeros.
// A negative value keeps its "-" even when it rounds to zero ("-0.0").
// Thousands separators, "%", "E+" and ";" sections are not supported.
// An empty picture gives doubleToText(v); a picture with "@" or "&" formats
// doubleToText(v) as text (formatText), so row 9 with "!@@@" gives "9   ".
QString format(double v, const QString &picture);
// Text pictures: "@" is a character or a blank, "&" a character or nothing;
// the text fills them from the right (right-aligned) unless the picture holds
// "!", which fills them from the left and counts as one more "@" place:
// "!@@@" with "9" gives "9   ", with "25" gives "25  " (4 characters). "<" and ">" put the text in lower or upper case. A text longer
// than the placeholders is shown in full.
QString formatText(const QString &text, const QString &picture);

// value = "&H0" + text read as a number; 0 to 15 give "0000" to "1111", any
// other value four blanks. Note that "" and "G" read 0 and give "0000", while
// "10" reads 16 and gives "    ".
QString NibbleToBinary(const QString &hexDigit);

// Decimal text (read like val, "." separator, non-numbers read 0) to the
// single's 4 bytes as hex, most significant first, each byte WITHOUT leading
// zero: "1" gives "3F8000" (3F 80 0 0), "0" gives "0000". The device side has
// always been sent this short form; keep it. A value beyond the single range
// gives an empty text.
QString DecToIEEE754(const QString &text);
// 8 hex digits (most significant byte first) to the single's text form
// (singleToText): "3F800000" -> "1", "C0000000" -> "-2". A pair that is not
// hex reads 0; characters after the eighth are ignored. ok is false, and the
// result empty, when the text has fewer than 8 characters.
QString IEEE754ToDec(const QString &hex, bool *ok = nullptr);

// Text that reached a box other than by a key (paste, middle-click, drop)
// held to the box's key rule: the characters a key could not have typed are
// dropped, and the cursor position moves back over the ones before it.
void keepTypeable(QString *text, int *pos, const std::function<bool(int key)> &passes);

} // namespace numtext
