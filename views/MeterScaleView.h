#pragma once

#include "views/Canvas.h"

#include <span>

// The dB labels between the two bars, each centred at its level.
struct MeterScaleView {
    std::span<const int> scaleValues; // marks, dBFS
    float minDb = -60.0f;             // bottom of the range, dBFS
    float maxDb = 6.0f;               // top of the range, dBFS
    double fontSize = 9.1;            // points
    double width = 28.6;              // column width, points

    static constexpr double underOpacity = 0.6; // marks below +1 dB, grey
    static constexpr double overOpacity = 0.8;  // marks of +1 dB and more, red

    // Vertical centre of a mark in a column of the given height, from the top.
    double markCenterY(int markDb, double height) const;
    static RgbColor markColor(int markDb);
    Font font() const;

    // Draws into (0, 0, width, height) of the canvas's current coordinates.
    void draw(Canvas &canvas, double height) const;
};
