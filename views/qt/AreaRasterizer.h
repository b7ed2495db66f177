#pragma once

#include "views/Path.h"
#include "views/qt/CoverageRasterizer.h"

#include <cstdint>
#include <span>
#include <vector>

// The filled area under a curve (the spectrum): a closed outline that starts and ends
// on a flat baseline and whose points never step back in x.
bool isAreaUnderCurve(const Path &path);

// Antialiased polygon fill by exact area coverage: every edge adds its signed share of
// each cell's area to a buffer, and a running sum along each row turns that into the
// covered fraction of the pixel. For a spectrum of two thousand points this costs one
// pass over the pixels plus a few cells per edge and row, where QPainter's path filler
// sorts and scans every edge. Coverage is the absolute winding, capped at one: right
// for outlines that do not overlap themselves.
class AreaRasterizer {
public:
    // Starts an empty outline over a surface of the given size, pixels.
    void begin(int width, int height);
    // One straight edge, in the surface's pixel coordinates. Parts above or below the
    // surface are dropped; parts left or right of it are pushed onto its side.
    void addEdge(double x0, double y0, double x1, double y1);
    // Writes every pixel of the surface: the row's premultiplied colour (one per row)
    // scaled by the pixel's coverage.
    void fill(PixelSurface &surface, std::span<const std::uint32_t> rowColors);

private:
    int width_ = 0;            // pixels
    int height_ = 0;           // pixels
    int stride_ = 0;           // cells per row: width plus two, for edges on the right side
    std::vector<float> cells_; // signed area added per cell, pixels², row by row
};
