#pragma once
// A terminal session on an in-process simulated transmitter, with the
// store pause and the reply time-out shortened so tests stay fast.
#include "link/devicelink.h"
#include "sim/simdevice.h"
#include "sim/simserialport.h"
#include "support/scriptedprompter.h"
#include "support/simfaultspec.h"
#include "session/terminalsession.h"

#include <QRegularExpression>

struct SimRig {
    explicit SimRig(const QString &preset = QStringLiteral("standard"))
        : device(new SimDevice(preset)), port(new SimSerialPort(device)), session(&prompter, port)
    {
        device->setParent(port);
        session.link().setStorePauseOverride(0);
        session.link().setReplyTimeout(200);
    }
    // The configuration readout, then a clean record of messages and frames.
    bool readOut()
    {
        const bool ok = session.synchronize();
        device->clearReceivedFrames();
        prompter.clear();
        session.statusHistory.clear();
        session.timer2Starts = 0;
        return ok;
    }
    // The memory writes the device received, in order.
    QStringList writeFrames() const { return device->receivedFrames().filter(QRegularExpression(QStringLiteral("^R5200:"))); }
    // Every read-back after a write comes back spoilt.
    void corruptReadbacks() { port->setFaults(simFaults("corrupt")); }
    static QString writeFrame(const QString &address, const QString &count, const QString &data)
    {
        return QStringLiteral("R5200:") + count + address + QStringLiteral("00") + data;
    }

    ScriptedPrompter prompter;
    SimDevice *device;
    SimSerialPort *port;
    TerminalSession session;
};
