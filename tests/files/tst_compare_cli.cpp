// Export, compare, import, the write journal, undo and the service report,
// end to end through quorin-cli against two simulated transmitters with
// different presets; the flow log download; the history window's filters; the
// report from the main window; and a journal that cannot be written.
#include "files/configimport.h"
#include "files/flowlogreadout.h"
#include "files/configtable.h"
#include "files/frmhistory.h"
#include "files/frmimporte.h"
#include "files/servicereport.h"
#include "session/writejournal.h"
#include "support/filebytes.h"
#include "support/columns.h"
#include "support/clirun.h"
#include "support/fulldisk.h"
#include "support/simprocess.h"
#include "support/simrig.h"
#include "support/windowrig.h"

#include <QComboBox>
#include <QFile>
#include <QHeaderView>
#include <QProgressBar>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// The rows of a listing (a compare's, or a report's text split before the
// blanks at its line ends) that end with mark, by the address at column `at`.
QStringList marked(const QStringList &lines, const QString &mark, int at)
{
    QStringList addresses;
    for (const QString &line : lines)
        if (line.endsWith(mark))
            addresses << line.mid(at, 4);
    return addresses;
}

// The PDF's text as poppler reads it, one line per table row.
QString pdfText(const QString &path)
{
    const CliRun r = runProgram(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), path, QStringLiteral("-")});
    return r.code == 0 ? r.out : QStringLiteral("pdftotext failed: ") + r.err;
}

QStringList journal(int last)
{
    return runCli({QStringLiteral("journal"), QStringLiteral("--last"), QString::number(last)}).lines();
}

const Columns<QStringList, int, QString, QString> kTablesAndOutputsRefused{"args", "code", "err", "out"};

} // namespace

class TestCompareCli : public QObject
{
    Q_OBJECT
private slots:
    void compareImportJournalAndUndo()
    {
        // A journal left by an earlier run may name these ports for other devices.
        QDir cliData(QDir::homePath() + QStringLiteral("/.local/share/Quorin Terminal"));
        for (const QString &name : cliData.entryList({QStringLiteral("journal*.jsonl")}, QDir::Files))
            QVERIFY(cliData.remove(name));
        SimProcess first, second;
        QVERIFY2(first.start({"--preset", "second", "--no-pacing"}), qPrintable(first.errorString()));
        QVERIFY2(second.start({QStringLiteral("--no-pacing")}), qPrintable(second.errorString()));
        QTemporaryDir dir;
        const QString a = dir.filePath(QStringLiteral("a.epr"));
        const QString b = dir.filePath(QStringLiteral("b.epr"));
        CliRun r = runCli(first.path(), {QStringLiteral("export"), a});
        QCOMPARE(r.out, QStringLiteral("Configuration Table has been Saved. Click OK.\n"));
        QCOMPARE(runCli(second.path(), {QStringLiteral("export"), b}).code, 0);
        // An existing file is replaced, and a device written, only when told --yes.
        r = runCli(first.path(), {QStringLiteral("export"), a});
        QCOMPARE(std::pair(r.code, r.err), std::pair(2, QStringLiteral("quorin-cli: %1 exists; give --yes to replace it\n").arg(a)));
        QCOMPARE(runCli(second.path(), {QStringLiteral("import"), a}).code, 2);

        // Two files: exactly the rows whose data differs, the live rows apart.
        ConfigTable ta, tb;
        QString error;
        QVERIFY(ta.readFile(a, &error) && tb.readFile(b, &error));
        QStringList differing;
        for (int row = 0; row < ConfigTable::RowCount; ++row)
            if (ta.row(row).Data != tb.row(row).Data && row != 18 && row != 20)
                differing << ta.row(row).Address;
        r = runCli({QStringLiteral("compare"), a, b});
        QCOMPARE(std::pair(r.code, r.lines().size()), std::pair(1, qsizetype(28)));
        QCOMPARE(marked(r.lines(), QStringLiteral("  differs"), 5), differing);
        QVERIFY2(r.lines().last() == QStringLiteral("%1 rows differ").arg(differing.size()), qPrintable(r.out));
        QVERIFY2(r.out.contains(QRegularExpression(QStringLiteral("\n1    0105  txtMaxFlow \\(full-scale flow\\) +1200 +5000 +differs\n"))),
                 qPrintable(r.out));
        QCOMPARE(runCli({QStringLiteral("compare"), a, a}).code, 0);
        QCOMPARE(runCli({QStringLiteral("compare"), a, dir.filePath(QStringLiteral("none.epr"))}).code, 2);

        // The device against its own file: the same, though its live rows move.
        r = runCli(second.path(), {QStringLiteral("compare"), b});
        QCOMPARE(r.code, 0);
        QCOMPARE(marked(r.lines(), QStringLiteral("  differs"), 5), QStringList());
        QVERIFY(r.out.contains(QLatin1String("0109  (totalizer fraction / counter word)")));

        // A dry run lists what it would write and writes nothing.
        const int before = journal(1000).size();
        r = runCli(second.path(), {QStringLiteral("import"), a, QStringLiteral("--dry-run")});
        QCOMPARE(std::tuple(r.code, r.lines().size(), r.lines().last()),
                 std::tuple(0, qsizetype(26), QStringLiteral("dry run: 25 rows would be written, nothing was sent")));
        QCOMPARE(journal(1000).size(), before);

        // --changed writes exactly the rows that differ, each journaled.
        r = runCli(second.path(), {QStringLiteral("import"), a, QStringLiteral("--changed"), QStringLiteral("--yes")}, 120000);
        QCOMPARE(std::pair(r.code, r.lines().size()), std::pair(0, differing.size() - 1));
        QStringList written;
        for (const QString &line : journal(differing.size() - 1)) {
            QVERIFY2(line.contains(QLatin1String("  import  quorin-cli import  ")) && line.endsWith(QLatin1String("  verified")),
                     qPrintable(line));
            written.prepend(line.section(QLatin1String("  "), 4, 4));
        }
        // The "0130" row is never written by an import, so it alone still differs.
        QVERIFY(differing.removeOne(QStringLiteral("0130")));
        QCOMPARE(written, differing);
        r = runCli(second.path(), {QStringLiteral("compare"), a});
        QCOMPARE(r.code, 1);
        QCOMPARE(marked(r.lines(), QStringLiteral("  differs"), 5), QStringList{QStringLiteral("0130")});
        const QString s = dir.filePath(QStringLiteral("s.epr"));
        QCOMPARE(runCli(second.path(), {QStringLiteral("export"), s}).code, 0);

        // Edits are journaled with the data before and after, and undo puts the
        // device back, newest first, only when told --yes.
        for (const QStringList &set : {QStringList{"high-cutoff", "1500"}, QStringList{"density", "900"}, QStringList{"high-cutoff", "1600"}})
            QCOMPARE(runCli(second.path(), QStringList{"set"} + set).code, 0);
        QStringList j = journal(3);
        QCOMPARE(j.size(), 3);
        QVERIFY2(j[0].contains(QLatin1String("0134  02  txtHighFcut  before 05DC  written 0640  verified")), qPrintable(j[0]));
        QVERIFY2(j[1].contains(QLatin1String("0170  04  txtFluDensity  before 00000352  written 00000384  verified")), qPrintable(j[1]));
        QVERIFY2(j[2].contains(QLatin1String("0134  02  txtHighFcut  before 0258  written 05DC  verified")), qPrintable(j[2]));
        QVERIFY(j[2].contains(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d(Z|[+-]\\d\\d:\\d\\d)  "))));

        r = runCli(second.path(), {QStringLiteral("undo"), QStringLiteral("--last"), QStringLiteral("3")});
        QCOMPARE(r.code, 2);
        QVERIFY2(r.err.contains(QLatin1String("  0134 02  0640 -> 05DC  txtHighFcut\n  0170 04  00000384 -> 00000352  txtFluDensity\n")),
                 qPrintable(r.err));
        QCOMPARE(runCli(second.path(), {QStringLiteral("compare"), s}).code, 1);
        // Undo takes only the writes made through its own port, and refuses a
        // device that is not the one written to.
        r = runCli(first.path(), {QStringLiteral("undo"), QStringLiteral("--last"), QStringLiteral("3"), QStringLiteral("--yes")});
        QCOMPARE(std::pair(r.code, r.err),
                 std::pair(1, QStringLiteral("quorin-cli: undo refused: the journal holds 0 writes through %1\n").arg(first.path())));
        QCOMPARE(runCli({QStringLiteral("--sim"), QStringLiteral("set"), QStringLiteral("high-cutoff"), QStringLiteral("1500")}).code, 0);
        r = runCli({QStringLiteral("--sim"), QStringLiteral("--preset"), QStringLiteral("second"), QStringLiteral("undo"),
                    QStringLiteral("--last"), QStringLiteral("1"), QStringLiteral("--yes")});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.err.contains(QRegularExpression(QStringLiteral("the write of 05DC at 0134 \\(\\S+\\): the device open now is "
                                                                  "another: it holds 19 at 0100, the device written held 32\n"))),
                 qPrintable(r.err));
        r = runCli(second.path(), {QStringLiteral("undo"), QStringLiteral("--last"), QStringLiteral("3"), QStringLiteral("--yes")}, 60000);
        QCOMPARE(std::pair(r.code, r.lines().size()), std::pair(0, qsizetype(3)));
        QCOMPARE(runCli(second.path(), {QStringLiteral("compare"), s}).code, 0);
        j = journal(3);
        QVERIFY2(j[0].contains(QLatin1String("  undo  quorin-cli undo  0134  02  txtHighFcut  before 05DC  written 0258  verified")),
                 qPrintable(j[0]));

        // --only writes the named rows alone.
        QCOMPARE(runCli(second.path(), {QStringLiteral("set"), QStringLiteral("high-cutoff"), QStringLiteral("1500")}).code, 0);
        r = runCli(second.path(), {"import", a, "--only", "txtHighFcut,density", "--yes"}, 60000);
        QCOMPARE(std::pair(r.code, r.lines().size()), std::pair(0, qsizetype(2)));
        QCOMPARE(runCli(second.path(), {QStringLiteral("compare"), s}).code, 0);
        QCOMPARE(runCli(second.path(), {"import", a, "--only", "coefficient-b", "--yes"}).code, 2);

        // A parameter with a RAM copy goes back together with its copy.
        const QString interval = runCli(second.path(), {QStringLiteral("read"), QStringLiteral("0100"), QStringLiteral("01")}).out;
        QCOMPARE(runCli(second.path(), {QStringLiteral("set"), QStringLiteral("measuring-interval"), QStringLiteral("30")}).code, 0);
        QCOMPARE(runCli(second.path(), {QStringLiteral("undo"), QStringLiteral("--last"), QStringLiteral("1"), QStringLiteral("--yes")}).code, 0);
        QCOMPARE(runCli(second.path(), {QStringLiteral("read"), QStringLiteral("0030"), QStringLiteral("01")}).out, interval);
        QCOMPARE(runCli(second.path(), {QStringLiteral("read"), QStringLiteral("0100"), QStringLiteral("01")}).out, interval);

        // The service report against the first table: only the row that still
        // differs is marked, with each side's value.
        const QString pdf = dir.filePath(QStringLiteral("r.pdf"));
        r = runCli(second.path(), {QStringLiteral("report"), pdf, QStringLiteral("--as-found"), a});
        QCOMPARE(std::pair(r.code, r.out), std::pair(0, QStringLiteral("Service report saved: 1 of 24 parameters changed, 0 writes.\n")));
        const QString text = pdfText(pdf);
        QCOMPARE(marked(text.split(QRegularExpression(QStringLiteral("\\s*\n"))), QStringLiteral("CHANGED"), 0), QStringList{QStringLiteral("0130")});
        QVERIFY2(text.contains(QRegularExpression(QStringLiteral("0130 +correction coefficient B +10 +25 +CHANGED"))), qPrintable(text));
        QVERIFY(text.contains(QRegularExpression(QStringLiteral("\nAs found +the table saved in a.epr\n"))));
        QVERIFY(text.contains(QRegularExpression(QStringLiteral("\nPort +") + QRegularExpression::escape(second.path()) + "\n")));
        QCOMPARE(runCli(second.path(), {QStringLiteral("report"), pdf}).code, 2);
        QCOMPARE(runCli(second.path(), {QStringLiteral("report"), pdf + "2", QStringLiteral("--as-found"), pdf}).code, 2);

        // A read-back that differs stops the import, and the stop message shows it.
        r = runCli({QStringLiteral("--sim"), QStringLiteral("--fault"), QStringLiteral("corrupt"), QStringLiteral("import"), a, QStringLiteral("--yes")});
        QCOMPARE(r.code, 1);
        const QString got = QRegularExpression(QStringLiteral("data recieved: ([0-9A-F]+)\n")).match(r.err).captured(1);
        QVERIFY2(!got.isEmpty() && r.out.isEmpty() && r.err.endsWith(QStringLiteral("again!   [%1]\n").arg(got)), qPrintable(r.err));
    }

    void flowlogAndRefusals()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("log.mlg"));
        CliRun r = runCli({QStringLiteral("--sim"), QStringLiteral("flowlog"), QStringLiteral("7FFF"), path});
        QCOMPARE(std::pair(r.code, r.out), std::pair(0, QStringLiteral("16129 points saved to %1\n").arg(path)));
        QVERIFY(r.err.endsWith(QStringLiteral("flowlog: block 127 of 127\n")));
        const QList<QByteArray> records = fileBytes(path).split('\n');
        QCOMPARE(records.size(), 16131);
        QVERIFY(records[16129].startsWith("16129,"));

        r = runCli({"--sim", "flowlog", "7FFF", dir.filePath("no/such/x.mlg")});
        QCOMPARE(r.code, 2);
        QVERIFY2(r.err.startsWith(QStringLiteral("quorin-cli: ") + dir.filePath(QStringLiteral("no/such/x.mlg")) + ": "),
                 qPrintable(r.err));
    }

    // A table naming an address twice is refused by every reader, with both
    // lines; an output that is an input of the same command, however spelled,
    // is refused and nothing is written; a table with bare CR line ends reads.
    void tablesAndOutputsRefused_data()
    {
        kTablesAndOutputsRefused.add();
        const QString dup = QStringLiteral("quorin-cli: d.epr, line 5: the address 0134 is named again; line 4 names it first\n");
        QTest::newRow("compare, twice named") << QStringList{"compare", "d.epr", "t.epr"} << 2 << dup << QString();
        QTest::newRow("import") << QStringList{"--sim", "import", "d.epr", "--changed", "--yes"} << 2 << dup << QString();
        QTest::newRow("report as found") << QStringList{"--sim", "report", "r.pdf", "--as-found", "d.epr"} << 2 << dup << QString();
        const QString same = QStringLiteral("quorin-cli: %1 is read by this command; it cannot also be the output\n");
        QTest::newRow("report over its table") << QStringList{"--sim", "report", "t.epr", "--as-found", "t.epr", "--yes"} << 2
                                               << same.arg("t.epr") << QString();
        QTest::newRow("spelled ..") << QStringList{"--sim", "report", "../x/t.epr", "--as-found", "t.epr", "--yes"} << 2
                                    << same.arg("../x/t.epr") << QString();
        QTest::newRow("through a link") << QStringList{"--sim", "report", "l.epr", "--as-found", "t.epr", "--yes"} << 2
                                        << same.arg("l.epr") << QString();
        QTest::newRow("bare CR line ends") << QStringList{"compare", "cr.epr", "t.epr"} << 0 << QString() << QString();
        QTest::newRow("empty data is no 0") << QStringList{"compare", "e.epr", "t.epr"} << 1 << QString()
                                            << "\n0    0100  txtMeasureInter (measuring interval)                      (empty)           50                differs\n";
        QTest::newRow("the same value, wider") << QStringList{"compare", "w.epr", "t.epr"} << 0 << QString() << "\n1    0105";
        QTest::newRow("json names the counter word") << QStringList{"compare", "t.epr", "t.epr", "--json"} << 0 << QString()
                                                     << "\"name\":\"total-counter\"";
        const QString bad = QStringLiteral("quorin-cli: %1, line %2: %3; nothing was written\n");
        const QString digits = QStringLiteral("%1 takes %2 hexadecimal digits (width %3), not \"%4\"");
        QTest::newRow("import, too short") << QStringList{"--sim", "import", "s.epr", "--yes"} << 2 << bad.arg("s.epr").arg(2).arg(digits.arg("0105").arg(8).arg("04", "1388")) << QString();
        QTest::newRow("import, empty") << QStringList{"--sim", "import", "e.epr", "--yes"} << 2 << bad.arg("e.epr").arg(1).arg(digits.arg("0100").arg(2).arg("01", "")) << QString();
        QTest::newRow("import, odd, dry run") << QStringList{"--sim", "import", "o.epr", "--dry-run"} << 2 << bad.arg("o.epr").arg(4).arg(digits.arg("0134").arg(4).arg("02", "03E")) << QString();
        QTest::newRow("import, width") << QStringList{"--sim", "import", "n.epr", "--yes"} << 2 << bad.arg("n.epr").arg(2).arg("the width of 0105 is \"04\", not \"02\"") << QString();
        QTest::newRow("the pointer as exported below 100h") << QStringList{"--sim", "import", "p.epr", "--only", "data-pointer", "--yes"} << 0 << QString() << "01FE   02   03E   ";
        const QString journal = QStringLiteral("quorin-cli: %1 is in the folder of the write journal; it cannot be an output\n");
        QTest::newRow("report over the journal") << QStringList{"--sim", "report", "J/journal.jsonl", "--yes"} << 2 << journal.arg("J/journal.jsonl") << QString();
        QTest::newRow("export beside it") << QStringList{"--sim", "export", "J/../Quorin Terminal/./journal-x.jsonl"} << 2 << journal.arg("J/../Quorin Terminal/./journal-x.jsonl") << QString();
        QTest::newRow("a row the device cannot take, named")
            << QStringList{"--sim", "--preset", "tenths", "import", "t.epr", "--only", "coefficient-a", "--yes"} << 2
            << QStringLiteral("quorin-cli: 012D cannot be written: the device is in tenths mode; nothing was written\n") << QString();
    }

    void tablesAndOutputsRefused()
    {
        const auto [args, code, err, out] = kTablesAndOutputsRefused.fetch();
        QTemporaryDir root;
        QVERIFY(QDir(root.path()).mkdir(QStringLiteral("x")));
        const QString dir = root.filePath(QStringLiteral("x"));
        QVERIFY(QDir::setCurrent(dir));
        QCOMPARE(runCli({QStringLiteral("--sim"), QStringLiteral("export"), QStringLiteral("t.epr")}).code, 0);
        QByteArray table = fileBytes(QStringLiteral("t.epr"));
        QList<QByteArray> lines = table.split('\n');
        lines[4].replace("\"014D\"", "\"0134\"");
        // Tables edited by hand: line, field (2 width, 3 data), new text.
        for (const auto &[name, line, field, text] : {std::tuple{"e.epr", 0, 3, ""}, {"w.epr", 1, 3, "0000001388"}, {"s.epr", 1, 3, "1388"}, {"n.epr", 1, 2, "02"}, {"o.epr", 3, 3, "03E"}, {"p.epr", 18, 3, "03E"}}) {
            QList<QByteArray> edited = table.split('\n');
            QList<QByteArray> fields = edited[line].split(',');
            fields[field] = '"' + QByteArray(text) + '"';
            edited[line] = fields.join(',');
            QVERIFY(writeFileBytes(QString::fromLatin1(name), edited.join('\n')));
        }
        QVERIFY(writeFileBytes(QStringLiteral("d.epr"), lines.join('\n')));
        QVERIFY(writeFileBytes(QStringLiteral("cr.epr"), QByteArray(table).replace("\r\n", "\r")));
        QVERIFY(QFile::link(QStringLiteral("t.epr"), QStringLiteral("l.epr")));
        const QString journal = qEnvironmentVariable("XDG_DATA_HOME", QDir::homePath() + "/.local/share") + "/Quorin Terminal/";
        QVERIFY(QDir().mkpath(journal));
        const CliRun r = runCli(QStringList(args).replaceInStrings("J/", journal));
        QVERIFY2(r.err.endsWith(QString(err).replace("J/", journal)) && r.err.count(QLatin1String("quorin-cli")) == int(!err.isEmpty()), qPrintable(r.err));
        QCOMPARE(r.code, code);
        QVERIFY2(r.out.contains(out) && (code != 2 || r.out.isEmpty()), qPrintable(r.out));
        QCOMPARE(fileBytes(QStringLiteral("t.epr")), table);
        QVERIFY(!QFile::exists(QStringLiteral("r.pdf")));
    }

    void importWindowMarksAndWritesChangedRowsOnly()
    {
        SimRig rig;
        QVERIFY(rig.readOut());
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("t.epr"));
        QString error;
        QVERIFY(ConfigTable::fromTerminal(rig.session.state()).writeFile(path, &error));
        rig.device->setValue(0x134, 2, 1500);
        rig.device->setValue(0x170, 4, 900);

        frmImportE w(rig.session);
        w.importer().setRowPause(0);
        rig.prompter.fileNames = {path};
        w.cmdOpen_Click();
        QCOMPARE(w.fileLabel(), QStringLiteral(" ...") + path.right(25));
        w.findChild<QPushButton *>(QStringLiteral("cmdCompare"))->click();
        QStringList marks;
        for (const QString &line : w.text().split(QLatin1Char('\n')))
            if (line.contains(QLatin1String("<> DIFFERS")))
                marks << line.mid(7, 4) + line.section(QLatin1String("device "), 1);
        QCOMPARE(marks, QStringList({QStringLiteral("013405DC (1500)"), QStringLiteral("017000000384 (900)")}));
        QCOMPARE(rig.writeFrames(), QStringList());

        w.findChild<QComboBox *>(QStringLiteral("cboUploadRows"))->setCurrentIndex(1);
        w.findChild<QPushButton *>(QStringLiteral("cmdUpload"))->click();
        QCOMPARE(rig.writeFrames(), QStringList({SimRig::writeFrame("0134", "02", "03E8"), SimRig::writeFrame("0170", "04", "000003E6")}));
        QCOMPARE(rig.prompter.texts().last(), QStringLiteral("EEPROM Table has been Saved. Click OK."));
        QCOMPARE(std::pair(w.progressBar()->value(), w.result()), std::pair(0, int(QDialog::Accepted)));
        w.findChild<QPushButton *>(QStringLiteral("cmdUpload"))->click();
        QCOMPARE(rig.prompter.texts().last(), QStringLiteral("The device already holds every row of the table."));
    }

    void historyWindowListsAndUndoes()
    {
        SimRig rig;
        QVERIFY(rig.readOut());
        QTemporaryDir dir;
        rig.session.journal().setPath(dir.filePath(QStringLiteral("j.jsonl")));
        rig.session.link().WriteRamData("02", "0134", "0FA0");
        // A write through another port, on another day, between the two.
        QString error;
        QVERIFY(rig.session.journal().append({"2020-01-02T10:00:00+01:00", "COM9", "o", "s", "0170", 4, "00000001",
                                              "00000002", true, "00000002", {}, {}, {}}, &error));
        rig.session.link().WriteRamData("04", "0170", "00000384");
        frmHistory w(rig.session, rig.session.journal().path());
        auto *grid = w.findChild<QTableWidget *>(QStringLiteral("grdHistory"));
        auto *port = w.findChild<QComboBox *>(QStringLiteral("cboPort"));
        auto *date = w.findChild<QComboBox *>(QStringLiteral("cboDate"));
        QCOMPARE(std::pair(grid->rowCount(), date->count()), std::pair(3, 3));
        date->setCurrentIndex(2);
        QCOMPARE(std::pair(grid->rowCount(), grid->item(0, 1)->text()), std::pair(1, QStringLiteral("COM9")));
        // Undo of a write made through another port is refused before anything is read.
        grid->setCurrentCell(0, 0);
        rig.device->clearReceivedFrames();
        w.cmdUndo_Click();
        QCOMPARE(rig.prompter.texts().last(), QStringLiteral("Undo refused: the write was made through COM9, and the port "
                                                             "open now is Simulated transmitter"));
        QCOMPARE(rig.device->receivedFrames(), QStringList());
        date->setCurrentIndex(0);
        port->setCurrentIndex(port->findText(QStringLiteral("Simulated transmitter")));
        QCOMPARE(grid->rowCount(), 2);
        // In the editor's words, the raw bytes beside them, nothing cut.
        QCOMPARE(grid->item(0, 5)->text(), QStringLiteral("fluid density"));
        QCOMPARE(grid->item(1, 6)->text() + ", " + grid->item(1, 7)->text() + ", " + grid->item(1, 9)->text(),
                 QStringLiteral("1000 Hz, 4000 Hz, 03E8 -> 0FA0"));
        QVERIFY(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d [+-]\\d\\d:\\d\\d$")).match(grid->item(0, 0)->text()).hasMatch());
        w.show();
        QVERIFY(grid->horizontalHeader()->length() <= grid->viewport()->width()
                || w.width() == w.screen()->availableGeometry().width()); // a small screen: as wide as it goes
        // The older write and the newer one on its port go back; the other port's stays.
        grid->setCurrentCell(1, 0);
        rig.prompter.answers << true;
        w.findChild<QPushButton *>(QStringLiteral("cmdUndo"))->click();
        QCOMPARE(std::pair(rig.device->value(0x134, 2), rig.device->value(0x170, 4)), std::pair(1000u, 998u));
        QCOMPARE(std::pair(grid->rowCount(), grid->item(0, 2)->text()), std::pair(4, QStringLiteral("undo")));
        QCOMPARE(rig.prompter.texts(QStringLiteral("yesno")).last(),
                 QStringLiteral("Undo writes these, newest first:\r  fluid density at 0170: 900 back to 998 (00000384 -> 000003E6)\r"
                                "  high frequency cut-off at 0134: 4000 Hz back to 1000 Hz (0FA0 -> 03E8)\rGo on?"));
        QCOMPARE(rig.prompter.entries.last().title, QStringLiteral("System Monitor"));
        QCOMPARE(port->currentText(), QStringLiteral("Simulated transmitter"));

        // A put-back that does not verify stops the undo and says so.
        rig.corruptReadbacks();
        grid->setCurrentCell(0, 0);
        rig.prompter.answers << true;
        w.cmdUndo_Click();
        QCOMPARE(rig.prompter.texts().last(), QStringLiteral("Undo failed: the write of 0FA0 at 0134 was not verified; undo stopped"));

        // A long journal shows its newest 500 writes; older ones on request.
        for (int i = 0; i < 500; ++i)
            QVERIFY(rig.session.journal().append({"t", "COM9", "o", "s", "0170", 4, "", "00000002", true, "00000002", {}, {}, {}}, &error));
        port->setCurrentIndex(0);
        w.reload();
        auto *older = w.findChild<QPushButton *>(QStringLiteral("cmdOlder"));
        QCOMPARE(std::pair(grid->rowCount(), older->isEnabled()), std::pair(500, true));
        older->click();
        QCOMPARE(std::pair(grid->rowCount(), older->isEnabled()), std::pair(506, false));

        // Flow values in the terms of the device written, not the open one's; the stored number where its record cannot tell.
        for (const char *device : {"012D=00CA,01E4=07,0104=02", "012D=0000,01E4=05,0104=01", "012D=,01E4=05,0104=01", "012D=0000,01E4=09,0104=01"})
            QVERIFY(rig.session.journal().append({"t", "COM9", "o", "s", "0105", 4, "00001388", "0000115C", true, "0000115C", {}, {}, device}, &error));
        w.reload();
        QStringList flows;
        for (int row = 3; row >= 0; --row)
            flows << grid->item(row, 6)->text() + " -> " + grid->item(row, 7)->text();
        QCOMPARE(flows, QStringList({"500.0 GAL/Hr -> 444.4 GAL/Hr", "5000 LTR/Min -> 4444 LTR/Min", "5000 -> 4444", "5000 -> 4444"}));
    }

    void reportFromTheWindow()
    {
        WindowRig rig;
        frmTerminal &w = *rig.window;
        QVERIFY(w.synchronize()); // as found
        QCOMPARE(w.link().WriteRamData("02", "0134", "0FA0"), QStringLiteral("0FA0"));
        QCOMPARE(w.link().WriteRamData("02", "0138", "2B67"), QStringLiteral("2B67"));
        QCOMPARE(FlowLogReadout(w).read(0x300), FlowLogReadout::Completed);
        rig.device->setValue(0x170, 4, 900); // changed on the device: read again for as left
        const QString path = rig.dir.filePath(QStringLiteral("r.pdf"));
        rig.prompter.fileNames = {path};
        w.mnuSaveReport_Click();
        QCOMPARE(rig.prompter.texts().last(), QStringLiteral("Service report has been saved."));
        const QString text = pdfText(path);
        QCOMPARE(marked(text.split(QRegularExpression(QStringLiteral("\\s*\n"))), QStringLiteral("CHANGED"), 0), QStringList({QStringLiteral("0134"), QStringLiteral("0170"), QStringLiteral("0138")}));
        // The access code shows as set and changed, never its digits.
        QVERIFY2(text.contains(QRegularExpression(QStringLiteral("\n0138 +device password +set +changed +CHANGED\n"))), qPrintable(text));
        QVERIFY2(text.contains(QRegularExpression(QStringLiteral("0138 +device password +set +changed +verified\n"))), qPrintable(text));
        QVERIFY(!text.contains(QLatin1String("11111")) && !text.contains(QLatin1String("2B67")));
        QVERIFY2(text.contains(QRegularExpression(QStringLiteral("0134 +high frequency cut-off +Hz +1000 +4000 +CHANGED"))), qPrintable(text));
        QVERIFY2(text.contains(QRegularExpression(QStringLiteral("0134 +high frequency cut-off +1000 \\(03E8\\) +4000 \\(0FA0\\) +verified"))),
                 qPrintable(text));
        QVERIFY(text.contains(QRegularExpression(QStringLiteral("Samples +254\n"))));

        // The port opened again, or File > New Service Record: the next readout is as found, no writes before it.
        for (const auto &restart : {std::function<void()>([&] { w.mnuOpen_Click(); w.mnuOpen_Click(); }),
                                    std::function<void()>([&] { w.menuItem(QStringLiteral("mnuNewServiceRecord"))->trigger(); })}) {
            rig.device->setValue(0x134, 2, 1500);
            restart();
            rig.prompter.fileNames = {path};
            rig.prompter.answers << true;
            w.mnuSaveReport_Click();
            QVERIFY2(pdfText(path).contains(QLatin1String("0 of 24 parameters")) && !pdfText(path).contains(QLatin1String("Written")),
                     qPrintable(pdfText(path)));
        }

        // A readout that fails makes no report and says nothing of one.
        rig.port->setFaults(simFaults("noanswer"));
        rig.prompter.clear();
        rig.prompter.fileNames = {path + "2"};
        w.mnuSaveReport_Click();
        QVERIFY(!QFile::exists(path + "2"));
        QVERIFY(!rig.prompter.texts().contains(QStringLiteral("Service report has been saved.")));
    }

    void reportCellsWholeAndInTenths()
    {
        SimRig rig(QStringLiteral("tenths"));
        QVERIFY(rig.readOut());
        rig.session.state().FlowPointCount = 3;
        ServiceReport report;
        QString error;
        QTemporaryDir dir;
        QVERIFY(report.build(rig.session, nullptr, QString(), &error) && report.writeFile(dir.filePath("r.pdf"), &error));
        const QString text = pdfText(dir.filePath("r.pdf"));
        QVERIFY2(text.contains(QRegularExpression(QStringLiteral("\nFull-scale flow +1234\\.5 LTR/Min\n"))), qPrintable(text));
        QVERIFY2(text.contains(QRegularExpression(QStringLiteral("\nScaling factor +500000 pulses per 1000 L\n"))), qPrintable(text));
        QVERIFY2(text.contains(QLatin1String("pulses per")) && !text.contains(QChar(0x2026)), qPrintable(text));
    }

    void journalThatCannotBeWrittenIsReportedOnce_data()
    {
        QTest::addColumn<bool>("fullDisk");
        QTest::newRow("folder cannot be made") << false;
        QTest::newRow("full disk") << true;
    }

    void journalThatCannotBeWrittenIsReportedOnce()
    {
        QFETCH(bool, fullDisk);
        QTemporaryDir dir;
        // A file where the folder should be stands for a folder that cannot be written.
        QVERIFY(writeFileBytes(dir.filePath(QStringLiteral("blocker")), {}));
        const QString path = dir.filePath(fullDisk ? QStringLiteral("journal.jsonl") : QStringLiteral("blocker/journal.jsonl"));
        // An earlier record, and one cut short by a crash, stay as they are.
        const QByteArray earlier = JournalRecord{"t", "p", "o", "s", "0100", 1, "05", "06", true, "06", {}, {}, {}}.toLine() + "\n{\"time\":";
        if (fullDisk)
            QVERIFY(writeFileBytes(path, earlier));

        SimRig rig;
        QVERIFY(rig.readOut());
        rig.session.journal().setPath(path);
        {
            std::unique_ptr<FullDisk> full(fullDisk ? new FullDisk(earlier.size() + 10) : nullptr);
            QCOMPARE(rig.session.link().WriteRamData("02", "0134", "0FA0"), QStringLiteral("0FA0"));
            QCOMPARE(rig.session.link().WriteRamData("02", "0134", "0BB8"), QStringLiteral("0BB8"));
        }
        QCOMPARE(rig.writeFrames(), QStringList({SimRig::writeFrame("0134", "02", "0FA0"), SimRig::writeFrame("0134", "02", "0BB8")}));
        QCOMPARE(rig.device->value(0x134, 2), 3000u);
        QCOMPARE(rig.prompter.texts().size(), 1);
        QVERIFY2(rig.prompter.texts()[0].startsWith(QLatin1String("The change journal cannot be written")),
                 qPrintable(rig.prompter.texts()[0]));
        if (!fullDisk)
            return;
        QVERIFY(fileBytes(path).startsWith(earlier));

        // With room again, a record follows the torn lines whole.
        QCOMPARE(rig.session.link().WriteRamData("02", "0134", "0FA0"), QStringLiteral("0FA0"));
        QString error;
        const QList<JournalRecord> records = rig.session.journal().records(&error);
        QCOMPARE(records.size(), 2);
        QCOMPARE(std::pair(records[1].before, records[1].written), std::pair(QStringLiteral("0BB8"), QStringLiteral("0FA0")));
    }
};

QTEST_MAIN(TestCompareCli)
#include "tst_compare_cli.moc"
