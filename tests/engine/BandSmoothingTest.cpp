#include "engine/dsp/BandSmoothing.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(BandSmoothing, BandsJumpUpFallByTheStepAndStopAtTheFloor)
{
    std::vector<float> display{-50.0f, -50.0f, -95.5f, -30.0f};
    const std::vector<float> raw{-20.0f, -60.0f, -96.0f, -30.0f};
    const std::vector<float> published = display;
    EXPECT_TRUE(smoothBands(display, raw, published, -96.0f, 1.3f));
    EXPECT_EQ(display[0], -20.0f);  // rises at once
    EXPECT_FLOAT_EQ(display[1], -51.3f);  // falls by the step, however far below the raw level is
    EXPECT_EQ(display[2], -96.0f);  // not below the floor
    EXPECT_FLOAT_EQ(display[3], -31.3f);  // an unchanged raw level still counts as falling
}

TEST(BandSmoothing, OnlyChangesAboveHalfADecibelCount)
{
    std::vector<float> display{-40.0f, -40.0f};
    const std::vector<float> published{-40.0f, -40.0f};
    EXPECT_FALSE(smoothBands(display, std::vector<float>{-60.0f, -60.0f}, published, -96.0f, 0.4f));
    EXPECT_FALSE(smoothBands(display, std::vector<float>{-60.0f, -60.0f}, published, -96.0f, 0.05f));
    EXPECT_TRUE(smoothBands(display, std::vector<float>{-60.0f, -60.0f}, published, -96.0f, 0.1f));
    std::vector<float> rising{-40.0f, -40.0f};
    EXPECT_TRUE(smoothBands(rising, std::vector<float>{-40.0f, -39.4f}, published, -96.0f, 0.0f));
}

TEST(BandSmoothing, ControlPointsSpanTheUnitSquareWithYDownward)
{
    const std::vector<float> bands{-96.0f, -48.0f, 0.0f, 10.0f, -200.0f};
    const std::vector<UnitPoint> points = spectrumControlPoints(bands, -96.0f, 0.0f);
    ASSERT_EQ(points.size(), 5u);
    EXPECT_EQ(points[0], (UnitPoint{0.0, 1.0}));
    EXPECT_EQ(points[1], (UnitPoint{0.25, 0.5}));
    EXPECT_EQ(points[2], (UnitPoint{0.5, 0.0}));
    EXPECT_EQ(points[3], (UnitPoint{0.75, 0.0})); // clamped above the range
    EXPECT_EQ(points[4], (UnitPoint{1.0, 1.0}));  // clamped below it

    EXPECT_TRUE(spectrumControlPoints(std::vector<float>{-10.0f}, -96.0f, 0.0f).empty());
    EXPECT_TRUE(spectrumControlPoints(bands, -20.0f, -20.0f).empty());
    EXPECT_TRUE(spectrumControlPoints(bands, 0.0f, -96.0f).empty());
}

} // namespace
