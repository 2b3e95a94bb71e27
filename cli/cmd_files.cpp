// Configuration table files and the flow memory log.
#include "cli.h"

#include "files/configimport.h"
#include "files/configtable.h"
#include "files/flowlogreadout.h"
#include "files/mlgfile.h"
#include "files/servicereport.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

#include <QDir>
#include <QFileInfo>

#include <csignal>

namespace {

// Replacing a file the technician already has needs --yes, as the windows
// ask before they replace one.
bool mayWrite(CliContext &c, const QString &path, const QStringList &inputs = {})
{
    // An output never replaces what the command reads, however it is spelled.
    const QString target = QFileInfo(path).canonicalFilePath();
    for (const QString &input : inputs) {
        if (!target.isEmpty() && QFileInfo(input).canonicalFilePath() == target) {
            c.usage(QStringLiteral("%1 is read by this command; it cannot also be the output").arg(path));
            return false;
        }
    }
    if (QFileInfo::exists(path) && !c.flag(QStringLiteral("yes"))) {
        c.usage(QStringLiteral("%1 exists; give --yes to replace it").arg(path));
        return false;
    }
    // Refuse a folder that cannot take the file before a long readout, not after.
    const QFileInfo folder(QFileInfo(path).absolutePath());
    if (!folder.isDir() || !folder.isWritable()) {
        *c.err << "quorin-cli: " << path << ": "
               << (folder.isDir() ? "the folder cannot be written" : "the folder does not exist") << "\n";
        return false;
    }
    return true;
}

} // namespace

static CliCommand exportCommand("export", "export FILE.epr        read the configuration and save its table to FILE",
    [](CliContext &c) -> int {
        if (c.args.size() != 1)
            return c.usage(QStringLiteral("export needs FILE.epr"));
        const QString path = c.args[0];
        if (!mayWrite(c, path))
            return ExitUsage;
        TerminalHost *host = nullptr;
        if (const int status = c.readOut(&host))
            return status;
        QString error;
        if (!ConfigTable::fromTerminal(host->state()).writeFile(path, &error)) {
            *c.err << "quorin-cli: " << path << ": " << error << "\n";
            return ExitUsage;
        }
        *c.out << "Configuration Table has been Saved. Click OK." << "\n";
        return ExitOk;
    });

static CliCommand reportCommand("report",
    "report FILE.pdf        read the configuration and save a service report: every parameter as\n"
    "         [--as-found FILE.epr]  found and as left, the changed ones marked, the totalizer and\n"
    "                       this run's writes; as found is this readout, or the saved table given",
    [](CliContext &c) -> int {
        if (c.args.size() != 1)
            return c.usage(QStringLiteral("report needs FILE.pdf"));
        const QString path = c.args[0];
        const QString savedPath = c.option(QStringLiteral("as-found"));
        ConfigTable saved;
        QString error;
        if (!mayWrite(c, path, {savedPath}))
            return ExitUsage;
        if (c.options.contains(QStringLiteral("as-found")) && !saved.readFile(savedPath, &error))
            return c.usage(error);
        if (!savedPath.isEmpty() && saved.recordsRead() < ConfigTable::RowCount)
            return c.usage(QStringLiteral("%1 holds %2 rows; a configuration table has %3")
                               .arg(savedPath).arg(saved.recordsRead()).arg(ConfigTable::RowCount));
        TerminalHost *host = nullptr;
        if (const int status = c.readOut(&host))
            return status;
        ServiceReport report;
        if (!report.build(*c.session, savedPath.isEmpty() ? nullptr : &saved, QFileInfo(savedPath).fileName(), &error))
            return c.usage(error);
        if (!report.writeFile(path, &error)) {
            *c.err << "quorin-cli: " << path << ": " << error << "\n";
            return ExitUsage;
        }
        *c.out << "Service report saved: " << report.changedCount() << " of " << report.parameterCount()
               << " parameters changed, " << report.records.size() << " writes." << "\n";
        return ExitOk;
    });

static CliCommand importCommand("import",
    "import FILE.epr --yes  write a saved table into the device, each row verified\n"
    "         [--dry-run]   list the rows it would write and send nothing (no --yes needed)\n"
    "         [--only NAME,...]  only these rows (names as params shows them)\n"
    "         [--changed]   only the rows whose data differs from the device's; the live\n"
    "                       rows (data-pointer, total-counter) only when named with --only",
    [](CliContext &c) -> int {
        if (c.args.size() != 1)
            return c.usage(QStringLiteral("import needs FILE.epr"));
        const bool dryRun = c.flag(QStringLiteral("dry-run"));
        if (!dryRun && !c.flag(QStringLiteral("yes")))
            return c.usage(QStringLiteral("import overwrites the device's configuration; give --yes to go on"));
        ConfigTable table;
        QString error;
        if (!table.readFile(c.args[0], &error))
            return c.usage(error);
        QList<int> named;
        const bool only = c.options.contains(QStringLiteral("only"));
        if (only && !ConfigImport::namedEntries(table, c.option(QStringLiteral("only")).split(QLatin1Char(','), Qt::SkipEmptyParts),
                                                &named, &error))
            return c.usage(error);
        if (only && named.isEmpty())
            return c.usage(QStringLiteral("--only needs one or more names"));
        // SIGTERM or Ctrl+C ends the import between two rows, never between
        // a row's write and its read-back.
        static volatile sig_atomic_t stopAsked = 0;
        struct sigaction sa {};
        sa.sa_handler = [](int) { stopAsked = 1; };
        sigemptyset(&sa.sa_mask);
        ::sigaction(SIGTERM, &sa, nullptr);
        ::sigaction(SIGINT, &sa, nullptr);
        TerminalHost *host = nullptr;
        if (const int status = c.readOut(&host))
            return status;
        ConfigImport import(*host);
        QList<int> entries = import.uploadEntries();
        if (only) {
            // A row named that this device cannot take refuses the whole
            // command: the technician asked for it by name.
            for (int e : std::as_const(named))
                if (!entries.contains(e))
                    return c.usage(QStringLiteral("%1 cannot be written: the device is in tenths mode; nothing was written")
                                       .arg(table.row(e).Address));
            entries = named;
        }
        // Live rows named with --only are the technician's explicit choice.
        if (c.flag(QStringLiteral("changed")))
            entries = ConfigImport::changedEntries(table, host->state(), entries, only);
        if (dryRun) {
            for (int e : std::as_const(entries))
                *c.out << table.displayLine(e, QStringLiteral("   ")) << "\n";
            *c.out << "dry run: " << entries.size() << " rows would be written, nothing was sent\n";
            return ExitOk;
        }
        if (entries.isEmpty()) {
            *c.out << "nothing to write\n";
            return ExitOk;
        }
        import.setStopCheck([] { return stopAsked != 0; });
        int written = 0;
        if (qEnvironmentVariableIsSet("QUORIN_NAME_ROWS"))
            QObject::connect(&import, &ConfigImport::rowStarting, [&](int entry) {
                *c.err << "import: writing " << table.row(entry).Address << "\n";
                c.err->flush();
            });
        QObject::connect(&import, &ConfigImport::rowDone, [&](int entry) {
            *c.out << table.displayLine(entry, QStringLiteral("   ")) << "\n";
            c.out->flush();
            ++written;
        });
        if (import.upload(table, entries))
            return ExitOk;
        if (import.wasStopped())
            *c.out << "interrupted: " << written << " of " << entries.size() << " rows written and verified, the others were not sent\n";
        return ExitDevice;
    });

static CliCommand flowlogCommand("flowlog", "flowlog ENDADDR FILE.mlg  read the flow log up to ENDADDR (200-7FFF) into FILE",
    [](CliContext &c) -> int {
        if (c.args.size() != 2)
            return c.usage(QStringLiteral("flowlog needs ENDADDR FILE.mlg"));
        if (!isHexText(c.args[0], 4))
            return c.usage(QStringLiteral("ENDADDR is four hexadecimal digits, not \"%1\"").arg(c.args[0]));
        const int end = c.args[0].toInt(nullptr, 16);
        const QString path = c.args[1];
        if (!mayWrite(c, path))
            return ExitUsage;
        TerminalHost *host = c.host();
        if (!host)
            return ExitUsage;
        if (!FlowLogReadout::checkEndAddress(end, *host))
            return ExitUsage;
        if (const int status = c.readOut(&host))
            return status;
        FlowLogReadout readout(*host);
        QObject::connect(&readout, &FlowLogReadout::blockRead, [&](int done, int total, const QStringList &) {
            *c.err << "flowlog: block " << done << " of " << total << "\n";
            c.err->flush();
        });
        if (readout.read(end) != FlowLogReadout::Completed)
            return ExitDevice;
        const TerminalState &s = host->state();
        if (s.FlowPointCount == 0) {
            c.prompter->message(QStringLiteral("Flow array is ampty! Please first Reed data. Click OK."),
                                QStringLiteral("System Monitor"), Prompter::Information);
            return ExitUsage;
        }
        const QByteArray bytes = mlgfile::bytes(qint32(s.cellValue(QStringLiteral("0105"))),
                                                qint32(s.cellValue(QStringLiteral("0118"))), s.Density, s.FlowArray,
                                                s.FlowPointCount);
        QString error;
        if (!mlgfile::write(path, bytes, &error)) {
            *c.err << "quorin-cli: " << path << ": " << error << "\n";
            return ExitUsage;
        }
        *c.out << s.FlowPointCount << " points saved to " << path << "\n";
        return ExitOk;
    });
