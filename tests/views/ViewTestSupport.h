#pragma once

#include "settings/GradientPreset.h"
#include "views/RecordingCanvas.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace view_test {

struct StopSpec {
    float levelDb;
    double red, green, blue;
};

// A preset with the given stops, in the given (stored) order.
inline GradientPreset makePreset(std::initializer_list<StopSpec> stops)
{
    GradientPreset preset;
    preset.name = "Test";
    for (const StopSpec &s : stops) {
        GradientColorStop stop;
        stop.levelDb = s.levelDb;
        stop.red = s.red;
        stop.green = s.green;
        stop.blue = s.blue;
        preset.stops.push_back(stop);
    }
    return preset;
}

// Green at the bottom, yellow at -12, red at 0 and above: easy to tell apart.
inline GradientPreset trafficLight()
{
    return makePreset({{-60.0f, 0.0, 1.0, 0.0}, {-12.0f, 1.0, 1.0, 0.0}, {0.0f, 1.0, 0.0, 0.0}, {6.0f, 1.0, 0.0, 1.0}});
}

inline void expectColorNear(const RgbColor &actual, const RgbColor &expected, double tolerance = 1e-9)
{
    EXPECT_NEAR(actual.red, expected.red, tolerance);
    EXPECT_NEAR(actual.green, expected.green, tolerance);
    EXPECT_NEAR(actual.blue, expected.blue, tolerance);
    EXPECT_NEAR(actual.alpha, expected.alpha, tolerance);
}

inline void expectRectNear(const Rect &actual, const Rect &expected, double tolerance = 1e-9)
{
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
    EXPECT_NEAR(actual.width, expected.width, tolerance);
    EXPECT_NEAR(actual.height, expected.height, tolerance);
}

// The points of a path's move and line elements, in order.
inline std::vector<Point> pathPoints(const Path &path)
{
    std::vector<Point> points;
    for (const Path::Element &e : path.elements()) {
        if (e.verb == Path::Verb::MoveTo || e.verb == Path::Verb::LineTo) points.push_back(e.point);
    }
    return points;
}

} // namespace view_test
