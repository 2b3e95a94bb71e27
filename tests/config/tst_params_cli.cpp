// quorin-cli's parameter commands end to end: the built-in simulated
// transmitter for refusals, and quorin-sim on a pseudo-terminal where a later
// run must see what an earlier one wrote. The simulator answers at line
// speed, as a transmitter does.
#include "support/clirun.h"
#include "support/simprocess.h"

#include <QtTest>

class TestParamsCli : public QObject
{
    Q_OBJECT
private slots:
    void listsEveryParameter();
    void refusals_data();
    void refusals();
    void setThenReadBack();
    void failedVerificationExitsOne();
};

void TestParamsCli::listsEveryParameter()
{
    const CliRun r = runCli({QStringLiteral("params")});
    QCOMPARE(r.code, 0);
    const QStringList lines = r.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 1 + 28); // a heading, 27 rows, the options byte twice
    QVERIFY(lines.contains(QStringLiteral("txtLowFcut       low-cutoff          014D  2  [0-9999], below txtHighFcut")));
    QVERIFY(lines.contains(QStringLiteral("txtDataPointer   data-pointer        01FE  2  [200h-7FFFh]")));
}

// Refused before anything is written: the editor's messages and exit 1, or
// bad input and exit 2.
void TestParamsCli::refusals_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("err");

    QTest::newRow("percent out of range") << QStringList{"set", "txt1Percent", "101"} << 1
        << "The value of the parameter is out of\n permissible range [0-100] Try again!\n";
    QTest::newRow("low cut-off at the high cut-off, by alias") << QStringList{"set", "low-cutoff", "1000"} << 1
        << "The value of the parameter is out of\n permissible range [0-9999] Try again!\n";
    QTest::newRow("time base beyond the list") << QStringList{"set", "time-base", "4"} << 1
        << "The value of the parameter is out of\n permissible range [0-3] Try again!\n";
    // Refused, never rounded or cut on the way: 0.04 would be stored as 0,
    // "00200" does not fit the pointer's two bytes.
    QTest::newRow("tenths full scale finer than tenths") << QStringList{"--preset", "tenths", "set", "max-flow", "0.04"} << 1
        << "The value of the parameter is out of\n permissible range [0.1-5000000.0] Try again!\n";
    QTest::newRow("pointer of five digits") << QStringList{"set", "data-pointer", "00200"} << 1
        << "The value of the parameter is out of\n permissible range [200h-7FFFh] Try again!\n";
    QTest::newRow("letters in a number") << QStringList{"set", "txt1Percent", "1a"} << 2 << "quorin-cli: txt1Percent takes digits only, not \"1a\"\n";
    QTest::newRow("lower-case pointer") << QStringList{"set", "data-pointer", "1a00"} << 2 << "quorin-cli: txtDataPointer takes upper-case hex digits, not \"1a00\"\n";
    QTest::newRow("unit not in the list") << QStringList{"set", "cboEUnit", "KGX"} << 2
        << "quorin-cli: cboEUnit takes one of LB,KG,TON,TONN,CFT,LTR,CUM,GAL,UD or its index, not \"KGX\"\n";
    QTest::newRow("option bit 2") << QStringList{"set", "optPulse", "2"} << 2 << "quorin-cli: optPulse takes 0 or 1, not \"2\"\n";
    QTest::newRow("unknown name") << QStringList{"get", "flux"} << 2 << "quorin-cli: unknown parameter \"flux\" (see: quorin-cli params)\n";
    QTest::newRow("reset not confirmed") << QStringList{"reset-total"} << 1
        << "WARNING: Proceeding with this will reset Totalizer to Zero!\n   Do you want to Reset Totalizer to Zero?    "
           "No (give --yes to answer Yes)\n";
    QTest::newRow("reset while the device shows flow") << QStringList{"reset-total", "--yes"} << 1
        << "WARNING: Proceeding with this will reset Totalizer to Zero!\n   Do you want to Reset Totalizer to Zero?    Yes\n"
           "WARNING: Flow reading is not zero!\n Please make sure flow reading is zero!\n";
}

void TestParamsCli::refusals()
{
    QFETCH(QStringList, args);
    QFETCH(int, code);
    QFETCH(QString, err);
    const CliRun r = runCli(QStringList{QStringLiteral("--sim")} + args);
    QCOMPARE(r.err, err);
    QCOMPARE(r.code, code);
    QCOMPARE(r.out, QString());
}

void TestParamsCli::setThenReadBack()
{
    SimProcess sim;
    QVERIFY2(sim.start(), qPrintable(sim.errorString()));
    const QStringList port = {QStringLiteral("--port"), sim.path()};

    // A write through set is shown by tst_netports; here the options byte and its RAM copy.
    CliRun r = runCli(port + QStringList{"set", "optPulse", "1"});
    QVERIFY2(r.code == 0, qPrintable(r.err));
    QCOMPARE(runCli(port + QStringList{"get", "output-options"}).out, QStringLiteral("03 (enable 1, pulse 1)\n"));
    QCOMPARE(runCli(port + QStringList{"read", "0026", "01"}).out, QStringLiteral("03\n"));

    r = runCli(port + QStringList{"set", "unit", "gal"});
    QVERIFY2(r.code == 0, qPrintable(r.err));
    QCOMPARE(r.out, QStringLiteral("GAL\n"));
    QCOMPARE(runCli(port + QStringList{"get", "cboEUnit"}).out, QStringLiteral("GAL\n"));

    // The stored value again: nothing written, still success.
    r = runCli(port + QStringList{"set", "txtMeasureInter", "050"});
    QCOMPARE(r.code, 0);
    QCOMPARE(r.out, QStringLiteral("50\n"));
}

void TestParamsCli::failedVerificationExitsOne()
{
    SimProcess sim;
    QVERIFY2(sim.start({QStringLiteral("--fault"), QStringLiteral("corrupt")}),
             qPrintable(sim.errorString()));
    const CliRun r = runCli({QStringLiteral("--port"), sim.path(), QStringLiteral("set"), QStringLiteral("txtLogInterval"),
                             QStringLiteral("9")});
    QCOMPARE(r.code, 1);
    QVERIFY2(r.err.startsWith(QLatin1String("Verify data is failed!\n data recieved: ")), qPrintable(r.err));
    QCOMPARE(r.out, QString());
    // Not verified, so no RAM copy was written.
    QCOMPARE(runCli({QStringLiteral("--port"), sim.path(), QStringLiteral("read"), QStringLiteral("0008"),
                     QStringLiteral("01")}).out,
             QStringLiteral("05\n"));
}

QTEST_GUILESS_MAIN(TestParamsCli)
#include "tst_params_cli.moc"
