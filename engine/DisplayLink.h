#pragma once

#include <QTimer>

#include <chrono>
#include <functional>

// The display-rate tick: a precise timer on the thread that creates the link (the main
// thread, whose event loop runs it) calls `fired` once per refresh of the screen the
// level meter is on. No thread of its own: between frames nothing but the event loop's
// own poll waits. It keeps its own schedule (next = previous + period), so whole
// milliseconds of timer resolution still average to the exact rate, and skips missed
// frames instead of bursting to catch up. A main thread busy past several frames gets
// one call when it is free again, never a queue of them.
class DisplayLink {
public:
    static constexpr double defaultRefreshRate = 60.0; // Hz, when the screen does not say

    // Starts ticking at once. A rate that is not a positive finite number means 60 Hz.
    DisplayLink(double refreshRate, std::function<void()> fired);
    // `fired` is not called after the link is gone.
    ~DisplayLink() = default;
    DisplayLink(const DisplayLink &) = delete;
    DisplayLink &operator=(const DisplayLink &) = delete;

    // Takes effect from the next frame. The link's thread only.
    void setRefreshRate(double refreshRate);
    double refreshRate() const { return refreshRate_; }

private:
    using Clock = std::chrono::steady_clock;

    void frame();
    void scheduleNext();

    std::function<void()> fired_; // called once per frame on the link's thread
    double refreshRate_;           // Hz
    Clock::time_point next_;       // when the next frame is due
    QTimer timer_;                 // single shot, armed for next_ after every frame
};
