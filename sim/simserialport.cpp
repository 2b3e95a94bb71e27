#include "simserialport.h"

#include "simdevice.h"
#include "simline.h"
#include "link/portfactory.h"

#include <QStringList>

SimSerialPort::SimSerialPort(SimDevice *device, QObject *parent)
    : SerialPort(parent), m_device(device ? device : new SimDevice(QStringLiteral("standard"), this)),
      m_line(new SimLine(m_device, this))
{
    connect(m_line, &SimLine::transmit, this, &SimSerialPort::deliver);
    connect(m_line, &SimLine::hangUp, this, &SimSerialPort::onHangUp);
}

SimSerialPort::~SimSerialPort()
{
    m_line->disconnect(this);
}

const QString SimSerialPort::Name = QStringLiteral("Simulated transmitter");

void SimSerialPort::registerPort(const QString &preset, const SimFaults &faults, bool rs485)
{
    PortFactory::registerPort(Name, [preset, faults, rs485] {
        auto *device = new SimDevice(preset);
        device->setRs485(rs485);
        auto *port = new SimSerialPort(device);
        device->setParent(port);
        port->setFaults(faults);
        device->startClock();
        return port;
    });
}

void SimSerialPort::setInterfaceMode(bool rs232)
{
    if (m_device)
        m_device->setRs485(!rs232);
}

QString SimSerialPort::portName() const
{
    return Name;
}

bool SimSerialPort::open()
{
    if (m_open)
        return true;
    if (!m_device) {
        m_error = QStringLiteral("The simulated transmitter is gone");
        return false;
    }
    m_line->reset();
    m_rx.clear();
    m_sendsDue = 0;
    m_open = true;
    m_line->connected();
    return true;
}

void SimSerialPort::close()
{
    m_open = false;
    m_line->reset();
    m_rx.clear();
    m_sendsDue = 0;
}

bool SimSerialPort::parseSettings(const QString &text, int *baud, QString *error)
{
    const QStringList f = text.split(QLatin1Char(','));
    bool ok = f.size() == 4;
    int b = 0;
    if (ok) {
        b = f[0].trimmed().toInt(&ok);
        ok = ok && b > 0;
    }
    if (ok) {
        const QString p = f[1].trimmed().toLower();
        ok = p.size() == 1 && QStringLiteral("neoms").contains(p);
    }
    if (ok) {
        const int data = f[2].trimmed().toInt(&ok);
        ok = ok && data >= 4 && data <= 8;
    }
    if (ok) {
        const QString s = f[3].trimmed();
        ok = s == QLatin1String("1") || s == QLatin1String("1.5") || s == QLatin1String("2");
    }
    if (!ok) {
        if (error)
            *error = QStringLiteral("Invalid property value");
        return false;
    }
    if (baud)
        *baud = b;
    return true;
}

bool SimSerialPort::setSettings(const QString &settings)
{
    int baud = 0;
    if (!parseSettings(settings, &baud, &m_error))
        return false;
    m_settings = settings;
    m_line->setBaud(baud);
    return true;
}

bool SimSerialPort::setHandshaking(int mode)
{
    if (mode < 0 || mode > 3) {
        m_error = QStringLiteral("Invalid property value");
        return false;
    }
    m_handshaking = mode;
    return true;
}

qint64 SimSerialPort::write(const QByteArray &bytes)
{
    if (!m_open) {
        m_error = QStringLiteral("Operation valid only when the port is open");
        return -1;
    }
    if (bytes.isEmpty())
        return 0;
    // The send event comes from the event loop, as the real port's does.
    ++m_sendsDue;
    QMetaObject::invokeMethod(this, &SimSerialPort::emitSends, Qt::QueuedConnection);
    m_line->receive(bytes);
    return bytes.size();
}

QByteArray SimSerialPort::readAll()
{
    QByteArray r;
    r.swap(m_rx);
    return r;
}

void SimSerialPort::emitSends()
{
    // A send event always comes before the receive events of its reply.
    int n = m_sendsDue;
    m_sendsDue = 0;
    while (n-- > 0)
        emit commEvent(CommEvent::Send);
}

void SimSerialPort::deliver(const QByteArray &piece)
{
    if (!m_open)
        return;
    emitSends();
    m_rx += piece;
    emit commEvent(CommEvent::Receive);
}

void SimSerialPort::onHangUp()
{
    if (!m_open)
        return;
    emitSends();
    close();
    emit portLost(QStringLiteral("The simulated transmitter hung up"));
}

void SimSerialPort::setPacing(bool on)
{
    m_line->setPacing(on);
}

void SimSerialPort::setPieceMs(int ms)
{
    m_line->setPieceMs(ms);
}

bool SimSerialPort::pacing() const
{
    return m_line->pacing();
}

void SimSerialPort::setFaults(const SimFaults &faults)
{
    m_line->setFaults(faults);
}

SimFaults SimSerialPort::faults() const
{
    return m_line->faults();
}

void SimSerialPort::raiseEvent(int code)
{
    emit commEvent(code);
}
