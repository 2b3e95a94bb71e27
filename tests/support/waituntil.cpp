#include "waituntil.h"

#include <QEventLoop>
#include <QTimer>

bool waitUntil(const std::function<bool()> &done, int ms)
{
    const auto ready = [&] { return done && done(); };
    QEventLoop loop;
    QTimer check;
    QObject::connect(&check, &QTimer::timeout, &loop, [&] {
        if (ready())
            loop.quit();
    });
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    check.start(5);
    if (!ready())
        loop.exec();
    return ready();
}
