#pragma once
// Serves a SimDevice on a pseudo-terminal, so that the program's real serial
// path (a QSerialPort on the slave side) talks to the simulated transmitter.
//
// The server keeps a descriptor of the slave open itself: without one, the
// master reports hang-up (EIO, endless read events) until a client opens the
// slave and again after every client closes it. With it, clients may come
// and go; bytes a client left unread stay queued for the next one.
#include <QByteArray>
#include <QObject>
#include <QString>

class QSocketNotifier;
class SimDevice;
class SimLine;
struct SimFaults;

class PtyServer : public QObject
{
    Q_OBJECT
public:
    explicit PtyServer(SimDevice *device, QObject *parent = nullptr);
    ~PtyServer() override;

    // Creates the pseudo-terminal; false with a reason.
    bool open(QString *error);
    void close();
    bool isOpen() const { return m_master >= 0; }
    // The path a client opens, such as /dev/pts/3.
    QString slavePath() const { return m_path; }

    void setBaud(int baud);
    void setPacing(bool on);
    void setFaults(const SimFaults &faults);
    SimLine *line() const { return m_line; }

    // The speed the client last set on the line (0 unknown).
    int lineSpeed() const { return m_lineSpeed; }

signals:
    // The hang-up fault closed the pseudo-terminal.
    void hungUp();
    // The client set another speed on the line; seen when its next bytes come.
    void lineSpeedChanged(int baud);

private:
    void onReadable();
    void onWritable();
    void send(const QByteArray &piece);
    void onHangUp();
    int readLineSpeed() const;

    SimLine *m_line;
    int m_master = -1;
    int m_slave = -1;
    QSocketNotifier *m_readNotifier = nullptr;
    QSocketNotifier *m_writeNotifier = nullptr;
    QByteArray m_out;
    QString m_path;
    int m_lineSpeed = 0;
};
