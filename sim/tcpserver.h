#pragma once
// Serves a SimDevice on a TCP port as raw bytes, the way a serial device
// server would pass the line through, so that a network port can be tried
// without one. One client at a time: a second is turned away while the first
// is connected; when a client leaves, the line is reset for the next.
#include <QObject>
#include <QString>

class QTcpServer;
class QTcpSocket;
class SimDevice;
class SimLine;
struct SimFaults;

class TcpSimServer : public QObject
{
    Q_OBJECT
public:
    explicit TcpSimServer(SimDevice *device, QObject *parent = nullptr);
    ~TcpSimServer() override;

    // Listens on 127.0.0.1:port (0 picks a free one); false with a reason.
    bool listen(quint16 port, QString *error);
    quint16 port() const;
    // The port name a client opens, "tcp://127.0.0.1:PORT".
    QString address() const;

    void setBaud(int baud);
    void setPacing(bool on);
    void setFaults(const SimFaults &faults);
    SimLine *line() const { return m_line; }

signals:
    // The hang-up fault dropped the client; the server goes on listening.
    void hungUp();

private:
    void onNewConnection();
    void onClientGone();
    void onHangUp();

    SimLine *m_line;
    QTcpServer *m_server;
    QTcpSocket *m_client = nullptr;
    bool m_flood = false;
};
