#include "engine/analysis/LoudnessLane.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

constexpr int laneMode = EBUR128_MODE_M | EBUR128_MODE_S | EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_SAMPLE_PEAK;

// libebur128's own conversion, so equal energies give equal loudness.
double energyToLoudness(double energy) { return 10 * (std::log(energy) / std::log(10.0)) - 0.691; }
double loudnessToEnergy(double lufs) { return std::pow(10.0, (lufs + 0.691) / 10.0); }

} // namespace

LoudnessLane::LoudnessLane(int sampleRate, const std::vector<int> &roles)
    : channels_(static_cast<int>(roles.size()))
{
    if (sampleRate <= 0 || roles.empty()) return;
    state_ = ebur128_init(static_cast<unsigned>(channels_), static_cast<unsigned long>(sampleRate), laneMode);
    if (!state_) return;
    for (unsigned c = 0; c < roles.size(); ++c) ebur128_set_channel(state_, c, roles[c]);
    stepFrames_ = std::max<std::size_t>(1, static_cast<std::size_t>(sampleRate) * stepMs / 1000);
}

LoudnessLane::~LoudnessLane()
{
    if (state_) ebur128_destroy(&state_);
}

void LoudnessLane::add(const float *frames, std::size_t frameCount)
{
    if (!state_) return;
    while (frameCount > 0) {
        const std::size_t take = std::min(frameCount, stepFrames_ - framesInStep_);
        ebur128_add_frames_float(state_, frames, take);
        frames += take * static_cast<std::size_t>(channels_);
        frameCount -= take;
        framesInStep_ += take;
        if (framesInStep_ == stepFrames_) {
            framesInStep_ = 0;
            stepCompleted();
        }
    }
}

void LoudnessLane::stepCompleted()
{
    double stepLoudness = -HUGE_VAL;
    ebur128_loudness_window(state_, stepMs, &stepLoudness);
    stepEnergy_[steps_ % shortTermSteps] = std::isfinite(stepLoudness) ? loudnessToEnergy(stepLoudness) : 0.0;
    ++steps_;
    if (steps_ >= momentarySteps) {
        double sum = 0.0;
        for (std::size_t k = steps_ - momentarySteps; k < steps_; ++k) sum += stepEnergy_[k % shortTermSteps];
        maxMomentaryEnergy_ = std::max(maxMomentaryEnergy_, sum / momentarySteps);
    }
    if (steps_ >= shortTermSteps) {
        const double energy = std::accumulate(stepEnergy_.begin(), stepEnergy_.end(), 0.0) / shortTermSteps;
        maxShortTermEnergy_ = std::max(maxShortTermEnergy_, energy);
    }
}

void LoudnessLane::finish(FileAnalysis &result) const
{
    if (!state_) return;
    if (steps_ < momentarySteps) {
        result.notes.emplace_back("shorter than 400 ms: no momentary or integrated loudness");
    } else {
        double integrated = -HUGE_VAL;
        ebur128_loudness_global(state_, &integrated);
        if (std::isfinite(integrated)) {
            result.integratedLufs = integrated;
        } else {
            result.notes.emplace_back("below the -70 LUFS gate throughout: no integrated loudness");
        }
        if (maxMomentaryEnergy_ > 0.0) result.maxMomentaryLufs = energyToLoudness(maxMomentaryEnergy_);
    }
    if (steps_ < shortTermSteps) {
        result.notes.emplace_back("shorter than 3 s: no short-term loudness or loudness range");
    } else {
        double range = 0.0;
        if (ebur128_loudness_range(state_, &range) == EBUR128_SUCCESS) result.loudnessRangeLu = range;
        if (maxShortTermEnergy_ > 0.0) result.maxShortTermLufs = energyToLoudness(maxShortTermEnergy_);
    }
    result.samplePeaks.assign(static_cast<std::size_t>(channels_), 0.0);
    for (unsigned c = 0; c < result.samplePeaks.size(); ++c) ebur128_sample_peak(state_, c, &result.samplePeaks[c]);
}

namespace analysis {

std::optional<double> peakDecibels(double linear)
{
    if (!(linear > 0.0)) return std::nullopt;
    return 20.0 * std::log10(linear);
}

std::optional<double> maxPeakDecibels(const std::vector<double> &linearPeaks)
{
    if (linearPeaks.empty()) return std::nullopt;
    return peakDecibels(*std::max_element(linearPeaks.begin(), linearPeaks.end()));
}

} // namespace analysis
