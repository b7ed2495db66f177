#include "views/LevelMeterLayout.h"

#include "views/LUFSMeterView.h"

#include <algorithm>

namespace level_meter_layout {

Font readoutFont(const NumericReadoutSettings &readout) { return {readout.fontSize, FontWeight::Light, true}; }

LevelMeterLayout layout(Size window, const LevelMeterSettings &settings, const TextMeasurer &measurer)
{
    const PhaseScopeSettings &scope = settings.phaseScope;
    const bool scopeTop = scope.show && scope.placement == LissajousPlacement::Top;
    const bool scopeBottom = scope.show && scope.placement == LissajousPlacement::Bottom;
    const bool ring = settings.loudness.show && settings.loudness.ringMode;
    const double readoutHeight =
        settings.readout.show ? measurer.measureText("0", readoutFont(settings.readout)).height() : 0.0;
    const double compactLoudnessHeight =
        settings.loudness.show && !ring ? LUFSMeterView::preferredHeight(settings.loudness) : 0.0;

    // Fixed heights first; the bar row and the ring meter share what is left.
    double fixed = 2.0 * barRowVerticalPadding;
    if (scopeTop) fixed += phaseScopeOuterPadding + scope.height;
    if (settings.readout.show) fixed += readoutHeight + settings.readout.barSpacing;
    if (settings.spectrum.show) fixed += settings.spectrum.spacing + settings.spectrum.height + spectrumBottomPadding;
    fixed += compactLoudnessHeight;
    if (settings.history.show) fixed += settings.history.height + historyBottomPadding;
    if (scopeBottom) fixed += scope.height + phaseScopeOuterPadding;
    const double flexible = std::max(0.0, window.height - fixed);
    // The ring meter is offered its share of the flexible space and keeps it within its
    // bounds; the bars take the rest.
    const double ringHeight = ring ? std::clamp(flexible * 0.5, ringMinimumHeight, ringMaximumHeight) : 0.0;
    const double barsHeight = std::max(0.0, flexible - ringHeight);

    LevelMeterLayout result;
    double y = 0.0;
    if (scopeTop) {
        y += phaseScopeOuterPadding;
        result.phaseScopeTop = Rect{phaseScopeHorizontalPadding, y,
                                    std::max(0.0, window.width - 2.0 * phaseScopeHorizontalPadding), scope.height};
        result.order.push_back(LevelMeterPanel::PhaseScopeTop);
        y += scope.height;
    }
    if (settings.readout.show) {
        result.numericValue = Rect{0.0, y, window.width, readoutHeight};
        result.order.push_back(LevelMeterPanel::NumericValue);
        y += readoutHeight + settings.readout.barSpacing;
    }

    y += barRowVerticalPadding;
    result.barRow = Rect{barRowHorizontalPadding, y, std::max(0.0, window.width - 2.0 * barRowHorizontalPadding),
                         barsHeight};
    result.order.push_back(LevelMeterPanel::Bars);
    const double meterSize = settings.bars.meterSize;
    const double bar = barWidth(meterSize);
    const double gap = barGap(meterSize);
    const bool showScale = settings.bars.showScale;
    const double contentWidth = 2.0 * bar + (showScale ? scaleWidth(meterSize) + 2.0 * gap : gap);
    double x = result.barRow.centerX() - contentWidth * 0.5;
    result.leftBar = Rect{x, y, bar, barsHeight};
    x += bar + gap;
    if (showScale) {
        result.scale = Rect{x, y + scaleVerticalPadding, scaleWidth(meterSize),
                            std::max(0.0, barsHeight - 2.0 * scaleVerticalPadding)};
        x += scaleWidth(meterSize) + gap;
    }
    result.rightBar = Rect{x, y, bar, barsHeight};
    y += barsHeight + barRowVerticalPadding;

    if (settings.spectrum.show) {
        y += settings.spectrum.spacing;
        result.spectrum = Rect{spectrumHorizontalPadding, y,
                               std::max(0.0, window.width - 2.0 * spectrumHorizontalPadding), settings.spectrum.height};
        result.order.push_back(LevelMeterPanel::Spectrum);
        y += settings.spectrum.height + spectrumBottomPadding;
    }
    if (settings.history.show) {
        result.history = Rect{loudnessHorizontalPadding, y,
                              std::max(0.0, window.width - 2.0 * loudnessHorizontalPadding), settings.history.height};
        result.order.push_back(LevelMeterPanel::History);
        y += settings.history.height + historyBottomPadding;
    }
    if (settings.loudness.show) {
        const double height = ring ? ringHeight : compactLoudnessHeight;
        result.loudness = Rect{loudnessHorizontalPadding, y,
                               std::max(0.0, window.width - 2.0 * loudnessHorizontalPadding), height};
        result.order.push_back(LevelMeterPanel::Loudness);
        y += height;
    }
    if (scopeBottom) {
        result.phaseScopeBottom = Rect{phaseScopeHorizontalPadding, y,
                                       std::max(0.0, window.width - 2.0 * phaseScopeHorizontalPadding), scope.height};
        result.order.push_back(LevelMeterPanel::PhaseScopeBottom);
    }
    return result;
}

} // namespace level_meter_layout
