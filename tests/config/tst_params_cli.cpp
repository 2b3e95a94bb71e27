// quorin-cli's parameter commands end to end (their refusals are in
// tst_options_cli): quorin-sim on a pseudo-terminal where a later
// run must see what an earlier one wrote. The simulator answers at line
// speed, as a transmitter does.
#include "support/clirun.h"
#include "support/simprocess.h"

#include <QtTest>

class TestParamsCli : public QObject
{
    Q_OBJECT
private slots:
    void listsEveryParameter()
    {
        const CliRun r = runCli({QStringLiteral("params")});
        QCOMPARE(r.code, 0);
        const QStringList lines = r.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 1 + 28); // a heading, 27 rows, the options byte twice
        QVERIFY(lines.contains(QStringLiteral("txtLowFcut       low-cutoff          014D  2  [0-9999], below txtHighFcut")));
        QVERIFY(lines.contains(QStringLiteral("txtDataPointer   data-pointer        01FE  2  [200h-7FFFh]")));
    }

    void setThenReadBack()
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
        QCOMPARE(std::pair(r.code, r.out), std::pair(0, QStringLiteral("50\n")));
    }

    void failedVerificationExitsOne()
    {
        SimProcess sim;
        QVERIFY2(sim.start({"--fault", "corrupt"}), qPrintable(sim.errorString()));
        const CliRun r = runCli({"--port", sim.path(), "set", "txtLogInterval", "9"});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.err.startsWith(QLatin1String("Verify data is failed!\n data recieved: ")), qPrintable(r.err));
        QCOMPARE(r.out, QString());
        // Not verified, so no RAM copy was written.
        QCOMPARE(runCli({"--port", sim.path(), "read", "0008", "01"}).out, QStringLiteral("05\n"));
    }
};

QTEST_GUILESS_MAIN(TestParamsCli)
#include "tst_params_cli.moc"
