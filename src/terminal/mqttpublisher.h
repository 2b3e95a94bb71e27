#pragma once
// Hands every display reading to an MQTT broker as a small JSON object,
// retained, so a dashboard that subscribes later gets the last value at once.
// Readings go out at QoS 1 from a bounded queue, oldest first, each with the
// time it was read; a reading leaves the queue only when the broker has
// acknowledged it. A thread of its own connects and keeps reconnecting (every
// 1 to 5 s), so a reading never waits for the broker. The broker's last will
// (retained too) says the terminal went away, should this process end without
// saying goodbye; publishOffline() says the same when the readings stop for
// another reason. Outages and refusals are reported once, with the reason.
#include "livedisplay.h"

#include <QObject>
#include <QString>
#include <memory>

class Prompter;
class TerminalState;

class MqttPublisher : public QObject
{
    Q_OBJECT
public:
    struct Address {
        QString host;
        int port = 1883;
        QString topic;
        bool tls = false;
        QString user;
        QString password;
        QString caFile;   // empty: the system's certificate authorities
        QString certFile; // a client certificate and its key, or neither
        QString keyFile;
        QString hostText() const; // HOST:PORT, an IPv6 address in brackets
    };
    // mqtt[s]://[USER[:PASSWORD]@]HOST[:PORT]/TOPIC, the topic percent-decoded;
    // false (with *error, the reason) for anything else. A user without a
    // password takes it from QUORIN_MQTT_PASSWORD.
    static bool parseUrl(const QString &url, Address *out, QString *error);
    // The CA file and the client certificate and key of an mqtts:// broker.
    static bool setTlsFiles(Address *a, const QString &ca, const QString &cert, const QString &key, QString *error);

    struct Reading {
        qint64 ms = 0;
        bool flowOk = false, unitOk = false, totalOk = false;
        QString flow;      // as the display shows it
        QString unit;
        QString total;
        QString totalUnit;
        QString port;
    };
    static Reading fromState(const TerminalState &state, const LiveDisplay::Result &read, const QString &port,
                             qint64 ms);
    // {"time":..,"ok":..,"flow":"1.2345","value":1.2345,"unit":..,"total":..,"totalUnit":..,"port":..};
    // what the poll did not read is null, and value is null when the display shows no number.
    static QByteArray json(const Reading &r);
    static QByteArray offlineJson(const QString &port);
    // Where the window keeps what waits for this broker, in the per-user data folder.
    static QString spoolPath(const Address &a);

    explicit MqttPublisher(Prompter *prompter, QObject *parent = nullptr);
    ~MqttPublisher() override; // stop()

    // Before start(): how many readings may wait for the broker, and the file
    // that keeps them across runs (read at start, appended to, emptied when sent).
    void setQueueLimit(int readings) { m_limit = readings; }
    void setSpoolFile(const QString &path) { m_spoolPath = path; }
    // Starts connecting and returns at once.
    void start(const Address &address, const QString &port);
    // Sends what waits (up to drainMs while the broker is there), then says
    // goodbye; the broker keeps the last message retained. What could not be
    // sent stays in the spool file, or is reported as not published.
    void stop(int drainMs = 2000);
    bool isStarted() const { return m_link != nullptr; }
    bool isConnected() const { return m_connected; }
    int queued() const;
    void publish(const Reading &r);
    // The readings stopped (device or port lost): the will's payload, retained.
    void publishOffline();
    // A payload of its own, retained under TOPIC/LEVEL, through the same queue
    // (never turned away by its bound, never kept in the spool file).
    void publishRetained(const QString &level, const QByteArray &payload);
    // A name that can be one level of a topic: no /, + or # (false, *why the reason).
    static bool isTopicLevel(const QString &level, QString *why);

    struct Link;

signals:
    void connectedChanged(bool connected);

private:
    void enqueue(const QByteArray &payload, bool reading, const QByteArray &level = QByteArray());
    void onConnected();
    void onDown(const QString &reason);
    void onAcked();

    Prompter *m_prompter;
    std::shared_ptr<Link> m_link;
    Address m_address;
    QString m_port;
    QString m_spoolPath;
    int m_limit = 10000;
    bool m_connected = false;
    bool m_down = false;      // an outage or refusal was reported
    QString m_reported;       // its reason, said once
    int m_held = 0;           // readings queued during the outage
    int m_dropped = 0;        // readings the full queue turned away
};
