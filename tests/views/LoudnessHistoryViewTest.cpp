#include "views/LevelMeterLayout.h"
#include "views/LoudnessHistoryView.h"

#include "ViewTestSupport.h"

#include <algorithm>
#include <cmath>

using Kind = RecordingCanvas::Kind;
using View = LoudnessHistoryView;

namespace {

constexpr Size panel{400.0, 140.0};

BroadcastPreset preset(const char *name) { return *broadcast::selectedPreset(true, name); }

LoudnessHistorySettings spanOf(int minutes)
{
    LoudnessHistorySettings settings;
    settings.show = true;
    settings.spanMinutes = minutes;
    return settings;
}

// `count` samples at 10 Hz, momentary from `momentary(i)`, short-term 2 LU below it.
template <typename Momentary> LoudnessHistory filled(std::size_t count, Momentary momentary)
{
    LoudnessHistory history;
    for (std::size_t i = 0; i < count; ++i) {
        const double m = momentary(i);
        history.advance(static_cast<double>(i) * 0.1, {m, m - 2.0, -23.0, -6.0});
    }
    return history;
}

// A curve as drawn: its round-capped segments of one colour joined back into pieces
// (a piece ends where the next segment does not start at the previous one's end).
struct DrawnCurve {
    std::vector<std::vector<Point>> pieces;
    std::optional<Rect> clip; // of its segments
    std::size_t pieceCount() const { return pieces.size(); }
    std::vector<Point> points() const
    {
        std::vector<Point> all;
        for (const auto &piece : pieces) all.insert(all.end(), piece.begin(), piece.end());
        return all;
    }
};

DrawnCurve curve(const RecordingCanvas &canvas, const RgbColor &color)
{
    DrawnCurve result;
    for (const RecordingCanvas::Command &c : canvas.commandsOfKind(Kind::StrokeLine)) {
        if (c.color != color || c.stroke.cap != LineCap::Round) continue;
        if (result.pieces.empty() || !(result.pieces.back().back() == c.from)) result.pieces.push_back({c.from});
        if (!(c.to == c.from)) result.pieces.back().push_back(c.to);
        result.clip = c.clip;
    }
    return result;
}

std::vector<RecordingCanvas::Command> linesOf(const RecordingCanvas &canvas, const RgbColor &color)
{
    std::vector<RecordingCanvas::Command> result;
    for (const RecordingCanvas::Command &c : canvas.commandsOfKind(Kind::StrokeLine))
        if (c.color == color) result.push_back(c);
    return result;
}

} // namespace

TEST(LoudnessHistoryView, CurvesEndAtTheRightEdgeAndSpanTheWholeWidthWhenTheSpanIsFull)
{
    for (const int minutes : {1, 5, 15, 60}) {
        const std::size_t span = static_cast<std::size_t>(minutes) * LoudnessHistory::samplesPerMinute;
        // Rising from -40 to -10 LUFS over exactly the span.
        const LoudnessHistory history =
            filled(span, [span](std::size_t i) { return -40.0 + 30.0 * static_cast<double>(i) / static_cast<double>(span); });
        RecordingCanvas canvas;
        View view;
        view.draw(canvas, panel, history, spanOf(minutes), std::nullopt);
        const View::Geometry g = View::geometry(panel, minutes, canvas);

        const DrawnCurve momentary = curve(canvas, View::momentaryColor);
        const std::vector<Point> m = momentary.points();
        ASSERT_EQ(momentary.pieceCount(), 1u) << minutes;
        // About one point per point of width, never one per sample on long spans.
        EXPECT_LE(m.size(), static_cast<std::size_t>(g.plot.width) + 2) << minutes;
        // Newest at the right edge, oldest at the left (within one column).
        const double column = g.pointsPerSample * static_cast<double>(g.samplesPerColumn);
        EXPECT_NEAR(m.back().x, g.plot.right(), column) << minutes;
        EXPECT_NEAR(m.front().x, g.plot.x, column) << minutes;
        // Rising loudness climbs towards the top; the newest column holds its loudest.
        EXPECT_LT(m.back().y, m.front().y);
        EXPECT_NEAR(m.back().y, View::yForLufs(g.plot, -10.0), 0.5) << minutes;
        // Every point lies inside the plot.
        for (const Point &p : m) {
            ASSERT_GE(p.x, g.plot.x - column);
            ASSERT_LE(p.x, g.plot.right() + 1e-9);
        }
        // The panel clips its curves to the plot.
        ASSERT_TRUE(momentary.clip);
        EXPECT_EQ(*momentary.clip, g.plot);
    }
}

TEST(LoudnessHistoryView, ValuesMapLinearlyAndClampToTheRangeEdges)
{
    const Rect plot{10.0, 5.0, 300.0, 96.0};
    EXPECT_DOUBLE_EQ(View::yForLufs(plot, View::topLufs), plot.y);
    EXPECT_DOUBLE_EQ(View::yForLufs(plot, View::bottomLufs), plot.bottom());
    EXPECT_DOUBLE_EQ(View::yForLufs(plot, -24.0), plot.y + 48.0);
    EXPECT_DOUBLE_EQ(View::yForLufs(plot, 6.0), plot.y);            // louder than the scale: on its top
    EXPECT_DOUBLE_EQ(View::yForLufs(plot, -65.0), plot.bottom());   // quieter: on its floor
}

TEST(LoudnessHistoryView, NoValueLeavesAGapAndANewMeasurementABreak)
{
    // 20 s at -20, 5 s of no value, 20 s at -20 again.
    const LoudnessHistory history =
        filled(450, [](std::size_t i) { return i >= 200 && i < 250 ? -70.0 : -20.0; });
    RecordingCanvas canvas;
    View view;
    view.draw(canvas, panel, history, spanOf(1), std::nullopt);
    const View::Geometry g = View::geometry(panel, 1, canvas);

    const DrawnCurve momentary = curve(canvas, View::momentaryColor);
    EXPECT_EQ(momentary.pieceCount(), 2u);
    // The gap is not drawn as a drop to the floor.
    for (const Point &p : momentary.points()) EXPECT_NEAR(p.y, View::yForLufs(g.plot, -20.0), 1e-9);
    EXPECT_TRUE(linesOf(canvas, View::breakColor).empty());

    // A measurement that starts over: a break line at its first sample, curves split.
    LoudnessHistory restarted = filled(300, [](std::size_t) { return -20.0; });
    restarted.markMeasurementStart();
    for (int i = 0; i < 100; ++i) restarted.advance(30.0 + i * 0.1, {-30.0, -30.0, -30.0, -10.0});
    canvas.clear();
    view.draw(canvas, panel, restarted, spanOf(1), std::nullopt);
    const auto breaks = linesOf(canvas, View::breakColor);
    ASSERT_EQ(breaks.size(), 1u);
    // 100 samples (10 s) before the newest of a 60 s span.
    EXPECT_NEAR(breaks[0].from.x, g.plot.right() - 99.0 * g.pointsPerSample, 1e-9);
    EXPECT_DOUBLE_EQ(breaks[0].from.y, g.plot.y);
    EXPECT_DOUBLE_EQ(breaks[0].to.y, g.plot.bottom());
    EXPECT_EQ(curve(canvas, View::momentaryColor).pieceCount(), 2u);
    EXPECT_EQ(curve(canvas, View::integratedColor).pieceCount(), 2u);

    // A single value between gaps is still drawn, as a dot.
    LoudnessHistory lonely = filled(100, [](std::size_t i) { return i == 50 ? -30.0 : -70.0; });
    canvas.clear();
    view.draw(canvas, panel, lonely, spanOf(1), std::nullopt);
    const DrawnCurve dot = curve(canvas, View::momentaryColor);
    ASSERT_EQ(dot.pieceCount(), 1u);
    EXPECT_NEAR(dot.pieces[0][0].y, View::yForLufs(g.plot, -30.0), 1e-9);
}

TEST(LoudnessHistoryView, TargetBandCoversTargetPlusMinusToleranceAndStaysInsideThePlot)
{
    const LoudnessHistory empty;
    RecordingCanvas canvas;
    View view;
    const View::Geometry g = View::geometry(panel, 5, canvas);
    const auto band = [&](const BroadcastPreset &p) -> std::optional<Rect> {
        canvas.clear();
        view.draw(canvas, panel, empty, spanOf(5), p);
        for (const auto &c : canvas.commandsOfKind(Kind::FillRect))
            if (c.color == View::bandColor) return c.rect;
        return std::nullopt;
    };

    const std::optional<Rect> ebu = band(preset("EBU R128")); // -23 ±1
    ASSERT_TRUE(ebu);
    EXPECT_DOUBLE_EQ(ebu->y, View::yForLufs(g.plot, -22.0));
    EXPECT_DOUBLE_EQ(ebu->bottom(), View::yForLufs(g.plot, -24.0));
    EXPECT_DOUBLE_EQ(ebu->x, g.plot.x);
    EXPECT_DOUBLE_EQ(ebu->width, g.plot.width);

    // Targets at and beyond the ends of the scale are cut at its edges.
    BroadcastPreset loud = preset("YouTube");
    loud.integratedTarget = -0.5;
    const std::optional<Rect> top = band(loud);
    ASSERT_TRUE(top);
    EXPECT_DOUBLE_EQ(top->y, g.plot.y);
    EXPECT_DOUBLE_EQ(top->bottom(), View::yForLufs(g.plot, -1.5));
    BroadcastPreset quiet = preset("YouTube");
    quiet.integratedTarget = -60.0;
    const std::optional<Rect> below = band(quiet);
    ASSERT_TRUE(below);
    EXPECT_GE(below->y, g.plot.y);
    EXPECT_LE(below->bottom(), g.plot.bottom() + 1e-9);

    // Without a target there is no band.
    canvas.clear();
    view.draw(canvas, panel, empty, spanOf(5), std::nullopt);
    for (const auto &c : canvas.commandsOfKind(Kind::FillRect)) EXPECT_NE(c.color, View::bandColor);
}

TEST(LoudnessHistoryView, ScaleAndTimeLabelsStayInsideThePanelWithoutOverlapping)
{
    RecordingCanvas measurer;
    for (const Size size : {Size{400.0, 140.0}, Size{160.0, 60.0}, Size{900.0, 300.0}}) {
        for (const int minutes : {1, 5, 15, 60}) {
            const View::Geometry g = View::geometry(size, minutes, measurer);
            const Font font{View::labelFontSize, FontWeight::Medium, true};
            const auto box = [&](const View::Label &l) {
                const TextMetrics m = measurer.measureText(l.text, font);
                return Rect{l.baselineStart.x, l.baselineStart.y - m.ascent, m.width, m.height()};
            };

            const std::vector<View::Label> scale = View::scaleLabels(g, measurer);
            ASSERT_GE(scale.size(), 2u);
            EXPECT_EQ(scale.front().text, "0");
            EXPECT_EQ(scale.back().text, "-48");
            for (const View::Label &l : scale) {
                const Rect r = box(l);
                EXPECT_GE(r.y, 0.0) << l.text << " at " << size.width << "x" << size.height;
                EXPECT_LE(r.bottom(), size.height);
                EXPECT_GE(r.x, 0.0);
                EXPECT_LE(r.right(), g.plot.x); // left of the plot
            }
            for (std::size_t i = 1; i < scale.size(); ++i) EXPECT_LE(box(scale[i - 1]).bottom(), box(scale[i]).y + 1e-9);

            const std::vector<View::Label> time = View::timeLabels(g, measurer);
            ASSERT_GE(time.size(), 2u);
            EXPECT_EQ(time.front().text, "now");
            EXPECT_EQ(time.back().text, "-" + std::to_string(minutes) + " min");
            // The end labels sit at the ends of the plot, inside it.
            EXPECT_DOUBLE_EQ(box(time.front()).right(), g.plot.right());
            EXPECT_DOUBLE_EQ(box(time.back()).x, g.plot.x);
            for (std::size_t i = 0; i < time.size(); ++i) {
                const Rect r = box(time[i]);
                EXPECT_GE(r.y, g.plot.bottom()); // under the plot
                EXPECT_LE(r.bottom(), size.height) << time[i].text;
                // Right to left: each label ends before the previous one begins.
                if (i > 0) {
                    EXPECT_LE(r.right(), box(time[i - 1]).x) << time[i].text << " " << minutes;
                }
            }
        }
    }
}

TEST(LoudnessHistoryView, OversAreMarkedWhereTheHeldTruePeakRisesAboveTheLimit)
{
    LoudnessHistory history;
    // True peak held at -3, rises to -0.5 at sample 100 and to 0.2 at 200, then stays.
    for (int i = 0; i < 300; ++i) {
        const double peak = i < 100 ? -3.0 : i < 200 ? -0.5 : 0.2;
        history.advance(i * 0.1, {-20.0, -20.0, -20.0, peak});
    }
    RecordingCanvas canvas;
    View view;
    const View::Geometry g = View::geometry(panel, 1, canvas);
    view.draw(canvas, panel, history, spanOf(1), preset("EBU R128")); // limit -1 dBTP
    const auto overs = linesOf(canvas, View::overColor);
    ASSERT_EQ(overs.size(), 2u);
    const double column = g.pointsPerSample * static_cast<double>(g.samplesPerColumn);
    EXPECT_NEAR(overs[0].from.x, g.plot.right() - 199.0 * g.pointsPerSample, column);
    EXPECT_NEAR(overs[1].from.x, g.plot.right() - 99.0 * g.pointsPerSample, column);
    for (const auto &over : overs) EXPECT_DOUBLE_EQ(over.to.y, g.plot.bottom()); // on the time axis

    // Against a laxer limit only the second rise is an over.
    BroadcastPreset lax = preset("EBU R128");
    lax.truePeakLimit = 0.0;
    canvas.clear();
    view.draw(canvas, panel, history, spanOf(1), lax);
    EXPECT_EQ(linesOf(canvas, View::overColor).size(), 1u);
}

TEST(LoudnessHistoryView, AViewDrawingFrameAfterFrameDrawsWhatAFreshViewWould)
{
    // The view keeps merged columns between frames; scrolling, a pause, a restart and
    // overs must come out exactly as drawn from scratch.
    LoudnessHistory history(900); // wraps within the run
    View kept;
    const auto lines = [](const RecordingCanvas &canvas) {
        std::vector<std::pair<Point, Point>> result;
        for (const auto &c : canvas.commandsOfKind(Kind::StrokeLine)) result.emplace_back(c.from, c.to);
        return result;
    };
    double now = 0.0;
    for (int frame = 0; frame < 1500; ++frame) {
        now += frame == 700 ? 4.0 : 1.0 / 60.0; // a pause of four seconds
        if (frame == 1000) history.markMeasurementStart();
        const double m = -30.0 + 10.0 * std::sin(frame * 0.05);
        history.advance(now, {m, m - 1.0, -24.0, frame > 1200 ? -0.5 + frame * 0.001 : -4.0});
        if (frame % 7 != 0) continue;
        RecordingCanvas keptCanvas;
        RecordingCanvas freshCanvas;
        kept.draw(keptCanvas, panel, history, spanOf(1), preset("EBU R128"));
        View().draw(freshCanvas, panel, history, spanOf(1), preset("EBU R128"));
        ASSERT_EQ(lines(keptCanvas), lines(freshCanvas)) << "frame " << frame;
    }
}

TEST(LoudnessHistoryView, SitsAboveTheLoudnessPanelAndTakesItsHeightFromTheBars)
{
    RecordingCanvas measurer;
    LevelMeterSettings settings;
    settings.loudness.show = true;
    settings.loudness.ringMode = false;
    const LevelMeterLayout without = level_meter_layout::layout({240.0, 900.0}, settings, measurer);
    settings.history.show = true;
    settings.history.height = 130.0;
    const LevelMeterLayout with = level_meter_layout::layout({240.0, 900.0}, settings, measurer);

    EXPECT_FALSE(without.history);
    ASSERT_TRUE(with.history && with.loudness && with.spectrum);
    const auto position = [&](LevelMeterPanel panel) { return std::find(with.order.begin(), with.order.end(), panel); };
    EXPECT_EQ(position(LevelMeterPanel::History) + 1, position(LevelMeterPanel::Loudness));
    EXPECT_DOUBLE_EQ(with.history->height, 130.0);
    EXPECT_GE(with.history->y, with.spectrum->bottom());
    EXPECT_LE(with.history->bottom(), with.loudness->y);
    EXPECT_DOUBLE_EQ(with.barRow.height, without.barRow.height - 130.0 - level_meter_layout::historyBottomPadding);
}
