#pragma once

#include "views/Canvas.h"
#include "views/qt/AreaRasterizer.h"
#include "views/qt/ReducedResolutionLayer.h"

#include <QFont>
#include <QFontMetricsF>
#include <QGradientStops>
#include <QImage>
#include <QStaticText>

#include <string>
#include <memory>
#include <unordered_map>

#include <vector>

class QPainter;

// What a QtCanvas keeps between frames: converted fonts and gradient stops, shaped
// text, scratch images and cached static layers. A window keeps one for all its frames
// (a canvas lives for one frame); a canvas made without one has its own.
struct QtCanvasCache {
    struct CachedFont {
        Font request;
        QFont font;
        QFontMetricsF metrics;
    };
    struct CachedStops {
        std::vector<DrawableGradientStop> source;
        QGradientStops stops;
    };
    struct Layer {
        QImage image;       // device pixels, premultiplied
        int lastUsed = 0;   // frame it was last drawn in
    };

    double pointsPerPixelFactor = 0.0;       // font point size per logical pixel the fonts were made for
    std::vector<CachedFont> fonts;           // every font requested so far
    std::vector<CachedStops> gradientStops;  // recently drawn gradients, newest last
    QImage scratch;                          // batch rasterization buffer, device pixels, grown as needed
    AreaRasterizer area;                     // coverage of the area under a curve, reused every frame
    QImage gradientColumn;                   // one pixel wide: the gradient of an area fill per device row
    std::vector<std::uint32_t> rowColors;    // premultiplied colour per device row of an area fill
    ReducedResolutionLayer glow;             // glow strokes of a segment batch, at reduced resolution
    std::vector<ColoredSegment> discSegments; // a disc batch as segments, reused
    // Shaped text by font and string: read-outs repeat the same few strings, and shaping
    // costs far more than drawing. Emptied when it grows past a few hundred entries.
    std::unordered_map<std::string, TextMetrics> measured;
    std::unordered_map<std::string, QStaticText> shaped;
    // Static content drawn once and blitted (drawCached), by key; unused ones are dropped.
    std::unordered_map<std::uint64_t, Layer> layers;
    int frame = 0;                           // counts frames (outermost canvases) on this cache
    int depth = 0;                           // canvases alive on this cache (a layer's canvas nests)
};

// Draws the views with a QPainter, antialiased, in logical points: the painter's
// device pixel ratio maps them to device pixels, so output stays crisp at any scale.
// Fonts and gradient stops are converted once and cached, since the same few are
// drawn every frame.
class QtCanvas final : public Canvas {
public:
    // `cache` (may be null) keeps what is reused from frame to frame; it must outlive
    // the canvas and only ever be used with one paint device.
    explicit QtCanvas(QPainter &painter, QtCanvasCache *cache = nullptr);
    ~QtCanvas() override;

    TextMetrics measureText(std::string_view text, const Font &font) const override;

    void save() override;
    void restore() override;
    void translate(double dx, double dy) override;
    void multiplyOpacity(double factor) override;
    void clipToRect(const Rect &rect) override;

    void fillRect(const Rect &rect, const RgbColor &color) override;
    void strokeRect(const Rect &rect, const RgbColor &color, double lineWidth) override;
    void fillRoundedRect(const Rect &rect, double cornerRadius, const RgbColor &color) override;
    void fillRoundedRect(const Rect &rect, double cornerRadius, const LinearGradient &gradient) override;
    void fillPath(const Path &path, const RgbColor &color) override;
    void fillPath(const Path &path, const LinearGradient &gradient) override;
    void strokePath(const Path &path, const RgbColor &color, const StrokeStyle &style) override;
    void strokeLine(Point from, Point to, const RgbColor &color, const StrokeStyle &style) override;
    void strokeArc(Point center, double radius, double startDegrees, double sweepDegrees, const RgbColor &color,
                   const StrokeStyle &style) override;
    void fillEllipse(const Rect &bounds, const RgbColor &color) override;
    void strokeEllipse(const Rect &bounds, const RgbColor &color, const StrokeStyle &style) override;
    // A segment's glow strokes (translucent, much wider than its line) are drawn at
    // reduced resolution under the lines, a few segments at a time: see SegmentBatch.h.
    void strokeSegments(std::span<const ColoredSegment> segments) override;
    void fillDiscs(std::span<const ColoredDisc> discs) override;
    void strokeArcs(std::span<const ColoredArc> arcs) override;
    void drawText(Point baselineStart, std::string_view text, const Font &font, const RgbColor &color) override;
    // Drawn once into an image at the device's resolution and pixel phase, then blitted.
    void drawCached(std::uint64_t key, const Rect &bounds, const std::function<void(Canvas &)> &draw) override;

private:
    using CachedFont = QtCanvasCache::CachedFont;
    using CachedStops = QtCanvasCache::CachedStops;

    // Index of the font in fonts_, converting it on first use.
    std::size_t fontIndex(const Font &font) const;
    const CachedFont &cachedFont(const Font &font) const { return cache_.fonts[fontIndex(font)]; }
    static std::string textKey(std::string_view text, std::size_t fontIndex);
    const QGradientStops &cachedStops(std::span<const DrawableGradientStop> stops) const;
    QBrush brush(const LinearGradient &gradient) const;
    // Rasterizes a batch into a scratch image covering logicalBounds, then draws the
    // image through the painter (so clip and opacity apply). False when the painter is
    // rotated or sheared, for which the caller draws element by element instead.
    template <typename Rasterize> bool drawRasterized(const Rect &logicalBounds, Rasterize &&rasterize);
    // The spectrum's area under its curve with a vertical gradient, rasterized here:
    // QPainter's general path filler costs about a millisecond for it. False when the
    // painter's transform rules that out.
    bool fillAreaUnderCurve(const Path &path, const LinearGradient &gradient);
    // Draws the top left target.size() pixels of `image` onto the device pixels `target`.
    void drawDevicePixels(QImage &image, const QRect &target);

    QPainter &painter_;
    std::unique_ptr<QtCanvasCache> ownCache_; // when no cache was handed in
    QtCanvasCache &cache_;                    // kept between frames by the window
};
