#pragma once

#include "engine/dsp/LogBandLayout.h"

#include <cstddef>
#include <memory>
#include <span>

struct fftwf_plan_s;

// What the band mapping needs to know; frequencies in Hz, amplitudes in dB.
struct SpectrumParams {
    float sampleRate = 48000.0f;
    float minFreq = 20.0f;
    float maxFreq = 24000.0f;
    float minAmp = -96.0f;
    float maxAmp = 0.0f;
    float calibrationOffset = 12.0f; // dB added to every bin level
    int bandCount = 31;
};

// Fractional-octave band levels of one 4096-sample mono frame: Hann window, forward
// FFT (FFTW, single precision), power per bin, dB, then mapToLogBands.
//
// The FFTW plan and all buffers are made in the constructor, so analyze() never
// allocates and may run on an audio thread. One instance must not be used by two
// threads at once; give each thread its own analyser.
class SpectrumAnalyzer {
public:
    static constexpr std::size_t fftSize = 4096;
    // Bins 0 ... fftSize/2 - 1 carry the spectrum; the Nyquist bin is not used.
    static constexpr std::size_t binCount = fftSize / 2;

    SpectrumAnalyzer();
    ~SpectrumAnalyzer();
    SpectrumAnalyzer(const SpectrumAnalyzer &) = delete;
    SpectrumAnalyzer &operator=(const SpectrumAnalyzer &) = delete;

    // mono: exactly fftSize samples. bandsOut.size() must equal params.bandCount
    // (otherwise bandsOut.size() bands are written). Band levels in dB.
    void analyze(const float *mono, const SpectrumParams &params, std::span<float> bandsOut);

    // The binCount bin levels (dB) of the latest analyze() call.
    std::span<const float> dbMagnitudes() const { return {dbMagnitudes_.get(), binCount}; }

private:
    struct FftwFree {
        void operator()(float *memory) const noexcept;
    };
    struct PlanDestroy {
        void operator()(fftwf_plan_s *plan) const noexcept;
    };
    using FftwBuffer = std::unique_ptr<float, FftwFree>;

    FftwBuffer window_;       // fftSize Hann coefficients
    FftwBuffer input_;        // fftSize windowed samples (FFT input)
    FftwBuffer spectrum_;     // (fftSize/2 + 1) complex bins as re, im pairs
    FftwBuffer dbMagnitudes_; // binCount bin levels in dB
    std::unique_ptr<fftwf_plan_s, PlanDestroy> plan_; // real-to-complex plan, input_ -> spectrum_
    LogBandLayout bandLayout_; // bin ranges of the bands for the latest parameters
};

// Maps bin levels (dB, dbMagnitudes.size() bins of sampleRate/4096 Hz each) onto
// bandsOut.size() bands between params.minFreq and params.maxFreq: the lowest bands
// one bin wide and linearly spaced, the rest logarithmically. Each band is the highest
// bin level in its range, clamped to params.minAmp ... params.maxAmp.
void mapToLogBands(std::span<const float> dbMagnitudes, const SpectrumParams &params,
                   std::span<float> bandsOut);

// The spectrum input of one captured block: the first fftSize frames, mixed to mono as
// (left + right) * 0.5, or left alone when right is nullptr. Returns false, writing
// nothing, when the block has fewer than fftSize frames.
bool monoFromBlock(const float *left, const float *right, std::size_t frameCount,
                   std::span<float, SpectrumAnalyzer::fftSize> monoOut);
