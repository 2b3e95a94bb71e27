#pragma once
// Writes a configuration table into the device, row by row, each write
// checked by reading the memory back, with a 250 ms pause between rows.
#include <QList>
#include <QObject>
#include <QStringList>
#include <functional>

class ConfigTable;
class TerminalState;
class QTimer;
class TerminalHost;

class ConfigImport : public QObject
{
    Q_OBJECT
public:
    explicit ConfigImport(TerminalHost &host, QObject *parent = nullptr);

    // Rows 1 to 25 of the file (entries 0 to 24); the "012D" row is left
    // out when the device is in tenths mode (device code 202). True when
    // every row was written and verified; the messages are shown here.
    // Refused (false, nothing sent) while another device operation runs.
    bool upload(const ConfigTable &table);
    // The same for the listed entries only (a subset of uploadEntries()).
    bool upload(const ConfigTable &table, const QList<int> &entries);

    // The entries a plain upload writes, in order: 0 to 24, without the
    // "012D" row while the device is in tenths mode.
    QList<int> uploadEntries() const;
    // Why an upload leaves the entry out on this device ("" when it writes it).
    static QString notWritten(const TerminalState &state, int entry);
    // Those of `entries` whose data differs from the device's as last read.
    // The live rows (log pointer, counter word) move on by themselves and
    // are left out unless withLive.
    static QList<int> changedEntries(const ConfigTable &table, const TerminalState &state, const QList<int> &entries,
                                     bool withLive = false);
    // The entries of the rows named by control, readable name or address;
    // false with *error for a name the parameter map does not know or a row
    // an upload never writes.
    static bool namedEntries(const ConfigTable &table, const QStringList &names, QList<int> *entries, QString *error);
    // Tests shorten the pause between rows.
    void setRowPause(int msecs);
    // Asked before each row: true stops the upload there (false returned,
    // wasStopped() true), so no row is left between its write and read-back.
    void setStopCheck(std::function<bool()> check) { m_stopCheck = std::move(check); }
    bool wasStopped() const { return m_stopped; }

    static constexpr int RowsWritten = 25;
    static constexpr int DeviceCodeTenths = 202;

signals:
    void progress(int rowsWritten);
    void rowStarting(int entry); // before its write frame leaves
    void rowDone(int entry);

private:
    TerminalHost &m_host;
    QTimer *Timer1;
    bool RowWritten = false;
    std::function<bool()> m_stopCheck;
    bool m_stopped = false;
};
