#include "portfactory.h"

#include "qtserialport.h"
#include "tcpport.h"

#include <QFileInfo>
#include <QVector>
#include <utility>

namespace {
struct Entry {
    QString name;
    PortFactory::Maker maker;
};
QVector<Entry> &entries()
{
    static QVector<Entry> e;
    return e;
}
const Entry *find(const QString &name)
{
    for (const Entry &e : entries())
        if (e.name == name)
            return &e;
    return nullptr;
}
} // namespace

void PortFactory::registerPort(const QString &name, Maker maker)
{
    for (Entry &e : entries()) {
        if (e.name == name) {
            e.maker = std::move(maker);
            return;
        }
    }
    entries().append({name, std::move(maker)});
}

bool PortFactory::isRegistered(const QString &name)
{
    return find(name) != nullptr;
}

QStringList PortFactory::registeredNames()
{
    QStringList names;
    for (const Entry &e : entries())
        names << e.name;
    return names;
}

SerialPort *PortFactory::make(const QString &name)
{
    if (const Entry *e = find(name))
        return e->maker();
    if (TcpPort::isNetworkName(name))
        return new TcpPort(name);
    return new QtSerialPort(name);
}

bool PortFactory::exists(const QString &name, QString *error)
{
    // A network address exists when it reads well; whether anything answers
    // there shows when it is opened.
    if (!isRegistered(name) && TcpPort::isNetworkName(name))
        return TcpPort::parseAddress(name, nullptr, nullptr, nullptr, error);
    if (isRegistered(name) || QFileInfo::exists(QtSerialPort::systemName(name)))
        return true;
    if (error)
        *error = QStringLiteral("Invalid port number (%1 does not exist)").arg(QtSerialPort::systemName(name));
    return false;
}
