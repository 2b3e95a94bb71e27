#include "serialport.h"

#include <QEventLoop>
#include <QIODevice>
#include <QTimer>

bool SerialPort::waitWritten(QIODevice *device, int msecs)
{
    if (device->bytesToWrite() == 0)
        return true;
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(device, &QIODevice::bytesWritten, &loop, [&] {
        if (device->bytesToWrite() == 0)
            loop.quit();
    });
    connect(this, &SerialPort::portLost, &loop, &QEventLoop::quit);
    limit.start(msecs);
    loop.exec();
    return device->bytesToWrite() == 0;
}
