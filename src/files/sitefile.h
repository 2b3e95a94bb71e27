#pragma once
// A site file: the transmitters of one plant, one a row, as a spreadsheet
// writes CSV. Header "name,port,settings,interface,golden" (name and port
// needed, the others may be left out); lines starting with "#" are comments.
// Every row is checked before any device is touched, so a typo never leaves
// a site half swept.
#include <QList>
#include <QString>
#include <QStringList>

struct SiteDevice {
    int line = 0;          // line in the site file, from 1
    QString name;          // also the stem of the output files: checked to stay in their folder
    QString port;          // as --port takes it
    QString settings;      // "9600,n,8,1", or empty for the port's default
    bool rs485 = false;
    QString golden;        // absolute path of the golden table, or empty
};

class SiteFile
{
public:
    // Reads and checks the file; false when any row is bad, with one
    // "FILE:LINE: what is wrong" per bad row in errors().
    bool read(const QString &path);
    // The same from bytes; relative golden paths are taken from `folder`.
    bool parse(const QByteArray &bytes, const QString &folder, const QString &fileName);

    const QList<SiteDevice> &devices() const { return m_devices; }
    const QStringList &errors() const { return m_errors; }

    // Whether a name can be a file name inside the output folder: not empty,
    // no path separator, no control character, not "." or "..", no leading
    // dot or blank, at most 64 characters.
    static bool isSafeName(const QString &name, QString *why);
    // One CSV line as a spreadsheet writes it: fields split at commas, quoted
    // fields with "" for a quote. False for an unterminated quote.
    static bool splitLine(const QString &line, QStringList *fields);

private:
    void fail(int line, const QString &text);

    QList<SiteDevice> m_devices;
    QStringList m_errors;
    QString m_fileName;
};
