#pragma once

#include "settings/Color.h"
#include "settings/DrawableGradient.h"
#include "views/Geometry.h"
#include "views/Path.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <span>
#include <string_view>

enum class FontWeight { Light, Regular, Medium, Semibold, Bold };

// A system font request. Sizes are in logical points.
struct Font {
    double size = 12.0;
    FontWeight weight = FontWeight::Regular;
    bool monospaced = false; // monospaced design: digits keep their place as values change

    friend bool operator==(const Font &, const Font &) = default;
};

struct TextMetrics {
    double width = 0.0;   // advance width, points
    double ascent = 0.0;  // baseline to the top of tall glyphs, points
    double descent = 0.0; // baseline to the bottom of descenders, points (positive)

    double height() const { return ascent + descent; }
};

enum class LineCap { Butt, Round };

struct StrokeStyle {
    double width = 1.0; // points
    LineCap cap = LineCap::Butt;

    friend bool operator==(const StrokeStyle &, const StrokeStyle &) = default;
};

// A linear gradient between two points of the current coordinate system. The stops
// are borrowed, not copied: they must outlive the drawing call.
struct LinearGradient {
    Point start; // location 0
    Point end;   // location 1
    std::span<const DrawableGradientStop> stops;
};

// A straight segment with round ends, for drawing many at once.
struct ColoredSegment {
    Point from;
    Point to;
    RgbColor color;
    double width = 1.0; // points
};

// A filled circle, for drawing many at once.
struct ColoredDisc {
    Point center;
    double diameter = 1.0; // points
    RgbColor color;
};

// An arc of a circle stroked with square-cut ends, for drawing several at once. A sweep
// of 360 degrees or more is the whole ring.
struct ColoredArc {
    Point center;
    double radius = 1.0;        // points, to the middle of the stroke
    double startDegrees = 0.0;  // 0 at three o'clock, clockwise
    double sweepDegrees = 360.0;
    RgbColor color;
    double width = 1.0;         // points
};

// A drawable gradient laid over a rectangle in its own direction.
LinearGradient gradientOver(const DrawableGradient &gradient, const Rect &rect);

// Measures text without drawing it; layout code needs only this.
class TextMeasurer {
public:
    virtual ~TextMeasurer() = default;
    // text is UTF-8.
    virtual TextMetrics measureText(std::string_view text, const Font &font) const = 0;
};

// The drawing interface every view draws through: QPainter in the application, a
// recorder in tests. Coordinates are logical points; the back-end maps them to
// device pixels. Angles are degrees, 0 at three o'clock, growing clockwise on screen.
class Canvas : public TextMeasurer {
public:
    // save() pushes translation, opacity and clip; restore() pops them.
    virtual void save() = 0;
    virtual void restore() = 0;
    virtual void translate(double dx, double dy) = 0;
    // Multiplies the opacity of everything drawn until the matching restore().
    virtual void multiplyOpacity(double factor) = 0;
    // Intersects the clip with a rectangle: later drawing shows only inside it.
    virtual void clipToRect(const Rect &rect) = 0;

    virtual void fillRect(const Rect &rect, const RgbColor &color) = 0;
    virtual void strokeRect(const Rect &rect, const RgbColor &color, double lineWidth) = 0;
    virtual void fillRoundedRect(const Rect &rect, double cornerRadius, const RgbColor &color) = 0;
    virtual void fillRoundedRect(const Rect &rect, double cornerRadius, const LinearGradient &gradient) = 0;
    virtual void fillPath(const Path &path, const RgbColor &color) = 0;
    virtual void fillPath(const Path &path, const LinearGradient &gradient) = 0;
    virtual void strokePath(const Path &path, const RgbColor &color, const StrokeStyle &style) = 0;
    virtual void strokeLine(Point from, Point to, const RgbColor &color, const StrokeStyle &style) = 0;
    // An arc of the circle around center, from startDegrees sweeping sweepDegrees clockwise.
    virtual void strokeArc(Point center, double radius, double startDegrees, double sweepDegrees,
                           const RgbColor &color, const StrokeStyle &style) = 0;
    virtual void fillEllipse(const Rect &bounds, const RgbColor &color) = 0;
    virtual void strokeEllipse(const Rect &bounds, const RgbColor &color, const StrokeStyle &style) = 0;
    // Many segments or discs in one call, drawn in order (later ones over earlier ones).
    // Same result as one strokeLine (round caps) or fillEllipse per element, but lets a
    // back-end draw thousands of them per frame without per-call overhead.
    virtual void strokeSegments(std::span<const ColoredSegment> segments) = 0;
    virtual void fillDiscs(std::span<const ColoredDisc> discs) = 0;
    virtual void strokeArcs(std::span<const ColoredArc> arcs) = 0;
    // One run of text in one font, starting at a point on its baseline.
    virtual void drawText(Point baselineStart, std::string_view text, const Font &font, const RgbColor &color) = 0;

    // Static content: what `draw` paints inside `bounds` (current coordinates) stays the
    // same for as long as `key` does, so a back-end may keep it as an image and only
    // copy that to the screen. The key must change with anything the drawing depends on
    // (see ContentKey). By default it is simply drawn.
    virtual void drawCached(std::uint64_t key, const Rect &bounds, const std::function<void(Canvas &)> &draw)
    {
        (void)key;
        (void)bounds;
        draw(*this);
    }
};

// Builds the key of cached content from everything it depends on (FNV-1a).
class ContentKey {
public:
    ContentKey &add(std::uint64_t value)
    {
        for (int i = 0; i < 8; ++i) {
            hash_ ^= (value >> (8 * i)) & 0xFFu;
            hash_ *= 1099511628211ull;
        }
        return *this;
    }
    ContentKey &add(double value)
    {
        std::uint64_t bits = 0;
        static_assert(sizeof bits == sizeof value);
        std::memcpy(&bits, &value, sizeof bits);
        return add(bits);
    }
    ContentKey &add(int value) { return add(static_cast<std::uint64_t>(static_cast<std::int64_t>(value))); }
    ContentKey &add(const RgbColor &color) { return add(color.red).add(color.green).add(color.blue).add(color.alpha); }
    ContentKey &add(const Rect &rect) { return add(rect.x).add(rect.y).add(rect.width).add(rect.height); }
    ContentKey &add(const DrawableGradient &gradient)
    {
        add(static_cast<std::uint64_t>(gradient.stops.size()));
        for (const DrawableGradientStop &stop : gradient.stops) add(stop.location).add(stop.color);
        return *this;
    }
    std::uint64_t value() const { return hash_; }

private:
    std::uint64_t hash_ = 14695981039346656037ull;
};

// Restores the canvas state when it leaves scope.
class CanvasStateGuard {
public:
    explicit CanvasStateGuard(Canvas &canvas) : canvas_(canvas) { canvas_.save(); }
    ~CanvasStateGuard() { canvas_.restore(); }
    CanvasStateGuard(const CanvasStateGuard &) = delete;
    CanvasStateGuard &operator=(const CanvasStateGuard &) = delete;

private:
    Canvas &canvas_;
};
