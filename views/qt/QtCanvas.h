#pragma once

#include "views/Canvas.h"

#include <QFont>
#include <QFontMetricsF>
#include <QGradientStops>

#include <vector>

class QPainter;

// Draws the views with a QPainter, antialiased, in logical points: the painter's
// device pixel ratio maps them to device pixels, so output stays crisp at any scale.
// Fonts and gradient stops are converted once and cached, since the same few are
// drawn every frame.
class QtCanvas final : public Canvas {
public:
    explicit QtCanvas(QPainter &painter);

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
    void drawText(Point baselineStart, std::string_view text, const Font &font, const RgbColor &color) override;

private:
    struct CachedFont {
        Font request;
        QFont font;
        QFontMetricsF metrics;
    };
    struct CachedStops {
        std::vector<DrawableGradientStop> source;
        QGradientStops stops;
    };

    const CachedFont &cachedFont(const Font &font) const;
    const QGradientStops &cachedStops(std::span<const DrawableGradientStop> stops) const;
    QBrush brush(const LinearGradient &gradient) const;

    QPainter &painter_;
    double pointsPerPixelFactor_ = 1.0;               // font point size per logical pixel of the device
    mutable std::vector<CachedFont> fonts_;          // every font requested so far
    mutable std::vector<CachedStops> gradientStops_; // recently drawn gradients, newest last
};
