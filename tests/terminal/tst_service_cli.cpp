// quorin-cli's service commands end to end: quorin-sim serves a pseudo-
// terminal, the command line writes to it, and a later read shows what the
// device holds. The simulator answers at line speed, as a transmitter does.
#include "support/columns.h"
#include "support/clirun.h"
#include "support/simprocess.h"

#include <QtTest>

namespace {

QString readHex(const QString &port, const QString &address, const QString &count)
{
    return runCli(port, {QStringLiteral("read"), address, count}).out.trimmed();
}

const Columns<QStringList, int, QString> kRefusals{"args", "code", "said"};

} // namespace

class TestServiceCli : public QObject
{
    Q_OBJECT
private slots:
    void rescaleCalibratePokeAndWrite()
    {
        SimProcess sim;
        QVERIFY2(sim.start(), qPrintable(sim.errorString()));
        const CliRun r = runCli(sim.path(), {"rescale", "10000", "--code", "123", "--yes"});
        QVERIFY2(r.code == 0, qPrintable(r.err));
        QVERIFY2(r.err.contains(QLatin1String("New Scaling Factor was Successfully Updated!")), qPrintable(r.err));
        QCOMPARE(QStringList({readHex(sim.path(), "0118", "04"), readHex(sim.path(), "0105", "04")}), QStringList({"000F4240", "00002710"}));

        const CliRun cal = runCli(sim.path(), {"calibrate", "12346", "--yes"});
        QVERIFY2(cal.code == 0, qPrintable(cal.err));
        QCOMPARE(cal.out.trimmed(), QStringLiteral("Status: 04 0118 0000303A   12346"));
        QCOMPARE(readHex(sim.path(), "0118", "04"), QStringLiteral("0000303A"));

        const CliRun poke = runCli(sim.path(), {"poke", "02", "7FFE", "AB12", "--code", "47318"});
        QVERIFY2(poke.code == 0, qPrintable(poke.err));
        QCOMPARE(readHex(sim.path(), "7FFE", "02"), QStringLiteral("AB12"));
        // The raw write needs no code; COUNT is two hex digits.
        QCOMPARE(runCli(sim.path(), {"write", "7FFE", "02", "CD34"}).code, 0);
        QCOMPARE(readHex(sim.path(), "7FFE", "02"), QStringLiteral("CD34"));
    }

    void refusals_data()
    {
        kRefusals.add();
        QTest::newRow("rescale unconfirmed") << QStringList{"rescale", "10000", "--code", "123"} << 1 << "Do you want to Change Scaling Factor?";
        QTest::newRow("rescale beyond the high cut-off") << QStringList{"rescale", "10006", "--code", "123", "--yes"} << 1
            << "New value of the Frequency: 1001 is more than High Frequency Cut off: 1000 Hz\n"
               " Decrease New Flow Rate value and try again.";
        // 6000.5 would be stored as 6000 beside a factor made for 6000.5.
        QTest::newRow("rescale finer than the full scale holds") << QStringList{"rescale", "6000.5", "--code", "123", "--yes"} << 1
            << "The value of the parameter is out of\n permissible range [1-5000000] Try again!";
        QTest::newRow("rescale not a number") << QStringList{"rescale", "ten", "--code", "123", "--yes"} << 2 << "NEWMAX";
        QTest::newRow("calibrate 999999000") << QStringList{"calibrate", "999999000", "--yes"} << 1
                                             << "Status: The value of the parameter is out of permissible range [1-999999000] Try again!";
        QTest::newRow("poke address 8000") << QStringList{"poke", "01", "8000", "AB", "--code", "47318"} << 1
                                           << "The destination address of the data to be sent\n is not correct! Try again!";
        QTest::newRow("poke lower case") << QStringList{"poke", "01", "7FFF", "ab", "--code", "47318"} << 2 << "upper-case";
        QTest::newRow("poke wrong code") << QStringList{"poke", "01", "7FFF", "AB", "--code", "4731"} << 1 << "Password is not correct. Can not open\n Back Door! Try again";
    }

    void refusals()
    {
        const auto [args, code, said] = kRefusals.fetch();

        SimProcess sim;
        QVERIFY2(sim.start(), qPrintable(sim.errorString()));
        const QString tailBefore = readHex(sim.path(), "7FFE", "02");
        const CliRun r = runCli(sim.path(), args);
        QCOMPARE(r.code, code);
        QVERIFY2(r.err.contains(said), qPrintable(r.err));
        // Nothing reached the device's memory.
        QCOMPARE(QStringList({readHex(sim.path(), "0118", "04"), readHex(sim.path(), "0105", "04"), readHex(sim.path(), "7FFE", "02")}),
                 QStringList({"0007A120", "00001388", tailBefore}));
    }
};

QTEST_GUILESS_MAIN(TestServiceCli)
#include "tst_service_cli.moc"
