#include "setupfile.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace {
// A double quote inside a text would end the field early.
QString quotedField(const QString &text)
{
    QString t = text;
    t.replace(QLatin1Char('"'), QLatin1Char('\''));
    return QLatin1Char('"') + t + QLatin1Char('"');
}
} // namespace

bool SetupFile::write(QIODevice *out, TerminalState::DeviceRecord (&records)[4], int count, QString *error)
{
    const int n = qBound(0, count, 4);
    for (int i = 0; i < n; ++i) {
        TerminalState::DeviceRecord &r = records[i];
        if (r.name.isEmpty())
            r.name = QString::number(i + 1);
        if (r.values[3] == 0)
            r.values[3] = 1;
        QStringList fields{quotedField(r.name), quotedField(r.text)};
        for (qint16 v : r.values)
            fields << QString::number(v);
        const QByteArray line = fields.join(QLatin1Char(',')).toLatin1() + "\r\n";
        if (out->write(line) != line.size()) {
            if (error)
                *error = out->errorString();
            return false;
        }
    }
    return true;
}

bool SetupFile::save(const QString &path, TerminalState::DeviceRecord (&records)[4], int count, QString *error)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    QString writeError;
    // The last bytes reach the disk in flush(); commit() can succeed after a
    // failed flush and put a cut-short file in place of the old one.
    if (!file.open(QIODevice::WriteOnly) || !write(&file, records, count, &writeError) || !file.flush()
        || !file.commit()) {
        if (error)
            *error = path + QStringLiteral("\r") + (writeError.isEmpty() ? file.errorString() : writeError);
        return false;
    }
    return true;
}
