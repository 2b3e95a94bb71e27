#include "telnetcodec.h"

#include "serialport.h"

namespace {
QByteArray verb(quint8 v, quint8 option)
{
    QByteArray b;
    b.append(char(TelnetCodec::IAC)).append(char(v)).append(char(option));
    return b;
}
} // namespace

QByteArray TelnetCodec::start()
{
    m_will.set(ComPortOption);
    m_will.set(Binary);
    m_do.set(Binary);
    return verb(WILL, ComPortOption) + verb(WILL, Binary) + verb(DO, Binary);
}

QByteArray TelnetCodec::stateMasks()
{
    // Line state: overrun, parity, framing, break. Modem state: everything.
    return comPort(SetLineStateMask, QByteArray(1, char(0x1E))) + comPort(SetModemStateMask, QByteArray(1, char(0xFF)));
}

QByteArray TelnetCodec::escape(const QByteArray &data)
{
    if (!data.contains(char(IAC)))
        return data;
    QByteArray out;
    out.reserve(data.size() + 8);
    for (char c : data) {
        out.append(c);
        if (quint8(c) == IAC)
            out.append(c);
    }
    return out;
}

QByteArray TelnetCodec::comPort(quint8 command, const QByteArray &payload)
{
    QByteArray b;
    b.append(char(IAC)).append(char(SB)).append(char(ComPortOption)).append(char(command));
    b.append(escape(payload));
    b.append(char(IAC)).append(char(SE));
    return b;
}

QByteArray TelnetCodec::lineRequests(const LineSettings &s, int handshaking)
{
    QByteArray baud(4, 0);
    for (int i = 0; i < 4; ++i)
        baud[i] = char((quint32(s.baud) >> (8 * (3 - i))) & 0xFF);
    static const QString parities = QStringLiteral("noems"); // codes 1..5
    const char parity = char(parities.indexOf(s.parity) + 1);
    const char stop = s.stopBits == QLatin1String("2") ? 2 : s.stopBits == QLatin1String("1.5") ? 3 : 1;
    const char control = handshaking == 1 ? 2 : handshaking >= 2 ? 3 : 1;
    return comPort(SetBaudRate, baud) + comPort(SetDataSize, QByteArray(1, char(s.dataBits)))
        + comPort(SetParity, QByteArray(1, parity)) + comPort(SetStopSize, QByteArray(1, stop))
        + comPort(SetControl, QByteArray(1, control));
}

QByteArray TelnetCodec::decode(const QByteArray &bytes)
{
    QByteArray data;
    for (char ch : bytes) {
        const quint8 c = quint8(ch);
        switch (m_state) {
        case Data:
            if (c == IAC)
                m_state = Iac;
            else
                data.append(ch);
            break;
        case Iac:
            if (c == IAC) {
                data.append(ch);
                m_state = Data;
            } else if (c == SB) {
                m_sub.clear();
                m_state = Sub;
            } else if (c >= WILL) {
                m_verb = c;
                m_state = Verb;
            } else {
                m_state = Data; // NOP, GA and the like carry nothing for us
            }
            break;
        case Verb:
            command(m_verb, c);
            m_state = Data;
            break;
        case Sub:
            if (c == IAC) {
                m_state = SubIac;
                break;
            }
            m_sub.append(ch);
            giveUpLongSubnegotiation(data);
            break;
        case SubIac:
            if (c == SE) {
                subnegotiation();
                m_state = Data;
                break;
            }
            m_sub.append(ch); // IAC IAC inside: one 0xFF
            m_state = Sub;
            giveUpLongSubnegotiation(data);
            break;
        }
    }
    return data;
}

// A server that never ends its subnegotiation would have every later byte
// swallowed: past the cap what followed the option and its command goes on
// as data (a reply starts its line, so telnet's bytes must not lead it).
void TelnetCodec::giveUpLongSubnegotiation(QByteArray &data)
{
    if (m_sub.size() <= MaxSubnegotiation)
        return;
    data += m_sub.mid(2);
    m_sub.clear();
    m_state = Data;
}

void TelnetCodec::command(quint8 v, quint8 option)
{
    // Answer only what changes our side, so the two ends never echo each
    // other's answers back and forth.
    switch (v) {
    case DO:
        if (option == ComPortOption)
            m_agreed = 1;
        if (option == Binary || option == ComPortOption) {
            if (!m_will.test(option)) {
                m_will.set(option);
                m_answers += verb(WILL, option);
            }
        } else {
            m_answers += verb(WONT, option);
        }
        break;
    case WILL:
        if (option == Binary || option == SuppressGoAhead) {
            if (!m_do.test(option)) {
                m_do.set(option);
                m_answers += verb(DO, option);
            }
        } else {
            m_answers += verb(DONT, option);
        }
        break;
    case DONT:
        if (option == ComPortOption)
            m_agreed = 0;
        m_will.reset(option);
        break;
    case WONT:
        m_do.reset(option);
        break;
    default:
        break;
    }
}

void TelnetCodec::subnegotiation()
{
    if (m_sub.size() < 3 || quint8(m_sub[0]) != ComPortOption)
        return;
    const quint8 cmd = quint8(m_sub[1]);
    const quint8 value = quint8(m_sub[2]);
    if (cmd == ServerOffset + NotifyModemState)
        modemState(value);
    else if (cmd == ServerOffset + NotifyLineState)
        lineState(value);
}

// Bits: 0 CTS changed, 1 DSR changed, 2 ring ended, 3 CD changed, 4 CTS,
// 5 DSR, 6 ring, 7 CD. Servers do not always set the change bits, so a
// change against the last state told counts as well.
void TelnetCodec::modemState(quint8 bits)
{
    int changed = bits & 0x0B;
    if (m_modem >= 0) {
        const int diff = bits ^ m_modem;
        changed |= ((diff & 0x10) ? 0x01 : 0) | ((diff & 0x20) ? 0x02 : 0) | ((diff & 0x80) ? 0x08 : 0);
    }
    m_modem = bits;
    if (changed & 0x01)
        m_events << CommEvent::CTS;
    if (changed & 0x02)
        m_events << CommEvent::DSR;
    if (changed & 0x08)
        m_events << CommEvent::CD;
    if (bits & 0x04)
        m_events << CommEvent::Ring;
}

// Bits: 1 overrun, 2 parity, 3 framing, 4 break (the others report the
// state of the server's buffers, not errors).
void TelnetCodec::lineState(quint8 bits)
{
    if (bits & 0x02)
        m_events << CommEvent::Overrun;
    if (bits & 0x04)
        m_events << CommEvent::RxParity;
    if (bits & 0x08)
        m_events << CommEvent::Frame;
    if (bits & 0x10)
        m_events << CommEvent::Break;
}

QList<int> TelnetCodec::takeEvents()
{
    QList<int> e;
    e.swap(m_events);
    return e;
}

QByteArray TelnetCodec::takeAnswers()
{
    QByteArray a;
    a.swap(m_answers);
    return a;
}

void TelnetCodec::reset()
{
    *this = TelnetCodec();
}
