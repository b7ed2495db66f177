#pragma once

#include <atomic>

// A minimal lock for hand-overs between an audio thread and the main thread where
// the critical section is only a copy of a few values. A futex-based mutex could put
// the audio thread to sleep if the main thread were preempted while holding it; a
// spin of a few nanoseconds cannot. Never hold it around anything that allocates,
// logs or waits. Satisfies Lockable, so std::lock_guard and std::unique_lock work.
class SpinLock {
public:
    void lock() noexcept
    {
        while (flag_.exchange(true, std::memory_order_acquire)) {
            // Spin on a plain load so the cache line is not hammered by writes.
            while (flag_.load(std::memory_order_relaxed)) {
#if defined(__x86_64__) || defined(__i386__)
                __builtin_ia32_pause();
#endif
            }
        }
    }
    bool try_lock() noexcept { return !flag_.exchange(true, std::memory_order_acquire); }
    void unlock() noexcept { flag_.store(false, std::memory_order_release); }

private:
    static_assert(std::atomic<bool>::is_always_lock_free);
    std::atomic<bool> flag_{false}; // true while held; acquire/release order the guarded data
};
