#include "tcpserver.h"

#include "simdevice.h"
#include "simline.h"

#include <QTcpServer>
#include <QTcpSocket>

TcpSimServer::TcpSimServer(SimDevice *device, QObject *parent)
    : QObject(parent), m_line(new SimLine(device, this)), m_server(new QTcpServer(this))
{
    m_line->setPacing(true);
    connect(m_line, &SimLine::transmit, this, [this](const QByteArray &piece) {
        if (m_client)
            m_client->write(piece);
    });
    connect(m_line, &SimLine::hangUp, this, &TcpSimServer::onHangUp);
    connect(m_server, &QTcpServer::newConnection, this, &TcpSimServer::onNewConnection);
}

TcpSimServer::~TcpSimServer()
{
    if (m_client)
        m_client->disconnect(this);
}

bool TcpSimServer::listen(quint16 port, QString *error)
{
    if (m_server->listen(QHostAddress::LocalHost, port))
        return true;
    if (error)
        *error = m_server->errorString();
    return false;
}

quint16 TcpSimServer::port() const
{
    return m_server->serverPort();
}

QString TcpSimServer::address() const
{
    return QStringLiteral("tcp://127.0.0.1:%1").arg(port());
}

void TcpSimServer::setBaud(int baud)
{
    m_line->setBaud(baud);
}

void TcpSimServer::setPacing(bool on)
{
    m_line->setPacing(on);
}

void TcpSimServer::setFaults(const SimFaults &faults)
{
    m_line->setFaults(faults);
    m_flood = faults.flood;
}

void TcpSimServer::onNewConnection()
{
    while (QTcpSocket *s = m_server->nextPendingConnection()) {
        if (m_client) {
            s->abort(); // the line is taken
            s->deleteLater();
            continue;
        }
        m_client = s;
        m_line->reset();
        m_line->connected();
        connect(s, &QTcpSocket::readyRead, this, [this, s] {
            if (s == m_client)
                m_line->receive(s->readAll());
        });
        connect(s, &QTcpSocket::disconnected, this, &TcpSimServer::onClientGone);
        if (m_flood) {
            // One block queued at a time: the client's reading sets the pace.
            const QByteArray block(65536, 'A');
            connect(s, &QTcpSocket::bytesWritten, this, [s, block] {
                if (s->bytesToWrite() == 0)
                    s->write(block);
            });
            s->write(block);
        }
    }
}

void TcpSimServer::onClientGone()
{
    if (!m_client)
        return;
    m_client->disconnect(this);
    m_client->deleteLater();
    m_client = nullptr;
    m_line->reset();
}

void TcpSimServer::onHangUp()
{
    if (m_client)
        m_client->abort();
    onClientGone();
    emit hungUp();
}
