#include "views/LoudnessHistoryView.h"

#include "views/Palette.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double labelGap = 3.0;       // between a label and the plot, points
constexpr double rightPadding = 4.0;   // right of the plot, points
constexpr double overMarkHeight = 7.0; // points, up from the time axis

Font labelFont() { return {LoudnessHistoryView::labelFontSize, FontWeight::Medium, true}; }

// Only the offered spans are drawn; anything else read from storage shows five minutes.
int validSpan(int minutes) { return minutes == 1 || minutes == 5 || minutes == 15 || minutes == 60 ? minutes : 5; }

// Seconds between two time labels for a span.
int timeStepSeconds(int spanMinutes)
{
    switch (spanMinutes) {
    case 1: return 15;
    case 5: return 60;
    case 15: return 300;
    default: return 900;
    }
}

std::string ageText(int seconds)
{
    if (seconds == 0) return "now";
    // Built with append: GCC 12 at -O2 warns (-Wrestrict) on `"-" + std::to_string(...)`.
    std::string text = "-";
    if (seconds % 60 == 0)
        text.append(std::to_string(seconds / 60)).append(" min");
    else
        text.append(std::to_string(seconds)).append(" s");
    return text;
}

void keepMax(std::optional<double> &held, std::optional<double> value)
{
    if (value && (!held || *value > *held)) held = value;
}

} // namespace

LoudnessHistoryView::Geometry LoudnessHistoryView::geometry(Size panel, int spanMinutes, const TextMeasurer &measurer)
{
    const TextMetrics widest = measurer.measureText("-48", labelFont());
    // Room for the top label's upper half above the plot and the time labels below it.
    const double top = std::ceil(widest.ascent * 0.5) + 1.0;
    const double left = std::ceil(widest.width) + 2.0 * labelGap;
    const double bottom = std::ceil(widest.height()) + labelGap + 1.0;

    Geometry g;
    g.spanMinutes = validSpan(spanMinutes);
    g.plot = Rect{left, top, std::max(0.0, panel.width - left - rightPadding), std::max(0.0, panel.height - top - bottom)};
    const double spanSamples = static_cast<double>(g.spanMinutes) * LoudnessHistory::samplesPerMinute;
    g.pointsPerSample = g.plot.width / spanSamples;
    // About one curve point per point of width: a long span merges samples (keeping
    // their loudest), a short one draws each.
    g.samplesPerColumn = static_cast<std::size_t>(std::max(1.0, std::ceil(spanSamples / std::max(1.0, g.plot.width))));
    return g;
}

double LoudnessHistoryView::yForLufs(const Rect &plot, double lufs)
{
    const double fraction = (std::clamp(lufs, bottomLufs, topLufs) - bottomLufs) / (topLufs - bottomLufs);
    return plot.bottom() - fraction * plot.height;
}

std::vector<LoudnessHistoryView::Label> LoudnessHistoryView::scaleLabels(const Geometry &g, const TextMeasurer &measurer)
{
    const TextMetrics line = measurer.measureText("0", labelFont());
    const double lineHeight = line.height() + 1.0;
    const double range = topLufs - bottomLufs;
    // Every 6 LU while the labels fit, else every 12, else only the two ends.
    double step = 6.0;
    if (g.plot.height * step / range < lineHeight) step = 12.0;
    if (g.plot.height * step / range < lineHeight) step = range;

    std::vector<Label> labels;
    for (double lufs = topLufs; lufs >= bottomLufs - 1e-9; lufs -= step) {
        Label label;
        label.text = std::to_string(static_cast<int>(std::lround(lufs)));
        label.value = lufs;
        const double width = measurer.measureText(label.text, labelFont()).width;
        const double y = yForLufs(g.plot, lufs);
        label.baselineStart = {g.plot.x - labelGap - width, y + (line.ascent - line.descent) * 0.5};
        labels.push_back(std::move(label));
    }
    return labels;
}

std::vector<LoudnessHistoryView::Label> LoudnessHistoryView::timeLabels(const Geometry &g, const TextMeasurer &measurer)
{
    const int span = g.spanMinutes * 60;
    int step = timeStepSeconds(g.spanMinutes);
    const double widest = measurer.measureText(ageText(span), labelFont()).width + 2.0 * labelGap;
    // Fewer labels on a narrow panel rather than labels on top of each other.
    while (step < span && g.plot.width * step / span < widest) step *= 2;

    const TextMetrics line = measurer.measureText("0", labelFont());
    std::vector<Label> labels;
    const auto add = [&](int age) {
        Label label;
        label.text = ageText(age);
        label.value = age;
        const double width = measurer.measureText(label.text, labelFont()).width;
        const double x = g.plot.right() - g.plot.width * age / span;
        // Centred on its tick, but the end labels stay inside the plot's width.
        const double start = std::clamp(x - width * 0.5, g.plot.x, std::max(g.plot.x, g.plot.right() - width));
        label.baselineStart = {start, g.plot.bottom() + labelGap + line.ascent};
        labels.push_back(std::move(label));
    };
    for (int age = 0; age < span; age += step) {
        // The left end label starts at the plot's edge: a label centred closer to it
        // than one and a half label widths would run into it.
        if (age != 0 && g.plot.width * (span - age) / span < 1.5 * widest) break;
        add(age);
    }
    add(span);
    return labels;
}

void LoudnessHistoryView::draw(Canvas &canvas, Size panel, const LoudnessHistory &history,
                               const LoudnessHistorySettings &settings, const std::optional<BroadcastPreset> &preset)
{
    const Geometry g = geometry(panel, settings.spanMinutes, canvas);
    if (g.plot.isEmpty()) return;

    ContentKey key;
    key.add(panel.width).add(panel.height).add(g.spanMinutes);
    if (preset) key.add(preset->integratedTarget).add(preset->tolerance);
    canvas.drawCached(key.value(), {0.0, 0.0, panel.width, panel.height},
                      [&](Canvas &layer) { drawStatic(layer, g, preset); });

    buildCurves(g, history, preset ? preset->truePeakLimit : broadcast::unselectedTruePeakLimitDbtp);

    CanvasStateGuard guard(canvas);
    canvas.clipToRect(g.plot);
    for (const double x : breakXs_)
        canvas.strokeLine({x, g.plot.y}, {x, g.plot.bottom()}, breakColor, {1.0, LineCap::Butt});
    canvas.strokeSegments(segments_);
    for (const double x : overXs_)
        canvas.strokeLine({x, g.plot.bottom() - overMarkHeight}, {x, g.plot.bottom()}, overColor, {2.0, LineCap::Butt});
}

void LoudnessHistoryView::drawStatic(Canvas &canvas, const Geometry &g, const std::optional<BroadcastPreset> &preset) const
{
    canvas.fillRect(g.plot, palette::withOpacity(palette::white, 0.04));
    const RgbColor grid = palette::withOpacity(palette::white, 0.09);
    for (const Label &label : scaleLabels(g, canvas)) {
        const double y = yForLufs(g.plot, label.value);
        canvas.strokeLine({g.plot.x, y}, {g.plot.right(), y}, grid, {1.0, LineCap::Butt});
        canvas.drawText(label.baselineStart, label.text, labelFont(), palette::secondaryText);
    }
    const int span = g.spanMinutes * 60;
    for (const Label &label : timeLabels(g, canvas)) {
        canvas.drawText(label.baselineStart, label.text, labelFont(), palette::secondaryText);
    }
    for (int age = timeStepSeconds(g.spanMinutes); age < span; age += timeStepSeconds(g.spanMinutes)) {
        const double x = g.plot.right() - g.plot.width * age / span;
        canvas.strokeLine({x, g.plot.y}, {x, g.plot.bottom()}, grid, {1.0, LineCap::Butt});
    }
    // Which curve is which, in the plot's top right corner where loudness rarely goes.
    double x = g.plot.right() - labelGap;
    for (const auto &[text, color] : {std::pair{"I", integratedColor}, std::pair{"S", shortTermColor},
                                      std::pair{"M", momentaryColor}}) {
        const TextMetrics m = canvas.measureText(text, labelFont());
        x -= m.width;
        if (x < g.plot.x) break;
        canvas.drawText({x, g.plot.y + m.ascent + 2.0}, text, labelFont(), color);
        x -= 2.0 * labelGap;
    }
    if (preset) {
        const double upper = yForLufs(g.plot, preset->integratedTarget + preset->tolerance);
        const double lower = yForLufs(g.plot, preset->integratedTarget - preset->tolerance);
        canvas.fillRect({g.plot.x, upper, g.plot.width, std::max(0.0, lower - upper)}, bandColor);
        const double target = yForLufs(g.plot, preset->integratedTarget);
        canvas.strokeLine({g.plot.x, target}, {g.plot.right(), target}, palette::withOpacity(palette::green, 0.5),
                          {1.0, LineCap::Butt});
    }
}

void LoudnessHistoryView::Curve::start(const RgbColor &c, double w)
{
    color = c;
    width = w;
    segments.clear();
    last.reset();
    lonely = false;
}

void LoudnessHistoryView::Curve::extend(std::optional<Point> point)
{
    if (!point) {
        endPiece();
        return;
    }
    if (last) segments.push_back({*last, *point, color, width});
    lonely = !last;
    last = point;
}

void LoudnessHistoryView::Curve::endPiece()
{
    // A value with gaps on both sides is drawn as a dot rather than left out.
    if (last && lonely) segments.push_back({*last, *last, color, width});
    last.reset();
    lonely = false;
}

LoudnessHistoryView::Column LoudnessHistoryView::mergeColumn(const LoudnessHistory &history, std::uint64_t begin,
                                                             std::uint64_t end, std::optional<double> truePeakBefore,
                                                             double truePeakLimit)
{
    Column column;
    column.begin = begin;
    column.end = end;
    std::optional<double> previousTruePeak = truePeakBefore;
    for (std::uint64_t i = begin; i < end; ++i) {
        const LoudnessHistory::Sample &sample = history.at(i);
        if (sample.startsMeasurement) {
            // The first sample held has nothing before it to break from.
            if (i != history.firstIndex()) column.measurementStart = i;
            previousTruePeak.reset();
        }
        keepMax(column.momentary, LoudnessHistory::Sample::decode(sample.momentary));
        keepMax(column.shortTerm, LoudnessHistory::Sample::decode(sample.shortTerm));
        if (const auto value = LoudnessHistory::Sample::decode(sample.integrated)) column.integrated = value;
        // An over is where the held true peak rises above the limit.
        if (const auto peak = LoudnessHistory::Sample::decode(sample.truePeak)) {
            if (*peak > truePeakLimit && (!previousTruePeak || *peak > *previousTruePeak)) column.over = true;
            previousTruePeak = peak;
        }
    }
    column.truePeakAfter = previousTruePeak;
    return column;
}

void LoudnessHistoryView::updateColumns(const Geometry &g, const LoudnessHistory &history, double truePeakLimit)
{
    const std::uint64_t perColumn = g.samplesPerColumn;
    if (&history != columnsHistory_ || history.generation() != columnsGeneration_ || perColumn != columnsPerColumn_ ||
        truePeakLimit != columnsTruePeakLimit_) {
        columns_.clear();
        columnsHistory_ = &history;
        columnsGeneration_ = history.generation();
        columnsPerColumn_ = perColumn;
        columnsTruePeakLimit_ = truePeakLimit;
    }
    if (history.isEmpty()) {
        columns_.clear();
        return;
    }

    const std::uint64_t total = history.totalSamples();
    const std::uint64_t oldest = history.firstIndex();
    const std::uint64_t span = static_cast<std::uint64_t>(g.spanMinutes) * LoudnessHistory::samplesPerMinute;
    // Columns sit on multiples of perColumn of the running index, so a column holds the
    // same samples from frame to frame and the curve does not shimmer as it scrolls.
    std::uint64_t first = std::max(oldest, total > span + perColumn ? total - span - perColumn : 0);
    first -= first % perColumn;

    // Scrolled out of view; and the newest column, if it was still filling.
    while (!columns_.empty() && columns_.front().end <= first) columns_.pop_front();
    if (!columns_.empty() && columns_.front().begin > std::max(first, oldest)) columns_.clear();
    if (!columns_.empty() && columns_.back().end % perColumn != 0 && columns_.back().end != total) columns_.pop_back();
    if (!columns_.empty() && columns_.back().end > total) columns_.clear();

    std::uint64_t begin = columns_.empty() ? first : columns_.back().end;
    std::optional<double> truePeak;
    if (!columns_.empty())
        truePeak = columns_.back().truePeakAfter;
    else if (begin > oldest)
        truePeak = LoudnessHistory::Sample::decode(history.at(begin - 1).truePeak);
    while (begin < total) {
        const std::uint64_t columnEnd = std::min(begin - begin % perColumn + perColumn, total);
        columns_.push_back(mergeColumn(history, std::max(begin, oldest), columnEnd, truePeak, truePeakLimit));
        truePeak = columns_.back().truePeakAfter;
        begin = columnEnd;
    }
}

void LoudnessHistoryView::buildCurves(const Geometry &g, const LoudnessHistory &history, double truePeakLimit)
{
    momentary_.start(momentaryColor, 1.0);
    shortTerm_.start(shortTermColor, 1.75);
    integrated_.start(integratedColor, 1.5);
    segments_.clear();
    breakXs_.clear();
    overXs_.clear();
    updateColumns(g, history, truePeakLimit);
    if (columns_.empty()) return;

    const auto newest = static_cast<double>(history.totalSamples() - 1);
    const auto xOf = [&](double index) { return g.plot.right() - (newest - index) * g.pointsPerSample; };
    for (const Column &column : columns_) {
        const double x = xOf((static_cast<double>(column.begin) + static_cast<double>(column.end - 1)) * 0.5);
        if (column.measurementStart) {
            for (Curve *curve : {&momentary_, &shortTerm_, &integrated_}) curve->endPiece();
            breakXs_.push_back(xOf(static_cast<double>(*column.measurementStart)));
        }
        const auto at = [&](std::optional<double> lufs) -> std::optional<Point> {
            if (!lufs) return std::nullopt;
            return Point{x, yForLufs(g.plot, *lufs)};
        };
        momentary_.extend(at(column.momentary));
        shortTerm_.extend(at(column.shortTerm));
        integrated_.extend(at(column.integrated));
        if (column.over) overXs_.push_back(x);
    }
    // One batch in drawing order: momentary at the bottom, integrated on top.
    for (Curve *curve : {&momentary_, &shortTerm_, &integrated_}) {
        curve->endPiece();
        segments_.insert(segments_.end(), curve->segments.begin(), curve->segments.end());
    }
}
