#pragma once

#include "settings/BroadcastPreset.h"
#include "settings/Color.h"
#include "settings/DrawableGradient.h"
#include "settings/GradientPreset.h"
#include "settings/MeterScale.h"

#include <optional>

// The settings the meter views draw with, as plain values. The application fills
// them from AppSettings whenever the settings change (views/qt/ViewSettingsFromAppSettings.h);
// tests and the offscreen renderer fill them directly.

struct LevelBarSettings {
    double meterSize = 1.3;                 // scale factor of bar width, scale font and column
    bool showScale = true;
    MeterScale scale = MeterScale::fcp;     // marks of the scale column
    bool showPeakHold = true;
    float minDb = -60.0f;                   // bottom of the displayed range, dBFS
    float maxDb = 6.0f;                     // top of the displayed range, dBFS
    GradientPreset gradient;                // colours the bars and the peak-hold marker
    // Bar gradients prepared for gradient, minDb and maxDb; when a stop list is empty
    // the bars build their own from gradient.
    DrawableGradient linearGradient;
    DrawableGradient rmsGradient;
};

struct NumericReadoutSettings {
    bool show = true;
    int fractionalDigits = 0;               // digits after the decimal point
    double fontSize = 30.0;                 // points
    double barSpacing = 13.0;               // gap between the read-out and the bars, points
    bool showsPeakHold = true;              // the read-out follows the held maximum
};

struct SpectrumSettings {
    bool show = true;
    double height = 110.0;                  // panel height, points
    double spacing = 0.0;                   // gap above the panel, points
    float minDb = -96.0f;                   // bottom of the amplitude range, dB
    float maxDb = 0.0f;                     // top of the amplitude range, dB
    GradientPreset gradient;
};

enum class LissajousPlacement {
    Top,    // above the numeric read-out
    Bottom, // at the foot of the window
    None,   // any other stored placement: shown in neither place
};

struct PhaseScopeSettings {
    bool show = true;
    LissajousPlacement placement = LissajousPlacement::Top;
    double height = 90.0;                   // panel height, points
    double lineWidth = 4.0;                 // line width or dot radius, points
    bool glow = false;
    bool pointMode = true;                  // dots instead of connected segments
    GradientPreset gradient;
};

struct LoudnessSettings {
    bool show = false;
    bool ringMode = true;                   // rings instead of the compact read-outs
    double fontSize = 10.0;                 // compact read-out font size, points
    std::optional<BroadcastPreset> preset;  // the delivery target while it is shown
};

struct LoudnessHistorySettings {
    bool show = false;
    double height = 120.0;                  // panel height, points
    int spanMinutes = 5;                    // time across the panel: 1, 5, 15 or 60
};

struct LevelMeterSettings {
    RgbColor background{0.0, 0.0, 0.0, 1.0}; // opaque window background
    LevelBarSettings bars;
    NumericReadoutSettings readout;
    SpectrumSettings spectrum;
    PhaseScopeSettings phaseScope;
    LoudnessSettings loudness;
    LoudnessHistorySettings history;        // above the loudness panel
};

struct NumericalMeterSettings {
    RgbColor background{0.0, 0.0, 0.0, 1.0};
    bool showTitleBars = true;              // header and footer strips
    GradientPreset gradient;                // colours every value
    bool showTargetsTable = false;          // every delivery target's verdict below the level rows
};
