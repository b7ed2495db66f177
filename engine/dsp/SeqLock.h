#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <thread>
#include <type_traits>

// A small value written by one thread (the audio thread) and read by others, where the
// writer must never wait: a sequence lock. The writer bumps the sequence to odd, stores
// the value, bumps it to even; a reader copies the value and tries again if the sequence
// was odd or moved meanwhile. The reader may retry while a write is under way; the writer
// never does, so a preempted reader can never hold the audio thread up.
//
// The value is kept in atomic words rather than plain memory so that a read racing a
// write is well-defined and discarded. Their release stores and acquire loads do the
// ordering (no stand-alone fences, which ThreadSanitizer cannot follow): a reader that
// sees any word of a write also sees the odd sequence stored before it. On x86 they
// compile to ordinary loads and stores.
template <typename T>
class SeqLock {
    static_assert(std::is_trivially_copyable_v<T>);
    static constexpr std::size_t wordCount = (sizeof(T) + sizeof(std::uint32_t) - 1) / sizeof(std::uint32_t);

public:
    explicit SeqLock(const T &initial = T{}) { write(initial); }

    // One writer thread at a time.
    void write(const T &value) noexcept
    {
        std::array<std::uint32_t, wordCount> words{};
        std::memcpy(words.data(), &value, sizeof(T));
        const std::uint32_t sequence = sequence_.load(std::memory_order_relaxed);
        sequence_.store(sequence + 1, std::memory_order_relaxed);
        for (std::size_t i = 0; i < wordCount; ++i) words_[i].store(words[i], std::memory_order_release);
        sequence_.store(sequence + 2, std::memory_order_release);
    }

    // Any number of reader threads.
    T read() const noexcept
    {
        std::array<std::uint32_t, wordCount> words{};
        for (;;) {
            const std::uint32_t before = sequence_.load(std::memory_order_acquire);
            if ((before & 1U) == 0) {
                for (std::size_t i = 0; i < wordCount; ++i) words[i] = words_[i].load(std::memory_order_acquire);
                if (sequence_.load(std::memory_order_relaxed) == before) break;
            }
            // The writer was preempted halfway; let it finish.
            std::this_thread::yield();
        }
        T value;
        std::memcpy(static_cast<void *>(&value), words.data(), sizeof(T));
        return value;
    }

    // Completed writes so far (the initial value counts as one).
    std::uint32_t writeCount() const noexcept { return sequence_.load(std::memory_order_acquire) / 2; }

private:
    std::atomic<std::uint32_t> sequence_{0};           // odd while a write is under way
    std::array<std::atomic<std::uint32_t>, wordCount> words_{}; // the value, word by word
};
