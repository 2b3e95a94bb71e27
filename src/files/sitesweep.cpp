#include "sitesweep.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTimer>

#include <unistd.h>

namespace {

QString lastLine(const QByteArray &bytes)
{
    const QStringList lines = QString::fromLocal8Bit(bytes).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    return lines.isEmpty() ? QString() : lines.last().trimmed();
}

QString csvField(const QString &text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\n'))
        && !text.contains(QLatin1Char('\r')))
        return text;
    QString quoted = text;
    quoted.replace(QLatin1String("\""), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

const QString kSummaryHeader =
    QStringLiteral("name,port,state,reached,reason,differences,flow,unit,total,total_unit,link,seconds,finished");

QString stateText(SweepResult::State s)
{
    switch (s) {
    case SweepResult::Waiting: return QStringLiteral("waiting");
    case SweepResult::Running: return QStringLiteral("running");
    case SweepResult::Done: return QStringLiteral("done");
    case SweepResult::Stopped: return QStringLiteral("stopped");
    }
    return QString();
}

} // namespace

SiteSweep::SiteSweep(const QList<SiteDevice> &devices, const Options &options, QObject *parent)
    : QObject(parent), m_options(options)
{
    for (const SiteDevice &d : devices) {
        SweepResult r;
        r.device = d;
        m_results << r;
        m_processes << nullptr;
        m_timers << nullptr;
        m_startMs << 0;
    }
    m_options.jobs = qMax(1, m_options.jobs);
}

SiteSweep::~SiteSweep()
{
    for (QProcess *p : std::as_const(m_processes))
        if (p) {
            p->disconnect(this);
            p->kill();
            p->waitForFinished(1000);
        }
}

QString SiteSweep::outputPath(const QString &outDir, const QString &name, const QString &suffix)
{
    return QDir(outDir).absoluteFilePath(name + suffix);
}

namespace {

// The path a file has or would have, with links, "." and ".." resolved as
// far as the folders exist.
QString canonical(const QString &path)
{
    const QFileInfo info(path);
    if (info.exists())
        return info.canonicalFilePath();
    const QString dir = QFileInfo(info.absolutePath()).canonicalFilePath();
    return dir.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : QDir(dir).filePath(info.fileName());
}

} // namespace

QStringList SiteSweep::checkOutputs(const QString &sitePath, const QList<SiteDevice> &devices, const QString &outDir,
                                    bool report)
{
    QStringList inputs{canonical(sitePath)};
    for (const SiteDevice &d : devices)
        if (!d.golden.isEmpty())
            inputs << canonical(d.golden);
    QStringList errors;
    const auto check = [&](const QString &out, const QString &where) {
        if (QFileInfo(out).isSymLink())
            errors << QStringLiteral("%1%2 is a symbolic link; the sweep writes only plain files").arg(where, out);
        else if (inputs.contains(canonical(out)))
            errors << QStringLiteral("%1the sweep would write %2 over an input").arg(where, out);
    };
    for (const SiteDevice &d : devices) {
        const QString where = QStringLiteral("%1:%2: ").arg(sitePath).arg(d.line);
        check(outputPath(outDir, d.name, QStringLiteral(".epr")), where);
        if (report)
            check(outputPath(outDir, d.name, QStringLiteral(".pdf")), where);
    }
    check(outputPath(outDir, QStringLiteral("summary"), QStringLiteral(".csv")), QString());
    return errors;
}

void SiteSweep::run()
{
    m_stopping = false;
    startNext();
    if (m_running == 0)
        return;
    QEventLoop loop;
    m_loop = &loop;
    loop.exec();
    m_loop = nullptr;
}

void SiteSweep::stop()
{
    m_stopping = true;
    for (SweepResult &r : m_results)
        if (r.state == SweepResult::Waiting) {
            r.state = SweepResult::Stopped;
            r.reason = QStringLiteral("stopped before it started");
        }
    for (QProcess *p : std::as_const(m_processes)) {
        if (!p)
            continue;
        if (p->property("writes").toBool()) {
            p->terminate();
            QTimer::singleShot(m_options.stopGraceMs, p, &QProcess::kill);
        } else {
            p->kill();
        }
    }
}

int SiteSweep::finishedCount() const
{
    int n = 0;
    for (const SweepResult &r : m_results)
        n += r.state == SweepResult::Done || r.state == SweepResult::Stopped;
    return n;
}

int SiteSweep::exitCode() const
{
    for (const SweepResult &r : m_results)
        if (!r.good())
            return 1;
    return 0;
}

void SiteSweep::startNext()
{
    while (!m_stopping && m_running < m_options.jobs && m_next < m_results.size()) {
        const int i = m_next++;
        m_results[i].state = SweepResult::Running;
        ++m_running;
        m_startMs[i] = QDateTime::currentMSecsSinceEpoch();
        emit deviceStarted(i);
        const bool importFirst = m_options.restore && !m_results[i].device.golden.isEmpty();
        startStep(i, importFirst ? ImportStep : SweepStep);
    }
    if (m_running == 0 && m_loop)
        m_loop->quit();
}

void SiteSweep::startStep(int i, Step step)
{
    const SiteDevice &d = m_results[i].device;
    QStringList args{QStringLiteral("--port"), d.port};
    if (!d.settings.isEmpty())
        args << QStringLiteral("--settings") << d.settings;
    if (d.rs485)
        args << QStringLiteral("--rs485");
    if (step == ImportStep) {
        args << QStringLiteral("import") << d.golden << QStringLiteral("--changed")
             << (m_options.yes ? QStringLiteral("--yes") : QStringLiteral("--dry-run"));
    } else {
        args << QStringLiteral("sweep-one") << d.name << QStringLiteral("--out") << m_options.outDir;
        if (!d.golden.isEmpty())
            args << QStringLiteral("--golden") << d.golden;
        if (m_options.report)
            args << QStringLiteral("--report");
    }
    auto *p = new QProcess(this);
    p->setProperty("writes", step == ImportStep && m_options.yes);
    // A writing child names each row before it goes out, so a child killed
    // mid-row leaves the row it was writing on record.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QUORIN_NAME_ROWS"), QStringLiteral("1"));
    p->setProcessEnvironment(env);
    // Its own process group: Ctrl+C reaches this process only, which then
    // ends the children itself and marks them.
    p->setChildProcessModifier([] { ::setpgid(0, 0); });
    m_processes[i] = p;
    auto *timer = new QTimer(this);
    timer->setSingleShot(true);
    m_timers[i] = timer;
    connect(timer, &QTimer::timeout, this, [this, i, p] {
        if (m_processes[i] != p)
            return;
        m_results[i].reason = QStringLiteral("no result within %1 s").arg(m_options.deviceTimeoutMs / 1000.0);
        p->setProperty("timedOut", true);
        p->kill();
    });
    connect(p, &QProcess::finished, this, [this, i, step, p](int code, QProcess::ExitStatus status) {
        if (m_processes[i] != p)
            return;
        onFinished(i, step, code, status == QProcess::CrashExit);
    });
    connect(p, &QProcess::errorOccurred, this, [this, i, step, p](QProcess::ProcessError e) {
        if (e == QProcess::FailedToStart && m_processes[i] == p) {
            m_results[i].reason = QStringLiteral("%1 did not start: %2").arg(m_options.program, p->errorString());
            onFinished(i, step, -1, true);
        }
    });
    p->start(m_options.program, args);
    // A device that hangs is given up on after the time, however far it got.
    timer->start(qMax(0, int(m_options.deviceTimeoutMs - (QDateTime::currentMSecsSinceEpoch() - m_startMs[i]))));
}

void SiteSweep::onFinished(int i, Step step, int exitCode, bool crashed)
{
    QProcess *p = m_processes[i];
    m_processes[i] = nullptr;
    m_timers[i]->stop();
    m_timers[i]->deleteLater();
    m_timers[i] = nullptr;
    SweepResult &r = m_results[i];
    const bool timedOut = p->property("timedOut").toBool();
    const QByteArray out = p->readAllStandardOutput();
    const QByteArray err = p->readAllStandardError();
    p->deleteLater();
    r.seconds = (QDateTime::currentMSecsSinceEpoch() - m_startMs[i]) / 1000.0;

    bool asked = false; // a writing child that stopped between rows when asked
    if (step == ImportStep) {
        r.restoreLines = QString::fromLocal8Bit(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        asked = !r.restoreLines.isEmpty() && r.restoreLines.last().startsWith(QLatin1String("interrupted: "));
        // The child names the row it starts before the write frame leaves
        // and prints it once read back: one started but not printed may or
        // may not be in the device.
        const QString said = QString::fromLocal8Bit(err);
        int verified = 0;
        for (const QString &line : std::as_const(r.restoreLines))
            verified += line.at(0).isDigit();
        if (said.count(QStringLiteral("import: writing ")) > verified)
            r.restoreLines << said.section(QStringLiteral("import: writing "), -1).section(QLatin1Char('\n'), 0, 0)
                                  + QStringLiteral("  interrupted, outcome unknown");
    }
    if (m_stopping && !timedOut && (crashed || asked || r.state == SweepResult::Stopped)) {
        r.state = SweepResult::Stopped;
        r.reason = step == ImportStep && m_options.yes ? QStringLiteral("the restore was interrupted")
                                                       : QStringLiteral("stopped before it finished");
        finish(i);
        return;
    }
    if (step == ImportStep) {
        if (exitCode != 0 || crashed) {
            r.restoreFailed = true;
            if (!timedOut)
                r.reason = lastLine(err).isEmpty() ? QStringLiteral("the restore ended with status %1").arg(exitCode) : lastLine(err);
        }
        // A device that hung or whose child crashed is not tried again.
        if (!timedOut && !crashed && !m_stopping) {
            startStep(i, SweepStep);
            return;
        }
        r.state = SweepResult::Done;
        finish(i);
        return;
    }
    QJsonObject json;
    const QStringList lines = QString::fromUtf8(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (!lines.isEmpty())
        json = QJsonDocument::fromJson(lines.last().toUtf8()).object();
    r.state = SweepResult::Done;
    r.reached = json.value(QStringLiteral("reached")).toBool();
    if (r.reached) {
        r.differences = json.value(QStringLiteral("differences")).isDouble() ? json.value(QStringLiteral("differences")).toInt() : -1;
        r.flow = json.value(QStringLiteral("flow")).toString();
        r.unit = json.value(QStringLiteral("unit")).toString();
        r.total = json.value(QStringLiteral("total")).toString();
        r.totalUnit = json.value(QStringLiteral("total_unit")).toString();
        // What the child could not do (save, read) keeps it from being fine.
        const QString missing = json.value(QStringLiteral("reason")).toString();
        r.reason = !r.restoreFailed ? missing : missing.isEmpty() ? r.reason : r.reason + QStringLiteral("; ") + missing;
        // The rows a restore leaves as they are, and why.
        for (const QJsonValue &v : json.value(QStringLiteral("rows")).toArray())
            if (m_options.restore && v[QStringLiteral("skipped")].isString())
                r.restoreLines << QStringLiteral("skipped %1 %2: %3").arg(v[QStringLiteral("address")].toString(),
                                                                          v[QStringLiteral("name")].toString(),
                                                                          v[QStringLiteral("skipped")].toString());
    } else if (!timedOut) {
        const QString said = json.value(QStringLiteral("reason")).isString() ? json.value(QStringLiteral("reason")).toString() : lastLine(err);
        r.reason = crashed ? QStringLiteral("quorin-cli ended abnormally")
                           : said.isEmpty() ? QStringLiteral("no answer (status %1)").arg(exitCode) : said;
    }
    const QJsonObject link = json.value(QStringLiteral("link")).toObject();
    if (!link.isEmpty())
        r.link = QStringLiteral("frames %1, replies %2, time-outs %3, lost %4, discarded %5")
                     .arg(link[QStringLiteral("frames")].toInteger()).arg(link[QStringLiteral("replies")].toInteger())
                     .arg(link[QStringLiteral("timeouts")].toInteger()).arg(link[QStringLiteral("lost")].toInteger())
                     .arg(link[QStringLiteral("discarded")].toInteger());
    r.json = json;
    finish(i);
}

void SiteSweep::finish(int i)
{
    SweepResult &r = m_results[i];
    r.finished = QDateTime::currentDateTime();
    QJsonObject &o = r.json;
    o.insert(QStringLiteral("name"), r.device.name);
    o.insert(QStringLiteral("port"), r.device.port);
    o.insert(QStringLiteral("state"), stateText(r.state));
    o.insert(QStringLiteral("reached"), r.reached);
    o.insert(QStringLiteral("reason"), r.reason.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(r.reason));
    if (!r.reached)
        o.insert(QStringLiteral("differences"), QJsonValue(QJsonValue::Null));
    o.insert(QStringLiteral("seconds"), qRound(r.seconds * 10) / 10.0);
    if (m_options.restore && !r.device.golden.isEmpty()) {
        o.insert(QStringLiteral("restore"), QJsonObject{{QStringLiteral("written"), m_options.yes},
                                                        {QStringLiteral("lines"), QJsonArray::fromStringList(r.restoreLines)},
                                                        {QStringLiteral("failed"), r.restoreFailed}});
    }
    --m_running;
    emit deviceFinished(i);
    startNext();
}

QString SiteSweep::resultLine(const SweepResult &r)
{
    QString line = r.device.name + QStringLiteral("  ") + r.device.port + QStringLiteral("  ");
    if (r.state == SweepResult::Stopped)
        return line + QStringLiteral("stopped: ") + r.reason;
    if (!r.reached)
        return line + QStringLiteral("not reached: %1, %2 s").arg(r.reason).arg(r.seconds, 0, 'f', 1);
    line += QStringLiteral("reached, ");
    if (r.differences < 0)
        line += QStringLiteral("no golden table");
    else
        line += r.differences == 1 ? QStringLiteral("1 row differs") : QStringLiteral("%1 rows differ").arg(r.differences);
    line += QStringLiteral(", flow %1, total %2")
                .arg(r.flow.isEmpty() ? QStringLiteral("-") : (r.flow.trimmed() + QLatin1Char(' ') + r.unit).trimmed(),
                     r.total.isEmpty() ? QStringLiteral("-") : (r.total.trimmed() + QLatin1Char(' ') + r.totalUnit).trimmed());
    if (!r.reason.isEmpty())
        line += (r.restoreFailed ? QStringLiteral(", restore failed: ") : QStringLiteral(", ")) + r.reason;
    return line + QStringLiteral(", %1 s").arg(r.seconds, 0, 'f', 1);
}

QString SiteSweep::summaryLine(const QList<SweepResult> &results)
{
    int reached = 0, differ = 0, stopped = 0, failed = 0, incomplete = 0;
    for (const SweepResult &r : results) {
        reached += r.reached;
        differ += r.reached && r.differences > 0;
        stopped += r.state == SweepResult::Stopped;
        failed += r.restoreFailed;
        incomplete += r.reached && !r.restoreFailed && !r.reason.isEmpty();
    }
    QString text = QStringLiteral("%1 transmitters: %2 reached, %3 not reached, %4 differ from their golden table")
                       .arg(results.size()).arg(reached).arg(results.size() - reached - stopped).arg(differ);
    if (stopped)
        text += QStringLiteral(", %1 stopped").arg(stopped);
    if (incomplete)
        text += QStringLiteral(", %1 not fully saved or read").arg(incomplete);
    if (failed)
        text += QStringLiteral(", %1 restores failed").arg(failed);
    return text;
}

QByteArray SiteSweep::summaryCsv(const QList<SweepResult> &results)
{
    QString text = kSummaryHeader + QStringLiteral("\r\n");
    for (const SweepResult &r : results) {
        const QStringList fields{r.device.name, r.device.port, stateText(r.state),
                                 r.reached ? QStringLiteral("yes") : QStringLiteral("no"), r.reason,
                                 r.differences < 0 ? QString() : QString::number(r.differences), r.flow.trimmed(),
                                 r.unit, r.total.trimmed(), r.totalUnit, r.link, QString::number(r.seconds, 'f', 1),
                                 r.finished.toString(Qt::ISODate)};
        QStringList quoted;
        for (const QString &f : fields)
            quoted << csvField(f);
        text += quoted.join(QLatin1Char(',')) + QStringLiteral("\r\n");
    }
    return text.toUtf8();
}

bool SiteSweep::readSummary(const QString &path, QList<SweepResult> *results, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = path + QStringLiteral(": ") + file.errorString();
        return false;
    }
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
    if (lines.isEmpty() || lines.first() != kSummaryHeader) {
        *error = path + QStringLiteral(": not a sweep summary");
        return false;
    }
    QList<SweepResult> read;
    for (int n = 1; n < lines.size(); ++n) {
        QStringList f;
        if (!SiteFile::splitLine(lines[n], &f) || f.size() != 13) {
            *error = QStringLiteral("%1:%2: not a summary row").arg(path).arg(n + 1);
            return false;
        }
        SweepResult r;
        r.device.name = f[0];
        r.device.port = f[1];
        r.state = f[2] == QLatin1String("stopped") ? SweepResult::Stopped : SweepResult::Done;
        r.reached = f[3] == QLatin1String("yes");
        r.reason = f[4];
        r.differences = f[5].isEmpty() ? -1 : f[5].toInt();
        r.flow = f[6];
        r.unit = f[7];
        r.total = f[8];
        r.totalUnit = f[9];
        r.link = f[10];
        r.seconds = f[11].toDouble();
        r.finished = QDateTime::fromString(f[12], Qt::ISODate);
        read << r;
    }
    *results = read;
    return true;
}
