#include "qtserialport.h"

#include <QSerialPort>
#include <QTimer>

#ifdef Q_OS_LINUX
#include <linux/serial.h>
#include <sys/ioctl.h>
#endif

namespace {

#ifdef Q_OS_LINUX
int systemIoctl(int fd, unsigned long request, void *arg)
{
    return ::ioctl(fd, request, arg);
}
QtSerialPort::LineIoctl lineIoctl = systemIoctl;
#endif

} // namespace

void QtSerialPort::setLineIoctl(LineIoctl query)
{
#ifdef Q_OS_LINUX
    lineIoctl = query ? query : systemIoctl;
#else
    Q_UNUSED(query);
#endif
}

QtSerialPort::QtSerialPort(const QString &name, QObject *parent)
    : SerialPort(parent), m_port(new QSerialPort(this)), m_linePoll(new QTimer(this)), m_name(name)
{
    m_linePoll->setObjectName(QStringLiteral("linePoll"));
    m_linePoll->setInterval(200);
    connect(m_linePoll, &QTimer::timeout, this, &QtSerialPort::pollLines);
    connect(m_port, &QSerialPort::bytesWritten, this, [this] { emit commEvent(CommEvent::Send); });
    connect(m_port, &QSerialPort::readyRead, this, [this] { emit commEvent(CommEvent::Receive); });
    connect(m_port, &QSerialPort::errorOccurred, this, [this](QSerialPort::SerialPortError e) { onError(int(e)); });
}

QtSerialPort::~QtSerialPort()
{
    m_port->disconnect(this);
    m_port->close();
}

QString QtSerialPort::systemName(const QString &name)
{
    if (name.startsWith(QLatin1String("Com"), Qt::CaseInsensitive)) {
        bool ok = false;
        const int n = name.mid(3).toInt(&ok);
        if (ok && n >= 1)
            return QStringLiteral("/dev/ttyS%1").arg(n - 1);
    }
    return name;
}

void QtSerialPort::setPortName(const QString &name)
{
    m_name = name;
}

bool QtSerialPort::setSettings(const QString &settings)
{
    LineSettings s;
    if (!parseLineSettings(settings, &s, &m_error))
        return false;
    const QString old = m_settings;
    m_settings = settings;
    if (m_port->isOpen() && !apply()) {
        m_settings = old;
        apply();
        return false;
    }
    return true;
}

bool QtSerialPort::setHandshaking(int mode)
{
    if (mode < 0 || mode > 3) {
        m_error = QStringLiteral("Invalid property value");
        return false;
    }
    m_handshaking = mode;
    if (m_port->isOpen())
        return apply();
    return true;
}

bool QtSerialPort::apply()
{
    LineSettings s;
    parseLineSettings(m_settings, &s, nullptr);
    QSerialPort::Parity parity = QSerialPort::NoParity;
    switch (s.parity.toLatin1()) {
    case 'e': parity = QSerialPort::EvenParity; break;
    case 'o': parity = QSerialPort::OddParity; break;
    case 'm': parity = QSerialPort::MarkParity; break;
    case 's': parity = QSerialPort::SpaceParity; break;
    default: break;
    }
    const QSerialPort::StopBits stop = s.stopBits == QLatin1String("2") ? QSerialPort::TwoStop
        : s.stopBits == QLatin1String("1.5") ? QSerialPort::OneAndHalfStop : QSerialPort::OneStop;
    const QSerialPort::FlowControl flow = m_handshaking == 2 || m_handshaking == 3
        ? QSerialPort::HardwareControl
        : m_handshaking == 1 ? QSerialPort::SoftwareControl : QSerialPort::NoFlowControl;
    bool ok = m_port->setBaudRate(s.baud);
    ok = m_port->setDataBits(QSerialPort::DataBits(s.dataBits)) && ok;
    ok = m_port->setParity(parity) && ok;
    ok = m_port->setStopBits(stop) && ok;
    ok = m_port->setFlowControl(flow) && ok;
    if (!ok) {
        m_error = m_port->errorString();
        m_port->clearError();
    }
    return ok;
}

bool QtSerialPort::open()
{
    if (m_port->isOpen())
        return true;
    if (m_name.isEmpty()) {
        m_error = QStringLiteral("No port is chosen");
        return false;
    }
    m_port->setPortName(systemName(m_name));
    if (!m_port->open(QIODevice::ReadWrite)) {
        m_error = m_port->errorString();
        if (m_error.isEmpty())
            m_error = QStringLiteral("Port is not available");
        m_port->clearError();
        return false;
    }
    m_lost = false;
    // A pseudo-terminal takes only 8 data bits and no parity; a setting it
    // refuses does not stop the line from working, so the port stays open.
    apply();
    // Whatever the device sent while nobody listened (a reply that came
    // after the last program gave up on it) belongs to no request of ours.
    m_port->clear(QSerialPort::Input);
    m_lastLines = -1;
    m_linesRefused = false;
    m_countsRefused = false;
    m_haveCounts = false;
    pollLines();
    return true;
}

void QtSerialPort::close()
{
    m_linePoll->stop();
    if (m_port->isOpen())
        m_port->close();
    m_port->clearError();
}

bool QtSerialPort::isOpen() const
{
    return m_port->isOpen();
}

qint64 QtSerialPort::write(const QByteArray &bytes)
{
    return m_port->isOpen() ? m_port->write(bytes) : -1;
}

QByteArray QtSerialPort::readAll()
{
    return m_port->readAll();
}

void QtSerialPort::discardInput()
{
    if (m_port->isOpen())
        m_port->clear(QSerialPort::Input);
}

bool QtSerialPort::flush(int msecs)
{
    if (!m_port->isOpen())
        return true;
    const bool written = waitWritten(m_port, msecs);
    return m_port->isOpen() && written;
}

// Qt has no event for modem-line changes nor for line errors: poll the
// modem lines and the UART's error counters on a real port. A
// pseudo-terminal (and some USB adapters) refuses either query; stop asking
// for what was refused, and stop the poll when both were.
void QtSerialPort::pollLines()
{
    if (!m_port->isOpen())
        return;
    const bool lines = !m_linesRefused && pollModemLines();
    const bool counts = !m_countsRefused && pollErrorCounts();
    // An event's handler may have closed the port.
    if ((!lines && !counts) || !m_port->isOpen())
        m_linePoll->stop();
    else if (!m_linePoll->isActive())
        m_linePoll->start();
}

bool QtSerialPort::pollModemLines()
{
#ifdef Q_OS_LINUX
    int bits = 0;
    if (lineIoctl(int(m_port->handle()), TIOCMGET, &bits) != 0) {
        m_linesRefused = true;
        return false;
    }
    const int lines = bits & (TIOCM_CTS | TIOCM_DSR | TIOCM_CD | TIOCM_RI);
    if (m_lastLines >= 0) {
        const int changed = lines ^ m_lastLines;
        if (changed & TIOCM_CTS)
            emit commEvent(CommEvent::CTS);
        if (changed & TIOCM_DSR)
            emit commEvent(CommEvent::DSR);
        if (changed & TIOCM_CD)
            emit commEvent(CommEvent::CD);
        // The ring event marks a ring starting, not one ending.
        if ((changed & TIOCM_RI) && (lines & TIOCM_RI))
            emit commEvent(CommEvent::Ring);
    }
    m_lastLines = lines;
    return true;
#else
    m_linesRefused = true;
    return false;
#endif
}

QList<int> QtSerialPort::errorEvents(const ErrorCounts &before, const ErrorCounts &now)
{
    QList<int> events;
    if (now.brk != before.brk)
        events << CommEvent::Break;
    if (now.frame != before.frame)
        events << CommEvent::Frame;
    if (now.overrun != before.overrun)
        events << CommEvent::Overrun;
    if (now.parity != before.parity)
        events << CommEvent::RxParity;
    return events;
}

bool QtSerialPort::pollErrorCounts()
{
#ifdef Q_OS_LINUX
    serial_icounter_struct ic {};
    if (lineIoctl(int(m_port->handle()), TIOCGICOUNT, &ic) != 0) {
        m_countsRefused = true;
        return false;
    }
    ErrorCounts now;
    now.brk = ic.brk;
    now.frame = ic.frame;
    now.overrun = ic.overrun;
    now.parity = ic.parity;
    // The first reading after open is the baseline: errors counted before
    // we opened the port are not ours.
    const QList<int> events = m_haveCounts ? errorEvents(m_lastCounts, now) : QList<int>();
    m_lastCounts = now;
    m_haveCounts = true;
    for (int code : events)
        emit commEvent(code);
    return true;
#else
    m_countsRefused = true;
    return false;
#endif
}

QString QtSerialPort::lostText(const QString &portName)
{
    return QStringLiteral("The connection on %1 was lost: the device or its cable went away.").arg(portName);
}

void QtSerialPort::onError(int error)
{
    switch (QSerialPort::SerialPortError(error)) {
    case QSerialPort::ReadError:
    case QSerialPort::ResourceError:
    case QSerialPort::WriteError: {
        // A hang-up makes Qt repeat the error endlessly while the port stays
        // "open": close at once and report once, outside this signal.
        if (m_lost)
            return;
        m_lost = true;
        // On a hang-up Qt reports the errno left by an earlier call (often
        // the modem-line poll's "Inappropriate ioctl for device"), which
        // would send the technician the wrong way: say what happened.
        const QString reason = lostText(m_name);
        m_error = reason;
        m_port->clearError();
        close();
        QTimer::singleShot(0, this, [this, reason] {
            emit portLost(reason);
        });
        break;
    }
    default:
        break;
    }
}
