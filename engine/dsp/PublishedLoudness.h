#pragma once

#include "engine/dsp/LoudnessValues.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <thread>

// The latest LoudnessValues, handed from the one thread that measures to any reader
// through a sequence lock: the writer never waits, a reader retries when it overlapped
// a write. Every field is an atomic, so a torn read is discarded, never undefined.
class PublishedLoudness {
public:
    PublishedLoudness() { store(LoudnessValues{}); }

    // The measuring thread only.
    void store(const LoudnessValues &values)
    {
        const std::uint32_t sequence = sequence_.load(std::memory_order_relaxed);
        sequence_.store(sequence + 1, std::memory_order_relaxed);
        // Release stores (no stand-alone fences, which ThreadSanitizer cannot follow): a
        // reader that sees any of these values also sees the odd sequence stored before.
        const std::array<double, fieldCount> fields = toArray(values);
        for (std::size_t i = 0; i < fieldCount; ++i) fields_[i].store(fields[i], std::memory_order_release);
        sequence_.store(sequence + 2, std::memory_order_release);
    }

    LoudnessValues load() const
    {
        for (;;) {
            const std::uint32_t before = sequence_.load(std::memory_order_acquire);
            std::array<double, fieldCount> fields{};
            for (std::size_t i = 0; i < fieldCount; ++i) fields[i] = fields_[i].load(std::memory_order_acquire);
            if ((before & 1u) == 0 && sequence_.load(std::memory_order_relaxed) == before) {
                return {fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]};
            }
            // The writer was preempted halfway; let it finish.
            std::this_thread::yield();
        }
    }

private:
    static constexpr std::size_t fieldCount = 6;

    static std::array<double, fieldCount> toArray(const LoudnessValues &v)
    {
        return {v.momentary, v.shortTerm, v.integrated, v.loudnessRange, v.truePeakLeft, v.truePeakRight};
    }

    std::atomic<std::uint32_t> sequence_{0};
    std::array<std::atomic<double>, fieldCount> fields_{};
};
