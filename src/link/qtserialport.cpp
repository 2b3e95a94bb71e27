#include "qtserialport.h"

#include <QSerialPort>
#include <QSocketNotifier>
#include <QTimer>

#ifdef Q_OS_LINUX
#include <linux/serial.h>
#include <sys/ioctl.h>
#endif
#ifdef Q_OS_UNIX
#include <termios.h>
#include <unistd.h>
#endif

namespace {
// Glib rounds a timer up to the next millisecond and a busy machine wakes
// late: listen again this much (and an eighth of the time) before the bytes
// can be in.
constexpr int kWakeMarginMs = 2;
}

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
    : SerialPort(parent), m_port(new QSerialPort(this)), m_linePoll(new QTimer(this)), m_wake(new QTimer(this)), m_name(name)
{
    m_linePoll->setObjectName(QStringLiteral("linePoll"));
    m_linePoll->setInterval(200);
    connect(m_linePoll, &QTimer::timeout, this, &QtSerialPort::pollLines);
    m_wake->setSingleShot(true);
    m_wake->setTimerType(Qt::PreciseTimer);
    connect(m_wake, &QTimer::timeout, this, [this] { listen(true); });
    connect(m_port, &QSerialPort::bytesWritten, this, [this] { emit commEvent(CommEvent::Send); });
    connect(m_port, &QSerialPort::readyRead, this, &QtSerialPort::onReadyRead);
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
    // Qt writes its own terminal settings back, read threshold included.
    m_threshold = 0;
    applyReadThreshold();
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
    m_drained.clear();
    m_missing = 0;
    m_threshold = 0;
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
    m_wake->stop();
    listen(true);
    m_readNotifier = nullptr; // Qt makes a new one when it opens again
    m_drained.clear();
    m_missing = 0;
    if (m_port->isOpen())
        m_port->close();
    m_port->clearError();
}

bool QtSerialPort::isOpen() const
{
    return m_port->isOpen();
}

// Qt hands written bytes to the driver on its next turn of the event loop;
// a frame's reply can only start once the frame is on the wire, so put it
// there now. The send event still comes from the event loop.
qint64 QtSerialPort::write(const QByteArray &bytes)
{
    if (!m_port->isOpen())
        return -1;
    const qint64 n = m_port->write(bytes);
    if (n > 0)
        m_port->flush();
    return n;
}

// While a read threshold is set the terminal driver hands on at most 64
// bytes per read, and Qt reads once per wake-up: take the rest that is
// already in now, or it would wake us again for each 64 bytes.
void QtSerialPort::onReadyRead()
{
    drainDriver();
    emit commEvent(CommEvent::Receive);
}

void QtSerialPort::drainDriver()
{
#ifdef Q_OS_UNIX
    if (m_threshold <= 1 || !m_port->isOpen())
        return;
    m_drained += m_port->readAll();
    const int fd = int(m_port->handle());
    char buf[512];
    for (;;) {
        const ssize_t n = ::read(fd, buf, sizeof buf);
        if (n <= 0)
            break; // EAGAIN: all in; a hang-up is Qt's to report
        m_drained.append(buf, int(n));
    }
#endif
}

QByteArray QtSerialPort::readAll()
{
    // Bytes held below the threshold count too for whoever reads now (the
    // link before it drops what a timed-out reply left).
    drainDriver();
    QByteArray bytes;
    bytes.swap(m_drained);
    bytes += m_port->readAll();
    if (m_missing > 0 && !bytes.isEmpty()) {
        m_missing = qMax(0, m_missing - int(bytes.size()));
        applyReadThreshold();
    }
    return bytes;
}

void QtSerialPort::discardInput()
{
    m_missing = 0;
    m_drained.clear();
    if (!m_port->isOpen())
        return;
    applyReadThreshold();
    m_port->clear(QSerialPort::Input);
}

void QtSerialPort::setExpectedReplyBytes(int bytes)
{
    m_missing = qMax(0, bytes);
    applyReadThreshold();
}

// With VTIME 0 the terminal driver reports the line readable only once VMIN
// bytes are in, so a reply wakes us when it can be complete instead of once
// per piece the UART hands on. A reply that comes short never reaches VMIN:
// the reply time-out ends it and clears the threshold.
void QtSerialPort::applyReadThreshold()
{
#ifdef Q_OS_UNIX
    const int want = readThreshold(m_missing);
    termios tio {};
    const int fd = int(m_port->handle());
    if (want != m_threshold && m_port->isOpen() && ::tcgetattr(fd, &tio) == 0) {
        tio.c_cc[VMIN] = cc_t(want);
        tio.c_cc[VTIME] = 0;
        if (::tcsetattr(fd, TCSANOW, &tio) == 0)
            m_threshold = want;
    }
#endif
    sleepThroughThreshold();
}

// The driver still wakes a waiting poll for every piece the UART hands on,
// only to find the threshold not reached. The bytes cannot cross the wire
// faster than the baud rate allows, so stop listening until the threshold
// can have been reached, less a margin for the timer.
void QtSerialPort::sleepThroughThreshold()
{
    LineSettings s;
    parseLineSettings(m_settings, &s, nullptr);
    const int bitsPerChar = 1 + s.dataBits + (s.parity == QLatin1Char('n') ? 0 : 1) + 1;
    const int full = m_threshold > 1 ? int(qint64(m_threshold) * bitsPerChar * 1000 / qMax(1, s.baud)) : 0;
    const int ms = full - kWakeMarginMs - full / 8;
    if (ms <= 0 || !m_port->isOpen()) {
        m_wake->stop();
        listen(true);
        return;
    }
    listen(false);
    m_wake->start(ms);
}

void QtSerialPort::listen(bool on)
{
    if (!m_readNotifier && on)
        return;
    if (!m_readNotifier && m_port->isOpen()) {
        // Qt Serial Port has no call for it: its read notifier is its child.
        for (QSocketNotifier *n : m_port->findChildren<QSocketNotifier *>())
            if (n->type() == QSocketNotifier::Read)
                m_readNotifier = n;
    }
    if (m_readNotifier && m_readNotifier->isEnabled() != on)
        m_readNotifier->setEnabled(on);
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
