#include "engine/dsp/OctaveResolution.h"

namespace octave_resolution {

namespace {

struct Entry {
    OctaveResolution resolution;
    std::string_view name;
    int bands;
};

constexpr std::array<Entry, allCases.size()> table = {{
    {OctaveResolution::full, "1 Octave", 10},
    {OctaveResolution::half, "1/2 Octave", 20},
    {OctaveResolution::third, "1/3 Octave", 31},
    {OctaveResolution::sixth, "1/6 Octave", 60},
    {OctaveResolution::twelfth, "1/12 Octave", 120},
    {OctaveResolution::twentyFourth, "1/24 Octave", 240},
    {OctaveResolution::fortyEighth, "1/48 Octave", 480},
}};

const Entry &entryFor(OctaveResolution resolution)
{
    for (const Entry &entry : table) {
        if (entry.resolution == resolution) {
            return entry;
        }
    }
    return table[2]; // unreachable for valid enumerators; "1/3 Octave"
}

} // namespace

std::string_view rawValue(OctaveResolution resolution)
{
    return entryFor(resolution).name;
}

std::optional<OctaveResolution> fromRawValue(std::string_view rawValue)
{
    for (const Entry &entry : table) {
        if (entry.name == rawValue) {
            return entry.resolution;
        }
    }
    return std::nullopt;
}

OctaveResolution fromRawValueOrDefault(std::string_view rawValue)
{
    return fromRawValue(rawValue).value_or(OctaveResolution::third);
}

int bandCount(OctaveResolution resolution)
{
    return entryFor(resolution).bands;
}

} // namespace octave_resolution
