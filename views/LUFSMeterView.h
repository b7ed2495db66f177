#pragma once

#include "engine/MeterValues.h"
#include "views/Canvas.h"
#include "views/Symbols.h"
#include "views/ViewSettings.h"

// Loudness as a compact block of labelled read-outs, ending with the delivery-target
// indicator when a broadcast preset is shown.
class LUFSMeterView {
public:
    static constexpr double minimumLabelSize = 7.0; // points
    static constexpr double lineSpacing = 1.35;     // line pitch as a multiple of the font size
    static constexpr double verticalPadding = 4.0;  // above and below the block, points

    struct Indicator {
        Symbol symbol = Symbol::Circle;
        RgbColor color;
    };

    // "circle" before a measurement, "checkmark.circle.fill" on target with the true
    // peak at or below the limit, "xmark.circle.fill" otherwise.
    static Indicator indicator(const MeterValues &values, const BroadcastPreset &preset);

    static Font labelFont(const LoudnessSettings &settings);
    static Font valueFont(const LoudnessSettings &settings);
    // Height the block needs at the settings' font size.
    static double preferredHeight(const LoudnessSettings &settings);

    // Draws into (0, 0, size).
    static void draw(Canvas &canvas, Size size, const MeterValues &values, const LoudnessSettings &settings);
};
