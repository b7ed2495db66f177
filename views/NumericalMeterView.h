#pragma once

#include "engine/MeterValues.h"
#include "views/Canvas.h"
#include "views/NumericalValue.h"
#include "views/TargetsTable.h"
#include "views/ViewSettings.h"

#include <array>
#include <string>
#include <optional>

// What the numerical meter shows besides meter values and settings.
struct NumericalMeterState {
    bool isHovering = false;    // the pointer is over the window: the close button shows
    bool engineRunning = false; // colours the running-state dot
};

// Where the parts of the numerical meter lie, in window coordinates (points).
struct NumericalMeterLayout {
    std::optional<Rect> header;      // strip with "NUMERICAL"
    std::optional<Rect> closeButton; // hit area of the "xmark" button
    std::optional<Rect> footer;      // strip with "RESET MAX" and the dot
    std::optional<Rect> resetButton; // hit area of "RESET MAX"
    std::optional<Rect> runningDot;  // the 6 by 6 point dot
    Rect body;                       // the area inside the body's padding
    std::array<Rect, 2> columns;     // left and right channel columns
    std::optional<Rect> targetsTable; // every delivery target, below the columns, while switched on
};

// The numerical meter window: per channel "PEAK", "MAX" and "RMS" as numbers coloured
// by the gradient, with optional header and footer strips.
class NumericalMeterView {
public:
    // What one row shows: its number as text and its colour in 8-bit channels. Two
    // frames whose rows all show the same look the same.
    struct ShownValue {
        std::string text;
        std::array<int, 3> color{};
        friend bool operator==(const ShownValue &, const ShownValue &) = default;
    };
    using ShownValues = std::array<ShownValue, 6>;
    // The six rows (left then right: peak, max, RMS) as they would be drawn.
    static ShownValues shownValues(const MeterValues &values, const GradientPreset &gradient);

    static constexpr double headerHeight = 24.0;
    static constexpr double footerHeight = 20.0;
    static constexpr double stripOpacity = 0.06;      // white over the background
    static constexpr double stripPadding = 8.0;       // leading and trailing, points
    static constexpr double columnSpacing = 16.0;
    static constexpr double horizontalPadding = 12.0;
    static constexpr double verticalPaddingWithStrips = 8.0;
    static constexpr double verticalPaddingWithoutStrips = 12.0;
    static constexpr double rowSpacing = 2.0;
    static constexpr double closeSymbolSize = 8.0;
    static constexpr double closeSymbolOpacity = 0.6;
    static constexpr double dotSize = 6.0;
    static constexpr double targetsTableGap = 10.0; // between the level rows and the targets table, points

    static Font titleFont() { return {10.0, FontWeight::Semibold, true}; }
    static Font columnHeaderFont() { return {9.0, FontWeight::Semibold, true}; }
    static Font resetFont() { return {9.0, FontWeight::Semibold, true}; }

    // The three rows of one channel (0 left, 1 right), coloured by the gradient.
    static std::array<NumericalValue, 3> rows(const MeterValues &values, int channel, const GradientPreset &gradient);

    // A window size that shows the level rows and, while it is switched on, the whole
    // targets table.
    static Size preferredSize(const NumericalMeterSettings &settings, const TextMeasurer &measurer);

    static NumericalMeterLayout layout(Size window, const NumericalMeterSettings &settings,
                                       const NumericalMeterState &state, const TextMeasurer &measurer);

    static void draw(Canvas &canvas, Size window, const MeterValues &values, const NumericalMeterSettings &settings,
                     const NumericalMeterState &state);
};
