// What the main window shows, for scripts: the configuration readout and the
// live flow display.
#include "cli.h"

#include "session/parametermap.h"
#include "session/reconnector.h"
#include "common/prompter.h"
#include "link/devicelink.h"
#include "terminal/livedisplay.h"
#include "terminal/mqttpublisher.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

#include <QDateTime>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSocketNotifier>
#include <QTimer>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>

namespace {

bool readCount(const CliContext &c, const QString &name, int def, int min, int *out)
{
    const QString text = c.option(name);
    if (text.isEmpty()) {
        *out = def;
        return true;
    }
    bool ok = false;
    *out = text.toInt(&ok);
    return ok && *out >= min;
}

// The totalizer as shown, and as a number.
void addTotal(QJsonObject &o, const TerminalState &s)
{
    o.insert(QStringLiteral("total"), s.TotalText);
    o.insert(QStringLiteral("total_value"), jsonDecimal(s.TotalText));
    o.insert(QStringLiteral("total_unit"), s.totalUnitText().trimmed());
}

void printInfoJson(const CliContext &c, const TerminalState &s)
{
    QJsonArray rows;
    for (const Parameter &p : ParameterMap::all()) {
        const bool known = s.CellText.contains(p.address);
        const QString text = s.cellText(p.address);
        rows.append(QJsonObject{
            {QStringLiteral("address"), p.address},
            {QStringLiteral("name"), p.control.isEmpty() ? p.alias : p.control},
            {QStringLiteral("alias"), p.alias},
            {QStringLiteral("value"), jsonNumber(p, text, s.cellValue(p.address), known)},
            {QStringLiteral("text"), known ? QJsonValue(text) : QJsonValue(QJsonValue::Null)},
        });
    }
    QJsonObject o{{QStringLiteral("parameters"), rows}, {QStringLiteral("unit"), s.unitText().trimmed()}};
    addTotal(o, s);
    c.printJson(o);
}

// A value the poll read, or null.
QJsonValue readOrNull(const std::optional<QString> &v)
{
    return v ? QJsonValue(*v) : QJsonValue(QJsonValue::Null);
}

// One poll of monitor as a JSON line: the flow as shown and as a number.
void printMonitorJson(const CliContext &c, const LiveDisplay::Result &r)
{
    const QDateTime now = QDateTime::currentDateTime();
    c.printJson(QJsonObject{
        {QStringLiteral("time"), now.toOffsetFromUtc(now.offsetFromUtc()).toString(Qt::ISODate)},
        {QStringLiteral("flow"), readOrNull(r.flow)},
        {QStringLiteral("flow_value"), r.flow ? jsonDecimal(*r.flow) : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("unit"), readOrNull(r.unit)},
        {QStringLiteral("ok"), r.ok()},
        {QStringLiteral("total"), readOrNull(r.total)},
        {QStringLiteral("total_value"), r.total ? jsonDecimal(*r.total) : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("total_unit"), readOrNull(r.totalUnit)},
    });
}

int stopPipe[2] = {-1, -1};

void onStop(int)
{
    const char c = 1;
    [[maybe_unused]] const ssize_t n = ::write(stopPipe[1], &c, 1);
}

// Ctrl+C or SIGTERM while it lives: the operator ends the run. asked()
// turns true and stopped() runs on the event loop, so a wait can end early.
class StopWatch
{
public:
    explicit StopWatch(std::function<void()> stopped)
    {
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, stopPipe) != 0)
            return;
        m_notifier = std::make_unique<QSocketNotifier>(stopPipe[0], QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this, stopped] {
            char b = 0;
            [[maybe_unused]] const ssize_t n = ::read(stopPipe[0], &b, 1);
            m_asked = true;
            stopped();
        });
        struct sigaction sa {};
        sa.sa_handler = onStop;
        sigemptyset(&sa.sa_mask);
        sa.sa_flags = SA_RESTART;
        ::sigaction(SIGINT, &sa, &m_old[0]);
        ::sigaction(SIGTERM, &sa, &m_old[1]);
    }
    ~StopWatch()
    {
        if (!m_notifier)
            return;
        ::sigaction(SIGINT, &m_old[0], nullptr);
        ::sigaction(SIGTERM, &m_old[1], nullptr);
        m_notifier.reset();
        ::close(stopPipe[0]);
        ::close(stopPipe[1]);
    }
    bool asked() const { return m_asked; }

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
    struct sigaction m_old[2] {};
    bool m_asked = false;
};

// The line's counters; reply times only when there were replies.
void printStats(const CliContext &c, const LinkHealth &h)
{
    if (!c.json()) {
        *c.out << "link: " << h.summary() << "\n";
        c.out->flush();
        return;
    }
    const LinkHealth::Times t = h.times();
    const auto ms = [&t](qint64 v) { return t.count > 0 ? QJsonValue(double(v)) : QJsonValue(QJsonValue::Null); };
    const QJsonObject o{{QStringLiteral("frames"), double(h.framesSent)}, {QStringLiteral("replies"), double(h.replies)},
                        {QStringLiteral("timeouts"), double(h.timeouts)}, {QStringLiteral("lost"), double(h.lost)},
                        {QStringLiteral("discarded"), double(h.discarded)},
                        {QStringLiteral("bytes_out"), double(h.bytesOut)}, {QStringLiteral("bytes_in"), double(h.bytesIn)},
                        {QStringLiteral("reply_ms_least"), ms(t.least)}, {QStringLiteral("reply_ms_median"), ms(t.median)},
                        {QStringLiteral("reply_ms_p95"), ms(t.p95)}, {QStringLiteral("reply_ms_most"), ms(t.most)}};
    c.printJson(QJsonObject{{QStringLiteral("link"), o}});
}

} // namespace

// --mqtt and its companions: the broker, its files and the queue's bound.
// An empty host: no broker. False when something is wrong (said, exit 2).
bool readMqtt(const CliContext &c, MqttPublisher::Address *broker, int *queue)
{
    QString error;
    const QString ca = c.option(QStringLiteral("mqtt-cafile")), cert = c.option(QStringLiteral("mqtt-cert")),
                  key = c.option(QStringLiteral("mqtt-key"));
    if (!readCount(c, QStringLiteral("mqtt-queue"), 10000, 1, queue)) {
        c.usage(QStringLiteral("--mqtt-queue must be a whole number of readings, 1 or more"));
        return false;
    }
    if (!c.options.contains(QStringLiteral("mqtt"))) {
        if (c.options.keys().filter(QStringLiteral("mqtt-")).isEmpty())
            return true;
        c.usage(QStringLiteral("--mqtt-cafile, --mqtt-cert, --mqtt-key and --mqtt-queue go with --mqtt"));
        return false;
    }
    if (!MqttPublisher::parseUrl(c.option(QStringLiteral("mqtt")), broker, &error)
        || !MqttPublisher::setTlsFiles(broker, ca, cert, key, &error)) {
        c.usage(QStringLiteral("--mqtt: ") + error);
        return false;
    }
    return true;
}

static CliCommand infoCommand("info", "info                   read the configuration and show every parameter: address, name, value",
    [](CliContext &c) -> int {
        if (!c.args.isEmpty())
            return c.usage(QStringLiteral("info takes no arguments"));
        TerminalHost *host = nullptr;
        if (const int status = c.readOut(&host))
            return status;
        const TerminalState &s = host->state();
        if (c.json()) {
            printInfoJson(c, s);
            return ExitOk;
        }
        for (const Parameter &p : ParameterMap::all()) {
            const QString name = p.control.isEmpty() ? p.alias : p.control + QLatin1Char('/') + p.alias;
            const QString value = s.CellText.contains(p.address) ? s.cellText(p.address) : QStringLiteral("-");
            *c.out << p.address << "  " << name.leftJustified(36) << " " << value << "\n";
        }
        *c.out << "unit " << s.unitText().trimmed() << ", total " << s.TotalText << " "
               << s.totalUnitText().trimmed() << "\n";
        return ExitOk;
    });

static CliCommand monitorCommand("monitor",
    "monitor [--count N] [--interval MS] [--reconnect] [--stats]  the live flow display, unit and total, one line per poll (N 0: until stopped)",
    [](CliContext &c) -> int {
        if (!c.args.isEmpty())
            return c.usage(QStringLiteral("monitor takes no arguments"));
        int count = 0;
        int interval = 0;
        if (!readCount(c, QStringLiteral("count"), 0, 0, &count))
            return c.usage(QStringLiteral("--count must be a whole number, 0 or more"));
        if (!readCount(c, QStringLiteral("interval"), 1000, 50, &interval))
            return c.usage(QStringLiteral("--interval must be a whole number of milliseconds, 50 or more"));
        MqttPublisher::Address broker;
        int mqttQueue = 0;
        if (!readMqtt(c, &broker, &mqttQueue))
            return ExitUsage;
        TerminalHost *host = c.host();
        if (!host)
            return ExitUsage;
        // Every reading also goes to the broker; one that is down is reported
        // once, the display goes on and the readings wait in the queue.
        std::unique_ptr<MqttPublisher> mqtt;
        const QString portName = host->link().port() ? host->link().port()->portName() : QString();
        if (!broker.host.isEmpty()) {
            mqtt = std::make_unique<MqttPublisher>(&host->prompter());
            mqtt->setQueueLimit(mqttQueue);
            mqtt->start(broker, portName);
        }
        DeviceLink &link = host->link();
        TerminalState &s = host->state();
        SerialPort *port = link.port();
        // As the window's auto update: time-outs stay quiet until the tenth in a row.
        link.AutoUpdateOn = true;
        const auto say = [&c, portName](const char *what) {
            *c.err << "quorin-cli: " << what << " " << portName << "\n";
            c.err->flush();
        };
        // Without --reconnect a lost port ends the run (its message was the
        // report); with it the port is opened again every 2 s, from the
        // start too, and "reconnected" is said once a reply came.
        bool lost = false;
        bool basisDue = true;
        bool backPending = false;
        QObject::connect(&link, &DeviceLink::portLost, [&lost, &basisDue] { lost = basisDue = true; });
        QObject::connect(&link, &DeviceLink::replyReceived, [&backPending, &say] {
            if (backPending)
                say("reconnected to");
            backPending = false;
        });
        std::unique_ptr<Reconnector> again;
        if (c.flag(QStringLiteral("reconnect"))) {
            again = std::make_unique<Reconnector>(&link);
            QObject::connect(again.get(), &Reconnector::reconnecting, [&backPending, &say] {
                backPending = true;
                say("reconnecting to");
            });
            if (!link.PortOpen() && !port->open()) {
                host->prompter().message(port->errorString(), QStringLiteral("System Monitor"), Prompter::Exclamation);
                again->retry();
            }
        } else if (!link.openPort()) {
            return ExitDevice;
        }
        // The operator's Ctrl+C ends the run as --count does: the last
        // reading stays retained at the broker and the queue is sent.
        QEventLoop *waiting = nullptr;
        const StopWatch stop([&again, &waiting] {
            if (again)
                again->setEnabled(false); // ends a wait for the port
            if (waiting)
                waiting->quit();
        });
        LiveDisplay live(link, s, &host->prompter());
        const auto finish = [&c, &link](int status) {
            if (c.flag(QStringLiteral("stats")))
                printStats(c, link.health);
            return status;
        };
        // --count counts the readings printed, failed ones included.
        bool allOk = true;
        bool anyOk = false;
        // The broker hears once per loss that the readings stopped (a loss
        // between two polls too), and readings again once they resume.
        bool offlineSaid = false;
        const auto sayOffline = [&mqtt, &offlineSaid] {
            if (mqtt && !offlineSaid)
                mqtt->publishOffline();
            offlineSaid = true;
        };
        for (int printed = 0; count == 0 || printed < count; ++printed) {
            if (printed > 0 && !stop.asked()) {
                QEventLoop pause;
                waiting = &pause;
                QTimer::singleShot(interval, &pause, &QEventLoop::quit);
                pause.exec();
                waiting = nullptr;
            }
            if (stop.asked())
                break;
            if (lost || (again && again->isRetrying()))
                sayOffline();
            if (lost && !again)
                return finish(ExitDevice);
            if (again && again->isRetrying())
                again->waitUntilBack();
            if (stop.asked())
                break;
            lost = false;
            if (basisDue) {
                // The unit's time base, read again on a port that came back:
                // the device there may be another one. Until it is read, the
                // unit is not known (a flow "in LTR" would be no unit at all).
                s.CellText.remove(QStringLiteral("0104"));
                s.CellValue.remove(QStringLiteral("0104"));
                const QString timeBase = link.ReadMemory(QStringLiteral("0104"), QStringLiteral("01"));
                basisDue = timeBase.isEmpty();
                if (!basisDue)
                    s.setCell(QStringLiteral("0104"), QString::number(timeBase.toInt(nullptr, 16)), timeBase.toInt(nullptr, 16));
            }
            // A poll cut by a loss is a failed reading, never one taken
            // through a port the next exchange opened again on its own.
            LiveDisplay::Result r;
            r.stopped = lost;
            if (!lost)
                r = live.tick();
            if (basisDue && r.unitOk) {
                r.unitOk = false;
                r.unit.reset();
            }
            if (c.json()) {
                printMonitorJson(c, r);
            } else {
                *c.out << QTime::currentTime().toString(QStringLiteral("HH:mm:ss")) << "  "
                       << r.flow.value_or(QString()).rightJustified(9) << " " << r.unit.value_or(QString()).leftJustified(9)
                       << " total " << r.total.value_or(QString()) << " " << r.totalUnit.value_or(QString()) << "\n";
                c.out->flush();
            }
            if (mqtt) {
                mqtt->publish(MqttPublisher::fromState(s, r, portName, QDateTime::currentMSecsSinceEpoch()));
                offlineSaid = false;
            }
            if (lost) // the readings stop here: not live any more
                sayOffline();
            // A poll cut by a loss that --reconnect mends does not fail the run.
            if (!(lost && again))
                allOk = allOk && r.ok();
            anyOk = anyOk || r.ok();
            if (lost && !again)
                return finish(ExitDevice);
        }
        return finish(allOk && anyOk ? ExitOk : ExitDevice);
    });
