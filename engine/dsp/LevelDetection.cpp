#include "engine/dsp/LevelDetection.h"

#include <algorithm>
#include <cmath>

namespace {

// Eight independent accumulators let the compiler keep the reduction in vector
// registers without -ffast-math (a single accumulator forces strict ordering).
constexpr std::size_t lanes = 8;

struct RawLevels {
    float peak = 0.0f;
    float sumOfSquares = 0.0f;
};

RawLevels measure(const float *samples, std::size_t count)
{
    float maxima[lanes] = {};
    float sums[lanes] = {};
    const std::size_t whole = count - count % lanes;
    for (std::size_t i = 0; i < whole; i += lanes) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const float x = samples[i + lane];
            const float magnitude = std::fabs(x);
            maxima[lane] = magnitude > maxima[lane] ? magnitude : maxima[lane];
            sums[lane] += x * x;
        }
    }
    // The tail of a block whose length is not a multiple of the lane count.
    for (std::size_t i = whole; i < count; ++i) {
        const float x = samples[i];
        maxima[0] = std::max(maxima[0], std::fabs(x));
        sums[0] += x * x;
    }

    RawLevels raw;
    for (std::size_t lane = 0; lane < lanes; ++lane) {
        raw.peak = std::max(raw.peak, maxima[lane]);
        raw.sumOfSquares += sums[lane];
    }
    return raw;
}

} // namespace

float amplitudeToDb(float amplitude)
{
    if (!(amplitude > 0.0f)) return levelFloorDb;
    const float db = std::min(20.0f * std::log10(amplitude), levelCeilingDb);
    return std::max(db, levelFloorDb);
}

ChannelLevels calculateLevels(const float *samples, std::size_t count)
{
    LevelAccumulator accumulator;
    accumulator.add(samples, count);
    return accumulator.levels();
}

void LevelAccumulator::add(const float *samples, std::size_t count)
{
    if (count < 1 || samples == nullptr) return;
    const RawLevels raw = measure(samples, count);
    peak_ = std::max(peak_, raw.peak);
    sumOfSquares_ += raw.sumOfSquares;
    count_ += count;
}

ChannelLevels LevelAccumulator::levels() const
{
    if (count_ == 0) return {};
    const float rms = std::sqrt(sumOfSquares_ / static_cast<float>(count_));
    return {amplitudeToDb(peak_), amplitudeToDb(rms)};
}

float roundToTenthDb(float db)
{
    return std::round(db * 10.0f) / 10.0f;
}
