#include "views/CompactMeterBar.h"

#include "settings/MeterScale.h"
#include "views/PeakTriangle.h"

double CompactMeterBar::filledHeight(float levelDb, double height) const
{
    return meter_scale::levelFraction(levelDb, minDb, maxDb) * height;
}

std::optional<double> CompactMeterBar::peakHoldCenterY(double height) const
{
    // A held value at or below the bottom of the range has nothing to mark.
    if (!showPeakHold || !(maxPeak > minDb)) return std::nullopt;
    return height - filledHeight(maxPeak, height);
}

void CompactMeterBar::draw(Canvas &canvas, double height) const
{
    const Rect bar{0.0, 0.0, barWidth, height};

    // The gradient spans the whole bar and the clip only uncovers its lower part, so
    // each height shows the colour of its own dB value.
    const double rmsHeight = filledHeight(rmsLevel, height);
    if (rmsHeight > 0.0) {
        const bool cached = cachedRmsGradient && !cachedRmsGradient->stops.empty();
        const DrawableGradient built = cached ? DrawableGradient{} : gradient->rmsGradient(minDb, maxDb);
        const DrawableGradient &rms = cached ? *cachedRmsGradient : built;
        CanvasStateGuard guard(canvas);
        canvas.clipToRect({0.0, height - rmsHeight, barWidth, rmsHeight});
        canvas.multiplyOpacity(rmsOpacity);
        // The whole bar is the same every frame; only the clip moves.
        canvas.drawCached(ContentKey().add(rms).add(bar).add(cornerRadius).value(), bar, [&](Canvas &layer) {
            layer.fillRoundedRect(bar, cornerRadius, gradientOver(rms, bar));
        });
    }

    const double peakHeight = filledHeight(peakLevel, height);
    if (peakHeight > 0.0) {
        const bool cached = cachedLinearGradient && !cachedLinearGradient->stops.empty();
        const DrawableGradient built = cached ? DrawableGradient{} : gradient->linearGradient(minDb, maxDb);
        const DrawableGradient &linear = cached ? *cachedLinearGradient : built;
        const double peakWidth = barWidth * peakWidthFactor;
        const Rect peakBar{(barWidth - peakWidth) * 0.5, 0.0, peakWidth, height};
        CanvasStateGuard guard(canvas);
        canvas.clipToRect({peakBar.x, height - peakHeight, peakWidth, peakHeight});
        canvas.drawCached(ContentKey().add(linear).add(peakBar).add(cornerRadius).value(), peakBar,
                          [&](Canvas &layer) { layer.fillRoundedRect(peakBar, cornerRadius, gradientOver(linear, peakBar)); });
    }

    if (const std::optional<double> centerY = peakHoldCenterY(height)) {
        const RgbColor color = gradient->colorAt(maxPeak);
        canvas.fillPath(peakTrianglePath(Rect::centeredAt({0.0, *centerY}, markerWidth, markerHeight)), color);
        canvas.fillPath(peakTrianglePathTurned(Rect::centeredAt({barWidth, *centerY}, markerWidth, markerHeight)),
                        color);
    }
}
