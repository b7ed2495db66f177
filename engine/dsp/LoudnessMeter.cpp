#include "engine/dsp/LoudnessMeter.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <stdexcept>

namespace {

// Momentary, short-term, integrated, range, sample peak and true peak (= 63), without
// EBUR128_MODE_HISTOGRAM. Without the histogram libebur128 keeps every 100 ms gating
// block in a list, so ebur128_add_frames_float allocates one small record per 100 ms
// of audio on the calling (audio) thread. That allocation is the library's and is
// accepted for the exact, unquantised gating this mode gives.
constexpr int measurementMode = EBUR128_MODE_M | EBUR128_MODE_S | EBUR128_MODE_I
                                | EBUR128_MODE_LRA | EBUR128_MODE_SAMPLE_PEAK
                                | EBUR128_MODE_TRUE_PEAK;
static_assert(measurementMode == 63);

// Integrated loudness and range walk the whole measurement history, so they are
// refreshed on every fifth block only; the others are cheap and refreshed per block.
constexpr std::int64_t slowQueryInterval = 5;

constexpr double noLoudness = -70.0; // LUFS / dBTP shown when there is no value
constexpr double noRange = 0.0;      // LU

double loudnessOr(double value, double substitute)
{
    return std::isfinite(value) ? value : substitute;
}

double truePeakDb(double linear)
{
    return linear > 0.0 ? 20.0 * std::log10(linear) : noLoudness;
}

} // namespace

LoudnessMeter::LoudnessMeter(int channels, int sampleRate) : LoudnessMeter(channels, sampleRate, {}, Options{}) {}

LoudnessMeter::LoudnessMeter(int channels, int sampleRate, std::vector<int> channelRoles, Options)
    : channels_(channels)
{
    if (channels < 0 || sampleRate < 0) {
        throw std::invalid_argument("LoudnessMeter: negative channel count or sample rate");
    }
    state_.channels = channels;
    state_.interleaveBuffer.assign(static_cast<std::size_t>(channels) * maxFrames, 0.0f);
    state_.handle = ebur128_init(static_cast<unsigned int>(channels),
                                 static_cast<unsigned long>(sampleRate), measurementMode);
    if (state_.handle == nullptr) return;
    for (std::size_t c = 0; c < channelRoles.size() && c < static_cast<std::size_t>(channels); ++c) {
        ebur128_set_channel(state_.handle, static_cast<unsigned int>(c), channelRoles[c]);
    }
}

LoudnessMeter::~LoudnessMeter()
{
    std::lock_guard guard(lock_);
    if (state_.handle != nullptr) {
        ebur128_destroy(&state_.handle);
    }
}

void LoudnessMeter::addFrames(const float *left, const float *right, std::size_t frameCount)
{
    std::lock_guard guard(lock_);
    if (state_.handle == nullptr) {
        return;
    }
    const std::size_t n = std::min(maxFrames, frameCount);
    float *buffer = state_.interleaveBuffer.data();
    if (state_.channels == 2 && right != nullptr) {
        for (std::size_t i = 0; i < n; ++i) {
            buffer[2 * i] = left[i];
            buffer[2 * i + 1] = right[i];
        }
    } else {
        // Any other layout passes the left samples through as they are; the rest of
        // the buffer keeps what it held.
        std::copy_n(left, n, buffer);
    }
    ebur128_add_frames_float(state_.handle, buffer, n);
    if (queriesWanted_.load(std::memory_order_relaxed)) {
        updateCachedValues();
    } else {
        // The block still counts, so integrated and range keep their every-fifth-block rhythm.
        state_.addFramesCount += 1;
        state_.refreshAll = true;
    }
}

void LoudnessMeter::addInterleaved(const float *frames, std::size_t frameCount)
{
    std::lock_guard guard(lock_);
    if (state_.handle == nullptr || frameCount == 0) {
        return;
    }
    const auto channels = static_cast<std::size_t>(state_.channels);
    for (std::size_t offset = 0; offset < frameCount; offset += maxFrames) {
        const std::size_t n = std::min(maxFrames, frameCount - offset);
        std::copy_n(frames + offset * channels, n * channels, state_.interleaveBuffer.data());
        ebur128_add_frames_float(state_.handle, state_.interleaveBuffer.data(), n);
    }
    if (queriesWanted_.load(std::memory_order_relaxed)) {
        updateCachedValues();
    } else {
        state_.addFramesCount += 1;
        state_.refreshAll = true;
    }
}

void LoudnessMeter::updateCachedValues()
{
    ebur128_state *handle = state_.handle;
    LoudnessValues &values = state_.cachedValues;
    double value = 0.0;

    // A query that fails leaves its cached value as it was.
    if (ebur128_loudness_momentary(handle, &value) == EBUR128_SUCCESS) {
        values.momentary = loudnessOr(value, noLoudness);
    }
    if (ebur128_loudness_shortterm(handle, &value) == EBUR128_SUCCESS) {
        values.shortTerm = loudnessOr(value, noLoudness);
    }
    if (ebur128_true_peak(handle, 0, &value) == EBUR128_SUCCESS) {
        values.truePeakLeft = truePeakDb(value);
    }
    if (state_.channels > 2) {
        // No stereo pair to split the channels into: both sides show the programme's peak.
        double largest = 0.0;
        for (int c = 0; c < state_.channels; ++c) {
            if (ebur128_true_peak(handle, static_cast<unsigned int>(c), &value) == EBUR128_SUCCESS) {
                largest = std::max(largest, value);
            }
        }
        values.truePeakLeft = values.truePeakRight = truePeakDb(largest);
    } else if (state_.channels == 2) {
        if (ebur128_true_peak(handle, 1, &value) == EBUR128_SUCCESS) {
            values.truePeakRight = truePeakDb(value);
        }
    } else {
        values.truePeakRight = values.truePeakLeft;
    }

    state_.addFramesCount += 1;
    if (state_.addFramesCount % slowQueryInterval == 0 || state_.refreshAll) updateSlowValues();
    state_.refreshAll = false;
}

void LoudnessMeter::updateSlowValues()
{
    LoudnessValues &values = state_.cachedValues;
    double value = 0.0;
    if (ebur128_loudness_global(state_.handle, &value) == EBUR128_SUCCESS) {
        values.integrated = loudnessOr(value, noLoudness);
    }
    if (ebur128_loudness_range(state_.handle, &value) == EBUR128_SUCCESS) {
        values.loudnessRange = loudnessOr(value, noRange);
    }
}

LoudnessValues LoudnessMeter::read() const
{
    std::lock_guard guard(lock_);
    return state_.cachedValues;
}
