#pragma once

#include "settings/GradientPreset.h"
#include "views/Canvas.h"

#include <string>

// One labelled read-out row of the numerical meter: "PEAK  -12.3 dB".
struct NumericalValue {
    std::string label;        // "PEAK", "MAX" or "RMS"
    float value = -60.0f;     // dB
    RgbColor color;           // the value's colour
    const GradientPreset *gradient = nullptr; // where color came from
    Font labelFont{8.0, FontWeight::Medium, true};
    Font valueFont{14.0, FontWeight::Bold, true};

    static constexpr double labelWidth = 30.0;  // points, label aligned leading
    static constexpr double valueWidth = 55.0;  // points, value aligned trailing
    static constexpr double spacing = 2.0;      // between label, value and unit, points
    static constexpr double labelOpacity = 0.7;
    static constexpr double unitOpacity = 0.5;
    static constexpr float silenceDb = -60.0f;  // at or below: "-∞"

    // "-∞" at or below -60 dB, otherwise always signed with one digit ("+0.0", "-12.3").
    static std::string formatValue(float valueDb);

    double rowHeight(const TextMeasurer &measurer) const;
    double rowWidth(const TextMeasurer &measurer) const;
    // Draws the row with its top-left corner at origin.
    void draw(Canvas &canvas, Point origin) const;
    // The two halves of draw(): the label and unit, which never change, and the number.
    void drawLabels(Canvas &canvas, Point origin) const;
    void drawValue(Canvas &canvas, Point origin) const;
};
