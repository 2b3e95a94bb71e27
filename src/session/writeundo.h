#pragma once
// Puts back the data that journaled writes replaced, newest first, with the
// same verified write. Before anything is written it reads each address and
// refuses when the device no longer holds what the record wrote (someone
// changed it since) or when the data before the write is not known. The whole
// undo holds the operation gate ("undo"), so its own writes are journaled
// under that name.
#include "session/writejournal.h"

#include <QList>
#include <QString>
#include <functional>

class TerminalHost;

class WriteUndo
{
public:
    WriteUndo(TerminalHost &host, const WriteJournal &journal) : m_host(host), m_journal(journal) {}

    enum Result { Done, Refused, Declined, Failed, Busy };
    // Undoes the newest `count` writes made through the port open now (a
    // write and its RAM copy count once) after the prompter's Yes/No on the
    // list of writes. refusal() says why when the result is Refused or Failed.
    Result undoLast(int count);
    // Undoes the given records, newest first, the same way. A parameter with
    // a RAM copy has the copy written again after it.
    Result undo(const QList<JournalRecord> &newestFirst);
    QString refusal() const { return m_refusal; }

    // Called after each write put back.
    std::function<void(const JournalRecord &)> undone;

    // Whether `copy` is the RAM copy the editor wrote right after `write`.
    static bool isCopyOf(const JournalRecord &copy, const JournalRecord &write);
    // "0134 02  0FA0 -> 0BB8  txtHighFcut": what undoing a record writes.
    static QString describe(const JournalRecord &record);
    // How the question names each step; a window puts its own words here.
    std::function<QString(const JournalRecord &)> describeStep = &WriteUndo::describe;

private:
    Result refuse(const QString &why, Result result = Refused);

    TerminalHost &m_host;
    const WriteJournal &m_journal;
    QString m_refusal;
};
