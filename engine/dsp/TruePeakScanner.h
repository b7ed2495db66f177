#pragma once

#include <cstddef>
#include <vector>

// True peak of one channel, as libebur128 1.2.6 measures it: a 49-tap windowed-sinc
// interpolator oversamples 4x below 96 kHz and 2x below 192 kHz (no oversampling above),
// and the peak is the largest magnitude of the oversampled signal or of the samples.
//
// The arithmetic is the library's, term for term: every oversampled value is a double sum
// over the same taps in the same order, rounded to float, with denormal results flushed
// to zero, so the peaks are bit-identical to a libebur128 state fed the same samples. Only
// the loop order differs: the library walks one sample at a time through a ring buffer,
// here sixteen outputs are summed side by side, which the compiler vectorizes. That
// makes the scan several times faster, and true peak is most of a loudness measurement's
// cost.
//
// Not thread-safe; one scanner per channel, fed in order. add() does not allocate.
class TruePeakScanner {
public:
    // sampleRate in Hz (positive).
    explicit TruePeakScanner(int sampleRate);

    // For a signal picked up while it was already playing: fills the interpolator's past
    // with the even reflection of the first samples about the first one (x[-k] = x[k]),
    // instead of the zeros a signal starting from silence has. A step from silence to a
    // steady tone rings through the interpolator and reads up to 0.9 dB above the tone;
    // the reflection continues the wave without a step. Call before the first add(), with
    // the samples that add() will be given first (at least one; fewer than the history
    // repeat the last one given).
    void primeByReflection(const float *samples, std::size_t frames, std::size_t stride);

    // Feeds `frames` samples read from samples[0], samples[stride], samples[2 * stride]...
    // (stride = the channel count of an interleaved block, 1 for a plain channel).
    void add(const float *samples, std::size_t frames, std::size_t stride);

    // Linear peaks so far (1.0 = full scale); 0.0 before any non-zero sample.
    double truePeak() const; // the larger of the interpolated and the sample peak
    double samplePeak() const { return samplePeak_; }
    // Oversampling factor: 4, 2, or 1 (none) for this sample rate.
    unsigned factor() const { return factor_; }

private:
    void scanRun(std::size_t frames);

    // One polyphase branch: coefficients for the samples `delays[t]` frames back.
    struct Phase {
        std::vector<double> coefficients; // the window-weighted sinc, zero terms left out
        std::vector<unsigned> delays;     // frames back, ascending
    };

    static constexpr std::size_t runFrames = 512; // samples per run (a multiple of lanes)
    static constexpr std::size_t lanes = 16;      // outputs summed side by side

    unsigned factor_ = 1;           // oversampling factor
    std::size_t history_ = 0;       // frames of past input the taps reach back
    std::vector<Phase> phases_;     // one per oversampled position
    std::vector<double> input_;     // history_ past samples, then the current run, as doubles
    float interpolatedPeak_ = 0.0f; // largest oversampled magnitude
    double samplePeak_ = 0.0;       // largest sample magnitude
};
