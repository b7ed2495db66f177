#pragma once

#include "views/Path.h"

// The peak-hold marker: a solid triangle pointing right, filling rect.
Path peakTrianglePath(const Rect &rect);
// The same triangle turned by 180 degrees about the centre of rect: it points left.
Path peakTrianglePathTurned(const Rect &rect);
