#pragma once

#include "views/qt/CoverageRasterizer.h"

#include <cstdint>
#include <vector>

// A premultiplied ARGB layer at 1/factor of a target surface's resolution, for soft
// content such as a glow: drawn coarse, it costs 1/factor² of the pixel work, and scaled
// back up with bilinear filtering it looks the same as drawn fine, only softer at its
// edges. A one-pixel transparent border keeps the filter inside the buffer.
class ReducedResolutionLayer {
public:
    // Sizes the layer for a target of the given size in pixels and clears it.
    void reset(int targetWidth, int targetHeight, int factor);
    // Clears what was drawn since the last reset or clear.
    void clear();

    int factor() const { return factor_; }
    // A target pixel coordinate in the layer's pixels.
    double toLayer(double targetCoordinate) const { return targetCoordinate / factor_ + 1.0; }
    PixelSurface surface() { return {pixels_.data(), width_, height_, width_}; }
    // Records that drawing touched the rectangle between the two corners (layer pixels);
    // clear() and compositeOnto() look only at the touched part.
    void touch(double left, double top, double right, double bottom);

    // Scales the touched part up to the target's resolution and blends it source-over
    // onto target (the size given to reset). Transparent pixels cost almost nothing.
    void compositeOnto(PixelSurface &target);

private:
    std::vector<std::uint32_t> pixels_;     // width_ x height_, premultiplied ARGB
    std::vector<std::uint32_t> blendedRow_; // one row blended from two layer rows, scratch
    std::vector<int> columnIndex_;          // per target column: the layer column left of it
    std::vector<std::uint32_t> columnWeight_; // per target column: weight of the right one, 0..256
    int width_ = 0;        // layer pixels, border included
    int height_ = 0;       // layer pixels, border included
    int factor_ = 1;       // target pixels per layer pixel, along each axis
    int targetWidth_ = 0;  // target pixels
    int targetHeight_ = 0; // target pixels
    // Touched layer pixels, inclusive; empty when left > right.
    int touchedLeft_ = 0;
    int touchedTop_ = 0;
    int touchedRight_ = -1;
    int touchedBottom_ = -1;
};
