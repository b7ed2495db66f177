#include "capture/SleepWakeWatcher.h"

#include <QDBusConnection>

SleepWakeWatcher::SleepWakeWatcher(QObject *parent) : QObject(parent)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) return;
    watching_ = bus.connect(QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
                            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"), this,
                            SLOT(handlePrepareForSleep(bool)));
}

void SleepWakeWatcher::handlePrepareForSleep(bool goingToSleep)
{
    if (!goingToSleep) emit woke();
}
