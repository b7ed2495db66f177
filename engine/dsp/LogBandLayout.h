#pragma once

#include "engine/dsp/OctaveResolution.h"

#include <array>
#include <cstddef>
#include <span>

// Which FFT bins each spectrum band covers, for one sample rate, frequency range, bin
// count and band count. The edges take two pow() calls per band, the per-frame
// mapping only a maximum over bins, so the analyser works the layout out again only
// when a parameter changes. Fixed capacity: building and applying never allocate.
class LogBandLayout {
public:
    static constexpr std::size_t capacity = octave_resolution::maxBandCount;

    struct BinRange {
        int first = 1; // first bin of the band, inclusive
        int last = 1;  // last bin of the band, inclusive; may equal the next band's first
    };

    // Lays out bandCount bands over binCount bins of sampleRate/4096 Hz each between
    // minFreq and maxFreq (Hz). Returns false, leaving the layout unusable, when
    // bandCount exceeds capacity.
    bool build(float sampleRate, float minFreq, float maxFreq, std::size_t binCount,
               std::size_t bandCount);

    // True when build() was last called with these arguments and succeeded.
    bool matches(float sampleRate, float minFreq, float maxFreq, std::size_t binCount,
                 std::size_t bandCount) const;

    // Band levels (dB) from bin levels (dB): the highest bin of each band, clamped to
    // minAmp ... maxAmp. dbMagnitudes and bandsOut must have the sizes of the layout.
    void apply(std::span<const float> dbMagnitudes, float minAmp, float maxAmp,
               std::span<float> bandsOut) const;

private:
    std::array<BinRange, capacity> ranges_{}; // bin range of each band
    bool valid_ = false;       // build() succeeded
    bool emptyRange_ = false;  // no bins between the frequency limits: every band at minAmp
    float sampleRate_ = 0.0f;  // Hz, as built
    float minFreq_ = 0.0f;     // Hz, as built
    float maxFreq_ = 0.0f;     // Hz, as built
    std::size_t binCount_ = 0;  // as built
    std::size_t bandCount_ = 0; // as built
};
