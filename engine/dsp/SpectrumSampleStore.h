#pragma once

#include "engine/dsp/SpectrumAnalyzer.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

// The hand-over of mono samples from an audio thread to the spectrum: a window of the
// newest fftSize samples.
//
// Device blocks on this platform are usually 256 to 1024 frames, so one block alone
// never fills a 4096-point frame; the window therefore slides over the last blocks and
// always holds one contiguous stretch of the newest samples, whatever the block sizes.
//
// Lock-free, one writer and one reader, in the manner of a sequence lock: the writer
// announces how far it is about to write, writes into a ring twice the window's size,
// then publishes what it wrote; the reader copies the newest published window and
// checks afterwards that no announced write reached the oldest sample it copied (else
// it tries once more, and then leaves it to the next read). The writer never waits.
class SpectrumSampleStore {
public:
    static constexpr std::size_t capacity = SpectrumAnalyzer::fftSize;

    // Audio thread: adds one block of mono samples and marks the window as new.
    void push(const float *mono, std::size_t count) noexcept;

    // The reading thread (the main thread, or the owning audio thread when it analyses
    // the spectrum itself): copies the newest min(filled, maxCount) samples, oldest
    // first, into dest and returns the count; nullopt when nothing arrived since the
    // previous read.
    std::optional<std::size_t> read(float *dest, std::size_t maxCount) noexcept;

private:
    static constexpr std::size_t ringSize = 2 * capacity; // room for a block written during a read

    std::array<std::atomic<float>, ringSize> ring_{}; // sample n lives at n % ringSize
    std::atomic<std::uint64_t> writing_{0};           // samples pushed once the write under way ends
    std::atomic<std::uint64_t> written_{0};           // samples pushed and complete (release)
    std::uint64_t readUpTo_ = 0;                      // reader only: written_ at the last read
};
