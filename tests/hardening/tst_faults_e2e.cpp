// Faults end to end: quorin-sim on a pseudo-terminal, opened through Qt Serial
// Port as the terminal opens a real line. For each fault the operator gets the
// program's own message (once), the program keeps running, the device keeps
// what the program wrote, and a port that went away can be opened again.
#include "link/devicelink.h"
#include "link/qtserialport.h"
#include "sim/simdevice.h"
#include "support/columns.h"
#include "support/filebytes.h"
#include "support/clirun.h"
#include "support/fulldisk.h"
#include "support/scriptedprompter.h"
#include "support/simprocess.h"
#include "support/waituntil.h"
#include "session/configreadout.h"
#include "terminal/terminallogs.h"
#include "session/terminalsession.h"
#include "session/terminalstate.h"

#include <QtTest>

#include <unistd.h>

namespace {

// write: a verified write, else a read of the density
// expected: the operation's result
// title: of the first message
const Columns<QStringList, bool, QString, QStringList, QString> kLineFaultsGiveTheirMessage{
    "simArgs", "write", "expected", "messages", "title"};
// out: the whole of stdout, a pattern
// err: in stderr; %1 is 127.0.0.1:PORT
const Columns<QString, QString, QStringList, int, QString, QString> kMisbehavingServerNeverGivesAValue{
    "fault", "scheme", "args", "code", "out", "err"};

} // namespace

class TestFaultsE2E : public QObject
{
    Q_OBJECT
private slots:
    void lineFaultsGiveTheirMessage_data();
    void lineFaultsGiveTheirMessage();
    void lateReplyIsNotTakenByTheNextRun();
    void misbehavingServerNeverGivesAValue_data();
    void misbehavingServerNeverGivesAValue();
    void hangUpMidReadoutEndsItAndThePortReopens();
    void unwritableLogLeavesNothingBehind_data();
    void unwritableLogLeavesNothingBehind();

private:
    SimDevice m_reference; // what a fresh simulator holds
};

void TestFaultsE2E::lineFaultsGiveTheirMessage_data()
{
    kLineFaultsGiveTheirMessage.add();

    const QString density = QStringLiteral("%1").arg(m_reference.value(0x0170, 4), 8, 16, QLatin1Char('0')).toUpper();
    const QStringList none;
    // Time-out of the link set to 400 ms below.
    QTest::newRow("no answer") << QStringList{"--no-pacing", "--fault", "noanswer"} << true << QString()
                               << QStringList{"No connection!", "Communication ERROR. Can not verify\r data in RAM"}
                               << "Communication Error";
    QTest::newRow("late answer") << QStringList{"--no-pacing", "--fault", "late:900"} << false << QString()
                                 << QStringList{"No connection!"} << "Communication Error";
    QTest::newRow("replies in pieces") << QStringList{"--no-pacing", "--fault", "split:7"} << false << density << none
                                       << QString();
    // The bus tag and the data arrive in pieces of about 10 ms each.
    QTest::newRow("rs485 at 9600") << QStringList{"--rs485", "--baud", "9600"} << false << density << none
                                   << QString();
    QTest::newRow("corrupted read-back") << QStringList{"--no-pacing", "--fault", "corrupt"} << true << QString()
                                         << QStringList{"Verify data is failed!\r data recieved: 1F"}
                                         << "System Monitor";
    QTest::newRow("clean verified write") << QStringList{"--no-pacing"} << true << "1E" << none << QString();
}

void TestFaultsE2E::lineFaultsGiveTheirMessage()
{
    const auto [simArgs, write, expected, messages, title] = kLineFaultsGiveTheirMessage.fetch();

    SimProcess sim;
    QVERIFY2(sim.start(simArgs), qPrintable(sim.errorString()));
    ScriptedPrompter prompter;
    TerminalSession session(&prompter, new QtSerialPort(sim.path()));
    DeviceLink &link = session.link();
    link.Rs232Mode = !simArgs.contains(QStringLiteral("--rs485"));
    link.setReplyTimeout(400);
    link.setStorePauseOverride(0);
    QSignalSpy events(&link, &DeviceLink::commEvent);

    // 01E9h is the device's time-out setting, 30 (1Eh) in the standard preset.
    const QString result = write ? link.WriteRamData(QStringLiteral("01"), QStringLiteral("01E9"), QStringLiteral("1E"))
                                 : link.ReadMemory(QStringLiteral("0170"), QStringLiteral("04"));
    QCOMPARE(result, expected);
    QCOMPARE(prompter.texts(), messages);
    if (!messages.isEmpty())
        QCOMPARE(prompter.entries.first().title, title);
    QVERIFY(!link.AwaitingReply && link.LineReady);

    // A late reply that turns up after the time-out is taken in quietly.
    waitUntil({}, QByteArray(QTest::currentDataTag()) == "late answer" ? 1000 : 50);
    QCOMPARE(prompter.texts(), messages);
    QVERIFY(link.PortOpen());
    // A pseudo-terminal has neither modem lines nor error counters: no line events.
    for (const QList<QVariant> &e : events)
        QVERIFY(e.at(0).toInt() == CommEvent::Send || e.at(0).toInt() == CommEvent::Receive);

    if (write && !simArgs.contains(QStringLiteral("noanswer"))) {
        // The device keeps what was written; only the read-back was spoilt.
        prompter.clear();
        QCOMPARE(link.ReadMemory(QStringLiteral("01E9"), QStringLiteral("01")), QStringLiteral("1E"));
        QCOMPARE(prompter.texts(), QStringList());
    }
    QVERIFY(sim.isRunning());
}

// A reply that came after the program gave up waits in the line; the next
// run must not take it as the start of its own.
void TestFaultsE2E::lateReplyIsNotTakenByTheNextRun()
{
    SimProcess sim;
    QVERIFY2(sim.start({"--no-pacing", "--fault", "late:900"}), qPrintable(sim.errorString()));
    QCOMPARE(runCli(sim.path(), {"--timeout", "300", "read", "0170", "04"}).code, 1);
    waitUntil({}, 900);
    const CliRun run = runCli(sim.path(), {"--timeout", "3000", "read", "0100", "50"});
    QCOMPARE(std::pair(run.code, run.lines().value(0).size()), std::pair(0, qsizetype(0xA0)));
    // A longer reply whose tail a USB adapter held back: no value.
    SimProcess longer;
    QVERIFY2(longer.start({"--no-pacing", "--fault", "long:15"}), qPrintable(longer.errorString()));
    const CliRun tail = runCli(longer.path(), {"read", "0105", "04"});
    QCOMPARE(std::pair(tail.code, tail.out), std::pair(1, QString()));
}

void TestFaultsE2E::misbehavingServerNeverGivesAValue_data()
{
    kMisbehavingServerNeverGivesAValue.add();
    const QString maxFlow = QStringLiteral("%1").arg(m_reference.value(0x0105, 4), 8, 16, QLatin1Char('0')).toUpper();
    const QStringList monitor{"--timeout", "400", "monitor", "--count", "2", "--interval", "50", "--json", "--stats"};
    // Nothing the poll did not read: no flow, no total, no default unit.
    const QString unread = QStringLiteral(R"(\{"flow":null,"flow_value":null,"ok":false,"time":"[^"]+","total":null,)"
                                          R"("total_unit":null,"total_value":null,"unit":%1\}\n)");
    const QString stats = QStringLiteral(R"(\{"link":\{"bytes_in":\d+,"bytes_out":\d+,"discarded":[1-9]\d*,"frames":\d+,"lost":0,)"
                                         R"("replies":%1,"reply_ms_least":%2,.*\}\}\n)");
    QTest::newRow("greeting") << "greet" << "tcp" << QStringList{"read", "0105", "04"} << 0 << maxFlow + "\n" << "";
    QTest::newRow("noise on the reply's line") << "noise" << "tcp" << QStringList{"read", "0105", "04"} << 1 << "" << "";
    // Its last digits come a packet behind, as a network may hold one back.
    QTest::newRow("reply a byte longer") << "long:30" << "tcp" << QStringList{"read", "0105", "04"} << 1 << "" << "";
    QTest::newRow("line that echoes") << "echo" << "tcp" << QStringList{"read", "0105", "04"} << 0 << maxFlow + "\n" << "";
    QTest::newRow("late greeting") << "lategreet" << "tcp" << QStringList{"read", "0105", "04"} << 0 << maxFlow + "\n" << "";
    // Each reply comes a quarter of a time-out after the read gave up on it.
    QTest::newRow("late replies") << "late:750" << "tcp" << QStringList{"--timeout", "600", "monitor", "--count", "1", "--json", "--stats"}
                                  << 1 << unread.arg("null") + stats.arg("0", "null")
                                  << "Can not get device Total reading!";
    // The unit's time base is lost: no unit until it is read, at the next poll.
    QTest::newRow("time base lost") << "lose:1" << "tcp" << monitor.mid(0, 8) << 1
                                    << QStringLiteral(R"(\{"flow":"[0-9.]+",[^\n]*"ok":false,[^\n]*"total_unit":"LTR",[^\n]*"unit":null\}\n)"
                                                      R"(\{"flow":"[0-9.]+",[^\n]*"ok":true,[^\n]*"unit":"LTR/Min"\}\n)") << "";
    // The short reads come within the time-out, the long ones do not.
    QTest::newRow("trickling line") << "trickle:30" << "tcp" << monitor << 1
                                    << unread.arg(R"("LTR/Min")").repeated(2) + stats.arg("\\d+", "\\d+") << "";
    QTest::newRow("telnet server on tcp://") << "opensb" << "tcp" << QStringList{"read", "0100", "01"} << 1 << ""
                                             << "The server at %1 speaks telnet (RFC 2217): use rfc2217://%1\n";
    // The readout's second try does not open the port again.
    QTest::newRow("raw server on rfc2217://") << "none" << "rfc2217" << QStringList{"get", "max-flow"} << 1 << ""
                                              << "The server at %1 did not agree to the com-port option within 1 s: "
                                                 "it is no RFC 2217 server; use tcp://%1\n";
    QTest::newRow("unterminated subnegotiation") << "opensb" << "rfc2217" << QStringList{"read", "0100", "50"} << 0
                                                 << "[0-9A-F]{160}\n" << "";
    // Endless bytes without a ":": each read gives up, and memory stays low.
    QTest::newRow("flooding server") << "flood" << "tcp" << monitor << 1 << unread.arg("null").repeated(2) + stats.arg("0", "null")
                                     << "";
}

void TestFaultsE2E::misbehavingServerNeverGivesAValue()
{
    const auto [fault, scheme, args, code, out, err] = kMisbehavingServerNeverGivesAValue.fetch();
    SimProcess sim;
    QVERIFY2(sim.start({"--listen", "0", "--no-pacing", "--fault", fault}), qPrintable(sim.errorString()));
    const QString where = sim.path().mid(6);
    const CliRun r = runCli(scheme + "://" + where, args);
    QVERIFY2(r.code == code, qPrintable(r.err));
    QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(out)).match(r.out).hasMatch(), qPrintable(r.out));
    QVERIFY2(err.isEmpty() || r.err.count(QString(err).replace(QLatin1String("%1"), where)) == 1, qPrintable(r.err));
    // Memory: at most 16 MB above a run against a well-behaved server, so a
    // sanitizer build's larger footprint is measured against its own.
    static qint64 healthyKb = 0;
    if (!healthyKb) {
        SimProcess good;
        QVERIFY2(good.start({"--listen", "0", "--no-pacing"}), qPrintable(good.errorString()));
        healthyKb = runCli(good.path(), {"read", "0105", "04"}).peakKb;
        QVERIFY(healthyKb > 0);
    }
    QVERIFY2(r.peakKb > 0 && r.peakKb < healthyKb + 16 * 1024,
             qPrintable(QStringLiteral("%1 kB, healthy %2 kB").arg(r.peakKb).arg(healthyKb)));
}

void TestFaultsE2E::hangUpMidReadoutEndsItAndThePortReopens()
{
    // Frames 1 and 2 of the readout are answered (the block at 0100h, the
    // unit); the line drops on the third (the density).
    SimProcess sim;
    QVERIFY2(sim.start({"--no-pacing", "--fault", "hangup:3"}), qPrintable(sim.errorString()));
    ScriptedPrompter prompter;
    auto *port = new QtSerialPort(sim.path());
    TerminalSession session(&prompter, port);
    DeviceLink &link = session.link();
    link.setReplyTimeout(2000);
    QSignalSpy lost(&link, &DeviceLink::portLost);

    QVERIFY(!session.synchronize());
    QCOMPARE(lost.count(), 1);
    QCOMPARE(session.progressSteps, (QList<int>{1, 5}));
    QVERIFY(!link.PortOpen() && !link.AwaitingReply && link.LineReady);
    QVERIFY(!session.state().Synchronized && session.state().MemoryImage0100Export.isEmpty());
    // The loss once, with the port's reason (not "No connection!"), then the
    // readout's own two.
    QCOMPARE(prompter.texts(), (QStringList{QtSerialPort::lostText(sim.path()),
                                            "Communication ERROR. Can not get\r device density!",
                                            ConfigReadout::ConfigFailure}));
    QVERIFY(prompter.entries.at(0).icon == Prompter::Exclamation && prompter.entries.at(0).title == "System Monitor");
    QVERIFY(sim.waitForExit(5000) && !sim.crashed());
    waitUntil({}, 200); // nothing more arrives from the dead line
    QCOMPARE(prompter.texts().size(), 3);

    // The operator points the port at a new device and synchronizes again.
    SimProcess sim2;
    QVERIFY2(sim2.start({"--no-pacing"}), qPrintable(sim2.errorString()));
    port->setPortName(sim2.path());
    prompter.clear();
    session.progressSteps.clear();
    QVERIFY(session.synchronize());
    QCOMPARE(session.progressSteps, (QList<int>{1, 5, 10, 15, 17, 20}));
    QCOMPARE(prompter.texts(), QStringList());
    QCOMPARE(session.state().Density, qint32(m_reference.value(0x0170, 4)));
}

void TestFaultsE2E::unwritableLogLeavesNothingBehind_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("read-only folder") << "readonly";
    QTest::newRow("full disk") << "full";
}

void TestFaultsE2E::unwritableLogLeavesNothingBehind()
{
    QFETCH(QString, kind);
    QTemporaryDir tmp;
    QVERIFY(tmp.isValid());
    QString folder = tmp.path();
    const bool full = kind == QLatin1String("full");
    if (kind == QLatin1String("readonly")) {
        // Folder permissions do not bind root; sysfs takes no new files.
        folder = geteuid() == 0 ? QStringLiteral("/sys") : tmp.filePath(QStringLiteral("ro"));
        QVERIFY(geteuid() == 0 || (QDir().mkdir(folder) && QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner)));
    }
    const QString path = folder + QStringLiteral("/flow.log");
    // A log that was there before keeps its content when the new one fails.
    const QByteArray before = "\"previous\",1,\"LTR/Min\"\r\n";
    if (full)
        QVERIFY(writeFileBytes(path, before));
    const QDir dir(folder);
    const QStringList listed = dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);

    DataLog log;
    QString error;
    bool opened = false;
    bool closed = false;
    {
        std::unique_ptr<FullDisk> limit(full ? new FullDisk(4096) : nullptr);
        opened = log.open(path, false, &error);
        for (int i = 0; opened && i < 500; ++i)
            log.record(QDateTime(QDate(2024, 5, 1), QTime(14, 3, 7)).addSecs(i), QStringLiteral("12.345"),
                       QStringLiteral("LTR/Min"));
        closed = opened && log.close(&error);
    }
    // QSaveFile::commit() (Qt 6.4) succeeds after a write that failed in
    // flush(); the log itself must refuse to save.
    QCOMPARE(opened, full);
    QVERIFY(!closed && !log.isOpen());
    QVERIFY2(error.startsWith(path + QStringLiteral(": ")) && error.size() > path.size() + 2, qPrintable(error));

    // No half-written file and no temporary left beside it.
    QCOMPARE(dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), listed);
    QCOMPARE(QFile::exists(path), full);
    QVERIFY(!full || fileBytes(path) == before);
}

QTEST_GUILESS_MAIN(TestFaultsE2E)
#include "tst_faults_e2e.moc"
