#pragma once

#include "engine/dsp/AudioLevels.h"
#include "engine/dsp/LoudnessValues.h"

#include <vector>

// The published meter values, as plain data. MeterData wraps one of these and tells
// observers which fields changed; views draw from a const reference to it.
struct MeterValues {
    float peakLevelLeft = -60.0f;  // dBFS
    float peakLevelRight = -60.0f;
    float rmsLevelLeft = -60.0f;
    float rmsLevelRight = -60.0f;
    float maxPeakLeft = -60.0f;    // held maximum, dBFS
    float maxPeakRight = -60.0f;
    std::vector<float> spectralBands = std::vector<float>(32, -96.0f); // dB, lowest band first
    std::vector<UnitPoint> spectralSplinePoints;                        // unit coordinates
    std::vector<LissajousPoint> lissajousPoints;                        // trail, oldest first
    double momentaryLUFS = -70.0;  // -70 = no value
    double shortTermLUFS = -70.0;
    double integratedLUFS = -70.0;
    double loudnessRange = 0.0;    // LU
    double truePeakLeft = -70.0;   // dBTP
    double truePeakRight = -70.0;

    // Takes every loudness field from one measurement's values as they are.
    void setLoudness(const LoudnessValues &loudness)
    {
        momentaryLUFS = loudness.momentary;
        shortTermLUFS = loudness.shortTerm;
        integratedLUFS = loudness.integrated;
        loudnessRange = loudness.loudnessRange;
        truePeakLeft = loudness.truePeakLeft;
        truePeakRight = loudness.truePeakRight;
    }
};
