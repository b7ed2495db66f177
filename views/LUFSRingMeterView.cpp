#include "views/LUFSRingMeterView.h"

#include "views/FormattedDbText.h"
#include "views/LoudnessFormatting.h"
#include "views/Palette.h"
#include "views/TextDrawing.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr std::array<RgbColor, 3> arcColors = {palette::cyan, palette::indigo, palette::yellow};

// Text sizes relative to the free radius inside the inner ring.
constexpr double smallTextFactor = 0.16;
constexpr double largeTextFactor = 0.28;
constexpr double unitTextFactor = 0.12;
constexpr double lineGapFactor = 0.03;

struct ReadoutLine {
    std::vector<TextRun> runs;
    bool badge = false; // drawn in a capsule
};

} // namespace

LUFSRingMeterView::Geometry LUFSRingMeterView::geometry(Size size)
{
    Geometry g;
    g.side = std::min(size.width, size.height);
    g.center = {size.width * 0.5, size.height * 0.5};
    g.radii[0] = g.side * 0.5 - ringWidth * 0.5 - 2.0;
    g.radii[1] = g.radii[0] - ringWidth - ringGap;
    g.radii[2] = g.radii[1] - ringWidth - ringGap;
    return g;
}

double LUFSRingMeterView::arcFraction(double lufs)
{
    if (!loudness_display::isMeasured(lufs)) return 0.0;
    return std::clamp((lufs - lufsMin) / (lufsMax - lufsMin), 0.0, 1.0);
}

double LUFSRingMeterView::easeOut(double t)
{
    // The standard ease-out timing curve, cubic Bezier (0, 0) (0.58, 1): solve x(s) = t
    // for the curve parameter by bisection (x is monotonic), then return y(s).
    if (!(t > 0.0)) return 0.0;
    if (t >= 1.0) return 1.0;
    // With both first control coordinates 0: x(s) = 3(1-s)s^2 * 0.58 + s^3, y(s) = 3(1-s)s^2 + s^3.
    auto x = [](double s) { return 3.0 * (1.0 - s) * s * s * 0.58 + s * s * s; };
    double lo = 0.0;
    double hi = 1.0;
    for (int i = 0; i < 48; ++i) {
        const double mid = 0.5 * (lo + hi);
        (x(mid) < t ? lo : hi) = mid;
    }
    const double s = 0.5 * (lo + hi);
    return 3.0 * (1.0 - s) * s * s + s * s * s;
}

double LUFSRingMeterView::ArcAnimation::valueAt(double now) const
{
    const double elapsed = now - startTime;
    if (elapsed >= animationDuration) return to;
    return from + (to - from) * easeOut(elapsed / animationDuration);
}

void LUFSRingMeterView::ArcAnimation::retarget(double target, double now)
{
    if (!started) {
        from = to = target;
        startTime = now - animationDuration;
        started = true;
        return;
    }
    if (target == to) return;
    // A new value during an animation starts from where the arc is now, so it never jumps.
    from = valueAt(now);
    to = target;
    startTime = now;
}

bool LUFSRingMeterView::isAnimating(double nowSeconds) const
{
    return std::any_of(arcs_.begin(), arcs_.end(), [nowSeconds](const ArcAnimation &arc) {
        return arc.started && nowSeconds - arc.startTime < animationDuration;
    });
}

std::array<double, 3> LUFSRingMeterView::displayedFractions(double nowSeconds) const
{
    return {arcs_[0].valueAt(nowSeconds), arcs_[1].valueAt(nowSeconds), arcs_[2].valueAt(nowSeconds)};
}

void LUFSRingMeterView::draw(Canvas &canvas, Size size, const MeterValues &values, const LoudnessSettings &settings,
                             double nowSeconds)
{
    const Geometry g = geometry(size);
    if (g.radii[2] <= ringWidth * 0.5) return; // too small to show three rings

    // The tracks and the target zone only change with the size and the preset: drawn
    // once, then copied under the moving arcs.
    strokes_.clear();
    for (const double radius : g.radii) {
        strokes_.push_back({g.center, radius, arcStartDegrees, 360.0, palette::withOpacity(palette::white, trackOpacity),
                            ringWidth});
    }
    if (settings.preset) {
        const double lower = arcFraction(settings.preset->integratedTarget - settings.preset->tolerance);
        const double upper = arcFraction(settings.preset->integratedTarget + settings.preset->tolerance);
        if (upper > lower) {
            strokes_.push_back({g.center, g.radii[2], arcStartDegrees + 360.0 * lower, 360.0 * (upper - lower),
                                palette::withOpacity(palette::yellow, targetZoneOpacity), ringWidth});
        }
    }
    ContentKey key;
    key.add(ringWidth).add(static_cast<int>(strokes_.size()));
    for (const ColoredArc &arc : strokes_) {
        key.add(arc.center.x).add(arc.center.y).add(arc.radius).add(arc.startDegrees).add(arc.sweepDegrees).add(arc.color);
    }
    const double reach = *std::max_element(g.radii.begin(), g.radii.end()) + ringWidth;
    canvas.drawCached(key.value(), Rect::centeredAt(g.center, 2.0 * reach, 2.0 * reach),
                      [this](Canvas &layer) { layer.strokeArcs(strokes_); });
    strokes_.clear();

    const std::array<double, 3> targets = {arcFraction(values.momentaryLUFS), arcFraction(values.shortTermLUFS),
                                           arcFraction(values.integratedLUFS)};
    for (std::size_t i = 0; i < arcs_.size(); ++i) {
        arcs_[i].retarget(targets[i], nowSeconds);
        const double fraction = arcs_[i].valueAt(nowSeconds);
        if (fraction > 0.0)
            strokes_.push_back({g.center, g.radii[i], arcStartDegrees, 360.0 * fraction, arcColors[i], ringWidth});
    }
    canvas.strokeArcs(strokes_);

    drawReadouts(canvas, g, values, settings);
}

void LUFSRingMeterView::drawReadouts(Canvas &canvas, const Geometry &g, const MeterValues &values,
                                     const LoudnessSettings &settings) const
{
    using namespace loudness_display;
    const double freeRadius = g.radii[2] - ringWidth * 0.5;
    const Font small{freeRadius * smallTextFactor, FontWeight::Medium, true};
    const Font large{freeRadius * largeTextFactor, FontWeight::Semibold, true};
    const Font unit{freeRadius * unitTextFactor, FontWeight::Regular, false};
    const RgbColor secondary = palette::secondaryText;

    auto line = [&](double value, const Font &valueFont, const RgbColor &color, const char *suffix,
                    const RgbColor &suffixColor) {
        return ReadoutLine{{{formatValue(value), valueFont, color}, {suffix, unit, suffixColor}}, false};
    };
    const RgbColor integrated = integratedColor(values.integratedLUFS, settings.preset);
    const RgbColor peak = truePeakColor(truePeak(values), settings.preset);
    std::vector<ReadoutLine> lines = {
        line(values.momentaryLUFS, small, palette::cyan, " M", palette::withOpacity(palette::cyan, 0.7)),
        line(values.shortTermLUFS, small, palette::indigo, " S", palette::withOpacity(palette::indigo, 0.8)),
        line(values.integratedLUFS, large, integrated, " LUFS", secondary),
        line(values.loudnessRange, small, secondary, " LU", secondary),
        line(truePeak(values), small, peak, " dBTP", secondary),
    };
    if (settings.preset) {
        lines.push_back({{{settings.preset->name + " " + formatFixed(settings.preset->integratedTarget, 0), unit,
                           secondary}},
                         true});
    }

    const double gap = freeRadius * lineGapFactor;
    const double badgePadding = unit.size * 0.3;
    double total = 0.0;
    std::vector<TextMetrics> metrics;
    for (const ReadoutLine &l : lines) {
        metrics.push_back(measureRuns(canvas, l.runs));
        total += metrics.back().height() + (l.badge ? 2.0 * badgePadding + gap : 0.0);
    }
    total += gap * static_cast<double>(lines.size() - 1);

    double y = g.center.y - total * 0.5;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const TextMetrics &m = metrics[i];
        if (lines[i].badge) {
            y += gap;
            const double height = m.height() + 2.0 * badgePadding;
            const Rect capsule = Rect::centeredAt({g.center.x, y + height * 0.5}, m.width + 4.0 * badgePadding, height);
            canvas.fillRoundedRect(capsule, height * 0.5, palette::withOpacity(palette::white, 0.08));
            drawRunsInRect(canvas, lines[i].runs, capsule, HorizontalAlignment::Center);
            y += height + gap;
            continue;
        }
        drawRunsInRect(canvas, lines[i].runs, {g.center.x - freeRadius, y, 2.0 * freeRadius, m.height()},
                       HorizontalAlignment::Center);
        y += m.height() + gap;
    }
}
