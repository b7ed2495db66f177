#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What one analysis found in one file. A value that could not be measured is empty
// and a note says why; values are never substituted.
struct FileAnalysis {
    std::string path;
    bool opened = false;             // false: nothing was read, `error` says why
    std::string error;               // unreadable, or read only in part (then the values cover that part)
    std::vector<std::string> notes;  // why a value is missing

    int sampleRate = 0;              // Hz
    int channels = 0;
    std::int64_t frames = 0;         // frames measured

    std::optional<double> integratedLufs;   // gated integrated loudness, LUFS
    std::optional<double> loudnessRangeLu;  // LU
    std::optional<double> maxMomentaryLufs; // largest 400 ms loudness, sampled every 10 ms
    std::optional<double> maxShortTermLufs; // largest 3 s loudness, sampled every 10 ms
    std::vector<double> truePeaks;          // linear, per channel (1.0 = 0 dBTP)
    std::vector<double> samplePeaks;        // linear, per channel (1.0 = 0 dBFS)

    double durationSeconds() const { return sampleRate > 0 ? static_cast<double>(frames) / sampleRate : 0.0; }
};

namespace analysis {

// 20 log10 of a linear peak; nothing for 0 (digital silence has no peak level).
std::optional<double> peakDecibels(double linear);
// The largest of the peaks in dB, or nothing when all are 0 or there are none.
std::optional<double> maxPeakDecibels(const std::vector<double> &linearPeaks);

} // namespace analysis
