#include "ser2netprocess.h"
#include "filebytes.h"
#include "freeport.h"
#include "waituntil.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

Ser2netProcess::Ser2netProcess(QObject *parent)
    : QObject(parent), m_process(new QProcess(this)), m_dir(new QTemporaryDir)
{
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->setStandardInputFile(QProcess::nullDevice());
}

Ser2netProcess::~Ser2netProcess()
{
    if (m_process->state() != QProcess::NotRunning) {
        m_process->kill();
        m_process->waitForFinished(3000);
    }
    delete m_dir;
}

QString Ser2netProcess::program()
{
    return QStandardPaths::findExecutable(QStringLiteral("ser2net"), {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/bin")});
}

QString Ser2netProcess::address() const
{
    return QStringLiteral("%1://127.0.0.1:%2").arg(m_mode == Raw ? QStringLiteral("tcp") : QStringLiteral("rfc2217")).arg(m_port);
}

// Listening shows in the kernel's socket table, so the test need not connect
// (a probe connection would hold the device for a moment).
bool Ser2netProcess::listening() const
{
    const QByteArray local = QStringLiteral(":%1 ").arg(m_port, 4, 16, QLatin1Char('0')).toUpper().toLatin1();
    for (const QByteArray &line : fileBytes(QStringLiteral("/proc/net/tcp")).split('\n')) {
        const QList<QByteArray> f = line.simplified().split(' ');
        if (f.size() > 3 && (f[1] + ' ').endsWith(local) && f[3] == "0A")
            return true;
    }
    return false;
}

bool Ser2netProcess::start(const QString &device, Mode mode, int timeoutMs)
{
    m_mode = mode;
    m_port = freePort();
    const QString accepter = mode == Raw ? QStringLiteral("tcp,127.0.0.1,%1") : QStringLiteral("telnet(rfc2217),tcp,127.0.0.1,%1");
    const QString config = QStringLiteral("connection: &line\n"
                              "  accepter: %1\n"
                              "  connector: serialdev,%2,9600n81,local\n")
                   .arg(accepter.arg(m_port), device);
    const QString file = m_dir->filePath(QStringLiteral("ser2net.yaml"));
    if (!writeFileBytes(file, config.toUtf8())) {
        m_error = QStringLiteral("cannot write %1").arg(file);
        return false;
    }
    // Now and then ser2net 4.3 ends at once, silently and with status 0, under
    // load; a second start then listens.
    for (int attempt = 0; attempt < 5; ++attempt) {
        if (attempt > 0)
            waitUntil({}, 400 * attempt);
        m_process->start(program(), {QStringLiteral("-n"), QStringLiteral("-d"), QStringLiteral("-c"), file});
        waitUntil([this] { return m_process->state() == QProcess::NotRunning || listening(); }, timeoutMs);
        if (m_process->state() == QProcess::Running && listening())
            return true;
        if (m_process->state() == QProcess::Running)
            break;
    }
    m_error = QStringLiteral("ser2net on ") + device + QStringLiteral(" is not listening on %1 (%2, exit %3): %4")
                  .arg(address(), m_process->state() == QProcess::Running ? QStringLiteral("running") : QStringLiteral("ended"))
                  .arg(QString::number(m_process->exitCode()) + QStringLiteral(", ") + m_process->errorString())
                  .arg(QString::fromLocal8Bit(m_process->readAll()).trimmed());
    return false;
}

void Ser2netProcess::stop()
{
    if (m_process->state() == QProcess::NotRunning)
        return;
    m_process->terminate();
    waitUntil([this] { return m_process->state() == QProcess::NotRunning; }, 3000);
    if (m_process->state() != QProcess::NotRunning) {
        m_process->kill();
        m_process->waitForFinished(1000);
    }
}
