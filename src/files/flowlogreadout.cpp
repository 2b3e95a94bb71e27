#include "flowlogreadout.h"

#include "common/numtext.h"
#include "common/prompter.h"
#include "link/devicelink.h"
#include "session/operationgate.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

FlowLogReadout::FlowLogReadout(TerminalHost &host, QObject *parent) : QObject(parent), m_host(host) {}

int FlowLogReadout::blockCount(int endAddress)
{
    const int bytes = qBound(0, endAddress - FirstAddress, MaxBytes);
    return (bytes + 253) / 254;
}

bool FlowLogReadout::checkEndAddress(int endAddress, TerminalHost &host)
{
    if (endAddress >= FirstAddress && endAddress <= LastEndAddress)
        return true;
    host.prompter().message(QStringLiteral("The value of the parameter is out of\r permissible range [200h-7FFFh] Try again!"),
                            QStringLiteral("System Monitor"), Prompter::Information);
    return false;
}

QString FlowLogReadout::pointerText(const TerminalHost &host)
{
    const QString h = numtext::hex(quint32(const_cast<TerminalHost &>(host).state().cellValue(QStringLiteral("01FE"))));
    return h.size() < 4 ? QLatin1Char('0') + h : h;
}

QString FlowLogReadout::sampleLine(int n, const QString &hex4)
{
    QString address = numtext::hex(quint32(FirstAddress + 2 * (n - 1)));
    if (address.size() == 2)
        address.prepend(QStringLiteral("00"));
    else if (address.size() == 3)
        address.prepend(QLatin1Char('0'));
    const QString gap = QStringLiteral("    ");
    return numtext::format(n, QStringLiteral("0####")) + gap + address + gap + hex4 + gap
           + QString::number(numtext::hexValue(hex4));
}

namespace {
const QString kOperation = QStringLiteral("flow-log readout");
}

bool FlowLogReadout::running() const
{
    return m_host.gate().operation() == kOperation;
}

FlowLogReadout::Outcome FlowLogReadout::read(int endAddress)
{
    const OperationGate::Hold hold = m_host.gate().begin(kOperation);
    if (!hold)
        return Refused;
    m_cancel = false;
    TerminalState &state = m_host.state();
    if (state.FlowArray.size() < TerminalState::FlowArrayRows)
        state.FlowArray.resize(TerminalState::FlowArrayRows);

    const int total = blockCount(endAddress);
    const int bytes = qBound(0, endAddress - FirstAddress, MaxBytes);
    int current = FirstAddress;
    int step = 0;
    int done = 0;
    int n = 1;
    int blocks = 0;
    Outcome outcome = Completed;
    const QString failed = QStringLiteral("Read data is failed!\r data recieved: ");
    // Blocks are streamed: a block is used only once the line proved quiet
    // after it, up to the next block's reply or, after the last, for the
    // settle time. More there means it was not the device's reply.
    DeviceLink::StreamedReads streamed(m_host.link());
    QString block;
    const auto use = [&](bool last, bool tell) {
        if (!m_host.link().streamLineClean(last, tell))
            return false;
        QStringList lines;
        lines.reserve(SamplesPerBlock);
        for (int k = 0; k < SamplesPerBlock; ++k) {
            const QString hex4 = block.mid(4 * k, 4);
            state.FlowArray[n - 1] = qint16(numtext::hexValue(hex4));
            lines.append(sampleLine(n, hex4));
            ++n;
        }
        block.clear();
        emit blockRead(++blocks, total, lines);
        return true;
    };
    QString reply;
    while (done < bytes) {
        if (m_cancel) {
            // What was shown is kept; a block not shown yet is dropped.
            outcome = Cancelled;
            block.clear();
            break;
        }
        current = qMin(current + step, LastBlockAddress);
        QString address = numtext::hex(quint32(current));
        if (address.size() < 4)
            address.prepend(QLatin1Char('0'));
        reply = m_host.link().ReadMemory(address, QStringLiteral("FF"));
        if (!block.isEmpty() && !use(false, !reply.isEmpty())) {
            reply.clear(); // the block before failed
            outcome = Failed;
            break;
        }
        if (reply.size() != 510) {
            outcome = Failed;
            break;
        }
        block = reply;
        done += 254;
        step = 254;
    }
    if (outcome == Completed && !block.isEmpty() && !use(true, true)) {
        reply.clear();
        outcome = Failed;
    }
    if (outcome == Failed)
        m_host.prompter().message(failed + reply, QStringLiteral("System Monitor"), Prompter::Information);
    state.FlowPointCount = n - 1;
    return outcome;
}
