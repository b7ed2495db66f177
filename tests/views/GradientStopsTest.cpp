#include "views/GradientStops.h"
#include "views/Symbols.h"

#include "ViewTestSupport.h"

#include <cmath>

using namespace view_test;

// Stops beyond the ends are cut at the colour the gradient has at the end, so a bar
// ending at 0 dB shows the 0 dB colour at its top even with stops up to +6 dB.
TEST(GradientStops, NormalizingCutsOutlyingStopsAtTheirInterpolatedColour)
{
    const std::vector<DrawableGradientStop> stops = {{1.5, {0.0, 0.0, 1.0, 1.0}},
                                                     {0.5, {0.0, 1.0, 0.0, 0.5}},
                                                     {-0.5, {1.0, 0.0, 0.0, 1.0}}};
    const auto normalized = normalizedGradientStops(stops);
    ASSERT_EQ(normalized.size(), 3u);
    EXPECT_EQ(normalized[0].location, 0.0);
    expectColorNear(normalized[0].color, {0.5, 0.5, 0.0, 0.75});
    EXPECT_EQ(normalized[1].location, 0.5);
    EXPECT_EQ(normalized[2].location, 1.0);
    expectColorNear(normalized[2].color, {0.0, 0.5, 0.5, 0.75});
}

TEST(GradientStops, EndColoursContinueBeyondTheOutermostStops)
{
    const std::vector<DrawableGradientStop> inside = {{0.25, {1.0, 0.0, 0.0, 1.0}}, {0.75, {0.0, 0.0, 1.0, 1.0}}};
    const auto normalized = normalizedGradientStops(inside);
    ASSERT_EQ(normalized.size(), 4u);
    expectColorNear(normalized.front().color, {1.0, 0.0, 0.0, 1.0});
    expectColorNear(normalized.back().color, {0.0, 0.0, 1.0, 1.0});
    EXPECT_TRUE(normalizedGradientStops({}).empty());
}

TEST(GradientStops, BarGradientOfAPresetKeepsTheColourOfEachLevel)
{
    const GradientPreset preset = trafficLight();
    const DrawableGradient gradient = preset.linearGradient(-60.0f, 0.0f); // +6 stop at 1.1
    const auto normalized = normalizedGradientStops(gradient.stops);
    expectColorNear(gradientColorAt(normalized, 1.0), preset.colorAt(0.0f));
    expectColorNear(gradientColorAt(normalized, 0.5), preset.colorAt(-30.0f));
}

TEST(Symbols, ThickPolylineIsOneClosedOutlineAroundThePoints)
{
    Path path;
    const std::array<Point, 3> check = {{{0.0, 0.0}, {1.0, 1.0}, {3.0, -1.0}}};
    appendThickPolyline(path, check, 0.4);
    const auto points = pathPoints(path);
    ASSERT_EQ(points.size(), 6u);
    EXPECT_EQ(path.elements().back().verb, Path::Verb::Close);
    // Each end is cut square: its two outline corners lie 0.4 apart.
    EXPECT_NEAR(std::hypot(points[0].x - points[5].x, points[0].y - points[5].y), 0.4, 1e-9);
    EXPECT_NEAR(std::hypot(points[2].x - points[3].x, points[2].y - points[3].y), 0.4, 1e-9);
}
