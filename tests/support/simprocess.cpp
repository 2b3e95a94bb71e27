#include "simprocess.h"

#include "waituntil.h"

#include <QProcess>

SimProcess::SimProcess(QObject *parent) : QObject(parent), m_process(new QProcess(this))
{
    m_process->setProgram(QStringLiteral(QUORIN_SIM_EXE));
}

SimProcess::~SimProcess()
{
    // No nested event loop while the test's objects are being torn down: a
    // plain wait for the exit (QProcess kills it should SIGTERM not do).
    if (isRunning()) {
        m_process->terminate();
        m_process->waitForFinished(3000);
    }
}

bool SimProcess::start(const QStringList &args, int timeoutMs)
{
    m_path.clear();
    m_error.clear();
    m_stderr.clear();
    m_process->setArguments(args);
    m_process->start();

    waitUntil([this] { return m_process->canReadLine() || !isRunning(); }, timeoutMs);

    if (m_process->canReadLine())
        m_path = QString::fromLocal8Bit(m_process->readLine()).trimmed();
    if (!m_path.isEmpty())
        return true;
    if (m_process->state() == QProcess::NotRunning)
        m_error = QStringLiteral("quorin-sim ended (status %1): %2")
                      .arg(m_process->exitCode())
                      .arg(QString::fromLocal8Bit(errorOutput()).trimmed());
    else
        m_error = QStringLiteral("quorin-sim printed no path within %1 ms").arg(timeoutMs);
    if (m_process->error() == QProcess::FailedToStart)
        m_error = QStringLiteral("quorin-sim did not start: ") + m_process->errorString();
    return false;
}

bool SimProcess::stop(int timeoutMs)
{
    if (isRunning()) {
        m_process->terminate();
        if (!waitForExit(timeoutMs))
            return false;
    }
    return m_process->exitStatus() == QProcess::NormalExit && m_process->exitCode() == 0;
}

bool SimProcess::waitForExit(int timeoutMs)
{
    waitUntil([this] { return !isRunning(); }, timeoutMs);
    return !isRunning();
}

QByteArray SimProcess::errorOutput()
{
    m_stderr += m_process->readAllStandardError();
    return m_stderr;
}
