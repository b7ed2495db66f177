#pragma once

#include "settings/Color.h"
#include "settings/DrawableGradient.h"
#include "settings/Uuid.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One colour pinned to a level in dB.
struct GradientColorStop {
    Uuid id;
    float levelDb = 0.0f; // dBFS
    double red = 0.0;     // 0..1, sRGB
    double green = 0.0;   // 0..1
    double blue = 0.0;    // 0..1
    bool blend = true;    // stored and exchanged; no colour computation reads it

    RgbColor color(double alpha = 1.0) const { return {red, green, blue, alpha}; }
    friend bool operator==(const GradientColorStop &, const GradientColorStop &) = default;
};

// A named gradient over dB levels.
struct GradientPreset {
    Uuid id;
    std::string name;
    std::vector<GradientColorStop> stops;
    bool isBuiltIn = false;

    // Colour at a level: stops sorted by level, level clamped to the stops' span,
    // linear interpolation between neighbours. White when there are no stops.
    RgbColor colorAt(float db) const;
    // One drawable stop per colour stop, in stored order, located at
    // (levelDb - minDb) / (maxDb - minDb), unclamped; bottom to top.
    DrawableGradient linearGradient(float minDb, float maxDb) const;
    // As linearGradient, every colour at opacity 0.7.
    DrawableGradient rmsGradient(float minDb, float maxDb) const;
    // Colour of the first stop at or above -20 dB, else the last stop; cyan with no stops.
    RgbColor accentColor() const;

    friend bool operator==(const GradientPreset &, const GradientPreset &) = default;
};

namespace gradient_presets {

// The twelve built-in presets, built once per process with fresh random ids.
const std::vector<GradientPreset> &builtIns();
// The three factory custom presets ("TrellBlu", "Purple Haze Copy", "TrellBlu Copy").
std::vector<GradientPreset> factoryCustomPresets();

inline constexpr const char *builtInEditMessage =
    "Built-in presets cannot be edited.\nDuplicate to create an editable copy.";

// Strict JSON coding: every field required, wrong types fail, unknown keys ignored,
// UUIDs as upper-case text. Encoding keeps the field order of the records (id, name,
// stops, isBuiltIn; id, levelDb, red, green, blue, blend) and gives empty text when a
// value has no JSON form (NaN or infinity), so callers can keep what they had.
std::string encodeJson(const std::vector<GradientPreset> &presets); // a JSON array
std::string encodeJson(const GradientPreset &preset);               // a single JSON object
std::optional<std::vector<GradientPreset>> decodeJson(std::string_view json);  // an array
std::optional<GradientPreset> decodePresetJson(std::string_view json);          // one object

} // namespace gradient_presets
