#pragma once
// The telnet side of a serial device server that speaks the com-port option
// (RFC 2217): escapes our data, strips the server's commands out of its data,
// answers its option negotiation, builds the line-setting requests and turns
// its line and modem notifications into the port's event codes. No socket
// here, so the byte handling can be checked on its own.
#include "lineparams.h"

#include <QByteArray>
#include <QList>
#include <bitset>

class TelnetCodec
{
public:
    enum : quint8 {
        IAC = 255, DONT = 254, DO = 253, WONT = 252, WILL = 251, SB = 250, SE = 240,
        Binary = 0, SuppressGoAhead = 3, ComPortOption = 44,
    };
    // Com-port option commands as the client sends them; the server answers
    // with the same code plus 100.
    enum : quint8 {
        SetBaudRate = 1, SetDataSize = 2, SetParity = 3, SetStopSize = 4, SetControl = 5,
        NotifyLineState = 6, NotifyModemState = 7, SetLineStateMask = 10, SetModemStateMask = 11,
        ServerOffset = 100,
    };

    // What the client says first: it will use the com-port option, and
    // binary in both directions (so CR and NUL pass unchanged).
    QByteArray start();
    // Once the server agreed: the masks ask for the line errors and every
    // modem-line change.
    static QByteArray stateMasks();
    // The server's word on the com-port option: -1 none yet, 0 refused,
    // 1 agreed (it said DO).
    int comPortAgreed() const { return m_agreed; }
    // The longest subnegotiation taken in; a longer one (a server that never
    // ends it) is given up and its bytes passed on as data, so the line
    // goes on and the reply assembly drops them.
    static constexpr int MaxSubnegotiation = 64;
    int pendingSubnegotiation() const { return int(m_sub.size()); }
    // Data for the wire: every 0xFF doubled.
    static QByteArray escape(const QByteArray &data);
    // One com-port subnegotiation, its payload escaped.
    static QByteArray comPort(quint8 command, const QByteArray &payload);
    // The requests that set the line: speed, data bits, parity, stop bits and
    // flow control (handshaking 0 none, 1 XON/XOFF, 2 or 3 RTS/CTS).
    static QByteArray lineRequests(const LineSettings &s, int handshaking);

    // Bytes from the server; returns the data in them. Commands may be split
    // anywhere across calls.
    QByteArray decode(const QByteArray &bytes);
    // Line event codes seen since the last call.
    QList<int> takeEvents();
    // Negotiation answers to send back to the server.
    QByteArray takeAnswers();
    void reset();

private:
    void command(quint8 verb, quint8 option);
    void subnegotiation();
    void giveUpLongSubnegotiation(QByteArray &data);
    void modemState(quint8 bits);
    void lineState(quint8 bits);

    enum State { Data, Iac, Verb, Sub, SubIac };
    State m_state = Data;
    quint8 m_verb = 0;
    QByteArray m_sub;
    QList<int> m_events;
    QByteArray m_answers;
    int m_modem = -1;        // last modem state the server told, -1 none yet
    int m_agreed = -1;
    std::bitset<256> m_will; // options we said WILL to
    std::bitset<256> m_do;   // options we said DO to
};
