// quorin-cli --json against the built-in simulated transmitter: what each
// command prints parses as JSON, with the keys a script reads, numbers as
// numbers, and the exit status of the text output.
#include "support/columns.h"
#include "support/clirun.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const Columns<QStringList, int, int, QStringList> kCommandsPrintJson{"args", "code", "lines", "checks"};

} // namespace

class TestJsonCli : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        // One verified write in this test's own journal, and a table of the same device.
        QCOMPARE(runCli({"--sim", "set", "txtLowFcut", "7"}).code, 0);
        QCOMPARE(runCli({"--sim", "export", m_dir.filePath("t.epr"), "--yes"}).code, 0);
    }

    void commandsPrintJson_data()
    {
        // Exit status, lines printed, and on every line "path == JSON" (the value) or
        // "path is TYPE"; a path is object keys and array indexes: "parameters/4/value".
        kCommandsPrintJson.add();
        QTest::newRow("info") << QStringList{"--sim", "info"} << 0 << 1 << QStringList{"unit == \"LTR/Min\"",
            "parameters/4/name == \"txtMaxFlow\"", "parameters/4/value == 5000",
            "parameters/4/text == \"5000\"", "parameters/10/value == 500000", "total_value is number"};
        QTest::newRow("get") << QStringList{"--sim", "get", "max-flow"} << 0 << 1 << QStringList{"name == \"txtMaxFlow\"",
            "alias == \"max-flow\"", "address == \"0105\"", "value == 5000", "text == \"5000\""};
        QTest::newRow("params") << QStringList{"--sim", "params"} << 0 << 1 << QStringList{
            "parameters/4/width == 4", "parameters/5/name == \"total-counter\""};
        QTest::newRow("monitor") << QStringList{"--sim", "monitor", "--count", "3", "--interval", "50"} << 0 << 3
            << QStringList{"flow is string", "flow_value is number", "unit == \"LTR/Min\"", "total_value is number", "ok == true"};
        QTest::newRow("monitor, silent device") << QStringList{"--sim", "--fault", "noanswer", "--timeout", "150", "monitor",
            "--count", "2"} << 1 << 2 << QStringList{"ok == false", "flow_value is null"};
        QTest::newRow("compare") << QStringList{"--sim", "compare", m_dir.filePath("t.epr")} << 0 << 1 << QStringList{
            "b == \"t.epr\"", "differences == 0", "rows/1/address == \"0105\"", "rows/1/a/value == 5000",
            "rows/1/b/text == \"5000\"", "rows/1/differs == false", "rows/18/live == true"};
        QTest::newRow("journal") << QStringList{"journal", "--last", "1"} << 0 << 1 << QStringList{"name == \"txtLowFcut\"",
            "width is number", "verified == true", "before is string", "written is string"};
    }

    void commandsPrintJson()
    {
        const auto [args, code, lines, checks] = kCommandsPrintJson.fetch();
        const CliRun r = runCli(args + QStringList{"--json"});
        QCOMPARE(r.code, code);
        QVERIFY2(code != 0 || r.err.isEmpty(), qPrintable(r.err));
        QCOMPARE(r.lines().size(), lines);
        for (const QString &line : r.lines()) {
            const QJsonDocument doc = QJsonDocument::fromJson(line.toUtf8());
            QVERIFY2(doc.isObject(), qPrintable(line));
            for (const QString &check : checks) {
                const QStringList parts = check.split(QRegularExpression(" (==|is) "));
                QJsonValue v = doc.object();
                for (const QString &step : parts[0].split(QLatin1Char('/')))
                    v = step.at(0).isDigit() ? v[step.toInt()] : v[step];
                const bool ok = check.contains(" is ")
                    ? QStringList{"null", "bool", "number", "string"}.value(v.type()) == parts[1]
                    : v == QJsonDocument::fromJson(("[" + parts[1] + "]").toUtf8()).array().first();
                QVERIFY2(ok, qPrintable(check + " in " + line));
            }
        }
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestJsonCli)
#include "tst_json_cli.moc"
