#pragma once

// The loudness figures shown to the user. Loudness in LUFS, range in LU, true peaks in
// dBTP (the highest since the measurement began); -70.0 means "no value yet". True peak:
// channels 0 and 1 of a two-channel measurement; one channel shows on both sides; with
// more than two, both sides show the largest of all channels.
struct LoudnessValues {
    double momentary = -70.0;
    double shortTerm = -70.0;
    double integrated = -70.0;
    double loudnessRange = 0.0;
    double truePeakLeft = -70.0;
    double truePeakRight = -70.0;

    friend bool operator==(const LoudnessValues &, const LoudnessValues &) = default;
};
