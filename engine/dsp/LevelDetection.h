#pragma once

#include <cstddef>

// Peak and RMS of one channel of one block, in dBFS (full scale 1.0 = 0 dBFS).
struct ChannelLevels {
    float peak = -60.0f; // largest absolute sample, dBFS
    float rms = -60.0f;  // RMS over exactly this block, dBFS
};

// Floor and ceiling of every detected level: silence reads -60, overs are capped at +6.
inline constexpr float levelFloorDb = -60.0f;
inline constexpr float levelCeilingDb = 6.0f;

// An amplitude (linear, >= 0) as dBFS within -60 ... +6; 0 (digital silence) gives -60.
float amplitudeToDb(float amplitude);

// Level detection for one channel of `count` samples. Nothing carries over between
// blocks: the RMS window is exactly the block. Allocation-free; audio thread.
ChannelLevels calculateLevels(const float *samples, std::size_t count);

// The same measurement over a block that arrives in several pieces (a block longer
// than the scratch buffers it passes through): the peak and RMS of the whole block,
// as calculateLevels() would give for it in one piece.
class LevelAccumulator {
public:
    void add(const float *samples, std::size_t count);
    ChannelLevels levels() const;
    // Largest absolute sample so far, linear.
    float peak() const { return peak_; }
    void reset() { *this = {}; }

private:
    float peak_ = 0.0f;         // largest magnitude, linear
    float sumOfSquares_ = 0.0f; // of every sample added
    std::size_t count_ = 0;     // samples added
};

// The process-tap flavour: a detected dB value rounded to the nearest 0.1 dB, halves
// away from zero (-18.25 -> -18.3).
float roundToTenthDb(float db);
