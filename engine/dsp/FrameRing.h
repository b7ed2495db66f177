#pragma once

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// Interleaved frames from one producer thread to one consumer thread, lock-free, in
// memory allocated once. The producer never waits: what does not fit is refused and the
// caller counts it. The consumer reads in place, in at most two contiguous pieces.
class FrameRing {
public:
    // Holds at least minFrames frames of `channels` samples (rounded up to a power of two).
    FrameRing(std::size_t channels, std::size_t minFrames)
        : channels_(channels), capacity_(std::bit_ceil(std::max<std::size_t>(minFrames, 1))),
          samples_(capacity_ * channels)
    {
    }

    std::size_t channels() const { return channels_; }
    std::size_t capacity() const { return capacity_; }

    // Producer. Frames that fit now; write them with writeFrame(), then publish().
    std::size_t freeFrames() const
    {
        return capacity_ - static_cast<std::size_t>(written_.load(std::memory_order_relaxed)
                                                    - read_.load(std::memory_order_acquire));
    }
    // Producer: the samples of frame `offset` after the last published one.
    float *frame(std::size_t offset)
    {
        const std::uint64_t position = written_.load(std::memory_order_relaxed) + offset;
        return samples_.data() + static_cast<std::size_t>(position & (capacity_ - 1)) * channels_;
    }
    void publish(std::size_t frames) { written_.fetch_add(frames, std::memory_order_release); }

    // Consumer: the oldest unread frames that lie contiguous in memory (empty if none).
    std::span<const float> readable() const
    {
        const std::uint64_t read = read_.load(std::memory_order_relaxed);
        const auto available = static_cast<std::size_t>(written_.load(std::memory_order_acquire) - read);
        const auto start = static_cast<std::size_t>(read & (capacity_ - 1));
        const std::size_t frames = std::min(available, capacity_ - start);
        return {samples_.data() + start * channels_, frames * channels_};
    }
    void consume(std::size_t frames) { read_.fetch_add(frames, std::memory_order_release); }

    // Any thread: frames published so far, and consumed so far.
    std::uint64_t writtenFrames() const { return written_.load(std::memory_order_acquire); }
    std::uint64_t consumedFrames() const { return read_.load(std::memory_order_acquire); }

private:
    const std::size_t channels_;
    const std::size_t capacity_; // frames, a power of two
    std::vector<float> samples_;
    alignas(64) std::atomic<std::uint64_t> written_{0}; // frames published by the producer
    alignas(64) std::atomic<std::uint64_t> read_{0};    // frames consumed
};
