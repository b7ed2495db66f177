#include "engine/AudioEngine.h"
#include "engine/DisplayLink.h"
#include "engine/DisplayLinkProxy.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"
#include "tests/engine/QtTestSupport.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using namespace std::chrono_literals;

class TickCounting : public ::testing::Test {
protected:
    QCoreApplication &app = testApplication();
    AppSettings settings{std::make_shared<MemoryDefaultsStore>()};
    std::atomic<int> ticks{0}; // clock reads: one per tick
    AudioEngine::Clock countingClock()
    {
        return [this] {
            ++ticks;
            return 50.0 + ticks * 0.01;
        };
    }
};

// However many frames arrive while the main thread is busy, one tick runs for them.
TEST_F(TickCounting, FramesWhileATickIsPendingAreDropped)
{
    AudioEngine engine(settings, AudioEngine::TickSource::external, countingClock());
    DisplayLinkProxy &proxy = engine.displayLinkProxy();
    for (int i = 0; i < 100; ++i) proxy.displayLinkFired();
    std::thread other([&] {
        for (int i = 0; i < 100; ++i) proxy.displayLinkFired();
    });
    other.join();
    EXPECT_TRUE(proxy.isUpdatePending());
    EXPECT_EQ(ticks, 0) << "the tick runs on the main thread, not in displayLinkFired";

    QCoreApplication::processEvents();
    EXPECT_EQ(ticks, 1);
    EXPECT_FALSE(proxy.isUpdatePending());
    QCoreApplication::processEvents();
    EXPECT_EQ(ticks, 1);

    proxy.displayLinkFired();
    QCoreApplication::processEvents();
    EXPECT_EQ(ticks, 2) << "the next frame after a tick queues the next tick";
}

TEST_F(TickCounting, EngineDestroyedWhileATickIsQueuedRunsNoTick)
{
    auto *engine = new AudioEngine(settings, AudioEngine::TickSource::external, countingClock());
    engine->displayLinkProxy().displayLinkFired();
    delete engine;
    QCoreApplication::processEvents();
    EXPECT_EQ(ticks, 0);
}

TEST_F(TickCounting, EngineTicksFromItsDisplayLinkUntilDestroyed)
{
    {
        AudioEngine engine(settings, AudioEngine::TickSource::displayLink, countingClock());
        engine.setDisplayRefreshRate(240.0);
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 200) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_GE(ticks, 5);
    }
    const int afterDestruction = ticks;
    std::this_thread::sleep_for(30ms);
    QCoreApplication::processEvents();
    EXPECT_EQ(ticks, afterDestruction);
}

TEST(DisplayLink, UnknownRefreshRateMeansSixtyHertz)
{
    DisplayLink link(0.0, [] {});
    EXPECT_EQ(link.refreshRate(), 60.0);
    link.setRefreshRate(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(link.refreshRate(), 60.0);
    link.setRefreshRate(144.0);
    EXPECT_EQ(link.refreshRate(), 144.0);
}

} // namespace
