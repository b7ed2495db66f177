#pragma once

#include <algorithm>

// Plain geometry in logical points, y growing downward as on screen.
struct Point {
    double x = 0.0;
    double y = 0.0;

    friend bool operator==(const Point &, const Point &) = default;
};

struct Size {
    double width = 0.0;
    double height = 0.0;

    friend bool operator==(const Size &, const Size &) = default;
};

struct Rect {
    double x = 0.0;
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;

    double left() const { return x; }
    double top() const { return y; }
    double right() const { return x + width; }
    double bottom() const { return y + height; }
    double centerX() const { return x + width * 0.5; }
    double centerY() const { return y + height * 0.5; }
    Point center() const { return {centerX(), centerY()}; }
    Size size() const { return {width, height}; }
    bool isEmpty() const { return width <= 0.0 || height <= 0.0; }

    // The rectangle shrunk by the given insets on each side (never below zero size).
    Rect inset(double horizontal, double vertical) const {
        return {x + horizontal, y + vertical, std::max(0.0, width - 2.0 * horizontal),
                std::max(0.0, height - 2.0 * vertical)};
    }

    bool intersects(const Rect &other) const {
        return x < other.right() && other.x < right() && y < other.bottom() && other.y < bottom();
    }

    static Rect centeredAt(Point center, double width, double height) {
        return {center.x - width * 0.5, center.y - height * 0.5, width, height};
    }

    friend bool operator==(const Rect &, const Rect &) = default;
};
