#pragma once

#include "settings/DrawableGradient.h"
#include "settings/GradientPreset.h"
#include "views/Canvas.h"

#include <optional>

// One channel's bar: a translucent RMS bar with a thin opaque peak bar inside it and
// the held maximum marked by two triangles facing each other across the bar.
struct CompactMeterBar {
    float peakLevel = -60.0f;  // displayed peak, dBFS
    float rmsLevel = -60.0f;   // displayed RMS, dBFS
    float maxPeak = -60.0f;    // held maximum, dBFS
    const GradientPreset *gradient = nullptr; // colours the peak-hold marker; must be set
    double barWidth = 12.0;    // points
    bool showPeakHold = true;
    float minDb = -60.0f;      // bottom of the range, dBFS
    float maxDb = 6.0f;        // top of the range, dBFS
    // Prepared bar gradients; null or empty makes the bar build its own from gradient.
    const DrawableGradient *cachedLinearGradient = nullptr;
    const DrawableGradient *cachedRmsGradient = nullptr;

    static constexpr double cornerRadius = 1.0;
    static constexpr double rmsOpacity = 0.6;
    static constexpr double peakWidthFactor = 0.6;   // of barWidth
    static constexpr double markerWidth = 4.0;       // points
    static constexpr double markerHeight = 6.0;      // points

    // Filled height of a level in a bar of the given height, from the bottom.
    double filledHeight(float levelDb, double height) const;
    // Vertical centre of the peak-hold marker, from the top; nullopt when none is drawn.
    std::optional<double> peakHoldCenterY(double height) const;

    // Draws the bar into (0, 0, barWidth, height) of the canvas's current coordinates.
    void draw(Canvas &canvas, double height) const;
};
