#include "views/LissajousMeterView.h"

#include "views/Palette.h"

#include <algorithm>
#include <cmath>

Point LissajousMeterView::plotPosition(LissajousPoint sample, Size size)
{
    const double cx = size.width * 0.5;
    const double cy = size.height * 0.5;
    const double radius = radiusFactor * std::min(size.width, size.height);
    const double l = sample.x;
    const double r = sample.y;
    const double u = (l - r) / rotationDivisor;
    const double v = (l + r) / rotationDivisor;
    return {cx + radius * u, cy - radius * v};
}

double LissajousMeterView::amplitude(LissajousPoint sample)
{
    const double l = sample.x;
    const double r = sample.y;
    return std::sqrt(l * l + r * r);
}

float LissajousMeterView::amplitudeDb(double amplitude)
{
    if (!(amplitude > 0.0001)) return floorDb;
    return std::max(static_cast<float>(20.0 * std::log10(amplitude)), floorDb);
}

RgbColor LissajousMeterView::colorForLevel(std::span<const GradientColorStop> sortedStops, float levelDb)
{
    if (sortedStops.empty()) return palette::white;
    if (levelDb <= sortedStops.front().levelDb) return sortedStops.front().color();
    if (levelDb >= sortedStops.back().levelDb) return sortedStops.back().color();
    const auto upper = std::find_if(sortedStops.begin(), sortedStops.end(),
                                    [levelDb](const GradientColorStop &s) { return s.levelDb >= levelDb; });
    const GradientColorStop &hi = *upper;
    const GradientColorStop &lo = *(upper - 1);
    const double span = static_cast<double>(hi.levelDb) - lo.levelDb;
    if (span <= 0.0) return hi.color();
    const double t = (static_cast<double>(levelDb) - lo.levelDb) / span;
    return {lo.red + (hi.red - lo.red) * t, lo.green + (hi.green - lo.green) * t, lo.blue + (hi.blue - lo.blue) * t,
            1.0};
}

const std::vector<GradientColorStop> &LissajousMeterView::sortedStops(const GradientPreset &gradient)
{
    if (stopsSource_ != gradient.stops || (sortedStops_.empty() && !gradient.stops.empty())) {
        stopsSource_ = gradient.stops;
        sortedStops_ = gradient.stops;
        std::stable_sort(sortedStops_.begin(), sortedStops_.end(),
                         [](const GradientColorStop &a, const GradientColorStop &b) { return a.levelDb < b.levelDb; });
    }
    return sortedStops_;
}

void LissajousMeterView::draw(Canvas &canvas, Size size, std::span<const LissajousPoint> points,
                              const GradientPreset &gradient, const Style &style)
{
    canvas.fillRect({0.0, 0.0, size.width, size.height}, palette::withOpacity(palette::black, backgroundOpacity));
    if (points.empty()) return;
    const std::vector<GradientColorStop> &stops = sortedStops(gradient);

    if (style.pointMode) {
        const double dot = dotDiameterFactor * style.lineWidth;
        const double glow = glowDiameterFactor * style.lineWidth;
        discs_.clear();
        for (const LissajousPoint &sample : points) {
            const Point p = plotPosition(sample, size);
            const RgbColor color = colorForLevel(stops, amplitudeDb(amplitude(sample)));
            if (style.showGlow) discs_.push_back({p, glow, palette::withOpacity(color, glowDotOpacity)});
            discs_.push_back({p, dot, palette::withOpacity(color, dotOpacity)});
        }
        canvas.fillDiscs(discs_);
        return;
    }

    segments_.clear();
    Point previous = plotPosition(points.front(), size);
    double previousAmplitude = amplitude(points.front());
    for (std::size_t i = 1; i < points.size(); ++i) {
        const Point p = plotPosition(points[i], size);
        const double a = amplitude(points[i]);
        const RgbColor color = colorForLevel(stops, amplitudeDb((previousAmplitude + a) * 0.5));
        auto stroke = [&](const StrokeLayer &layer, const RgbColor &base) {
            segments_.push_back({previous, p, palette::withOpacity(base, layer.opacity), style.lineWidth * layer.widthFactor});
        };
        if (style.showGlow) {
            stroke(glowOuter, color);
            stroke(glowInner, color);
        }
        stroke(line, color);
        stroke(core, palette::white);
        previous = p;
        previousAmplitude = a;
    }
    canvas.strokeSegments(segments_);
}
