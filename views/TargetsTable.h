#pragma once

#include "engine/MeterValues.h"
#include "settings/BroadcastPreset.h"
#include "views/Canvas.h"

#include <array>
#include <string>
#include <vector>

// One delivery target judged against the programme measured so far. Every cell says
// its state in text as well as colour, so it reads for colour-blind users and screen
// readers alike.
struct TargetVerdict {
    std::string name;         // preset name
    std::string targetText;   // target and tolerance: "-23 ±1" (LUFS, LU)
    std::string distanceText; // integrated minus target: "+1.3 LU", "0.0 LU"; "—" before a value
    std::string truePeakText; // the limit: "≤ -1" while the peak stays at or below it, "> -1" above
    Compliance loudness = Compliance::Neutral; // integrated loudness against target ± tolerance
    Compliance truePeak = Compliance::Neutral; // Neutral until a true peak was measured
    Compliance verdict = Compliance::Neutral;  // Neutral before an integrated value; Fail when either fails

    friend bool operator==(const TargetVerdict &, const TargetVerdict &) = default;
};

// Where the table's cells lie, in window coordinates (points).
struct TargetsTableLayout {
    static constexpr std::size_t columnCount = 5; // preset, target, offset, true peak, verdict
    Rect bounds;                                 // header row and every preset row
    std::array<Rect, columnCount> columns;       // full height of the table, one per column
    Rect header;                                 // the column titles
    std::vector<Rect> rows;                      // one per preset, full width
};

// "All targets at once": every built-in delivery target in one compact table, each
// with the integrated loudness's offset from its target and a pass or fail mark that
// also counts the true-peak limit.
class TargetsTable {
public:
    using Verdicts = std::vector<TargetVerdict>;

    static Verdicts verdicts(const MeterValues &values,
                             const std::vector<BroadcastPreset> &presets = broadcast::builtInPresets());
    // "PASS", "FAIL", or empty while there is no verdict.
    static std::string verdictText(Compliance verdict);
    // One sentence per target for screen readers, e.g. "EBU R128: +1.3 LU, true peak
    // within -1 dBTP, fail."; a single sentence while nothing is measured.
    static std::string describe(const Verdicts &verdicts);

    static constexpr double columnGap = 8.0;  // points between columns
    static constexpr double rowGap = 3.0;     // points between rows
    static constexpr double symbolSize = 9.0; // the check or cross disc, points
    static constexpr double symbolGap = 3.0;  // between the disc and "PASS"/"FAIL", points

    static Font headerFont() { return {8.0, FontWeight::Semibold, true}; }
    static Font nameFont() { return {9.0, FontWeight::Medium, false}; }
    static Font valueFont() { return {9.0, FontWeight::Medium, true}; }
    static Font verdictFont() { return {8.0, FontWeight::Bold, true}; }

    // The size that shows every cell of every preset in any state.
    static Size naturalSize(const TextMeasurer &measurer,
                            const std::vector<BroadcastPreset> &presets = broadcast::builtInPresets());
    // The table at its natural size with its top-left corner at origin.
    static TargetsTableLayout layout(Point origin, const TextMeasurer &measurer,
                                     const std::vector<BroadcastPreset> &presets = broadcast::builtInPresets());

    // What never changes while the presets stay the same: column titles, names, targets.
    static void drawStatic(Canvas &canvas, const TargetsTableLayout &layout, const Verdicts &verdicts);
    // Offsets, true-peak cells and verdicts.
    static void drawValues(Canvas &canvas, const TargetsTableLayout &layout, const Verdicts &verdicts);
};
