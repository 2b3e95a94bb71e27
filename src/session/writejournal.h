#pragma once
// The journal of every verified write the program makes: one JSON object per
// line in the per-user data folder. Records are only ever appended, one at a
// time, and flushed before the next, so a crash or a full disk loses at most
// the record being written. Access codes never pass through here: a record
// holds the memory address, the bytes before and the bytes written.
#include <QList>
#include <QString>

struct JournalRecord {
    QString time;       // ISO 8601 with the offset from UTC
    QString port;       // the port's name
    QString operation;  // the operation that held the gate ("" none)
    QString source;     // the window or command
    QString address;    // 4 hex digits
    int width = 0;      // bytes
    QString before;     // the bytes the terminal knew there; "" unknown
    QString written;    // the bytes asked for
    bool verified = false;
    QString readBack;   // what the device held afterwards ("" no reply)

    bool beforeKnown() const { return !before.isEmpty(); }
    QByteArray toLine() const;                       // without the line end
    static bool fromLine(const QByteArray &line, JournalRecord *record);
};

class WriteJournal
{
public:
    explicit WriteJournal(const QString &path = defaultPath()) : m_path(path) {}

    // journal.jsonl in the per-user data folder.
    static QString defaultPath();
    QString path() const { return m_path; }
    void setPath(const QString &path) { m_path = path; }

    // Appends one record and flushes it; false with the reason in *error.
    bool append(const JournalRecord &record, QString *error) const;
    // Every record, oldest first. A line that cannot be read (the last one
    // cut short by a crash) is left out. A missing file is an empty journal.
    QList<JournalRecord> records(QString *error) const;

private:
    QString m_path;
};
