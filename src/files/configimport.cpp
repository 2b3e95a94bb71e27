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

QString ConfigImport::rowData(const ConfigTable &table, int entry, QString *why)
{
    const QString where = QStringLiteral("line %1: ").arg(entry + 1);
    if (entry < 0 || entry >= table.recordsRead()) {
        *why = where + QStringLiteral("the table has no such line");
        return QString();
    }
    const ConfigRow &row = table.row(entry);
    const Parameter *p = ParameterMap::tableAddresses().contains(row.Address) ? ParameterMap::find(row.Address) : nullptr;
    if (!p) {
        *why = where + QStringLiteral("\"%1\" is not the address of a table row").arg(row.Address);
        return QString();
    }
    if (row.Width != p->widthText()) {
        *why = where + QStringLiteral("the width of %1 is \"%2\", not \"%3\"").arg(row.Address, p->widthText(), row.Width);
        return QString();
    }
    // Anything else would reach the device as a frame it misreads, or cut
    // short: a value is written as the file holds it or not at all.
    const QString &data = row.Data;
    bool hex = !data.isEmpty();
    for (const QChar c : data)
        hex = hex && (c.isDigit() || QStringLiteral("ABCDEFabcdef").contains(c)) && c.unicode() < 0x80;
    if (hex && data.size() == 2 * p->width)
        return data;
    if (hex && p->encoding == Parameter::HexPointer && data.size() < 2 * p->width) {
        const uint value = data.toUInt(nullptr, 16);
        if (data == QLatin1Char('0') + QString::number(value, 16).toUpper())
            return ParameterMap::padHex(value, p->width);
    }
    *why = where + QStringLiteral("%1 takes %2 hexadecimal digits (width %3), not \"%4\"")
                       .arg(row.Address).arg(2 * p->width).arg(p->widthText(), data);
    return QString();
}

bool ConfigImport::checkRows(const ConfigTable &table, const QList<int> &entries, QString *why)
{
    for (int e : entries)
        if (rowData(table, e, why).isEmpty())
            return false;
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

    // The "012D" row is never written while the device is in tenths mode.
    const QList<int> allowed = uploadEntries();
    QList<int> rows;
    for (int e : entries)
        if (allowed.contains(e))
            rows << e;
    // Every row is checked before the first goes out, so a bad table never
    // leaves the device half written.
    QString why;
    if (!checkRows(table, rows, &why)) {
        m_host.prompter().message(QStringLiteral("EEPROM Table cannot be written; nothing was sent.\r") + why,
                                  QStringLiteral("System Monitor"), Prompter::Exclamation);
        return false;
    }
    emit progress(0);
    int written = 0;
    m_stopped = false;
    for (int e : std::as_const(rows)) {
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
        const QString data = rowData(table, e, &why);
        const QString verified = m_host.link().WriteRamData(row.Width, row.Address, data, &readBack);
        if (verified.isEmpty() || readBack != data) {
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
