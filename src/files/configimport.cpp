#include "configimport.h"

#include "common/prompter.h"
#include "configcompare.h"
#include "configtable.h"
#include "link/devicelink.h"
#include "session/operationgate.h"
#include "session/parametermap.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

#include <QEventLoop>
#include <algorithm>
#include <QTimer>

ConfigImport::ConfigImport(TerminalHost &host, QObject *parent) : QObject(parent), m_host(host), Timer1(new QTimer(this))
{
    Timer1->setInterval(250);
    Timer1->setSingleShot(true);
    connect(Timer1, &QTimer::timeout, this, [this] { RowWritten = true; });
}

void ConfigImport::setRowPause(int msecs)
{
    Timer1->setInterval(msecs);
}

QList<int> ConfigImport::uploadEntries() const
{
    QList<int> entries;
    for (int e = 0; e < RowsWritten; ++e)
        if (notWritten(m_host.state(), e).isEmpty())
            entries << e;
    return entries;
}

QString ConfigImport::notWritten(const TerminalState &state, int entry)
{
    if (entry < 0 || entry >= RowsWritten)
        return QStringLiteral("an import does not write this row");
    if (entry == RowsWritten - 1 && state.cellValue(QStringLiteral("012D")) == DeviceCodeTenths)
        return QStringLiteral("the device is in tenths mode");
    return QString();
}

QList<int> ConfigImport::changedEntries(const ConfigTable &table, const TerminalState &state, const QList<int> &entries,
                                        bool withLive)
{
    const ConfigTable device = ConfigTable::fromTerminal(state);
    QList<int> changed;
    for (int e : entries) {
        const ConfigRow &row = table.row(e);
        if (!withLive && ConfigCompare::isLive(row.Address.toUpper()))
            continue;
        const int d = ConfigCompare::findRow(device, row.Address, ConfigTable::RowCount);
        const int width = row.Width.toInt();
        if (d < 0 || ConfigCompare::normalised(device.row(d).Data, width) != ConfigCompare::normalised(row.Data, width))
            changed << e;
    }
    return changed;
}

bool ConfigImport::namedEntries(const ConfigTable &table, const QStringList &names, QList<int> *entries, QString *error)
{
    entries->clear();
    for (const QString &name : names) {
        const Parameter *p = ParameterMap::find(name.trimmed());
        if (!p) {
            *error = QStringLiteral("no parameter is called \"%1\" (see params)").arg(name);
            return false;
        }
        const int e = ConfigCompare::findRow(table, p->address, RowsWritten);
        if (e < 0) {
            *error = QStringLiteral("%1 (%2) is not among the rows an import writes").arg(name, p->address);
            return false;
        }
        if (!entries->contains(e))
            entries->append(e);
    }
    std::sort(entries->begin(), entries->end());
    return true;
}

bool ConfigImport::upload(const ConfigTable &table)
{
    return upload(table, uploadEntries());
}

bool ConfigImport::upload(const ConfigTable &table, const QList<int> &entries)
{
    const OperationGate::Hold hold = m_host.gate().begin(QStringLiteral("import"));
    if (!hold)
        return false;

    emit progress(0);
    // The "012D" row is never written while the device is in tenths mode.
    const QList<int> allowed = uploadEntries();
    int written = 0;
    m_stopped = false;
    for (int e : entries) {
        if (!allowed.contains(e))
            continue;
        if (m_stopCheck && m_stopCheck()) {
            m_stopped = true;
            emit progress(0);
            return false;
        }
        emit rowStarting(e);
        const int r = e + 1;
        const ConfigRow &row = table.row(r - 1);
        // A row counts only when the device held its data afterwards: an
        // empty data text would otherwise match the empty read-back of a
        // failed exchange.
        QString readBack;
        const QString verified = m_host.link().WriteRamData(row.Width, row.Address, row.Data, &readBack);
        if (verified.isEmpty() || readBack != row.Data) {
            m_host.prompter().message(QStringLiteral("Communication Error! EEPROM Table Writing is terminated!\r"
                                                     "Check connection and try again!   [")
                                          + readBack + QStringLiteral("]"),
                                      QStringLiteral("System Monitor"), Prompter::Information);
            emit progress(0);
            return false;
        }
        emit rowDone(r - 1);
        emit progress(++written);

        RowWritten = false;
        QEventLoop loop;
        connect(Timer1, &QTimer::timeout, &loop, &QEventLoop::quit);
        Timer1->start();
        loop.exec();
    }
    m_host.prompter().message(QStringLiteral("EEPROM Table has been Saved. Click OK."), QStringLiteral("System Monitor"),
                              Prompter::Information);
    emit progress(0);
    return true;
}
