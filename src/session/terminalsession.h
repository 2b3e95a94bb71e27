#pragma once
// The session with the device: owns the link (and through it the port), the
// terminal state and the operation gate. As a TerminalHost without a window it
// is the command-line tool's and the tests' host, keeping the status text in
// memory; the main window holds one and adds its screen.
#include "session/operationgate.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"
#include "session/writejournal.h"

#include <QDateTime>
#include <QMap>
#include <QStringList>
#include <functional>
#include <memory>

class SerialPort;

class TerminalSession : public TerminalHost
{
public:
    // The session takes ownership of the port (none yet: nullptr).
    TerminalSession(Prompter *prompter, SerialPort *port);
    ~TerminalSession() override;

    DeviceLink &link() override { return *m_link; }
    TerminalState &state() override { return m_state; }
    Prompter &prompter() override { return *m_prompter; }
    OperationGate &gate() override { return m_gate; }
    // The readout alone, without the gate: for a host that holds it already.
    bool readOut(const std::function<void(int)> &progress);
    bool synchronize() override;
    void setStatusText(const QString &text) override;
    QString statusText() const override { return m_status; }
    void startTimer2() override { ++timer2Starts; }
    bool autoUpdateOn() const override;
    void setAutoUpdate(bool on) override;
    QString currentFlowText() const override { return m_state.FlowText; }
    void setMenusLocked(bool locked) override { menusLocked = locked; }
    void refreshStatusBar() override {}
    QString programFolder() const override { return folder; }

    QStringList statusHistory;   // every status text set, in order
    int timer2Starts = 0;
    bool menusLocked = false;
    QString folder;
    QList<int> progressSteps;    // progress values of the last readouts

    // Every verified write is journaled here (the per-user data folder
    // unless set otherwise). journalSource names the window or command the
    // write came from; without it the record names the operation only.
    WriteJournal &journal() { return m_journal; }
    std::function<QString()> journalSource;
    // The bytes the terminal knows at address from the last readout and the
    // writes since, without asking the device; "" when any byte is unknown.
    QString knownData(const QString &address, int width) const;

    // The configuration as found: the state of the first readout that
    // succeeded in this service record (nullptr before one has). Opening the
    // port starts a new record, as the cable may now lead to another
    // device; so does newServiceRecord().
    const TerminalState *asFound() const { return m_asFound.get(); }
    void newServiceRecord();
    // The device's configuration rows as the terminal knows them now, the
    // live rows and the access code left out: "0100=05,0105=00001388,...",
    // a row not known empty. What a journal record's device field holds.
    static QString deviceRows(const std::function<QString(const QString &, int)> &known);
    QString deviceRows() const;
    QDateTime asFoundTime() const { return m_asFoundTime; }
    // The journal records of the writes made in this session, oldest first,
    // kept here whether or not the journal file could take them.
    const QList<JournalRecord> &sessionRecords() const { return m_sessionRecords; }

private:
    // The one write path's session half: the intent is flushed before the
    // frame leaves; the outcome updates the copy of device memory and ends
    // the record.
    void writing(const QString &address, const QString &byteCount, const QString &data);
    void written(const QString &data, const QString &readBack, JournalRecord::State state, bool verified);
    void reportJournalError(const QString &error);
    QString imageByte(int address) const;

    // Bytes written or read whole since the readout, with the image's byte at that time:
    // once the image changes (a new readout, or the window that wrote it
    // updated its copy) the image is the newer knowledge.
    struct WrittenByte {
        QString value;      // "" unknown (no read-back)
        QString imageThen;
    };
    QMap<int, WrittenByte> m_written;
    WriteJournal m_journal;
    bool m_journalReported = false;
    QList<JournalRecord> m_sessionRecords;
    JournalRecord m_pending;   // the write under way
    bool m_intentJournaled = false;
    std::unique_ptr<TerminalState> m_asFound;
    QDateTime m_asFoundTime;

    Prompter *m_prompter;
    std::unique_ptr<DeviceLink> m_link;
    TerminalState m_state;
    OperationGate m_gate;
    QString m_status;
};
