#pragma once
// The service report a technician hands to the customer: the configuration
// as found on arrival and as left on departure, each parameter marked when
// it changed, the totalizer, every write made in between, and the flow log
// when it was read in this session. Written as a PDF with Qt's own writer.
#include "files/configcompare.h"
#include "session/writejournal.h"

#include <QDateTime>
#include <QList>
#include <QVector>

class ConfigTable;
class TerminalSession;
class TerminalState;

class ServiceReport
{
public:
    QDateTime when = QDateTime::currentDateTime();
    QString port;         // the port's name
    QString settings;     // "9600,n,8,1"
    QString interface;    // "RS232" or "RS485"
    QString device;       // the device label
    QString asFoundFrom;  // where the as-found values come from
    QString flowUnit;     // "LTR/Min" as left
    QString flowUnitFound; // as found
    QString totalizer;    // "00012345 LTR"
    bool tenths = false;  // the full-scale flow is held in tenths (as left)
    QList<CompareRow> rows;         // A is as found, B as left
    QList<JournalRecord> records;   // the writes between, oldest first
    // The flow log as read in this session (no samples: not read).
    QVector<qint16> samples;
    qint32 logFullScale = 0, logScaling = 0, logDensity = 0;

    // Rows of the two tables and what the terminal holds now (the as-left
    // readout): unit, totalizer, flow log. False with *error when a table
    // lacks a row.
    bool build(const ConfigTable &asFound, const TerminalState &asLeft, QString *error);
    // Everything from a session whose as-left readout has just run: as found
    // is the session's first readout, or `saved` (a table read from the file
    // `savedName`) when given; the writes are the session's on this port.
    bool build(TerminalSession &session, const ConfigTable *saved, const QString &savedName, QString *error);
    int changedCount() const { return ConfigCompare::differences(rows); }
    // Rows that are not live values.
    int parameterCount() const;
    // The unit a row's value is in as found or as left, where the program
    // knows it ("" not).
    QString unitOf(const CompareRow &row, bool asLeft) const;

    // A time as the technician reads it: local, with its offset from UTC
    // ("2026-11-24 09:36 +01:00"). The text form takes ISO 8601 as the
    // journal keeps it; a text that is not one comes back as it is.
    static QString localTime(const QDateTime &time);
    static QString localTime(const QString &iso);

    // The PDF's bytes: A4 pages with a heading and page number on each.
    QByteArray pdf() const;
    // Writes the PDF whole or not at all; false with the reason in *error.
    bool writeFile(const QString &path, QString *error) const;
};
