#pragma once

#include "views/Canvas.h"

// The few symbols the meters show, drawn as vector shapes so that they never depend
// on an icon font being installed.
enum class Symbol {
    XMark,               // "xmark": a diagonal cross
    Circle,              // "circle": an outlined circle
    CheckmarkCircleFill, // "checkmark.circle.fill": a disc with a checkmark cut out
    XMarkCircleFill,     // "xmark.circle.fill": a disc with a cross cut out
};

enum class SymbolWeight { Regular, Bold };

// Draws the symbol filling a square of side pointSize centred on center.
void drawSymbol(Canvas &canvas, Symbol symbol, Point center, double pointSize, const RgbColor &color,
                SymbolWeight weight = SymbolWeight::Regular);

// The outline of a polyline of the given thickness with mitred corners and square-cut
// ends, as one closed polygon (so that even-odd filling can cut it out of a disc).
void appendThickPolyline(Path &path, std::span<const Point> points, double thickness);
