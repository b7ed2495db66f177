#include "views/qt/QtCanvas.h"

#include "views/GradientStops.h"
#include "views/qt/AreaRasterizer.h"
#include "views/qt/CoverageRasterizer.h"
#include "views/qt/SegmentBatch.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QLinearGradient>
#include <QPaintDevice>
#include <QPaintEngine>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>

namespace {

constexpr std::size_t gradientCacheSize = 8;
constexpr int largestBatchSide = 8192; // device pixels; larger batches are clipped
constexpr int keepLayerFrames = 120;    // frames an unused cached layer survives
// Strings per cache before it is emptied: read-outs show every tenth of a decibel from
// -60 to +6 (661 strings) in a font or two, which must all fit.
constexpr std::size_t textCacheLimit = 4096;

QColor toQColor(const RgbColor &c)
{
    return QColor::fromRgbF(static_cast<float>(std::clamp(c.red, 0.0, 1.0)),
                            static_cast<float>(std::clamp(c.green, 0.0, 1.0)),
                            static_cast<float>(std::clamp(c.blue, 0.0, 1.0)),
                            static_cast<float>(std::clamp(c.alpha, 0.0, 1.0)));
}

QRectF toQRect(const Rect &r) { return {r.x, r.y, r.width, r.height}; }

QPen toQPen(const RgbColor &color, const StrokeStyle &style)
{
    QPen pen(toQColor(color), style.width, Qt::SolidLine, style.cap == LineCap::Round ? Qt::RoundCap : Qt::FlatCap,
             Qt::MiterJoin);
    return pen;
}

QFont::Weight toQWeight(FontWeight weight)
{
    switch (weight) {
    case FontWeight::Light: return QFont::Light;
    case FontWeight::Regular: return QFont::Normal;
    case FontWeight::Medium: return QFont::Medium;
    case FontWeight::Semibold: return QFont::DemiBold;
    case FontWeight::Bold: return QFont::Bold;
    }
    return QFont::Normal;
}

QPainterPath toQPath(const Path &path)
{
    QPainterPath result;
    result.setFillRule(path.fillRule() == FillRule::EvenOdd ? Qt::OddEvenFill : Qt::WindingFill);
    for (const Path::Element &e : path.elements()) {
        switch (e.verb) {
        case Path::Verb::MoveTo: result.moveTo(e.point.x, e.point.y); break;
        case Path::Verb::LineTo: result.lineTo(e.point.x, e.point.y); break;
        case Path::Verb::Close: result.closeSubpath(); break;
        case Path::Verb::Ellipse: result.addEllipse(toQRect(e.ellipse)); break;
        }
    }
    return result;
}

} // namespace

QtCanvas::QtCanvas(QPainter &painter, QtCanvasCache *cache)
    : painter_(painter), ownCache_(cache ? nullptr : std::make_unique<QtCanvasCache>()),
      cache_(cache ? *cache : *ownCache_)
{
    painter_.setRenderHint(QPainter::Antialiasing, true);
    painter_.setRenderHint(QPainter::TextAntialiasing, true);
    // Font sizes are given in logical pixels; Qt's point sizes depend on the device's DPI.
    const QPaintDevice *device = painter_.device();
    const int dpi = device ? device->logicalDpiY() : 72;
    const double factor = 72.0 / static_cast<double>(dpi > 0 ? dpi : 72);
    if (factor != cache_.pointsPerPixelFactor) {
        // Fonts, metrics and shaped text were made for another resolution.
        cache_.fonts.clear();
        cache_.measured.clear();
        cache_.shaped.clear();
        cache_.pointsPerPixelFactor = factor;
    }
    if (cache_.depth++ == 0) ++cache_.frame;
}

QtCanvas::~QtCanvas()
{
    if (--cache_.depth > 0) return;
    // Layers not drawn for a while belong to panels or sizes no longer shown.
    std::erase_if(cache_.layers, [this](const auto &entry) { return cache_.frame - entry.second.lastUsed > keepLayerFrames; });
}

std::size_t QtCanvas::fontIndex(const Font &font) const
{
    for (std::size_t i = 0; i < cache_.fonts.size(); ++i) {
        if (cache_.fonts[i].request == font) return i;
    }
    QFont qfont = font.monospaced ? QFontDatabase::systemFont(QFontDatabase::FixedFont) : QGuiApplication::font();
    qfont.setPointSizeF(std::max(0.5, font.size * cache_.pointsPerPixelFactor));
    qfont.setWeight(toQWeight(font.weight));
    qfont.setStyleStrategy(QFont::PreferAntialias);
    QFontMetricsF metrics(qfont, painter_.device());
    cache_.fonts.push_back({font, qfont, metrics});
    return cache_.fonts.size() - 1;
}

std::string QtCanvas::textKey(std::string_view text, std::size_t fontIndex)
{
    std::string key(text);
    key.push_back('\0');
    key += std::to_string(fontIndex);
    return key;
}

const QGradientStops &QtCanvas::cachedStops(std::span<const DrawableGradientStop> stops) const
{
    const auto found = std::find_if(cache_.gradientStops.begin(), cache_.gradientStops.end(), [stops](const CachedStops &c) {
        return std::equal(c.source.begin(), c.source.end(), stops.begin(), stops.end());
    });
    if (found != cache_.gradientStops.end()) return found->stops;
    if (cache_.gradientStops.size() >= gradientCacheSize) cache_.gradientStops.erase(cache_.gradientStops.begin());
    CachedStops entry;
    entry.source.assign(stops.begin(), stops.end());
    for (const DrawableGradientStop &stop : normalizedGradientStops(stops))
        entry.stops.append({stop.location, toQColor(stop.color)});
    cache_.gradientStops.push_back(std::move(entry));
    return cache_.gradientStops.back().stops;
}

QBrush QtCanvas::brush(const LinearGradient &gradient) const
{
    QLinearGradient linear(QPointF(gradient.start.x, gradient.start.y), QPointF(gradient.end.x, gradient.end.y));
    linear.setStops(cachedStops(gradient.stops));
    linear.setSpread(QGradient::PadSpread);
    return QBrush(linear);
}

TextMetrics QtCanvas::measureText(std::string_view text, const Font &font) const
{
    const std::size_t index = fontIndex(font);
    const std::string key = textKey(text, index);
    if (const auto found = cache_.measured.find(key); found != cache_.measured.end()) return found->second;
    if (cache_.measured.size() > textCacheLimit) cache_.measured.clear();
    const QFontMetricsF &metrics = cache_.fonts[index].metrics;
    const QString string = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    const TextMetrics result{metrics.horizontalAdvance(string), metrics.ascent(), metrics.descent()};
    cache_.measured.emplace(key, result);
    return result;
}

void QtCanvas::save() { painter_.save(); }
void QtCanvas::restore() { painter_.restore(); }
void QtCanvas::translate(double dx, double dy) { painter_.translate(dx, dy); }
void QtCanvas::multiplyOpacity(double factor) { painter_.setOpacity(painter_.opacity() * factor); }
void QtCanvas::clipToRect(const Rect &rect) { painter_.setClipRect(toQRect(rect), Qt::IntersectClip); }

void QtCanvas::fillRect(const Rect &rect, const RgbColor &color) { painter_.fillRect(toQRect(rect), toQColor(color)); }

void QtCanvas::strokeRect(const Rect &rect, const RgbColor &color, double lineWidth)
{
    painter_.setPen(toQPen(color, {lineWidth, LineCap::Butt}));
    painter_.setBrush(Qt::NoBrush);
    painter_.drawRect(toQRect(rect));
}

void QtCanvas::fillRoundedRect(const Rect &rect, double cornerRadius, const RgbColor &color)
{
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(toQColor(color));
    painter_.drawRoundedRect(toQRect(rect), cornerRadius, cornerRadius);
}

void QtCanvas::fillRoundedRect(const Rect &rect, double cornerRadius, const LinearGradient &gradient)
{
    if (gradient.stops.empty()) return;
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(brush(gradient));
    painter_.drawRoundedRect(toQRect(rect), cornerRadius, cornerRadius);
}

void QtCanvas::fillPath(const Path &path, const RgbColor &color) { painter_.fillPath(toQPath(path), toQColor(color)); }

void QtCanvas::fillPath(const Path &path, const LinearGradient &gradient)
{
    if (gradient.stops.empty()) return;
    if (gradient.start.x == gradient.end.x && gradient.start.y != gradient.end.y && isAreaUnderCurve(path) &&
        fillAreaUnderCurve(path, gradient))
        return;
    painter_.fillPath(toQPath(path), brush(gradient));
}

bool QtCanvas::fillAreaUnderCurve(const Path &path, const LinearGradient &gradient)
{
    const std::vector<Path::Element> &elements = path.elements();
    double left = elements.front().point.x;
    double right = left;
    double top = elements.front().point.y;
    double bottom = top;
    for (const Path::Element &e : elements) {
        if (e.verb != Path::Verb::LineTo) continue;
        left = std::min(left, e.point.x);
        right = std::max(right, e.point.x);
        top = std::min(top, e.point.y);
        bottom = std::max(bottom, e.point.y);
    }
    return drawRasterized({left, top, right - left, bottom - top},
                          [&](PixelSurface &surface, double scale, double dx, double dy) {
        // One colour per row, sampled by Qt itself at the pixel centres, so the
        // gradient matches QPainter's fill exactly.
        if (cache_.gradientColumn.height() < surface.height)
            cache_.gradientColumn = QImage(1, surface.height, QImage::Format_ARGB32_Premultiplied);
        QLinearGradient linear(QPointF(0.0, gradient.start.y * scale + dy), QPointF(0.0, gradient.end.y * scale + dy));
        linear.setStops(cachedStops(gradient.stops));
        linear.setSpread(QGradient::PadSpread);
        {
            QPainter column(&cache_.gradientColumn);
            column.setCompositionMode(QPainter::CompositionMode_Source);
            column.fillRect(QRect(0, 0, 1, surface.height), QBrush(linear));
        }
        cache_.rowColors.resize(static_cast<std::size_t>(surface.height));
        for (int y = 0; y < surface.height; ++y) {
            const auto *row = reinterpret_cast<const std::uint32_t *>(cache_.gradientColumn.constScanLine(y));
            cache_.rowColors[static_cast<std::size_t>(y)] = row[0];
        }

        cache_.area.begin(surface.width, surface.height);
        Point previous = elements.front().point;
        const Point start = previous;
        for (std::size_t i = 1; i < elements.size(); ++i) {
            const Point next = elements[i].verb == Path::Verb::LineTo ? elements[i].point : start;
            cache_.area.addEdge(previous.x * scale + dx, previous.y * scale + dy, next.x * scale + dx, next.y * scale + dy);
            previous = next;
        }
        if (elements.back().verb != Path::Verb::Close)
            cache_.area.addEdge(previous.x * scale + dx, previous.y * scale + dy, start.x * scale + dx, start.y * scale + dy);
        cache_.area.fill(surface, cache_.rowColors);
    });
}

void QtCanvas::strokePath(const Path &path, const RgbColor &color, const StrokeStyle &style)
{
    painter_.strokePath(toQPath(path), toQPen(color, style));
}

void QtCanvas::strokeLine(Point from, Point to, const RgbColor &color, const StrokeStyle &style)
{
    painter_.setPen(toQPen(color, style));
    painter_.drawLine(QPointF(from.x, from.y), QPointF(to.x, to.y));
}

void QtCanvas::strokeArc(Point center, double radius, double startDegrees, double sweepDegrees, const RgbColor &color,
                         const StrokeStyle &style)
{
    // Qt's angles grow counter-clockwise on screen; ours grow clockwise.
    const QRectF bounds(center.x - radius, center.y - radius, 2.0 * radius, 2.0 * radius);
    QPainterPath arc;
    arc.arcMoveTo(bounds, -startDegrees);
    arc.arcTo(bounds, -startDegrees, -sweepDegrees);
    painter_.strokePath(arc, toQPen(color, style));
}

void QtCanvas::fillEllipse(const Rect &bounds, const RgbColor &color)
{
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(toQColor(color));
    painter_.drawEllipse(toQRect(bounds));
}

void QtCanvas::strokeEllipse(const Rect &bounds, const RgbColor &color, const StrokeStyle &style)
{
    painter_.setPen(toQPen(color, style));
    painter_.setBrush(Qt::NoBrush);
    painter_.drawEllipse(toQRect(bounds));
}

void QtCanvas::drawText(Point baselineStart, std::string_view text, const Font &font, const RgbColor &color)
{
    const std::size_t index = fontIndex(font);
    const CachedFont &cached = cache_.fonts[index];
    const std::string key = textKey(text, index);
    auto found = cache_.shaped.find(key);
    if (found == cache_.shaped.end()) {
        if (cache_.shaped.size() > textCacheLimit) cache_.shaped.clear();
        QStaticText shaped(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
        shaped.setTextFormat(Qt::PlainText);
        shaped.setPerformanceHint(QStaticText::AggressiveCaching);
        shaped.prepare(QTransform(), cached.font);
        found = cache_.shaped.emplace(key, std::move(shaped)).first;
    }
    painter_.setFont(cached.font);
    painter_.setPen(toQColor(color));
    // Static text is placed by the top of its line; ours by the baseline.
    painter_.drawStaticText(QPointF(baselineStart.x, baselineStart.y - cached.metrics.ascent()), found->second);
}

template <typename Rasterize> bool QtCanvas::drawRasterized(const Rect &logicalBounds, Rasterize &&rasterize)
{
    const QTransform transform = painter_.deviceTransform();
    if (transform.type() > QTransform::TxScale || transform.m11() != transform.m22() || transform.m11() <= 0.0)
        return false;
    const double scale = transform.m11();
    QRectF bounds = transform.mapRect(toQRect(logicalBounds));
    if (painter_.hasClipping()) bounds &= transform.mapRect(painter_.clipBoundingRect());
    const QRect pixels = bounds.toAlignedRect().intersected(QRect(-largestBatchSide / 2, -largestBatchSide / 2,
                                                                    largestBatchSide, largestBatchSide));
    if (pixels.isEmpty()) return true;

    if (cache_.scratch.width() < pixels.width() || cache_.scratch.height() < pixels.height()) {
        cache_.scratch = QImage(std::max(pixels.width(), cache_.scratch.width()), std::max(pixels.height(), cache_.scratch.height()),
                          QImage::Format_ARGB32_Premultiplied);
    }
    PixelSurface surface{reinterpret_cast<std::uint32_t *>(cache_.scratch.bits()), pixels.width(), pixels.height(),
                         static_cast<int>(cache_.scratch.bytesPerLine() / 4)};
    for (int y = 0; y < surface.height; ++y)
        std::fill_n(surface.pixels + static_cast<std::ptrdiff_t>(y) * surface.stride, surface.width, 0u);

    // Element coordinates in pixels of the scratch surface.
    const double offsetX = transform.dx() - pixels.x();
    const double offsetY = transform.dy() - pixels.y();
    rasterize(surface, scale, offsetX, offsetY);

    drawDevicePixels(cache_.scratch, pixels);
    return true;
}

void QtCanvas::drawDevicePixels(QImage &image, const QRect &target)
{
    // The image carries the device's pixel ratio, so that with the world transform reset
    // (what remains maps to device pixels) it is drawn one pixel for one.
    const QPaintDevice *device = painter_.device();
    image.setDevicePixelRatio(device ? device->devicePixelRatio() : 1.0);
    // Through a clip of several rectangles (a window repainting a few bands of itself) the
    // raster engine blends an image span by span and hands tall ones to Qt's thread pool,
    // waking its threads every frame; through a single rectangle it blends directly. So the
    // image is drawn once for each rectangle of the dirty region it meets, clipped to it
    // (a clip the view set, which may span several, is narrowed to one).
    QRegion parts(target);
    if (const QPaintEngine *engine = painter_.paintEngine(); engine && !engine->systemClip().isEmpty())
        parts &= engine->systemClip();
    if (parts.isEmpty()) return;
    painter_.save();
    painter_.resetTransform();
    const QTransform fromDevice = painter_.deviceTransform().inverted();
    const QPointF position = fromDevice.map(QPointF(target.topLeft()));
    const QRectF source(0.0, 0.0, target.width(), target.height());
    for (const QRect &part : parts) {
        painter_.save();
        painter_.setClipRect(fromDevice.mapRect(QRectF(part)), Qt::IntersectClip);
        painter_.drawImage(position, image, source);
        painter_.restore();
    }
    painter_.restore();
}

void QtCanvas::strokeSegments(std::span<const ColoredSegment> segments)
{
    if (segments.empty()) return;
    double left = segments.front().from.x;
    double right = left;
    double top = segments.front().from.y;
    double bottom = top;
    for (const ColoredSegment &s : segments) {
        const double reach = s.width * 0.5 + 1.0;
        left = std::min({left, s.from.x - reach, s.to.x - reach});
        right = std::max({right, s.from.x + reach, s.to.x + reach});
        top = std::min({top, s.from.y - reach, s.to.y - reach});
        bottom = std::max({bottom, s.from.y + reach, s.to.y + reach});
    }
    const bool drawn = drawRasterized({left, top, right - left, bottom - top},
                                      [this, segments](PixelSurface &surface, double scale, double dx, double dy) {
        rasterizeSegments(surface, segments, scale, dx, dy, cache_.glow);
    });
    if (drawn) return;
    for (const ColoredSegment &s : segments) strokeLine(s.from, s.to, s.color, {s.width, LineCap::Round});
}

void QtCanvas::fillDiscs(std::span<const ColoredDisc> discs)
{
    if (discs.empty()) return;
    // A disc is a segment of no length with round caps: as segments, a disc's wide
    // translucent glow followed by its dot is recognised as a glow and drawn at reduced
    // resolution, like the glow of a line.
    std::vector<ColoredSegment> &segments = cache_.discSegments;
    segments.clear();
    for (const ColoredDisc &d : discs) segments.push_back({d.center, d.center, d.color, d.diameter});
    strokeSegments(segments);
}

void QtCanvas::strokeArcs(std::span<const ColoredArc> arcs)
{
    if (arcs.empty()) return;
    double left = arcs.front().center.x;
    double right = left;
    double top = arcs.front().center.y;
    double bottom = top;
    for (const ColoredArc &a : arcs) {
        const double reach = a.radius + a.width * 0.5 + 1.0;
        left = std::min(left, a.center.x - reach);
        right = std::max(right, a.center.x + reach);
        top = std::min(top, a.center.y - reach);
        bottom = std::max(bottom, a.center.y + reach);
    }
    const bool drawn = drawRasterized({left, top, right - left, bottom - top},
                                      [arcs](PixelSurface &surface, double scale, double dx, double dy) {
        for (const ColoredArc &a : arcs) {
            coverage_rasterizer::strokeArc(surface, a.center.x * scale + dx, a.center.y * scale + dy, a.radius * scale,
                                           a.width * scale, a.startDegrees, a.sweepDegrees, a.color);
        }
    });
    if (drawn) return;
    for (const ColoredArc &a : arcs) {
        const StrokeStyle style{a.width, LineCap::Butt};
        if (a.sweepDegrees >= 360.0)
            strokeEllipse(Rect::centeredAt(a.center, 2.0 * a.radius, 2.0 * a.radius), a.color, style);
        else
            strokeArc(a.center, a.radius, a.startDegrees, a.sweepDegrees, a.color, style);
    }
}

void QtCanvas::drawCached(std::uint64_t key, const Rect &bounds, const std::function<void(Canvas &)> &draw)
{
    const QTransform transform = painter_.deviceTransform();
    if (transform.type() > QTransform::TxScale || transform.m11() != transform.m22() || transform.m11() <= 0.0 ||
        bounds.isEmpty()) {
        draw(*this);
        return;
    }
    // The image covers whole device pixels and is drawn with the content at the same
    // sub-pixel position it would have had, so the copy matches drawing in place.
    const QRectF device = transform.mapRect(toQRect(bounds));
    const QRect pixels = device.toAlignedRect();
    if (pixels.width() > largestBatchSide || pixels.height() > largestBatchSide) {
        draw(*this);
        return;
    }
    const QPointF phase = device.topLeft() - QPointF(pixels.topLeft());
    const std::uint64_t layerKey = ContentKey()
                                       .add(key)
                                       .add(transform.m11())
                                       .add(static_cast<int>(std::lround(phase.x() * 64.0)))
                                       .add(static_cast<int>(std::lround(phase.y() * 64.0)))
                                       .add(pixels.width())
                                       .add(pixels.height())
                                       .value();
    QtCanvasCache::Layer &layer = cache_.layers[layerKey];
    layer.lastUsed = cache_.frame;
    if (layer.image.isNull()) {
        layer.image = QImage(pixels.size(), QImage::Format_ARGB32_Premultiplied);
        layer.image.fill(Qt::transparent);
        // The same resolution as the device, so text in the layer gets the same fonts.
        if (const QPaintDevice *target = painter_.device()) {
            layer.image.setDotsPerMeterX(static_cast<int>(std::lround(target->logicalDpiX() / 0.0254)));
            layer.image.setDotsPerMeterY(static_cast<int>(std::lround(target->logicalDpiY() / 0.0254)));
        }
        QPainter imagePainter(&layer.image);
        imagePainter.setTransform(transform * QTransform::fromTranslate(-pixels.left(), -pixels.top()));
        QtCanvas imageCanvas(imagePainter, &cache_);
        draw(imageCanvas);
    }
    drawDevicePixels(layer.image, pixels);
}
