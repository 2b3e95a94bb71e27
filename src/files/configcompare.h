#pragma once
// Compares two configuration tables (a device's and a file's, or two files)
// row by row: which parameter, what each side holds in readable form, and
// whether they differ. The flow log's data pointer and the totalizer's
// counter word move on by themselves while the device runs; they are shown
// as live values and never count as a difference on their own.
#include <QList>
#include <QString>

class ConfigTable;

struct CompareRow {
    int row = 0;          // file row, 0..25
    QString address;
    QString control;      // the editor's control name ("" for the counter word)
    QString name;         // readable name
    QString dataA, dataB; // normalised hex
    QString valueA, valueB;
    bool differs = false;
    bool live = false;

    QString parameterText() const; // "txtHighFcut (high frequency cut-off)"
    QString mark() const;          // "same", "differs", "live", "live, differs"
};

namespace ConfigCompare {

// The row of `table` that holds `address`, or -1.
int findRow(const ConfigTable &table, const QString &address, int rows);

// False (with *error) when a side lacks one of the 26 rows. Rows are matched
// by address; each side's value is read with its own coefficient A.
bool compare(const ConfigTable &a, const ConfigTable &b, QList<CompareRow> *rows, QString *error,
             int rowsA = 26, int rowsB = 26);
// Rows that differ, live values left out.
int differences(const QList<CompareRow> &rows);
bool isLive(const QString &address);

// A row's data in readable form: decimal, the full-scale flow in tenths when
// coefficient A is 202, the pointer and the options byte in hex, the unit
// name as its characters, the unit and time base with their names.
QString readable(const QString &address, const QString &data, bool tenths);
// Upper-case hex, left-padded with "0" to the width.
QString normalised(const QString &data, int width);

// The listing both front ends show, one line per row, with a heading.
QStringList listing(const QList<CompareRow> &rows, const QString &nameA, const QString &nameB);

} // namespace ConfigCompare
