#pragma once
// The two logs of the main window.
//   Communication log (.tlg): every frame sent and every reply received,
//     one line each: "2024-05-01 14:03:07.125  TX  R5202:01014F00".
//   Data log (.log): one record per recording interval, comma-separated so
//     a spreadsheet opens it: "2024-05-01 14:03:07",12.345,"LTR/Min".
// Lines end in CR LF. A log is written through a QSaveFile: the file on disk
// is replaced (or extended) when the log is closed, never left half-written.
#include <QString>
#include <memory>

class QDateTime;
class QSaveFile;
class Prompter;

class TextLog
{
public:
    TextLog();
    virtual ~TextLog(); // an open log is completed
    TextLog(const TextLog &) = delete;
    TextLog &operator=(const TextLog &) = delete;

    // append keeps what the file holds and adds to it; otherwise the file is
    // replaced. False, with the reason, when the file cannot be written.
    bool open(const QString &path, bool append, QString *error);
    // Completes the file. False, with the reason, when it could not be saved.
    bool close(QString *error = nullptr);
    bool isOpen() const;
    QString fileName() const { return m_name; }
    int linesWritten() const { return m_lines; }

protected:
    bool writeLine(const QString &line);
    // The first line of a file that starts empty ("" for none).
    virtual QString header() const { return QString(); }

private:
    void noteWriteError();

    std::unique_ptr<QSaveFile> m_file;
    QString m_name;
    QString m_writeError;  // the first failed write; the file is then not saved
    int m_lines = 0;
};

class CommLog : public TextLog
{
public:
    // Control characters are written as <XX> so that a line stays one line.
    static QString line(const QDateTime &when, const QString &direction, const QString &text);
    bool frameSent(const QString &frame, const QDateTime &when);
    bool replyReceived(const QString &reply, const QDateTime &when);
};

class DataLog : public TextLog
{
public:
    // The flow is written as a bare number when it is one, else as a quoted
    // text (the blanks of a failed read stay visible as an empty field).
    static QString line(const QDateTime &when, const QString &flow, const QString &unit);
    bool record(const QDateTime &when, const QString &flow, const QString &unit);

protected:
    QString header() const override;
};

// The open dialog of a log: the save dialog with the proposed name; an
// existing file is offered for replacement ("Replace existing file - " name
// "?"): Yes replaces it, No keeps it and adds to it. False when the dialog
// was cancelled.
bool chooseLogFile(Prompter &prompter, const QString &title, const QString &filter, const QString &proposed,
                   QString *path, bool *append);
