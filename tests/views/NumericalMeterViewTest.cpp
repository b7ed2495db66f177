#include "views/NumericalMeterView.h"
#include "views/Palette.h"

#include "ViewTestSupport.h"

using namespace view_test;
using Kind = RecordingCanvas::Kind;

namespace {

MeterValues sampleValues()
{
    MeterValues v;
    v.peakLevelLeft = -12.0f;
    v.maxPeakLeft = -3.0f;
    v.rmsLevelLeft = -20.0f;
    v.peakLevelRight = -60.0f;
    v.maxPeakRight = 1.5f;
    v.rmsLevelRight = -30.0f;
    return v;
}

NumericalMeterSettings settingsWith(bool strips)
{
    NumericalMeterSettings settings;
    settings.showTitleBars = strips;
    settings.gradient = trafficLight();
    settings.background = {0.1, 0.1, 0.1, 1.0};
    return settings;
}

} // namespace

TEST(NumericalMeterView, StripsFrameTheBodyOnlyWhenTitleBarsAreShown)
{
    RecordingCanvas measurer;
    const Size window{240.0, 130.0};
    const auto with = NumericalMeterView::layout(window, settingsWith(true), {}, measurer);
    ASSERT_TRUE(with.header && with.footer && with.resetButton && with.runningDot);
    expectRectNear(*with.header, {0.0, 0.0, 240.0, 24.0});
    expectRectNear(*with.footer, {0.0, 110.0, 240.0, 20.0});
    expectRectNear(with.body, {12.0, 32.0, 216.0, 70.0});
    expectRectNear(*with.runningDot, {240.0 - 8.0 - 6.0, 117.0, 6.0, 6.0});

    const auto without = NumericalMeterView::layout(window, settingsWith(false), {}, measurer);
    EXPECT_FALSE(without.header || without.footer || without.resetButton || without.closeButton);
    expectRectNear(without.body, {12.0, 12.0, 216.0, 106.0});
}

TEST(NumericalMeterView, CloseButtonExistsOnlyWhileHovering)
{
    const Size window{240.0, 130.0};
    RecordingCanvas away;
    NumericalMeterView::draw(away, window, sampleValues(), settingsWith(true), {false, true});
    EXPECT_TRUE(away.commandsOfKind(Kind::StrokeLine).empty());
    EXPECT_FALSE(NumericalMeterView::layout(window, settingsWith(true), {false, true}, away).closeButton);

    RecordingCanvas over;
    NumericalMeterView::draw(over, window, sampleValues(), settingsWith(true), {true, true});
    const auto strokes = over.commandsOfKind(Kind::StrokeLine);
    ASSERT_EQ(strokes.size(), 2u); // the two strokes of the cross, in the header
    for (const auto &s : strokes) EXPECT_LT(std::max(s.from.y, s.to.y), 24.0);
}

TEST(NumericalMeterView, DrawsStripsTitlesAndTheRunningDot)
{
    const Size window{240.0, 130.0};
    RecordingCanvas canvas;
    NumericalMeterView::draw(canvas, window, sampleValues(), settingsWith(true), {false, false});
    const auto rects = canvas.commandsOfKind(Kind::FillRect);
    ASSERT_EQ(rects.size(), 3u); // background, header, footer
    EXPECT_EQ(rects[0].color, (RgbColor{0.1, 0.1, 0.1, 1.0}));
    expectColorNear(rects[1].color, {1.0, 1.0, 1.0, 0.06});
    const auto title = canvas.textCommands("NUMERICAL").at(0);
    EXPECT_DOUBLE_EQ(title.from.x, 8.0);
    EXPECT_EQ(title.font, (Font{10.0, FontWeight::Semibold, true}));
    EXPECT_EQ(canvas.textCommands("RESET MAX").at(0).font, (Font{9.0, FontWeight::Semibold, true}));
    EXPECT_EQ(canvas.commandsOfKind(Kind::FillEllipse).at(0).color, palette::red);

    RecordingCanvas running;
    NumericalMeterView::draw(running, window, sampleValues(), settingsWith(true), {false, true});
    EXPECT_EQ(running.commandsOfKind(Kind::FillEllipse).at(0).color, palette::green);
}

// Left column then right, each PEAK, MAX, RMS of its own channel, coloured by the
// gradient at the value shown. The titles, labels and units come first (they are the
// window's static layer), then the numbers over them.
TEST(NumericalMeterView, ColumnsShowEachChannelsRowsInOrder)
{
    RecordingCanvas canvas;
    const auto settings = settingsWith(false);
    NumericalMeterView::draw(canvas, {240.0, 130.0}, sampleValues(), settings, {});
    std::vector<std::string> texts;
    for (const auto &t : canvas.commandsOfKind(Kind::Text)) texts.push_back(t.text);
    EXPECT_EQ(texts, (std::vector<std::string>{"LEFT", "PEAK", "dB", "MAX", "dB", "RMS", "dB", "RIGHT", "PEAK", "dB", "MAX",
                                               "dB", "RMS", "dB", "-12.0", "-3.0", "-20.0", "-\u221E", "+1.5", "-30.0"}));
    expectColorNear(canvas.textCommands("-3.0").at(0).color, settings.gradient.colorAt(-3.0f));
    expectColorNear(canvas.textCommands("+1.5").at(0).color, settings.gradient.colorAt(1.5f));
    EXPECT_GT(canvas.textCommands("RIGHT").at(0).from.x, canvas.textCommands("LEFT").at(0).from.x + 80.0);
}

// The window draws a new frame only when a row would look different: a level that
// moves within the shown tenth of a decibel changes nothing on screen.
TEST(NumericalMeterView, ShownValuesChangeOnlyWithTheTextOrColourOfARow)
{
    const GradientPreset gradient = trafficLight();
    MeterValues v = sampleValues();
    const NumericalMeterView::ShownValues before = NumericalMeterView::shownValues(v, gradient);
    EXPECT_EQ(before[0].text, "-12.0");
    EXPECT_EQ(before[4].text, "+1.5");

    v.peakLevelLeft = -12.02f;
    EXPECT_EQ(NumericalMeterView::shownValues(v, gradient), before);
    v.peakLevelLeft = -12.1f;
    EXPECT_NE(NumericalMeterView::shownValues(v, gradient)[0], before[0]);
    EXPECT_EQ(NumericalMeterView::shownValues(v, gradient)[1], before[1]);
}
