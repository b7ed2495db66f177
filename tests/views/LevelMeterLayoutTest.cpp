#include "views/LUFSMeterView.h"
#include "views/LevelMeterLayout.h"
#include "views/LevelMeterView.h"

#include "ViewTestSupport.h"

using namespace view_test;
using Panel = LevelMeterPanel;
using Kind = RecordingCanvas::Kind;

namespace {

LevelMeterSettings everythingOn(LissajousPlacement placement, bool ring)
{
    LevelMeterSettings s;
    s.bars.meterSize = 1.5;
    s.readout.show = true;
    s.readout.fontSize = 30.0;
    s.readout.barSpacing = 13.0;
    s.spectrum.show = true;
    s.spectrum.height = 110.0;
    s.spectrum.spacing = 6.0;
    s.phaseScope.show = true;
    s.phaseScope.placement = placement;
    s.phaseScope.height = 90.0;
    s.loudness.show = true;
    s.loudness.ringMode = ring;
    return s;
}

const RecordingCanvas measurer;

} // namespace

TEST(LevelMeterLayout, StacksPanelsInPlacementOrder)
{
    const Size window{240.0, 900.0};
    EXPECT_EQ(level_meter_layout::layout(window, everythingOn(LissajousPlacement::Top, true), measurer).order,
              (std::vector<Panel>{Panel::PhaseScopeTop, Panel::NumericValue, Panel::Bars, Panel::Spectrum,
                                  Panel::Loudness}));
    EXPECT_EQ(level_meter_layout::layout(window, everythingOn(LissajousPlacement::Bottom, true), measurer).order,
              (std::vector<Panel>{Panel::NumericValue, Panel::Bars, Panel::Spectrum, Panel::Loudness,
                                  Panel::PhaseScopeBottom}));
    const auto hidden = level_meter_layout::layout(window, everythingOn(LissajousPlacement::None, true), measurer);
    EXPECT_FALSE(hidden.phaseScopeTop || hidden.phaseScopeBottom);

    LevelMeterSettings barsOnly;
    barsOnly.readout.show = barsOnly.spectrum.show = barsOnly.phaseScope.show = barsOnly.loudness.show = false;
    const auto bars = level_meter_layout::layout(window, barsOnly, measurer);
    EXPECT_EQ(bars.order, (std::vector<Panel>{Panel::Bars}));
    expectRectNear(bars.barRow, {2.0, 4.0, 236.0, 892.0});
}

TEST(LevelMeterLayout, PanelsKeepTheirPaddingsAndFixedHeights)
{
    const Size window{240.0, 900.0};
    const auto top = level_meter_layout::layout(window, everythingOn(LissajousPlacement::Top, false), measurer);
    expectRectNear(*top.phaseScopeTop, {4.0, 4.0, 232.0, 90.0});
    // The read-out line is as tall as the digits (0.8 + 0.2 of 30 points in the recorder).
    expectRectNear(*top.numericValue, {0.0, 94.0, 240.0, 30.0});
    EXPECT_DOUBLE_EQ(top.barRow.y, 94.0 + 30.0 + 13.0 + 4.0);
    EXPECT_DOUBLE_EQ(top.barRow.x, 2.0);
    EXPECT_DOUBLE_EQ(top.spectrum->x, 10.0);
    EXPECT_DOUBLE_EQ(top.spectrum->width, 220.0);
    EXPECT_DOUBLE_EQ(top.spectrum->y, top.barRow.bottom() + 4.0 + 6.0);
    EXPECT_DOUBLE_EQ(top.spectrum->height, 110.0);
    EXPECT_DOUBLE_EQ(top.loudness->x, 4.0);
    EXPECT_DOUBLE_EQ(top.loudness->y, top.spectrum->bottom() + 4.0);
    // Without a ring the bars take every point left over: the stack fills the window.
    EXPECT_DOUBLE_EQ(top.loudness->bottom(), 900.0);

    const auto bottom = level_meter_layout::layout(window, everythingOn(LissajousPlacement::Bottom, false), measurer);
    expectRectNear(*bottom.phaseScopeBottom, {4.0, 900.0 - 4.0 - 90.0, 232.0, 90.0});
    EXPECT_DOUBLE_EQ(bottom.numericValue->y, 0.0);
}

TEST(LevelMeterLayout, RingMeterHeightStaysBetween160And240Points)
{
    LevelMeterSettings s = everythingOn(LissajousPlacement::None, true);
    s.readout.show = s.spectrum.show = false;
    // Flexible space = window - 8 (bar row padding); the ring is offered half of it.
    EXPECT_DOUBLE_EQ(level_meter_layout::layout({200.0, 1008.0}, s, measurer).loudness->height, 240.0);
    EXPECT_DOUBLE_EQ(level_meter_layout::layout({200.0, 208.0}, s, measurer).loudness->height, 160.0);
    const auto middle = level_meter_layout::layout({200.0, 408.0}, s, measurer);
    EXPECT_DOUBLE_EQ(middle.loudness->height, 200.0);
    EXPECT_DOUBLE_EQ(middle.barRow.height, 200.0);
    EXPECT_DOUBLE_EQ(middle.loudness->y, middle.barRow.bottom() + 4.0);
}

TEST(LevelMeterLayout, CompactLoudnessTakesItsOwnHeight)
{
    const auto layout = level_meter_layout::layout({240.0, 900.0}, everythingOn(LissajousPlacement::Top, false), measurer);
    EXPECT_DOUBLE_EQ(layout.loudness->height, LUFSMeterView::preferredHeight(LoudnessSettings{}));
}

// Bars 12 and scale 22 points wide per unit of meter size, the row centred.
TEST(LevelMeterLayout, BarRowSizesFollowTheMeterSize)
{
    LevelMeterSettings s;
    s.bars.meterSize = 2.0;
    s.readout.show = s.spectrum.show = s.phaseScope.show = false;
    const auto layout = level_meter_layout::layout({200.0, 400.0}, s, measurer);
    const double gap = level_meter_layout::barGap(2.0);
    EXPECT_DOUBLE_EQ(layout.leftBar.width, 24.0);
    EXPECT_DOUBLE_EQ(layout.rightBar.width, 24.0);
    ASSERT_TRUE(layout.scale);
    EXPECT_DOUBLE_EQ(layout.scale->width, 44.0);
    EXPECT_DOUBLE_EQ(layout.scale->x, layout.leftBar.right() + gap);
    EXPECT_DOUBLE_EQ(layout.rightBar.x, layout.scale->right() + gap);
    EXPECT_DOUBLE_EQ(layout.scale->y, layout.barRow.y + 2.0);
    EXPECT_DOUBLE_EQ(layout.scale->height, layout.barRow.height - 4.0);
    EXPECT_DOUBLE_EQ((layout.leftBar.x + layout.rightBar.right()) * 0.5, 100.0);

    s.bars.showScale = false;
    const auto noScale = level_meter_layout::layout({200.0, 400.0}, s, measurer);
    EXPECT_FALSE(noScale.scale);
    EXPECT_DOUBLE_EQ(noScale.rightBar.x, noScale.leftBar.right() + gap);
}

TEST(LevelMeterView, ReadoutFollowsTheLargerChannelOfHeldOrCurrentPeaks)
{
    MeterValues v;
    v.peakLevelLeft = -12.0f;
    v.peakLevelRight = -9.0f;
    v.maxPeakLeft = -2.0f;
    v.maxPeakRight = -4.0f;
    NumericReadoutSettings readout;
    readout.showsPeakHold = true;
    EXPECT_EQ(LevelMeterView::readoutValue(v, readout), -2.0f);
    readout.showsPeakHold = false;
    EXPECT_EQ(LevelMeterView::readoutValue(v, readout), -9.0f);
}

TEST(LevelMeterView, DrawsBackgroundThenEachChannelInItsOwnBar)
{
    LevelMeterSettings s;
    s.background = {0.2, 0.1, 0.05, 1.0};
    s.bars.gradient = trafficLight();
    s.readout.show = s.spectrum.show = s.phaseScope.show = false;
    MeterValues v;
    v.peakLevelLeft = v.rmsLevelLeft = -27.0f;   // half-way
    v.peakLevelRight = v.rmsLevelRight = 6.0f;   // full
    LevelMeterView view;
    RecordingCanvas canvas;
    view.draw(canvas, {100.0, 308.0}, v, s, 0.0);

    const auto &background = canvas.commands().front();
    EXPECT_EQ(background.kind, Kind::FillRect);
    expectRectNear(background.rect, {0.0, 0.0, 100.0, 308.0});
    EXPECT_EQ(background.color, s.background);

    const auto layout = level_meter_layout::layout({100.0, 308.0}, s, canvas);
    const auto layers = canvas.commandsOfKind(Kind::FillRoundedRect);
    ASSERT_EQ(layers.size(), 4u);
    EXPECT_EQ(layers[0].translation, (Point{layout.leftBar.x, layout.leftBar.y}));
    EXPECT_NEAR(layers[0].clip->height, 150.0, 1e-9);
    EXPECT_EQ(layers[2].translation, (Point{layout.rightBar.x, layout.rightBar.y}));
    EXPECT_NEAR(layers[2].clip->height, 300.0, 1e-9);
    // Eleven Final Cut Pro marks between the bars.
    EXPECT_EQ(canvas.commandsOfKind(Kind::Text).size(), 11u);
}

// A frame that only has to bring one panel up to date draws the background under it
// and the panels that reach into it, nothing else.
TEST(LevelMeterView, APartialFrameDrawsOnlyThePanelsInsideTheDirtyArea)
{
    const LevelMeterSettings s = everythingOn(LissajousPlacement::Top, true);
    MeterValues v;
    v.lissajousPoints = {{0.1f, 0.2f}, {0.3f, -0.1f}};
    const Size window{240.0, 900.0};
    const auto layout = level_meter_layout::layout(window, s, measurer);
    ASSERT_TRUE(layout.spectrum && layout.loudness && layout.phaseScopeTop);

    LevelMeterView view;
    RecordingCanvas full;
    view.draw(full, window, v, s, 0.0);
    RecordingCanvas spectrumOnly;
    view.draw(spectrumOnly, window, v, s, 0.0, layout.spectrum->inset(1.0, 1.0));

    const auto &background = spectrumOnly.commands().front();
    expectRectNear(background.rect, layout.spectrum->inset(1.0, 1.0));
    const auto drawnBelow = [](const RecordingCanvas &canvas, const Rect &panel) {
        return std::count_if(canvas.commands().begin(), canvas.commands().end(), [&](const auto &c) {
            return c.translation.y >= panel.y - 1e-9 && c.translation.y < panel.bottom();
        });
    };
    EXPECT_EQ(drawnBelow(spectrumOnly, *layout.spectrum), drawnBelow(full, *layout.spectrum));
    EXPECT_EQ(drawnBelow(spectrumOnly, *layout.loudness), 0) << "the rings are not redrawn";
    EXPECT_EQ(drawnBelow(spectrumOnly, *layout.phaseScopeTop), 0) << "the scope is not redrawn";
    EXPECT_TRUE(spectrumOnly.commandsOfKind(Kind::Text).empty()) << "neither the scale nor the read-out";
    EXPECT_EQ(view.lastLayout()->spectrum, layout.spectrum);
}
