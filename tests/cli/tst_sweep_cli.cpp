// Site sweeps through quorin-cli against a simulated site: site files refused
// row by row before any device is touched; a sweep where one transmitter
// stalls, one drops the line mid-readout and one differs; Ctrl+C; a restore;
// the Devices window and its way into the main window.
#include "files/configtable.h"
#include "files/frmdevices.h"
#include "files/sitefile.h"
#include "files/sitesweep.h"
#include "support/clirun.h"
#include "support/columns.h"
#include "support/filebytes.h"
#include "support/simprocess.h"
#include "support/waituntil.h"
#include "support/windowrig.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTcpServer>
#include <QtTest>

#include <csignal>
#include <sys/stat.h>

namespace {

QList<QJsonObject> jsonLines(const CliRun &r)
{
    QList<QJsonObject> list;
    for (const QString &line : r.lines())
        list << QJsonDocument::fromJson(line.toUtf8()).object();
    return list;
}

QStringList addresses(const QJsonArray &rows)
{
    QStringList a;
    for (const QJsonValue &v : rows)
        a << v.toObject().value(QStringLiteral("address")).toString();
    return a;
}

// The addresses of the import's row lines ("1      0105   04   ...").
QStringList restoreAddresses(const QJsonObject &o)
{
    QStringList a;
    for (const QJsonValue &v : o[QStringLiteral("restore")].toObject()[QStringLiteral("lines")].toArray())
        if (v.toString().size() > 11 && v.toString().at(0).isDigit())
            a << v.toString().mid(7, 4);
    return a;
}

// sim: said by quorin-sim, else by quorin-cli
const Columns<bool, QStringList, QString> kUsageRefused{"sim", "args", "said"};
// expected: each error's start, or the devices read "name|settings|rs485"
const Columns<QByteArray, QStringList> kSiteFileRowsChecked{"text", "expected"};

} // namespace

class TestSweepCli : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QCOMPARE(runCli({"--sim", "export", path("standard.epr")}).code, 0);
        QCOMPARE(runCli({"--sim", "--preset", "second", "export", path("second.epr")}).code, 0);
        // Two rows off the standard preset: what a restore should put back.
        ConfigTable tweaked;
        QString error;
        QVERIFY(tweaked.readFile(path("standard.epr"), &error));
        tweaked.row(3).Data = "03E9";
        tweaked.row(9).Data = "0A";
        QVERIFY(tweaked.writeFile(path("tweaked.epr"), &error));
        QVERIFY(writeFileBytes(path("short.epr"), tweaked.fileBytes().split('\n').mid(0, 2).join('\n') + '\n'));
    }

    void usageRefused_data()
    {
        kUsageRefused.add();
        const QStringList sweep{"sweep", "site.csv", "--out", "o"};
        for (const char *v : {"0", "257"})
            QTest::newRow(QByteArray("jobs ").append(v)) << false << sweep + QStringList{"--jobs", v} << "--jobs must be a whole number, 1 to 256";
        for (const char *v : {"0", "86401"})
            QTest::newRow(QByteArray("timeout ").append(v)) << false << sweep + QStringList{"--device-timeout", v}
                             << "--device-timeout must be a whole number of seconds, 1 to 86400";
        QTest::newRow("yes alone") << false << sweep + QStringList{"--yes"} << "--yes goes with --restore";
        QTest::newRow("no out") << false << QStringList{"sweep", "site.csv"} << "sweep needs --out DIR";
        QTest::newRow("port") << false << sweep + QStringList{"--sim"} << "sweep takes its ports from the site file, not --port or --sim";
        QTest::newRow("name leaves") << false << QStringList{"--sim", "sweep-one", "../x", "--out", "."}
                                     << "NAME \"../x\": the name holds a path separator";
        QTest::newRow("sim no listen") << true << QStringList{"--devices", "3"} << "--devices needs --listen PORT";
        for (const char *n : {"0", "1001"})
            QTest::newRow(QByteArray("sim ").append(n)) << true << QStringList{"--listen", "0", "--devices", n} << QStringLiteral("--devices needs a number 1 to 1000, not \"%1\"").arg(n);
        QTest::newRow("sim room") << true << QStringList{"--listen", "65535", "--devices", "2"} << "--listen 65535 leaves no room for 2 ports";
        for (const char *i : {"0", "4"})
            QTest::newRow(i) << true << QStringList{"--listen", "0", "--devices", "3", "--device-fault", QString(i) + ":noanswer"}
                             << QStringLiteral("--device-fault needs I:SPEC with I from 1 to 3, not \"%1:noanswer\"").arg(i);
    }

    void usageRefused()
    {
        const auto [sim, args, said] = kUsageRefused.fetch();
        if (sim) {
            SimProcess p;
            QVERIFY(!p.start(args));
            QCOMPARE(p.errorString(), "quorin-sim ended (status 2): quorin-sim: " + said);
            return;
        }
        const CliRun r = runCli(args);
        QCOMPARE(r.code, 2);
        QCOMPARE(r.err, "quorin-cli: " + said + "\n");
    }

    void siteFileRowsChecked_data()
    {
        kSiteFileRowsChecked.add();
        QTest::newRow("spreadsheet") << QByteArray("\xEF\xBB\xBFname,Port,settings,interface,golden\r\n# the boiler house\r\n"
                                                   "\"a, \"\"b\"\"\",PORT,\"9600,e,7,1\",rs485,standard.epr\r\n\r\nc,tcp://127.0.0.1:2,,,\r\n"
                                                   + QByteArray(64, 'x') + ",tcp://127.0.0.1:3,,RS232,\r\n")
                                     << QStringList{"a, \"b\"|9600,e,7,1|1", "c||0", QString(64, 'x') + "||0"};
        QTest::newRow("unknown column") << QByteArray("name,port,colour\n")
                                        << QStringList{"site.csv:1: unknown column \"colour\"; the columns are name,port,settings,interface,golden"};
        QTest::newRow("no header") << QByteArray("# nothing yet\n") << QStringList{"site.csv:1: no header line"};
        QTest::newRow("every bad row") << QByteArray(
            "name,port,settings,interface,golden\nok,PORT,,,\nOK,tcp://127.0.0.1:2,,,\n../up,tcp://127.0.0.1:3,,,\n"
            "p,tcp://nohost,,,\ns,tcp://127.0.0.1:5,\"9600,x,8,1\",,\ni,tcp://127.0.0.1:6,,RS422,\n"
            "g,tcp://127.0.0.1:7,,,missing.epr\nf,tcp://127.0.0.1:8,,\nq,\"tcp://127.0.0.1:9,,,\nd,PORT,,,\n"
            "c\x01,tcp://127.0.0.1:12,,,\n.hidden,tcp://127.0.0.1:13,,,\nh,tcp://127.0.0.1:14,,,short.epr\n"
            + QByteArray(65, 'x') + ",tcp://127.0.0.1:15,,,\n-e,tcp://127.0.0.1:16,,,\nl,tcp://localhost:016,,,\n")
            << QStringList{"site.csv:3: the name \"OK\" is given twice",
                           "site.csv:4: the name holds a path separator",
                           "site.csv:5: bad port \"tcp://nohost\": ",
                           "site.csv:6: bad settings \"9600,x,8,1\": ",
                           "site.csv:7: interface \"RS422\" is neither RS232 nor RS485",
                           "site.csv:8: golden file missing.epr does not exist",
                           "site.csv:9: 4 fields where the header has 5",
                           "site.csv:10: a quote is not closed",
                           "site.csv:11: the port \"PORT\" is given twice",
                           "site.csv:12: the name holds a control character",
                           "site.csv:13: the name starts with a dot or starts or ends with a blank",
                           "site.csv:14: golden file short.epr holds 2 rows; a configuration table has 26",
                           "site.csv:15: the name is longer than 64 characters",
                           "site.csv:16: the name starts with \"-\" and would be read as an option",
                           "site.csv:17: the port \"tcp://localhost:016\" is given twice"};
        QTest::newRow("device") << QByteArray() << QStringList{"/dev/zero: not a regular file"};
        QTest::newRow("fifo") << QByteArray() << QStringList{"fifo: not a regular file"};
        QTest::newRow("1 MB and 1") << QByteArray(1024 * 1024 + 1, '#') << QStringList{"site.csv: larger than 1 MB; a site file is a short list"};
    }

    // Every bad row is named with its line; a refused file sends nothing, not
    // even to the rows that are good.
    void siteFileRowsChecked()
    {
        auto [text, expected] = kSiteFileRowsChecked.fetch();
        QTcpServer device;
        QVERIFY(device.listen(QHostAddress::LocalHost));
        const QString port = QStringLiteral("tcp://127.0.0.1:%1").arg(device.serverPort());
        text.replace("PORT", port.toUtf8());
        for (QString &e : expected)
            e.replace(QLatin1String("PORT"), port);
        QVERIFY(writeFileBytes(path("site.csv"), text));
        const QString file = expected.first().startsWith("/dev") ? "/dev/zero" : expected.first().startsWith("fifo") ? path("fifo") : path("site.csv");
        QVERIFY(file != path("fifo") || QFileInfo::exists(file) || ::mkfifo(qPrintable(file), 0600) == 0);

        SiteFile site;
        const bool good = site.read(file);
        QStringList got = site.errors();
        for (QString &e : got)
            e.remove(m_dir.path() + '/');
        if (expected.first().contains(QLatin1Char('|'))) {
            QVERIFY2(good, qPrintable(got.join('\n')));
            QStringList devices;
            for (const SiteDevice &d : site.devices())
                devices << d.name + '|' + d.settings + '|' + QString::number(d.rs485);
            QCOMPARE(devices, expected);
            QCOMPARE(site.devices().first().golden, path("standard.epr"));
            QCOMPARE(site.devices().first().line, 3);
            return;
        }
        QVERIFY(!good);
        QCOMPARE(got.size(), expected.size());
        for (int i = 0; i < got.size(); ++i)
            QVERIFY2(got[i].startsWith(expected[i]), qPrintable(got[i] + " / " + expected[i]));

        const CliRun r = runCli({"sweep", file, "--out", path("refused")});
        QCOMPARE(r.code, 2);
        QStringList err = r.err.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(err.takeLast(), "quorin-cli: " + file + " refused; no transmitter was touched");
        QCOMPARE(err, site.errors());
        QVERIFY(!device.waitForNewConnection(200));
        QVERIFY(!QFileInfo::exists(path("refused")));
    }

    void sweepStalledDroppingAndDifferingTransmitters()
    {
        SimProcess sim;
        const QStringList ports = startSite(sim, 7, {"2:late:2500", "3:hangup:6", "5:greet,lategreet", "6:noanswer", "7:mute:10"});
        QVERIFY2(ports.size() == 7, qPrintable(sim.errorString()));
        const QString site = writeSite("plant.csv", {"same," + ports[0] + ",,,standard.epr", "stalls," + ports[1] + ",,,standard.epr",
                                                     "drops," + ports[2] + ",,RS232,standard.epr", "differs," + ports[3] + ",,,second.epr",
                                                     "chatty," + ports[4] + ",,,standard.epr", "dead," + ports[5] + ",,,",
                                                     "quiet," + ports[6] + ",,,standard.epr"});
        // Reached, but its table and report cannot be saved and the line goes quiet before the flow.
        QVERIFY(QDir().mkpath(path("out/quiet.epr")) && QDir().mkpath(path("out/quiet.pdf")));
        const CliRun r = runCli({"sweep", site, "--out", path("out"), "--jobs", "7", "--device-timeout", "12", "--json", "--report"}, 60000);
        QCOMPARE(r.code, 1);
        QMap<QString, QJsonObject> by;
        for (const QJsonObject &o : jsonLines(r))
            by.insert(o.value("name").toString(), o);
        QCOMPARE(by.size(), 8); // seven and the summary
        QCOMPARE(by["same"]["differences"].toInt(-1), 0);
        QVERIFY(by["same"]["flow_value"].isDouble());
        for (const auto &[name, reached, reason] : {std::tuple{"same", true, ""}, {"stalls", false, "no result within 12 s"},
                                                    {"drops", false, "the connection was lost during the readout"}, {"dead", false, "no answer on the line"},
                                                    {"quiet", true, "table not saved, report not saved, flow not read, total not read"}})
            QCOMPARE(std::pair(by[name]["reached"].toBool(), by[name]["reason"].toString()), std::pair(reached, QString::fromLatin1(reason)));
        QCOMPARE(by[""]["summary"].toString(), "7 transmitters: 4 reached, 3 not reached, 1 differ from their golden table, 1 not fully saved or read");
        QCOMPARE(by["differs"]["reached"].toBool(), true);
        QVERIFY(by["differs"]["differences"].toInt() > 0);
        QCOMPARE(by["differs"]["differences"].toInt(), by["differs"]["rows"].toArray().size());
        QVERIFY(r.err.contains("sweep: 7 of 7 done\n"));
        // A server that greets on connect and again as the line is first
        // used: the greetings are counted and dropped, the values are read.
        QCOMPARE(by["chatty"]["differences"].toInt(-1), 0);
        QVERIFY(by["chatty"]["link"].toObject()["discarded"].toInt() > 0);

        ConfigTable saved;
        QString error;
        QVERIFY2(saved.readFile(path("out/same.epr"), &error), qPrintable(error));
        QCOMPARE(saved.recordsRead(), ConfigTable::RowCount);
        QVERIFY(QFileInfo(path("out/differs.pdf")).size() > 0);
        QVERIFY(!QFileInfo::exists(path("out/stalls.epr")));
        QList<SweepResult> summary;
        QVERIFY2(SiteSweep::readSummary(path("out/summary.csv"), &summary, &error), qPrintable(error));
        QCOMPARE(summary.size(), 7);
        const QString stalled = SiteSweep::resultLine(summary[1]); // as read back, as printed
        QVERIFY2(QRegularExpression("^stalls  " + ports[1] + "  not reached: no result within 12 s, [0-9]+\\.[0-9] s$").match(stalled).hasMatch(), qPrintable(stalled));
        QVERIFY2(QRegularExpression("^frames [1-9][0-9]*, replies [1-9][0-9]*, time-outs 0, lost 0, discarded 0$").match(summary[0].link).hasMatch(),
                 qPrintable(summary[0].link));
        QCOMPARE(summary[2].link, "frames 6, replies 5, time-outs 0, lost 1, discarded 0"); // the line dropped on the sixth
        QCOMPARE(summary[6].reason, by["quiet"]["reason"].toString());
        QVERIFY(!summary[6].good() && summary[0].good());
        QCOMPARE(summary[3].differences, by["differs"]["differences"].toInt());

        // Ctrl+C (or SIGTERM) while the stalled one runs: the finished result
        // stays, the running and the waiting ones are marked.
        for (int sig : {SIGINT, SIGTERM}) {
            QProcess p;
            p.start(QStringLiteral(QUORIN_CLI_EXE), {"sweep", site, "--out", path("out2"), "--jobs", "1"});
            QByteArray err;
            waitUntil([&] { err += p.readAllStandardError(); return err.contains("sweep: 1 of 7 done"); }, 30000);
            ::kill(pid_t(p.processId()), sig);
            QVERIFY(p.waitForFinished(10000));
            QCOMPARE(p.exitCode(), 1);
            QVERIFY((err + p.readAllStandardError()).contains("sweep: interrupted; stopping the transmitters still running\n"));
            QStringList lines = QString::fromUtf8(p.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
            QVERIFY2(lines.size() == 8, qPrintable(lines.join('\n')));
            QVERIFY2(QRegularExpression("^same  " + ports[0] + "  reached, 0 rows differ, flow [0-9.]+ LTR/Min, total [0-9]+ LTR, [0-9]+\\.[0-9] s$")
                         .match(lines.takeFirst()).hasMatch(), "same");
            QCOMPARE(lines, QStringList({"stalls  " + ports[1] + "  stopped: stopped before it finished",
                                         "drops  " + ports[2] + "  stopped: stopped before it started",
                                         "differs  " + ports[3] + "  stopped: stopped before it started",
                                         "chatty  " + ports[4] + "  stopped: stopped before it started",
                                         "dead  " + ports[5] + "  stopped: stopped before it started",
                                         "quiet  " + ports[6] + "  stopped: stopped before it started",
                                         "7 transmitters: 1 reached, 0 not reached, 0 differ from their golden table, 6 stopped"}));
            QVERIFY(SiteSweep::readSummary(path("out2/summary.csv"), &summary, &error));
            QCOMPARE(summary[1].state, SweepResult::Stopped);
            QCOMPARE(summary[0].state, SweepResult::Done);
        }
    }

    void restoreWritesTheDifferingRowsOnly()
    {
        SimProcess sim;
        const QStringList ports = startSite(sim, 2, {});
        QVERIFY2(ports.size() == 2, qPrintable(sim.errorString()));
        const QString site = writeSite("restore.csv", {"a," + ports[0] + ",,,tweaked.epr", "b," + ports[1] + ",,,standard.epr"});
        // An output never lands on an input: its own golden table, another row's, the site file; nor on a link.
        QVERIFY(QFile::copy(path("standard.epr"), path("a.epr")) && QDir().mkpath(path("ln")));
        QVERIFY(QFile::link(path("x.csv"), path("ln/summary.csv")));
        for (const auto &[rows, out, said] : QList<std::tuple<QStringList, QString, QString>>{
                 {{"standard," + ports[0] + ",,,standard.epr"}, m_dir.path(), ":2: the sweep would write " + path("standard.epr")},
                 {{"a," + ports[0] + ",,,", "b," + ports[1] + ",,,a.epr"}, path("ln/../."), ":2: the sweep would write " + path("a.epr")},
                 {{"a," + ports[0] + ",,,"}, m_dir.path(), "the sweep would write " + path("summary.csv")},
                 {{"a," + ports[0] + ",,,"}, path("ln"), path("ln/summary.csv") + " is a symbolic link"}}) {
            const QString over = writeSite(out == m_dir.path() && rows.size() == 1 && rows[0].startsWith("a") ? "summary.csv" : "over.csv", rows);
            const CliRun refused = runCli({"sweep", over, "--out", out});
            QCOMPARE(refused.code, 2);
            QVERIFY2(refused.err.startsWith((said.startsWith(':') ? over : QString()) + said), qPrintable(refused.err));
        }

        const QStringList args{"sweep", site, "--out", path("r"), "--json", "--restore"};
        const CliRun dry = runCli(args, 60000);
        QCOMPARE(dry.code, 1);
        const QJsonObject a = jsonLines(dry).value(0).value("name") == "a" ? jsonLines(dry)[0] : jsonLines(dry)[1];
        const QStringList differing = addresses(a["rows"].toArray());
        QCOMPARE(differing, QStringList({"0134", "01E9"}));
        QCOMPARE(restoreAddresses(a), differing);
        QVERIFY(a["restore"]["lines"].toArray().last().toString().startsWith(
            QStringLiteral("dry run: %1 rows would be written, nothing was sent").arg(differing.size())));

        const CliRun yes = runCli(args + QStringList{"--yes"}, 120000);
        QVERIFY2(yes.code == 0, qPrintable(yes.out + yes.err));
        for (const QJsonObject &o : jsonLines(yes)) {
            if (o["name"] == "a")
                QCOMPARE(restoreAddresses(o), differing);
            if (o["name"] == "b")
                QCOMPARE(o["restore"]["lines"].toArray(), QJsonArray({"nothing to write"}));
        }
        const CliRun again = runCli({"sweep", site, "--out", path("r"), "--jobs", "256", "--device-timeout", "86400"}, 60000);
        QCOMPARE(again.code, 0);
        QCOMPARE(again.lines().last(), "2 transmitters: 2 reached, 0 not reached, 0 differ from their golden table");

        // A device in tenths mode keeps its coefficient A: the restore says so.
        SimProcess tenths;
        QVERIFY(tenths.start({"--listen", "0", "--preset", "tenths", "--no-pacing", "--fault", "late:60"}));
        const QString t = writeSite("tenths.csv", {"c," + tenths.path() + ",,,second.epr"});
        for (const char *line : {"c  restore: skipped 012D txtAFCor: the device is in tenths mode", "c  restore: dry run: 22 rows"})
            QVERIFY(runCli({"sweep", t, "--out", path("t"), "--restore"}, 60000).out.contains(line));
        // Ctrl+C while it writes: the rows verified so far are listed; the
        // child stops between two rows.
        const CliRun stopped = runCliProcess({"sweep", t, "--out", path("t"), "--restore", "--yes"}, 2500,
                                             [](QProcess &p) { ::kill(pid_t(p.processId()), SIGINT); }, 22500);
        QCOMPARE(stopped.code, 1);
        const QStringList lines = stopped.lines();
        QVERIFY2(lines.size() >= 3 && QRegularExpression("^c  restore: interrupted: ([0-9]+) of 22 rows written and verified, the others were not sent$")
                                          .match(lines.at(lines.size() - 3)).captured(1).toInt() == lines.size() - 3, qPrintable(lines.join('\n')));
        QCOMPARE(lines.mid(lines.size() - 2), QStringList({"c  " + tenths.path() + "  stopped: the restore was interrupted",
                                                          "1 transmitters: 0 reached, 0 not reached, 0 differ from their golden table, 1 stopped"}));
    }

    void writingChildThatIgnoresTheStopIsEnded()
    {
        // A child that names its row and then neither stops nor ends.
        QVERIFY(writeFileBytes(path("deaf.sh"), "#!/bin/sh\ntrap '' TERM\necho 'import: writing 0105' >&2\nexec sleep 20\n"));
        QVERIFY(QFile::setPermissions(path("deaf.sh"), QFile::ReadOwner | QFile::ExeOwner));
        SiteDevice d;
        d.name = "deaf";
        d.golden = path("standard.epr");
        SiteSweep::Options o;
        o.program = path("deaf.sh");
        o.restore = o.yes = true;
        o.stopGraceMs = 300;
        SiteSweep sweep({d}, o);
        QTimer::singleShot(500, &sweep, &SiteSweep::stop);
        sweep.run();
        const SweepResult &r = sweep.results().value(0);
        QCOMPARE(std::pair(int(r.state), r.reason), std::pair(int(SweepResult::Stopped), QStringLiteral("the restore was interrupted")));
        QCOMPARE(r.restoreLines, QStringList{"0105  interrupted, outcome unknown"});
    }

    void devicesWindowSweepsAndOpensOne()
    {
        // The seed varies the presets, the same way every time.
        QList<QStringList> presets;
        for (int run = 0; run < 2; ++run) {
            SimProcess s;
            QVERIFY(s.start({"--listen", "0", "--devices", "6", "--seed", "5"}));
            presets << QStringList();
            for (const QByteArray &line : s.errorOutput().split('\n'))
                if (line.contains(" preset "))
                    presets.last() << QString::fromUtf8(line).section(' ', 4, 4);
        }
        QCOMPARE(presets[0].size(), 6);
        QCOMPARE(presets[0], presets[1]);
        QVERIFY(presets[0].removeDuplicates() > 0 && presets[0].size() > 1);

        SimProcess sim;
        const QStringList ports = startSite(sim, 2, {});
        QVERIFY2(ports.size() == 2, qPrintable(sim.errorString()));
        const QString site = writeSite("window.csv", {"one," + ports[0] + ",,,standard.epr", "two," + ports[1] + ",,,second.epr"});
        ScriptedPrompter prompter;
        {
            frmDevices window(prompter, QStringLiteral(QUORIN_CLI_EXE));
            QVERIFY(window.openSite(site));
            QSignalSpy progress(window.findChild<QProgressBar *>("ProgBar1"), &QProgressBar::valueChanged);
            // A double click while the sweep runs opens nothing.
            int opened = 0;
            connect(&window, &frmDevices::openDevice, &window, [&opened] { ++opened; });
            auto *grid = window.findChild<QTableWidget *>("grdDevices");
            connect(window.findChild<QProgressBar *>("ProgBar1"), &QProgressBar::valueChanged, grid, [grid] { emit grid->cellDoubleClicked(0, 0); });
            window.findChild<QPushButton *>("cmdSweep")->click();
            // One step per transmitter done, then back to empty.
            QCOMPARE(QList<QList<QVariant>>(progress), (QList<QList<QVariant>>{{1}, {2}, {0}}));
            QCOMPARE(opened, 0);
        }
        // A window opened later shows the last sweep, read back from its summary.
        frmDevices window(prompter, QStringLiteral(QUORIN_CLI_EXE));
        QVERIFY(window.openSite(site));
        auto *grid = window.findChild<QTableWidget *>("grdDevices");
        QCOMPARE(grid->item(0, 2)->text(), "yes");
        QCOMPARE(grid->item(0, 3)->text(), "0");
        QVERIFY(grid->item(1, 3)->text().toInt() > 0);
        QVERIFY(!grid->item(1, 6)->text().isEmpty());
        QVERIFY(prompter.entries.isEmpty());
        // Restore asks first: No sends nothing; Yes writes the rows that differ.
        const int before = grid->item(1, 3)->text().toInt();
        for (const bool yes : {false, true}) {
            prompter.answers << yes;
            window.findChild<QPushButton *>("cmdRestore")->click();
            QCOMPARE(grid->item(1, 3)->text().toInt() < before, yes);
        }
        QCOMPARE(prompter.texts("yesno"), QStringList(2, "Write the rows that differ from their golden tables into the transmitters "
                                                  "of this site, each row verified?"));
        prompter.clear();
        // Stop, enabled only while a sweep runs, stops it as Ctrl+C does.
        auto *stop = window.findChild<QPushButton *>("cmdStop");
        bool enabled = false;
        QVERIFY(!stop->isEnabled());
        QTimer::singleShot(0, stop, [&] { enabled = stop->isEnabled(); stop->click(); });
        window.findChild<QPushButton *>("cmdSweep")->click();
        QVERIFY(enabled && !stop->isEnabled());
        QCOMPARE(grid->item(1, 2)->text(), "stopped");
        // The window refuses a linked summary as the command does, before any transmitter is touched.
        const QString summary = path("window-sweep/summary.csv");
        QVERIFY(QFile::remove(summary) && QFile::link(path("x.csv"), summary));
        window.findChild<QPushButton *>("cmdSweep")->click();
        QCOMPARE(prompter.texts(), QStringList{"The sweep is refused; no transmitter was touched:\r" + summary
                                               + " is a symbolic link; the sweep writes only plain files"});
        QVERIFY(!QFileInfo::exists(path("x.csv")));
        prompter.clear();

        // Through the main window: a double click makes that transmitter its device.
        qputenv("QUORIN_CLI", QUORIN_CLI_EXE);
        WindowRig rig;
        rig.prompter.fileNames << site;
        rig.window->execDialog = [](QDialog &d) {
            emit d.findChild<QTableWidget *>("grdDevices")->cellDoubleClicked(1, 0);
            return int(QDialog::Accepted);
        };
        rig.window->setMenusLocked(true);
        QVERIFY(!rig.enabled("mnuOpenSite"));
        rig.window->setMenusLocked(false);
        rig.window->menuItem("mnuOpenSite")->trigger();
        QCOMPARE(rig.window->portName(), ports[1]);
    }

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }
    // A site of n simulated transmitters; the ports from the first line on.
    QStringList startSite(SimProcess &sim, int n, const QStringList &faults);
    QString writeSite(const QString &name, const QStringList &rows);
};

QStringList TestSweepCli::startSite(SimProcess &sim, int n, const QStringList &faults)
{
    QStringList args{"--listen", "0", "--devices", QString::number(n), "--no-pacing"};
    for (const QString &f : faults)
        args << "--device-fault" << f;
    if (!sim.start(args))
        return {};
    const int first = sim.path().section(QLatin1Char(':'), -1).toInt();
    QStringList ports;
    for (int i = 0; i < n; ++i)
        ports << QStringLiteral("tcp://127.0.0.1:%1").arg(first + i);
    return ports;
}

QString TestSweepCli::writeSite(const QString &name, const QStringList &rows)
{
    // A site file that could not be written is named by no path, and the sweep refuses it.
    return writeFileBytes(path(name), ("name,port,settings,interface,golden\n" + rows.join(QLatin1Char('\n')) + "\n").toUtf8()) ? path(name) : QString();
}

QTEST_MAIN(TestSweepCli)
#include "tst_sweep_cli.moc"
