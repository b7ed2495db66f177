#include "engine/dsp/SpectrumAnalyzer.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <new>
#include <numbers>
#include <stdexcept>

namespace {

// Hann window scaled to unit RMS (0.8165 ~ sqrt(2/3)), so windowing keeps the power
// of broadband signals; the calibration offset's default assumes exactly this scale.
constexpr double hannScale = 0.8165;

// 20 * log10(4096): the transform is unnormalised, so its bin magnitudes grow with the
// frame length; subtracting this keeps the dB figures independent of it.
constexpr float transformGainDb = 72.2472f;

constexpr float tenOverLn10 = static_cast<float>(10.0 / std::numbers::ln10);

// Keeps log10 finite for an all-zero frame: silence reads -100 dB before calibration.
constexpr float powerFloor = 1e-10f;

// FFTW's planner keeps global state and is not thread-safe; only fftwf_execute is.
std::mutex &plannerMutex()
{
    static std::mutex mutex;
    return mutex;
}

float *fftwAllocFloats(std::size_t count)
{
    void *memory = fftwf_malloc(count * sizeof(float));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<float *>(memory);
}

} // namespace

void SpectrumAnalyzer::FftwFree::operator()(float *memory) const noexcept
{
    fftwf_free(memory);
}

void SpectrumAnalyzer::PlanDestroy::operator()(fftwf_plan_s *plan) const noexcept
{
    std::lock_guard guard(plannerMutex());
    fftwf_destroy_plan(plan);
}

SpectrumAnalyzer::SpectrumAnalyzer()
    : window_(fftwAllocFloats(fftSize))
    , input_(fftwAllocFloats(fftSize))
    , spectrum_(fftwAllocFloats(2 * (binCount + 1)))
    , dbMagnitudes_(fftwAllocFloats(binCount))
{
    std::fill_n(input_.get(), fftSize, 0.0f);
    std::fill_n(dbMagnitudes_.get(), binCount, 0.0f);

    // Periodic Hann window (N, not N - 1, in the denominator), scaled to unit RMS.
    for (std::size_t n = 0; n < fftSize; ++n) {
        const double phase = 2.0 * std::numbers::pi * static_cast<double>(n) / fftSize;
        window_.get()[n] = static_cast<float>(hannScale * (1.0 - std::cos(phase)));
    }

    // A real input transform gives the same bins 0 ... N/2 as a complex transform of
    // the same samples with a zero imaginary part, at half the cost.
    {
        std::lock_guard guard(plannerMutex());
        plan_.reset(fftwf_plan_dft_r2c_1d(static_cast<int>(fftSize), input_.get(),
                                          reinterpret_cast<fftwf_complex *>(spectrum_.get()),
                                          FFTW_ESTIMATE));
    }
    if (!plan_) {
        throw std::runtime_error("SpectrumAnalyzer: FFTW could not plan a 4096-point transform");
    }
}

SpectrumAnalyzer::~SpectrumAnalyzer() = default;

void SpectrumAnalyzer::analyze(const float *mono, const SpectrumParams &params,
                               std::span<float> bandsOut)
{
    const float *window = window_.get();
    float *input = input_.get();
    for (std::size_t n = 0; n < fftSize; ++n) {
        input[n] = mono[n] * window[n];
    }
    fftwf_execute(plan_.get());

    const float *spectrum = spectrum_.get();
    float *db = dbMagnitudes_.get();
    const float offset = params.calibrationOffset - transformGainDb;
    for (std::size_t k = 0; k < binCount; ++k) {
        const float re = spectrum[2 * k];
        const float im = spectrum[2 * k + 1];
        const float power = re * re + im * im;
        // 10 * log10(x) as (10 / ln 10) * ln(x): the same to a float ulp, and glibc's
        // logf takes half the time of its log10f, which dominates this loop.
        db[k] = tenOverLn10 * std::log(power + powerFloor) + offset;
    }

    const std::size_t bandCount = bandsOut.size();
    if (!bandLayout_.matches(params.sampleRate, params.minFreq, params.maxFreq, binCount, bandCount)
        && !bandLayout_.build(params.sampleRate, params.minFreq, params.maxFreq, binCount,
                              bandCount)) {
        mapToLogBands(dbMagnitudes(), params, bandsOut); // more bands than the layout holds
        return;
    }
    bandLayout_.apply(dbMagnitudes(), params.minAmp, params.maxAmp, bandsOut);
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
