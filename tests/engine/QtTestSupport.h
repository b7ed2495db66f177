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

// The ThreadSanitizer build runs five to fifteen times slower, while the audio around
// the live tests keeps real time: there a wait may take three times as long. A wait ends
// as soon as its condition holds, so passing tests are no slower; the limits a test is
// about are still checked at their own value by the ASan build.
inline std::chrono::milliseconds slowBuildAllowance(std::chrono::milliseconds timeout)
{
#if defined(__SANITIZE_THREAD__)
    return timeout * 3;
#else
    return timeout;
#endif
}

namespace qt_test_support {
template <typename Condition> bool runEventsUntil(Condition condition, std::chrono::milliseconds timeout)
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
} // namespace qt_test_support

// Runs the event loop until `condition` holds or `timeout` passes; returns the
// condition's last value.
template <typename Condition> bool waitUntil(Condition condition, std::chrono::milliseconds timeout)
{
    return qt_test_support::runEventsUntil(condition, slowBuildAllowance(timeout));
}

// Runs the event loop for `duration` (for checking that something does not happen).
inline void runEventsFor(std::chrono::milliseconds duration)
{
    qt_test_support::runEventsUntil([] { return false; }, duration);
}
