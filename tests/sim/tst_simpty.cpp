// quorin-sim as a process: the fault texts it reads, it waits for clients
// without spinning and ends cleanly on a signal. Its pacing at the baud rate
// is measured by bench_flowlog; serving frames, faults and clients that come
// and go over the pseudo-terminal are proven by the end-to-end fault and CLI
// tests.
#include "sim/simfaults.h"
#include "support/clirun.h"
#include "support/columns.h"
#include "support/filebytes.h"
#include "support/simprocess.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

#include <unistd.h>

namespace {

// CPU time (user + system, in clock ticks) a process has used so far.
qint64 cpuTicks(qint64 pid)
{
    const QByteArray stat = fileBytes(QStringLiteral("/proc/%1/stat").arg(pid)); // "<missing>" gives -1
    // utime and stime are the 12th and 13th fields after the command name.
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 12 ? fields.at(11).toLongLong() + fields.at(12).toLongLong() : -1;
}

const Columns<QString, QString> kFaultTexts{"text", "toString"};

} // namespace

class TestSimPty : public QObject
{
    Q_OBJECT
private slots:
    void waitsWithoutSpinningAndEndsOnSignal()
    {
        SimProcess sim;
        QVERIFY2(sim.start({QStringLiteral("--no-pacing")}), qPrintable(sim.errorString()));
        // No client yet: the simulator must neither be gone nor spin on a master
        // that reports hang-up.
        const qint64 before = cpuTicks(sim.process()->processId());
        QVERIFY(before >= 0);
        QSignalSpy ended(sim.process(), &QProcess::finished);
        QVERIFY(!ended.wait(1000));
        const qint64 used = cpuTicks(sim.process()->processId()) - before;
        QVERIFY2(used * 1000 / sysconf(_SC_CLK_TCK) < 100, qPrintable(QStringLiteral("%1 ticks in 1 s").arg(used)));
        QElapsedTimer t;
        t.start();
        QVERIFY(sim.stop(3000)); // SIGTERM: a normal exit with status 0
        QVERIFY(t.elapsed() < 2000);
    }

    // The faults as quorin-sim --fault reads them ("" in toString: refused), and
    // listed by --help.
    void faultTexts_data()
    {
        kFaultTexts.add();
        QTest::newRow("line faults") << " Greet, noise ,trickle:1,opensb" << "greet,noise,trickle:1,opensb";
        QTest::newRow("slowest trickle") << "trickle:10000" << "trickle:10000";
        QTest::newRow("trickle too slow") << "trickle:10001" << "";
        QTest::newRow("trickle without gap") << "trickle" << "";
        QTest::newRow("greet takes no value") << "greet:1" << "";
        QTest::newRow("long replies, a lost one") << "long,lategreet,echo,lose:3" << "lose:3,long,lategreet,echo";
        QTest::newRow("long tail bounds") << "long:10000" << "long:10000";
        QTest::newRow("long tail too late") << "long:10001" << "";
        QTest::newRow("long tail of 0") << "long:0" << "";
    }

    void faultTexts()
    {
        const auto [text, toString] = kFaultTexts.fetch();
        SimFaults f;
        QString error;
        QCOMPARE(SimFaults::parse(text, &f, &error), !toString.isEmpty());
        QCOMPARE(toString.isEmpty() ? error.section(QLatin1Char('"'), 1, 1) : f.toString(), toString.isEmpty() ? text : toString);
        QVERIFY(toString.isEmpty() == !error.isEmpty() && f.any() == !toString.isEmpty());
        const QString listed = runProgram(QStringLiteral(QUORIN_SIM_EXE), {QStringLiteral("--help")}, 5000).out.simplified();
        for (const char *kind : {"greet", "noise", "trickle:MS", "opensb", "late:MS", "long[:MS]", "lategreet", "echo", "lose:N"})
            QVERIFY2(listed.contains(QLatin1String(kind)), kind);
    }
};

QTEST_GUILESS_MAIN(TestSimPty)
#include "tst_simpty.moc"
