#include "terminallogs.h"

#include "common/prompter.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {
const char kLineEnd[] = "\r\n";

QString quoted(const QString &text)
{
    QString t = text;
    t.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + t + QLatin1Char('"');
}
} // namespace

TextLog::TextLog() = default;

TextLog::~TextLog()
{
    close();
}

bool TextLog::isOpen() const
{
    return m_file != nullptr;
}

bool TextLog::open(const QString &path, bool append, QString *error)
{
    close();
    QByteArray previous;
    if (append && QFileInfo::exists(path)) {
        QFile old(path);
        if (!old.open(QIODevice::ReadOnly)) {
            if (error)
                *error = path + QStringLiteral(": ") + old.errorString();
            return false;
        }
        previous = old.readAll();
    }
    auto file = std::make_unique<QSaveFile>(path);
    if (!file->open(QIODevice::WriteOnly)) {
        if (error)
            *error = path + QStringLiteral(": ") + file->errorString();
        return false;
    }
    if (!previous.isEmpty() && !previous.endsWith('\n'))
        previous += kLineEnd;
    m_writeError.clear();
    m_file = std::move(file);
    if (!previous.isEmpty() && m_file->write(previous) != previous.size())
        noteWriteError();
    m_name = path;
    m_lines = 0;
    const QString head = header();
    if (previous.isEmpty() && !head.isEmpty())
        writeLine(head);
    m_lines = 0;
    return true;
}

bool TextLog::close(QString *error)
{
    if (!m_file)
        return true;
    // A write that failed on the way (a full disk) must not let commit()
    // replace the old file with a cut-off one: the temporary is dropped.
    if (!m_writeError.isEmpty())
        m_file->cancelWriting();
    const bool ok = m_writeError.isEmpty() && m_file->commit();
    if (!ok && error)
        *error = m_name + QStringLiteral(": ") + (m_writeError.isEmpty() ? m_file->errorString() : m_writeError);
    m_file.reset();
    m_writeError.clear();
    return ok;
}

bool TextLog::writeLine(const QString &line)
{
    if (!m_file)
        return false;
    const QByteArray bytes = line.toUtf8() + kLineEnd;
    // Pushed to the temporary file at once, so a crash leaves the records there.
    const bool ok = m_file->write(bytes) == bytes.size() && m_file->flush();
    if (ok)
        ++m_lines;
    else
        noteWriteError();
    return ok;
}

void TextLog::noteWriteError()
{
    if (m_writeError.isEmpty())
        m_writeError = m_file->errorString().isEmpty() ? QStringLiteral("the file could not be written")
                                                       : m_file->errorString();
}

QString CommLog::line(const QDateTime &when, const QString &direction, const QString &text)
{
    QString shown;
    for (QChar c : text) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            shown += QStringLiteral("<%1>").arg(c.unicode(), 2, 16, QLatin1Char('0')).toUpper();
        else
            shown += c;
    }
    return when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")) + QStringLiteral("  ") + direction
        + QStringLiteral("  ") + shown;
}

bool CommLog::frameSent(const QString &frame, const QDateTime &when)
{
    return writeLine(line(when, QStringLiteral("TX"), frame));
}

bool CommLog::replyReceived(const QString &reply, const QDateTime &when)
{
    return writeLine(line(when, QStringLiteral("RX"), reply));
}

QString DataLog::line(const QDateTime &when, const QString &flow, const QString &unit)
{
    const QString f = flow.trimmed();
    bool number = false;
    f.toDouble(&number);
    return quoted(when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))) + QLatin1Char(',')
        + (number ? f : quoted(f)) + QLatin1Char(',') + quoted(unit.trimmed());
}

bool DataLog::record(const QDateTime &when, const QString &flow, const QString &unit)
{
    return writeLine(line(when, flow, unit));
}

QString DataLog::header() const
{
    return QStringLiteral("\"Date Time\",\"Flow\",\"Unit\"");
}

bool chooseLogFile(Prompter &prompter, const QString &title, const QString &filter, const QString &proposed,
                   QString *path, bool *append)
{
    const QString name = prompter.saveFileName(title, proposed, filter);
    if (name.isEmpty())
        return false;
    bool keep = false;
    if (QFileInfo::exists(name))
        keep = !prompter.askYesNo(QStringLiteral("Replace existing file - ") + name + QLatin1Char('?'),
                                  QStringLiteral("System Monitor"), Prompter::Warning);
    *path = name;
    *append = keep;
    return true;
}
