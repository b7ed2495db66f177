#pragma once

#include "engine/MeterValues.h"
#include "settings/BroadcastPreset.h"
#include "settings/Color.h"

#include <optional>
#include <string>

// Rules shared by the two loudness views.
namespace loudness_display {

inline constexpr double notMeasured = -69.0; // values at or below: nothing measured yet

bool isMeasured(double value);
// "%.1f" of a measured value, "---" otherwise.
std::string formatValue(double value);
// The larger of the two channels' true peaks, dBTP.
double truePeak(const MeterValues &values);

// Integrated loudness: primary text without a preset or before a measurement, else
// green on target (ends included) and red off target.
RgbColor integratedColor(double integratedLufs, const std::optional<BroadcastPreset> &preset);
// True peak: secondary text before a measurement; with a preset green at or below the
// limit and red above it; without one red above -1 dBTP and primary text otherwise.
RgbColor truePeakColor(double truePeakDbtp, const std::optional<BroadcastPreset> &preset);

} // namespace loudness_display
