#include "mlgfile.h"

#include "common/wholefile.h"

#include <QFile>
#include <QFileInfo>

namespace mlgfile {

QByteArray bytes(qint32 fullScale, qint32 scaling, qint32 density, const QVector<qint16> &samples, int count)
{
    QByteArray out;
    count = qBound(0, count, int(samples.size()));
    out.reserve(16 * (count + 2));
    out += QByteArray::number(fullScale) + ',' + QByteArray::number(scaling) + ',' + QByteArray::number(density)
           + "\r\n";
    for (int n = 1; n <= count; ++n)
        out += QByteArray::number(n) + ',' + QByteArray::number(samples[n - 1]) + "\r\n";
    return out;
}

bool write(const QString &path, const QByteArray &data, QString *error)
{
    return wholefile::write(path, data, error);
}

namespace {

bool toInt32(const QByteArray &field, qint32 *v)
{
    bool ok = false;
    const qint32 n = field.trimmed().toInt(&ok);
    if (ok)
        *v = n;
    return ok;
}

} // namespace

bool parse(const QByteArray &data, MlgData *out, QString *error)
{
    QList<QByteArray> lines = data.split('\n');
    while (!lines.isEmpty() && lines.last().trimmed().isEmpty())
        lines.removeLast();
    if (lines.isEmpty()) {
        *error = QStringLiteral("line 1: the file is empty");
        return false;
    }
    MlgData d;
    for (int i = 0; i < lines.size(); ++i) {
        QByteArray line = lines[i];
        if (line.endsWith('\r'))
            line.chop(1);
        const QList<QByteArray> f = line.split(',');
        const QString where = QStringLiteral("line %1: ").arg(i + 1);
        if (i == 0) {
            if (f.size() != 3 || !toInt32(f[0], &d.fullScale) || !toInt32(f[1], &d.scaling)
                || !toInt32(f[2], &d.density)) {
                *error = where + QStringLiteral("expected full-scale flow, scaling factor and density");
                return false;
            }
            continue;
        }
        qint32 point = 0, value = 0;
        if (f.size() != 2 || !toInt32(f[0], &point) || !toInt32(f[1], &value)) {
            *error = where + QStringLiteral("expected a point number and a sample value");
            return false;
        }
        d.points.append(point);
        d.values.append(value);
    }
    *out = d;
    return true;
}

bool readFile(const QString &path, MlgData *out, QString *error)
{
    QFile file(path);
    const QString name = QFileInfo(path).fileName();
    if (!file.open(QIODevice::ReadOnly)) {
        *error = name + QStringLiteral(": ") + file.errorString();
        return false;
    }
    // 16129 samples take about 200 KiB.
    constexpr qint64 limit = 16 << 20;
    if (file.size() > limit) {
        *error = name + QStringLiteral(": the file is too large for a memory log");
        return false;
    }
    QString why;
    if (!parse(file.read(limit), out, &why)) {
        *error = name + QStringLiteral(", ") + why;
        return false;
    }
    return true;
}

} // namespace mlgfile
