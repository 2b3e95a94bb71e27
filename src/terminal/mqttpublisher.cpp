#include "mqttpublisher.h"

#include "common/prompter.h"
#include "livedisplay.h"
#include "session/terminalstate.h"
#include "trendbuffer.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>
#include <QUrl>

#include <mosquitto.h>

bool MqttPublisher::parseUrl(const QString &url, Address *out, QString *error)
{
    const QUrl u(url, QUrl::StrictMode);
    const QString topic = u.path().mid(1);
    if (!u.isValid() || u.scheme() != QLatin1String("mqtt") || u.host().isEmpty() || topic.isEmpty()
        || topic.contains(QLatin1Char('+')) || topic.contains(QLatin1Char('#')) || u.port(1883) <= 0) {
        *error = QStringLiteral("the broker must be given as mqtt://HOST[:PORT]/TOPIC");
        return false;
    }
    *out = {u.host(), u.port(1883), topic};
    return true;
}

MqttPublisher::Reading MqttPublisher::fromState(const TerminalState &s, const QString &port, qint64 ms)
{
    return {ms, s.FlowText.trimmed(), LiveDisplay::unitShown(s).trimmed(), s.TotalText.trimmed(),
            s.totalUnitText().trimmed(), port};
}

QByteArray MqttPublisher::json(const Reading &r)
{
    double v = 0;
    QJsonObject o;
    o.insert(QStringLiteral("time"), TrendBuffer::isoTime(r.ms));
    o.insert(QStringLiteral("flow"), r.flow);
    o.insert(QStringLiteral("value"), TrendBuffer::flowNumber(r.flow, &v) ? QJsonValue(v) : QJsonValue());
    o.insert(QStringLiteral("unit"), r.unit);
    o.insert(QStringLiteral("total"), r.total);
    o.insert(QStringLiteral("totalUnit"), r.totalUnit);
    o.insert(QStringLiteral("port"), r.port);
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

QByteArray MqttPublisher::offlineJson(const QString &port)
{
    QJsonObject o;
    o.insert(QStringLiteral("status"), QStringLiteral("offline"));
    o.insert(QStringLiteral("port"), port);
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

MqttPublisher::MqttPublisher(Prompter *prompter, QObject *parent) : QObject(parent), m_prompter(prompter)
{
    static const int init = mosquitto_lib_init();
    Q_UNUSED(init);
}

MqttPublisher::~MqttPublisher()
{
    stop();
}

bool MqttPublisher::start(const Address &address, const QString &port, int waitMs)
{
    stop();
    m_address = address;
    m_reported = false;
    m_mosq = mosquitto_new(nullptr, true, this);
    if (!m_mosq) {
        reportDown();
        return false;
    }
    const QByteArray topic = address.topic.toUtf8();
    const QByteArray will = offlineJson(port);
    mosquitto_will_set(m_mosq, topic.constData(), will.size(), will.constData(), 1, true);
    mosquitto_reconnect_delay_set(m_mosq, 1, 5, false);
    // The library's own thread runs the connection and its reconnects; the
    // callbacks come from there and are handed to this thread.
    mosquitto_connect_callback_set(m_mosq, [](mosquitto *, void *obj, int rc) {
        auto *self = static_cast<MqttPublisher *>(obj);
        QMetaObject::invokeMethod(self, [self, rc] { self->setConnected(rc == 0); }, Qt::QueuedConnection);
    });
    mosquitto_disconnect_callback_set(m_mosq, [](mosquitto *, void *obj, int) {
        auto *self = static_cast<MqttPublisher *>(obj);
        QMetaObject::invokeMethod(self, [self] { self->setConnected(false); }, Qt::QueuedConnection);
    });
    mosquitto_connect_async(m_mosq, address.host.toUtf8().constData(), address.port, 10);
    if (mosquitto_loop_start(m_mosq) != MOSQ_ERR_SUCCESS) {
        mosquitto_destroy(m_mosq);
        m_mosq = nullptr;
        reportDown();
        return false;
    }
    QEventLoop loop;
    QTimer timeout;
    timeout.setSingleShot(true);
    connect(&timeout, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(this, &MqttPublisher::connectedChanged, &loop, &QEventLoop::quit);
    timeout.start(waitMs);
    loop.exec();
    if (!m_connected)
        reportDown();
    return m_connected;
}

void MqttPublisher::stop()
{
    if (!m_mosq)
        return;
    mosquitto_disconnect(m_mosq);
    mosquitto_loop_stop(m_mosq, false);
    mosquitto_destroy(m_mosq);
    m_mosq = nullptr;
    m_connected = false;
}

bool MqttPublisher::publish(const Reading &r)
{
    if (!m_mosq)
        return false;
    if (!m_connected) {
        reportDown();
        return false;
    }
    const QByteArray payload = json(r);
    return mosquitto_publish(m_mosq, nullptr, m_address.topic.toUtf8().constData(), payload.size(),
                             payload.constData(), 0, true) == MOSQ_ERR_SUCCESS;
}

void MqttPublisher::setConnected(bool on)
{
    if (on)
        m_reported = false;
    if (on == m_connected)
        return;
    m_connected = on;
    emit connectedChanged(on);
}

void MqttPublisher::reportDown()
{
    if (m_reported || !m_prompter)
        return;
    m_reported = true;
    m_prompter->message(QStringLiteral("MQTT broker %1:%2 is not reachable. The readings go on here and are "
                                       "published when it is back.")
                            .arg(m_address.host)
                            .arg(m_address.port));
}
