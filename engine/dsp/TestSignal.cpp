#include "engine/dsp/TestSignal.h"

#include <cmath>

namespace {

constexpr float twoPi = 6.2831855f;
constexpr float sweepStep = 2.0f;                    // Hz per frame
constexpr float noiseScale = 4.656613e-10f;          // 1 / 2^31: 31 bits -> [0, 1)

} // namespace

TestSignalGenerator::TestSignalGenerator(double sampleRate)
    : sampleRate_(static_cast<float>(sampleRate))
{
}

void TestSignalGenerator::setSampleRate(double sampleRate)
{
    sampleRate_ = static_cast<float>(sampleRate);
}

void TestSignalGenerator::reset()
{
    phase_ = 0.0f;
    frequency_ = lowestFrequency;
    sweepDirection_ = 1.0f;
    noiseState_ = 12345;
}

void TestSignalGenerator::generateTestSignal(float *left, float *right, std::size_t frameCount)
{
    for (std::size_t i = 0; i < frameCount; ++i) {
        // Sine at 0.35 of full scale, noise within +-0.075: peaks stay below 0.425.
        const float sine = std::sin(phase_) * 0.5f * 0.7f;
        // Unsigned arithmetic wraps modulo 2^32, which is what the LCG relies on.
        noiseState_ = noiseState_ * 1103515245u + 12345u;
        const float uniform = static_cast<float>(noiseState_ & 0x7FFFFFFFu) * noiseScale;
        const float noise = (uniform - 0.5f) * 0.5f * 0.3f;

        const float sample = sine + noise;
        left[i] = sample;
        if (right != nullptr) {
            right[i] = sample;
        }

        phase_ += frequency_ * twoPi / sampleRate_;
        if (phase_ > twoPi) {
            phase_ -= twoPi;
        }
        frequency_ += sweepStep * sweepDirection_;
        if (frequency_ > highestFrequency) {
            frequency_ = highestFrequency;
            sweepDirection_ = -1.0f;
        } else if (frequency_ < lowestFrequency) {
            frequency_ = lowestFrequency;
            sweepDirection_ = 1.0f;
        }
    }
}
