#include "engine/dsp/CatmullRomSpline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

// Control points as the tick builds them: x = i / (n - 1), y anywhere in 0 ... 1.
std::vector<UnitPoint> bandPoints(int n)
{
    std::vector<UnitPoint> points;
    for (int i = 0; i < n; ++i) points.push_back({static_cast<double>(i) / (n - 1), 0.5 + 0.4 * std::sin(i * 0.9)});
    return points;
}

// (n - 1) * segments + 1 points through every control point, x evenly spaced (the
// mirrored phantoms continue the spacing, so the curve never folds back at the ends).
TEST(CatmullRomSpline, PointCountPassesThroughControlPointsAndKeepsXLinear)
{
    EXPECT_TRUE(CatmullRomSpline::interpolate({}, 4).empty());
    const std::vector<UnitPoint> one{{0.3, 0.7}};
    EXPECT_EQ(CatmullRomSpline::interpolate(one, 4), one);

    for (int segments : {1, 4, 7}) {
        const std::vector<UnitPoint> points = bandPoints(31);
        const std::vector<UnitPoint> curve = CatmullRomSpline::interpolate(points, segments);
        ASSERT_EQ(curve.size(), static_cast<std::size_t>(30 * segments + 1)); // 121 for 4
        for (std::size_t i = 0; i < points.size(); ++i) {
            EXPECT_EQ(curve[i * static_cast<std::size_t>(segments)], points[i]) << i;
        }
        for (std::size_t j = 0; j < curve.size(); ++j) {
            EXPECT_NEAR(curve[j].x, static_cast<double>(j) / (30.0 * segments), 1e-12) << j;
        }
    }
}

// The phantom end points keep the end's own y: a single rising span eases out of its
// first point and into its last instead of running straight. (With y mirrored too the
// curve would be the straight line, 0.25 at t = 1/4.)
TEST(CatmullRomSpline, EndsUseTheEndPointsOwnHeight)
{
    const std::vector<UnitPoint> curve = CatmullRomSpline::interpolate({{0.0, 0.0}, {1.0, 1.0}}, 4);
    ASSERT_EQ(curve.size(), 5u);
    EXPECT_DOUBLE_EQ(curve[1].y, 0.203125);
    EXPECT_DOUBLE_EQ(curve[2].y, 0.5);
    EXPECT_DOUBLE_EQ(curve[3].y, 0.796875);
}

} // namespace
