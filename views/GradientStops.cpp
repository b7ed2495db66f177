#include "views/GradientStops.h"

#include <algorithm>

RgbColor gradientColorAt(std::span<const DrawableGradientStop> sortedStops, double location)
{
    if (location <= sortedStops.front().location) return sortedStops.front().color;
    if (location >= sortedStops.back().location) return sortedStops.back().color;
    const auto upper = std::upper_bound(sortedStops.begin(), sortedStops.end(), location,
                                        [](double l, const DrawableGradientStop &s) { return l < s.location; });
    const DrawableGradientStop &hi = *upper;
    const DrawableGradientStop &lo = *(upper - 1);
    const double span = hi.location - lo.location;
    if (span <= 0.0) return hi.color;
    const double t = (location - lo.location) / span;
    auto mix = [t](double a, double b) { return a + (b - a) * t; };
    return {mix(lo.color.red, hi.color.red), mix(lo.color.green, hi.color.green), mix(lo.color.blue, hi.color.blue),
            mix(lo.color.alpha, hi.color.alpha)};
}

std::vector<DrawableGradientStop> normalizedGradientStops(std::span<const DrawableGradientStop> stops)
{
    if (stops.empty()) return {};
    std::vector<DrawableGradientStop> sorted(stops.begin(), stops.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const DrawableGradientStop &a, const DrawableGradientStop &b) { return a.location < b.location; });

    std::vector<DrawableGradientStop> result;
    result.reserve(sorted.size() + 2);
    result.push_back({0.0, gradientColorAt(sorted, 0.0)});
    for (const DrawableGradientStop &stop : sorted) {
        if (stop.location > 0.0 && stop.location < 1.0) result.push_back(stop);
    }
    result.push_back({1.0, gradientColorAt(sorted, 1.0)});
    return result;
}
