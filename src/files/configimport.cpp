#include "configimport.h"

#include "common/prompter.h"
#include "configtable.h"
#include "link/devicelink.h"
#include "session/operationgate.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

#include <QEventLoop>
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

bool ConfigImport::upload(const ConfigTable &table)
{
    const OperationGate::Hold hold = m_host.gate().begin(QStringLiteral("import"));
    if (!hold)
        return false;

    emit progress(0);
    const bool tenths = m_host.state().cellValue(QStringLiteral("012D")) == DeviceCodeTenths;
    int written = 0;
    for (int r = 1; r <= RowsWritten; ++r) {
        const ConfigRow &row = table.row(r - 1);
        if (r == 25 && tenths)
            continue;
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
