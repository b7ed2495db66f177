#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <chrono>

// The application object the tests' timers and queued calls need; made once.
inline QCoreApplication &testApplication()
{
    static int argc = 1;
    static char name[] = "kelvra-tests";
    static char *argv[] = {name, nullptr};
    static QCoreApplication application(argc, argv);
    return application;
}

// Runs the event loop until `condition` holds or `timeout` passes; returns the
// condition's last value.
template <typename Condition> bool waitUntil(Condition condition, std::chrono::milliseconds timeout)
{
    testApplication();
    QElapsedTimer elapsed;
    elapsed.start();
    while (!condition()) {
        if (elapsed.elapsed() >= timeout.count()) return condition();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(2);
    }
    return true;
}

// Runs the event loop for `duration` (for checking that something does not happen).
inline void runEventsFor(std::chrono::milliseconds duration)
{
    waitUntil([] { return false; }, duration);
}
