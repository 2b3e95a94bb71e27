#pragma once
// Whole files in and out for tests: a table, a site file, a log left by an
// earlier run.
#include <QByteArray>
#include <QFile>
#include <QString>

// The file's bytes, or "<missing>" when it cannot be read.
inline QByteArray fileBytes(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

// Writes bytes as the whole file; true when every byte was written.
inline bool writeFileBytes(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}
