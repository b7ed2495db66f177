#include "views/LissajousMeterView.h"
#include "views/Palette.h"
#include "views/SpectralMeterView.h"

#include "ViewTestSupport.h"

#include <cmath>

using namespace view_test;
using Kind = RecordingCanvas::Kind;

TEST(SpectralMeterView, SilentOrDegenerateSpectraDrawNothing)
{
    const std::vector<float> quiet(31, -95.0f); // exactly minDb + 1
    EXPECT_FALSE(SpectralMeterView::hasVisibleSpectrum(quiet, -96.0f, 0.0f));
    std::vector<float> oneBand = quiet;
    oneBand[7] = -94.99f;
    EXPECT_TRUE(SpectralMeterView::hasVisibleSpectrum(oneBand, -96.0f, 0.0f));
    EXPECT_FALSE(SpectralMeterView::hasVisibleSpectrum(oneBand, -50.0f, -50.0f));
    EXPECT_FALSE(SpectralMeterView::hasVisibleSpectrum(std::vector<float>{-10.0f}, -96.0f, 0.0f));

    const std::vector<UnitPoint> curve = {{0.0, 0.5}, {1.0, 0.5}};
    SpectralMeterView view;
    RecordingCanvas canvas;
    view.draw(canvas, {100.0, 50.0}, quiet, curve, trafficLight(), -96.0f, 0.0f);
    view.draw(canvas, {100.0, 50.0}, oneBand, std::vector<UnitPoint>{{0.0, 0.5}}, trafficLight(), -96.0f, 0.0f);
    EXPECT_TRUE(canvas.commands().empty());
}

TEST(SpectralMeterView, FillsTheAreaUnderTheCurveDownToTheBottomEdge)
{
    const std::vector<float> bands = {-40.0f, -20.0f, -60.0f};
    const std::vector<UnitPoint> curve = {{0.0, 0.4}, {0.5, 0.2}, {1.0, 0.6}};
    SpectralMeterView view;
    RecordingCanvas canvas;
    view.draw(canvas, {200.0, 100.0}, bands, curve, trafficLight(), -96.0f, 0.0f);
    const auto fills = canvas.commandsOfKind(Kind::FillPath);
    ASSERT_EQ(fills.size(), 1u);
    EXPECT_EQ(pathPoints(fills[0].path),
              (std::vector<Point>{{0.0, 100.0}, {0.0, 40.0}, {100.0, 20.0}, {200.0, 60.0}, {200.0, 100.0}}));
    EXPECT_EQ(fills[0].path.elements().back().verb, Path::Verb::Close);
    ASSERT_TRUE(fills[0].gradient);
    EXPECT_EQ(fills[0].gradient->start, (Point{100.0, 0.0}));
    EXPECT_EQ(fills[0].gradient->end, (Point{100.0, 100.0}));
}

// Top of the panel = colour of maxDb, bottom = minDb, whatever the spectrum does.
TEST(SpectralMeterView, GradientStopsAreSortedByLevelAndPlacedFromTheTop)
{
    const GradientPreset preset = makePreset({{0.0f, 1.0, 0.0, 0.0}, {-60.0f, 0.0, 1.0, 0.0}, {6.0f, 0.0, 0.0, 1.0},
                                              {-120.0f, 0.5, 0.5, 0.5}, {-48.0f, 0.2, 0.2, 0.2}});
    const auto stops = SpectralMeterView::gradientStops(preset, -96.0f, 0.0f);
    ASSERT_EQ(stops.size(), 5u);
    const std::vector<double> locations = {1.0, 0.625, 0.5, 0.0, 0.0};
    for (std::size_t i = 0; i < stops.size(); ++i) {
        EXPECT_DOUBLE_EQ(stops[i].location, locations[i]) << i;
        EXPECT_DOUBLE_EQ(stops[i].color.alpha, 0.9);
    }
    EXPECT_EQ(stops[0].color.red, 0.5);  // -120 dB, clamped to the bottom
    EXPECT_EQ(stops[3].color.red, 1.0);  // 0 dB at the top
    EXPECT_EQ(stops[4].color.blue, 1.0); // +6 dB, clamped to the top
}

TEST(LissajousMeterView, TurnsLeftAgainstRightBy45Degrees)
{
    const Size size{200.0, 100.0};
    const double radius = 0.45 * 100.0;
    // Mono stands on the vertical axis through the centre, opposite polarity lies flat.
    const Point mono = LissajousMeterView::plotPosition({0.5f, 0.5f}, size);
    EXPECT_DOUBLE_EQ(mono.x, 100.0);
    EXPECT_NEAR(mono.y, 50.0 - radius * 1.0 / 1.414, 1e-6);
    const Point antiphase = LissajousMeterView::plotPosition({0.5f, -0.5f}, size);
    EXPECT_NEAR(antiphase.x, 100.0 + radius * 1.0 / 1.414, 1e-6);
    EXPECT_DOUBLE_EQ(antiphase.y, 50.0);
    // Left alone leans to the upper right, right alone to the upper left.
    const Point left = LissajousMeterView::plotPosition({1.0f, 0.0f}, size);
    EXPECT_GT(left.x, 100.0);
    EXPECT_LT(left.y, 50.0);
    const Point right = LissajousMeterView::plotPosition({0.0f, 1.0f}, size);
    EXPECT_LT(right.x, 100.0);
    EXPECT_LT(right.y, 50.0);
}

TEST(LissajousMeterView, ColoursByAmplitudeWithASixtyDbFloor)
{
    EXPECT_EQ(LissajousMeterView::amplitudeDb(0.0), -60.0f);
    EXPECT_EQ(LissajousMeterView::amplitudeDb(0.0001), -60.0f);
    EXPECT_EQ(LissajousMeterView::amplitudeDb(0.0005), -60.0f); // -66 dB, floored
    EXPECT_NEAR(LissajousMeterView::amplitudeDb(0.1), -20.0f, 1e-5);
    EXPECT_NEAR(LissajousMeterView::amplitude({0.3f, 0.4f}), 0.5, 1e-6);

    const GradientPreset preset = trafficLight();
    std::vector<GradientColorStop> sorted = preset.stops;
    expectColorNear(LissajousMeterView::colorForLevel(sorted, -60.0f), {0.0, 1.0, 0.0, 1.0});
    expectColorNear(LissajousMeterView::colorForLevel(sorted, -36.0f), {0.5, 1.0, 0.0, 1.0});
    expectColorNear(LissajousMeterView::colorForLevel(sorted, 3.0f), {1.0, 0.0, 0.5, 1.0});
    expectColorNear(LissajousMeterView::colorForLevel(sorted, 20.0f), {1.0, 0.0, 1.0, 1.0});
    expectColorNear(LissajousMeterView::colorForLevel({}, -6.0f), palette::white);
}

TEST(LissajousMeterView, EmptyTrailLeavesOnlyTheDarkBackground)
{
    LissajousMeterView view;
    RecordingCanvas canvas;
    view.draw(canvas, {100.0, 80.0}, {}, trafficLight(), {4.0, true, false});
    ASSERT_EQ(canvas.commands().size(), 1u);
    EXPECT_EQ(canvas.commands()[0].kind, Kind::FillRect);
    expectColorNear(canvas.commands()[0].color, {0.0, 0.0, 0.0, 0.3});
}

// Each segment is coloured for the mean amplitude of its ends and stroked glow
// (5x at 0.15, 2.5x at 0.3), line (1x at 0.9), white core (0.3x at 0.5).
TEST(LissajousMeterView, LineModeStrokesEverySegmentInGlowLineAndCoreLayers)
{
    const GradientPreset preset = trafficLight();
    const std::vector<LissajousPoint> trail = {{0.0f, 0.0f}, {0.1f, 0.0f}, {0.0f, 0.1f}};
    LissajousMeterView view;
    RecordingCanvas canvas;
    view.draw(canvas, {100.0, 100.0}, std::vector<LissajousPoint>{trail[0]}, preset, {2.0, true, false});
    EXPECT_TRUE(canvas.commandsOfKind(Kind::StrokeLine).empty());

    view.draw(canvas, {100.0, 100.0}, trail, preset, {2.0, true, false});
    const auto strokes = canvas.commandsOfKind(Kind::StrokeLine);
    ASSERT_EQ(strokes.size(), 8u);
    const std::array<double, 4> widths = {10.0, 5.0, 2.0, 0.6};
    const std::array<double, 4> opacities = {0.15, 0.3, 0.9, 0.5};
    const RgbColor first = LissajousMeterView::colorForLevel(preset.stops, LissajousMeterView::amplitudeDb(0.05));
    const RgbColor second = LissajousMeterView::colorForLevel(preset.stops, LissajousMeterView::amplitudeDb(0.1));
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_DOUBLE_EQ(strokes[i].stroke.width, widths[i]);
        EXPECT_DOUBLE_EQ(strokes[i].color.alpha, opacities[i]);
        const RgbColor base = i == 3 ? palette::white : first;
        expectColorNear(strokes[i].color, palette::withOpacity(base, opacities[i]));
        expectColorNear(strokes[4 + i].color, palette::withOpacity(i == 3 ? palette::white : second, opacities[i]));
    }
    EXPECT_EQ(strokes[0].from, LissajousMeterView::plotPosition(trail[0], {100.0, 100.0}));
    EXPECT_EQ(strokes[0].to, LissajousMeterView::plotPosition(trail[1], {100.0, 100.0}));
    EXPECT_EQ(strokes[4].to, LissajousMeterView::plotPosition(trail[2], {100.0, 100.0}));

    RecordingCanvas plain;
    view.draw(plain, {100.0, 100.0}, trail, preset, {2.0, false, false});
    EXPECT_EQ(plain.commandsOfKind(Kind::StrokeLine).size(), 4u); // line and core only
}

TEST(LissajousMeterView, PointModeDrawsOneDotPerPointWithAnOptionalGlowDiscBehind)
{
    const GradientPreset preset = trafficLight();
    const LissajousPoint single{0.2f, 0.1f};
    const Point at = LissajousMeterView::plotPosition(single, {100.0, 100.0});
    const RgbColor color = LissajousMeterView::colorForLevel(
        preset.stops, LissajousMeterView::amplitudeDb(LissajousMeterView::amplitude(single)));

    LissajousMeterView view;
    RecordingCanvas canvas;
    view.draw(canvas, {100.0, 100.0}, std::vector<LissajousPoint>{single}, preset, {3.0, true, true});
    const auto dots = canvas.commandsOfKind(Kind::FillEllipse);
    ASSERT_EQ(dots.size(), 2u);
    expectRectNear(dots[0].rect, Rect::centeredAt(at, 24.0, 24.0));
    expectColorNear(dots[0].color, palette::withOpacity(color, 0.2));
    expectRectNear(dots[1].rect, Rect::centeredAt(at, 6.0, 6.0));
    expectColorNear(dots[1].color, palette::withOpacity(color, 0.9));

    RecordingCanvas noGlow;
    view.draw(noGlow, {100.0, 100.0}, std::vector<LissajousPoint>{single, single}, preset, {3.0, false, true});
    EXPECT_EQ(noGlow.commandsOfKind(Kind::FillEllipse).size(), 2u);
}
