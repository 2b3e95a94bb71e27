#pragma once
// Opens the link's port again after it went away (a device server restarted,
// a cable put back): once the port is lost, tries every interval until it
// opens. The one who started it decides what to do meanwhile and afterwards.
#include <QObject>

class DeviceLink;
class QTimer;

class Reconnector : public QObject
{
    Q_OBJECT
public:
    explicit Reconnector(DeviceLink *link, int intervalMs = 2000, QObject *parent = nullptr);

    // Watches for a lost port while enabled; disabling stops any retrying.
    void setEnabled(bool on);
    bool isEnabled() const { return m_enabled; }
    bool isRetrying() const;
    int attempts() const { return m_attempts; }

    // Starts retrying now, as after a loss (a port that was down from the start).
    void retry();

    // Waits in a nested event loop until the port is back (true), or until
    // msecs pass (-1: no limit) or retrying stops (false).
    bool waitUntilBack(int msecs = -1);

signals:
    void reconnecting(); // the port was lost, retrying starts
    void reconnected();  // the port is open again
    void stopped();      // retrying ended without the port

private:
    void tryOpen();

    DeviceLink *m_link;
    QTimer *m_timer;
    bool m_enabled = true;
    int m_attempts = 0;
};
