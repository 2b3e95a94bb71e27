#include "simfaults.h"

#include <QStringList>

namespace {

bool positiveNumber(const QString &text, qint64 max, qint64 *value)
{
    bool ok = false;
    const qint64 v = text.trimmed().toLongLong(&ok);
    if (!ok || v < 1 || v > max)
        return false;
    *value = v;
    return true;
}

} // namespace

const QByteArray SimFaults::GreetingText = QByteArrayLiteral("Welcome, line 3: ready\r\n");
const QByteArray SimFaults::NoiseText = QByteArrayLiteral("\r\nline 3: ");
const QByteArray SimFaults::LateGreetingText = QByteArrayLiteral("Connected at 12:34\r\n");

bool SimFaults::parse(const QString &text, SimFaults *out, QString *error)
{
    SimFaults f;
    QString why;
    const QStringList items = text.split(QLatin1Char(','));
    for (const QString &raw : items) {
        const QString item = raw.trimmed().toLower();
        const int colon = item.indexOf(QLatin1Char(':'));
        const QString name = colon < 0 ? item : item.left(colon).trimmed();
        const QString arg = colon < 0 ? QString() : item.mid(colon + 1);
        qint64 v = 0;
        if (item.isEmpty() && items.size() == 1) {
            break; // an empty text means no faults
        } else if (name == QLatin1String("none") && colon < 0) {
            continue;
        } else if (name == QLatin1String("noanswer") && colon < 0) {
            f.noAnswer = true;
        } else if (name == QLatin1String("corrupt") && colon < 0) {
            f.corruptReadback = true;
        } else if (name == QLatin1String("greet") && colon < 0) {
            f.greeting = true;
        } else if (name == QLatin1String("noise") && colon < 0) {
            f.noise = true;
        } else if (name == QLatin1String("flood") && colon < 0) {
            f.flood = true;
        } else if (name == QLatin1String("lategreet") && colon < 0) {
            f.lateGreeting = true;
        } else if (name == QLatin1String("echo") && colon < 0) {
            f.echo = true;
        } else if (name == QLatin1String("long") && colon < 0) {
            f.longTailMs = 1;
        } else if (name == QLatin1String("long")) {
            if (!positiveNumber(arg, 10000, &v)) {
                why = QStringLiteral("fault \"%1\": give the delay of the last digits in milliseconds, long:1 to long:10000")
                          .arg(raw.trimmed());
                break;
            }
            f.longTailMs = int(v);
        } else if (name == QLatin1String("opensb") && colon < 0) {
            f.openSubneg = true;
        } else if (name == QLatin1String("trickle")) {
            if (colon < 0 || !positiveNumber(arg, 10000, &v)) {
                why = QStringLiteral("fault \"%1\": give the gap between bytes in milliseconds, trickle:1 to trickle:10000")
                          .arg(raw.trimmed());
                break;
            }
            f.trickleMs = int(v);
        } else if (name == QLatin1String("split") && colon < 0) {
            f.splitReplies = true;
        } else if (name == QLatin1String("split")) {
            if (!positiveNumber(arg, 0xFFFFFFFFLL, &v)) {
                why = QStringLiteral("fault \"%1\": the seed must be a whole number from 1").arg(raw.trimmed());
                break;
            }
            f.splitReplies = true;
            f.splitSeed = quint32(v);
        } else if (name == QLatin1String("late")) {
            if (colon < 0 || !positiveNumber(arg, 600000, &v)) {
                why = QStringLiteral("fault \"%1\": give the delay in milliseconds, late:1 to late:600000")
                          .arg(raw.trimmed());
                break;
            }
            f.lateMs = int(v);
        } else if (name == QLatin1String("hangup") || name == QLatin1String("mute") || name == QLatin1String("lose")) {
            if (colon < 0 || !positiveNumber(arg, 1000000000, &v)) {
                why = QStringLiteral("fault \"%1\": give the number of frames, as in %2:5").arg(raw.trimmed(), name);
                break;
            }
            (name == QLatin1String("mute") ? f.muteAfterFrames : name == QLatin1String("lose") ? f.lostReply : f.hangupAfterFrames) = int(v);
        } else {
            why = QStringLiteral("unknown fault \"%1\"; use none, noanswer, late:MS, corrupt, split[:SEED], "
                                 "hangup:N, mute:N, lose:N, greet, noise, trickle:MS, opensb, flood, long[:MS], lategreet, "
                                 "echo (several joined by commas)")
                      .arg(raw.trimmed());
            break;
        }
    }
    if (!why.isEmpty()) {
        if (error)
            *error = why;
        return false;
    }
    if (out)
        *out = f;
    return true;
}

QString SimFaults::toString() const
{
    QStringList items;
    if (noAnswer)
        items << QStringLiteral("noanswer");
    if (lateMs > 0)
        items << QStringLiteral("late:%1").arg(lateMs);
    if (corruptReadback)
        items << QStringLiteral("corrupt");
    if (splitReplies)
        items << (splitSeed == 1 ? QStringLiteral("split") : QStringLiteral("split:%1").arg(splitSeed));
    if (hangupAfterFrames > 0)
        items << QStringLiteral("hangup:%1").arg(hangupAfterFrames);
    if (muteAfterFrames > 0)
        items << QStringLiteral("mute:%1").arg(muteAfterFrames);
    if (lostReply > 0)
        items << QStringLiteral("lose:%1").arg(lostReply);
    if (greeting)
        items << QStringLiteral("greet");
    if (noise)
        items << QStringLiteral("noise");
    if (trickleMs > 0)
        items << QStringLiteral("trickle:%1").arg(trickleMs);
    if (openSubneg)
        items << QStringLiteral("opensb");
    if (flood)
        items << QStringLiteral("flood");
    if (longTailMs > 0)
        items << (longTailMs == 1 ? QStringLiteral("long") : QStringLiteral("long:%1").arg(longTailMs));
    if (lateGreeting)
        items << QStringLiteral("lategreet");
    if (echo)
        items << QStringLiteral("echo");
    return items.isEmpty() ? QStringLiteral("none") : items.join(QLatin1Char(','));
}
