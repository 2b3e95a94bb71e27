// quorin-cli info and monitor against the built-in simulated transmitter:
// what they print, and their exit status when the device stays silent or the
// port address is malformed (the other options are in tst_options_cli).
#include "session/parametermap.h"
#include "support/clirun.h"
#include "support/columns.h"

#include <QRegularExpression>
#include <QtTest>

const Columns<QStringList, QString> kBadOptions{"args", "reason"};

class TestTerminalCli : public QObject
{
    Q_OBJECT
private slots:
    void infoListsEveryParameter()
    {
        const CliRun r = runCli({"--sim", "info"});
        QCOMPARE(r.code, 0);
        QVERIFY2(r.err.isEmpty(), qPrintable(r.err));
        // One line per parameter of the map, then the unit and total.
        QCOMPARE(r.lines().size(), ParameterMap::all().size() + 1);
        const QRegularExpression maxFlow(QStringLiteral("^0105  txtMaxFlow/max-flow +5000$"));
        QVERIFY2(r.lines().filter(maxFlow).size() == 1, qPrintable(r.lines().join(QLatin1Char('\n'))));
        QVERIFY(r.lines().filter(QRegularExpression(QStringLiteral("^0118  txtScaleFactor/scale-factor +500000$"))).size() == 1);
        QVERIFY(r.lines().filter(QRegularExpression(QStringLiteral("^015C  total +"))).size() == 1);
        QVERIFY(r.lines().last().startsWith(QLatin1String("unit LTR/Min, total ")));
    }

    void monitorPrintsOneLinePerPoll()
    {
        QElapsedTimer clock;
        clock.start();
        const CliRun r = runCli({"--sim", "monitor", "--count", "3", "--interval", "300", "--stats"});
        QCOMPARE(std::tuple(r.code, r.err, r.lines().size()), std::tuple(0, QString(), qsizetype(4)));
        // The time base read, then five reads a poll, each 15 bytes on the wire.
        QVERIFY2(r.lines().takeLast().startsWith(QLatin1String("link: frames 16, replies 16, time-outs 0, lost 0, discarded 0, bytes out 240 in ")),
                 qPrintable(r.lines().last()));
        // Time, the display with its point, the unit with its time base, the total.
        const QRegularExpression line(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d +\\d+\\.\\d LTR/Min +total \\d+ LTR$"));
        for (const QString &l : r.lines().mid(0, 3))
            QVERIFY2(line.match(l).hasMatch(), qPrintable(l));
        QVERIFY(clock.elapsed() >= 600); // two pauses between three polls
    }

    // A silent device: every frame timed out, the silent misses of the update included.
    void silentDevice()
    {
        const CliRun r = runCli({"--sim", "--fault", "noanswer", "--timeout", "150", "monitor", "--count", "2", "--interval", "50",
                                 "--stats"});
        QCOMPARE(std::pair(r.code, r.lines().size()), std::pair(1, qsizetype(3)));
        QVERIFY2(r.err.contains("Communication ERROR. Can not get\n device F.S. Flow!"), qPrintable(r.err));
        const QRegularExpressionMatch m = QRegularExpression(QStringLiteral("^link: frames (\\d+), replies 0, time-outs (\\d+),"))
                                              .match(r.lines().last());
        QVERIFY2(m.hasMatch() && m.captured(1) == m.captured(2), qPrintable(r.lines().last()));
        QVERIFY(r.lines().first().contains(QLatin1String("total")));
    }

    void badOptions_data()
    {
        kBadOptions.add();
        // A malformed address is refused before anything is opened.
        const QString bad = QStringLiteral("Invalid port address %1: %2");
        const QList<QPair<QString, QString>> addresses = {
            {"tcp://127.0.0.1:99999", "the TCP port 99999 is out of range (1 to 65535)"},
            {"tcp://127.0.0.1:65536", "the TCP port 65536 is out of range (1 to 65535)"},
            {"rfc2217://127.0.0.1:0", "the TCP port 0 is out of range (1 to 65535)"},
            {"tcp://127.0.0.1:4710O", "the TCP port \"4710O\" is not a number"},
            {"tcp://127.0.0.1:47100:5", "the TCP port \"47100:5\" is not a number"},
            {"tcp://127.0.0.1:47100 ", "the address holds a blank"},
            {" tcp://127.0.0.1:47100", "the address holds a blank"},
            {"tcp://:47100", "no host name"},
            {"rfc2217://127.0.0.1", "no TCP port number (HOST:PORT, 1 to 65535)"},
            {"tcp://127.0.0.1:", "no TCP port number (HOST:PORT, 1 to 65535)"},
            {"tcp://user@host:47100", "only HOST:PORT may follow the scheme"},
        };
        for (const auto &a : addresses)
            QTest::newRow(qPrintable(a.first)) << QStringList{"--port", a.first, "read", "0100", "01"} << bad.arg(a.first, a.second);
    }

    void badOptions()
    {
        const auto [args, reason] = kBadOptions.fetch();
        const CliRun r = runCli(args);
        QCOMPARE(std::tuple(r.code, r.err, r.out), std::tuple(2, QStringLiteral("quorin-cli: ") + reason + QLatin1Char('\n'), QString()));
    }
};

QTEST_GUILESS_MAIN(TestTerminalCli)
#include "tst_terminal_cli.moc"
