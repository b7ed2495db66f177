#pragma once

#include "settings/DrawableGradient.h"

#include <span>
#include <vector>

// Stops of a gradient restricted to locations 0..1, sorted by location. Stops may lie
// outside 0..1 (a +6 dB stop on a bar that ends at 0 dB): the ends then get the colour
// the gradient has at that point, so every location keeps its colour. Beyond the
// outermost stops the end colours continue. Toolkits that accept only 0..1 need this.
std::vector<DrawableGradientStop> normalizedGradientStops(std::span<const DrawableGradientStop> stops);

// Colour of a gradient at a location, with end colours continuing past the ends.
// sortedStops must be sorted by location and not empty.
RgbColor gradientColorAt(std::span<const DrawableGradientStop> sortedStops, double location);
