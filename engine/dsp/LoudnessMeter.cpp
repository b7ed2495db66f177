#include "engine/dsp/LoudnessMeter.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace {

// The metering thread's own rhythm: momentary loudness changes every 100 ms, and the
// display reads it at up to 60 Hz, so 25 ms keeps what is shown at most one tick late.
constexpr std::chrono::milliseconds wakeInterval{25};

// The ring holds at least this much audio (rounded up to a power of two frames): the
// metering thread may be kept from running for that long without anything being lost.
constexpr std::size_t ringSeconds = 1;

} // namespace

LoudnessMeter::LoudnessMeter(int channels, int sampleRate) : LoudnessMeter(channels, sampleRate, {}, Options{}) {}

LoudnessMeter::LoudnessMeter(int channels, int sampleRate, std::vector<int> channelRoles, Options options)
    : channels_(channels), feeding_(options.feeding)
{
    if (channels < 0 || sampleRate < 0) {
        throw std::invalid_argument("LoudnessMeter: negative channel count or sample rate");
    }
    if (!channelRoles.empty() && channelRoles.size() != static_cast<std::size_t>(channels)) {
        throw std::invalid_argument("LoudnessMeter: one channel role per channel, or none");
    }
    measurement_ = std::make_unique<LoudnessMeasurement>(channels, sampleRate, channelRoles, options.startsMidSignal);
    if (!measurement_->isMeasuring()) return;
    const auto channelCount = static_cast<std::size_t>(channels);
    if (feeding_ == Feeding::inlined) {
        piece_.assign(channelCount * pieceFrames, 0.0f);
        return;
    }
    ring_ = std::make_unique<FrameRing>(channelCount, ringSeconds * static_cast<std::size_t>(sampleRate));
    meteringThread_ = std::thread([this] { runMeteringThread(); });
    pthread_setname_np(meteringThread_.native_handle(), "kelvra-loudness");
}

LoudnessMeter::~LoudnessMeter()
{
    if (!meteringThread_.joinable()) return;
    {
        std::lock_guard guard(wakeLock_);
        stopping_ = true;
    }
    wake_.notify_all();
    meteringThread_.join();
}

void LoudnessMeter::addFrames(const float *left, const float *right, std::size_t frameCount)
{
    if (!isMeasuring() || frameCount == 0) return;
    const auto channels = static_cast<std::size_t>(channels_);
    if (right == nullptr) right = left;
    if (feeding_ == Feeding::inlined) {
        while (frameCount > 0) {
            const std::size_t n = std::min(frameCount, pieceFrames);
            float *out = piece_.data();
            for (std::size_t i = 0; i < n; ++i, out += channels) {
                out[0] = left[i];
                if (channels >= 2) out[1] = right[i];
                // The other channels keep the zeros they were given at construction.
            }
            measure(piece_.data(), n);
            left += n;
            right += n;
            frameCount -= n;
        }
        return;
    }
    const std::size_t fit = std::min(frameCount, ring_->freeFrames());
    for (std::size_t i = 0; i < fit; ++i) {
        float *out = ring_->frame(i);
        out[0] = left[i];
        if (channels >= 2) out[1] = right[i];
        for (std::size_t c = 2; c < channels; ++c) out[c] = 0.0f;
    }
    ring_->publish(fit);
    if (fit < frameCount) dropped_.fetch_add(frameCount - fit, std::memory_order_relaxed);
}

void LoudnessMeter::addInterleaved(const float *frames, std::size_t frameCount)
{
    if (!isMeasuring() || frameCount == 0) return;
    if (feeding_ == Feeding::inlined) {
        measure(frames, frameCount);
        return;
    }
    const auto channels = static_cast<std::size_t>(channels_);
    const std::size_t fit = std::min(frameCount, ring_->freeFrames());
    for (std::size_t i = 0; i < fit; ++i) std::copy_n(frames + i * channels, channels, ring_->frame(i));
    ring_->publish(fit);
    if (fit < frameCount) dropped_.fetch_add(frameCount - fit, std::memory_order_relaxed);
}

void LoudnessMeter::measure(const float *frames, std::size_t frameCount)
{
    measurement_->add(frames, frameCount);
    published_.write(measurement_->values());
}

void LoudnessMeter::flush()
{
    if (!isMeasuring()) return;
    if (!ring_) {
        measurement_->updateSlowValues();
        published_.write(measurement_->values());
        return;
    }
    std::unique_lock lock(wakeLock_);
    const std::uint64_t request = ++flushesWanted_;
    wake_.notify_all();
    drained_.wait(lock, [&] { return flushesDone_ >= request; });
}

void LoudnessMeter::runMeteringThread()
{
    std::unique_lock lock(wakeLock_);
    while (!stopping_) {
        wake_.wait_for(lock, wakeInterval, [this] { return stopping_ || flushesWanted_ > flushesDone_; });
        // Everything added before these flush() calls is in the ring by now.
        const std::uint64_t answering = flushesWanted_;
        lock.unlock();
        drainRing();
        if (answering > flushesDone_) {
            measurement_->updateSlowValues();
            published_.write(measurement_->values());
        }
        lock.lock();
        flushesDone_ = answering;
        drained_.notify_all();
    }
}

void LoudnessMeter::drainRing()
{
    for (;;) {
        const std::span<const float> frames = ring_->readable();
        if (frames.empty()) return;
        const std::size_t count = frames.size() / ring_->channels();
        measure(frames.data(), count);
        // Published before the frames count as consumed, so a flush() that sees them
        // consumed reads their values.
        ring_->consume(count);
    }
}
