#include "views/CompactMeterBar.h"
#include "views/PeakTriangle.h"

#include "ViewTestSupport.h"

#include <cmath>
#include <limits>

using namespace view_test;
using Kind = RecordingCanvas::Kind;

namespace {

constexpr double barHeight = 200.0;

class CompactMeterBarTest : public ::testing::Test {
protected:
    CompactMeterBarTest()
    {
        gradient = trafficLight();
        linear = gradient.linearGradient(-60.0f, 6.0f);
        rms = gradient.rmsGradient(-60.0f, 6.0f);
        bar.gradient = &gradient;
        bar.barWidth = 15.0;
        bar.minDb = -60.0f;
        bar.maxDb = 6.0f;
        bar.cachedLinearGradient = &linear;
        bar.cachedRmsGradient = &rms;
    }

    // The two bar layers drawn: RMS first, then peak (absent layers are skipped).
    std::vector<RecordingCanvas::Command> layers()
    {
        RecordingCanvas canvas;
        bar.draw(canvas, barHeight);
        return canvas.commandsOfKind(Kind::FillRoundedRect);
    }

    std::vector<Path> markers()
    {
        RecordingCanvas canvas;
        bar.draw(canvas, barHeight);
        std::vector<Path> paths;
        for (const auto &c : canvas.commandsOfKind(Kind::FillPath)) paths.push_back(c.path);
        return paths;
    }

    GradientPreset gradient;
    DrawableGradient linear;
    DrawableGradient rms;
    CompactMeterBar bar;
};

} // namespace

// Levels map linearly onto the bar and are clamped to it: nothing at or below the
// bottom (silence, -inf, NaN), everything at or above the top fills it.
TEST_F(CompactMeterBarTest, FilledHeightIsLinearInDbAndClampedToTheBar)
{
    EXPECT_DOUBLE_EQ(bar.filledHeight(-60.0f, barHeight), 0.0);
    EXPECT_DOUBLE_EQ(bar.filledHeight(-75.0f, barHeight), 0.0);
    EXPECT_DOUBLE_EQ(bar.filledHeight(-std::numeric_limits<float>::infinity(), barHeight), 0.0);
    EXPECT_DOUBLE_EQ(bar.filledHeight(std::numeric_limits<float>::quiet_NaN(), barHeight), 0.0);
    EXPECT_DOUBLE_EQ(bar.filledHeight(-27.0f, barHeight), barHeight * 0.5);
    EXPECT_DOUBLE_EQ(bar.filledHeight(6.0f, barHeight), barHeight);
    EXPECT_DOUBLE_EQ(bar.filledHeight(12.0f, barHeight), barHeight);
}

TEST_F(CompactMeterBarTest, SilentBarDrawsNothing)
{
    bar.peakLevel = bar.rmsLevel = bar.maxPeak = -60.0f;
    RecordingCanvas canvas;
    bar.draw(canvas, barHeight);
    EXPECT_TRUE(canvas.commands().empty());
}

// The RMS layer is the whole bar's gradient at 0.6 opacity, uncovered from the bottom
// up to the RMS level; the peak layer is 0.6 of the width, centred and opaque.
TEST_F(CompactMeterBarTest, LayersAreFullHeightGradientsClippedToTheirLevels)
{
    bar.rmsLevel = -27.0f;
    bar.peakLevel = -10.5f;
    const auto drawn = layers();
    ASSERT_EQ(drawn.size(), 2u);

    const auto &rmsLayer = drawn[0];
    expectRectNear(rmsLayer.rect, {0.0, 0.0, 15.0, barHeight});
    EXPECT_EQ(rmsLayer.cornerRadius, 1.0);
    EXPECT_DOUBLE_EQ(rmsLayer.opacity, 0.6);
    ASSERT_TRUE(rmsLayer.clip);
    expectRectNear(*rmsLayer.clip, {0.0, 100.0, 15.0, 100.0});
    ASSERT_TRUE(rmsLayer.gradient);
    EXPECT_EQ(rmsLayer.gradient->stops, rms.stops);
    // Bottom to top over the full bar, whatever the level.
    EXPECT_EQ(rmsLayer.gradient->start.y, barHeight);
    EXPECT_EQ(rmsLayer.gradient->end.y, 0.0);

    const auto &peakLayer = drawn[1];
    expectRectNear(peakLayer.rect, {3.0, 0.0, 9.0, barHeight});
    EXPECT_DOUBLE_EQ(peakLayer.opacity, 1.0);
    ASSERT_TRUE(peakLayer.clip);
    expectRectNear(*peakLayer.clip, {3.0, 50.0, 9.0, 150.0}, 1e-4);
    ASSERT_TRUE(peakLayer.gradient);
    EXPECT_EQ(peakLayer.gradient->stops, linear.stops);
}

TEST_F(CompactMeterBarTest, BuildsItsOwnGradientsWithoutPreparedOnes)
{
    const DrawableGradient empty;
    bar.cachedLinearGradient = nullptr;
    bar.cachedRmsGradient = &empty;
    bar.rmsLevel = -10.0f;
    bar.peakLevel = -10.0f;
    const auto drawn = layers();
    ASSERT_EQ(drawn.size(), 2u);
    EXPECT_EQ(drawn[0].gradient->stops, gradient.rmsGradient(-60.0f, 6.0f).stops);
    EXPECT_EQ(drawn[1].gradient->stops, gradient.linearGradient(-60.0f, 6.0f).stops);
}

// The held maximum at the bottom of the range has nothing to show; just above it the
// marker sits on the bottom edge; it is coloured by the gradient at the held level.
TEST_F(CompactMeterBarTest, PeakHoldMarkerAppearsOnlyAboveTheBottomOfTheRange)
{
    bar.maxPeak = -60.0f;
    EXPECT_FALSE(bar.peakHoldCenterY(barHeight));
    EXPECT_TRUE(markers().empty());

    bar.maxPeak = -59.99f;
    ASSERT_TRUE(bar.peakHoldCenterY(barHeight));
    EXPECT_NEAR(*bar.peakHoldCenterY(barHeight), barHeight, 0.05);

    bar.maxPeak = -12.0f;
    bar.showPeakHold = false;
    EXPECT_TRUE(markers().empty());
}

TEST_F(CompactMeterBarTest, PeakHoldTrianglesFaceEachOtherAcrossTheBarAtTheHeldLevel)
{
    bar.maxPeak = -27.0f; // half-way up
    RecordingCanvas canvas;
    bar.draw(canvas, barHeight);
    const auto fills = canvas.commandsOfKind(Kind::FillPath);
    ASSERT_EQ(fills.size(), 2u);

    const std::vector<Point> left = pathPoints(fills[0].path);
    const std::vector<Point> right = pathPoints(fills[1].path);
    // 4 by 6 points, centred on the left edge and pointing right...
    EXPECT_EQ(left, (std::vector<Point>{{-2.0, 97.0}, {2.0, 100.0}, {-2.0, 103.0}}));
    // ... and turned by 180 degrees on the right edge, pointing left.
    EXPECT_EQ(right, (std::vector<Point>{{17.0, 103.0}, {13.0, 100.0}, {17.0, 97.0}}));
    for (const auto &fill : fills) expectColorNear(fill.color, gradient.colorAt(-27.0f));
}

TEST(PeakTriangle, IsASolidTrianglePointingRight)
{
    const Path path = peakTrianglePath({10.0, 20.0, 4.0, 6.0});
    ASSERT_EQ(path.elements().size(), 4u);
    EXPECT_EQ(path.elements().back().verb, Path::Verb::Close);
    EXPECT_EQ(view_test::pathPoints(path), (std::vector<Point>{{10.0, 20.0}, {14.0, 23.0}, {10.0, 26.0}}));
}
