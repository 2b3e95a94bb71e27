// Device parameters by name: list, read and change them with the rules of the
// Device Properties window, and reset the totalizer.
#include "cli.h"

#include "config/parametercommit.h"
#include "session/parametermap.h"
#include "terminal/livedisplay.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

#include <QJsonArray>
#include <QVariant>

namespace {

const QString kEnable = QStringLiteral("optEnable");
const QString kPulse = QStringLiteral("optPulse");

// The control a name stands for: the map's row names optEnable for the
// options byte, but optPulse is its own pair of buttons.
QString controlFor(const QString &name, const Parameter &p)
{
    if (name.compare(kPulse, Qt::CaseInsensitive) == 0)
        return kPulse;
    return p.control;
}

// Whether name asks for one option bit rather than the whole byte.
bool isOptionBitName(const QString &name)
{
    return name.compare(kEnable, Qt::CaseInsensitive) == 0 || name.compare(kPulse, Qt::CaseInsensitive) == 0;
}

QString rangeColumn(const Parameter &p)
{
    QString range = p.rangeText;
    range.remove(QStringLiteral(" permissible range "));
    switch (p.encoding) {
    case Parameter::FullScale:
        return range + QStringLiteral(", [0.1-5000000.0] in tenths when coefficient A is 202");
    case Parameter::UnitName:
        return QStringLiteral("2 characters");
    case Parameter::OptionBits:
        return QStringLiteral("0 or 1");
    case Parameter::ResetOnly:
        return QStringLiteral("reset-total only");
    case Parameter::ListIndex:
        return range + QLatin1Char(' ')
            + (p.control == QLatin1String("cboEUnit") ? ParameterCommit::unitNames() : ParameterCommit::timeBaseNames())
                  .join(QLatin1Char(','));
    default:
        break;
    }
    if (!p.crossField.isEmpty())
        range += QStringLiteral(", below ") + p.crossField;
    return range;
}

// What the characters the field would swallow are, for the usage message.
QString acceptedKeys(const QString &control, bool tenths)
{
    if (control == QLatin1String("txtDataPointer"))
        return QStringLiteral("upper-case hex digits");
    if (control == QLatin1String("txtMaxFlow") && tenths)
        return QStringLiteral("digits and \".\"");
    return QStringLiteral("digits only");
}

// NAME resolved to its row, or the usage message printed.
const Parameter *lookUp(CliContext &c, const QString &name)
{
    const Parameter *p = ParameterMap::find(name);
    if (!p)
        c.usage(QStringLiteral("unknown parameter \"%1\" (see: quorin-cli params)").arg(name));
    return p;
}

// A combo's entry: its list name or its index.
bool parseIndex(const QString &value, const QStringList &names, int *index)
{
    for (int i = 0; i < names.size(); ++i) {
        if (names.at(i).compare(value, Qt::CaseInsensitive) == 0) {
            *index = i;
            return true;
        }
    }
    bool ok = false;
    *index = value.toInt(&ok);
    return ok;
}

} // namespace

static CliCommand paramsCommand("params", "params                 list the device parameters: control, alias, address, width, range",
    [](CliContext &c) -> int {
        if (!c.args.isEmpty())
            return c.usage(QStringLiteral("params takes no arguments"));
        QTextStream &out = *c.out;
        QJsonArray rows;
        auto line = [&out, &rows, &c](const QString &control, const QString &alias, const QString &address,
                                      const QVariant &width, const QString &range) {
            if (c.json()) {
                rows.append(QJsonObject{{QStringLiteral("name"), control}, {QStringLiteral("alias"), alias},
                                        {QStringLiteral("address"), address}, {QStringLiteral("width"), width.toInt()},
                                        {QStringLiteral("range"), range}});
                return;
            }
            out << control.leftJustified(16) << ' ' << alias.leftJustified(19) << ' ' << address << "  "
                << width.toString() << "  " << range << "\n";
        };
        if (!c.json())
            line(QStringLiteral("CONTROL"), QStringLiteral("ALIAS"), QStringLiteral("ADDR"), QStringLiteral("W"),
                 QStringLiteral("RANGE"));
        for (const Parameter &p : ParameterMap::all()) {
            // JSON names the row as info does, and never leaves a column empty.
            const QString none = c.json() ? p.alias : QStringLiteral("-");
            const QString control = p.control.isEmpty() ? none : p.control;
            if (p.encoding == Parameter::OptionBits) {
                line(kEnable, p.alias, p.address, p.width, QStringLiteral("0 or 1 (enable bit)"));
                line(kPulse, none, p.address, p.width, QStringLiteral("0 or 1 (pulse bit)"));
                continue;
            }
            line(control, p.alias, p.address, p.width, rangeColumn(p));
        }
        if (c.json())
            c.printJson({{QStringLiteral("parameters"), rows}});
        return ExitOk;
    });

static CliCommand getCommand("get", "get NAME               read the configuration and show one parameter as the editor shows it",
    [](CliContext &c) -> int {
        if (c.args.size() != 1)
            return c.usage(QStringLiteral("get needs NAME (a control name, an alias or an address)"));
        const QString name = c.args[0];
        const Parameter *p = lookUp(c, name);
        if (!p)
            return ExitUsage;
        TerminalHost *host = nullptr;
        if (const int status = c.readOut(&host))
            return status;
        ParameterCommit commit(*host);
        const TerminalState &s = host->state();
        QString shown;
        QJsonValue value = jsonNumber(*p, QString(), s.cellValue(p->address), s.CellValue.contains(p->address));
        if (p->encoding == Parameter::ResetOnly) {
            shown = p->address == QLatin1String("015C")
                ? s.TotalText + QLatin1Char(' ') + commit.totalUnitText().trimmed()
                : s.cellText(p->address);
            if (p->address == QLatin1String("015C"))
                value = jsonDecimal(s.TotalText);
        } else if (p->encoding == Parameter::OptionBits && !isOptionBitName(name)) {
            shown = commit.displayText(QStringLiteral("01EA")) + QStringLiteral(" (enable %1, pulse %2)")
                        .arg(commit.optionBit(kEnable)).arg(commit.optionBit(kPulse));
        } else {
            shown = commit.displayText(controlFor(name, *p));
            if (isOptionBitName(name))
                value = commit.optionBit(controlFor(name, *p));
            else
                value = jsonNumber(*p, shown, s.cellValue(p->address), s.CellValue.contains(p->address));
        }
        if (c.json()) {
            const QString control = controlFor(name, *p);
            c.printJson({{QStringLiteral("name"), control.isEmpty() ? p->alias : control},
                         {QStringLiteral("alias"), p->alias},
                         {QStringLiteral("address"), p->address},
                         {QStringLiteral("value"), value},
                         {QStringLiteral("text"), shown}});
            return ExitOk;
        }
        *c.out << shown << "\n";
        return ExitOk;
    });

static CliCommand setCommand("set", "set NAME VALUE         read the configuration, then change one parameter as the editor does",
    [](CliContext &c) -> int {
        if (c.args.size() != 2)
            return c.usage(QStringLiteral("set needs NAME VALUE"));
        const QString name = c.args[0];
        const QString value = c.args[1];
        const Parameter *p = lookUp(c, name);
        if (!p)
            return ExitUsage;
        if (p->encoding == Parameter::ResetOnly)
            return c.usage(QStringLiteral("%1 is cleared only by reset-total").arg(name));
        if (p->encoding == Parameter::OptionBits && !isOptionBitName(name))
            return c.usage(QStringLiteral("set the options one at a time: optEnable 0|1 or optPulse 0|1"));
        const QString control = controlFor(name, *p);

        TerminalHost *host = nullptr;
        if (const int status = c.readOut(&host))
            return status;
        ParameterCommit commit(*host);

        CommitResult r;
        if (p->encoding == Parameter::OptionBits) {
            if (value != QLatin1String("0") && value != QLatin1String("1"))
                return c.usage(QStringLiteral("%1 takes 0 or 1, not \"%2\"").arg(control, value));
            // The buttons' element that stands for the wanted bit.
            const int bit = value.toInt();
            const int element = ParameterCommit::optionBitFor(control, 0) == bit ? 0 : 1;
            r = commit.commitOption(control, element);
        } else if (p->encoding == Parameter::ListIndex) {
            const QStringList names = control == QLatin1String("cboEUnit") ? ParameterCommit::unitNames()
                                                                             : ParameterCommit::timeBaseNames();
            int index = -1;
            if (!parseIndex(value, names, &index))
                return c.usage(QStringLiteral("%1 takes one of %2 or its index, not \"%3\"")
                                   .arg(control, names.join(QLatin1Char(',')), value));
            r = commit.commitIndex(control, index);
        } else {
            // Only what the field would let through its key filter.
            if (commit.typedText(control, value) != value)
                return c.usage(QStringLiteral("%1 takes %2, not \"%3\"")
                                   .arg(control, acceptedKeys(control, commit.tenthsMode()), value));
            if (p->encoding == Parameter::UnitName && value.size() < 2)
                return c.usage(QStringLiteral("%1 needs at least two characters").arg(control));
            r = commit.commit(control, value, ParameterCommit::ShownText());
        }

        switch (r.outcome) {
        case CommitResult::Written:
        case CommitResult::Unchanged:
            *c.out << commit.displayText(control) << "\n";
            return ExitOk;
        default:
            return ExitDevice;
        }
    });

static CliCommand resetTotalCommand("reset-total", "reset-total --yes      reset the totalizer to zero (the flow must read zero)",
    [](CliContext &c) -> int {
        if (!c.args.isEmpty())
            return c.usage(QStringLiteral("reset-total takes no arguments"));
        TerminalHost *host = c.host();
        if (!host)
            return ExitUsage;
        ParameterCommit commit(*host);
        const ParameterCommit::ResetOutcome outcome =
            commit.resetTotal({}, [host] {
                // The device's own display, read the way the main window reads it.
                LiveDisplay(host->link(), host->state(), &host->prompter()).readFlow();
                return host->state().FlowText;
            });
        switch (outcome) {
        case ParameterCommit::ResetDone:
            *c.out << commit.totalText() << "\n";
            return ExitOk;
        case ParameterCommit::ResetNoReading:
            *c.err << "quorin-cli: no flow reading; the totalizer was not reset\n";
            return ExitDevice;
        default:
            return ExitDevice;
        }
    });
