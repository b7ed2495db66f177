#pragma once

#include "engine/dsp/AudioLevels.h"

#include <vector>

// Smooth curve through the spectrum's control points. Main thread only; allocates.
namespace CatmullRomSpline {

// A uniform Catmull-Rom curve through points with `segments` curve points per span:
// (n - 1) * segments + 1 points for n >= 2 (the last input point closes the curve).
// Fewer than two points are returned unchanged. The ends flatten out: each end gets a
// phantom neighbour mirrored in x with the end point's own y. segments < 1 gives
// the last point only.
std::vector<UnitPoint> interpolate(const std::vector<UnitPoint> &points, int segments);

} // namespace CatmullRomSpline
