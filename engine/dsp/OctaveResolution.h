#pragma once

#include <array>
#include <optional>
#include <string_view>

// Band resolution of the spectrum analyser, persisted by its display name.
enum class OctaveResolution {
    full,
    half,
    third,
    sixth,
    twelfth,
    twentyFourth,
    fortyEighth,
};

namespace octave_resolution {

inline constexpr std::array allCases = {
    OctaveResolution::full,    OctaveResolution::half,         OctaveResolution::third,
    OctaveResolution::sixth,   OctaveResolution::twelfth,      OctaveResolution::twentyFourth,
    OctaveResolution::fortyEighth,
};

// The display name, e.g. "1/3 Octave"; also the persisted value.
std::string_view rawValue(OctaveResolution resolution);
// The case whose display name is rawValue, or nullopt.
std::optional<OctaveResolution> fromRawValue(std::string_view rawValue);
// Like fromRawValue, but an unknown name means "1/3 Octave".
OctaveResolution fromRawValueOrDefault(std::string_view rawValue);
// Number of spectrum bands drawn at this resolution (a fixed table, not derived from
// the frequency range).
int bandCount(OctaveResolution resolution);

// The largest bandCount of any case ("1/48 Octave").
inline constexpr int maxBandCount = 480;

} // namespace octave_resolution
