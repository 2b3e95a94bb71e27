// monitor --mqtt against Debian's mosquitto on the loopback address, set up
// as plants set it up: a login listener, a TLS listener (certificates made
// here with openssl), and a persistent broker that goes away under a running
// monitor. Every printed reading must reach a subscriber, in order.
#include "support/filebytes.h"
#include "support/freeport.h"
#include "support/columns.h"
#include "support/clirun.h"
#include "support/simprocess.h"
#include "support/windowrig.h"
#include "terminal/mqttpublisher.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>

namespace {

struct Broker {
    QProcess process;
    int port = 0;
    QString conf;
    bool start()
    {
        process.start(QStandardPaths::findExecutable(QStringLiteral("mosquitto"), {"/usr/sbin", "/usr/bin"}), {"-c", conf});
        for (int i = 0; i < 100; ++i) {
            QTcpSocket s;
            s.connectToHost(QHostAddress::LocalHost, port);
            if (s.waitForConnected(200))
                return true;
            QTest::qWait(50);
        }
        return false;
    }
    void stop() { process.terminate(); process.waitForFinished(5000); }
    ~Broker() { stop(); }
};

// The readings the subscriber printed so far, one a line; the broker sends
// the terminal's will when it shuts down under it. QoS 1 delivers at least
// once: a reading sent again after a restart carries its own time and is
// the same message, so it counts once.
QStringList messages(QProcess &sub, QStringList *got)
{
    for (const QString &m : QString::fromUtf8(sub.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        if (!got->contains(m))
            *got += m;
    got->removeAll(QStringLiteral("{\"port\":\"Simulated transmitter\",\"status\":\"offline\"}"));
    return *got;
}

// A reading as monitor prints it: "... flow unit total T U".
QString printed(const QString &message)
{
    const QVariantMap o = QJsonDocument::fromJson(message.toUtf8()).object().toVariantMap();
    return o["flow"].toString() + " " + o["unit"].toString() + " total " + o["total"].toString() + " "
           + o["totalUnit"].toString();
}

const Columns<QStringList, QString> kRefusals{"args", "error"};
const Columns<QString, QString, QString, QString> kConnections{"url", "ca", "password", "error"};
const Columns<bool, int> kBrokerAway{"upAtStart", "queue"};
const Columns<QStringList, QString, int, bool> kEndOfRun{"args", "end", "code", "offline"};

} // namespace

class tst_mqtt_cli : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    Broker m_main, m_flaky;
    int m_auth = 0, m_tls = 0;
    const QString m_offline = QStringLiteral("{\"port\":\"Simulated transmitter\",\"status\":\"offline\"}");

    QString file(const QString &name) const { return m_dir.filePath(name); }
    bool run(const QString &program, const QStringList &args)
    {
        QProcess p;
        p.setWorkingDirectory(m_dir.path());
        p.start(program, args);
        return p.waitForFinished(20000) && p.exitCode() == 0;
    }
    void subscribe(QProcess &p, int port, const QString &topic, const QStringList &more = {})
    {
        p.start(QStringLiteral("mosquitto_sub"), QStringList{"-p", QString::number(port), "-t", topic} + more);
        QVERIFY(p.waitForStarted());
        QTest::qWait(200); // subscribed before the first reading
    }
    static bool ended(QProcess &p) { return p.state() == QProcess::NotRunning || p.waitForFinished(10000); }
    static QString topic() { return QStringLiteral("quorin/") + QTest::currentTestFunction() + "/" + QTest::currentDataTag(); }

private slots:
    void initTestCase()
    {
        for (const char *tool : {"mosquitto_sub", "mosquitto_passwd", "openssl"})
            if (QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty())
                QSKIP("mosquitto, mosquitto-clients and openssl are needed (Debian packages)");
        // mosquitto started as root reads its files as the user mosquitto.
        QFile::setPermissions(m_dir.path(), QFile::Permissions(0x7755));
        const QStringList ec{"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2"};
        QVERIFY(run("openssl", QStringList{"req", "-x509", "-keyout", "ca.key", "-out", "ca.crt", "-subj", "/CN=test-ca"} + ec));
        QVERIFY(run("openssl", QStringList{"req", "-x509", "-keyout", "other.key", "-out", "other.crt", "-subj", "/CN=other-ca"} + ec));
        QVERIFY(run("openssl", QStringList{"req", "-keyout", "server.key", "-out", "server.csr", "-subj", "/CN=127.0.0.1"} + ec));
        QVERIFY(writeFileBytes(file("ext.cnf"), "subjectAltName=IP:127.0.0.1\n"));
        QVERIFY(run("openssl", {"x509", "-req", "-in", "server.csr", "-CA", "ca.crt", "-CAkey", "ca.key", "-CAcreateserial",
                                "-out", "server.crt", "-days", "2", "-extfile", "ext.cnf"}));
        QVERIFY(run("mosquitto_passwd", {"-b", "-c", "passwd", "plant", "s3cret"}));
        QVERIFY(QDir(m_dir.path()).mkdir("db") && QFile::setPermissions(file("db"), QFile::Permissions(0x7777)));
        m_main.port = freePort();
        m_auth = freePort();
        m_tls = freePort();
        m_flaky.port = freePort();
        m_main.conf = file("main.conf");
        m_flaky.conf = file("flaky.conf");
        const QString d = m_dir.path() + "/";
        for (auto [name, text] : {std::pair{m_main.conf, QString("per_listener_settings true\nlistener %1 127.0.0.1\n"
                                                                 "allow_anonymous true\nlistener %2 127.0.0.1\n"
                                                                 "allow_anonymous false\npassword_file %4passwd\n"
                                                                 "listener %3 127.0.0.1\nallow_anonymous true\ncafile %4ca.crt\n"
                                                                 "certfile %4server.crt\nkeyfile %4server.key\n")
                                                             .arg(m_main.port).arg(m_auth).arg(m_tls).arg(d)},
                                  std::pair{m_flaky.conf, QString("listener %1 127.0.0.1\nallow_anonymous true\n"
                                                                  "persistence true\npersistence_location %2db/\n")
                                                              .arg(m_flaky.port).arg(d)}})
            QVERIFY(writeFileBytes(name, text.toLatin1()));
        for (const QString &f : QDir(d).entryList(QDir::Files))
            QFile::setPermissions(d + f, QFile::Permissions(0x6644));
        QVERIFY(m_main.start());
        QVERIFY(m_flaky.start());
    }

    // A broker address and its options are taken as given or refused, exit 2, with the reason.
    void refusals_data()
    {
        kRefusals.add();
        const QString url = QStringLiteral("mqtt://127.0.0.1:%1/").arg(m_main.port);
        const QString e = QStringLiteral("quorin-cli: --mqtt: ");
        const QString form = e + "the broker must be given as mqtt://HOST[:PORT]/TOPIC or mqtts://HOST[:PORT]/TOPIC";
        QTest::newRow("wildcard #") << QStringList{"--mqtt", "mqtt://h/a/#"} << e + "the topic must not contain the wildcards + or #";
        QTest::newRow("query") << QStringList{"--mqtt", "mqtt://h/a?x=1"} << e + "the topic must not contain ? (a query)";
        QTest::newRow("NUL") << QStringList{"--mqtt", "mqtt://h/a%00"} << e + "the topic must not contain a NUL or another control character";
        QTest::newRow("control") << QStringList{"--mqtt", "mqtt://h/a%1F"} << e + "the topic must not contain a NUL or another control character";
        QTest::newRow("C1 control") << QStringList{"--mqtt", "mqtt://h/a%C2%9F"} << e + "the topic must not contain a NUL or another control character";
        QTest::newRow("space, NBSP") << QStringList{"--mqtt", url + "a%20%C2%A0"} << QString();
        QTest::newRow("DEL") << QStringList{"--mqtt", "mqtt://h/a%7F"} << e + "the topic must not contain a NUL or another control character";
        QTest::newRow("not UTF-8") << QStringList{"--mqtt", "mqtt://h/a%FF"} << e + "the topic is not UTF-8 text";
        for (const char *bad : {"a%zz", "a%4", "a%"})
            QTest::newRow(bad) << QStringList{"--mqtt", QStringLiteral("mqtt://h/") + bad}
                               << e + "the topic holds a bad percent escape: % must be followed by two hex digits";
        QTest::newRow("65536 bytes") << QStringList{"--mqtt", "mqtt://h/" + QString(65536, 'a')} << e + "the topic is longer than 65535 bytes";
        QTest::newRow("65535 bytes") << QStringList{"--mqtt", url + QString(65535, 'a')} << QString();
        QTest::newRow("empty topic") << QStringList{"--mqtt", "mqtt://h/"} << e + "the topic is empty";
        QTest::newRow("no topic") << QStringList{"--mqtt", "mqtt://h"} << form;
        QTest::newRow("scheme") << QStringList{"--mqtt", "http://h/t"} << form;
        QTest::newRow("port 0") << QStringList{"--mqtt", "mqtt://h:0/t"} << form;
        QTest::newRow("password alone") << QStringList{"--mqtt", "mqtt://:pw@h/t"} << e + "a password needs a user name";
        QTest::newRow("CA, plain") << QStringList{"--mqtt", "mqtt://h/t", "--mqtt-cafile", file("ca.crt")}
                                   << e + "certificate files need an mqtts:// broker";
        QTest::newRow("cert alone") << QStringList{"--mqtt", "mqtts://h/t", "--mqtt-cert", file("server.crt")}
                                    << e + "a client certificate needs its key, and a key its certificate";
        QTest::newRow("no CA file") << QStringList{"--mqtt", "mqtts://h/t", "--mqtt-cafile", "/nonexistent"}
                                    << e + "cannot read /nonexistent";
        QTest::newRow("queue 0") << QStringList{"--mqtt", "mqtt://h/t", "--mqtt-queue", "0"}
                                 << "quorin-cli: --mqtt-queue must be a whole number of readings, 1 or more";
        QTest::newRow("queue 1") << QStringList{"--mqtt", url + "q", "--mqtt-queue", "1"} << QString();
        QTest::newRow("CA alone") << QStringList{"--mqtt-cafile", file("ca.crt")}
                                  << "quorin-cli: --mqtt-cafile, --mqtt-cert, --mqtt-key and --mqtt-queue go with --mqtt";
        QTest::newRow("info") << QStringList{"info", "--mqtt", url + "t"} << "quorin-cli: --mqtt works with monitor and sweep only";
        QTest::newRow("sweep, wildcard +") << QStringList{"sweep", "s.csv", "--out", "o", "--mqtt", "mqtt://h/a/%2B/b"}
                                         << e + "the topic must not contain the wildcards + or #";
    }
    void refusals()
    {
        const auto [args, error] = kRefusals.fetch();
        const QStringList command = args.first() == "sweep" ? QStringList() : QStringList{"--sim", "monitor", "--count", "1"};
        const CliRun r = runCli((args.first() == "info" ? QStringList{"--sim"} : command) + args, 15000);
        QCOMPARE(std::pair(r.code, r.err.trimmed()), std::pair(error.isEmpty() ? 0 : 2, error));
    }

    // Login and TLS: readings arrive, or the refusal says why, once.
    void connections_data()
    {
        kConnections.add();
        const QString a = QStringLiteral("127.0.0.1:%1").arg(m_auth), t = QStringLiteral("127.0.0.1:%1").arg(m_tls);
        const QString why = QStringLiteral("MQTT broker %1 is not connected: %2. The readings go on here and are published when it is back.\n");
        const QString lost = QStringLiteral("MQTT broker %1 did not take the last 3 messages; they were not published.\n");
        QTest::newRow("login") << "mqtt://plant:s3cret@" + a << "" << "" << "";
        QTest::newRow("password from the environment") << "mqtt://plant@" + a << "" << "s3cret" << "";
        QTest::newRow("wrong password") << "mqtt://plant:secret@" + a << "" << "" << why.arg(a, "not authorised") + lost.arg(a);
        QTest::newRow("no login") << "mqtt://" + a << "" << "" << why.arg(a, "not authorised") + lost.arg(a);
        QTest::newRow("TLS") << "mqtts://" + t << file("ca.crt") << "" << "";
        QTest::newRow("TLS, another CA") << "mqtts://" + t << file("other.crt") << "" << why.arg(t, "certificate not trusted") + lost.arg(t);
        const QString down = QStringLiteral("MQTT broker %1 is not reachable. The readings go on here and are published when it is back.\n");
        QTest::newRow("IPv6, down") << "mqtt://[::1]" << "" << "" << down.arg("[::1]:1883") + lost.arg("[::1]:1883");
        const QString p = QStringLiteral("127.0.0.1:%1").arg(m_main.port);
        QTest::newRow("TLS to a plain listener") << "mqtts://" + p << file("ca.crt") << "" << why.arg(p, "TLS handshake failed") + lost.arg(p);
        QTest::newRow("plain to a TLS listener") << "mqtt://" + t << "" << "" << down.arg(t) + lost.arg(t);
        QTest::newRow("TLS, down") << "mqtts://127.0.0.1" << file("ca.crt") << "" << down.arg("127.0.0.1:8883") + lost.arg("127.0.0.1:8883");
    }
    void connections()
    {
        const auto [url, ca, password, error] = kConnections.fetch();
        QProcess sub;
        subscribe(sub, m_main.port, topic(), {"-C", "3", "-W", "10"});
        qputenv("QUORIN_MQTT_PASSWORD", password.toUtf8());
        QStringList args{"--sim", "monitor", "--count", "3", "--interval", "300", "--mqtt", url + "/" + topic()};
        if (!ca.isEmpty())
            args << "--mqtt-cafile" << ca;
        const CliRun r = runCli(args, 20000);
        qunsetenv("QUORIN_MQTT_PASSWORD");
        QCOMPARE(r.err, error);
        QVERIFY(r.code == 0 && r.lines().size() == 3);
        if (!error.isEmpty())
            return;
        QStringList got;
        QTRY_COMPARE_WITH_TIMEOUT(messages(sub, &got).size(), 3, 5000);
        for (int i = 0; i < 3; ++i) {
            const QVariantMap o = QJsonDocument::fromJson(got[i].toUtf8()).object().toVariantMap();
            QVERIFY2(r.lines().at(i).simplified().endsWith(printed(got[i])), qPrintable(got[i]));
            QVERIFY(o["ok"].toBool() && o["port"] == "Simulated transmitter");
            QCOMPARE(o["value"].toDouble(), o["flow"].toString().toDouble());
        }
    }

    // The broker away at the start, or restarted mid-run: every printed reading
    // reaches a subscriber that stays subscribed, in order, but for those the
    // full queue turned away (the newest, counted).
    void brokerAway_data()
    {
        kBrokerAway.add();
        QTest::newRow("down at start") << false << 2;
        QTest::newRow("restarted") << true << 10000;
    }
    void brokerAway()
    {
        const auto [upAtStart, queue] = kBrokerAway.fetch();
        QProcess sub;
        const QStringList session{"-q", "1", "-c", "-i", QString("sub-%1").arg(upAtStart), "-R"};
        if (upAtStart)
            subscribe(sub, m_flaky.port, topic(), session);
        else
            m_flaky.stop();
        const auto back = [&] {
            m_flaky.start();
            if (sub.state() == QProcess::NotRunning)
                subscribe(sub, m_flaky.port, topic(), session);
        };
        const QString url = QStringLiteral("mqtt://127.0.0.1:%1/").arg(m_flaky.port) + topic();
        const CliRun r = runCliProcess({"--sim", "monitor", "--count", "20", "--interval", "300", "--mqtt", url, "--mqtt-queue",
                                        QString::number(queue)},
                                       upAtStart ? 1000 : 400, [&, upAtStart = upAtStart](QProcess &) {
                                           if (!upAtStart)
                                               return back();
                                           m_flaky.stop();
                                           QTimer::singleShot(1500, back);
                                       }, 30000);
        QCOMPARE(r.code, 0);
        const QString host = QStringLiteral("MQTT broker 127.0.0.1:%1 ").arg(m_flaky.port);
        const QRegularExpression said("^" + QRegularExpression::escape(host) + "is not reachable\\. The readings go on here and are "
                                      "published when it is back\\.\n" + QRegularExpression::escape(host) + "is back: publishing "
                                      "resumes\\. (\\d+) readings held meanwhile are sent in order\\.( (\\d+) readings were "
                                      "dropped: the queue holds at most 2\\.)?\n$");
        const QRegularExpressionMatch m = said.match(r.err);
        QVERIFY2(m.hasMatch(), qPrintable(r.err));
        const int dropped = m.captured(3).toInt();
        QVERIFY(upAtStart ? m.captured(2).isEmpty() && m.captured(1).toInt() >= 3 : m.captured(1) == "2" && dropped >= 1);
        QStringList expected = r.lines();
        expected.erase(expected.begin() + (upAtStart ? 0 : 2), expected.begin() + (upAtStart ? 0 : 2 + dropped));
        QStringList got;
        QTRY_COMPARE_WITH_TIMEOUT(messages(sub, &got).size(), expected.size(), 10000);
        sub.kill();
        sub.waitForFinished();
        QCOMPARE(messages(sub, &got).size(), expected.size()); // nothing more
        for (int i = 0; i < got.size(); ++i)
            QVERIFY2(expected[i].simplified().endsWith(printed(got[i])), qPrintable(got[i] + " " + expected[i]));
    }

    // What stays retained when the run ends: the last reading when the operator
    // ended it, the offline status when the device hung up or the terminal died.
    void endOfRun_data()
    {
        kEndOfRun.add();
        QTest::newRow("count reached") << QStringList{"--count", "3"} << "" << 0 << false;
        QTest::newRow("device hung up") << QStringList{"--fault", "hangup:12"} << "" << 1 << true;
        QTest::newRow("terminal killed") << QStringList{} << "kill" << -2 << true;
        QTest::newRow("interrupted by the operator") << QStringList{} << "interrupt" << 0 << false;
        // The device server goes away mid-run: offline while it is away, readings again once it is back.
        QTest::newRow("device server lost, reconnecting") << QStringList{"--reconnect", "--count", "14"} << "server" << 0 << false;
    }
    void endOfRun()
    {
        const auto [args, end, code, offline] = kEndOfRun.fetch();
        const QString url = QStringLiteral("mqtt://127.0.0.1:%1/").arg(m_main.port) + topic();
        const auto retained = [&] {
            QProcess late;
            subscribe(late, m_main.port, topic(), {"-C", "1", "-W", "5"});
            return ended(late) ? QString::fromUtf8(late.readAllStandardOutput()).trimmed() : QString();
        };
        SimProcess sim;
        const bool server = end == "server";
        QVERIFY(!server || sim.start({"--listen", "0", "--no-pacing"}));
        QString away;
        const CliRun r = runCliProcess((server ? QStringList{"--port", sim.path()} : QStringList{"--sim"})
                                           + QStringList{"monitor", "--interval", "300", "--mqtt", url} + args, 2500,
                                       [&, end = end](QProcess &p) {
                                           if (end == "kill")
                                               p.kill();
                                           if (end == "interrupt")
                                               ::kill(pid_t(p.processId()), SIGINT);
                                           if (!server)
                                               return;
                                           QVERIFY(sim.stop());
                                           QTRY_VERIFY_WITH_TIMEOUT((away = retained()).contains("offline"), 5000);
                                           QVERIFY(sim.start({"--listen", sim.path().section(':', -1), "--no-pacing"}));
                                       }, 15000);
        QVERIFY2(r.code == code && !r.lines().isEmpty(), qPrintable(r.err));
        QCOMPARE(away, server ? MqttPublisher::offlineJson(sim.path()) : QString());
        if (offline)
            QCOMPARE(retained(), m_offline);
        else
            QVERIFY2(r.lines().last().simplified().endsWith(printed(retained())), qPrintable(retained()));
    }

    // A sweep leaves each transmitter's result line retained under TOPIC/NAME;
    // a name no topic level can hold is refused with its line, nothing sent.
    void sweepResults()
    {
        SimProcess sim;
        QVERIFY2(sim.start({"--listen", "0", "--devices", "2", "--no-pacing"}), qPrintable(sim.errorString()));
        const int at = sim.path().section(':', -1).toInt();
        const QString url = QStringLiteral("mqtt://127.0.0.1:%1/").arg(m_main.port) + topic(), site = file("site.csv");
        const auto sweep = [&](const QString &name) {
            writeFileBytes(site, QString("name,port,settings,interface,golden\n%1,tcp://127.0.0.1:%2,,,\n"
                                         "right,tcp://127.0.0.1:%3,,,\n").arg(name).arg(at).arg(at + 1).toUtf8());
            return runCli({"sweep", site, "--out", file("out"), "--json", "--mqtt", url}, 60000);
        };
        const CliRun bad = sweep("a#b"), r = sweep("left");
        QVERIFY2(bad.code == 2 && bad.err.startsWith(site + ":2: the name \"a#b\" cannot be published under --mqtt: it holds /, + "
                                                     "or #, which MQTT topics reserve\n"), qPrintable(bad.err));
        QVERIFY2(r.code == 0 && !r.err.contains("MQTT"), qPrintable(r.err));
        QProcess late;
        subscribe(late, m_main.port, topic() + "/#", {"-v", "--retained-only", "-C", "2", "-W", "5"});
        QVERIFY(ended(late));
        QStringList got = QString::fromUtf8(late.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts), printed;
        for (const QString &line : r.lines().mid(0, 2))
            printed << topic() + "/" + QJsonDocument::fromJson(line.toUtf8())["name"].toString() + " " + line;
        QCOMPARE(QSet<QString>(got.begin(), got.end()), QSet<QString>(printed.begin(), printed.end()));
    }

    // The window asks an mqtts:// broker for its CA and a client certificate
    // with its key; a certificate without its key is refused with the reason.
    void windowDialog()
    {
        CommSettings::setExtraValue("Mqtt/Broker", QString()); // none from an earlier run
        WindowRig rig;
        const QString url = QStringLiteral("mqtts://127.0.0.1:%1/%2").arg(m_tls).arg(topic());
        rig.prompter.inputs = QStringList{url, url};
        rig.prompter.fileNames = QStringList{file("ca.crt"), file("server.crt"), "", file("ca.crt")};
        rig.window->menuItem("mnuOptionsMqtt")->trigger();
        QCOMPARE(rig.prompter.texts(), {"Not a broker address: " + url + "\ra client certificate needs its key, and a key its certificate"});
        rig.window->menuItem("mnuOptionsMqtt")->trigger(); // the CA, no client certificate
        QCOMPARE(rig.prompter.texts().size(), 1);
        QCOMPARE(CommSettings::extraValue("Mqtt/Broker") + CommSettings::extraValue("Mqtt/CaFile"), url + file("ca.crt"));
    }

    // The window's queue on disk: what one run could not send waits in the
    // file (a line cut short by a crash is skipped) and goes out, oldest first,
    // when a later run reaches the broker; the file is emptied then.
    void spoolFile()
    {
        const QString path = file("spool/queue.jsonl");
        MqttPublisher::Address a;
        QString error;
        QVERIFY(MqttPublisher::parseUrl(QString("mqtt://127.0.0.1:%1/%2").arg(freePort()).arg(topic()), &a, &error));
        MqttPublisher::Reading r;
        r.flowOk = true;
        r.port = "COM1";
        for (MqttPublisher down(nullptr); r.flow.size() < 3; r.flow += "9") {
            down.setSpoolFile(path);
            down.setQueueLimit(2);
            if (!down.isStarted())
                down.start(a, r.port);
            down.publish(r); // the third is turned away
        }
        QVERIFY(writeFileBytes(path, fileBytes(path) + "{\"flow\":\"99"));
        QProcess sub;
        subscribe(sub, m_main.port, topic(), {"-C", "2", "-W", "10"});
        a.port = m_main.port;
        MqttPublisher up(nullptr);
        up.setSpoolFile(path);
        up.start(a, r.port);
        QTRY_VERIFY(up.queued() == 0 && QFileInfo(path).size() == 0);
        QVERIFY(ended(sub));
        const QStringList got = QString::fromUtf8(sub.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(got.size(), 2);
        QVERIFY2(got[0].startsWith("{\"flow\":\"\",\"ok\":false,\"port\":\"COM1\",\"time\":\""), qPrintable(got[0]));
        QVERIFY2(got[1].endsWith("\"total\":null,\"totalUnit\":null,\"unit\":null,\"value\":9}"), qPrintable(got[1]));
    }
};

QTEST_MAIN(tst_mqtt_cli)
#include "tst_mqtt_cli.moc"
