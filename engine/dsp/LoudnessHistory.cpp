#include "engine/dsp/LoudnessHistory.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <stdexcept>

namespace {

std::uint64_t nextGeneration()
{
    static std::atomic<std::uint64_t> counter{0};
    return ++counter;
}

} // namespace

std::int16_t LoudnessHistory::Sample::encode(double value)
{
    if (!(value > noValueLufs)) return noValue; // also NaN
    // Hundredths keep the 0.1 LU the read-outs show; the clamp keeps clear of noValue.
    const double centi = std::round(std::clamp(value, -300.0, 300.0) * 100.0);
    return static_cast<std::int16_t>(centi);
}

LoudnessHistory::LoudnessHistory(std::size_t capacity) : samples_(capacity), generation_(nextGeneration())
{
    if (capacity == 0) throw std::invalid_argument("LoudnessHistory needs room for one sample");
}

void LoudnessHistory::markMeasurementStart()
{
    measurementStartPending_ = true;
    summary_.reset();
}

void LoudnessHistory::clear()
{
    count_ = 0;
    total_ = 0;
    originSeconds_.reset();
    nextSlot_ = 0;
    latestSeconds_ = 0.0;
    measurementStartPending_ = true;
    summary_.reset();
    generation_ = nextGeneration();
}

void LoudnessHistory::advance(double nowSeconds, const Input &values)
{
    if (!originSeconds_) {
        record(nowSeconds, values);
        originSeconds_ = nowSeconds;
        nextSlot_ = 1;
        return;
    }
    // Slots counted from the first sample rather than summed up tick by tick, so rounding
    // never lets the grid drift; the small allowance keeps a tick that lands exactly on a
    // slot (give or take the last bit) in that slot.
    const double elapsedSlots = (nowSeconds - *originSeconds_) / sampleIntervalSeconds + 1e-6;
    if (elapsedSlots < static_cast<double>(nextSlot_)) return;
    const double currentSlot = std::floor(elapsedSlots);

    // Slots that have come due since the previous sample, this tick's own included.
    const double dueSlots = currentSlot - static_cast<double>(nextSlot_) + 1.0;
    const double late = nowSeconds - (*originSeconds_ + static_cast<double>(nextSlot_) * sampleIntervalSeconds);
    nextSlot_ = static_cast<std::uint64_t>(currentSlot) + 1;
    // More missed slots than the ring holds would only overwrite each other.
    const auto cap = static_cast<double>(samples_.size());
    const auto missed = static_cast<std::size_t>(std::min(dueSlots - 1.0, cap));

    if (late > longestBridgedPauseSeconds) {
        // Nothing was measured for the screen meanwhile: say so instead of inventing values.
        for (std::size_t i = 0; i < missed; ++i) pushGap();
    } else {
        // A late frame: the values it reads are the best estimate for the slots it missed.
        for (std::size_t i = 0; i < missed; ++i) {
            record(nowSeconds - static_cast<double>(missed - i) * sampleIntervalSeconds, values);
        }
    }
    record(nowSeconds, values);
}

void LoudnessHistory::record(double slotSeconds, const Input &values)
{
    Sample sample;
    sample.momentary = Sample::encode(values.momentary);
    sample.shortTerm = Sample::encode(values.shortTerm);
    sample.integrated = Sample::encode(values.integrated);
    sample.truePeak = Sample::encode(values.truePeak);
    if (measurementStartPending_) {
        sample.startsMeasurement = true;
        measurementStartPending_ = false;
        summary_ = Summary{};
        summary_->startSeconds = slotSeconds;
    }
    push(sample);
    latestSeconds_ = slotSeconds;

    Summary &summary = *summary_;
    summary.endSeconds = slotSeconds;
    summary.latest = values;
    ++summary.sampleCount;
    const auto keepMax = [](double &held, double value) {
        if (value > noValueLufs && value > held) held = value;
    };
    keepMax(summary.maxMomentary, values.momentary);
    keepMax(summary.maxShortTerm, values.shortTerm);
    keepMax(summary.maxTruePeak, values.truePeak);
}

void LoudnessHistory::pushGap()
{
    push(Sample{});
    if (summary_) ++summary_->sampleCount;
}

void LoudnessHistory::push(const Sample &sample)
{
    samples_[total_ % samples_.size()] = sample;
    ++total_;
    count_ = std::min(count_ + 1, samples_.size());
}

void LoudnessHistory::load(const std::vector<Sample> &samples, double latestSeconds)
{
    clear();
    const std::size_t skip = samples.size() > samples_.size() ? samples.size() - samples_.size() : 0;
    for (std::size_t i = skip; i < samples.size(); ++i) push(samples[i]);
    latestSeconds_ = latestSeconds;
    if (total_ > 0) {
        originSeconds_ = latestSeconds - static_cast<double>(total_ - 1) * sampleIntervalSeconds;
        nextSlot_ = total_;
    }
    measurementStartPending_ = false;
}
