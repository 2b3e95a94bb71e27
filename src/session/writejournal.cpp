#include "session/writejournal.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QStandardPaths>

namespace {

const QString kIntent = QStringLiteral("intent");
const QString kOutcome = QStringLiteral("outcome");
constexpr QFileDevice::Permissions kOwnerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

QString outcomeWord(const JournalRecord &r)
{
    if (r.state == JournalRecord::NotVerified)
        return QStringLiteral("not verified");
    if (r.state == JournalRecord::NoReadBack)
        return QStringLiteral("outcome unknown");
    return r.verified ? QStringLiteral("verified") : QStringLiteral("failed");
}

void putIntent(QJsonObject &o, const JournalRecord &r)
{
    o.insert(QStringLiteral("time"), r.time);
    o.insert(QStringLiteral("port"), r.port);
    o.insert(QStringLiteral("operation"), r.operation);
    o.insert(QStringLiteral("source"), r.source);
    o.insert(QStringLiteral("address"), r.address);
    o.insert(QStringLiteral("width"), r.width);
    o.insert(QStringLiteral("before"), r.beforeKnown() ? QJsonValue(r.before) : QJsonValue(QJsonValue::Null));
    o.insert(QStringLiteral("written"), r.written);
    if (!r.device.isEmpty())
        o.insert(QStringLiteral("device"), r.device);
}

void putOutcome(QJsonObject &o, const JournalRecord &r)
{
    o.insert(QStringLiteral("outcome"), outcomeWord(r));
    o.insert(QStringLiteral("readBack"), r.readBack);
}

QByteArray compact(const QJsonObject &o)
{
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

void takeOutcome(JournalRecord *r, const JournalRecord &outcome)
{
    r->verified = outcome.verified;
    r->readBack = outcome.readBack;
    r->state = outcome.state;
}

// Pairs intents with outcomes line by line, in either direction: outcomes
// met before their intent (reading backwards) wait in `outcomes`.
struct Pairing {
    QHash<QString, JournalRecord> outcomes;
    QHash<QString, int> openIntents;   // reading forwards: id -> index in out
    QList<JournalRecord> out;

    // Forwards: returns nothing, fills out.
    void forward(const QByteArray &line)
    {
        JournalRecord r;
        int kind = 0;
        if (!JournalRecord::fromLine(line, &r, &kind))
            return;
        if (kind == 2) {
            const auto at = openIntents.find(r.id);
            if (at != openIntents.end()) {
                takeOutcome(&out[*at], r);
                openIntents.erase(at);
            }
            return;
        }
        if (kind == 1)
            openIntents.insert(r.id, int(out.size()));
        out << r;
    }
    // Backwards: true and *r when the line completes a record.
    bool backward(const QByteArray &line, JournalRecord *r)
    {
        int kind = 0;
        if (!JournalRecord::fromLine(line, r, &kind))
            return false;
        if (kind == 2) {
            outcomes.insert(r->id, *r);
            return false;
        }
        if (kind == 1) {
            const auto at = outcomes.find(r->id);
            if (at != outcomes.end()) {
                takeOutcome(r, *at);
                outcomes.erase(at);
            }
        }
        return true;
    }
};

} // namespace

QString JournalRecord::outcomeText() const
{
    switch (state) {
    case Interrupted:
        return QStringLiteral("interrupted, outcome unknown");
    case NotVerified:
        return QStringLiteral("not verified");
    case NoReadBack:
        return QStringLiteral("no read-back, outcome unknown");
    case Done:
        break;
    }
    return verified ? QStringLiteral("verified")
                    : QStringLiteral("failed, read back ") + (readBack.isEmpty() ? QStringLiteral("nothing") : readBack);
}

QByteArray JournalRecord::toLine() const
{
    QJsonObject o;
    putIntent(o, *this);
    putOutcome(o, *this);
    return compact(o);
}

QByteArray JournalRecord::intentLine() const
{
    QJsonObject o;
    o.insert(QStringLiteral("id"), id);
    o.insert(QStringLiteral("kind"), kIntent);
    putIntent(o, *this);
    return compact(o);
}

QByteArray JournalRecord::outcomeLine() const
{
    QJsonObject o;
    o.insert(QStringLiteral("id"), id);
    o.insert(QStringLiteral("kind"), kOutcome);
    putOutcome(o, *this);
    return compact(o);
}

bool JournalRecord::fromLine(const QByteArray &line, JournalRecord *r, int *kindOut)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return false;
    const QJsonObject o = doc.object();
    const QString kind = o.value(QStringLiteral("kind")).toString();
    const int k = kind == kIntent ? 1 : kind == kOutcome ? 2 : 0;
    if (k != 0 && !o.value(QStringLiteral("id")).isString())
        return false;
    *r = JournalRecord();
    r->id = o.value(QStringLiteral("id")).toString();
    if (k != 2) {
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
        r->device = o.value(QStringLiteral("device")).toString();
    }
    if (k == 1) {
        r->state = Interrupted;
    } else {
        const QString outcome = o.value(QStringLiteral("outcome")).toString();
        r->verified = outcome == QLatin1String("verified");
        r->readBack = o.value(QStringLiteral("readBack")).toString();
        // Older journals called a write without a read-back failed.
        r->state = outcome == QLatin1String("not verified")                         ? NotVerified
                   : !r->verified && r->readBack.isEmpty() && outcome != QString() ? NoReadBack
                                                                                    : Done;
    }
    if (kindOut)
        *kindOut = k;
    return true;
}

QString WriteJournal::defaultPath()
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation))
        .filePath(QStringLiteral("journal.jsonl"));
}

QStringList WriteJournal::files() const
{
    const QFileInfo info(m_path);
    QStringList out;
    const QStringList parts = info.dir().entryList({info.completeBaseName() + QStringLiteral("-*.") + info.suffix()},
                                                  QDir::Files, QDir::Name);
    for (const QString &name : parts)
        out << info.dir().filePath(name);
    out << m_path;
    return out;
}

void WriteJournal::rotateIfLarge() const
{
    const QFileInfo info(m_path);
    if (m_rotateBytes <= 0 || !info.exists() || info.size() < m_rotateBytes)
        return;
    const QString stem = info.dir().filePath(info.completeBaseName() + QLatin1Char('-')
                                             + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss")));
    // A counter keeps parts of one second in order by name.
    QString target;
    for (int n = 1; target.isEmpty() || QFile::exists(target); ++n)
        target = stem + QStringLiteral("-%1.").arg(n, 3, 10, QLatin1Char('0')) + info.suffix();
    QFile::rename(m_path, target);
}

bool WriteJournal::appendLine(const QByteArray &text, QString *error) const
{
    const QFileInfo info(m_path);
    // The journal holds the device's access code among the data written:
    // its folder and file are the owner's alone.
    if (!info.dir().exists()) {
        // On a new account even the folders above it may not be there yet.
        const QString folder = info.absolutePath();
        if (!QDir().mkpath(QFileInfo(folder).absolutePath()) || !QDir().mkdir(folder, kOwnerOnly | QFileDevice::ExeOwner)) {
            *error = info.absolutePath() + QStringLiteral(": the folder cannot be created");
            return false;
        }
    }
    QFile file(m_path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::Append, kOwnerOnly)) {
        *error = m_path + QStringLiteral(": ") + file.errorString();
        return false;
    }
    QByteArray line = text + '\n';
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

bool WriteJournal::appendIntent(JournalRecord &record, QString *error) const
{
    if (record.id.isEmpty())
        record.id = QString::number(QRandomGenerator::system()->generate64(), 36);
    rotateIfLarge();
    return appendLine(record.intentLine(), error);
}

bool WriteJournal::appendOutcome(const JournalRecord &record, QString *error) const
{
    return appendLine(record.outcomeLine(), error);
}

bool WriteJournal::append(const JournalRecord &record, QString *error) const
{
    rotateIfLarge();
    return appendLine(record.toLine(), error);
}

QList<JournalRecord> WriteJournal::records(QString *error) const
{
    Pairing pairing;
    for (const QString &path : files()) {
        QFile file(path);
        if (!file.exists())
            continue;
        if (!file.open(QIODevice::ReadOnly)) {
            *error = path + QStringLiteral(": ") + file.errorString();
            return pairing.out;
        }
        while (!file.atEnd())
            pairing.forward(file.readLine().trimmed());
    }
    return pairing.out;
}

QList<JournalRecord> WriteJournal::newest(int count, QString *error,
                                          const std::function<bool(const JournalRecord &)> &keep) const
{
    QList<JournalRecord> found;   // newest first
    Pairing pairing;
    const auto take = [&](const QByteArray &line) {
        JournalRecord r;
        if (pairing.backward(line.trimmed(), &r) && (!keep || keep(r)))
            found << r;
    };
    const QStringList all = files();
    constexpr qint64 kChunk = 64 * 1024;
    for (int f = all.size() - 1; f >= 0 && found.size() < count; --f) {
        QFile file(all[f]);
        if (!file.exists())
            continue;
        if (!file.open(QIODevice::ReadOnly)) {
            *error = all[f] + QStringLiteral(": ") + file.errorString();
            break;
        }
        qint64 end = file.size();
        QByteArray carry;   // a line whose start is in the part not read yet
        while (found.size() < count) {
            if (end == 0) {
                take(carry);
                break;
            }
            const qint64 start = std::max<qint64>(0, end - kChunk);
            file.seek(start);
            const QByteArray buf = file.read(end - start) + carry;
            end = start;
            qsizetype stop = buf.size();
            while (stop > 0 && found.size() < count) {
                const qsizetype nl = buf.lastIndexOf('\n', stop - 1);
                if (nl < 0)
                    break;
                take(buf.mid(nl + 1, stop - nl - 1));
                stop = nl;
            }
            carry = buf.left(stop);
        }
    }
    std::reverse(found.begin(), found.end());
    return found;
}
