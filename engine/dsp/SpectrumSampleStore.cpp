#include "engine/dsp/SpectrumSampleStore.h"

#include <algorithm>
#include <cstring>
#include <mutex>

void SpectrumSampleStore::push(const float *mono, std::size_t count)
{
    if (count == 0) return;
    std::lock_guard guard(lock_);
    if (count >= capacity) {
        std::memcpy(ring_.data(), mono + (count - capacity), capacity * sizeof(float));
        writePos_ = 0;
        filled_ = capacity;
    } else {
        const std::size_t first = std::min(count, capacity - writePos_);
        std::memcpy(ring_.data() + writePos_, mono, first * sizeof(float));
        std::memcpy(ring_.data(), mono + first, (count - first) * sizeof(float));
        writePos_ = (writePos_ + count) % capacity;
        filled_ = std::min(filled_ + count, capacity);
    }
    available_ = true;
}

std::optional<std::size_t> SpectrumSampleStore::read(float *dest, std::size_t maxCount)
{
    std::lock_guard guard(lock_);
    if (!available_) return std::nullopt;
    available_ = false;
    const std::size_t count = std::min(filled_, maxCount);
    // The newest `count` samples end just before writePos_.
    const std::size_t start = (writePos_ + capacity - count) % capacity;
    const std::size_t first = std::min(count, capacity - start);
    std::memcpy(dest, ring_.data() + start, first * sizeof(float));
    std::memcpy(dest + first, ring_.data(), (count - first) * sizeof(float));
    return count;
}
