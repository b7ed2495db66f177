#pragma once

#include "views/Geometry.h"

#include <vector>

enum class FillRule {
    NonZero, // every enclosed area is filled
    EvenOdd, // areas enclosed an even number of times stay empty: cut-outs in symbols
};

// A vector outline made of straight segments and whole ellipses.
class Path {
public:
    enum class Verb { MoveTo, LineTo, Close, Ellipse };

    struct Element {
        Verb verb = Verb::MoveTo;
        Point point;   // MoveTo, LineTo
        Rect ellipse;  // Ellipse: the bounding rectangle of a closed sub-path

        friend bool operator==(const Element &, const Element &) = default;
    };

    void moveTo(Point p) { elements_.push_back({Verb::MoveTo, p, {}}); }
    void lineTo(Point p) { elements_.push_back({Verb::LineTo, p, {}}); }
    void close() { elements_.push_back({Verb::Close, {}, {}}); }
    void addEllipse(const Rect &bounds) { elements_.push_back({Verb::Ellipse, {}, bounds}); }

    // Keeps the storage, so a path rebuilt every frame allocates only once.
    void clear() { elements_.clear(); }
    void reserve(std::size_t count) { elements_.reserve(count); }

    FillRule fillRule() const { return fillRule_; }
    void setFillRule(FillRule rule) { fillRule_ = rule; }

    const std::vector<Element> &elements() const { return elements_; }
    bool isEmpty() const { return elements_.empty(); }

    friend bool operator==(const Path &, const Path &) = default;

private:
    std::vector<Element> elements_;
    FillRule fillRule_ = FillRule::NonZero;
};
