#include "views/qt/CoverageRasterizer.h"

#include <algorithm>
#include <cmath>

namespace coverage_rasterizer {

namespace {

// A colour as 8-bit channels, with alpha kept as a fraction for the coverage multiply.
struct SourceColor {
    int red = 0;      // 0..255, not premultiplied
    int green = 0;
    int blue = 0;
    float alpha = 0;  // 0..1
};

SourceColor toSource(const RgbColor &c)
{
    auto channel = [](double v) { return static_cast<int>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0)); };
    return {channel(c.red), channel(c.green), channel(c.blue), static_cast<float>(std::clamp(c.alpha, 0.0, 1.0))};
}

// x / 255 for x in 0..65025, rounded, without a division.
inline std::uint32_t divideBy255(std::uint32_t x)
{
    x += 128;
    return (x + (x >> 8)) >> 8;
}

// dst = src + dst * (1 - srcAlpha), all premultiplied, in 8-bit channels.
inline void blend(std::uint32_t &pixel, const SourceColor &src, float coverage)
{
    const std::uint32_t a = static_cast<std::uint32_t>(src.alpha * coverage * 255.0f + 0.5f);
    if (a == 0) return;
    const std::uint32_t inverse = 255 - a;
    const std::uint32_t d = pixel;
    const std::uint32_t outA = a + divideBy255((d >> 24) * inverse);
    const std::uint32_t outR = divideBy255(static_cast<std::uint32_t>(src.red) * a + ((d >> 16) & 0xFF) * inverse);
    const std::uint32_t outG = divideBy255(static_cast<std::uint32_t>(src.green) * a + ((d >> 8) & 0xFF) * inverse);
    const std::uint32_t outB = divideBy255(static_cast<std::uint32_t>(src.blue) * a + (d & 0xFF) * inverse);
    pixel = (outA << 24) | (outR << 16) | (outG << 8) | outB;
}

} // namespace

void strokeSegment(PixelSurface &surface, double x0, double y0, double x1, double y1, double width,
                   const RgbColor &color)
{
    const SourceColor src = toSource(color);
    if (src.alpha <= 0.0f || !(width > 0.0)) return;
    // Thin strokes keep their area: a 0.4 pixel line is a full-width line at 0.4 coverage.
    const float thinness = static_cast<float>(std::min(width, 1.0));
    const double radius = std::max(width, 1.0) * 0.5;
    const double reach = radius + 0.5; // coverage falls to 0 half a pixel outside the edge

    const double dx = x1 - x0;
    const double dy = y1 - y0;
    const double lengthSquared = dx * dx + dy * dy;
    const float fdx = static_cast<float>(dx);
    const float fdy = static_cast<float>(dy);
    const float inverseLengthSquared = lengthSquared > 0.0 ? static_cast<float>(1.0 / lengthSquared) : 0.0f;
    const float freach = static_cast<float>(reach);
    const float reachSquared = freach * freach;
    const float inner = std::max(0.0f, freach - 1.0f); // coverage is 1 within this distance
    const float innerSquared = inner * inner;
    const int top = std::max(0, static_cast<int>(std::floor(std::min(y0, y1) - reach)));
    const int bottom = std::min(surface.height - 1, static_cast<int>(std::ceil(std::max(y0, y1) + reach)));

    for (int y = top; y <= bottom; ++y) {
        const double py = y + 0.5;
        // The part of the segment within reach of this row bounds the pixels to visit.
        double tLow = 0.0;
        double tHigh = 1.0;
        if (dy != 0.0) {
            const double ta = (py - reach - y0) / dy;
            const double tb = (py + reach - y0) / dy;
            tLow = std::max(0.0, std::min(ta, tb));
            tHigh = std::min(1.0, std::max(ta, tb));
            if (tLow > tHigh) continue;
        } else if (std::abs(py - y0) > reach) {
            continue;
        }
        const double xa = x0 + tLow * dx;
        const double xb = x0 + tHigh * dx;
        const int left = std::max(0, static_cast<int>(std::floor(std::min(xa, xb) - reach)));
        const int right = std::min(surface.width - 1, static_cast<int>(std::ceil(std::max(xa, xb) + reach)));
        std::uint32_t *row = surface.pixels + static_cast<std::ptrdiff_t>(y) * surface.stride;
        // Per pixel in single precision: distance squared to the segment decides between
        // outside (skip), fully inside (no square root) and the one-pixel edge ramp.
        const float fy = static_cast<float>(py - y0);
        for (int x = left; x <= right; ++x) {
            const float fx = static_cast<float>(x + 0.5 - x0);
            const float t = std::clamp((fx * fdx + fy * fdy) * inverseLengthSquared, 0.0f, 1.0f);
            const float ex = fx - t * fdx;
            const float ey = fy - t * fdy;
            const float distanceSquared = ex * ex + ey * ey;
            if (distanceSquared >= reachSquared) continue;
            const float coverage = distanceSquared <= innerSquared ? 1.0f : freach - std::sqrt(distanceSquared);
            blend(row[x], src, std::min(coverage, 1.0f) * thinness);
        }
    }
}

void fillDisc(PixelSurface &surface, double centerX, double centerY, double diameter, const RgbColor &color)
{
    strokeSegment(surface, centerX, centerY, centerX, centerY, diameter, color);
}

} // namespace coverage_rasterizer
