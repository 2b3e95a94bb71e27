#pragma once
// Hands every display reading to an MQTT broker as a small JSON object,
// retained, so a dashboard that subscribes later gets the last value at once.
// The broker's last will (retained too) says the terminal went away, should
// this process end without saying goodbye. A broker that is down or goes away
// is reported once per outage, from publish() or start(), never from inside
// a wait; the readings go on and publishing resumes when the library's
// reconnect gets through.
#include <QObject>
#include <QString>

class Prompter;
class TerminalState;
struct mosquitto;

class MqttPublisher : public QObject
{
    Q_OBJECT
public:
    struct Address {
        QString host;
        int port = 1883;
        QString topic;
    };
    // mqtt://HOST[:PORT]/TOPIC; false (with *error) for anything else.
    static bool parseUrl(const QString &url, Address *out, QString *error);

    struct Reading {
        qint64 ms = 0;
        QString flow;      // as the display shows it
        QString unit;
        QString total;
        QString totalUnit;
        QString port;
    };
    static Reading fromState(const TerminalState &state, const QString &port, qint64 ms);
    // {"time":..,"flow":"1.2345","value":1.2345,"unit":..,"total":..,"totalUnit":..,"port":..};
    // value is null when the display shows no number.
    static QByteArray json(const Reading &r);
    static QByteArray offlineJson(const QString &port);

    explicit MqttPublisher(Prompter *prompter, QObject *parent = nullptr);
    ~MqttPublisher() override; // a clean goodbye: the broker keeps the last reading, not the will

    // Connects (waiting up to waitMs for the broker); false when the broker
    // is not reachable, which has been reported. Publishing starts when it is.
    bool start(const Address &address, const QString &port, int waitMs = 2000);
    void stop();
    bool isStarted() const { return m_mosq != nullptr; }
    bool isConnected() const { return m_connected; }
    // False when the reading was not handed to the broker.
    bool publish(const Reading &r);

signals:
    void connectedChanged(bool connected);

private:
    void setConnected(bool on);
    void reportDown();

    Prompter *m_prompter;
    mosquitto *m_mosq = nullptr;
    Address m_address;
    bool m_connected = false;
    bool m_reported = false;
};
