#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

// The display-rate tick: a thread that calls `fired` once per refresh of the screen the
// level meter is on. It keeps its own schedule (next = previous + period) and skips
// missed frames instead of bursting to catch up. Whatever `fired` does must be cheap
// and thread-safe; the engine only marks a tick pending there.
class DisplayLink {
public:
    static constexpr double defaultRefreshRate = 60.0; // Hz, when the screen does not say

    // Starts ticking at once. A rate that is not a positive finite number means 60 Hz.
    DisplayLink(double refreshRate, std::function<void()> fired);
    // Stops the thread and waits for it; `fired` is not called afterwards.
    ~DisplayLink();
    DisplayLink(const DisplayLink &) = delete;
    DisplayLink &operator=(const DisplayLink &) = delete;

    // Any thread; takes effect from the next frame.
    void setRefreshRate(double refreshRate);
    double refreshRate() const { return refreshRate_.load(std::memory_order_relaxed); }

private:
    void run();

    std::function<void()> fired_;          // called on this link's thread once per frame
    std::atomic<double> refreshRate_;      // Hz
    std::mutex stopMutex_;                 // guards stopping_ for the wait below
    std::condition_variable stopSignal_;   // wakes the thread early to stop
    bool stopping_ = false;                // set once by the destructor
    std::thread thread_;                   // started last, after every member above
};
