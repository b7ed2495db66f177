#pragma once

#include "engine/dsp/EnergyHistogram.h"
#include "engine/dsp/LoudnessValues.h"
#include "engine/dsp/TruePeakScanner.h"

#include <ebur128.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

// One EBU R128 measurement of interleaved frames, in memory and time per frame that do
// not grow with its length. Single-threaded; LoudnessMeter decides which thread feeds it.
//
// libebur128 runs in momentary mode only: it K-weights the audio and keeps the last
// 400 ms, with no list of gating blocks, so feeding it never allocates. Every 10 ms of
// audio its energy of that step is taken (one pass over the step's samples) into a ring
// of the last 300 steps, and momentary = the mean of the last 40 steps, short-term = the
// mean of the last 300: the sums libebur128's full mode makes at that point, steps not
// yet measured counting as silence as in the library's zeroed buffer. Publishing them
// every 10 ms rather than every 100 ms is what lets a display tick catch the highest
// momentary loudness of a 400 ms burst wherever it starts (EBU Tech 3341 case 14).
// At each 100 ms boundary, counted in frames from the start as libebur128 counts them:
//   - from 400 ms on the momentary energy is a gating block, and every second from 3 s
//     on the short-term energy is a loudness-range block, exactly where libebur128 makes
//     its blocks; both go into EnergyHistograms (see there for the error bound of the
//     integrated loudness and range they give: 0.05 LU on programme material);
//   - on every fifth boundary integrated loudness and range are recomputed from them.
// At rates that are no multiple of 100 Hz the 10 ms steps do not tile 100 ms; the steps
// are then whole 100 ms blocks, and where even those are not a whole number of frames
// (a rate whose tenth rounds up, such as 11025 Hz) momentary comes from the library
// directly and short-term and range leave out one frame in each block.
//
// True peak: one TruePeakScanner per channel, bit-identical to libebur128's true peak.
class LoudnessMeasurement {
public:
    // roles: empty (libebur128's default channel roles) or one libebur128 `enum channel`
    // value per channel. startsMidSignal: the first frames are not the start of the
    // signal (see TruePeakScanner::primeByReflection).
    LoudnessMeasurement(int channels, int sampleRate, const std::vector<int> &roles, bool startsMidSignal);
    ~LoudnessMeasurement();
    LoudnessMeasurement(const LoudnessMeasurement &) = delete;
    LoudnessMeasurement &operator=(const LoudnessMeasurement &) = delete;

    // False when libebur128 refused the channel count, rate or a role.
    bool isMeasuring() const { return state_ != nullptr; }
    std::size_t channels() const { return channels_; }

    // Interleaved frames, in order, any number. Does not allocate.
    void add(const float *frames, std::size_t frameCount);

    // Momentary and short-term as of the last 10 ms step, integrated and range as of the
    // last 500 ms (or the last updateSlowValues()), the true peaks as of the last add().
    const LoudnessValues &values() const { return values_; }
    // Integrated loudness and range from every block so far.
    void updateSlowValues();

private:
    void stepCompleted();
    void blockCompleted();
    double meanOfLastSteps(std::size_t count) const;
    void updateTruePeaks();

    static constexpr std::size_t maxSteps = 300; // 3 s of 10 ms steps

    ebur128_state *state_ = nullptr;
    std::size_t channels_ = 0;
    unsigned long stepMs_ = 10;        // window of one step energy
    std::size_t stepFrames_ = 0;       // frames between two step queries
    std::size_t stepsPerBlock_ = 10;   // steps in 100 ms
    bool stepsTileBlocks_ = true;      // stepsPerBlock_ steps are exactly libebur128's 100 ms
    std::size_t framesInStep_ = 0;     // frames of the current step fed so far
    std::size_t stepsInBlock_ = 0;     // completed steps of the current 100 ms
    std::uint64_t steps_ = 0;          // completed steps
    std::uint64_t blocks_ = 0;         // completed 100 ms blocks
    std::array<double, maxSteps> stepEnergy_{}; // the last steps' energies, ring
    double momentaryEnergy_ = 0.0;     // as of the last step
    double shortTermEnergy_ = 0.0;     // as of the last step
    EnergyHistogram gatingBlocks_;     // momentary energies, every 100 ms from 400 ms on
    EnergyHistogram rangeBlocks_;      // short-term energies, every 1 s from 3 s on
    std::vector<TruePeakScanner> peaks_; // one per channel
    bool primePeaks_ = false;          // reflect the first frames into the interpolators
    LoudnessValues values_;
};
