#include "views/SpectralMeterView.h"

#include <algorithm>

bool SpectralMeterView::hasVisibleSpectrum(std::span<const float> bands, float minDb, float maxDb)
{
    if (bands.size() < 2 || !(maxDb - minDb > 0.0f)) return false;
    return std::any_of(bands.begin(), bands.end(), [minDb](float band) { return band > minDb + silenceMarginDb; });
}

std::vector<DrawableGradientStop> SpectralMeterView::gradientStops(const GradientPreset &gradient, float minDb,
                                                                   float maxDb)
{
    std::vector<GradientColorStop> sorted = gradient.stops;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const GradientColorStop &a, const GradientColorStop &b) { return a.levelDb < b.levelDb; });
    const double span = static_cast<double>(maxDb) - static_cast<double>(minDb);
    std::vector<DrawableGradientStop> stops;
    stops.reserve(sorted.size());
    for (const GradientColorStop &stop : sorted) {
        const double location = span > 0.0 ? 1.0 - (static_cast<double>(stop.levelDb) - minDb) / span : 0.0;
        stops.push_back({std::clamp(location, 0.0, 1.0), stop.color(fillOpacity)});
    }
    return stops;
}

void SpectralMeterView::draw(Canvas &canvas, Size size, std::span<const float> bands,
                             std::span<const UnitPoint> splinePoints, const GradientPreset &gradient, float minDb,
                             float maxDb)
{
    if (!hasVisibleSpectrum(bands, minDb, maxDb) || splinePoints.size() < 2) return;

    if (stopsSource_ != gradient.stops || stopsMinDb_ != minDb || stopsMaxDb_ != maxDb) {
        stops_ = gradientStops(gradient, minDb, maxDb);
        stopsSource_ = gradient.stops;
        stopsMinDb_ = minDb;
        stopsMaxDb_ = maxDb;
    }

    area_.clear();
    area_.reserve(splinePoints.size() + 3);
    area_.moveTo({splinePoints.front().x * size.width, size.height});
    for (const UnitPoint &p : splinePoints) area_.lineTo({p.x * size.width, p.y * size.height});
    area_.lineTo({splinePoints.back().x * size.width, size.height});
    area_.close();

    const LinearGradient fill{{size.width * 0.5, 0.0}, {size.width * 0.5, size.height}, stops_};
    canvas.fillPath(area_, fill);
}
