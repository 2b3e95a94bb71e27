#pragma once
// The configuration table file (.epr): the device's 26 non-volatile
// parameters, one quoted five-field record per line, written by the export
// and read back by the import.
#include <QByteArray>
#include <QString>
#include <QVector>

class TerminalState;

struct ConfigRow {
    QString Index;    // "0   " .. "25  "
    QString Address;  // "0100"
    QString Width;    // "01" .. "04"
    QString Data;     // 2 hex digits per byte, lowest address first
    QString Value;    // for the eye only
    bool operator==(const ConfigRow &o) const
    {
        return Index == o.Index && Address == o.Address && Width == o.Width && Data == o.Data && Value == o.Value;
    }
};

class ConfigTable
{
public:
    static constexpr int Capacity = 99;  // entries the table has room for
    static constexpr int RowCount = 26;  // rows a file holds

    ConfigTable();

    ConfigRow &row(int i) { return m_rows[i]; }
    const ConfigRow &row(int i) const { return m_rows[i]; }
    // Records taken by the last successful read.
    int recordsRead() const { return m_read; }

    // The table of a connected terminal, built from the memory images and the
    // values it holds.
    static ConfigTable fromTerminal(const TerminalState &state);
    // Addresses and widths of the 26 rows, in file order.
    static QString rowAddress(int row);
    static QString rowWidth(int row);

    // Rows 0 to 25 in the file layout, CR LF after each.
    QByteArray fileBytes() const;
    // Writes the file whole or not at all; false with the reason in *error.
    bool writeFile(const QString &path, QString *error) const;

    // Reads records into entries 0, 1, 2 ... (entries past the last record
    // keep what they held). On a file the program cannot take the table is
    // left as it was and *error names the line and what is wrong with it.
    bool read(const QByteArray &bytes, QString *error);
    // Same for a file; the error then starts with the file's name.
    bool readFile(const QString &path, QString *error);

    // One row as shown in a window: the fields joined by `separator`.
    QString displayLine(int row, const QString &separator) const;

private:
    QVector<ConfigRow> m_rows;
    int m_read = 0;
};
