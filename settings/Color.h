#pragma once

// An sRGB colour with components in 0..1. Toolkit-free so that the settings and
// view layers can describe colours without Qt Gui.
struct RgbColor {
    double red = 0.0;   // 0..1
    double green = 0.0; // 0..1
    double blue = 0.0;  // 0..1
    double alpha = 1.0; // 0..1, 1 = opaque

    friend bool operator==(const RgbColor &, const RgbColor &) = default;
};
