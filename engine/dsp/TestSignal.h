#pragma once

#include <cstddef>
#include <cstdint>

// The built-in test signal that can replace the captured input: a sine sweeping
// between 100 Hz and 8 kHz at 2 Hz per frame, plus a little white noise. The state
// carries over between blocks so the sweep is continuous. No allocation; audio thread.
class TestSignalGenerator {
public:
    static constexpr float lowestFrequency = 100.0f;  // Hz, where the sweep turns up
    static constexpr float highestFrequency = 8000.0f; // Hz, where the sweep turns down

    // sampleRate in Hz, greater than 0.
    explicit TestSignalGenerator(double sampleRate = 48000.0);

    // The sample rate (Hz, greater than 0) of the blocks to come; the sweep speed stays
    // 2 Hz per frame whatever the rate.
    void setSampleRate(double sampleRate);

    // Writes frameCount frames into left and, when not nullptr, the same values into right.
    void generateTestSignal(float *left, float *right, std::size_t frameCount);

    // Back to the start: 100 Hz, rising, phase 0, the initial noise seed.
    void reset();

    float phase() const { return phase_; }
    float frequency() const { return frequency_; }
    float sweepDirection() const { return sweepDirection_; }
    std::uint32_t noiseState() const { return noiseState_; }

private:
    float sampleRate_;                      // Hz
    float phase_ = 0.0f;                    // oscillator phase, radians in [0, 2 pi]
    float frequency_ = lowestFrequency;     // current sweep frequency, Hz
    float sweepDirection_ = 1.0f;           // +1 sweeping up, -1 sweeping down
    std::uint32_t noiseState_ = 12345;      // linear congruential noise generator state
};
