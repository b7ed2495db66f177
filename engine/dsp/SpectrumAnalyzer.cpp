#include "engine/dsp/SpectrumAnalyzer.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <new>
#include <numbers>

namespace {

// Hann window scaled to unit RMS (0.8165 ~ sqrt(2/3)), so windowing keeps the power
// of broadband signals; the calibration offset's default assumes exactly this scale.
constexpr double hannScale = 0.8165;

// 20 * log10(4096): the transform is unnormalised, so its bin magnitudes grow with the
// frame length; subtracting this keeps the dB figures independent of it.
constexpr float transformGainDb = 72.2472f;

// Keeps log10 finite for an all-zero frame: silence reads -100 dB before calibration.
constexpr float powerFloor = 1e-10f;

// FFTW's planner keeps global state and is not thread-safe; only fftwf_execute is.
std::mutex &plannerMutex()
{
    static std::mutex mutex;
    return mutex;
}

template <typename T>
T *fftwAlloc(std::size_t count)
{
    void *memory = fftwf_malloc(count * sizeof(T));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<T *>(memory);
}

} // namespace

SpectrumAnalyzer::SpectrumAnalyzer()
{
    window_ = fftwAlloc<float>(fftSize);
    input_ = fftwAlloc<float>(fftSize);
    spectrum_ = fftwAlloc<float>(2 * (binCount + 1));
    dbMagnitudes_ = fftwAlloc<float>(binCount);
    std::fill_n(input_, fftSize, 0.0f);
    std::fill_n(dbMagnitudes_, binCount, 0.0f);

    // Periodic Hann window (N, not N - 1, in the denominator), scaled to unit RMS.
    for (std::size_t n = 0; n < fftSize; ++n) {
        const double phase = 2.0 * std::numbers::pi * static_cast<double>(n) / fftSize;
        window_[n] = static_cast<float>(hannScale * (1.0 - std::cos(phase)));
    }

    // A real input transform gives the same bins 0 ... N/2 as a complex transform of
    // the same samples with a zero imaginary part, at half the cost.
    std::lock_guard guard(plannerMutex());
    plan_ = fftwf_plan_dft_r2c_1d(static_cast<int>(fftSize), input_,
                                  reinterpret_cast<fftwf_complex *>(spectrum_), FFTW_ESTIMATE);
}

SpectrumAnalyzer::~SpectrumAnalyzer()
{
    {
        std::lock_guard guard(plannerMutex());
        if (plan_ != nullptr) {
            fftwf_destroy_plan(plan_);
        }
    }
    fftwf_free(dbMagnitudes_);
    fftwf_free(spectrum_);
    fftwf_free(input_);
    fftwf_free(window_);
}

void SpectrumAnalyzer::analyze(const float *mono, const SpectrumParams &params,
                               std::span<float> bandsOut)
{
    for (std::size_t n = 0; n < fftSize; ++n) {
        input_[n] = mono[n] * window_[n];
    }
    fftwf_execute(plan_);

    const float offset = params.calibrationOffset - transformGainDb;
    for (std::size_t k = 0; k < binCount; ++k) {
        const float re = spectrum_[2 * k];
        const float im = spectrum_[2 * k + 1];
        const float power = re * re + im * im;
        dbMagnitudes_[k] = 10.0f * std::log10(power + powerFloor) + offset;
    }
    mapToLogBands(dbMagnitudes(), params, bandsOut);
}

void mapToLogBands(std::span<const float> dbMagnitudes, const SpectrumParams &params,
                   std::span<float> bandsOut)
{
    const int binCount = static_cast<int>(dbMagnitudes.size());
    const int bandCount = static_cast<int>(bandsOut.size());

    const float binWidth = params.sampleRate * 0.00024414063f; // Hz per bin of a 4096 FFT
    // Argument order matters for NaN: std::min/max return the first argument then, and
    // a NaN edge makes the range test below fail, giving the floor on every band.
    const float maxBin = std::min(params.maxFreq / binWidth, static_cast<float>(binCount - 1));
    const float minBin = std::max(params.minFreq / binWidth, 1.0f);
    if (!(minBin < maxBin)) {
        std::fill(bandsOut.begin(), bandsOut.end(), params.minAmp);
        return;
    }

    // Log spacing would make the lowest bands narrower than one bin (empty or all the
    // same bin), so they are one bin wide each and the log part starts above them.
    const int linearCount = bandCount > 209 ? 20 : bandCount / 10;
    const int logCount = bandCount - linearCount;
    const float logStart = minBin + static_cast<float>(linearCount);
    const float ratio = maxBin / logStart;

    for (int i = 0; i < bandCount; ++i) {
        float lo = 0.0f;
        float hi = 0.0f;
        if (i < linearCount) {
            lo = minBin + static_cast<float>(i);
            hi = minBin + static_cast<float>(i) + 1.0f;
        } else {
            const float logCountF = static_cast<float>(logCount);
            lo = logStart * std::pow(ratio, static_cast<float>(i - linearCount) / logCountF);
            hi = logStart * std::pow(ratio, static_cast<float>(i + 1 - linearCount) / logCountF);
        }
        if (!std::isfinite(lo) || !std::isfinite(hi)) {
            std::abort(); // cannot happen for minBin >= 1 and a finite maxBin
        }

        const int a = static_cast<int>(lo);
        const int b = static_cast<int>(hi);
        int start = std::min(a, binCount - 1);
        int end = 0;
        if (start < 1) {
            start = 1;
            end = std::clamp(b, 1, binCount - 1);
        } else {
            end = start <= b ? std::min(b, binCount - 1) : start;
        }

        // Peak, not average, of the bins: a pure tone keeps its level whatever the
        // band width. Neighbouring bands may share their edge bin.
        float level = params.minAmp;
        for (int k = start; k <= end; ++k) {
            level = std::max(level, dbMagnitudes[static_cast<std::size_t>(k)]);
        }
        bandsOut[static_cast<std::size_t>(i)] = std::max(std::min(level, params.maxAmp), params.minAmp);
    }
}

bool monoFromBlock(const float *left, const float *right, std::size_t frameCount,
                   std::span<float, SpectrumAnalyzer::fftSize> monoOut)
{
    if (frameCount < SpectrumAnalyzer::fftSize) {
        return false;
    }
    if (right == nullptr) {
        std::copy_n(left, SpectrumAnalyzer::fftSize, monoOut.begin());
        return true;
    }
    for (std::size_t i = 0; i < SpectrumAnalyzer::fftSize; ++i) {
        monoOut[i] = (left[i] + right[i]) * 0.5f;
    }
    return true;
}
