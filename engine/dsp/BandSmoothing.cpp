#include "engine/dsp/BandSmoothing.h"

#include <algorithm>
#include <cmath>

bool smoothBands(std::span<float> display, std::span<const float> raw, std::span<const float> published,
                 float minAmp, float fallStep)
{
    bool changed = false;
    for (std::size_t i = 0; i < raw.size() && i < display.size(); ++i) {
        if (raw[i] <= display[i]) {
            display[i] = std::max(display[i] - fallStep, minAmp);
        } else {
            display[i] = raw[i];
        }
        // A band without a published counterpart is new and always counts as changed.
        if (i >= published.size() || std::fabs(display[i] - published[i]) > bandPublishThresholdDb) changed = true;
    }
    return changed;
}

std::vector<UnitPoint> spectrumControlPoints(std::span<const float> bands, float minAmp, float maxAmp)
{
    const float range = maxAmp - minAmp;
    if (bands.size() < 2 || !(range > 0.0f)) return {};
    std::vector<UnitPoint> points(bands.size());
    const double last = static_cast<double>(bands.size() - 1);
    for (std::size_t i = 0; i < bands.size(); ++i) {
        const float normalised = std::clamp((bands[i] - minAmp) / range, 0.0f, 1.0f);
        points[i] = {static_cast<double>(i) / last, 1.0 - static_cast<double>(normalised)};
    }
    return points;
}
