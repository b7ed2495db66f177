#include "engine/dsp/LoudnessMeasurement.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double noLoudness = -70.0; // LUFS / dBTP shown when there is no value

constexpr std::uint64_t momentaryBlocks = 4;   // 100 ms blocks in a momentary window
constexpr std::uint64_t shortTermBlocks = 30;  // in a short-term window
constexpr std::uint64_t rangeBlockHop = 10;    // libebur128 takes a range block every second
constexpr std::uint64_t slowQueryInterval = 5; // integrated and range every 500 ms

// libebur128's relative gates, computed by the same expressions.
const double integratedGate = std::pow(10.0, -10.0 / 10.0);
const double rangeGate = std::pow(10.0, -20.0 / 10.0);

double loudnessOf(double energy) { return energy > 0.0 ? EnergyHistogram::energyToLoudness(energy) : noLoudness; }

double truePeakDb(double linear) { return linear > 0.0 ? 20.0 * std::log10(linear) : noLoudness; }

} // namespace

LoudnessMeasurement::LoudnessMeasurement(int channels, int sampleRate, const std::vector<int> &roles,
                                         bool startsMidSignal)
    : primePeaks_(startsMidSignal)
{
    if (channels <= 0 || sampleRate <= 0) return;
    state_ = ebur128_init(static_cast<unsigned>(channels), static_cast<unsigned long>(sampleRate), EBUR128_MODE_M);
    if (state_ == nullptr) return;
    for (unsigned c = 0; c < roles.size(); ++c) {
        if (ebur128_set_channel(state_, c, roles[c]) != EBUR128_SUCCESS) {
            ebur128_destroy(&state_);
            return;
        }
    }
    channels_ = static_cast<std::size_t>(channels);
    const auto rate = static_cast<std::size_t>(sampleRate);
    const std::size_t blockFrames = (rate + 5) / 10; // libebur128's 100 ms
    if (rate % 100 == 0) {
        stepMs_ = 10;
        stepFrames_ = rate / 100;
        stepsPerBlock_ = 10;
    } else {
        stepMs_ = 100;
        stepFrames_ = blockFrames;
        stepsPerBlock_ = 1;
        stepsTileBlocks_ = rate * stepMs_ / 1000 == blockFrames;
    }
    peaks_.assign(channels_, TruePeakScanner(sampleRate));
}

LoudnessMeasurement::~LoudnessMeasurement()
{
    if (state_ != nullptr) ebur128_destroy(&state_);
}

void LoudnessMeasurement::add(const float *frames, std::size_t frameCount)
{
    if (state_ == nullptr || frameCount == 0) return;
    if (primePeaks_) {
        for (std::size_t c = 0; c < channels_; ++c) peaks_[c].primeByReflection(frames + c, frameCount, channels_);
        primePeaks_ = false;
    }
    for (std::size_t c = 0; c < channels_; ++c) peaks_[c].add(frames + c, frameCount, channels_);
    updateTruePeaks();

    while (frameCount > 0) {
        const std::size_t take = std::min(frameCount, stepFrames_ - framesInStep_);
        ebur128_add_frames_float(state_, frames, take);
        frames += take * channels_;
        frameCount -= take;
        framesInStep_ += take;
        if (framesInStep_ == stepFrames_) {
            framesInStep_ = 0;
            stepCompleted();
        }
    }
}

void LoudnessMeasurement::stepCompleted()
{
    double loudness = -HUGE_VAL;
    ebur128_loudness_window(state_, stepMs_, &loudness);
    // Back from loudness to energy: the library only reports the former. Equal to the
    // step's mean square to the last bits or so, far below what a meter shows.
    stepEnergy_[steps_ % maxSteps] = std::isfinite(loudness) ? std::pow(10.0, (loudness + 0.691) / 10.0) : 0.0;
    ++steps_;

    if (stepsTileBlocks_) {
        momentaryEnergy_ = meanOfLastSteps(momentaryBlocks * stepsPerBlock_);
    } else {
        loudness = -HUGE_VAL;
        ebur128_loudness_momentary(state_, &loudness);
        momentaryEnergy_ = std::isfinite(loudness) ? std::pow(10.0, (loudness + 0.691) / 10.0) : 0.0;
    }
    shortTermEnergy_ = meanOfLastSteps(shortTermBlocks * stepsPerBlock_);
    values_.momentary = loudnessOf(momentaryEnergy_);
    values_.shortTerm = loudnessOf(shortTermEnergy_);

    if (++stepsInBlock_ == stepsPerBlock_) {
        stepsInBlock_ = 0;
        blockCompleted();
    }
}

double LoudnessMeasurement::meanOfLastSteps(std::size_t count) const
{
    // Before a whole window has passed, the steps not yet measured count as silence, as
    // libebur128's zeroed buffer counts them.
    double sum = 0.0;
    for (std::uint64_t k = steps_ - std::min<std::uint64_t>(count, steps_); k < steps_; ++k) {
        sum += stepEnergy_[k % maxSteps];
    }
    return sum / static_cast<double>(count);
}

void LoudnessMeasurement::blockCompleted()
{
    ++blocks_;
    if (blocks_ >= momentaryBlocks) gatingBlocks_.add(momentaryEnergy_);
    if (blocks_ >= shortTermBlocks && (blocks_ - shortTermBlocks) % rangeBlockHop == 0) {
        rangeBlocks_.add(shortTermEnergy_);
    }
    if (blocks_ % slowQueryInterval == 0) updateSlowValues();
}

void LoudnessMeasurement::updateSlowValues()
{
    values_.integrated = loudnessOf(gatingBlocks_.gatedMeanEnergy(integratedGate));
    values_.loudnessRange = rangeBlocks_.range(rangeGate);
}

void LoudnessMeasurement::updateTruePeaks()
{
    // Two channels are left and right; one shows on both sides; with more, each side
    // shows the largest of all channels, as a delivery check of the louder channel needs.
    if (channels_ == 2) {
        values_.truePeakLeft = truePeakDb(peaks_[0].truePeak());
        values_.truePeakRight = truePeakDb(peaks_[1].truePeak());
        return;
    }
    double peak = 0.0;
    for (const TruePeakScanner &scanner : peaks_) peak = std::max(peak, scanner.truePeak());
    values_.truePeakLeft = values_.truePeakRight = truePeakDb(peak);
}
