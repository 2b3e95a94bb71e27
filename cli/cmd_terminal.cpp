// What the main window shows, for scripts: the configuration readout and the
// live flow display.
#include "cli.h"

#include "session/parametermap.h"
#include "session/reconnector.h"
#include "link/devicelink.h"
#include "terminal/livedisplay.h"
#include "terminal/mqttpublisher.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <memory>

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

// One poll of monitor as a JSON line: the flow as shown and as a number.
void printMonitorJson(const CliContext &c, const TerminalState &s, bool ok)
{
    const QDateTime now = QDateTime::currentDateTime();
    QJsonObject o{
        {QStringLiteral("time"), now.toOffsetFromUtc(now.offsetFromUtc()).toString(Qt::ISODate)},
        {QStringLiteral("flow"), s.FlowText.trimmed()},
        {QStringLiteral("flow_value"), jsonDecimal(s.FlowText)},
        {QStringLiteral("unit"), LiveDisplay::unitShown(s).trimmed()},
        {QStringLiteral("ok"), ok},
    };
    addTotal(o, s);
    c.printJson(o);
}

} // namespace

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
        // As the window's auto update: time-outs stay quiet until the tenth in a row.
        link.AutoUpdateOn = true;
        // The time base of the unit text, as the readout would give it.
        const QString timeBase = link.ReadMemory(QStringLiteral("0104"), QStringLiteral("01"));
        if (timeBase.size() >= 2)
            s.setCell(QStringLiteral("0104"), QString::number(timeBase.left(2).toInt(nullptr, 16)),
                      timeBase.left(2).toInt(nullptr, 16));
        LiveDisplay live(link, s, &host->prompter());
        // With --reconnect a lost port is opened again and the display goes
        // on; the poll that saw the loss does not count.
        std::unique_ptr<Reconnector> again;
        if (c.flag(QStringLiteral("reconnect"))) {
            again = std::make_unique<Reconnector>(&link);
            const QString name = link.port() ? link.port()->portName() : QString();
            QObject::connect(again.get(), &Reconnector::reconnecting, [&c, name] {
                *c.err << "quorin-cli: reconnecting to " << name << "\n";
                c.err->flush();
            });
            QObject::connect(again.get(), &Reconnector::reconnected, [&c, name] {
                *c.err << "quorin-cli: reconnected to " << name << "\n";
                c.err->flush();
            });
        }
        // --stats: the line's counters after the last poll, on one line.
        const auto finish = [&c, &link](int status) {
            if (c.flag(QStringLiteral("stats"))) {
                if (c.json()) {
                    const LinkHealth &h = link.health;
                    const LinkHealth::Times t = h.times();
                    QJsonObject o{{QStringLiteral("frames"), double(h.framesSent)}, {QStringLiteral("replies"), double(h.replies)},
                                  {QStringLiteral("timeouts"), double(h.timeouts)}, {QStringLiteral("discarded"), double(h.discarded)},
                                  {QStringLiteral("bytes_out"), double(h.bytesOut)}, {QStringLiteral("bytes_in"), double(h.bytesIn)},
                                  {QStringLiteral("reply_ms_least"), double(t.least)}, {QStringLiteral("reply_ms_median"), double(t.median)},
                                  {QStringLiteral("reply_ms_p95"), double(t.p95)}, {QStringLiteral("reply_ms_most"), double(t.most)}};
                    *c.out << QJsonDocument(QJsonObject{{QStringLiteral("link"), o}}).toJson(QJsonDocument::Compact) << "\n";
                } else {
                    *c.out << "link: " << link.health.summary() << "\n";
                }
                c.out->flush();
            }
            return status;
        };
        bool allOk = true;
        for (int i = 0; count == 0 || i < count; ++i) {
            if (i > 0)
                link.pause(interval);
            if (again && again->isRetrying())
                again->waitUntilBack();
            const LiveDisplay::Result r = live.tick();
            const bool retry = r.stopped && again && again->isRetrying();
            if (!retry)
                allOk = allOk && r.ok();
            if (c.json()) {
                printMonitorJson(c, s, r.ok());
            } else {
                *c.out << QTime::currentTime().toString(QStringLiteral("HH:mm:ss")) << "  "
                       << s.FlowText.rightJustified(9) << " " << LiveDisplay::unitShown(s).trimmed().leftJustified(9)
                       << " total " << s.TotalText << " " << s.totalUnitText().trimmed() << "\n";
                c.out->flush();
            }
            if (mqtt) {
                mqtt->publish(MqttPublisher::fromState(s, r, portName, QDateTime::currentMSecsSinceEpoch()));
                if (r.stopped) // the readings stop here: not live any more
                    mqtt->publishOffline();
            }
            if (retry) {
                --i;
                continue;
            }
            if (r.stopped)
                return finish(ExitDevice);
        }
        return finish(allOk ? ExitOk : ExitDevice);
    });
