#include "views/qt/CoverageRasterizer.h"

#include <algorithm>
#include <array>
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

// dst = src + dst * (1 - srcAlpha), premultiplied 8-bit channels, source alpha a in
// 0..255.
inline void blend(std::uint32_t &pixel, const SourceColor &src, std::uint32_t a)
{
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
    const StrokeLayer layer{width, color};
    strokeSegmentLayers(surface, x0, y0, x1, y1, std::span<const StrokeLayer>(&layer, 1));
}

void strokeSegmentLayers(PixelSurface &surface, double x0, double y0, double x1, double y1,
                         std::span<const StrokeLayer> layers)
{
    // Per layer: colour, the distance where coverage reaches 0 and where it reaches 1.
    struct Prepared {
        SourceColor src;
        float thinness;     // thin strokes keep their area: 0.4 px wide = full width at 0.4
        float reach;        // coverage falls to 0 half a pixel outside the edge
        float reachSquared;
        float innerSquared; // coverage is 1 within this distance squared
        float alphaScale;   // coverage to 8-bit source alpha
    };
    constexpr std::size_t maximumLayers = 8;
    std::array<Prepared, maximumLayers> prepared{};
    std::size_t count = 0;
    double widest = 0.0;
    for (const StrokeLayer &layer : layers.first(std::min(layers.size(), maximumLayers))) {
        const SourceColor src = toSource(layer.color);
        if (src.alpha <= 0.0f || !(layer.width > 0.0)) continue;
        const float reach = static_cast<float>(std::max(layer.width, 1.0) * 0.5 + 0.5);
        const float inner = std::max(0.0f, reach - 1.0f);
        const float thinness = static_cast<float>(std::min(layer.width, 1.0));
        prepared[count++] = {src, thinness, reach, reach * reach, inner * inner, src.alpha * thinness * 255.0f};
        widest = std::max(widest, static_cast<double>(reach));
    }
    if (count == 0) return;
    const double reach = widest;

    const double dx = x1 - x0;
    const double dy = y1 - y0;
    const double lengthSquared = dx * dx + dy * dy;
    const float fdx = static_cast<float>(dx);
    const float fdy = static_cast<float>(dy);
    const float inverseLengthSquared = lengthSquared > 0.0 ? static_cast<float>(1.0 / lengthSquared) : 0.0f;
    const float outerSquared = static_cast<float>(reach * reach);
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
        // Per pixel in single precision: the distance squared to the segment decides, per
        // layer, between outside (skip), fully inside (no square root) and the edge ramp.
        const float fy = static_cast<float>(py - y0);
        for (int x = left; x <= right; ++x) {
            const float fx = static_cast<float>(x + 0.5 - x0);
            const float t = std::clamp((fx * fdx + fy * fdy) * inverseLengthSquared, 0.0f, 1.0f);
            const float ex = fx - t * fdx;
            const float ey = fy - t * fdy;
            const float distanceSquared = ex * ex + ey * ey;
            if (distanceSquared >= outerSquared) continue;
            float distance = -1.0f; // computed once, when a layer's edge ramp needs it
            for (std::size_t i = 0; i < count; ++i) {
                const Prepared &layer = prepared[i];
                if (distanceSquared >= layer.reachSquared) continue;
                float coverage = 1.0f;
                if (distanceSquared > layer.innerSquared) {
                    if (distance < 0.0f) distance = std::sqrt(distanceSquared);
                    coverage = std::min(layer.reach - distance, 1.0f);
                }
                const std::uint32_t alpha = static_cast<std::uint32_t>(coverage * layer.alphaScale + 0.5f);
                if (alpha != 0) blend(row[x], layer.src, alpha);
            }
        }
    }
}

void fillDisc(PixelSurface &surface, double centerX, double centerY, double diameter, const RgbColor &color)
{
    strokeSegment(surface, centerX, centerY, centerX, centerY, diameter, color);
}

void strokeArc(PixelSurface &surface, double centerX, double centerY, double radius, double width,
               double startDegrees, double sweepDegrees, const RgbColor &color)
{
    const SourceColor src = toSource(color);
    if (src.alpha <= 0.0f || !(width > 0.0) || !(sweepDegrees > 0.0)) return;
    const double innerRadius = std::max(0.0, radius - width * 0.5);
    const double outerRadius = radius + width * 0.5;
    const bool whole = sweepDegrees >= 360.0;
    // The two ends as unit directions; a point's signed distance to the line through an
    // end (positive towards the inside of the arc) fades the square-cut end over a pixel.
    constexpr double degrees = M_PI / 180.0;
    const double startX = std::cos(startDegrees * degrees);
    const double startY = std::sin(startDegrees * degrees);
    const double endX = std::cos((startDegrees + sweepDegrees) * degrees);
    const double endY = std::sin((startDegrees + sweepDegrees) * degrees);
    const bool wide = sweepDegrees > 180.0; // the inside is the union, not the intersection, of the two sides

    const double outerReach = outerRadius + 0.5;
    const double innerReach = std::max(0.0, innerRadius - 0.5);
    const int top = std::max(0, static_cast<int>(std::floor(centerY - outerReach)));
    const int bottom = std::min(surface.height - 1, static_cast<int>(std::ceil(centerY + outerReach)));
    for (int y = top; y <= bottom; ++y) {
        const double dy = y + 0.5 - centerY;
        const double outerHalf = std::sqrt(std::max(0.0, outerReach * outerReach - dy * dy));
        const double innerHalf = std::abs(dy) < innerReach ? std::sqrt(innerReach * innerReach - dy * dy) : 0.0;
        std::uint32_t *row = surface.pixels + static_cast<std::ptrdiff_t>(y) * surface.stride;
        // Left and right pieces of the ring on this row.
        const std::array<std::array<double, 2>, 2> pieces = {{{centerX - outerHalf, centerX - innerHalf},
                                                              {centerX + innerHalf, centerX + outerHalf}}};
        int previousRight = -1;
        for (const auto &piece : pieces) {
            const int left = std::max({0, previousRight + 1, static_cast<int>(std::floor(piece[0] - 0.5))});
            const int right = std::min(surface.width - 1, static_cast<int>(std::ceil(piece[1] + 0.5)));
            for (int x = left; x <= right; ++x) {
                const double dx = x + 0.5 - centerX;
                const double distance = std::sqrt(dx * dx + dy * dy);
                double coverage = std::clamp(outerRadius - distance + 0.5, 0.0, 1.0) -
                                  std::clamp(innerRadius - distance + 0.5, 0.0, 1.0);
                if (coverage <= 0.0) continue;
                if (!whole) {
                    const double afterStart = std::clamp(startX * dy - startY * dx + 0.5, 0.0, 1.0);
                    const double beforeEnd = std::clamp(endY * dx - endX * dy + 0.5, 0.0, 1.0);
                    coverage *= wide ? std::max(afterStart, beforeEnd) : std::min(afterStart, beforeEnd);
                    if (coverage <= 0.0) continue;
                }
                const auto alpha = static_cast<std::uint32_t>(static_cast<float>(coverage) * src.alpha * 255.0f + 0.5f);
                if (alpha != 0) blend(row[x], src, alpha);
            }
            previousRight = right;
        }
    }
}

} // namespace coverage_rasterizer
