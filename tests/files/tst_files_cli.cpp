// quorin-cli export, import and flowlog against two simulated transmitters
// on pseudo-terminals: a table saved from one and written into the other
// makes their imported rows equal.
#include "files/configtable.h"
#include "support/clirun.h"
#include "support/simprocess.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

class TestFilesCli : public QObject
{
    Q_OBJECT
private slots:
    void exportThenImportIntoAnotherDevice();
    void flowlogAndRefusals();
};

void TestFilesCli::exportThenImportIntoAnotherDevice()
{
    SimProcess first, second;
    QVERIFY2(first.start({QStringLiteral("--preset"), QStringLiteral("second"), QStringLiteral("--no-pacing")}),
             qPrintable(first.errorString()));
    QVERIFY2(second.start({QStringLiteral("--no-pacing")}), qPrintable(second.errorString()));
    QTemporaryDir dir;
    const QString a = dir.filePath(QStringLiteral("a.epr"));
    const QString b = dir.filePath(QStringLiteral("b.epr"));

    CliRun r = runCli(first.path(), {QStringLiteral("export"), a});
    QCOMPARE(r.code, 0);
    QCOMPARE(r.out, QStringLiteral("Configuration Table has been Saved. Click OK.\n"));
    // An existing file is replaced only when the technician says so.
    r = runCli(first.path(), {QStringLiteral("export"), a});
    QCOMPARE(r.code, 2);
    QCOMPARE(r.err, QStringLiteral("quorin-cli: %1 exists; give --yes to replace it\n").arg(a));

    r = runCli(second.path(), {QStringLiteral("import"), a});
    QCOMPARE(r.code, 2);
    r = runCli(second.path(), {QStringLiteral("import"), a, QStringLiteral("--yes")}, 90000);
    QCOMPARE(r.code, 0);
    const QStringList lines = r.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 25);
    QVERIFY2(lines[0].startsWith(QStringLiteral("0      0100   01   ")), qPrintable(lines[0]));
    QVERIFY(lines[24].startsWith(QStringLiteral("24     012D   02   ")));

    QCOMPARE(runCli(second.path(), {QStringLiteral("export"), b}).code, 0);
    ConfigTable ta, tb;
    QString error;
    QVERIFY(ta.readFile(a, &error));
    QVERIFY(tb.readFile(b, &error));
    // Rows 18 and 20 are the flow log's data pointer and the totalizer's
    // counter word, which the transmitter moves on by itself as flow runs.
    for (int row = 0; row < 25; ++row)
        if (row != 18 && row != 20)
            QVERIFY2(tb.row(row).Data == ta.row(row).Data, qPrintable(QStringLiteral("row %1: %2 vs %3").arg(row).arg(tb.row(row).Data, ta.row(row).Data)));

    // A read-back that differs stops the import, and the stop message shows it.
    r = runCli({QStringLiteral("--sim"), QStringLiteral("--fault"), QStringLiteral("corrupt"), QStringLiteral("import"),
                a, QStringLiteral("--yes")});
    QCOMPARE(r.code, 1);
    QVERIFY(r.out.isEmpty());
    const QString got = QRegularExpression(QStringLiteral("data recieved: ([0-9A-F]+)\n")).match(r.err).captured(1);
    QVERIFY2(!got.isEmpty() && r.err.endsWith(QStringLiteral("again!   [%1]\n").arg(got)), qPrintable(r.err));
}

void TestFilesCli::flowlogAndRefusals()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("log.mlg"));
    CliRun r = runCli({QStringLiteral("--sim"), QStringLiteral("flowlog"), QStringLiteral("7FFF"), path});
    QCOMPARE(r.code, 0);
    QCOMPARE(r.out, QStringLiteral("16129 points saved to %1\n").arg(path));
    QVERIFY(r.err.endsWith(QStringLiteral("flowlog: block 127 of 127\n")));
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QList<QByteArray> records = f.readAll().split('\n');
    QCOMPARE(records.size(), 16131);
    QVERIFY(records[16129].startsWith("16129,"));

    r = runCli({QStringLiteral("--sim"), QStringLiteral("flowlog"), QStringLiteral("0100"), path + "2"});
    QCOMPARE(r.code, 2);
    QCOMPARE(r.err, QStringLiteral("The value of the parameter is out of\n permissible range [200h-7FFFh] Try again!\n"));
    r = runCli({QStringLiteral("--sim"), QStringLiteral("flowlog"), QStringLiteral("0200"), path + "2"});
    QCOMPARE(r.code, 2);
    QCOMPARE(r.err, QStringLiteral("Flow array is ampty! Please first Reed data. Click OK.\n"));
    r = runCli({QStringLiteral("--sim"), QStringLiteral("flowlog"), QStringLiteral("7FFF"),
                dir.filePath(QStringLiteral("no/such/x.mlg"))});
    QCOMPARE(r.code, 2);
    QVERIFY2(r.err.startsWith(QStringLiteral("quorin-cli: ") + dir.filePath(QStringLiteral("no/such/x.mlg")) + ": "),
             qPrintable(r.err));
}

QTEST_MAIN(TestFilesCli)
#include "tst_files_cli.moc"
