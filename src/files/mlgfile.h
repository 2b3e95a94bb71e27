#pragma once
// The flow memory log file (.mlg): a first record with the device's
// full-scale flow, scaling factor and fluid density, then one "n,value"
// record per sample, CR LF after each.
#include <QByteArray>
#include <QString>
#include <QVector>

struct MlgData {
    qint32 fullScale = 0;
    qint32 scaling = 0;
    qint32 density = 0;
    QVector<qint32> points;  // point numbers as written
    QVector<qint32> values;  // sample values, same length as points
};

namespace mlgfile {

// The file's bytes for the first `count` samples.
QByteArray bytes(qint32 fullScale, qint32 scaling, qint32 density, const QVector<qint16> &samples, int count);
bool write(const QString &path, const QByteArray &bytes, QString *error);

// Reads a log file's text; false with the line and the reason in *error.
// Blank lines at the end are allowed; anything that is not a number where a
// number belongs is not.
bool parse(const QByteArray &bytes, MlgData *out, QString *error);
bool readFile(const QString &path, MlgData *out, QString *error);

} // namespace mlgfile
