#include "reconnector.h"

#include "link/devicelink.h"

#include <QEventLoop>
#include <QTimer>

Reconnector::Reconnector(DeviceLink *link, int intervalMs, QObject *parent)
    : QObject(parent), m_link(link), m_timer(new QTimer(this))
{
    m_timer->setInterval(intervalMs);
    connect(m_timer, &QTimer::timeout, this, &Reconnector::tryOpen);
    connect(link, &DeviceLink::portLost, this, &Reconnector::retry);
}

void Reconnector::setEnabled(bool on)
{
    m_enabled = on;
    if (!on && m_timer->isActive()) {
        m_timer->stop();
        emit stopped();
    }
}

bool Reconnector::isRetrying() const
{
    return m_timer->isActive();
}

void Reconnector::retry()
{
    if (!m_enabled || m_timer->isActive())
        return;
    m_attempts = 0;
    emit reconnecting();
    m_timer->start();
}

void Reconnector::tryOpen()
{
    SerialPort *port = m_link->port();
    if (!port) {
        setEnabled(false);
        return;
    }
    ++m_attempts;
    // The port itself, not the link's open: a failed try is expected here
    // and must not put a message in front of the operator every time.
    if (!port->isOpen() && !port->open())
        return;
    m_timer->stop();
    emit reconnected();
}

bool Reconnector::waitUntilBack(int msecs)
{
    if (!m_timer->isActive())
        return m_link->PortOpen();
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(this, &Reconnector::reconnected, &loop, &QEventLoop::quit);
    connect(this, &Reconnector::stopped, &loop, &QEventLoop::quit);
    if (msecs >= 0)
        limit.start(msecs);
    loop.exec();
    return m_link->PortOpen();
}
