#include "ptyserver.h"

#include "simdevice.h"
#include "simline.h"

#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {
constexpr int MaxOutput = 1 << 20; // a client that never reads does not grow us without end
}

PtyServer::PtyServer(SimDevice *device, QObject *parent)
    : QObject(parent), m_line(new SimLine(device, this))
{
    m_line->setPacing(true);
    connect(m_line, &SimLine::transmit, this, &PtyServer::send);
    connect(m_line, &SimLine::hangUp, this, &PtyServer::onHangUp);
}

PtyServer::~PtyServer()
{
    close();
}

bool PtyServer::open(QString *error)
{
    close();
    auto fail = [&](const char *what) {
        const QString why = QStringLiteral("%1: %2").arg(QLatin1String(what), QString::fromLocal8Bit(std::strerror(errno)));
        close();
        if (error)
            *error = why;
        return false;
    };
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (m_master < 0)
        return fail("posix_openpt");
    if (::grantpt(m_master) != 0)
        return fail("grantpt");
    if (::unlockpt(m_master) != 0)
        return fail("unlockpt");
    char name[256];
    if (::ptsname_r(m_master, name, sizeof name) != 0)
        return fail("ptsname");
    m_path = QString::fromLocal8Bit(name);
    const int flags = ::fcntl(m_master, F_GETFL);
    if (flags < 0 || ::fcntl(m_master, F_SETFL, flags | O_NONBLOCK) < 0)
        return fail("fcntl");

    m_slave = ::open(name, O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (m_slave < 0)
        return fail("open slave");
    // Raw: the client sees every byte unchanged (no echo, no CR/LF mapping,
    // 0x1A and 0x0D are plain data).
    termios tio {};
    if (::tcgetattr(m_slave, &tio) != 0)
        return fail("tcgetattr");
    ::cfmakeraw(&tio);
    if (::tcsetattr(m_slave, TCSANOW, &tio) != 0)
        return fail("tcsetattr");

    m_readNotifier = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    connect(m_readNotifier, &QSocketNotifier::activated, this, &PtyServer::onReadable);
    m_writeNotifier = new QSocketNotifier(m_master, QSocketNotifier::Write, this);
    m_writeNotifier->setEnabled(false);
    connect(m_writeNotifier, &QSocketNotifier::activated, this, &PtyServer::onWritable);
    m_line->reset();
    m_lineSpeed = readLineSpeed();
    return true;
}

int PtyServer::readLineSpeed() const
{
    static const struct {
        speed_t code;
        int baud;
    } speeds[] = {
        {B300, 300}, {B600, 600}, {B1200, 1200}, {B2400, 2400}, {B4800, 4800}, {B9600, 9600},
        {B19200, 19200}, {B38400, 38400}, {B57600, 57600}, {B115200, 115200}, {B230400, 230400},
    };
    termios tio {};
    if (m_slave < 0 || ::tcgetattr(m_slave, &tio) != 0)
        return 0;
    const speed_t code = ::cfgetospeed(&tio);
    for (const auto &s : speeds)
        if (s.code == code)
            return s.baud;
    return 0;
}

void PtyServer::close()
{
    delete m_readNotifier;
    m_readNotifier = nullptr;
    delete m_writeNotifier;
    m_writeNotifier = nullptr;
    if (m_master >= 0)
        ::close(m_master);
    if (m_slave >= 0)
        ::close(m_slave);
    m_master = -1;
    m_slave = -1;
    m_out.clear();
    m_line->reset();
}

void PtyServer::setBaud(int baud)
{
    m_line->setBaud(baud);
}

void PtyServer::setPacing(bool on)
{
    m_line->setPacing(on);
}

void PtyServer::setFaults(const SimFaults &faults)
{
    m_line->setFaults(faults);
}

void PtyServer::onReadable()
{
    // Settings on a pseudo-terminal change only what it reports; telling the
    // speed shows that a client's setting reached the device's side.
    const int speed = readLineSpeed();
    if (speed != m_lineSpeed) {
        m_lineSpeed = speed;
        emit lineSpeedChanged(speed);
    }
    char buf[4096];
    for (;;) {
        const ssize_t n = ::read(m_master, buf, sizeof buf);
        if (n > 0) {
            m_line->receive(QByteArray(buf, int(n)));
            if (m_master < 0)
                return; // the hang-up fault closed us
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN)
            return;
        // EIO would mean no slave is open; ours always is, but should it
        // happen, rest a moment instead of spinning on read events.
        m_readNotifier->setEnabled(false);
        QTimer::singleShot(100, this, [this] {
            if (m_readNotifier)
                m_readNotifier->setEnabled(true);
        });
        return;
    }
}

void PtyServer::send(const QByteArray &piece)
{
    if (m_master < 0)
        return;
    if (m_out.size() + piece.size() > MaxOutput)
        m_out.clear();
    m_out += piece;
    onWritable();
}

void PtyServer::onWritable()
{
    while (!m_out.isEmpty()) {
        const ssize_t n = ::write(m_master, m_out.constData(), size_t(m_out.size()));
        if (n > 0) {
            m_out.remove(0, int(n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        break; // full (EAGAIN): wait until the client reads
    }
    if (m_writeNotifier)
        m_writeNotifier->setEnabled(!m_out.isEmpty());
}

void PtyServer::onHangUp()
{
    close();
    emit hungUp();
}
