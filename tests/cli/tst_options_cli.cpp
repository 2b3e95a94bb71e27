// Every option of quorin-cli, each with something it visibly changes, and
// the limits of the values they take at both ends; --version of all three
// programs. "%d" in an argument is this test's own folder.
#include "support/columns.h"
#include "support/clirun.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

const Columns<QString, QStringList, int, QString, QString> kOptions{"program", "args", "code", "out", "err"};

} // namespace

class TestOptionsCli : public QObject
{
    Q_OBJECT
private slots:
    void options_data()
    {
        // out: a piece of stdout; err: stderr whole (for 0, nothing), or a piece of it after "...".
        kOptions.add();
        const QString range = "The value of the parameter is out of\n permissible range [200h-7FFFh] Try again!";
        const auto row = [&](const char *name, const QStringList &args, int code, const QString &out, const QString &err,
                             const QString &program = QStringLiteral(QUORIN_CLI_EXE)) {
            QTest::newRow(name) << program << args << code << out << err;
        };
        row("quorin-cli --version", {"--version"}, 0, "quorin-cli " QUORIN_VERSION "\n", "");
        row("quorin-sim --version", {"--version"}, 0, "quorin-sim " QUORIN_VERSION "\n", "", QUORIN_SIM_EXE);
        row("quorin-terminal --version", {"--version"}, 0, "Quorin Terminal " QUORIN_VERSION "\n", "...", QUORIN_TERMINAL_EXE);
        row("--help", {"--help"}, 0, "usage: quorin-cli (--port PATH | --sim) [--rs485] [--settings 9600,n,8,1] COMMAND ARGS\n", "");
        row("help", {"help"}, 0, "\n  --version prints the program's version\n", "");
        row("no command", {"--sim"}, 2, "", "...usage: quorin-cli (--port PATH");
        row("unknown command", {"--sim", "infos"}, 2, "", "quorin-cli: unknown command \"infos\" (try --help)");
        row("unknown option", {"--bogus"}, 2, "", "quorin-cli: unknown option --bogus");
        row("flag with a value", {"--sim=1", "info"}, 2, "", "quorin-cli: option --sim takes no value");
        row("option without value", {"info", "--port"}, 2, "", "quorin-cli: option --port needs a value");
        row("--port=PATH", {"--port=/nonexistent/tty", "info"}, 1, "",
            "No such file or directory\nCommunication ERROR. Transmission is terminated!\n Can not get device configuration data!");
        row("no port", {"info"}, 2, "", "quorin-cli: name a port with --port PATH, or give --sim");
        row("--port and --sim", {"--sim", "--port", "x", "info"}, 2, "", "quorin-cli: name a port with --port PATH, or give --sim");
        row("--rs485: the bus tag comes back", {"--sim", "--rs485", "monitor", "--count", "1", "--stats"}, 0, "bytes out 90 in 76,", "");
        // --settings is read before the port opens: a good one leaves the open to fail.
        for (const char *s : {"1,s,5,1", "115200,N,8,1.5", "9600,m,7,2"})
            row(s, {"--port", "/nonexistent/tty", "--settings", s, "read", "0105", "04"}, 1, "", "No such file or directory");
        for (const char *s : {"0,n,8,1", "9600,x,8,1", "9600,n,4,1", "9600,n,9,1", "9600,n,8,3", "9600,n,8"})
            row(s, {"--port", "/nonexistent/tty", "--settings", s, "read", "0105", "04"}, 2, "",
                QStringLiteral("quorin-cli: bad --settings \"%1\": Invalid property value").arg(s));
        row("--preset", {"--sim", "--preset", "tenths", "read", "0105", "04"}, 0, "00003039\n", "");
        row("unknown preset", {"--sim", "--preset", "nope", "info"}, 2, "",
            "quorin-cli: unknown preset; choose one of: standard, tenths, second");
        row("unknown fault", {"--sim", "--fault", "bogus", "info"}, 2, "", "...quorin-cli: unknown fault \"bogus\"");
        row("--timeout shorter than the reply", {"--sim", "--fault", "late:100", "--timeout", "50", "read", "0105", "04"}, 1, "",
            "No connection!");
        row("silent device", {"--sim", "--fault", "noanswer", "--timeout", "150", "info"}, 1, "",
            "No connection!\nNo connection!\nCommunication ERROR. Transmission is terminated!\n Can not get device configuration data!");
        row("--timeout 0 keeps the default", {"--sim", "--fault", "late:100", "--timeout", "0", "read", "0105", "04"}, 0,
            "00001388\n", "");
        row("--count -1", {"--sim", "monitor", "--count", "-1"}, 2, "", "quorin-cli: --count must be a whole number, 0 or more");
        row("--count x", {"--sim", "monitor", "--count", "x"}, 2, "", "quorin-cli: --count must be a whole number, 0 or more");
        row("--interval 49", {"--sim", "monitor", "--interval", "49"}, 2, "",
            "quorin-cli: --interval must be a whole number of milliseconds, 50 or more");
        row("--interval 50", {"--sim", "monitor", "--interval", "50", "--count", "2", "--stats"}, 0, "link: frames 11,", "");
        row("--json elsewhere", {"--sim", "--json", "read", "0105", "04"}, 2, "",
            "quorin-cli: --json works with info, get, params, monitor, compare, journal, sweep, sweep-one only");
        row("import without --yes", {"--sim", "import", "%d/none.epr"}, 2, "",
            "quorin-cli: import overwrites the device's configuration; give --yes to go on");
        row("import --yes", {"--sim", "import", "%d/none.epr", "--yes"}, 2, "", "quorin-cli: none.epr: No such file or directory");
        row("import --dry-run", {"--sim", "import", "%d/none.epr", "--dry-run"}, 2, "", "quorin-cli: none.epr: No such file or directory");
        row("report --as-found", {"--sim", "report", "%d/r.pdf", "--as-found", "%d/none.epr"}, 2, "",
            "...quorin-cli: none.epr: No such file or directory");
        row("journal --last 0", {"journal", "--last", "0"}, 2, "", "quorin-cli: --last needs a positive whole number");
        row("undo without --last", {"undo"}, 2, "", "quorin-cli: undo needs --last N, a positive whole number");
        row("rescale without --code", {"--sim", "rescale", "100"}, 2, "",
            "quorin-cli: rescale needs --code CODE (the device's three-character code)");
        row("poke without --code", {"--sim", "poke", "01", "0105", "00"}, 2, "", "quorin-cli: poke needs --code CODE (the back door code)");
        row("read, address of 3", {"--sim", "read", "105", "04"}, 2, "", "quorin-cli: ADDR must be 4 hex digits, not \"105\"");
        row("read, count of 1", {"--sim", "read", "0105", "4"}, 2, "", "quorin-cli: COUNT must be 2 hex digits, not \"4\"");
        row("read, one argument", {"--sim", "read", "0105"}, 2, "", "quorin-cli: read needs ADDR COUNT");
        row("write, not hex", {"--sim", "write", "0105", "01", "0G"}, 2, "", "quorin-cli: DATA must be hex digits, not \"0G\"");
        row("write, short of COUNT", {"--sim", "write", "0105", "04", "07D0"}, 2, "", "quorin-cli: DATA must be 8 hex digits for COUNT 04, not \"07D0\"");
        // Refused before anything is written: the editor's messages and exit 1, or bad input and exit 2.
        const QString outOf = "The value of the parameter is out of\n permissible range [%1] Try again!";
        row("percent out of range", {"--sim", "set", "txt1Percent", "101"}, 1, "", outOf.arg("0-100"));
        row("low cut-off at the high cut-off, by alias", {"--sim", "set", "low-cutoff", "1000"}, 1, "", outOf.arg("0-9999"));
        row("time base beyond the list", {"--sim", "set", "time-base", "4"}, 1, "", outOf.arg("0-3"));
        // Refused, never rounded or cut on the way: 0.04 would be stored as 0,
        // "00200" does not fit the pointer's two bytes.
        row("tenths finer than tenths", {"--sim", "--preset", "tenths", "set", "max-flow", "0.04"}, 1, "", outOf.arg("0.1-5000000.0"));
        row("pointer of five digits", {"--sim", "set", "data-pointer", "00200"}, 1, "", outOf.arg("200h-7FFFh"));
        row("letters in a number", {"--sim", "set", "txt1Percent", "1a"}, 2, "", "quorin-cli: txt1Percent takes digits only, not \"1a\"");
        row("lower-case pointer", {"--sim", "set", "data-pointer", "1a00"}, 2, "",
            "quorin-cli: txtDataPointer takes upper-case hex digits, not \"1a00\"");
        row("unit not in the list", {"--sim", "set", "cboEUnit", "KGX"}, 2, "",
            "quorin-cli: cboEUnit takes one of LB,KG,TON,TONN,CFT,LTR,CUM,GAL,UD or its index, not \"KGX\"");
        row("option bit 2", {"--sim", "set", "optPulse", "2"}, 2, "", "quorin-cli: optPulse takes 0 or 1, not \"2\"");
        row("unknown name", {"--sim", "get", "flux"}, 2, "", "quorin-cli: unknown parameter \"flux\" (see: quorin-cli params)");
        row("reset-total without --yes", {"--sim", "reset-total"}, 1, "",
            "WARNING: Proceeding with this will reset Totalizer to Zero!\n   Do you want to Reset Totalizer to Zero?    "
            "No (give --yes to answer Yes)");
        row("reset-total --yes while the device shows flow", {"--sim", "reset-total", "--yes"}, 1, "",
            "WARNING: Proceeding with this will reset Totalizer to Zero!\n   Do you want to Reset Totalizer to Zero?    Yes\n"
            "WARNING: Flow reading is not zero!\n Please make sure flow reading is zero!");
        row("flowlog 01FF", {"--sim", "flowlog", "01FF", "%d/a.mlg"}, 2, "", range);
        row("flowlog 0200", {"--sim", "flowlog", "0200", "%d/b.mlg"}, 2, "", "Flow array is ampty! Please first Reed data. Click OK.");
        row("flowlog 8000", {"--sim", "flowlog", "8000", "%d/d.mlg"}, 2, "", range);
    }

    void options()
    {
        auto [program, args, code, out, err] = kOptions.fetch();
        args.replaceInStrings(QStringLiteral("%d"), m_dir.path());
        const CliRun r = runProgram(program, args);
        QCOMPARE(r.code, code);
        QVERIFY2(code == 0 ? r.out.contains(out) : r.out == out, qPrintable(r.out)); // a refusal prints nothing else
        if (err.startsWith(QLatin1String("...")))
            QVERIFY2(r.err.contains(err.mid(3)), qPrintable(r.err));
        else
            QCOMPARE(r.err.trimmed(), err);
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestOptionsCli)
#include "tst_options_cli.moc"
