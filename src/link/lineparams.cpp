#include "lineparams.h"

#include <QStringList>

bool parseLineSettings(const QString &text, LineSettings *out, QString *error)
{
    const QStringList f = text.split(QLatin1Char(','));
    LineSettings s;
    bool ok = f.size() == 4;
    if (ok) {
        s.baud = f[0].trimmed().toInt(&ok);
        ok = ok && s.baud > 0;
    }
    if (ok) {
        const QString p = f[1].trimmed().toLower();
        ok = p.size() == 1 && QStringLiteral("neoms").contains(p);
        if (ok)
            s.parity = p[0];
    }
    if (ok) {
        s.dataBits = f[2].trimmed().toInt(&ok);
        ok = ok && s.dataBits >= 5 && s.dataBits <= 8;
    }
    if (ok) {
        s.stopBits = f[3].trimmed();
        ok = s.stopBits == QLatin1String("1") || s.stopBits == QLatin1String("1.5")
            || s.stopBits == QLatin1String("2");
    }
    if (!ok) {
        if (error)
            *error = QStringLiteral("Invalid property value");
        return false;
    }
    if (out)
        *out = s;
    return true;
}
