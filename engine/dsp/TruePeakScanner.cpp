#include "engine/dsp/TruePeakScanner.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

constexpr unsigned interpolatorTaps = 49;
constexpr double almostZero = 0.000001; // libebur128 drops coefficients below this

// libebur128 flushes denormal results to zero while it filters; the float rounding of an
// oversampled value is the only place where that can change a peak here.
class FlushToZero {
public:
#if defined(__SSE2__)
    FlushToZero() : saved_(_mm_getcsr()) { _mm_setcsr(saved_ | _MM_FLUSH_ZERO_ON); }
    ~FlushToZero() { _mm_setcsr(saved_); }

private:
    unsigned saved_;
#endif
};

} // namespace

TruePeakScanner::TruePeakScanner(int sampleRate)
{
    factor_ = sampleRate < 96000 ? 4 : sampleRate < 192000 ? 2 : 1;
    if (factor_ > 1) {
        phases_.resize(factor_);
        // The same expressions, in the same order and precision, as the library's
        // interpolator, so the coefficients are the same doubles.
        for (unsigned j = 0; j < interpolatorTaps; ++j) {
            const double m = static_cast<double>(j) - static_cast<double>(interpolatorTaps - 1) / 2.0;
            double c = 1.0;
            if (std::fabs(m) > almostZero) c = std::sin(m * M_PI / factor_) / (m * M_PI / factor_);
            c *= 0.5 * (1 - std::cos(2 * M_PI * j / (interpolatorTaps - 1)));
            if (std::fabs(c) > almostZero) {
                phases_[j % factor_].coefficients.push_back(c);
                phases_[j % factor_].delays.push_back(j / factor_);
            }
        }
        history_ = (interpolatorTaps + factor_ - 1) / factor_ - 1;
    }
    input_.assign(history_ + runFrames, 0.0);
}

void TruePeakScanner::primeByReflection(const float *samples, std::size_t frames, std::size_t stride)
{
    if (frames == 0) return;
    for (std::size_t k = 1; k <= history_; ++k) input_[history_ - k] = samples[std::min(k, frames - 1) * stride];
}

void TruePeakScanner::add(const float *samples, std::size_t frames, std::size_t stride)
{
    const FlushToZero flush;
    while (frames > 0) {
        const std::size_t run = std::min(frames, runFrames);
        double *current = input_.data() + history_;
        double peak = samplePeak_;
        for (std::size_t n = 0; n < run; ++n) {
            const double value = samples[n * stride];
            current[n] = value;
            // "greater than" keeps NaN out of the peak, as the library's comparison does.
            const double magnitude = std::max(value, -value);
            if (magnitude > peak) peak = magnitude;
        }
        samplePeak_ = peak;
        if (factor_ > 1) {
            scanRun(run);
            // The taps of the next run reach back into the end of this one.
            std::copy(current + run - history_, current + run, input_.begin());
        }
        samples += run * stride;
        frames -= run;
    }
}

void TruePeakScanner::scanRun(std::size_t frames)
{
    const double *current = input_.data() + history_;
    float peak = interpolatedPeak_;
    for (const Phase &phase : phases_) {
        const std::size_t taps = phase.coefficients.size();
        const double *coefficients = phase.coefficients.data();
        const unsigned *delays = phase.delays.data();
        std::size_t n = 0;
#if defined(__SSE2__)
        // Sixteen outputs at a time, their sums kept in eight registers across all taps. Each
        // sum still starts from 0.0 and adds its products in tap order, exactly as the
        // library does one sample at a time (and no fused multiply-add: see CMakeLists.txt).
        // _mm_max_ps(a, b) keeps b when a is NaN, like the library's "a > b".
        __m128 peaks = _mm_set1_ps(peak);
        const __m128 sign = _mm_set1_ps(-0.0f);
        for (; n + lanes <= frames; n += lanes) {
            __m128d sums[lanes / 2];
            for (__m128d &sum : sums) sum = _mm_setzero_pd();
            for (std::size_t t = 0; t < taps; ++t) {
                const double *source = current + n - delays[t];
                const __m128d c = _mm_set1_pd(coefficients[t]);
                for (std::size_t k = 0; k < lanes / 2; ++k)
                    sums[k] = _mm_add_pd(sums[k], _mm_mul_pd(_mm_loadu_pd(source + 2 * k), c));
            }
            for (std::size_t k = 0; k < lanes / 2; k += 2) {
                const __m128 values = _mm_movelh_ps(_mm_cvtpd_ps(sums[k]), _mm_cvtpd_ps(sums[k + 1]));
                peaks = _mm_max_ps(_mm_max_ps(values, _mm_xor_ps(values, sign)), peaks);
            }
        }
        alignas(16) float four[4];
        _mm_store_ps(four, peaks);
        for (const float value : four) peak = value > peak ? value : peak;
#endif
        for (; n < frames; ++n) {
            // current + n first: n - delays[t] alone would wrap below zero (the taps reach
            // into the history) and overflow the pointer, which is undefined.
            const double *output = current + n;
            double sum = 0.0;
            for (std::size_t t = 0; t < taps; ++t) sum += *(output - delays[t]) * coefficients[t];
            const float value = static_cast<float>(sum);
            const float magnitude = value > -value ? value : -value;
            peak = magnitude > peak ? magnitude : peak;
        }
    }
    interpolatedPeak_ = peak;
}

double TruePeakScanner::truePeak() const { return std::max(static_cast<double>(interpolatedPeak_), samplePeak_); }
