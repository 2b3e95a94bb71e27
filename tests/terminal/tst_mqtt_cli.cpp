// monitor --mqtt against a real broker on the loopback address: one retained
// JSON reading per poll, the last will when the terminal dies, and a broker
// that is down costs one message and no reading.
#include "support/clirun.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QtTest>

class tst_mqtt_cli : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    QProcess m_broker;
    QString m_url;
    QStringList m_sub;

    static int freePort()
    {
        QTcpServer s;
        s.listen(QHostAddress::LocalHost);
        return s.serverPort();
    }
    // Up to n messages within 10 s; what the subscriber got.
    void subscribe(QProcess &p, int n) { p.start(QStringLiteral("mosquitto_sub"), m_sub + QStringList{"-C", QString::number(n)}); }
    QStringList received(QProcess &p)
    {
        p.waitForFinished(15000); // may have ended inside runCli's wait already
        return QString::fromUtf8(p.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }

private slots:
    void initTestCase()
    {
        const QString exe = QStandardPaths::findExecutable(QStringLiteral("mosquitto"), {"/usr/sbin", "/usr/bin"});
        if (exe.isEmpty() || QStandardPaths::findExecutable(QStringLiteral("mosquitto_sub")).isEmpty())
            QSKIP("mosquitto and mosquitto_sub are not installed (Debian: mosquitto, mosquitto-clients)");
        const int port = freePort();
        QFile conf(m_dir.filePath(QStringLiteral("broker.conf")));
        QVERIFY(conf.open(QIODevice::WriteOnly));
        conf.write(QStringLiteral("listener %1 127.0.0.1\nallow_anonymous true\n").arg(port).toLatin1());
        conf.close();
        m_broker.start(exe, {"-c", conf.fileName()});
        QTRY_VERIFY_WITH_TIMEOUT(!QTcpSocket().bind(QHostAddress::LocalHost, port), 5000); // listening
        m_url = QStringLiteral("mqtt://127.0.0.1:%1/quorin/test").arg(port);
        m_sub = QStringList{"-h", "127.0.0.1", "-p", QString::number(port), "-t", "quorin/test", "-W", "10"};
    }
    void cleanupTestCase() { m_broker.kill(); m_broker.waitForFinished(); }

    void eachReadingIsPublishedRetained()
    {
        QProcess sub, late;
        subscribe(sub, 3);
        const CliRun r = runCli({"--sim", "monitor", "--count", "3", "--interval", "300", "--mqtt", m_url}, 15000);
        QCOMPARE(r.code, 0);
        const QStringList msgs = received(sub);
        QCOMPARE(msgs.size(), 3);
        const QRegularExpression iso("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d[+-]\\d\\d:\\d\\d$");
        for (int i = 0; i < 3; ++i) {
            const QVariantMap o = QJsonDocument::fromJson(msgs[i].toUtf8()).object().toVariantMap();
            QVERIFY2(r.lines().at(i).simplified().endsWith(o["flow"].toString() + " " + o["unit"].toString() + " total "
                                                          + o["total"].toString() + " " + o["totalUnit"].toString()),
                     qPrintable(msgs[i]));
            QCOMPARE(o["value"].toDouble(), o["flow"].toString().toDouble());
            QVERIFY(iso.match(o["time"].toString()).hasMatch() && o["port"] == "Simulated transmitter");
        }
        subscribe(late, 1);
        QCOMPARE(received(late), msgs.mid(2)); // retained: a late subscriber gets the last reading
    }

    void lastWillWhenTheTerminalDies()
    {
        const CliRun r = runCliProcess({"--sim", "monitor", "--interval", "300", "--mqtt", m_url}, 2000,
                                       [](QProcess &p) { p.kill(); }, 15000);
        QVERIFY(r.code == -2 && !r.lines().isEmpty()); // killed while monitoring
        QProcess sub;
        subscribe(sub, 1);
        QCOMPARE(received(sub).value(0), QStringLiteral("{\"port\":\"Simulated transmitter\",\"status\":\"offline\"}"));
    }

    void brokerDownIsReportedOnceAndTheReadingsGoOn()
    {
        const QString down = QStringLiteral("mqtt://127.0.0.1:%1/quorin/test").arg(freePort());
        const CliRun r = runCli({"--sim", "monitor", "--count", "3", "--interval", "300", "--mqtt", down}, 15000);
        QVERIFY(r.code == 0 && r.lines().size() == 3);
        QCOMPARE(r.err.count(QStringLiteral("MQTT broker")), 1);
    }
};

QTEST_GUILESS_MAIN(tst_mqtt_cli)
#include "tst_mqtt_cli.moc"
