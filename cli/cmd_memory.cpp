// Raw device memory: read and verified write.
#include "cli.h"

#include "link/devicelink.h"

// ADDR and COUNT as the first two arguments; false after saying which is bad.
static bool addressAndCount(CliContext &c, const QString &addr, const QString &count)
{
    if (!isHexText(addr, 4)) {
        c.usage(QStringLiteral("ADDR must be 4 hex digits, not \"%1\"").arg(c.args[0]));
        return false;
    }
    if (!isHexText(count, 2)) {
        c.usage(QStringLiteral("COUNT must be 2 hex digits, not \"%1\"").arg(c.args[1]));
        return false;
    }
    return true;
}

static CliCommand readCommand("read", "read ADDR COUNT        read COUNT (2 hex digits) bytes at ADDR (4 hex digits)",
    [](CliContext &c) -> int {
        if (c.args.size() != 2)
            return c.usage(QStringLiteral("read needs ADDR COUNT"));
        const QString addr = c.args[0].toUpper();
        const QString count = c.args[1].toUpper();
        if (!addressAndCount(c, addr, count) || !c.connect())
            return ExitUsage;
        const QString reply = c.link->ReadMemory(addr, count);
        if (reply.isEmpty())
            return ExitDevice;
        *c.out << reply << "\n";
        return ExitOk;
    });

static CliCommand writeCommand("write", "write ADDR COUNT DATA  write DATA (hex pairs) at ADDR and verify it",
    [](CliContext &c) -> int {
        if (c.args.size() != 3)
            return c.usage(QStringLiteral("write needs ADDR COUNT DATA"));
        const QString addr = c.args[0].toUpper();
        const QString count = c.args[1].toUpper();
        // The device compares the read-back exactly: data keeps its case.
        const QString data = c.args[2];
        if (!addressAndCount(c, addr, count))
            return ExitUsage;
        if (!isHexText(data))
            return c.usage(QStringLiteral("DATA must be hex digits, not \"%1\"").arg(data));
        // Fewer bytes than COUNT would leave the rest of the value as it was.
        const int width = count.toInt(nullptr, 16);
        if (data.size() < 2 * width)
            return c.usage(QStringLiteral("DATA must be %1 hex digits for COUNT %2, not \"%3\"").arg(2 * width).arg(count, data));
        if (!c.connect())
            return ExitUsage;
        const QString result = c.link->WriteRamData(count, addr, data);
        if (result.isEmpty()) {
            // The length refusal is bad input; anything else came from the device.
            return data.size() > 2 * count.toInt(nullptr, 16) ? ExitUsage : ExitDevice;
        }
        *c.out << result << "\n";
        return ExitOk;
    });
