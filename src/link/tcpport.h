#pragma once
// SerialPort on a serial device server over TCP: "tcp://HOST:PORT" carries
// the bytes as they are; "rfc2217://HOST:PORT" speaks telnet with the
// com-port option, so the line settings reach the server's serial line and
// its line and modem changes come back as port events.
#include "serialport.h"
#include "telnetcodec.h"

#include <QList>

class QTcpSocket;

class TcpPort : public SerialPort
{
    Q_OBJECT
public:
    explicit TcpPort(const QString &name = QString(), QObject *parent = nullptr);
    ~TcpPort() override;

    // Whether name has one of the network schemes (it may still be malformed).
    static bool isNetworkName(const QString &name);
    // Splits "tcp://HOST:PORT" or "rfc2217://HOST:PORT"; false with a reason.
    static bool parseAddress(const QString &name, QString *host, quint16 *port, bool *telnet, QString *error);

    QString portName() const override { return m_name; }
    void setPortName(const QString &name) override { m_name = name; }
    bool open() override;
    void close() override;
    bool isOpen() const override { return m_open; }
    QString settings() const override { return m_settings; }
    bool setSettings(const QString &settings) override;
    bool setHandshaking(int mode) override;
    int handshaking() const override { return m_handshaking; }
    qint64 write(const QByteArray &bytes) override;
    QByteArray readAll() override;
    bool flush(int msecs) override;
    QString errorString() const override { return m_error; }
    void setExpectedReplyBytes(int bytes) override;
    // A device server sends a reply in the pieces it read from its serial
    // line; one held back by the network (a delayed acknowledgement holds a
    // small packet up to 40 ms) must not end the reply.
    int transitGapMs() const override { return 50; }
    void discardInput() override;

    // How long open() waits for the connection.
    void setConnectTimeout(int msecs) { m_connectTimeout = msecs; }

private:
    void onReadyRead();
    void onBytesWritten(qint64 n);
    void onGone();
    bool agreeComPort();
    bool speaksTelnet(const QByteArray &wire);
    void lose(const QString &reason);
    void send(const QByteArray &wire, qint64 dataBytes);
    void sendLineSettings();
    QString where() const;

    QTcpSocket *m_socket;
    TelnetCodec m_codec;
    QString m_name;
    QString m_host;
    quint16 m_tcpPort = 0;
    bool m_telnet = false;
    QString m_settings = QStringLiteral("9600,n,8,1");
    int m_handshaking = 0;
    QString m_error;
    QByteArray m_rx;
    // Pieces handed to the socket in order: wire bytes and whether they carry
    // the program's data (telnet requests of our own raise no send event).
    struct Piece {
        qint64 bytes;
        bool data;
    };
    QList<Piece> m_unsent;
    int m_connectTimeout = 5000;
    bool m_open = false;
    bool m_agreeing = false; // open() waits for the com-port option
    int m_leadBytes = 0;    // of a raw connection's first two, those seen
    int m_missing = 0; // bytes the awaited reply still needs at least
};
