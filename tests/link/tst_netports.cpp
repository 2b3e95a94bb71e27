// Network ports: the telnet codec on its own, then quorin-cli through a real
// serial device server (ser2net, raw and with the com-port option) in front
// of a simulated transmitter, and straight against quorin-sim --listen.
#include "link/serialport.h"
#include "link/tcpport.h"
#include "link/telnetcodec.h"
#include "support/columns.h"
#include "support/freeport.h"
#include "support/clirun.h"
#include "support/ser2netprocess.h"
#include "support/simprocess.h"
#include "support/waituntil.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

using Chunks = QList<QByteArray>;
using Events = QList<int>;

namespace {

const Columns<Chunks, QByteArray, Events, QByteArray> kTelnetDecoding{"chunks", "data", "events", "answers"};
// fault: of the first simulator ("-": none at start)
// swapAfterMs: then another device on the port (-1 never)
const Columns<QString, int, bool, int, int, int> kMonitorAcrossLosses{
    "fault", "swapAfterMs", "reconnect", "code", "lines", "reconnected"};

} // namespace

class TestNetPorts : public QObject
{
    Q_OBJECT
private slots:
    void telnetDecoding_data()
    {
        kTelnetDecoding.add();
        QTest::newRow("doubled 0xFF is one data byte") << Chunks{"a\xff\xff" "b"} << QByteArray("a\xff" "b") << Events{} << QByteArray();
        QTest::newRow("0xFF pair split across reads") << Chunks{"a\xff", "\xff" "b"} << QByteArray("a\xff" "b") << Events{} << QByteArray();
        QTest::newRow("subnegotiation split across reads")
            << Chunks{"x\xff\xfa", ",k", "\x09\xff", "\xf0y"} << QByteArray("xy") << Events{CommEvent::CTS, CommEvent::CD} << QByteArray();
        QTest::newRow("modem lines against the last state")
            << Chunks{"\xff\xfa,k\x10\xff\xf0", "\xff\xfa,k\xb0\xff\xf0"} << QByteArray() << Events{CommEvent::DSR, CommEvent::CD} << QByteArray();
        QTest::newRow("escaped 0xFF inside a notification")
            << Chunks{"\xff\xfa,k\xff\xff\xff\xf0"} << QByteArray()
            << Events{CommEvent::CTS, CommEvent::DSR, CommEvent::CD, CommEvent::Ring} << QByteArray();
        QTest::newRow("line errors")
            << Chunks{"\xff\xfa,j\x1e\xff\xf0", "\xff\xfa,j\x61\xff\xf0"} << QByteArray()
            << Events{CommEvent::Overrun, CommEvent::RxParity, CommEvent::Frame, CommEvent::Break} << QByteArray();
        // A subnegotiation never ended, even by escaped 0xFFs, is given up at its
        // cap; what followed the option and its command goes on as data.
        QTest::newRow("unended subnegotiation")
            << Chunks{"\xff\xfa,k", QByteArray(140, '\xff'), ":07"} << QByteArray(QByteArray(70, '\xff') + ":07") << Events{} << QByteArray();
        QTest::newRow("longest subnegotiation") << Chunks{"\xff\xfa" + QByteArray(64, 'x') + "\xff\xf0" "a"} << QByteArray("a") << Events{} << QByteArray();
        QTest::newRow("one byte too long") << Chunks{"\xff\xfa" + QByteArray(65, 'x') + "\xff\xf0" "a"} << QByteArray(63, 'x') + "a" << Events{} << QByteArray();
        // What ser2net says first; what we offered already is not answered again.
        QTest::newRow("negotiation answered once")
            << Chunks{QByteArrayLiteral("\xff\xfb\x03\xff\xfd\x03\xff\xfb\x01\xff\xfd,\xff\xfd\x00\xff\xfb\x00\xff\xfb\x03")} << QByteArray() << Events{}
            << QByteArray("\xff\xfd\x03\xff\xfc\x03\xff\xfe\x01");
    }

    void telnetDecoding()
    {
        const auto [chunks, data, events, answers] = kTelnetDecoding.fetch();
        TelnetCodec codec;
        codec.start();
        QByteArray got;
        for (const QByteArray &c : chunks)
            got += codec.decode(c);
        QCOMPARE(got, data);
        QCOMPARE(codec.takeEvents(), events);
        QCOMPARE(codec.takeAnswers(), answers);
    }

    void telnetEncoding()
    {
        QCOMPARE(TelnetCodec::escape("\xff" "a\xff"), QByteArray("\xff\xff" "a\xff\xff"));
        LineSettings s;
        s.baud = 0xFF;
        s.parity = QLatin1Char('e');
        s.stopBits = QStringLiteral("1.5");
        QCOMPARE(TelnetCodec::lineRequests(s, 2),
                 QByteArrayLiteral("\xff\xfa,\x01\0\0\0\xff\xff\xff\xf0" "\xff\xfa,\x02\x08\xff\xf0" "\xff\xfa,\x03\x03\xff\xf0"
                                   "\xff\xfa,\x04\x03\xff\xf0" "\xff\xfa,\x05\x03\xff\xf0"));
    }

    void throughDeviceServer_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("raw") << int(Ser2netProcess::Raw);
        QTest::newRow("rfc2217") << int(Ser2netProcess::Rfc2217);
    }

    void throughDeviceServer()
    {
        if (Ser2netProcess::program().isEmpty())
            QSKIP("ser2net is not installed (scripts/deps installs it)");
        QFETCH(int, mode);
        SimProcess sim;
        QVERIFY2(sim.start({QStringLiteral("--no-pacing")}), qPrintable(sim.errorString()));
        Ser2netProcess s2n;
        QVERIFY2(s2n.start(sim.path(), Ser2netProcess::Mode(mode)), qPrintable(s2n.errorString()));
        const QString port = s2n.address();

        CliRun r = runCli(port, {QStringLiteral("info")});
        QVERIFY2(r.code == 0, qPrintable(r.err));
        QVERIFY2(r.out.contains(QStringLiteral("\nunit ")), qPrintable(r.out));
        r = runCli(port, {QStringLiteral("set"), QStringLiteral("txtMeasureInter"), QStringLiteral("77")});
        QVERIFY2(r.code == 0, qPrintable(r.err));
        QCOMPARE(r.out, QStringLiteral("77\n"));

        QTemporaryDir dir;
        const QString log = dir.filePath(QStringLiteral("log.mlg"));
        r = runCli(port, {QStringLiteral("flowlog"), QStringLiteral("7FFF"), log});
        QVERIFY2(r.code == 0, qPrintable(r.err));
        QCOMPARE(r.out, QStringLiteral("16129 points saved to %1\n").arg(log));

        // Only the com-port option carries the line settings to the device's side.
        r = runCli(port, {"--settings", "19200,n,8,1", "read", "0100", "01"});
        QCOMPARE(std::pair(r.out, sim.errorOutput().contains("the line is set to 19200 baud")),
                 std::pair(QStringLiteral("4D\n"), mode == Ser2netProcess::Rfc2217));
    }
    void serverStoppedMidReadout_data() { throughDeviceServer_data(); }

    void serverStoppedMidReadout()
    {
        if (Ser2netProcess::program().isEmpty())
            QSKIP("ser2net is not installed (scripts/deps installs it)");
        QFETCH(int, mode);
        SimProcess sim;
        // Paced at 9600 baud the readout takes half a second and the flow log
        // more than a minute: the download is running when the server goes.
        QVERIFY2(sim.start(), qPrintable(sim.errorString()));
        Ser2netProcess s2n;
        QVERIFY2(s2n.start(sim.path(), Ser2netProcess::Mode(mode)), qPrintable(s2n.errorString()));
        QTemporaryDir dir;
        QElapsedTimer took;
        took.start();
        const CliRun r = runCli(s2n.address(), {"flowlog", "7FFF", dir.filePath("l.mlg")}, 1500, [&] { s2n.stop(); }, 15000);
        QCOMPARE(r.code, 1);
        QVERIFY2(r.err.count(QStringLiteral("The connection to 127.0.0.1:%1 was lost: ").arg(s2n.port())) == 1, qPrintable(r.err));
        QVERIFY2(r.err.contains(QStringLiteral("flowlog: block 1 of 127")) && !r.err.contains(QStringLiteral("Cannot connect")),
                 qPrintable(r.err));
        QVERIFY2(took.elapsed() < 8000, qPrintable(QString::number(took.elapsed())));
    }

    void rawLineNoiseIsNoTelnet()
    {
        // 0xFF and a telnet command are a telnet server's first bytes; amid a
        // raw line's bytes they are noise.
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        for (const QByteArray &sent : {QByteArray(":01\xff\xfe"), QByteArray("\xff\xfe:01")}) {
            TcpPort port(QStringLiteral("tcp://127.0.0.1:%1").arg(server.serverPort()));
            QVERIFY(port.open() && (server.hasPendingConnections() || server.waitForNewConnection(2000)));
            std::unique_ptr<QTcpSocket> peer(server.nextPendingConnection());
            peer->write(sent);
            QByteArray got;
            waitUntil([&] { got += port.readAll(); return got == sent || !port.isOpen(); }, 2000);
            QCOMPARE(port.isOpen(), sent.startsWith(':'));
        }
    }

    void monitorAcrossLosses_data()
    {
        kMonitorAcrossLosses.add();
        // The server takes each client and drops it at its first frame.
        QTest::newRow("accept and drop") << "hangup:1" << -1 << true << 1 << 2 << 0;
        QTest::newRow("down at start") << "-" << 500 << true << 0 << 2 << 1;
        // Lost in the second poll; a device of another preset takes the port.
        QTest::newRow("another device comes back") << "hangup:9" << 300 << true << 0 << 4 << 1;
        QTest::newRow("lost without --reconnect") << "hangup:9" << -1 << false << 1 << 2 << 0;
    }

    void monitorAcrossLosses()
    {
        const auto [fault, swapAfterMs, reconnect, code, lines, reconnected] = kMonitorAcrossLosses.fetch();
        const QString tcpPort = QString::number(freePort()); // for both devices in turn
        QVERIFY(tcpPort != "0");
        const QString address = QStringLiteral("tcp://127.0.0.1:") + tcpPort;
        SimProcess first, second;
        const QStringList listen{"--listen", tcpPort, "--no-pacing"};
        if (fault != QLatin1String("-"))
            QVERIFY2(first.start(listen + QStringList{"--fault", fault}), qPrintable(first.errorString()));
        const auto swap = [&] {
            first.stop();
            QVERIFY(second.start(listen + QStringList{"--preset", "second"}));
        };
        QStringList args{"monitor", "--count", QString::number(lines), "--interval", "50", "--stats"};
        if (reconnect)
            args << "--reconnect";
        const CliRun r = runCli(address, args, swapAfterMs, swapAfterMs >= 0 ? swap : std::function<void()>(), 15000);
        QVERIFY2(r.code == code, qPrintable(r.err));
        QVERIFY2(r.lines().size() == lines + 1, qPrintable(r.out + r.err));
        // Reads cut off by the loss are counted.
        QCOMPARE(r.lines().takeLast().contains(QRegularExpression(QStringLiteral(", lost [1-9]"))), fault != QLatin1String("-"));
        QCOMPARE(r.err.count(QStringLiteral("quorin-cli: reconnected to %1\n").arg(address)), reconnected);
        // The loss is told first, once; then the retrying, when asked for.
        const int told = r.err.indexOf(fault == QLatin1String("-") ? QStringLiteral("Cannot connect") : QStringLiteral("was lost"));
        QVERIFY2(told >= 0 && (r.err.indexOf(QStringLiteral("quorin-cli: reconnecting")) > told) == reconnect, qPrintable(r.err));
        if (swapAfterMs > 0 && fault != QLatin1String("-")) {
            // The unit's time base is the new device's, read again after the reconnect.
            const CliRun ref = runCli({"--sim", "--preset", "second", "monitor", "--count", "1"});
            const auto unit = [](const QString &l) { return l.mid(20).section(QStringLiteral(" total"), 0, 0).trimmed(); };
            QCOMPARE(unit(r.lines().at(lines - 1)), unit(ref.lines().value(0)));
            QVERIFY(unit(r.lines().first()) != unit(ref.lines().value(0)));
        }
    }
};

QTEST_GUILESS_MAIN(TestNetPorts)
#include "tst_netports.moc"
