#include "engine/dsp/SpectrumSampleStore.h"

#include <algorithm>

static_assert(std::atomic<float>::is_always_lock_free);
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

void SpectrumSampleStore::push(const float *mono, std::size_t count) noexcept
{
    if (count == 0) return;
    std::uint64_t start = written_.load(std::memory_order_relaxed);
    // Only the newest window can ever be read.
    if (count > capacity) {
        mono += count - capacity;
        start += count - capacity;
        count = capacity;
    }
    writing_.store(start + count, std::memory_order_relaxed);
    // Release stores (no stand-alone fence, which ThreadSanitizer cannot follow): a reader
    // that sees any sample stored below also sees the announcement above.
    for (std::size_t i = 0; i < count; ++i) ring_[(start + i) % ringSize].store(mono[i], std::memory_order_release);
    written_.store(start + count, std::memory_order_release);
}

std::optional<std::size_t> SpectrumSampleStore::read(float *dest, std::size_t maxCount) noexcept
{
    for (int attempt = 0; attempt < 2; ++attempt) {
        const std::uint64_t end = written_.load(std::memory_order_acquire);
        if (end == readUpTo_) return std::nullopt;
        const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>({end, capacity, maxCount}));
        const std::uint64_t begin = end - count;
        for (std::size_t i = 0; i < count; ++i) dest[i] = ring_[(begin + i) % ringSize].load(std::memory_order_acquire);
        // The copy is whole unless a write since announced reached the oldest slot copied.
        const std::uint64_t announced = writing_.load(std::memory_order_relaxed);
        if (announced - begin <= ringSize) {
            readUpTo_ = end;
            return count;
        }
    }
    return std::nullopt;
}
