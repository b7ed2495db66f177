#include "views/qt/SegmentBatch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace segment_batch {

std::size_t leadingGlowStrokes(std::span<const coverage_rasterizer::StrokeLayer> strokes)
{
    std::size_t count = 0;
    while (count + 1 < strokes.size()) {
        double widestAfter = 0.0;
        for (std::size_t i = count + 1; i < strokes.size(); ++i) widestAfter = std::max(widestAfter, strokes[i].width);
        const coverage_rasterizer::StrokeLayer &stroke = strokes[count];
        if (stroke.color.alpha > 0.5 || stroke.width < minimumGlowWidth || stroke.width < 2.0 * widestAfter) break;
        ++count;
    }
    return count;
}

int glowFactor(double narrowestGlowWidth)
{
    int factor = 1;
    while (factor < maximumGlowFactor && narrowestGlowWidth / (factor * 2) >= narrowestGlowInLayerPixels) factor *= 2;
    return factor;
}

} // namespace segment_batch

namespace {

using coverage_rasterizer::StrokeLayer;

constexpr std::size_t maximumStrokesPerSegment = 8;

// The end of the run of consecutive strokes of the same segment that starts at begin.
std::size_t runEnd(std::span<const ColoredSegment> segments, std::size_t begin)
{
    std::size_t end = begin + 1;
    while (end < segments.size() && end - begin < maximumStrokesPerSegment && segments[end].from == segments[begin].from &&
           segments[end].to == segments[begin].to)
        ++end;
    return end;
}

// Calls visit(segment, strokes, glowCount) for each run of strokes of the same segment,
// widths in pixels.
template <typename Visit> void forEachSegment(std::span<const ColoredSegment> segments, double scale, Visit &&visit)
{
    std::array<StrokeLayer, maximumStrokesPerSegment> strokes;
    for (std::size_t begin = 0; begin < segments.size();) {
        const std::size_t end = runEnd(segments, begin);
        for (std::size_t i = begin; i < end; ++i) strokes[i - begin] = {segments[i].width * scale, segments[i].color};
        const std::span<const StrokeLayer> run(strokes.data(), end - begin);
        visit(segments[begin], run, segment_batch::leadingGlowStrokes(run));
        begin = end;
    }
}

} // namespace

void rasterizeSegments(PixelSurface &surface, std::span<const ColoredSegment> segments, double scale, double offsetX,
                       double offsetY, ReducedResolutionLayer &glowLayer)
{
    double narrowestGlow = std::numeric_limits<double>::infinity();
    forEachSegment(segments, scale, [&](const ColoredSegment &, std::span<const StrokeLayer> strokes, std::size_t glow) {
        for (std::size_t i = 0; i < glow; ++i) narrowestGlow = std::min(narrowestGlow, strokes[i].width);
    });
    const int factor = std::isfinite(narrowestGlow) ? segment_batch::glowFactor(narrowestGlow) : 1;
    auto sharp = [&](std::span<const ColoredSegment> part) {
        forEachSegment(part, scale, [&](const ColoredSegment &s, std::span<const StrokeLayer> strokes, std::size_t glow) {
            coverage_rasterizer::strokeSegmentLayers(surface, s.from.x * scale + offsetX, s.from.y * scale + offsetY,
                                                     s.to.x * scale + offsetX, s.to.y * scale + offsetY,
                                                     strokes.subspan(factor > 1 ? glow : 0));
        });
    };
    if (factor == 1) {
        sharp(segments);
        return;
    }

    // A few segments at a time: their glow, then their lines. A later segment's glow thus
    // still veils the lines of earlier parts, as it would drawn in order; only within a
    // part do the lines lie over all of its glow.
    std::array<StrokeLayer, maximumStrokesPerSegment> coarseStrokes;
    glowLayer.reset(surface.width, surface.height, factor);
    for (std::size_t begin = 0; begin < segments.size();) {
        std::size_t end = begin;
        for (std::size_t n = 0; n < segment_batch::segmentsPerGlowPart && end < segments.size(); ++n)
            end = runEnd(segments, end);
        const std::span<const ColoredSegment> part = segments.subspan(begin, end - begin);
        begin = end;

        glowLayer.clear();
        PixelSurface coarse = glowLayer.surface();
        forEachSegment(part, scale, [&](const ColoredSegment &s, std::span<const StrokeLayer> strokes, std::size_t glow) {
            if (glow == 0) return;
            double reach = 0.0;
            for (std::size_t i = 0; i < glow; ++i) {
                coarseStrokes[i] = {strokes[i].width / factor, strokes[i].color};
                reach = std::max(reach, coarseStrokes[i].width * 0.5 + 1.0);
            }
            const double x0 = glowLayer.toLayer(s.from.x * scale + offsetX);
            const double y0 = glowLayer.toLayer(s.from.y * scale + offsetY);
            const double x1 = glowLayer.toLayer(s.to.x * scale + offsetX);
            const double y1 = glowLayer.toLayer(s.to.y * scale + offsetY);
            glowLayer.touch(std::min(x0, x1) - reach, std::min(y0, y1) - reach, std::max(x0, x1) + reach,
                            std::max(y0, y1) + reach);
            coverage_rasterizer::strokeSegmentLayers(coarse, x0, y0, x1, y1,
                                                     std::span<const StrokeLayer>(coarseStrokes.data(), glow));
        });
        glowLayer.compositeOnto(surface);
        sharp(part);
    }
}
