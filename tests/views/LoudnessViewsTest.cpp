#include "settings/BroadcastPreset.h"
#include "views/LUFSMeterView.h"
#include "views/LUFSRingMeterView.h"
#include "views/LoudnessFormatting.h"
#include "views/Palette.h"

#include "ViewTestSupport.h"

using namespace view_test;
using Kind = RecordingCanvas::Kind;

namespace {

BroadcastPreset netflix() { return *broadcast::selectedPreset(true, "Netflix"); } // -27 +-2 LU, -2 dBTP

LoudnessSettings withPreset()
{
    LoudnessSettings settings;
    settings.show = true;
    settings.preset = netflix();
    return settings;
}

MeterValues loudness(double momentary, double shortTerm, double integrated, double truePeak)
{
    MeterValues v;
    v.momentaryLUFS = momentary;
    v.shortTermLUFS = shortTerm;
    v.integratedLUFS = integrated;
    v.truePeakLeft = truePeak;
    v.truePeakRight = truePeak - 1.0;
    return v;
}

constexpr RgbColor trackColor{1.0, 1.0, 1.0, 0.08};

bool isTrack(const RecordingCanvas::Command &c) { return c.sweepDegrees >= 360.0 && c.color == trackColor; }

// The three full track rings, outer first.
std::vector<RecordingCanvas::Command> tracks(const RecordingCanvas &canvas)
{
    std::vector<RecordingCanvas::Command> result;
    for (const auto &c : canvas.commandsOfKind(Kind::StrokeArc))
        if (isTrack(c)) result.push_back(c);
    return result;
}

// Everything drawn on the rings besides the tracks: target zone and value arcs.
std::vector<RecordingCanvas::Command> arcs(const RecordingCanvas &canvas)
{
    std::vector<RecordingCanvas::Command> result;
    for (const auto &c : canvas.commandsOfKind(Kind::StrokeArc))
        if (!isTrack(c)) result.push_back(c);
    return result;
}

} // namespace

TEST(LUFSRingMeterView, ArcFractionMapsMinus60To0LufsAndIgnoresUnmeasuredValues)
{
    EXPECT_EQ(LUFSRingMeterView::arcFraction(-70.0), 0.0);
    EXPECT_EQ(LUFSRingMeterView::arcFraction(-69.0), 0.0);
    EXPECT_EQ(LUFSRingMeterView::arcFraction(-65.0), 0.0);
    EXPECT_EQ(LUFSRingMeterView::arcFraction(-60.0), 0.0);
    EXPECT_DOUBLE_EQ(LUFSRingMeterView::arcFraction(-15.0), 0.75);
    EXPECT_EQ(LUFSRingMeterView::arcFraction(0.0), 1.0);
    EXPECT_EQ(LUFSRingMeterView::arcFraction(3.0), 1.0);
}

TEST(LUFSRingMeterView, RingsFitTheSmallerSideWithWidthAndGapBetweenThem)
{
    const auto g = LUFSRingMeterView::geometry({300.0, 160.0});
    EXPECT_EQ(g.side, 160.0);
    EXPECT_EQ(g.center, (Point{150.0, 80.0}));
    EXPECT_DOUBLE_EQ(g.radii[0], 75.0); // 80 - 3 - 2
    EXPECT_DOUBLE_EQ(g.radii[1], 65.0);
    EXPECT_DOUBLE_EQ(g.radii[2], 55.0);
}

TEST(LUFSRingMeterView, BeforeAnyAudioShowsTracksAndTargetZoneButNoValueArcs)
{
    LUFSRingMeterView view;
    RecordingCanvas canvas;
    view.draw(canvas, {160.0, 160.0}, MeterValues{}, withPreset(), 0.0);

    const auto rings = tracks(canvas);
    ASSERT_EQ(rings.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(rings[i].radius, LUFSRingMeterView::geometry({160.0, 160.0}).radii[i]);
        EXPECT_EQ(rings[i].from, (Point{80.0, 80.0}));
        EXPECT_EQ(rings[i].stroke.width, 6.0);
    }
    // Tracks first, so everything else is drawn over them.
    EXPECT_TRUE(isTrack(canvas.commands()[0]) && isTrack(canvas.commands()[2]));
    // Only the target zone: -29 to -25 LUFS on the inner ring, clockwise from the top.
    const auto drawn = arcs(canvas);
    ASSERT_EQ(drawn.size(), 1u);
    EXPECT_DOUBLE_EQ(drawn[0].radius, 55.0);
    EXPECT_NEAR(drawn[0].startDegrees, -90.0 + 360.0 * 31.0 / 60.0, 1e-9);
    EXPECT_NEAR(drawn[0].sweepDegrees, 360.0 * 4.0 / 60.0, 1e-9);
    expectColorNear(drawn[0].color, palette::withOpacity(palette::yellow, 0.25));

    RecordingCanvas noPreset;
    LUFSRingMeterView().draw(noPreset, {160.0, 160.0}, MeterValues{}, LoudnessSettings{}, 0.0);
    EXPECT_TRUE(arcs(noPreset).empty());
}

TEST(LUFSRingMeterView, ValueArcsGrowClockwiseFromTheTopOnTheirRings)
{
    LUFSRingMeterView view;
    RecordingCanvas canvas;
    view.draw(canvas, {160.0, 160.0}, loudness(-30.0, -15.0, 2.0, -3.0), LoudnessSettings{}, 0.0);
    const auto drawn = arcs(canvas);
    ASSERT_EQ(drawn.size(), 3u);
    const std::array<double, 3> sweeps = {180.0, 270.0, 360.0};
    const std::array<RgbColor, 3> colors = {palette::cyan, palette::indigo, palette::yellow};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(drawn[i].startDegrees, -90.0);
        EXPECT_DOUBLE_EQ(drawn[i].sweepDegrees, sweeps[i]);
        EXPECT_DOUBLE_EQ(drawn[i].radius, LUFSRingMeterView::geometry({160.0, 160.0}).radii[i]);
        EXPECT_EQ(drawn[i].color, colors[i]);
        EXPECT_EQ(drawn[i].stroke.width, 6.0);
    }
}

// A new value eases out over 0.15 s from where the arc stands; the first value is
// shown at once.
TEST(LUFSRingMeterView, ArcLengthChangesEaseOutOverAShortTime)
{
    LUFSRingMeterView view;
    RecordingCanvas canvas;
    view.draw(canvas, {160.0, 160.0}, loudness(-30.0, -70.0, -70.0, -70.0), LoudnessSettings{}, 10.0);
    EXPECT_FALSE(view.isAnimating(10.0));
    EXPECT_DOUBLE_EQ(view.displayedFractions(10.0)[0], 0.5);

    view.draw(canvas, {160.0, 160.0}, loudness(-15.0, -70.0, -70.0, -70.0), LoudnessSettings{}, 11.0);
    EXPECT_TRUE(view.isAnimating(11.0));
    EXPECT_DOUBLE_EQ(view.displayedFractions(11.0)[0], 0.5);
    const double halfway = view.displayedFractions(11.075)[0];
    EXPECT_GT(halfway, 0.625); // ease-out: more than half the way at half the time
    EXPECT_LT(halfway, 0.75);
    EXPECT_DOUBLE_EQ(view.displayedFractions(11.15)[0], 0.75);
    EXPECT_FALSE(view.isAnimating(11.2));

    // Re-targeted mid-way, the arc continues from where it is.
    view.draw(canvas, {160.0, 160.0}, loudness(-30.0, -70.0, -70.0, -70.0), LoudnessSettings{}, 12.0);
    view.draw(canvas, {160.0, 160.0}, loudness(0.0, -70.0, -70.0, -70.0), LoudnessSettings{}, 12.05);
    const double before = view.displayedFractions(12.05)[0];
    EXPECT_GT(before, 0.5);
    EXPECT_LT(before, 0.75);
    EXPECT_NEAR(view.displayedFractions(12.0500001)[0], before, 1e-4);
}

TEST(LUFSRingMeterView, EaseOutCurveRunsFromZeroToOneAndRises)
{
    EXPECT_NEAR(LUFSRingMeterView::easeOut(0.0), 0.0, 1e-9);
    EXPECT_NEAR(LUFSRingMeterView::easeOut(1.0), 1.0, 1e-9);
    double previous = 0.0;
    for (double t = 0.05; t <= 1.0; t += 0.05) {
        const double value = LUFSRingMeterView::easeOut(t);
        EXPECT_GT(value, previous);
        EXPECT_GE(value, t - 1e-9); // never behind linear
        previous = value;
    }
}

TEST(LoudnessColours, IntegratedIsJudgedAgainstTheTargetWithBothEndsIncluded)
{
    using loudness_display::integratedColor;
    const auto preset = std::optional<BroadcastPreset>(netflix());
    EXPECT_EQ(integratedColor(-25.0, preset), palette::green);
    EXPECT_EQ(integratedColor(-29.0, preset), palette::green);
    EXPECT_EQ(integratedColor(-24.9, preset), palette::red);
    EXPECT_EQ(integratedColor(-29.1, preset), palette::red);
    EXPECT_EQ(integratedColor(-70.0, preset), palette::primaryText);
    EXPECT_EQ(integratedColor(-25.0, std::nullopt), palette::primaryText);
}

TEST(LoudnessColours, TruePeakIsGreenAtTheLimitAndRedAboveIt)
{
    using loudness_display::truePeakColor;
    const auto preset = std::optional<BroadcastPreset>(netflix());
    EXPECT_EQ(truePeakColor(-2.0, preset), palette::green);
    EXPECT_EQ(truePeakColor(-1.9, preset), palette::red);
    EXPECT_EQ(truePeakColor(-69.0, preset), palette::secondaryText);
    EXPECT_EQ(truePeakColor(-1.0, std::nullopt), palette::primaryText);
    EXPECT_EQ(truePeakColor(-0.9, std::nullopt), palette::red);
    EXPECT_EQ(truePeakColor(-70.0, std::nullopt), palette::secondaryText);
}

TEST(LUFSRingMeterView, CentreReadoutsCarryTheJudgementColours)
{
    LUFSRingMeterView view;
    RecordingCanvas canvas;
    // On target, but the larger true peak (-1.5) is over Netflix's -2 dBTP.
    view.draw(canvas, {200.0, 200.0}, loudness(-20.0, -24.0, -26.4, -1.5), withPreset(), 0.0);
    EXPECT_EQ(canvas.textCommands("-20.0").at(0).color, palette::cyan);
    EXPECT_EQ(canvas.textCommands("-24.0").at(0).color, palette::indigo);
    EXPECT_EQ(canvas.textCommands("-26.4").at(0).color, palette::green);
    EXPECT_EQ(canvas.textCommands("-1.5").at(0).color, palette::red);
    EXPECT_EQ(canvas.textCommands("Netflix -27").size(), 1u);
}

TEST(LUFSMeterView, BeforeAnyAudioShowsDashesAndAnEmptyCircle)
{
    RecordingCanvas canvas;
    LUFSMeterView::draw(canvas, {140.0, 100.0}, MeterValues{}, withPreset());
    EXPECT_EQ(canvas.textCommands("---").size(), 4u); // M, S, I, TP; the range reads 0.0
    EXPECT_EQ(canvas.textCommands("-27 LUFS").size(), 1u);
    const auto circle = canvas.commandsOfKind(Kind::StrokeEllipse);
    ASSERT_EQ(circle.size(), 1u);
    EXPECT_EQ(circle[0].color, palette::secondaryText);
    EXPECT_TRUE(canvas.commandsOfKind(Kind::FillPath).empty());
}

TEST(LUFSMeterView, IndicatorNeedsIntegratedOnTargetAndTruePeakWithinTheLimit)
{
    const BroadcastPreset preset = netflix();
    auto indicator = [&preset](double integrated, double truePeak) {
        return LUFSMeterView::indicator(loudness(-20.0, -20.0, integrated, truePeak), preset);
    };
    EXPECT_EQ(indicator(-70.0, -10.0).symbol, Symbol::Circle);
    EXPECT_EQ(indicator(-25.0, -2.0).symbol, Symbol::CheckmarkCircleFill);
    EXPECT_EQ(indicator(-25.0, -2.0).color, palette::green);
    EXPECT_EQ(indicator(-25.0, -1.9).symbol, Symbol::XMarkCircleFill);
    EXPECT_EQ(indicator(-24.9, -10.0).symbol, Symbol::XMarkCircleFill);
    EXPECT_EQ(indicator(-24.9, -10.0).color, palette::red);

    // The filled symbols are discs with the mark cut out, so they need even-odd filling.
    RecordingCanvas canvas;
    LUFSMeterView::draw(canvas, {140.0, 100.0}, loudness(-20.0, -20.0, -27.0, -5.0), withPreset());
    const auto fills = canvas.commandsOfKind(Kind::FillPath);
    ASSERT_EQ(fills.size(), 1u);
    EXPECT_EQ(fills[0].path.fillRule(), FillRule::EvenOdd);
    EXPECT_EQ(fills[0].path.elements().front().verb, Path::Verb::Ellipse);
    EXPECT_EQ(fills[0].color, palette::green);
}

TEST(LUFSMeterView, ReadoutsUseOneDigitAndLabelsNeverShrinkBelowSevenPoints)
{
    LoudnessSettings settings = withPreset();
    settings.fontSize = 8.0;
    EXPECT_EQ(LUFSMeterView::labelFont(settings).size, 7.0);
    settings.fontSize = 12.0;
    EXPECT_EQ(LUFSMeterView::labelFont(settings).size, 10.0);

    RecordingCanvas canvas;
    MeterValues values = loudness(-18.04, -19.96, -23.0, -4.24);
    values.loudnessRange = 6.5;
    LUFSMeterView::draw(canvas, {140.0, 100.0}, values, settings);
    for (const char *text : {"-18.0", "-20.0", "-23.0", "6.5", "-4.2"})
        EXPECT_EQ(canvas.textCommands(text).size(), 1u) << text;
    EXPECT_EQ(canvas.textCommands(" LUFS").size(), 3u);
    EXPECT_EQ(canvas.textCommands(" LU").size(), 1u);
}
