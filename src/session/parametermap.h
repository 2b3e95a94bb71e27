#pragma once
// The one table of the transmitter's configuration parameters: address,
// width, encoding, accepted range and the exact range message. The editor,
// the configuration file, the readout and the command-line tool all take
// addresses and widths from here.
#include <QList>
#include <QString>

struct Parameter {
    enum Encoding {
        Unsigned,     // decimal text typed, hex padded to the width
        FullScale,    // unsigned; typed value x 10 when coefficient A is 202
        ListIndex,    // combo index
        UnitName,     // first two characters as character codes, then "00"
        OptionBits,   // output options byte (enable bit 2, pulse bit 1)
        HexPointer,   // typed text already hexadecimal
        ResetOnly,    // written only by the totalizer reset
    };
    QString control;   // frmDProp control name; empty for reset-only words
    QString alias;     // readable name for the command line
    QString title;     // what it is, for listings
    QString address;   // 4 hex digits
    int width;         // bytes
    Encoding encoding;
    // Accepted values: lowerExclusive ? v > lower : v >= lower, and v < upperExclusive.
    double lower;
    bool lowerExclusive;
    double upperExclusive;
    QString crossField; // control whose shown value is the upper bound instead
    QString rangeText;  // " permissible range [..]"
    QString mirror;     // RAM address written with the same byte after a verified write

    QString widthText() const; // "01".."04"
};

namespace ParameterMap {

const QList<Parameter> &all();
// By control name ("txtLowFcut"), alias ("low-cutoff") or address ("014D"),
// in any case; "optPulse" finds the options byte that "optEnable" names.
const Parameter *find(const QString &nameOrAddress);

// The coefficient A value that marks a full-scale flow stored in tenths.
constexpr int TenthsMarker = 202;

// "The value of the parameter is out of" CR range text " Try again!"
QString rangeMessage(const QString &rangeText);
// Range text of the full-scale flow while it is entered in tenths.
QString tenthsRangeText();

// The fixed unit of a parameter's value as the editor labels it ("Hz",
// "%"...); "" where it has none or it is the device's flow unit.
QString unit(const QString &address);

// The 26 addresses of the configuration table file, in file order.
const QStringList &tableAddresses();

// Unsigned value as hex text padded on the left with "0" to 2 x width digits.
QString padHex(quint32 value, int width);

// Typed decimal text read exactly, as a whole number of tenths when
// decimals is 1: digits and at most one ".", no further digit after the
// allowed decimals but "0", at most 17 significant digits. Empty text reads
// 0, as an empty field commits 0. False for anything else: such text is
// refused, never cut, rounded or wrapped into a value the device would hold.
bool exactValue(const QString &text, int decimals, qint64 *scaled);
// Whether value fits an unsigned field of width bytes.
bool fitsWidth(qint64 value, int width);
// Text of upper-case hex digits only ("" included).
bool isUpperHex(const QString &text);

} // namespace ParameterMap
