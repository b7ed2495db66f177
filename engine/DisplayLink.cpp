#include "engine/DisplayLink.h"

#include <chrono>
#include <cmath>

namespace {

double sanitisedRate(double rate)
{
    return std::isfinite(rate) && rate > 0.0 ? rate : DisplayLink::defaultRefreshRate;
}

} // namespace

DisplayLink::DisplayLink(double refreshRate, std::function<void()> fired)
    : fired_(std::move(fired)), refreshRate_(sanitisedRate(refreshRate)), thread_([this] { run(); })
{
}

DisplayLink::~DisplayLink()
{
    {
        std::lock_guard guard(stopMutex_);
        stopping_ = true;
    }
    stopSignal_.notify_all();
    thread_.join();
}

void DisplayLink::setRefreshRate(double refreshRate)
{
    refreshRate_.store(sanitisedRate(refreshRate), std::memory_order_relaxed);
}

void DisplayLink::run()
{
    using Clock = std::chrono::steady_clock;
    auto next = Clock::now();
    std::unique_lock lock(stopMutex_);
    while (!stopping_) {
        const auto period = std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(1.0 / refreshRate_.load(std::memory_order_relaxed)));
        next += period;
        const auto now = Clock::now();
        // After a stall (suspend, a debugger) start afresh rather than firing a burst.
        if (next < now) next = now + period;
        if (stopSignal_.wait_until(lock, next, [this] { return stopping_; })) break;
        lock.unlock();
        fired_();
        lock.lock();
    }
}
