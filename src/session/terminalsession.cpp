#include "session/terminalsession.h"

#include "session/configreadout.h"
#include "session/parametermap.h"
#include "common/prompter.h"
#include "link/devicelink.h"

#include <QDateTime>
#include <QDir>

TerminalSession::TerminalSession(Prompter *prompter, SerialPort *port)
    : folder(QDir::currentPath()), m_prompter(prompter), m_link(std::make_unique<DeviceLink>(prompter))
{
    m_link->setPort(port);
    DeviceLink *link = m_link.get();
    QObject::connect(link, &DeviceLink::ramDataWriting, link,
                     [this](const QString &address, const QString &count, const QString &data) {
                         writing(address, count, data);
                     });
    QObject::connect(link, &DeviceLink::ramDataWritten, link,
                     [this](const QString &, const QString &, const QString &data, const QString &readBack,
                            bool verified) { written(data, readBack, JournalRecord::Done, verified); });
    QObject::connect(link, &DeviceLink::memoryWritten, link,
                     [this](const QString &, const QString &, const QString &data) {
                         written(data, QString(), JournalRecord::NotVerified, false);
                     });
    // What a whole read of the configuration found is what the next write
    // there replaces (the flow log above it is no one's "before").
    QObject::connect(link, &DeviceLink::memoryRead, link, [this](const QString &address, const QString &data) {
        const int first = address.toInt(nullptr, 16);
        for (int i = 0; i < data.size() / 2 && first + i < 0x200; ++i)
            m_written.insert(first + i, {data.mid(2 * i, 2).toUpper(), imageByte(first + i)});
    });
    QObject::connect(link, &DeviceLink::portStateChanged, link, [this](bool open) {
        if (open)
            newServiceRecord();
    });
}

void TerminalSession::newServiceRecord()
{
    m_asFound.reset();
    m_sessionRecords.clear();
}

TerminalSession::~TerminalSession() = default;

bool TerminalSession::readOut(const std::function<void(int)> &progress)
{
    ConfigReadout readout(*m_link, m_state, m_prompter);
    readout.progress = progress;
    if (!readout.run())
        return false;
    if (!m_asFound) {
        m_asFound = std::make_unique<TerminalState>(m_state);
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

QString TerminalSession::deviceRows(const std::function<QString(const QString &, int)> &known)
{
    QStringList rows;
    for (const QString &address : ParameterMap::tableAddresses()) {
        const Parameter *p = ParameterMap::find(address);
        // The live words move on their own; the access code stays out of the record.
        if (!p || p->encoding == Parameter::ResetOnly || p->encoding == Parameter::HexPointer
            || address == QLatin1String("0138"))
            continue;
        rows << address + QLatin1Char('=') + known(address, p->width);
    }
    return rows.join(QLatin1Char(','));
}

QString TerminalSession::deviceRows() const
{
    return deviceRows([this](const QString &address, int width) { return knownData(address, width); });
}

void TerminalSession::reportJournalError(const QString &error)
{
    if (m_journalReported)
        return;
    m_journalReported = true;
    if (m_prompter)
        m_prompter->message(QStringLiteral("The change journal cannot be written; device writes go on "
                                           "without it.\r") + error,
                            QStringLiteral("System Monitor"), Prompter::Exclamation);
}

void TerminalSession::writing(const QString &address, const QString &byteCount, const QString &data)
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
    r.device = deviceRows();
    QString error;
    m_intentJournaled = m_journal.appendIntent(r, &error);
    if (!m_intentJournaled)
        reportJournalError(error);
    m_pending = r;
    // Until its outcome comes, the write is one whose end nobody saw.
    m_pending.state = JournalRecord::Interrupted;
    m_sessionRecords << m_pending;
}

void TerminalSession::written(const QString &data, const QString &readBack, JournalRecord::State state, bool verified)
{
    JournalRecord r = m_pending;
    m_pending = JournalRecord();
    // Without a read-back nobody knows whether the device took the write.
    r.state = state == JournalRecord::Done && !verified && readBack.isEmpty() ? JournalRecord::NoReadBack : state;
    r.verified = verified;
    r.readBack = readBack;

    // What the device holds now. The windows show a write the device took;
    // after a failed one they keep what they showed, while the next record's
    // "before" is what the device read back (unknown without a reply).
    const int first = r.address.toInt(nullptr, 16);
    const QString held = readBack.size() == data.size() ? readBack.toUpper() : QString();
    if (verified)
        m_state.takeWrite(first, held);
    for (int i = 0; i < data.size() / 2; ++i)
        m_written.insert(first + i, {held.mid(2 * i, 2), imageByte(first + i)});

    if (!m_sessionRecords.isEmpty() && m_sessionRecords.last().id == r.id)
        m_sessionRecords.last() = r;
    else
        m_sessionRecords << r;
    QString error;
    const bool ok = m_intentJournaled ? m_journal.appendOutcome(r, &error) : m_journal.append(r, &error);
    if (!ok)
        reportJournalError(error);
}
