#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

// The eight display scales of the bar meters. Raw values are the display names,
// which are also what gets persisted and exchanged.
enum class MeterScale { linear, fcp, din, vu, k20, k14, k12, ebu };

namespace meter_scale {

inline constexpr std::array<MeterScale, 8> allCases = {
    MeterScale::linear, MeterScale::fcp, MeterScale::din, MeterScale::vu,
    MeterScale::k20,    MeterScale::k14, MeterScale::k12, MeterScale::ebu};

std::string_view rawValue(MeterScale scale);
// Exact match of the display name (case and spaces included); anything else gives nullopt.
std::optional<MeterScale> fromRawValue(std::string_view raw);
// Like fromRawValue, but an unknown name falls back to "Final Cut Pro".
MeterScale fromRawValueOrDefault(std::string_view raw);

float minDb(MeterScale scale); // always -60 dBFS
float maxDb(MeterScale scale); // 0, +3 or +6 dBFS
// Scale marks in dBFS, top to bottom.
std::span<const int> marks(MeterScale scale);
// "0", "+6", "-12".
std::string markLabel(int markDb);
// Marks of +1 dB and more are drawn in red.
bool isOverMark(int markDb);

// Position of a level on a meter: fraction of the height from the bottom,
// linear in dB over [minDb, maxDb] and clamped to 0..1; 0 for an empty or inverted range.
double levelFraction(double levelDb, double minDb, double maxDb);

} // namespace meter_scale

// Rules of the custom range editor: the range never gets narrower than 6 dB there.
namespace meter_range {

inline constexpr double minimumSpanDb = 6.0;
inline constexpr double editorLowestDb = -96.0;  // lowest value the lower handle reaches
inline constexpr double editorHighestDb = 12.0;  // highest value the upper handle reaches

double dragLowerHandle(double draggedDb, double currentMaxDb);
double dragUpperHandle(double draggedDb, double currentMinDb);

struct RangePreset {
    const char *label; // "-60 to 0"
    double minDb;
    double maxDb;
};
std::span<const RangePreset> presets(); // the four one-click presets, in menu order

} // namespace meter_range
