#pragma once

#include "engine/dsp/SpectrumAnalyzer.h"
#include "engine/dsp/SpinLock.h"

#include <array>
#include <cstddef>
#include <optional>

// The hand-over of mono samples from an audio thread to the spectrum: a window of the
// newest fftSize samples.
//
// Device blocks on this platform are usually 256 to 1024 frames, so one block alone
// never fills a 4096-point frame; the window therefore slides over the last blocks and
// always holds one contiguous stretch of the newest samples, whatever the block sizes.
class SpectrumSampleStore {
public:
    static constexpr std::size_t capacity = SpectrumAnalyzer::fftSize;

    // Audio thread: adds one block of mono samples and marks the window as new.
    void push(const float *mono, std::size_t count);

    // Main thread (or the owning audio thread): copies the newest min(filled, maxCount)
    // samples, oldest first, into dest and returns the count; nullopt when nothing
    // arrived since the previous read.
    std::optional<std::size_t> read(float *dest, std::size_t maxCount);

private:
    SpinLock lock_;                          // guards everything below
    std::array<float, capacity> ring_{};     // sample ring, write position writePos_
    std::size_t writePos_ = 0;               // index the next sample goes to
    std::size_t filled_ = 0;                 // valid samples in ring_, at most capacity
    bool available_ = false;                 // a block arrived since the last read
};
