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

static int freePort()
{
    QTcpServer s;
    s.listen(QHostAddress::LocalHost);
    return s.serverPort();
}

class tst_mqtt_cli : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    QProcess m_broker;
    QString m_url;
    QStringList m_sub;

    // What mosquitto_sub printed: up to n messages within 10 s.
    QStringList received(int n)
    {
        QProcess p;
        p.start(QStringLiteral("mosquitto_sub"), m_sub + QStringList{"-C", QString::number(n)});
        p.waitForFinished(15000);
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
        QVERIFY(m_broker.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(QTcpSocket().bind(QHostAddress::LocalHost, port) == false, 5000);
        m_url = QStringLiteral("mqtt://127.0.0.1:%1/quorin/test").arg(port);
        m_sub = QStringList{"-h", "127.0.0.1", "-p", QString::number(port), "-t", "quorin/test", "-W", "10"};
    }
    void cleanupTestCase() { m_broker.kill(); m_broker.waitForFinished(); }

    void eachReadingIsPublishedRetained()
    {
        QProcess sub;
        sub.start(QStringLiteral("mosquitto_sub"), m_sub + QStringList{"-C", "3"});
        QVERIFY(sub.waitForStarted());
        const CliRun r = runCli({"--sim", "monitor", "--count", "3", "--interval", "300", "--mqtt", m_url}, 15000);
        QCOMPARE(r.code, 0);
        sub.waitForFinished(10000); // may have ended inside runCli's wait already
        const QStringList msgs = QString::fromUtf8(sub.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(msgs.size(), 3);
        for (int i = 0; i < 3; ++i) {
            const QJsonObject o = QJsonDocument::fromJson(msgs[i].toUtf8()).object();
            QVERIFY2(r.lines().at(i).contains(o.value("flow").toString() + " " + o.value("unit").toString()), qPrintable(msgs[i]));
            QCOMPARE(o.value("value").toDouble(), o.value("flow").toString().toDouble());
            QVERIFY(r.lines().at(i).endsWith(o.value("total").toString() + " " + o.value("totalUnit").toString()));
            QVERIFY(QRegularExpression("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d[+-]\\d\\d:\\d\\d$").match(o.value("time").toString()).hasMatch());
            QVERIFY(!o.value("port").toString().isEmpty());
        }
        QCOMPARE(received(1), msgs.mid(2)); // retained: a late subscriber gets the last reading
    }

    void lastWillWhenTheTerminalDies()
    {
        const CliRun r = runCliProcess({"--sim", "monitor", "--interval", "300", "--mqtt", m_url}, 2000,
                                       [](QProcess &p) { p.kill(); }, 15000);
        QCOMPARE(r.code, -2);
        QVERIFY(!r.lines().isEmpty());
        const QJsonObject o = QJsonDocument::fromJson(received(1).value(0).toUtf8()).object();
        QCOMPARE(o.value("status").toString(), QStringLiteral("offline"));
    }

    void brokerDownIsReportedOnceAndTheReadingsGoOn()
    {
        const QString down = QStringLiteral("mqtt://127.0.0.1:%1/quorin/test").arg(freePort());
        const CliRun r = runCli({"--sim", "monitor", "--count", "3", "--interval", "300", "--mqtt", down}, 15000);
        QCOMPARE(r.code, 0);
        QCOMPARE(r.lines().size(), 3);
        QCOMPARE(r.err.count(QStringLiteral("MQTT broker")), 1);
    }
};

QTEST_GUILESS_MAIN(tst_mqtt_cli)
#include "tst_mqtt_cli.moc"
