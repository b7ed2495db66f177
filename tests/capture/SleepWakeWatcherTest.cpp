// logind's PrepareForSleep, sent on a private bus standing in for the system bus.

#include "capture/SleepWakeWatcher.h"
#include "tests/engine/QtTestSupport.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QProcess>

using namespace std::chrono_literals;

namespace {

TEST(SleepWakeWatcher, WakesOnPrepareForSleepFalseOnly)
{
    testApplication();
    QProcess bus;
    bus.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                              QStringLiteral("--print-address")});
    ASSERT_TRUE(bus.waitForStarted());
    ASSERT_TRUE(bus.waitForReadyRead(5000));
    const QString address = QString::fromLocal8Bit(bus.readLine()).trimmed();
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address.toLocal8Bit());

    SleepWakeWatcher watcher;
    ASSERT_TRUE(watcher.isWatching());
    int wakes = 0;
    QObject::connect(&watcher, &SleepWakeWatcher::woke, [&] { ++wakes; });

    QDBusConnection logind = QDBusConnection::connectToBus(address, QStringLiteral("fake-logind"));
    ASSERT_TRUE(logind.isConnected());
    ASSERT_TRUE(logind.registerService(QStringLiteral("org.freedesktop.login1")));
    const auto prepareForSleep = [&](bool goingToSleep) {
        QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/login1"),
                                                         QStringLiteral("org.freedesktop.login1.Manager"),
                                                         QStringLiteral("PrepareForSleep"));
        signal << goingToSleep;
        logind.send(signal);
    };

    prepareForSleep(true);
    runEventsFor(300ms);
    EXPECT_EQ(wakes, 0);
    prepareForSleep(false);
    EXPECT_TRUE(waitUntil([&] { return wakes == 1; }, 2s));

    QDBusConnection::disconnectFromBus(QStringLiteral("fake-logind"));
    bus.kill();
    bus.waitForFinished();
}

} // namespace
