#include "views/Symbols.h"

#include <array>
#include <cmath>
#include <vector>

namespace {

Point add(Point a, Point b) { return {a.x + b.x, a.y + b.y}; }
Point sub(Point a, Point b) { return {a.x - b.x, a.y - b.y}; }
Point scale(Point a, double f) { return {a.x * f, a.y * f}; }

// Unit normal to the left of the direction from a to b.
Point leftNormal(Point a, Point b)
{
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double length = std::hypot(dx, dy);
    if (length == 0.0) return {0.0, 0.0};
    return {dy / length, -dx / length};
}

// Offset of the corner at points[i] on the left side: the mitre of the two neighbouring normals.
Point cornerOffset(std::span<const Point> points, std::size_t i, double halfThickness)
{
    if (i == 0) return scale(leftNormal(points[0], points[1]), halfThickness);
    const std::size_t last = points.size() - 1;
    if (i == last) return scale(leftNormal(points[last - 1], points[last]), halfThickness);
    const Point n1 = leftNormal(points[i - 1], points[i]);
    const Point n2 = leftNormal(points[i], points[i + 1]);
    const Point sum = add(n1, n2);
    const double sumLength = std::hypot(sum.x, sum.y);
    if (sumLength < 1e-9) return scale(n1, halfThickness);
    const Point direction = scale(sum, 1.0 / sumLength);
    const double cosine = direction.x * n1.x + direction.y * n1.y;
    return scale(direction, halfThickness / cosine);
}

// The two strokes of a cross inside a square of side size around center.
std::array<std::array<Point, 2>, 2> crossStrokes(Point center, double halfArm)
{
    return {{{{{center.x - halfArm, center.y - halfArm}, {center.x + halfArm, center.y + halfArm}}},
             {{{center.x + halfArm, center.y - halfArm}, {center.x - halfArm, center.y + halfArm}}}}};
}

// A cross as one 12-corner polygon: two bars of the given thickness turned by 45 degrees.
void appendCrossPolygon(Path &path, Point center, double halfArm, double thickness)
{
    const double t = thickness * 0.5;
    // Half-length of each bar along its diagonal.
    const double a = halfArm * std::sqrt(2.0);
    const std::array<Point, 12> plus = {{{t, a}, {t, t}, {a, t}, {a, -t}, {t, -t}, {t, -a},
                                         {-t, -a}, {-t, -t}, {-a, -t}, {-a, t}, {-t, t}, {-t, a}}};
    const double c = std::cos(M_PI / 4.0);
    for (std::size_t i = 0; i < plus.size(); ++i) {
        const Point turned{center.x + (plus[i].x - plus[i].y) * c, center.y + (plus[i].x + plus[i].y) * c};
        if (i == 0)
            path.moveTo(turned);
        else
            path.lineTo(turned);
    }
    path.close();
}

} // namespace

void appendThickPolyline(Path &path, std::span<const Point> points, double thickness)
{
    if (points.size() < 2) return;
    const double half = thickness * 0.5;
    std::vector<Point> offsets(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) offsets[i] = cornerOffset(points, i, half);
    path.moveTo(add(points[0], offsets[0]));
    for (std::size_t i = 1; i < points.size(); ++i) path.lineTo(add(points[i], offsets[i]));
    for (std::size_t i = points.size(); i-- > 0;) path.lineTo(sub(points[i], offsets[i]));
    path.close();
}

void drawSymbol(Canvas &canvas, Symbol symbol, Point center, double pointSize, const RgbColor &color,
                SymbolWeight weight)
{
    const double boldness = weight == SymbolWeight::Bold ? 1.35 : 1.0;
    const double radius = pointSize * 0.5;
    const Rect disc = Rect::centeredAt(center, pointSize, pointSize);
    switch (symbol) {
    case Symbol::XMark: {
        const StrokeStyle style{pointSize * 0.13 * boldness, LineCap::Round};
        for (const auto &stroke : crossStrokes(center, radius * 0.72))
            canvas.strokeLine(stroke[0], stroke[1], color, style);
        return;
    }
    case Symbol::Circle: {
        const double lineWidth = pointSize * 0.085 * boldness;
        canvas.strokeEllipse(Rect::centeredAt(center, pointSize - lineWidth, pointSize - lineWidth), color,
                             {lineWidth, LineCap::Butt});
        return;
    }
    case Symbol::CheckmarkCircleFill: {
        Path path;
        path.setFillRule(FillRule::EvenOdd);
        path.addEllipse(disc);
        const std::array<Point, 3> check = {{{center.x - radius * 0.44, center.y + radius * 0.02},
                                             {center.x - radius * 0.12, center.y + radius * 0.36},
                                             {center.x + radius * 0.46, center.y - radius * 0.38}}};
        appendThickPolyline(path, check, pointSize * 0.12 * boldness);
        canvas.fillPath(path, color);
        return;
    }
    case Symbol::XMarkCircleFill: {
        Path path;
        path.setFillRule(FillRule::EvenOdd);
        path.addEllipse(disc);
        appendCrossPolygon(path, center, radius * 0.38, pointSize * 0.12 * boldness);
        canvas.fillPath(path, color);
        return;
    }
    }
}
