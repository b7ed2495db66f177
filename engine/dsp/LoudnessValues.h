#pragma once

// The loudness figures shown to the user. Loudness in LUFS, range in LU, true peaks in
// dBTP; -70.0 means "no value yet".
struct LoudnessValues {
    double momentary = -70.0;
    double shortTerm = -70.0;
    double integrated = -70.0;
    double loudnessRange = 0.0;
    double truePeakLeft = -70.0;
    double truePeakRight = -70.0;

    friend bool operator==(const LoudnessValues &, const LoudnessValues &) = default;
};
