#include "views/qt/CoverageRasterizer.h"

#include "views/qt/PremultipliedPixel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

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

// The colour at full alpha as a premultiplied pixel.
std::uint32_t opaquePixel(const SourceColor &src)
{
    return 0xFF000000u | static_cast<std::uint32_t>(src.red << 16) | static_cast<std::uint32_t>(src.green << 8) |
           static_cast<std::uint32_t>(src.blue);
}

// The colour at 8-bit alpha a, source-over onto pixel.
inline std::uint32_t blended(std::uint32_t pixel, std::uint32_t opaque, std::uint32_t a)
{
    return premultiplied::mixed(pixel, opaque, a);
}

// v limited to 0..1, written as comparisons the compiler turns into vector min and max.
inline float clampUnit(float v)
{
    v = v < 0.0f ? 0.0f : v;
    return v > 1.0f ? 1.0f : v;
}

// The square root of a value known not to be negative, without the library's error
// handling for negative arguments, which keeps loops around it from vectorizing.
inline float squareRoot(float v)
{
#if defined(__GNUC__)
    return __builtin_sqrtf(v);
#else
    return std::sqrt(v);
#endif
}

} // namespace

void strokeSegment(PixelSurface &surface, double x0, double y0, double x1, double y1, double width,
                   const RgbColor &color)
{
    const StrokeLayer layer{width, color};
    strokeSegmentLayers(surface, x0, y0, x1, y1, std::span<const StrokeLayer>(&layer, 1));
}

namespace {

// Spans, row by row, of the points within reach of the segment (x0, y0)-(x1, y1): its
// end discs and the band between them. That shape is convex, so a row's span is the hull
// of its pieces' spans. What does not depend on the row is worked out once.
class CapsuleRows {
public:
    CapsuleRows(double x0, double y0, double x1, double y1, double reach)
        : x0_(x0), y0_(y0), x1_(x1), y1_(y1), reachSquared_(reach * reach)
    {
        const double dx = x1 - x0;
        const double dy = y1 - y0;
        const double length = std::sqrt(dx * dx + dy * dy);
        band_ = length > 0.0;
        // Along the segment, 0 <= (x - x0) dx + h dy <= length² (h = y - y0); across it,
        // |(x - x0) dy - h dx| <= reach * length. Each bounds x unless its factor is 0.
        dx_ = dx;
        dy_ = dy;
        lengthSquared_ = length * length;
        reachLength_ = reach * length;
        inverseDx_ = dx != 0.0 ? 1.0 / dx : 0.0;
        inverseDy_ = dy != 0.0 ? 1.0 / dy : 0.0;
    }

    // The span on the horizontal line at height y; false when the line misses the shape.
    bool span(double y, double &left, double &right) const
    {
        left = std::numeric_limits<double>::infinity();
        right = -left;
        disc(x0_, y - y0_, left, right);
        disc(x1_, y - y1_, left, right);
        if (band_) {
            const double h = y - y0_;
            double low = -std::numeric_limits<double>::infinity();
            double high = -low;
            if (dx_ != 0.0) {
                narrow(x0_ - h * dy_ * inverseDx_, x0_ + (lengthSquared_ - h * dy_) * inverseDx_, low, high);
            } else if (h * dy_ < 0.0 || h * dy_ > lengthSquared_) {
                return left <= right;
            }
            if (dy_ != 0.0) {
                narrow(x0_ + (h * dx_ - reachLength_) * inverseDy_, x0_ + (h * dx_ + reachLength_) * inverseDy_, low,
                       high);
            } else if (std::abs(h * dx_) > reachLength_) {
                return left <= right;
            }
            if (low <= high) {
                left = std::min(left, low);
                right = std::max(right, high);
            }
        }
        return left <= right;
    }

private:
    void disc(double centerX, double h, double &left, double &right) const
    {
        const double squared = reachSquared_ - h * h;
        if (squared < 0.0) return;
        const double half = std::sqrt(squared);
        left = std::min(left, centerX - half);
        right = std::max(right, centerX + half);
    }
    static void narrow(double a, double b, double &low, double &high)
    {
        low = std::max(low, std::min(a, b));
        high = std::min(high, std::max(a, b));
    }

    double x0_, y0_, x1_, y1_; // the segment's ends, pixels
    double reachSquared_;      // pixels squared
    bool band_ = false;        // false for a segment of length 0: only the discs count
    double dx_ = 0.0, dy_ = 0.0, lengthSquared_ = 0.0, reachLength_ = 0.0;
    double inverseDx_ = 0.0, inverseDy_ = 0.0; // 0 where the difference is 0
};

} // namespace

namespace {

// A stroke layer ready for the pixel loop.
struct PreparedLayer {
    std::uint32_t opaque = 0; // the colour at full alpha, premultiplied ARGB
    float reach = 0.0f;       // pixels; coverage falls from 1 to 0 over the last pixel
    float alphaScale = 0.0f;  // coverage to 8-bit source alpha; thin strokes keep their area
};
constexpr std::size_t maximumLayers = 8;

// Pixels addressed as lines of runs: pixel (u, v) is at pixels[v * lineStep + u * runStep].
// Rows of the surface, or its columns for a steep segment, so that each line's fixed
// cost is paid for as few lines as possible.
struct PixelLines {
    std::uint32_t *pixels;
    int runLength;           // pixels along a line
    int lineCount;
    std::ptrdiff_t lineStep; // pixels from one line to the next
    std::ptrdiff_t runStep;  // pixels from one pixel of a line to the next
};

void rasterizeCapsule(const PixelLines &lines, double u0, double v0, double u1, double v1,
                      std::span<const PreparedLayer> layers, double reach)
{
    const double du = u1 - u0;
    const double dv = v1 - v0;
    const double lengthSquared = du * du + dv * dv;
    const float fdu = static_cast<float>(du);
    const float fdv = static_cast<float>(dv);
    const float inverseLengthSquared = lengthSquared > 0.0 ? static_cast<float>(1.0 / lengthSquared) : 0.0f;
    // Lines whose pixel centres lie within reach.
    const int first = std::max(0, static_cast<int>(std::ceil(std::min(v0, v1) - reach - 0.5)));
    const int last = std::min(lines.lineCount - 1, static_cast<int>(std::floor(std::max(v0, v1) + reach - 0.5)));

    const CapsuleRows spans(u0, v0, u1, v1, reach);
    constexpr int chunkPixels = 64;
    std::array<float, chunkPixels> distances;                               // pixels
    std::array<std::array<std::int32_t, chunkPixels>, maximumLayers> alphas; // 0..255 per layer
    for (int v = first; v <= last; ++v) {
        const double pv = v + 0.5;
        double spanStart = 0.0;
        double spanEnd = 0.0;
        if (!spans.span(pv, spanStart, spanEnd)) continue;
        const int start = std::max(0, static_cast<int>(std::ceil(spanStart - 0.5)));
        const int end = std::min(lines.runLength - 1, static_cast<int>(std::floor(spanEnd - 0.5)));
        std::uint32_t *line = lines.pixels + static_cast<std::ptrdiff_t>(v) * lines.lineStep;
        // The line in chunks: first distances and each layer's alpha for the whole chunk,
        // in single precision and without branches so the compiler can vectorize, then
        // the blends, which skip pixels outside a layer (alpha 0).
        const float fv = static_cast<float>(pv - v0);
        const float along = fv * fdv;
        for (int chunkStart = start; chunkStart <= end; chunkStart += chunkPixels) {
            const int n = std::min(chunkPixels, end - chunkStart + 1);
            const float firstU = static_cast<float>(chunkStart + 0.5 - u0);
            for (int k = 0; k < n; ++k) {
                const float fu = firstU + static_cast<float>(k);
                const float t = clampUnit((fu * fdu + along) * inverseLengthSquared);
                const float eu = fu - t * fdu;
                const float ev = fv - t * fdv;
                distances[static_cast<std::size_t>(k)] = squareRoot(eu * eu + ev * ev);
            }
            for (std::size_t i = 0; i < layers.size(); ++i) {
                const PreparedLayer &layer = layers[i];
                std::int32_t *alpha = alphas[i].data();
                for (int k = 0; k < n; ++k) {
                    const float coverage = clampUnit(layer.reach - distances[static_cast<std::size_t>(k)]);
                    alpha[k] = static_cast<std::int32_t>(coverage * layer.alphaScale + 0.5f);
                }
            }
            std::uint32_t *pixel = line + chunkStart * lines.runStep;
            for (int k = 0; k < n; ++k, pixel += lines.runStep) {
                std::uint32_t value = *pixel;
                for (std::size_t i = 0; i < layers.size(); ++i) {
                    const auto alpha = static_cast<std::uint32_t>(alphas[i][static_cast<std::size_t>(k)]);
                    if (alpha != 0) value = blended(value, layers[i].opaque, alpha);
                }
                *pixel = value;
            }
        }
    }
}

} // namespace

void strokeSegmentLayers(PixelSurface &surface, double x0, double y0, double x1, double y1,
                         std::span<const StrokeLayer> layers)
{
    std::array<PreparedLayer, maximumLayers> prepared{};
    std::size_t count = 0;
    double reach = 0.0;
    for (const StrokeLayer &layer : layers.first(std::min(layers.size(), maximumLayers))) {
        const SourceColor src = toSource(layer.color);
        if (src.alpha <= 0.0f || !(layer.width > 0.0)) continue;
        const float layerReach = static_cast<float>(std::max(layer.width, 1.0) * 0.5 + 0.5);
        const float alphaScale = src.alpha * static_cast<float>(std::min(layer.width, 1.0)) * 255.0f;
        prepared[count++] = {opaquePixel(src), layerReach, alphaScale};
        reach = std::max(reach, static_cast<double>(layerReach));
    }
    if (count == 0) return;
    const std::span<const PreparedLayer> used(prepared.data(), count);
    // A steep segment covers few pixels per row and many rows: walk it by columns.
    if (std::abs(y1 - y0) > std::abs(x1 - x0)) {
        rasterizeCapsule({surface.pixels, surface.height, surface.width, 1, surface.stride}, y0, x0, y1, x1, used,
                         reach);
    } else {
        rasterizeCapsule({surface.pixels, surface.width, surface.height, surface.stride, 1}, x0, y0, x1, y1, used,
                         reach);
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
    const std::uint32_t opaque = opaquePixel(src);
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
    // Per pixel in single precision: coverage ramps over the pixel across each edge.
    const float outer = static_cast<float>(outerRadius + 0.5);
    const float inner = static_cast<float>(innerRadius + 0.5);
    const auto fStartX = static_cast<float>(startX);
    const auto fStartY = static_cast<float>(startY);
    const auto fEndX = static_cast<float>(endX);
    const auto fEndY = static_cast<float>(endY);
    const float alphaScale = src.alpha * 255.0f;
    constexpr int chunkPixels = 64;
    std::array<std::int32_t, chunkPixels> alphas; // 0..255
    const int top = std::max(0, static_cast<int>(std::floor(centerY - outerReach)));
    const int bottom = std::min(surface.height - 1, static_cast<int>(std::ceil(centerY + outerReach)));
    for (int y = top; y <= bottom; ++y) {
        const double dy = y + 0.5 - centerY;
        const auto fdy = static_cast<float>(dy);
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
            // In chunks, as for segments: coverage without branches, then the blends.
            for (int chunkStart = left; chunkStart <= right; chunkStart += chunkPixels) {
                const int n = std::min(chunkPixels, right - chunkStart + 1);
                const float firstX = static_cast<float>(chunkStart + 0.5 - centerX);
                for (int k = 0; k < n; ++k) {
                    const float dx = firstX + static_cast<float>(k);
                    const float distance = squareRoot(dx * dx + fdy * fdy);
                    float coverage = clampUnit(outer - distance) - clampUnit(inner - distance);
                    const float afterStart = clampUnit(fStartX * fdy - fStartY * dx + 0.5f);
                    const float beforeEnd = clampUnit(fEndY * dx - fEndX * fdy + 0.5f);
                    const float within = wide ? (afterStart > beforeEnd ? afterStart : beforeEnd)
                                              : (afterStart < beforeEnd ? afterStart : beforeEnd);
                    coverage *= whole ? 1.0f : within;
                    alphas[static_cast<std::size_t>(k)] = static_cast<std::int32_t>(clampUnit(coverage) * alphaScale + 0.5f);
                }
                std::uint32_t *pixels = row + chunkStart;
                for (int k = 0; k < n; ++k) {
                    const auto alpha = static_cast<std::uint32_t>(alphas[static_cast<std::size_t>(k)]);
                    if (alpha != 0) pixels[k] = blended(pixels[k], opaque, alpha);
                }
            }
            previousRight = right;
        }
    }
}

} // namespace coverage_rasterizer
