// Service tools: rescale, calibration entry and the back door's raw memory
// write, with the checks, messages and writes of the main window's frames.
#include "cli.h"

#include "common/numtext.h"
#include "terminal/rescale.h"
#include "session/terminalsession.h"
#include "session/terminalstate.h"

#include <QRegularExpression>

namespace {

// A decimal number as the new maximum flow box would hold it.
bool isNumberText(const QString &text)
{
    static const QRegularExpression re(QStringLiteral("^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)$"));
    return re.match(text.trimmed()).hasMatch();
}

// Only what the hex boxes let be typed: digits and upper-case A-F.
bool isTypableHex(const QString &text)
{
    for (QChar c : text)
        if (!((c >= QLatin1Char('0') && c <= QLatin1Char('9')) || (c >= QLatin1Char('A') && c <= QLatin1Char('F'))))
            return false;
    return true;
}

} // namespace

static CliCommand rescaleCommand("rescale",
    "rescale NEWMAX --code CODE --yes   new full-scale flow; the scaling factor follows in proportion",
    [](CliContext &c) -> int {
        if (c.args.size() != 1)
            return c.usage(QStringLiteral("rescale needs NEWMAX"));
        if (!isNumberText(c.args[0]))
            return c.usage(QStringLiteral("NEWMAX must be a number, not \"%1\"").arg(c.args[0]));
        if (!c.options.contains(QStringLiteral("code")))
            return c.usage(QStringLiteral("rescale needs --code CODE (the device's three-character code)"));
        TerminalHost *host = c.host();
        if (!host)
            return ExitUsage;
        Rescale rescale(*host);
        if (!rescale.confirmEntry())
            return ExitDevice;
        if (const int status = c.readOut(&host))
            return status;
        Rescale::clearFlags(host->state());
        Rescale::accept(host->state(), c.option(QStringLiteral("code")));
        if (!rescale.accessGranted())
            return ExitDevice;

        const QString oldMax = rescale.maxFlowOldText();
        const QString oldFactor = rescale.scaleFactorOldText();
        const QString newMax = c.args[0].trimmed();
        const Rescale::Result r = rescale.compute(newMax);
        if (!r.leave || r.failed)
            return ExitDevice;
        *c.out << "scaling factor " << oldFactor << " -> " << r.sf << (r.factorDone ? "" : " (not written)") << "\n";
        *c.out << "maximum flow " << oldMax << " -> " << newMax << " (stored " << r.maxStored << ")"
               << (r.flowDone ? "" : " (not written)") << "\n";
        // Every status panel text of the writes, as the window would have shown them.
        if (auto *session = dynamic_cast<TerminalSession *>(host))
            for (const QString &status : session->statusHistory)
                *c.out << status << "\n";
        // A factor equal to the device's needs no write; any other factor
        // left unwritten (out of range) is a refusal.
        if (!r.factorDone && QString::number(r.sf) != oldFactor)
            return ExitDevice;
        return ExitOk;
    });

static CliCommand calibrateCommand("calibrate", "calibrate FACTOR --yes             write a new scaling factor",
    [](CliContext &c) -> int {
        if (c.args.size() != 1)
            return c.usage(QStringLiteral("calibrate needs FACTOR"));
        const QString factor = c.args[0];
        for (QChar ch : factor)
            if (ch < QLatin1Char('0') || ch > QLatin1Char('9'))
                return c.usage(QStringLiteral("FACTOR must be decimal digits, not \"%1\"").arg(factor));
        TerminalHost *host = c.host();
        if (!host)
            return ExitUsage;
        Calibration calibration(*host);
        if (!calibration.confirmEntry())
            return ExitDevice;
        if (const int status = c.readOut(&host))
            return status;
        switch (calibration.enter(factor)) {
        case Calibration::OutOfRange:
            *c.err << host->statusText() << "\n";
            return ExitDevice;
        case Calibration::Failed:
            *c.err << host->statusText() << "\n";
            return ExitDevice;
        case Calibration::Unchanged:
            *c.out << "scaling factor " << calibration.startText() << " (unchanged)\n";
            return ExitOk;
        case Calibration::Written:
            *c.out << host->statusText() << "\n";
            return ExitOk;
        case Calibration::Busy:
            break;
        }
        return ExitDevice;
    });

static CliCommand pokeCommand("poke", "poke COUNT ADDR DATA --code CODE   raw verified write through the back door",
    [](CliContext &c) -> int {
        if (c.args.size() != 3)
            return c.usage(QStringLiteral("poke needs COUNT ADDR DATA"));
        if (!c.options.contains(QStringLiteral("code")))
            return c.usage(QStringLiteral("poke needs --code CODE (the back door code)"));
        const struct {
            const QString &text;
            MemWrite::Box box;
            const char *name;
        } fields[] = {{c.args[0], MemWrite::NumByte, "COUNT"},
                      {c.args[1], MemWrite::SAddress, "ADDR"},
                      {c.args[2], MemWrite::WData, "DATA"}};
        for (const auto &f : fields) {
            if (!isTypableHex(f.text))
                return c.usage(QStringLiteral("%1 takes the digits 0-9 and upper-case A-F only, not \"%2\"")
                                   .arg(QLatin1String(f.name), f.text));
            if (f.text.size() > MemWrite::maxLength(f.box))
                return c.usage(QStringLiteral("%1 holds at most %2 hex digits")
                                   .arg(QLatin1String(f.name)).arg(MemWrite::maxLength(f.box)));
        }
        TerminalHost *host = c.host();
        if (!host)
            return ExitUsage;
        MemWrite::clearFlags(host->state());
        MemWrite::accept(host->state(), c.option(QStringLiteral("code")));
        MemWrite tool(*host);
        if (!tool.accessGranted())
            return ExitDevice;
        if (!tool.write(c.args[0], c.args[1], c.args[2]))
            return ExitDevice;
        *c.out << c.args[2] << "\n";
        return ExitOk;
    });
