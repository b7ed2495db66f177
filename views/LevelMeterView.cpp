#include "views/LevelMeterView.h"

#include "views/FormattedDbText.h"
#include "views/LUFSMeterView.h"
#include "views/MeterScaleView.h"
#include "views/Palette.h"

#include <algorithm>

float LevelMeterView::readoutValue(const MeterValues &values, const NumericReadoutSettings &readout)
{
    return readout.showsPeakHold ? std::max(values.maxPeakLeft, values.maxPeakRight)
                                 : std::max(values.peakLevelLeft, values.peakLevelRight);
}

std::array<CompactMeterBar, 2> LevelMeterView::bars(const MeterValues &values, const LevelBarSettings &settings)
{
    auto bar = [&settings](float peak, float rms, float maxPeak) {
        CompactMeterBar b;
        b.peakLevel = peak;
        b.rmsLevel = rms;
        b.maxPeak = maxPeak;
        b.gradient = &settings.gradient;
        b.barWidth = level_meter_layout::barWidth(settings.meterSize);
        b.showPeakHold = settings.showPeakHold;
        b.minDb = settings.minDb;
        b.maxDb = settings.maxDb;
        b.cachedLinearGradient = &settings.linearGradient;
        b.cachedRmsGradient = &settings.rmsGradient;
        return b;
    };
    return {bar(values.peakLevelLeft, values.rmsLevelLeft, values.maxPeakLeft),
            bar(values.peakLevelRight, values.rmsLevelRight, values.maxPeakRight)};
}

void LevelMeterView::drawBarRow(Canvas &canvas, const LevelMeterLayout &layout, const MeterValues &values,
                                const LevelMeterSettings &settings) const
{
    const std::array<CompactMeterBar, 2> channelBars = bars(values, settings.bars);
    const std::array<Rect, 2> rects = {layout.leftBar, layout.rightBar};
    for (std::size_t i = 0; i < channelBars.size(); ++i) {
        CanvasStateGuard guard(canvas);
        canvas.translate(rects[i].x, rects[i].y);
        channelBars[i].draw(canvas, rects[i].height);
    }
    if (layout.scale) {
        MeterScaleView scale;
        scale.scaleValues = meter_scale::marks(settings.bars.scale);
        scale.minDb = settings.bars.minDb;
        scale.maxDb = settings.bars.maxDb;
        scale.fontSize = level_meter_layout::scaleFontSize(settings.bars.meterSize);
        scale.width = layout.scale->width;
        CanvasStateGuard guard(canvas);
        canvas.translate(layout.scale->x, layout.scale->y);
        scale.draw(canvas, layout.scale->height);
    }
}

void LevelMeterView::draw(Canvas &canvas, Size window, const MeterValues &values, const LevelMeterSettings &settings,
                          double nowSeconds, const std::optional<Rect> &dirty)
{
    const LevelMeterLayout layout = level_meter_layout::layout(window, settings, canvas);
    lastLayout_ = layout;
    const auto wanted = [&dirty](const std::optional<Rect> &panel) {
        return panel && (!dirty || panel->intersects(*dirty));
    };
    canvas.fillRect(dirty.value_or(Rect{0.0, 0.0, window.width, window.height}),
                    {settings.background.red, settings.background.green, settings.background.blue, 1.0});

    const PhaseScopeSettings &scope = settings.phaseScope;
    const LissajousMeterView::Style scopeStyle{scope.lineWidth, scope.glow, scope.pointMode};
    for (const std::optional<Rect> &rect : {layout.phaseScopeTop, layout.phaseScopeBottom}) {
        if (!wanted(rect)) continue;
        CanvasStateGuard guard(canvas);
        canvas.translate(rect->x, rect->y);
        phaseScope_.draw(canvas, rect->size(), values.lissajousPoints, scope.gradient, scopeStyle);
    }

    if (wanted(layout.numericValue)) {
        FormattedDbText text;
        text.value = readoutValue(values, settings.readout);
        text.fractionalDigits = settings.readout.fractionalDigits;
        text.fontSize = settings.readout.fontSize;
        text.color = palette::primaryText;
        text.draw(canvas, *layout.numericValue);
    }

    if (wanted(layout.barRow)) drawBarRow(canvas, layout, values, settings);

    if (wanted(layout.spectrum)) {
        CanvasStateGuard guard(canvas);
        canvas.translate(layout.spectrum->x, layout.spectrum->y);
        spectrum_.draw(canvas, layout.spectrum->size(), values.spectralBands, values.spectralSplinePoints,
                       settings.spectrum.gradient, settings.spectrum.minDb, settings.spectrum.maxDb);
    }

    if (wanted(layout.history)) {
        static const LoudnessHistory noHistory(1);
        CanvasStateGuard guard(canvas);
        canvas.translate(layout.history->x, layout.history->y);
        historyView_.draw(canvas, layout.history->size(), history_ ? *history_ : noHistory, settings.history,
                          settings.loudness.preset);
    }

    if (wanted(layout.loudness)) {
        CanvasStateGuard guard(canvas);
        canvas.translate(layout.loudness->x, layout.loudness->y);
        if (settings.loudness.ringMode)
            ring_.draw(canvas, layout.loudness->size(), values, settings.loudness, nowSeconds);
        else
            LUFSMeterView::draw(canvas, layout.loudness->size(), values, settings.loudness);
    }
}
