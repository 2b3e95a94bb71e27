// A whole site in one run: every transmitter of a site file read, saved,
// compared with its golden table and, on request, put back; each in its own
// quorin-cli process (sweep-one, or import for the put-back).
#include "cli.h"

#include "common/wholefile.h"
#include "files/configcompare.h"
#include "files/configimport.h"
#include "files/configtable.h"
#include "files/servicereport.h"
#include "files/sitefile.h"
#include "files/sitesweep.h"
#include "link/devicelink.h"
#include "session/terminalhost.h"
#include "session/terminalsession.h"
#include "session/terminalstate.h"
#include "terminal/livedisplay.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSocketNotifier>

#include <csignal>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int interruptPipe[2] = {-1, -1};

void onInterrupt(int)
{
    const char c = 1;
    [[maybe_unused]] const ssize_t n = ::write(interruptPipe[1], &c, 1);
}

bool readNumber(const CliContext &c, const QString &name, int def, int min, int max, int *out)
{
    if (!c.options.contains(name)) {
        *out = def;
        return true;
    }
    bool ok = false;
    *out = c.option(name).toInt(&ok);
    return ok && *out >= min && *out <= max;
}

bool samePath(const QString &a, const QString &b)
{
    return QFileInfo(a).absoluteFilePath() == QFileInfo(b).absoluteFilePath()
        || (QFileInfo::exists(a) && QFileInfo(a).canonicalFilePath() == QFileInfo(b).canonicalFilePath());
}

// An output that would land on a symbolic link could leave the folder.
bool outputRefused(const CliContext &c, const QString &path, const QString &golden)
{
    if (QFileInfo(path).isSymLink()) {
        *c.err << "quorin-cli: " << path << " is a symbolic link; the sweep writes only plain files\n";
        return true;
    }
    if (!golden.isEmpty() && samePath(path, golden)) {
        *c.err << "quorin-cli: " << path << " is the golden table; the sweep never writes over it\n";
        return true;
    }
    return false;
}

QJsonObject linkJson(const LinkHealth &h)
{
    return {{QStringLiteral("frames"), double(h.framesSent)}, {QStringLiteral("replies"), double(h.replies)},
            {QStringLiteral("timeouts"), double(h.timeouts)}, {QStringLiteral("lost"), double(h.lost)},
            {QStringLiteral("discarded"), double(h.discarded)}};
}

} // namespace

static CliCommand sweepOneCommand("sweep-one",
    "sweep-one NAME --out DIR [--golden FILE.epr] [--report]  one transmitter of a sweep: saves\n"
    "                       DIR/NAME.epr (and DIR/NAME.pdf), compares, reads flow and total; one JSON line",
    [](CliContext &c) -> int {
        if (c.args.size() != 1)
            return c.usage(QStringLiteral("sweep-one needs NAME"));
        const QString name = c.args[0];
        QString why;
        if (!SiteFile::isSafeName(name, &why))
            return c.usage(QStringLiteral("NAME \"%1\": %2").arg(name, why));
        const QString dir = c.option(QStringLiteral("out"));
        if (dir.isEmpty() || !QFileInfo(dir).isDir())
            return c.usage(QStringLiteral("sweep-one needs --out DIR, an existing folder"));
        const QString goldenPath = c.option(QStringLiteral("golden"));
        ConfigTable golden;
        if (!goldenPath.isEmpty()) {
            if (!golden.readFile(goldenPath, &why))
                return c.usage(why);
            if (golden.recordsRead() != ConfigTable::RowCount)
                return c.usage(QStringLiteral("%1 holds %2 rows; a configuration table has %3")
                                   .arg(goldenPath).arg(golden.recordsRead()).arg(ConfigTable::RowCount));
        }
        const QString epr = SiteSweep::outputPath(dir, name, QStringLiteral(".epr"));
        const QString pdf = SiteSweep::outputPath(dir, name, QStringLiteral(".pdf"));
        const bool report = c.flag(QStringLiteral("report"));
        if (outputRefused(c, epr, goldenPath) || (report && outputRefused(c, pdf, goldenPath)))
            return ExitUsage;

        TerminalHost *host = nullptr;
        const int status = c.readOut(&host);
        if (status == ExitUsage)
            return status;
        QJsonObject o{{QStringLiteral("name"), name}, {QStringLiteral("reached"), status == ExitOk}};
        if (status != ExitOk) {
            // A line cut mid-readout and a line that never answered look alike
            // to the readout; the link's counters tell them apart.
            const LinkHealth &h = c.link->health;
            if (h.lost > 0)
                o.insert(QStringLiteral("reason"), QStringLiteral("the connection was lost during the readout"));
            else if (h.framesSent > 0 && h.replies == 0)
                o.insert(QStringLiteral("reason"), QStringLiteral("no answer on the line"));
            o.insert(QStringLiteral("link"), linkJson(h));
            c.printJson(o);
            return ExitDevice;
        }
        TerminalState &s = host->state();
        const ConfigTable table = ConfigTable::fromTerminal(s);
        QStringList problems; // reached, but not all of it done
        const bool saved = table.writeFile(epr, &why);
        if (!saved) {
            *c.err << "quorin-cli: " << epr << ": " << why << "\n";
            problems << QStringLiteral("table not saved");
        }
        o.insert(QStringLiteral("epr"), saved ? QJsonValue(epr) : QJsonValue(QJsonValue::Null));
        QJsonValue differences(QJsonValue::Null);
        QJsonArray rows;
        if (!goldenPath.isEmpty()) {
            QList<CompareRow> compared;
            if (ConfigCompare::compare(table, golden, &compared, &why)) {
                differences = ConfigCompare::differences(compared);
                for (const CompareRow &r : std::as_const(compared))
                    if (r.differs && !r.live) {
                        QJsonObject row{{QStringLiteral("address"), r.address},
                                        {QStringLiteral("name"), r.control.isEmpty() ? r.name : r.control},
                                        {QStringLiteral("device"), r.dataA}, {QStringLiteral("golden"), r.dataB}};
                        // Why a restore leaves this row as it is, if it does.
                        const QString skip = ConfigImport::notWritten(s, ConfigCompare::findRow(golden, r.address, ConfigTable::RowCount));
                        if (!skip.isEmpty())
                            row.insert(QStringLiteral("skipped"), skip);
                        rows.append(row);
                    }
            } else {
                *c.err << "quorin-cli: " << why << "\n";
                problems << QStringLiteral("not compared");
            }
        }
        o.insert(QStringLiteral("differences"), differences);
        o.insert(QStringLiteral("rows"), rows);
        if (report) {
            ServiceReport sr;
            const bool written = sr.build(*c.session, nullptr, QString(), &why) && sr.writeFile(pdf, &why);
            if (!written) {
                *c.err << "quorin-cli: " << pdf << ": " << why << "\n";
                problems << QStringLiteral("report not saved");
            }
            o.insert(QStringLiteral("pdf"), written ? QJsonValue(pdf) : QJsonValue(QJsonValue::Null));
        }
        // One poll of the live display; what it did not read stays null.
        LiveDisplay live(host->link(), s, &host->prompter());
        const LiveDisplay::Result r = live.tick();
        const auto text = [](bool ok, const QString &t) { return ok ? QJsonValue(t.trimmed()) : QJsonValue(QJsonValue::Null); };
        o.insert(QStringLiteral("flow"), text(r.flowOk, s.FlowText));
        o.insert(QStringLiteral("flow_value"), r.flowOk ? jsonDecimal(s.FlowText) : QJsonValue(QJsonValue::Null));
        o.insert(QStringLiteral("unit"), text(r.unitOk, LiveDisplay::unitShown(s)));
        o.insert(QStringLiteral("total"), text(r.totalOk, s.TotalText));
        o.insert(QStringLiteral("total_value"), r.totalOk ? jsonDecimal(s.TotalText) : QJsonValue(QJsonValue::Null));
        o.insert(QStringLiteral("total_unit"), text(r.totalOk, s.totalUnitText()));
        o.insert(QStringLiteral("link"), linkJson(c.link->health));
        if (!r.flowOk || !r.unitOk)
            problems << QStringLiteral("flow not read");
        if (!r.totalOk)
            problems << QStringLiteral("total not read");
        o.insert(QStringLiteral("reason"), problems.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(problems.join(QStringLiteral(", "))));
        c.printJson(o);
        return problems.isEmpty() && differences.toInt(0) == 0 ? ExitOk : ExitDevice;
    });

static CliCommand sweepCommand("sweep",
    "sweep SITE.csv --out DIR [--jobs N] [--report] [--json] [--device-timeout S]\n"
    "                       read every transmitter of the site file (name,port,settings,interface,golden),\n"
    "                       N at a time (default 8), each in its own process: DIR/NAME.epr, the compare\n"
    "                       with its golden table, DIR/NAME.pdf with --report, flow, total (and link health in --json);\n"
    "                       one line per transmitter, DIR/summary.csv; a transmitter not done in S\n"
    "                       seconds (default 300) is given up; exit 0 all reached and none differs\n"
    "         [--restore]   list the rows that differ from the golden table (nothing is written)\n"
    "         [--restore --yes]  write those rows, each verified, then compare again\n"
    "         [--mqtt URL]  each result also retained on the broker under TOPIC/NAME",
    [](CliContext &c) -> int {
        if (c.args.size() != 1)
            return c.usage(QStringLiteral("sweep needs SITE.csv"));
        const QString dir = c.option(QStringLiteral("out"));
        if (dir.isEmpty())
            return c.usage(QStringLiteral("sweep needs --out DIR"));
        int jobs = 0, timeout = 0;
        if (!readNumber(c, QStringLiteral("jobs"), 8, 1, 256, &jobs))
            return c.usage(QStringLiteral("--jobs must be a whole number, 1 to 256"));
        if (!readNumber(c, QStringLiteral("device-timeout"), 300, 1, 86400, &timeout))
            return c.usage(QStringLiteral("--device-timeout must be a whole number of seconds, 1 to 86400"));
        const bool restore = c.flag(QStringLiteral("restore"));
        if (c.flag(QStringLiteral("yes")) && !restore)
            return c.usage(QStringLiteral("--yes goes with --restore"));
        if (c.options.contains(QStringLiteral("port")) || c.flag(QStringLiteral("sim")))
            return c.usage(QStringLiteral("sweep takes its ports from the site file, not --port or --sim"));
        MqttPublisher::Address broker;
        int mqttQueue = 0;
        if (!readMqtt(c, &broker, &mqttQueue))
            return ExitUsage;

        SiteFile site;
        const bool read = site.read(c.args[0]);
        QStringList errors = site.errors();
        for (const SiteDevice &d : site.devices()) {
            QString why;
            if (!broker.host.isEmpty() && !MqttPublisher::isTopicLevel(d.name, &why))
                errors << QStringLiteral("%1:%2: the name \"%3\" cannot be published under --mqtt: %4")
                              .arg(c.args[0]).arg(d.line).arg(d.name, why);
        }
        if (read)
            errors << SiteSweep::checkOutputs(c.args[0], site.devices(), dir, c.flag(QStringLiteral("report")));
        if (!read || !errors.isEmpty()) {
            for (const QString &e : std::as_const(errors))
                *c.err << e << "\n";
            *c.err << "quorin-cli: " << c.args[0] << " refused; no transmitter was touched\n";
            return ExitUsage;
        }
        if (!QDir().mkpath(dir) || !QFileInfo(dir).isWritable())
            return c.usage(QStringLiteral("%1: the folder cannot be made or written").arg(dir));

        SiteSweep::Options options;
        options.program = QCoreApplication::applicationFilePath();
        options.outDir = QFileInfo(dir).absoluteFilePath();
        options.jobs = jobs;
        options.deviceTimeoutMs = timeout * 1000;
        options.report = c.flag(QStringLiteral("report"));
        options.restore = restore;
        options.yes = c.flag(QStringLiteral("yes"));
        SiteSweep sweep(site.devices(), options);
        const int total = site.devices().size();
        // Each result, retained under TOPIC/NAME as it comes in: the plant sees
        // the site's last sweep. The broker never changes the exit status.
        std::unique_ptr<MqttPublisher> mqtt;
        if (!broker.host.isEmpty()) {
            mqtt = std::make_unique<MqttPublisher>(c.prompter);
            mqtt->setQueueLimit(mqttQueue);
            mqtt->start(broker, c.args[0]);
        }
        const auto publish = [&mqtt](const QString &name, const QJsonObject &o) {
            if (mqtt)
                mqtt->publishRetained(name, QJsonDocument(o).toJson(QJsonDocument::Compact));
        };
        QObject::connect(&sweep, &SiteSweep::deviceFinished, [&](int i) {
            const SweepResult &r = sweep.results()[i];
            publish(r.device.name, r.json);
            if (c.json()) {
                c.printJson(r.json);
            } else {
                for (const QString &line : r.restoreLines)
                    *c.out << r.device.name << "  restore: " << line.trimmed() << "\n";
                *c.out << SiteSweep::resultLine(r) << "\n";
                c.out->flush();
            }
            *c.err << "sweep: " << sweep.finishedCount() << " of " << total << " done\n";
            c.err->flush();
        });

        // Ctrl+C (or a SIGTERM or SIGHUP): the finished results stay, the
        // others are marked stopped, and no child is left running on its own.
        std::unique_ptr<QSocketNotifier> notifier;
        const int stopSignals[] = {SIGINT, SIGTERM, SIGHUP};
        struct sigaction old[3] {};
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, interruptPipe) == 0) {
            notifier = std::make_unique<QSocketNotifier>(interruptPipe[0], QSocketNotifier::Read);
            QObject::connect(notifier.get(), &QSocketNotifier::activated, [&] {
                char b = 0;
                [[maybe_unused]] const ssize_t n = ::read(interruptPipe[0], &b, 1);
                if (!sweep.isStopping()) {
                    *c.err << "sweep: interrupted; stopping the transmitters still running\n";
                    c.err->flush();
                    sweep.stop();
                }
            });
            struct sigaction sa {};
            sa.sa_handler = onInterrupt;
            sigemptyset(&sa.sa_mask);
            sa.sa_flags = SA_RESTART;
            for (int i = 0; i < 3; ++i)
                ::sigaction(stopSignals[i], &sa, &old[i]);
        }
        *c.err << "sweep: 0 of " << total << " done\n";
        c.err->flush();
        sweep.run();
        if (notifier) {
            for (int i = 0; i < 3; ++i)
                ::sigaction(stopSignals[i], &old[i], nullptr);
            notifier.reset();
            ::close(interruptPipe[0]);
            ::close(interruptPipe[1]);
        }
        // Transmitters that never started are listed too.
        for (const SweepResult &r : sweep.results())
            if (r.state == SweepResult::Stopped && r.json.isEmpty()) {
                const QJsonObject o{{QStringLiteral("name"), r.device.name}, {QStringLiteral("port"), r.device.port},
                                    {QStringLiteral("state"), QStringLiteral("stopped")}, {QStringLiteral("reached"), false},
                                    {QStringLiteral("reason"), r.reason}};
                publish(r.device.name, o);
                if (c.json())
                    c.printJson(o);
                else
                    *c.out << SiteSweep::resultLine(r) << "\n";
            }

        const QString summaryPath = SiteSweep::outputPath(options.outDir, QStringLiteral("summary"), QStringLiteral(".csv"));
        QString error;
        QList<SweepResult> back;
        const bool saved = wholefile::write(summaryPath, SiteSweep::summaryCsv(sweep.results()), &error)
                        && SiteSweep::readSummary(summaryPath, &back, &error) && back.size() == total;
        if (!saved)
            *c.err << "quorin-cli: " << (error.isEmpty() ? summaryPath + QStringLiteral(": read back wrong") : error) << "\n";
        const QString summary = SiteSweep::summaryLine(sweep.results());
        if (c.json()) {
            int reached = 0, differ = 0, stopped = 0;
            for (const SweepResult &r : sweep.results()) {
                reached += r.reached;
                differ += r.reached && r.differences > 0;
                stopped += r.state == SweepResult::Stopped;
            }
            c.printJson({{QStringLiteral("summary"), summary}, {QStringLiteral("transmitters"), total},
                         {QStringLiteral("reached"), reached}, {QStringLiteral("differ"), differ},
                         {QStringLiteral("stopped"), stopped}, {QStringLiteral("file"), saved ? summaryPath : QString()}});
        } else {
            *c.out << summary << "\n";
        }
        c.out->flush();
        if (mqtt)
            mqtt->stop(); // what the broker did not take is said
        return saved ? sweep.exitCode() : ExitDevice;
    });
