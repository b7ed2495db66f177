#pragma once

#include "engine/analysis/FileAnalysis.h"

#include <ebur128.h>

#include <array>
#include <cstddef>
#include <vector>

// Momentary, short-term, integrated loudness, loudness range and sample peak of one
// file: one libebur128 state over all channels, without true peak (the TruePeakScanners
// measure that beside it). Integrated loudness, range and sample peak are therefore
// exactly what one state in the full mode reports for the same frames.
//
// The largest momentary and short-term loudness are sampled every 10 ms of audio, from
// the first window full of audio on: the library reports the energy of each 10 ms step
// (one pass over its samples), and a window's energy is the mean of its last 40 or 300
// steps. Sampling ten times finer than the 100 ms meters usually update at is what lets
// the maximum of a short burst read its level wherever the burst starts (EBU Tech 3341
// case 13: a 400 ms tone at 20 ms offsets); it costs a few hundred additions a step
// instead of summing three seconds of samples each time.
class LoudnessLane {
public:
    // roles: one per channel. isMeasuring() is false when libebur128 refuses the
    // channel count or rate.
    LoudnessLane(int sampleRate, const std::vector<int> &roles);
    ~LoudnessLane();
    LoudnessLane(const LoudnessLane &) = delete;
    LoudnessLane &operator=(const LoudnessLane &) = delete;

    bool isMeasuring() const { return state_ != nullptr; }

    // Interleaved frames, in order.
    void add(const float *frames, std::size_t frameCount);

    // Fills integrated loudness, range, the maxima and sample peaks, with notes for what
    // the measured length does not allow.
    void finish(FileAnalysis &result) const;

private:
    void stepCompleted();

    static constexpr int stepMs = 10;
    static constexpr std::size_t shortTermSteps = 3000 / stepMs; // steps in a short-term window
    static constexpr std::size_t momentarySteps = 400 / stepMs;  // steps in a momentary window

    ebur128_state *state_ = nullptr;
    int channels_ = 0;
    std::size_t stepFrames_ = 0;         // frames in one step
    std::size_t framesInStep_ = 0;       // frames of the current step fed so far
    std::size_t steps_ = 0;              // completed steps
    std::array<double, shortTermSteps> stepEnergy_{}; // weighted mean square of the last steps, ring
    double maxMomentaryEnergy_ = 0.0;    // largest mean of a momentary window's step energies
    double maxShortTermEnergy_ = 0.0;    // largest mean of a short-term window's step energies
};
