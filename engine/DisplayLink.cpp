#include "engine/DisplayLink.h"

#include <cmath>

namespace {

double sanitisedRate(double rate)
{
    return std::isfinite(rate) && rate > 0.0 ? rate : DisplayLink::defaultRefreshRate;
}

} // namespace

DisplayLink::DisplayLink(double refreshRate, std::function<void()> fired)
    : fired_(std::move(fired)), refreshRate_(sanitisedRate(refreshRate)), next_(Clock::now())
{
    // A coarse timer may be up to 5 % late, a whole frame at 60 Hz.
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setSingleShot(true);
    QObject::connect(&timer_, &QTimer::timeout, [this] { frame(); });
    scheduleNext();
}

void DisplayLink::setRefreshRate(double refreshRate)
{
    refreshRate_ = sanitisedRate(refreshRate);
}

void DisplayLink::frame()
{
    // Armed again first, so the frame's own work does not push the schedule back.
    scheduleNext();
    fired_();
}

void DisplayLink::scheduleNext()
{
    const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / refreshRate_));
    next_ += period;
    const auto now = Clock::now();
    // After a stall (suspend, a debugger, a busy main thread) start afresh rather than
    // firing a burst.
    if (next_ < now) next_ = now + period;
    const auto wait = std::chrono::round<std::chrono::milliseconds>(next_ - now);
    timer_.start(wait);
}
