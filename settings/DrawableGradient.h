#pragma once

#include "settings/Color.h"

#include <vector>

// A linear gradient described without any drawing toolkit. The views hand it to
// their drawing back-end (QPainter in the application, a recorder in tests).
enum class GradientDirection {
    BottomToTop, // location 0 at the bottom edge, 1 at the top edge (meter bars)
    LeftToRight, // location 0 at the left edge, 1 at the right edge
};

struct DrawableGradientStop {
    double location = 0.0; // fraction of the gradient's length; may lie outside 0..1
    RgbColor color;

    friend bool operator==(const DrawableGradientStop &, const DrawableGradientStop &) = default;
};

struct DrawableGradient {
    std::vector<DrawableGradientStop> stops; // in the order they were given, not re-sorted
    GradientDirection direction = GradientDirection::BottomToTop;

    friend bool operator==(const DrawableGradient &, const DrawableGradient &) = default;
};
