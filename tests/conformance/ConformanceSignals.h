#pragma once

#include <string>
#include <vector>

// The broadcast loudness meter test signals that can be made from their published
// descriptions: 1 kHz stereo tones in timed segments, and the inter-sample peak tones.
// Plain C++; files are written with libsndfile as 48 kHz stereo 32-bit float WAV, so
// levels above full scale survive and nothing is dithered.

constexpr int conformanceSampleRate = 48000; // Hz

// One stretch of a 1 kHz tone, both channels in phase. The tone's phase runs on
// across segments, so a level step makes no click.
struct ToneSegment {
    double seconds = 0.0; // duration
    double peakDbfs = 0.0; // per-channel peak level; silenceDbfs for silence
};
constexpr double silenceDbfs = -1000.0;

// Writes the segments one after another. Returns false with a message on failure.
bool writeToneSegments(const std::string &path, const std::vector<ToneSegment> &segments, std::string &error);

// A stereo sine at sampleRate / divisor Hz, peak amplitude `amplitude` (1.0 = full
// scale), starting at phase `phaseDegrees`, lasting `seconds` with 10 ms raised-cosine
// fades at both ends so the start and end add no peaks of their own.
bool writePhasedSine(const std::string &path, int divisor, double amplitude, double phaseDegrees, double seconds,
                     std::string &error);

// A stereo sine at fs/6 with half amplitude, with one period at fs/4 and full amplitude
// spliced in at an upward zero crossing (both tones start and end a period there, so
// the splice is continuous). It is made at four times the rate, low-pass filtered below
// fs/2 and decimated starting at sample `offset` (0..3) of the fast rate: the burst's
// crest lands in a different place between the output samples for each offset.
bool writeDecimatedBurst(const std::string &path, int offset, std::string &error);
