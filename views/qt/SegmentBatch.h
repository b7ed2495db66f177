#pragma once

#include "views/Canvas.h"
#include "views/qt/CoverageRasterizer.h"
#include "views/qt/ReducedResolutionLayer.h"

#include <span>

// Draws a batch of segments into a surface: point coordinates times scale plus offset
// give surface pixels. Consecutive strokes of the same segment (a glow, the line, its
// core) share one pass. A glow - the leading strokes of a segment that are translucent
// and at least twice as wide as the rest - is drawn into glowLayer at reduced
// resolution, which costs a fraction of its full-resolution area and only softens it.
// The batch goes in parts of segmentsPerGlowPart segments: a part's glow, scaled up,
// then its lines at full resolution. A later part's glow thus veils earlier lines as it
// does drawn stroke by stroke; only within a part do the lines lie over all the glow.
void rasterizeSegments(PixelSurface &surface, std::span<const ColoredSegment> segments, double scale, double offsetX,
                       double offsetY, ReducedResolutionLayer &glowLayer);

namespace segment_batch {

// Glow strokes narrower than this (pixels) are drawn at full resolution.
constexpr double minimumGlowWidth = 5.0;
// The glow layer is made as coarse as leaves its narrowest stroke this many layer
// pixels wide, by powers of two up to maximumGlowFactor.
constexpr double narrowestGlowInLayerPixels = 2.5;
constexpr int maximumGlowFactor = 8;
// Segments whose glow is drawn together, under their lines.
constexpr std::size_t segmentsPerGlowPart = 32;

// How many of a segment's first strokes (widths in pixels) are a glow around the rest.
std::size_t leadingGlowStrokes(std::span<const coverage_rasterizer::StrokeLayer> strokes);
// Pixels of the target per pixel of the glow layer for the narrowest glow stroke.
int glowFactor(double narrowestGlowWidth);

} // namespace segment_batch
