#pragma once

#include "views/Canvas.h"
#include "views/ViewSettings.h"

#include <optional>
#include <vector>

// The panels of the level meter window, top to bottom in the order they can appear.
enum class LevelMeterPanel { PhaseScopeTop, NumericValue, Bars, Spectrum, History, Loudness, PhaseScopeBottom };

// Where everything of the level meter window goes, in window coordinates (points).
// Computed without a toolkit so that it can be checked headless.
struct LevelMeterLayout {
    std::vector<LevelMeterPanel> order;  // the panels shown, top to bottom
    std::optional<Rect> phaseScopeTop;
    std::optional<Rect> numericValue;    // the read-out's text line
    Rect barRow;                         // inside the row's padding
    Rect leftBar;
    std::optional<Rect> scale;           // inside its own vertical padding
    Rect rightBar;
    std::optional<Rect> spectrum;
    std::optional<Rect> history;         // loudness history panel
    std::optional<Rect> loudness;        // ring meter or compact read-outs
    std::optional<Rect> phaseScopeBottom;
};

namespace level_meter_layout {

// Paddings of the stacked panels, points.
inline constexpr double phaseScopeHorizontalPadding = 4.0;
inline constexpr double phaseScopeOuterPadding = 4.0;     // above the top scope, below the bottom one
inline constexpr double barRowHorizontalPadding = 2.0;
inline constexpr double barRowVerticalPadding = 4.0;
inline constexpr double scaleVerticalPadding = 2.0;
inline constexpr double spectrumHorizontalPadding = 10.0;
inline constexpr double spectrumBottomPadding = 4.0;
inline constexpr double loudnessHorizontalPadding = 4.0;
inline constexpr double historyBottomPadding = 4.0;
inline constexpr double ringMinimumHeight = 160.0;
inline constexpr double ringMaximumHeight = 240.0;

// Sizes of the bar row at a meter size.
inline double barWidth(double meterSize) { return meterSize * 12.0; }
inline double scaleFontSize(double meterSize) { return meterSize * 7.0; }
inline double scaleWidth(double meterSize) { return meterSize * 22.0; }
// Gap between a bar and the scale column, or between the bars without a scale.
inline double barGap(double meterSize) { return meterSize * 2.0; }

// Font of the numeric read-out's digits.
Font readoutFont(const NumericReadoutSettings &readout);

LevelMeterLayout layout(Size window, const LevelMeterSettings &settings, const TextMeasurer &measurer);

} // namespace level_meter_layout
