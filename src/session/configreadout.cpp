#include "session/configreadout.h"

#include "common/prompter.h"
#include "link/devicelink.h"
#include "session/terminalstate.h"

const QString ConfigReadout::TerminatedLine = QStringLiteral("Communication ERROR. Transmission is terminated!\r");
const QString ConfigReadout::ConfigFailure = TerminatedLine + QStringLiteral(" Can not get device configuration data!");

void ConfigReadout::report(const QString &text)
{
    if (m_prompter)
        m_prompter->message(text, QStringLiteral("System Monitor"), Prompter::Information);
}

void ConfigReadout::step(int value)
{
    if (progress)
        progress(value);
}

bool ConfigReadout::readEngUnit()
{
    const QString r = m_link.ReadMemory(QStringLiteral("01E4"), QStringLiteral("01"));
    if (r.size() < 2) {
        report(TerminatedLine + QStringLiteral(" Can not get device Enginnering Units!"));
        return false;
    }
    m_state.EngUnitHex = r.left(2);
    m_state.EngUnit = r.left(2).toInt(nullptr, 16);
    m_state.setCell(QStringLiteral("01E4"), QString::number(m_state.EngUnit), m_state.EngUnit);
    return true;
}

bool ConfigReadout::GetDens()
{
    // The density is a 32-bit integer on the device, not a float.
    const QString r = m_link.ReadMemory(QStringLiteral("0170"), QStringLiteral("04"));
    if (r.size() < 8) {
        report(QStringLiteral("Communication ERROR. Can not get\r device density!"));
        return false;
    }
    m_state.DensityHex = r.left(8);
    m_state.Density = qint32(r.left(8).toUInt(nullptr, 16));
    m_state.setCell(QStringLiteral("0170"), QString::number(quint32(m_state.Density)), quint32(m_state.Density));
    return true;
}

bool ConfigReadout::readTotal()
{
    const QString word = m_link.ReadMemory(QStringLiteral("0109"), QStringLiteral("02"));
    const QString digits = word.size() >= 4 ? m_link.ReadMemory(QStringLiteral("0174"), QStringLiteral("08")) : QString();
    if (word.size() < 4 || digits.size() < 16) {
        report(TerminatedLine + QStringLiteral(" Can not get device Total reading!"));
        return false;
    }
    m_state.Total0109 = word.left(4);
    m_state.Total0174 = digits.left(16);
    TerminalState::decodeTotal(m_state.Total0109, m_state.Total0174, &m_state.TotalText, &m_state.TotalMultiplier);
    m_state.setCell(QStringLiteral("0109"), m_state.Total0109, m_state.Total0109.toInt(nullptr, 16));
    return true;
}

bool ConfigReadout::GetUserDefEUFactor()
{
    const QString r = m_link.ReadMemory(QStringLiteral("017C"), QStringLiteral("04"));
    if (r.size() < 8) {
        report(QStringLiteral("Communication ERROR. Can not get\r device UD factor!"));
        return false;
    }
    m_state.UDFactorHex = r.left(8);
    m_state.UDFactor = qint32(r.left(8).toUInt(nullptr, 16));
    m_state.setCell(QStringLiteral("017C"), QString::number(quint32(m_state.UDFactor)), quint32(m_state.UDFactor));
    return true;
}

bool ConfigReadout::run()
{
    const QString frameCount = QStringLiteral("50");
    QString image = m_link.ReadMemory(QStringLiteral("0100"), frameCount);
    // Once more after a silent first try; not after the port went away, which
    // was reported already and must not be opened again behind the operator.
    if (image.isEmpty() && m_link.PortOpen())
        image = m_link.ReadMemory(QStringLiteral("0100"), frameCount);
    bool ok = image.size() >= 160;
    if (ok) {
        m_state.MemoryImage0100 = image.left(160);
        m_state.MemoryImage0100Export = m_state.MemoryImage0100;
        m_state.fillCellsFromImages();
        step(1);
        ok = readEngUnit();
        if (ok) {
            step(5);
            ok = GetDens();
        }
        if (ok) {
            step(10);
            ok = readTotal();
        }
        if (ok) {
            step(15);
            ok = GetUserDefEUFactor();
        }
        if (ok) {
            step(17);
            const QString text = m_link.ReadMemory(QStringLiteral("01E5"), QStringLiteral("06"));
            const QString pointer = text.size() >= 12 ? m_link.ReadMemory(QStringLiteral("01FE"), QStringLiteral("02")) : QString();
            ok = text.size() >= 12 && pointer.size() >= 4;
            if (ok) {
                m_state.MemoryImage01E5 = text.left(12);
                m_state.DataPointerHex = pointer.left(4);
                step(20);
            } else {
                report(TerminatedLine + QStringLiteral(" Can not get device paramiters!"));
            }
        }
        m_state.fillCellsFromImages();
    }
    if (!ok) {
        report(ConfigFailure);
        m_state.MemoryImage0100Export.clear();
    }
    m_state.Synchronized = ok;
    return ok;
}
