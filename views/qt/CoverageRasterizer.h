#pragma once

#include "settings/Color.h"

#include <cstdint>
#include <span>

// A block of premultiplied 32-bit ARGB pixels (0xAARRGGBB in native byte order), the
// layout of QImage::Format_ARGB32_Premultiplied.
struct PixelSurface {
    std::uint32_t *pixels = nullptr;
    int width = 0;  // pixels
    int height = 0; // pixels
    int stride = 0; // pixels from one row to the next
};

// Antialiased round-capped segments and discs blended source-over into a surface, in
// the surface's pixel coordinates. Each pixel is covered by how far its centre lies
// inside the shape's edge (a one-pixel ramp), which matches an antialiased stroke
// closely while costing a few operations per pixel: the phase scope draws thousands of
// wide translucent segments per frame, far more than a general path stroker keeps up with.
namespace coverage_rasterizer {

void strokeSegment(PixelSurface &surface, double x0, double y0, double x1, double y1, double width,
                   const RgbColor &color);
// Several strokes of the same segment, widest usually first, blended in the given order
// per pixel: the same result as one strokeSegment per layer, with one distance per pixel.
struct StrokeLayer {
    double width = 1.0; // pixels
    RgbColor color;
};
void strokeSegmentLayers(PixelSurface &surface, double x0, double y0, double x1, double y1,
                         std::span<const StrokeLayer> layers);

// A ring of the given radius and width between two angles (degrees, 0 at three o'clock,
// clockwise on screen), ends cut square. A sweep of 360 or more is the whole ring.
void strokeArc(PixelSurface &surface, double centerX, double centerY, double radius, double width,
               double startDegrees, double sweepDegrees, const RgbColor &color);

void fillDisc(PixelSurface &surface, double centerX, double centerY, double diameter, const RgbColor &color);

} // namespace coverage_rasterizer
