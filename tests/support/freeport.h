#pragma once
// A TCP port of 127.0.0.1 that nothing listens on right now; 0 when the
// system gave none.
#include <QTcpServer>

inline quint16 freePort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost) ? probe.serverPort() : 0;
}
