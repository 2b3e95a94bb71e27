#include "tcpport.h"

#include <QEventLoop>
#include <QTcpSocket>
#include <QTimer>
#include <QRegularExpression>

namespace {
// How long a server that speaks the com-port option takes to agree to it.
const int kAgreeMs = 1000;
const QString kTcp = QStringLiteral("tcp://");
const QString kTelnet = QStringLiteral("rfc2217://");
// A reply is a few hundred characters. What the program has not taken yet is
// held to this much; past it the socket is not read, and a server that floods
// is held back by the connection's own flow control, not by our memory.
const qint64 kRxCap = 4096;
const qint64 kSocketBuffer = 16384;
}

TcpPort::TcpPort(const QString &name, QObject *parent)
    : SerialPort(parent), m_socket(new QTcpSocket(this)), m_name(name)
{
    m_socket->setReadBufferSize(kSocketBuffer);
    connect(m_socket, &QTcpSocket::readyRead, this, &TcpPort::onReadyRead);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &TcpPort::onBytesWritten);
    connect(m_socket, &QTcpSocket::disconnected, this, &TcpPort::onGone);
    connect(m_socket, &QTcpSocket::errorOccurred, this, &TcpPort::onGone);
}

TcpPort::~TcpPort()
{
    m_socket->disconnect(this);
    m_socket->abort();
}

bool TcpPort::isNetworkName(const QString &name)
{
    const QString n = name.trimmed();
    return n.startsWith(kTcp, Qt::CaseInsensitive) || n.startsWith(kTelnet, Qt::CaseInsensitive);
}

bool TcpPort::parseAddress(const QString &name, QString *host, quint16 *port, bool *telnet, QString *error)
{
    const bool isTelnet = name.startsWith(kTelnet, Qt::CaseInsensitive);
    const QString rest = name.mid(isTelnet ? kTelnet.size() : kTcp.size());
    QString h;
    QString portText;
    bool hasPort = false;
    if (rest.startsWith(QLatin1Char('['))) { // [IPv6]:PORT
        const int close = rest.indexOf(QLatin1Char(']'));
        h = close > 0 ? rest.mid(1, close - 1) : QString();
        hasPort = close > 0 && rest.mid(close + 1, 1) == QLatin1String(":");
        portText = hasPort ? rest.mid(close + 2) : QString();
    } else {
        const int colon = rest.indexOf(QLatin1Char(':'));
        h = rest.left(colon);
        hasPort = colon >= 0;
        portText = rest.mid(colon + 1);
    }
    bool digits = !portText.isEmpty();
    for (const QChar c : portText)
        digits = digits && c >= QLatin1Char('0') && c <= QLatin1Char('9');
    const long p = digits && portText.size() <= 6 ? portText.toLong() : -1;
    QString why;
    if (name.contains(QRegularExpression(QStringLiteral("\\s"))))
        why = QStringLiteral("the address holds a blank");
    else if (!isTelnet && !name.startsWith(kTcp, Qt::CaseInsensitive))
        why = QStringLiteral("the address must start with tcp:// or rfc2217://");
    else if (h.isEmpty())
        why = QStringLiteral("no host name");
    else if (h.contains(QRegularExpression(QStringLiteral("[/?#@\\[\\]]"))))
        why = QStringLiteral("only HOST:PORT may follow the scheme");
    else if (!hasPort || portText.isEmpty())
        why = QStringLiteral("no TCP port number (HOST:PORT, 1 to 65535)");
    else if (!digits)
        why = QStringLiteral("the TCP port \"%1\" is not a number").arg(portText);
    else if (p < 1 || p > 65535)
        why = QStringLiteral("the TCP port %1 is out of range (1 to 65535)").arg(portText);
    if (!why.isEmpty()) {
        if (error)
            *error = QStringLiteral("Invalid port address %1: %2").arg(name, why);
        return false;
    }
    if (host)
        *host = h;
    if (port)
        *port = quint16(p);
    if (telnet)
        *telnet = isTelnet;
    return true;
}

QString TcpPort::where() const
{
    return m_host.contains(QLatin1Char(':')) ? QStringLiteral("[%1]:%2").arg(m_host).arg(m_tcpPort)
                                             : QStringLiteral("%1:%2").arg(m_host).arg(m_tcpPort);
}

bool TcpPort::open()
{
    if (m_open)
        return true;
    if (!parseAddress(m_name, &m_host, &m_tcpPort, &m_telnet, &m_error))
        return false;
    m_socket->abort();
    m_rx.clear();
    m_unsent.clear();
    m_codec.reset();

    // The wait for the connection is a nested loop that the connection, a
    // refusal or the time limit ends.
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(m_socket, &QTcpSocket::connected, &loop, &QEventLoop::quit);
    connect(m_socket, &QTcpSocket::errorOccurred, &loop, &QEventLoop::quit);
    m_socket->connectToHost(m_host, m_tcpPort);
    limit.start(m_connectTimeout);
    if (m_socket->state() != QAbstractSocket::ConnectedState && m_socket->state() != QAbstractSocket::UnconnectedState)
        loop.exec();

    if (m_socket->state() != QAbstractSocket::ConnectedState) {
        const QString why = limit.isActive() ? m_socket->errorString()
                                             : QStringLiteral("no answer within %1 s").arg(m_connectTimeout / 1000.0);
        m_error = QStringLiteral("Cannot connect to %1: %2").arg(where(), why);
        m_socket->abort();
        return false;
    }
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_open = true;
    m_missing = 0;
    m_leadBytes = 0;
    if (m_telnet && !agreeComPort()) {
        m_open = false;
        m_socket->abort();
        return false;
    }
    return true;
}

// Nothing but our offer goes out until the server agrees to the com-port
// option: on a raw server the line settings would reach the device as data.
// Its acknowledgements of the settings are not awaited: some never send the
// ones for the modem lines, and the line works without them.
bool TcpPort::agreeComPort()
{
    send(m_codec.start(), 0);
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(m_socket, &QTcpSocket::readyRead, &loop, [this, &loop] {
        if (m_codec.comPortAgreed() >= 0)
            loop.quit();
    });
    connect(m_socket, &QTcpSocket::disconnected, &loop, &QEventLoop::quit);
    limit.start(kAgreeMs);
    m_agreeing = true;
    if (m_codec.comPortAgreed() < 0)
        loop.exec();
    m_agreeing = false;
    m_open = m_open && m_socket->state() == QAbstractSocket::ConnectedState;
    if (m_codec.comPortAgreed() == 1 && m_open) {
        send(TelnetCodec::stateMasks(), 0);
        sendLineSettings();
        return true;
    }
    m_error = QStringLiteral("The server at %1 did not agree to the com-port option within %2 s: "
                             "it is no RFC 2217 server; use tcp://%1")
                  .arg(where())
                  .arg(kAgreeMs / 1000.0);
    return false;
}

void TcpPort::close()
{
    m_open = false;
    m_rx.clear();
    m_unsent.clear();
    m_missing = 0;
    // What is still queued leaves in the background; a later open starts over.
    m_socket->disconnectFromHost();
}

void TcpPort::sendLineSettings()
{
    LineSettings s;
    parseLineSettings(m_settings, &s, nullptr);
    send(TelnetCodec::lineRequests(s, m_handshaking), 0);
}

bool TcpPort::setSettings(const QString &settings)
{
    if (!parseLineSettings(settings, nullptr, &m_error))
        return false;
    m_settings = settings;
    if (m_open && m_telnet)
        sendLineSettings();
    return true;
}

bool TcpPort::setHandshaking(int mode)
{
    if (mode < 0 || mode > 3) {
        m_error = QStringLiteral("Invalid property value");
        return false;
    }
    m_handshaking = mode;
    if (m_open && m_telnet)
        sendLineSettings();
    return true;
}

void TcpPort::send(const QByteArray &wire, qint64 dataBytes)
{
    if (wire.isEmpty())
        return;
    m_unsent.append({wire.size(), dataBytes > 0});
    m_socket->write(wire);
}

qint64 TcpPort::write(const QByteArray &bytes)
{
    if (!m_open) {
        m_error = QStringLiteral("Operation valid only when the port is open");
        return -1;
    }
    if (bytes.isEmpty())
        return 0;
    send(m_telnet ? TelnetCodec::escape(bytes) : bytes, bytes.size());
    return bytes.size();
}

QByteArray TcpPort::readAll()
{
    QByteArray b;
    b.swap(m_rx);
    // Bytes held in the socket while the program did not read come next.
    if (m_open && m_socket->bytesAvailable() > 0)
        QTimer::singleShot(0, this, &TcpPort::onReadyRead);
    return b;
}

void TcpPort::discardInput()
{
    m_rx.clear();
    m_missing = 0;
    // Only what the socket holds already: its buffer is bounded. The telnet
    // commands in it are still read and answered.
    if (!m_open)
        return;
    if (!m_telnet) {
        m_socket->skip(m_socket->bytesAvailable());
        return;
    }
    while (m_socket->bytesAvailable() > 0)
        m_codec.decode(m_socket->read(kRxCap));
    send(m_codec.takeAnswers(), 0);
}

bool TcpPort::flush(int msecs)
{
    if (!m_open)
        return true;
    const bool written = waitWritten(m_socket, msecs);
    return m_open && written;
}

void TcpPort::setExpectedReplyBytes(int bytes)
{
    m_missing = qMax(0, bytes);
}

void TcpPort::onReadyRead()
{
    if (!m_open || m_rx.size() >= kRxCap)
        return;
    const QByteArray wire = m_socket->read(kRxCap - m_rx.size());
    if (wire.isEmpty())
        return;
    if (!m_telnet) {
        if (speaksTelnet(wire)) {
            lose(QStringLiteral("The server at %1 speaks telnet (RFC 2217): use rfc2217://%1").arg(where()));
            return;
        }
        // A raw server passes a reply on in as many segments as its line
        // handed it pieces: hold them until the reply can be complete. (The
        // socket's low-water mark would hold them in the kernel, but unread
        // bytes are acknowledged late and a server that waits for the
        // acknowledgement before its next small segment stalls.)
        m_rx += wire;
        m_missing = qMax(0, m_missing - int(wire.size()));
        if (m_missing == 0 && !m_rx.isEmpty())
            emit commEvent(CommEvent::Receive);
        return;
    }
    m_rx += m_codec.decode(wire);
    send(m_codec.takeAnswers(), 0);
    const QList<int> events = m_codec.takeEvents();
    for (int code : events)
        emit commEvent(code);
    if (!m_rx.isEmpty() && m_open)
        emit commEvent(CommEvent::Receive);
}

// One send event per piece of the program's data that reached the socket.
void TcpPort::onBytesWritten(qint64 n)
{
    bool data = false;
    while (n > 0 && !m_unsent.isEmpty()) {
        Piece &p = m_unsent.first();
        const qint64 take = qMin(n, p.bytes);
        p.bytes -= take;
        n -= take;
        if (p.bytes == 0) {
            data = data || p.data;
            m_unsent.removeFirst();
        }
    }
    if (data && m_open)
        emit commEvent(CommEvent::Send);
}

void TcpPort::onGone()
{
    if (!m_open || m_agreeing)
        return; // our own close, or a failure open() reports itself
    // Report once, with the port already closed, outside the socket's signal.
    QString why = m_socket->errorString();
    if (m_socket->error() == QAbstractSocket::RemoteHostClosedError || why.isEmpty())
        why = QStringLiteral("the server closed the connection");
    lose(QStringLiteral("The connection to %1 was lost: %2.").arg(where(), why));
}

// A telnet server negotiates the moment the connection opens: 0xFF and a
// command (SB, WILL, WONT, DO, DONT) are its first two bytes. Once anything
// else came, a 0xFF on the raw line is noise like any other byte.
bool TcpPort::speaksTelnet(const QByteArray &wire)
{
    for (const char ch : wire) {
        const quint8 c = quint8(ch);
        if (m_leadBytes >= 2)
            return false;
        if (m_leadBytes++ == 1)
            return c >= TelnetCodec::SB && c < TelnetCodec::IAC;
        if (c != TelnetCodec::IAC)
            m_leadBytes = 2;
    }
    return false;
}

void TcpPort::lose(const QString &reason)
{
    m_error = reason;
    m_open = false;
    m_rx.clear();
    m_unsent.clear();
    m_socket->abort();
    QTimer::singleShot(0, this, [this, reason] { emit portLost(reason); });
}
