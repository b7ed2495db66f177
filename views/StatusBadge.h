#pragma once

#include "views/Canvas.h"
#include "views/Geometry.h"

#include <string>

// A small red-dot badge in a meter window's top right corner, e.g. "LOG" while the
// loudness log is written: a recording must never run unnoticed.
namespace StatusBadge {

Rect rect(Size windowSize, const std::string &text, const TextMeasurer &measurer);
void draw(Canvas &canvas, Size windowSize, const std::string &text);

} // namespace StatusBadge
