#include "engine/AudioEngine.h"
#include "engine/DisplayLink.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"
#include "tests/engine/QtTestSupport.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <thread>

namespace {

using namespace std::chrono_literals;

class TickCounting : public ::testing::Test {
protected:
    QCoreApplication &app = testApplication();
    AppSettings settings{std::make_shared<MemoryDefaultsStore>()};
    int ticks = 0; // clock reads: one per tick
    AudioEngine::Clock countingClock()
    {
        return [this] {
            ++ticks;
            return 50.0 + ticks * 0.01;
        };
    }

    // Runs the main thread's event loop for `duration`.
    static void runEventLoop(std::chrono::milliseconds duration)
    {
        QEventLoop loop;
        QTimer::singleShot(duration, &loop, &QEventLoop::quit);
        loop.exec();
    }
};

// The tick runs from the event loop, only while a meter is on screen, and not after the
// engine is gone.
TEST_F(TickCounting, EngineTicksFromItsDisplayLinkWhileAMeterIsOnScreen)
{
    {
        AudioEngine engine(settings, AudioEngine::TickSource::displayLink, countingClock());
        engine.setDisplayRefreshRate(240.0);
        runEventLoop(200ms);
        EXPECT_GE(ticks, 5);

        engine.setDisplayActive(false);
        const int whileHidden = ticks;
        runEventLoop(50ms);
        EXPECT_EQ(ticks, whileHidden) << "no meter on screen, no tick";

        engine.setDisplayActive(true);
        runEventLoop(100ms);
        EXPECT_GT(ticks, whileHidden);
    }
    const int afterDestruction = ticks;
    runEventLoop(30ms);
    EXPECT_EQ(ticks, afterDestruction);
}

// However many frames pass while the main thread is busy, one tick runs for them.
TEST_F(TickCounting, FramesMissedWhileTheMainThreadIsBusyBecomeOneTick)
{
    AudioEngine engine(settings, AudioEngine::TickSource::displayLink, countingClock());
    engine.setDisplayRefreshRate(240.0);
    std::this_thread::sleep_for(100ms); // some 24 frames
    QCoreApplication::processEvents();
    EXPECT_EQ(ticks, 1);
    QCoreApplication::processEvents();
    EXPECT_EQ(ticks, 1) << "the missed frames are skipped, not caught up";
    runEventLoop(50ms);
    EXPECT_GT(ticks, 1) << "and the frames after them come as before";
}

// The headless meter drives the ticks itself, one per block of the file.
TEST_F(TickCounting, ExternalTickSourceNeverTicksByItself)
{
    AudioEngine engine(settings, AudioEngine::TickSource::external, countingClock());
    runEventLoop(50ms);
    EXPECT_EQ(ticks, 0);
}

TEST(DisplayLink, UnknownRefreshRateMeansSixtyHertz)
{
    testApplication();
    DisplayLink link(0.0, [] {});
    EXPECT_EQ(link.refreshRate(), 60.0);
    link.setRefreshRate(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(link.refreshRate(), 60.0);
    link.setRefreshRate(144.0);
    EXPECT_EQ(link.refreshRate(), 144.0);
}

} // namespace
