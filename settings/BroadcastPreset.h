#pragma once

#include "settings/Uuid.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A loudness delivery target.
struct BroadcastPreset {
    Uuid id;                        // fresh for every built-in at every start
    std::string name;
    double integratedTarget = 0.0;  // LUFS
    double tolerance = 0.0;         // LU, both directions
    double truePeakLimit = 0.0;     // dBTP
    bool isBuiltIn = true;

    friend bool operator==(const BroadcastPreset &, const BroadcastPreset &) = default;
};

// How a measured value compares with the selected target.
enum class Compliance {
    Neutral, // nothing measured yet, or nothing to compare against
    Pass,    // shown green
    Fail,    // shown red
};

namespace broadcast {

const std::vector<BroadcastPreset> &builtInPresets();
// The selected preset: only while the target is shown, exact name match.
std::optional<BroadcastPreset> selectedPreset(bool showBroadcastPreset, std::string_view selectedName);

inline constexpr double notMeasuredLufs = -69.0; // values at or below this are "not measured"
inline constexpr double unselectedTruePeakLimitDbtp = -1.0; // over-limit threshold without a preset

// Integrated loudness against the target: Pass inside target +/- tolerance (bounds
// inclusive), Fail outside, Neutral while nothing is measured or no preset is selected.
Compliance integratedCompliance(double integratedLufs, const std::optional<BroadcastPreset> &preset);
// True peak against the limit: Fail above it, else Pass. Without a preset, Fail above
// -1 dBTP and Neutral otherwise.
Compliance truePeakCompliance(double truePeakDbtp, const std::optional<BroadcastPreset> &preset);

} // namespace broadcast
