#pragma once
// Writes a configuration table into the device, row by row, each write
// checked by reading the memory back, with a 250 ms pause between rows.
#include <QObject>

class ConfigTable;
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
    // Tests shorten the pause between rows.
    void setRowPause(int msecs);

    static constexpr int RowsWritten = 25;
    static constexpr int DeviceCodeTenths = 202;

signals:
    void progress(int rowsWritten);
    void rowDone(int entry);

private:
    TerminalHost &m_host;
    QTimer *Timer1;
    bool RowWritten = false;
};
