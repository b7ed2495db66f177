#pragma once

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

// The broadcast loudness meter cases this suite checks: how each signal is made, what
// the meter must read on it and how closely. The expected values and tolerances are the
// published ones; see docs/conformance.md for the documents and their versions.

constexpr double noReading = std::numeric_limits<double>::quiet_NaN();

// One reading of a meter that runs over time (the live path, the reference meter).
struct TimedReading {
    double t = 0.0;         // s of audio metered so far
    double momentary = 0.0; // LUFS
    double shortTerm = 0.0; // LUFS
};

// What one way of metering read on one file. Values it does not give stay noReading.
struct Readings {
    double momentary = noReading;     // LUFS at the end of the file
    double shortTerm = noReading;     // LUFS at the end of the file
    double integrated = noReading;    // LUFS
    double loudnessRange = noReading; // LU
    double maxMomentary = noReading;  // LUFS, highest over the file
    double maxShortTerm = noReading;  // LUFS, highest over the file
    double truePeak = noReading;      // dBTP, highest of both channels over the file
    std::vector<TimedReading> series; // empty for a whole-file analysis
};

enum class Quantity {
    momentary,              // M of a steady tone (at the end; a whole-file analysis: its maximum)
    shortTerm,              // S of a steady tone, likewise
    integrated,             // I
    loudnessRange,          // LRA
    truePeak,               // highest true peak
    maxMomentary,           // highest M of the file
    maxShortTerm,           // highest S of the file
    steadyMomentary,        // every M from `from` seconds on (a whole-file analysis: its maximum)
    steadyShortTerm,        // every S from `from` seconds on, likewise
    segmentMaxMomentary,    // highest M of each `segment`-second stretch: expected, expected + step, ...
    segmentMaxShortTerm,    // the same for S
};

struct Check {
    Quantity quantity = Quantity::integrated;
    double expected = 0.0; // LUFS, LU or dBTP
    double below = 0.1;    // allowed below expected
    double above = 0.1;    // allowed above expected
    double from = 0.0;     // steady checks: s of audio after which the value holds
    double segment = 0.0;  // segment checks: s per segment
    double step = 0.0;     // segment checks: rise of the expected value per segment
};

struct ConformanceCase {
    std::string document; // "Tech 3341" or "Tech 3342"
    int number = 0;       // case number in the document's table
    std::string signal;   // the signal in words
    int files = 1;        // a series of files is one case (the file-based max cases)
    // Writes file `index` (0 .. files-1) of the case to `path`.
    std::function<bool(int index, const std::string &path, std::string &error)> make;
    std::vector<Check> checks;
    bool timeSeriesOnly = false; // meant for meters running in time: a whole-file analysis cannot tell
    bool live = false;           // in the subset played through the live path
    std::string name() const;    // "3341-9"
};

const std::vector<ConformanceCase> &conformanceCases();

// The cases that need the official test files (real programme material, more than two
// channels), with the reason, for the documentation table.
struct UncoveredCase {
    std::string document;
    int number = 0;
    std::string signal;
    std::string reason;
};
const std::vector<UncoveredCase> &uncoveredCases();

// The verdict of one check over the readings of every file of a case.
struct Verdict {
    bool applicable = false; // the readings hold what the check needs
    bool pass = false;
    std::string measured;    // for the table: a value, or the range of values seen
};
Verdict evaluate(const Check &check, const std::vector<Readings> &files);

std::string quantityName(Quantity quantity);
std::string expectation(const Check &check); // "−23.0 ±0.1 LUFS"
