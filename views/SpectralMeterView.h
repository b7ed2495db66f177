#pragma once

#include "engine/dsp/AudioLevels.h"
#include "settings/GradientPreset.h"
#include "views/Canvas.h"

#include <span>
#include <vector>

// The spectrum: the area under the smoothed band curve, filled with a vertical
// gradient whose top carries the colour of the top of the amplitude range.
class SpectralMeterView {
public:
    static constexpr double fillOpacity = 0.9;
    static constexpr float silenceMarginDb = 1.0f; // a band must exceed minDb by more than this

    // False when there are fewer than 2 bands, the range is empty or inverted, or no band
    // rises more than 1 dB above the bottom of the range: a silent spectrum stays empty.
    static bool hasVisibleSpectrum(std::span<const float> bands, float minDb, float maxDb);

    // Gradient stops from the top (location 0) to the bottom (location 1) of the panel:
    // the preset's stops sorted by level, each at 1 - (level - minDb) / (maxDb - minDb)
    // clamped to 0..1, coloured at opacity 0.9.
    static std::vector<DrawableGradientStop> gradientStops(const GradientPreset &gradient, float minDb, float maxDb);

    // Draws into (0, 0, size). splinePoints are in unit coordinates of the panel, y down.
    void draw(Canvas &canvas, Size size, std::span<const float> bands, std::span<const UnitPoint> splinePoints,
              const GradientPreset &gradient, float minDb, float maxDb);

private:
    Path area_; // reused every frame, so the outline allocates only when it grows
    // Stops built for the gradient and range below; rebuilt when either changes.
    std::vector<DrawableGradientStop> stops_;
    std::vector<GradientColorStop> stopsSource_;
    float stopsMinDb_ = 0.0f;
    float stopsMaxDb_ = 0.0f;
};
