#pragma once
// Turns a port name the operator chose into a port. Named ports that are not
// serial lines (the built-in simulated transmitter) register a maker here from
// the programs that offer them; "tcp://HOST:PORT" and "rfc2217://HOST:PORT"
// are serial device servers on the network; every other name is a serial port.
#include <QString>
#include <QStringList>
#include <functional>

class SerialPort;

namespace PortFactory {
using Maker = std::function<SerialPort *()>;
// A later registration of the same name replaces the earlier one.
void registerPort(const QString &name, Maker maker);
bool isRegistered(const QString &name);
QStringList registeredNames();
// A new port for the name; the caller owns it.
SerialPort *make(const QString &name);
// Whether the name can be opened at all: a registered port, a well-formed
// network address, or a serial device that exists on this machine. *error
// says why not.
bool exists(const QString &name, QString *error);
} // namespace PortFactory
