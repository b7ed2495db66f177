#include "settings/MeterScale.h"

#include <charconv>
#include <cmath>

namespace meter_scale {

namespace {

// Full-scale marks, top to bottom, one constant table per scale. The K-system and
// loudness scales deliberately keep full-scale numbers (no offset labelling).
constexpr int linearMarks[] = {0, -6, -12, -18, -24, -36, -48, -60};
constexpr int fcpMarks[] = {6, 3, 0, -6, -12, -18, -24, -30, -40, -50, -60};
constexpr int dinMarks[] = {6, 0, -5, -10, -20, -30, -40, -50, -60};
constexpr int vuMarks[] = {3, 0, -3, -6, -10, -20, -30, -40, -60};
constexpr int k20Marks[] = {0, -4, -8, -12, -16, -20, -28, -40, -60};
constexpr int k14Marks[] = {0, -4, -8, -14, -20, -28, -40, -60};
constexpr int k12Marks[] = {0, -4, -8, -12, -20, -28, -40, -60};
constexpr int ebuMarks[] = {0, -6, -9, -14, -18, -23, -36, -60};

} // namespace

std::string_view rawValue(MeterScale scale)
{
    switch (scale) {
    case MeterScale::linear: return "Linear (dBFS)";
    case MeterScale::fcp: return "Final Cut Pro";
    case MeterScale::din: return "DIN";
    case MeterScale::vu: return "VU (+3)";
    case MeterScale::k20: return "K-20";
    case MeterScale::k14: return "K-14";
    case MeterScale::k12: return "K-12";
    case MeterScale::ebu: return "EBU R128";
    }
    return "Final Cut Pro";
}

std::optional<MeterScale> fromRawValue(std::string_view raw)
{
    for (MeterScale scale : allCases) {
        if (rawValue(scale) == raw)
            return scale;
    }
    return std::nullopt;
}

MeterScale fromRawValueOrDefault(std::string_view raw)
{
    return fromRawValue(raw).value_or(MeterScale::fcp);
}

float minDb(MeterScale)
{
    return -60.0f;
}

float maxDb(MeterScale scale)
{
    switch (scale) {
    case MeterScale::fcp:
    case MeterScale::din: return 6.0f;
    case MeterScale::vu: return 3.0f;
    case MeterScale::linear:
    case MeterScale::k20:
    case MeterScale::k14:
    case MeterScale::k12:
    case MeterScale::ebu: return 0.0f;
    }
    return 6.0f;
}

std::span<const int> marks(MeterScale scale)
{
    switch (scale) {
    case MeterScale::linear: return linearMarks;
    case MeterScale::fcp: return fcpMarks;
    case MeterScale::din: return dinMarks;
    case MeterScale::vu: return vuMarks;
    case MeterScale::k20: return k20Marks;
    case MeterScale::k14: return k14Marks;
    case MeterScale::k12: return k12Marks;
    case MeterScale::ebu: return ebuMarks;
    }
    return fcpMarks;
}

std::string markLabel(int markDb)
{
    char buffer[16];
    char *out = buffer;
    if (markDb > 0)
        *out++ = '+';
    out = std::to_chars(out, buffer + sizeof buffer, markDb).ptr;
    return std::string(buffer, out);
}

bool isOverMark(int markDb)
{
    return markDb >= 1;
}

double levelFraction(double levelDb, double minDb, double maxDb)
{
    const double span = maxDb - minDb;
    if (!(span > 0.0))
        return 0.0;
    const double fraction = (levelDb - minDb) / span;
    // Written so that NaN lands on 0 as well.
    if (!(fraction > 0.0))
        return 0.0;
    return fraction < 1.0 ? fraction : 1.0;
}

} // namespace meter_scale

namespace meter_range {

namespace {

constexpr RangePreset rangePresets[] = {
    {"-60 to 0", -60.0, 0.0},
    {"-60 to +6", -60.0, 6.0},
    {"-48 to +6", -48.0, 6.0},
    {"-36 to 0", -36.0, 0.0},
};

} // namespace

double dragLowerHandle(double draggedDb, double currentMaxDb)
{
    return std::fmin(currentMaxDb - minimumSpanDb, std::fmax(editorLowestDb, draggedDb));
}

double dragUpperHandle(double draggedDb, double currentMinDb)
{
    return std::fmax(currentMinDb + minimumSpanDb, std::fmin(editorHighestDb, draggedDb));
}

std::span<const RangePreset> presets()
{
    return rangePresets;
}

} // namespace meter_range
