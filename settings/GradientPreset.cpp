#include "settings/GradientPreset.h"

#include <algorithm>

namespace {

constexpr RgbColor white{1.0, 1.0, 1.0, 1.0};
constexpr RgbColor cyan{0.0, 1.0, 1.0, 1.0};
constexpr float accentThresholdDb = -20.0f; // first stop at or above this level gives the accent colour
constexpr double rmsOpacity = 0.7;          // RMS bars are drawn see-through over the peak bars

DrawableGradient barGradient(const std::vector<GradientColorStop> &stops, float minDb, float maxDb, double alpha)
{
    DrawableGradient gradient;
    gradient.direction = GradientDirection::BottomToTop;
    gradient.stops.reserve(stops.size());
    const double span = static_cast<double>(maxDb) - static_cast<double>(minDb);
    for (const GradientColorStop &stop : stops) {
        // Not clamped: stops beyond the displayed range lie outside 0..1 so that the
        // visible part of the gradient keeps its true colours.
        const double location =
            span > 0.0 ? (static_cast<double>(stop.levelDb) - static_cast<double>(minDb)) / span : 0.0;
        gradient.stops.push_back({location, stop.color(alpha)});
    }
    return gradient;
}

} // namespace

RgbColor GradientPreset::colorAt(float db) const
{
    if (stops.empty())
        return white;
    std::vector<GradientColorStop> sorted = stops;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const GradientColorStop &a, const GradientColorStop &b) { return a.levelDb < b.levelDb; });
    const float level = std::clamp(db, sorted.front().levelDb, sorted.back().levelDb);

    // With a single stop, or a level that matches no pair (NaN), both ends are the first stop.
    const GradientColorStop *lower = &sorted.front();
    const GradientColorStop *upper = &sorted.front();
    for (std::size_t i = 0; i + 1 < sorted.size(); ++i) {
        if (sorted[i].levelDb <= level && level <= sorted[i + 1].levelDb) {
            lower = &sorted[i];
            upper = &sorted[i + 1];
            break;
        }
    }

    if (lower->levelDb == level)
        return lower->color();
    if (upper->levelDb == level)
        return upper->color();
    const double span = static_cast<double>(upper->levelDb) - static_cast<double>(lower->levelDb);
    if (!(span > 0.0))
        return lower->color();
    const double t = (static_cast<double>(level) - static_cast<double>(lower->levelDb)) / span;
    return {lower->red + (upper->red - lower->red) * t, lower->green + (upper->green - lower->green) * t,
            lower->blue + (upper->blue - lower->blue) * t, 1.0};
}

DrawableGradient GradientPreset::linearGradient(float minDb, float maxDb) const
{
    return barGradient(stops, minDb, maxDb, 1.0);
}

DrawableGradient GradientPreset::rmsGradient(float minDb, float maxDb) const
{
    return barGradient(stops, minDb, maxDb, rmsOpacity);
}

RgbColor GradientPreset::accentColor() const
{
    if (stops.empty())
        return cyan;
    for (const GradientColorStop &stop : stops) {
        if (stop.levelDb >= accentThresholdDb)
            return stop.color();
    }
    return stops.back().color();
}
