#include "mqttpublisher.h"

#include "common/prompter.h"
#include "session/terminalstate.h"
#include "trendbuffer.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>
#include <QUrl>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>

#include <mosquitto.h>

QString MqttPublisher::Address::hostText() const
{
    return (host.contains(QLatin1Char(':')) ? QLatin1Char('[') + host + QLatin1Char(']') : host) + QLatin1Char(':')
           + QString::number(port);
}

bool MqttPublisher::parseUrl(const QString &url, Address *out, QString *error)
{
    const auto fail = [error](const char *why) {
        *error = QString::fromLatin1(why);
        return false;
    };
    const int sep = url.indexOf(QLatin1String("://"));
    const QString scheme = url.left(qMax(sep, 0));
    const int slash = url.indexOf(QLatin1Char('/'), sep + 3);
    const QUrl u(scheme + QLatin1String("://") + url.mid(sep + 3, slash - sep - 3), QUrl::StrictMode);
    if ((scheme != QLatin1String("mqtt") && scheme != QLatin1String("mqtts")) || slash < 0 || !u.isValid()
        || u.host().isEmpty() || !u.path().isEmpty() || u.hasQuery() || u.hasFragment() || u.port() == 0)
        return fail("the broker must be given as mqtt://HOST[:PORT]/TOPIC or mqtts://HOST[:PORT]/TOPIC");
    const QString raw = url.mid(slash + 1);
    const QByteArray bytes = QByteArray::fromPercentEncoding(raw.toUtf8());
    const QString topic = QString::fromUtf8(bytes);
    if (raw.contains(QLatin1Char('?')))
        return fail("the topic must not contain ? (a query)");
    static const QRegularExpression badEscape(QStringLiteral("%(?![0-9A-Fa-f]{2})"));
    if (raw.contains(badEscape))
        return fail("the topic holds a bad percent escape: % must be followed by two hex digits");
    if (topic.contains(QLatin1Char('#')) || topic.contains(QLatin1Char('+')))
        return fail("the topic must not contain the wildcards + or #");
    if (topic.isEmpty())
        return fail("the topic is empty");
    if (topic.toUtf8() != bytes)
        return fail("the topic is not UTF-8 text");
    for (const QChar c : topic)
        if (c.unicode() < 0x20 || (c.unicode() >= 0x7f && c.unicode() <= 0x9f))
            return fail("the topic must not contain a NUL or another control character");
    if (bytes.size() > 65535)
        return fail("the topic is longer than 65535 bytes");
    const bool tls = scheme == QLatin1String("mqtts");
    Address a;
    a.host = u.host();
    a.port = u.port(tls ? 8883 : 1883);
    a.topic = topic;
    a.tls = tls;
    a.user = u.userName(QUrl::FullyDecoded);
    a.password = u.password(QUrl::FullyDecoded);
    if (a.user.isEmpty() && !a.password.isEmpty())
        return fail("a password needs a user name");
    if (!a.user.isEmpty() && a.password.isEmpty())
        a.password = qEnvironmentVariable("QUORIN_MQTT_PASSWORD");
    *out = a;
    return true;
}

bool MqttPublisher::setTlsFiles(Address *a, const QString &ca, const QString &cert, const QString &key, QString *error)
{
    if (!a->tls && !(ca + cert + key).isEmpty()) {
        *error = QStringLiteral("certificate files need an mqtts:// broker");
        return false;
    }
    if (cert.isEmpty() != key.isEmpty()) {
        *error = QStringLiteral("a client certificate needs its key, and a key its certificate");
        return false;
    }
    for (const QString &f : {ca, cert, key}) {
        if (!f.isEmpty() && !QFileInfo(f).isReadable()) {
            *error = QStringLiteral("cannot read %1").arg(f);
            return false;
        }
    }
    a->caFile = ca;
    a->certFile = cert;
    a->keyFile = key;
    return true;
}

MqttPublisher::Reading MqttPublisher::fromState(const TerminalState &s, const LiveDisplay::Result &read,
                                                const QString &port, qint64 ms)
{
    Reading r;
    r.ms = ms;
    // Only what this poll read: the state may still hold an older value.
    Q_UNUSED(s);
    r.flowOk = read.flow.has_value();
    r.unitOk = read.unit.has_value();
    r.totalOk = read.total.has_value() && read.totalUnit.has_value();
    r.flow = read.flow.value_or(QString());
    r.unit = read.unit.value_or(QString());
    r.total = read.total.value_or(QString());
    r.totalUnit = read.totalUnit.value_or(QString());
    r.port = port;
    return r;
}

QByteArray MqttPublisher::json(const Reading &r)
{
    const auto read = [](bool ok, const QString &text) { return ok ? QJsonValue(text) : QJsonValue(); };
    double v = 0;
    QJsonObject o;
    o.insert(QStringLiteral("time"), TrendBuffer::isoTime(r.ms));
    o.insert(QStringLiteral("ok"), r.flowOk && r.unitOk && r.totalOk);
    o.insert(QStringLiteral("flow"), read(r.flowOk, r.flow));
    o.insert(QStringLiteral("value"), r.flowOk && TrendBuffer::flowNumber(r.flow, &v) ? QJsonValue(v) : QJsonValue());
    o.insert(QStringLiteral("unit"), read(r.unitOk, r.unit));
    o.insert(QStringLiteral("total"), read(r.totalOk, r.total));
    o.insert(QStringLiteral("totalUnit"), read(r.totalOk, r.totalUnit));
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

QString MqttPublisher::spoolPath(const Address &a)
{
    const QByteArray key = (a.hostText() + QLatin1Char('/') + a.topic).toUtf8();
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QStringLiteral("/mqtt-queue-")
           + QString::fromLatin1(QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex().left(16))
           + QStringLiteral(".jsonl");
}

// What the Qt thread and the connection thread share, under its mutex.
struct MqttPublisher::Link {
    std::mutex mutex;
    std::condition_variable wake;
    MqttPublisher *owner = nullptr; // null once the publisher has let go
    struct Message {
        QByteArray level;   // under the topic; empty: the topic itself
        QByteArray payload;
    };
    std::deque<Message> queue;      // not yet acknowledged, oldest first
    std::deque<int> inFlight;       // message ids of the first queue entries, on this connection
    bool stopping = false;
    bool finished = false;
    std::chrono::steady_clock::time_point drainUntil;
    // Set by the library's callbacks on this connection.
    bool connected = false;
    int connack = -1;
    bool untrusted = false;

    // Runs f on the publisher's thread, if the publisher is still there
    // (called with the mutex held).
    template<typename F> void post(F f)
    {
        if (owner)
            QMetaObject::invokeMethod(owner, [o = owner, f] { f(o); }, Qt::QueuedConnection);
    }
    void run(const Address &a, const QByteArray &will);
};

namespace {

QString refusal(int connack)
{
    switch (connack) {
    case 1: return QStringLiteral("protocol version not accepted");
    case 2: return QStringLiteral("client identifier rejected");
    case 3: return QStringLiteral("server unavailable");
    case 4: return QStringLiteral("bad user name or password");
    case 5: return QStringLiteral("not authorised");
    default: return QStringLiteral("refused (%1)").arg(connack);
    }
}

} // namespace

void MqttPublisher::Link::run(const Address &a, const QByteArray &will)
{
    using Clock = std::chrono::steady_clock;
    const QByteArray host = a.host.toUtf8(), topic = a.topic.toUtf8(), user = a.user.toUtf8(),
                     password = a.password.toUtf8(), ca = QFile::encodeName(a.caFile),
                     cert = QFile::encodeName(a.certFile), key = QFile::encodeName(a.keyFile);
    int attempt = 0;
    bool lastTry = false; // stopping: one more connection for what waits
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            lastTry = stopping;
        }
        mosquitto *m = mosquitto_new(nullptr, true, this);
        mosquitto_int_option(m, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V311);
        mosquitto_will_set(m, topic.constData(), will.size(), will.constData(), 1, true);
        if (!user.isEmpty())
            mosquitto_username_pw_set(m, user.constData(), password.isEmpty() ? nullptr : password.constData());
        if (a.tls)
            mosquitto_tls_set(m, ca.isEmpty() ? nullptr : ca.constData(), ca.isEmpty() ? "/etc/ssl/certs" : nullptr,
                              cert.isEmpty() ? nullptr : cert.constData(), key.isEmpty() ? nullptr : key.constData(),
                              nullptr);
        mosquitto_connect_callback_set(m, [](mosquitto *, void *obj, int rc) {
            auto *self = static_cast<Link *>(obj);
            std::lock_guard<std::mutex> lock(self->mutex);
            self->connack = rc;
            self->connected = rc == 0;
        });
        mosquitto_publish_callback_set(m, [](mosquitto *, void *obj, int mid) {
            auto *self = static_cast<Link *>(obj);
            std::lock_guard<std::mutex> lock(self->mutex);
            for (size_t i = 0; i < self->inFlight.size(); ++i) {
                if (self->inFlight[i] == mid) {
                    self->inFlight.erase(self->inFlight.begin() + long(i));
                    self->queue.erase(self->queue.begin() + long(i));
                    break;
                }
            }
            self->post([](MqttPublisher *p) { p->onAcked(); });
        });
        mosquitto_log_callback_set(m, [](mosquitto *, void *obj, int, const char *text) {
            if (std::strstr(text, "certificate verify failed")) {
                auto *self = static_cast<Link *>(obj);
                std::lock_guard<std::mutex> lock(self->mutex);
                self->untrusted = true;
            }
        });
        {
            std::lock_guard<std::mutex> lock(mutex);
            connected = false;
            connack = -1;
            untrusted = false;
        }
        const Clock::time_point begun = Clock::now();
        // With TLS the library does not see a refused connection when it
        // connects in the background (it spins), so that one connects here;
        // a plain one in the background, so that an address that never
        // answers costs the 10 s below, not the system's connect time-out.
        int rc = a.tls ? mosquitto_connect(m, host.constData(), a.port, 10)
                       : mosquitto_connect_async(m, host.constData(), a.port, 10);
        bool wasConnected = false;
        bool clean = false;
        while (rc == MOSQ_ERR_SUCCESS) {
            std::vector<Message> send;
            {
                std::lock_guard<std::mutex> lock(mutex);
                if (connected && !wasConnected) {
                    wasConnected = true;
                    post([](MqttPublisher *p) { p->onConnected(); });
                }
                // Twenty at a time in flight, in order.
                for (size_t i = inFlight.size(); connected && i < queue.size() && i < 20; ++i)
                    send.push_back(queue[i]);
                if (stopping && (queue.empty() || Clock::now() >= drainUntil)) {
                    clean = connected && queue.empty();
                    break;
                }
                if (!connected && connack < 0 && Clock::now() - begun > std::chrono::seconds(10))
                    break; // no answer to the connect
            }
            for (const auto &s : send) {
                int mid = 0;
                const QByteArray to = s.level.isEmpty() ? topic : topic + '/' + s.level;
                if (mosquitto_publish(m, &mid, to.constData(), s.payload.size(), s.payload.constData(), 1, true)
                    != MOSQ_ERR_SUCCESS)
                    break;
                std::lock_guard<std::mutex> lock(mutex);
                inFlight.push_back(mid);
            }
            rc = mosquitto_loop(m, 100, 1);
        }
        // A goodbye only when everything went out; otherwise the broker's
        // will says the terminal is gone.
        if (clean) {
            mosquitto_disconnect(m);
            mosquitto_loop(m, 100, 1);
        }
        QString reason;
        {
            std::lock_guard<std::mutex> lock(mutex);
            inFlight.clear(); // sent again on the next connection
            if (connack > 0)
                reason = refusal(connack);
            else if (untrusted)
                reason = QStringLiteral("certificate not trusted");
            else if (rc == MOSQ_ERR_TLS)
                reason = QStringLiteral("TLS handshake failed");
        }
        mosquitto_destroy(m);
        attempt = wasConnected ? 1 : qMin(attempt + 1, 5);
        std::unique_lock<std::mutex> lock(mutex);
        const auto over = [&] { return stopping && (lastTry || queue.empty() || Clock::now() >= drainUntil); };
        if (over())
            break;
        if (!stopping)
            post([reason](MqttPublisher *p) { p->onDown(reason); });
        wake.wait_for(lock, std::chrono::seconds(attempt), [this] { return stopping; });
        if (over())
            break;
    }
    std::lock_guard<std::mutex> lock(mutex);
    finished = true;
    wake.notify_all();
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

void MqttPublisher::start(const Address &address, const QString &port)
{
    stop();
    m_address = address;
    m_port = port;
    m_connected = m_down = false;
    m_reported.clear();
    m_held = m_dropped = 0;
    m_link = std::make_shared<Link>();
    m_link->owner = this;
    // What an earlier run could not send goes first, in its order.
    QFile spool(m_spoolPath);
    if (!m_spoolPath.isEmpty() && spool.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : spool.readAll().split('\n')) {
            const QByteArray text = line.trimmed();
            if (QJsonDocument::fromJson(text).isObject()) {
                m_link->queue.push_back({QByteArray(), text});
                ++m_held;
            }
        }
    }
    std::thread([link = m_link, address, will = offlineJson(port)] { link->run(address, will); }).detach();
}

void MqttPublisher::stop(int drainMs)
{
    if (!m_link)
        return;
    std::shared_ptr<Link> link = std::move(m_link);
    std::unique_lock<std::mutex> lock(link->mutex);
    link->stopping = true;
    link->drainUntil = std::chrono::steady_clock::now() + std::chrono::milliseconds(drainMs);
    link->wake.notify_all();
    // A name lookup can hold the thread; it ends on its own and finds nobody to tell.
    link->wake.wait_for(lock, std::chrono::milliseconds(drainMs + 3000), [&] { return link->finished; });
    link->owner = nullptr;
    const std::deque<Link::Message> rest = link->queue;
    const int left = int(rest.size());
    lock.unlock();
    m_connected = false;
    if (!m_spoolPath.isEmpty()) {
        // Only what the broker has not acknowledged waits for the next start.
        QSaveFile spool(m_spoolPath);
        if (spool.open(QIODevice::WriteOnly)) {
            for (const Link::Message &m : rest)
                if (m.level.isEmpty())
                    spool.write(m.payload + '\n');
            spool.commit();
        }
    } else if (left > 0 && m_prompter) {
        m_prompter->message(QStringLiteral("MQTT broker %1 did not take the last %2 messages; they were not published.")
                                .arg(m_address.hostText())
                                .arg(left));
    }
}

int MqttPublisher::queued() const
{
    if (!m_link)
        return 0;
    std::lock_guard<std::mutex> lock(m_link->mutex);
    return int(m_link->queue.size());
}

void MqttPublisher::publish(const Reading &r)
{
    enqueue(json(r), true);
}

void MqttPublisher::publishOffline()
{
    enqueue(offlineJson(m_port), false);
}

void MqttPublisher::publishRetained(const QString &level, const QByteArray &payload)
{
    enqueue(payload, false, level.toUtf8());
}

bool MqttPublisher::isTopicLevel(const QString &level, QString *why)
{
    QString t;
    if (level.contains(QLatin1Char('/')) || level.contains(QLatin1Char('+')) || level.contains(QLatin1Char('#')))
        t = QStringLiteral("it holds /, + or #, which MQTT topics reserve");
    if (why)
        *why = t;
    return t.isEmpty();
}

void MqttPublisher::enqueue(const QByteArray &payload, bool reading, const QByteArray &level)
{
    if (!m_link)
        return;
    {
        std::lock_guard<std::mutex> lock(m_link->mutex);
        // A full queue keeps the oldest readings; the offline status always goes.
        if (reading && int(m_link->queue.size()) >= m_limit) {
            ++m_dropped;
            return;
        }
        m_link->queue.push_back({level, payload});
        if (!m_connected && reading)
            ++m_held;
    }
    if (!m_spoolPath.isEmpty() && level.isEmpty()) {
        QDir().mkpath(QFileInfo(m_spoolPath).absolutePath());
        QFile spool(m_spoolPath);
        if (spool.open(QIODevice::Append))
            spool.write(payload + '\n');
    }
}

void MqttPublisher::onConnected()
{
    m_connected = true;
    emit connectedChanged(true);
    if (m_down && m_prompter) {
        QString text = QStringLiteral("MQTT broker %1 is back: publishing resumes.").arg(m_address.hostText());
        if (m_held > 0)
            text += QStringLiteral(" %1 readings held meanwhile are sent in order.").arg(m_held);
        if (m_dropped > 0)
            text += QStringLiteral(" %1 readings were dropped: the queue holds at most %2.").arg(m_dropped).arg(m_limit);
        m_prompter->message(text);
    }
    m_down = false;
    m_reported.clear();
    m_held = m_dropped = 0;
}

void MqttPublisher::onDown(const QString &reason)
{
    if (m_connected) {
        m_connected = false;
        emit connectedChanged(false);
    }
    m_down = true;
    const QString text = reason.isEmpty() ? QStringLiteral("not reachable") : reason;
    if (text == m_reported || !m_prompter)
        return;
    m_reported = text;
    if (reason.isEmpty())
        m_prompter->message(QStringLiteral("MQTT broker %1 is not reachable. The readings go on here and are "
                                           "published when it is back.")
                                .arg(m_address.hostText()));
    else
        m_prompter->message(QStringLiteral("MQTT broker %1 is not connected: %2. The readings go on here and are "
                                           "published when it is back.")
                                .arg(m_address.hostText(), reason));
}

void MqttPublisher::onAcked()
{
    if (!m_spoolPath.isEmpty() && m_link && queued() == 0)
        QFile::resize(m_spoolPath, 0);
}
