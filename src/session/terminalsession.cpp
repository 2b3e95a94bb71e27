#include "session/terminalsession.h"

#include "session/configreadout.h"
#include "common/prompter.h"
#include "link/devicelink.h"

#include <QDateTime>
#include <QDir>

TerminalSession::TerminalSession(Prompter *prompter, SerialPort *port)
    : folder(QDir::currentPath()), m_prompter(prompter), m_link(std::make_unique<DeviceLink>(prompter))
{
    m_link->setPort(port);
    QObject::connect(m_link.get(), &DeviceLink::ramDataWritten, m_link.get(),
                     [this](const QString &address, const QString &count, const QString &data,
                            const QString &readBack, bool verified) {
                         journalWrite(address, count, data, readBack, verified);
                     });
}

TerminalSession::~TerminalSession() = default;

bool TerminalSession::readOut(const std::function<void(int)> &progress)
{
    ConfigReadout readout(*m_link, m_state, m_prompter);
    readout.progress = progress;
    if (!readout.run())
        return false;
    const QString port = m_link->port() ? m_link->port()->portName() : QString();
    if (m_asFound && m_asFoundPort != port)
        m_asFound.reset();
    if (!m_asFound) {
        m_asFound = std::make_unique<TerminalState>(m_state);
        m_asFoundPort = port;
        m_asFoundTime = QDateTime::currentDateTime();
    }
    return true;
}

bool TerminalSession::synchronize()
{
    const OperationGate::Hold hold = m_gate.begin(QStringLiteral("readout"));
    if (!hold)
        return false;
    return readOut([this](int v) { progressSteps << v; });
}

void TerminalSession::setStatusText(const QString &text)
{
    m_status = text;
    statusHistory << text;
}

bool TerminalSession::autoUpdateOn() const
{
    return m_link->AutoUpdateOn;
}

void TerminalSession::setAutoUpdate(bool on)
{
    m_link->AutoUpdateOn = on;
}

namespace {

// A byte of a hex text that holds the memory from `first` on; "" outside it.
QString byteOf(const QString &hex, int first, int address)
{
    const int at = (address - first) * 2;
    return at >= 0 && at + 2 <= hex.size() ? hex.mid(at, 2) : QString();
}

} // namespace

QString TerminalSession::imageByte(int a) const
{
    const TerminalState &s = m_state;
    if (a >= 0x100 && a < 0x150 && s.MemoryImage0100.size() >= 160)
        return byteOf(s.MemoryImage0100, 0x100, a);
    if (a >= 0x1E5 && a < 0x1EB && s.MemoryImage01E5.size() >= 12)
        return byteOf(s.MemoryImage01E5, 0x1E5, a);
    if (a >= 0x170 && a < 0x174)
        return byteOf(s.DensityHex, 0x170, a);
    if (a >= 0x17C && a < 0x180)
        return byteOf(s.UDFactorHex, 0x17C, a);
    if (a == 0x1E4)
        return byteOf(s.EngUnitHex, 0x1E4, a);
    if (a >= 0x1FE && a < 0x200)
        return byteOf(s.DataPointerHex, 0x1FE, a);
    return QString();
}

QString TerminalSession::knownData(const QString &address, int width) const
{
    bool ok = false;
    const int first = address.toInt(&ok, 16);
    if (!ok || width <= 0)
        return QString();
    QString out;
    for (int a = first; a < first + width; ++a) {
        const QString image = imageByte(a);
        const auto w = m_written.constFind(a);
        const QString byte = w != m_written.constEnd() && w->imageThen == image ? w->value : image;
        if (byte.size() != 2)
            return QString();
        out += byte;
    }
    return out.toUpper();
}

void TerminalSession::journalWrite(const QString &address, const QString &byteCount, const QString &data,
                                   const QString &readBack, bool verified)
{
    JournalRecord r;
    const QDateTime now = QDateTime::currentDateTime();
    r.time = now.toOffsetFromUtc(now.offsetFromUtc()).toString(Qt::ISODate);
    r.port = m_link->port() ? m_link->port()->portName() : QString();
    r.operation = m_gate.operation();
    r.source = journalSource ? journalSource() : QString();
    r.address = address.toUpper();
    r.width = byteCount.toInt(nullptr, 16);
    r.before = knownData(r.address, r.width);
    r.written = data;
    r.verified = verified;
    r.readBack = readBack;

    // What the device holds now, for the next record's "before".
    const int first = r.address.toInt(nullptr, 16);
    const QString held = readBack.size() == data.size() ? readBack.toUpper() : QString();
    for (int i = 0; i < data.size() / 2; ++i)
        m_written.insert(first + i, {held.mid(2 * i, 2), imageByte(first + i)});

    m_sessionRecords << r;
    QString error;
    if (!m_journal.append(r, &error) && !m_journalReported) {
        m_journalReported = true;
        if (m_prompter)
            m_prompter->message(QStringLiteral("The change journal cannot be written; device writes go on "
                                               "without it.\r") + error,
                                QStringLiteral("System Monitor"), Prompter::Exclamation);
    }
}
