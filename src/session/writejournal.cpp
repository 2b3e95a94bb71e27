#include "session/writejournal.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

QByteArray JournalRecord::toLine() const
{
    QJsonObject o;
    o.insert(QStringLiteral("time"), time);
    o.insert(QStringLiteral("port"), port);
    o.insert(QStringLiteral("operation"), operation);
    o.insert(QStringLiteral("source"), source);
    o.insert(QStringLiteral("address"), address);
    o.insert(QStringLiteral("width"), width);
    o.insert(QStringLiteral("before"), beforeKnown() ? QJsonValue(before) : QJsonValue(QJsonValue::Null));
    o.insert(QStringLiteral("written"), written);
    o.insert(QStringLiteral("outcome"), verified ? QStringLiteral("verified") : QStringLiteral("failed"));
    o.insert(QStringLiteral("readBack"), readBack);
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

bool JournalRecord::fromLine(const QByteArray &line, JournalRecord *r)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return false;
    const QJsonObject o = doc.object();
    if (!o.value(QStringLiteral("address")).isString() || !o.value(QStringLiteral("written")).isString())
        return false;
    r->time = o.value(QStringLiteral("time")).toString();
    r->port = o.value(QStringLiteral("port")).toString();
    r->operation = o.value(QStringLiteral("operation")).toString();
    r->source = o.value(QStringLiteral("source")).toString();
    r->address = o.value(QStringLiteral("address")).toString();
    r->width = o.value(QStringLiteral("width")).toInt();
    r->before = o.value(QStringLiteral("before")).toString();
    r->written = o.value(QStringLiteral("written")).toString();
    r->verified = o.value(QStringLiteral("outcome")).toString() == QLatin1String("verified");
    r->readBack = o.value(QStringLiteral("readBack")).toString();
    return true;
}

QString WriteJournal::defaultPath()
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation))
        .filePath(QStringLiteral("journal.jsonl"));
}

bool WriteJournal::append(const JournalRecord &record, QString *error) const
{
    const QFileInfo info(m_path);
    if (!QDir().mkpath(info.absolutePath())) {
        *error = info.absolutePath() + QStringLiteral(": the folder cannot be created");
        return false;
    }
    QFile file(m_path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::Append)) {
        *error = m_path + QStringLiteral(": ") + file.errorString();
        return false;
    }
    QByteArray line = record.toLine() + '\n';
    // A record cut short by a crash or a full disk must not swallow this one.
    const qint64 size = file.size();
    if (size > 0 && file.seek(size - 1) && file.read(1) != "\n")
        line.prepend('\n');
    if (file.write(line) != line.size() || !file.flush()) {
        *error = m_path + QStringLiteral(": ") + file.errorString();
        return false;
    }
    file.close();
    return true;
}

QList<JournalRecord> WriteJournal::records(QString *error) const
{
    QList<JournalRecord> out;
    QFile file(m_path);
    if (!file.exists())
        return out;
    if (!file.open(QIODevice::ReadOnly)) {
        *error = m_path + QStringLiteral(": ") + file.errorString();
        return out;
    }
    while (!file.atEnd()) {
        JournalRecord r;
        if (JournalRecord::fromLine(file.readLine().trimmed(), &r))
            out << r;
    }
    return out;
}
