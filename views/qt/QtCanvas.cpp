#include "views/qt/QtCanvas.h"

#include "views/GradientStops.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QLinearGradient>
#include <QPaintDevice>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace {

constexpr std::size_t gradientCacheSize = 8;

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

QtCanvas::QtCanvas(QPainter &painter) : painter_(painter)
{
    painter_.setRenderHint(QPainter::Antialiasing, true);
    painter_.setRenderHint(QPainter::TextAntialiasing, true);
    // Font sizes are given in logical pixels; Qt's point sizes depend on the device's DPI.
    const QPaintDevice *device = painter_.device();
    const int dpi = device ? device->logicalDpiY() : 72;
    pointsPerPixelFactor_ = 72.0 / static_cast<double>(dpi > 0 ? dpi : 72);
}

const QtCanvas::CachedFont &QtCanvas::cachedFont(const Font &font) const
{
    for (const CachedFont &cached : fonts_) {
        if (cached.request == font) return cached;
    }
    QFont qfont = font.monospaced ? QFontDatabase::systemFont(QFontDatabase::FixedFont) : QGuiApplication::font();
    qfont.setPointSizeF(std::max(0.5, font.size * pointsPerPixelFactor_));
    qfont.setWeight(toQWeight(font.weight));
    qfont.setStyleStrategy(QFont::PreferAntialias);
    QFontMetricsF metrics(qfont, painter_.device());
    fonts_.push_back({font, qfont, metrics});
    return fonts_.back();
}

const QGradientStops &QtCanvas::cachedStops(std::span<const DrawableGradientStop> stops) const
{
    const auto found = std::find_if(gradientStops_.begin(), gradientStops_.end(), [stops](const CachedStops &c) {
        return std::equal(c.source.begin(), c.source.end(), stops.begin(), stops.end());
    });
    if (found != gradientStops_.end()) return found->stops;
    if (gradientStops_.size() >= gradientCacheSize) gradientStops_.erase(gradientStops_.begin());
    CachedStops entry;
    entry.source.assign(stops.begin(), stops.end());
    for (const DrawableGradientStop &stop : normalizedGradientStops(stops))
        entry.stops.append({stop.location, toQColor(stop.color)});
    gradientStops_.push_back(std::move(entry));
    return gradientStops_.back().stops;
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
    const CachedFont &cached = cachedFont(font);
    const QString string = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    return {cached.metrics.horizontalAdvance(string), cached.metrics.ascent(), cached.metrics.descent()};
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
    painter_.fillPath(toQPath(path), brush(gradient));
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
    painter_.setFont(cachedFont(font).font);
    painter_.setPen(toQColor(color));
    painter_.drawText(QPointF(baselineStart.x, baselineStart.y),
                      QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
}
