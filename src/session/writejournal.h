#pragma once
// The journal of every write the program makes to device memory: one JSON
// object per line in the per-user data folder, readable by its owner only.
// A write is journaled in two lines: its intent, flushed before the write
// frame leaves, and its outcome once the read-back is compared. An intent
// without an outcome is a write whose end nobody saw (the program died or
// the line was cut between the two): "interrupted, outcome unknown". The
// file is rotated by size; older parts are kept beside it, named by date.
#include <QList>
#include <QString>
#include <functional>

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
    QString id;         // pairs the intent with its outcome
    enum State { Done, NotVerified, Interrupted, NoReadBack };
    // NotVerified: a frame no read-back follows (typed); NoReadBack: the
    // read-back never came, so the write may or may not have taken effect.
    State state = Done;
    // The device's configuration rows when the write was asked for, as far
    // as the terminal knew them: "0100=05,0105=...", "" unknown.
    QString device;

    bool beforeKnown() const { return !before.isEmpty(); }
    bool interrupted() const { return state == Interrupted; }
    // "verified", "failed, read back X", "not verified",
    // "interrupted, outcome unknown", "no read-back, outcome unknown".
    QString outcomeText() const;
    QByteArray toLine() const;                       // intent and outcome in one line
    QByteArray intentLine() const;
    QByteArray outcomeLine() const;
    // A whole record (older journals), an intent or an outcome; *kind gets
    // 0, 1 or 2 accordingly.
    static bool fromLine(const QByteArray &line, JournalRecord *record, int *kind = nullptr);
};

class WriteJournal
{
public:
    explicit WriteJournal(const QString &path = defaultPath()) : m_path(path) {}

    // journal.jsonl in the per-user data folder.
    static QString defaultPath();
    QString path() const { return m_path; }
    void setPath(const QString &path) { m_path = path; }
    // Past this size the next intent starts a new file (the old one is kept
    // as journal-yyyyMMdd-hhmmss-NNN.jsonl beside it).
    void setRotateBytes(qint64 bytes) { m_rotateBytes = bytes; }

    // Flushes the intent of a write (record.id set here when empty); false
    // with the reason in *error.
    bool appendIntent(JournalRecord &record, QString *error) const;
    // Flushes the outcome of the write whose intent was appended.
    bool appendOutcome(const JournalRecord &record, QString *error) const;
    // Both at once, for records made elsewhere.
    bool append(const JournalRecord &record, QString *error) const;

    // Every record, oldest first, the rotated parts before the current one.
    // A line that cannot be read (one cut short by a crash) is left out. A
    // missing file is an empty journal.
    QList<JournalRecord> records(QString *error) const;
    // The newest `count` records that `keep` accepts (all when not given),
    // oldest first, read from the end of the file so that a long journal
    // costs no more than the records asked for.
    QList<JournalRecord> newest(int count, QString *error,
                                const std::function<bool(const JournalRecord &)> &keep = {}) const;
    // The files of the journal, oldest first: the rotated parts, then the current.
    QStringList files() const;

private:
    bool appendLine(const QByteArray &line, QString *error) const;
    void rotateIfLarge() const;

    QString m_path;
    qint64 m_rotateBytes = 16 * 1024 * 1024;
};
