#include "views/TargetsTable.h"

#include "views/FormattedDbText.h"
#include "views/LoudnessFormatting.h"
#include "views/Palette.h"
#include "views/Symbols.h"
#include "views/TextDrawing.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr std::array<const char *, TargetsTableLayout::columnCount> titles = {"PRESET", "TARGET", "OFFSET", "TP", ""};
constexpr std::array<HorizontalAlignment, TargetsTableLayout::columnCount> alignments = {
    HorizontalAlignment::Leading, HorizontalAlignment::Trailing, HorizontalAlignment::Trailing,
    HorizontalAlignment::Trailing, HorizontalAlignment::Leading};
constexpr const char *noValue = "\u2014";     // an em dash: nothing measured yet
constexpr const char *widestOffset = "-00.00 LU"; // offsets reach two decimals near a tolerance edge

// Targets and limits are whole numbers in every built-in preset; others keep a decimal.
std::string formatLevel(double value)
{
    return formatFixed(value, value == std::trunc(value) ? 0 : 1);
}

std::string truePeakText(double limit, bool over) { return (over ? "> " : "\u2264 ") + formatLevel(limit); }

// The offset from the target as one decimal, the way the meters print loudness. Near a
// tolerance edge one decimal can round across it ("+1.0 LU" for +1.04 LU, which
// fails a ±1 LU target), so the text then takes a second decimal to agree with the
// verdict.
std::string formatOffset(double offset, double tolerance, bool inside)
{
    for (int digits = 1;; ++digits) {
        const double scale = std::pow(10.0, digits);
        const double shown = std::round(offset * scale) / scale;
        if ((std::abs(shown) <= tolerance) != inside && digits < 2) continue;
        if (shown == 0.0) return formatFixed(0.0, digits) + " LU"; // never "-0.0"
        char text[32];
        std::snprintf(text, sizeof text, "%+.*f LU", digits, shown);
        return text;
    }
}

RgbColor complianceColor(Compliance compliance, const RgbColor &neutral)
{
    switch (compliance) {
    case Compliance::Pass: return palette::green;
    case Compliance::Fail: return palette::red;
    case Compliance::Neutral: break;
    }
    return neutral;
}

double lineHeight(const TextMeasurer &measurer)
{
    return std::max({measurer.measureText("0", TargetsTable::valueFont()).height(),
                     measurer.measureText("Ag", TargetsTable::nameFont()).height(),
                     TargetsTable::symbolSize});
}

std::array<double, TargetsTableLayout::columnCount> columnWidths(const TextMeasurer &measurer,
                                                                 const std::vector<BroadcastPreset> &presets)
{
    std::array<double, TargetsTableLayout::columnCount> widths{};
    for (std::size_t i = 0; i < widths.size(); ++i)
        widths[i] = measurer.measureText(titles[i], TargetsTable::headerFont()).width;
    const auto widen = [&](std::size_t column, std::string_view text, const Font &font) {
        widths[column] = std::max(widths[column], measurer.measureText(text, font).width);
    };
    for (const BroadcastPreset &preset : presets) {
        widen(0, preset.name, TargetsTable::nameFont());
        widen(1, formatLevel(preset.integratedTarget) + " \u00B1" + formatLevel(preset.tolerance),
              TargetsTable::valueFont());
        widen(3, truePeakText(preset.truePeakLimit, false), TargetsTable::valueFont());
        widen(3, truePeakText(preset.truePeakLimit, true), TargetsTable::valueFont());
    }
    widen(2, widestOffset, TargetsTable::valueFont());
    const Font verdict = TargetsTable::verdictFont();
    const double word =
        std::max(measurer.measureText("PASS", verdict).width, measurer.measureText("FAIL", verdict).width);
    widths[4] = std::max(widths[4], TargetsTable::symbolSize + TargetsTable::symbolGap + word);
    return widths;
}

} // namespace

TargetsTable::Verdicts TargetsTable::verdicts(const MeterValues &values, const std::vector<BroadcastPreset> &presets)
{
    const double integrated = values.integratedLUFS;
    const double peak = loudness_display::truePeak(values);
    const bool peakMeasured = loudness_display::isMeasured(peak);
    Verdicts result;
    result.reserve(presets.size());
    for (const BroadcastPreset &preset : presets) {
        TargetVerdict row;
        row.name = preset.name;
        row.targetText = formatLevel(preset.integratedTarget) + " \u00B1" + formatLevel(preset.tolerance);
        row.loudness = broadcast::integratedCompliance(integrated, preset);
        row.truePeak = peakMeasured ? broadcast::truePeakCompliance(peak, preset) : Compliance::Neutral;
        row.truePeakText = truePeakText(preset.truePeakLimit, row.truePeak == Compliance::Fail);
        if (row.loudness == Compliance::Neutral) {
            row.distanceText = noValue;
        } else {
            row.distanceText = formatOffset(integrated - preset.integratedTarget, preset.tolerance,
                                            row.loudness == Compliance::Pass);
            const bool fails = row.loudness == Compliance::Fail || row.truePeak == Compliance::Fail;
            row.verdict = fails ? Compliance::Fail : Compliance::Pass;
        }
        result.push_back(std::move(row));
    }
    return result;
}

std::string TargetsTable::verdictText(Compliance verdict)
{
    switch (verdict) {
    case Compliance::Pass: return "PASS";
    case Compliance::Fail: return "FAIL";
    case Compliance::Neutral: break;
    }
    return {};
}

std::string TargetsTable::describe(const Verdicts &verdicts)
{
    const bool anyVerdict = std::any_of(verdicts.begin(), verdicts.end(),
                                        [](const TargetVerdict &row) { return row.verdict != Compliance::Neutral; });
    if (!anyVerdict) return "Delivery targets: no integrated loudness yet.";
    std::string text = "Delivery targets:";
    for (const TargetVerdict &row : verdicts) {
        const std::string limit = row.truePeakText.substr(row.truePeakText.find(' ') + 1);
        text += " " + row.name + ": " + row.distanceText + " from " + row.targetText + " LUFS, true peak " +
                (row.truePeak == Compliance::Fail ? "above " : "within ") + limit + " dBTP, " +
                (row.verdict == Compliance::Pass ? "pass." : "fail.");
    }
    return text;
}

Size TargetsTable::naturalSize(const TextMeasurer &measurer, const std::vector<BroadcastPreset> &presets)
{
    return layout({0.0, 0.0}, measurer, presets).bounds.size();
}

TargetsTableLayout TargetsTable::layout(Point origin, const TextMeasurer &measurer,
                                        const std::vector<BroadcastPreset> &presets)
{
    TargetsTableLayout result;
    const std::array<double, TargetsTableLayout::columnCount> widths = columnWidths(measurer, presets);
    const double headerHeight = measurer.measureText("TP", headerFont()).height();
    const double rowHeight = lineHeight(measurer);
    double width = columnGap * static_cast<double>(widths.size() - 1);
    for (double w : widths) width += w;
    const double height = headerHeight + static_cast<double>(presets.size()) * (rowGap + rowHeight);
    result.bounds = {origin.x, origin.y, width, height};
    result.header = {origin.x, origin.y, width, headerHeight};
    double x = origin.x;
    for (std::size_t i = 0; i < widths.size(); ++i) {
        result.columns[i] = {x, origin.y, widths[i], height};
        x += widths[i] + columnGap;
    }
    double y = origin.y + headerHeight + rowGap;
    for (std::size_t i = 0; i < presets.size(); ++i, y += rowHeight + rowGap)
        result.rows.push_back({origin.x, y, width, rowHeight});
    return result;
}

namespace {

Rect cell(const TargetsTableLayout &layout, std::size_t row, std::size_t column)
{
    const Rect &c = layout.columns[column];
    const Rect &r = layout.rows[row];
    return {c.x, r.y, c.width, r.height};
}

} // namespace

void TargetsTable::drawStatic(Canvas &canvas, const TargetsTableLayout &layout, const Verdicts &verdicts)
{
    for (std::size_t i = 0; i < layout.columns.size(); ++i) {
        const Rect &column = layout.columns[i];
        drawTextInRect(canvas, {titles[i], headerFont(), palette::gray},
                       {column.x, layout.header.y, column.width, layout.header.height}, alignments[i]);
    }
    // A hairline between the titles and the rows.
    const double lineY = layout.header.bottom() + rowGap * 0.5;
    canvas.fillRect({layout.bounds.x, lineY - 0.25, layout.bounds.width, 0.5},
                    palette::withOpacity(palette::white, 0.15));
    const std::size_t count = std::min(verdicts.size(), layout.rows.size());
    for (std::size_t row = 0; row < count; ++row) {
        drawTextInRect(canvas, {verdicts[row].name, nameFont(), palette::primaryText}, cell(layout, row, 0),
                       alignments[0]);
        drawTextInRect(canvas, {verdicts[row].targetText, valueFont(), palette::secondaryText}, cell(layout, row, 1),
                       alignments[1]);
    }
}

void TargetsTable::drawValues(Canvas &canvas, const TargetsTableLayout &layout, const Verdicts &verdicts)
{
    const std::size_t count = std::min(verdicts.size(), layout.rows.size());
    for (std::size_t row = 0; row < count; ++row) {
        const TargetVerdict &v = verdicts[row];
        drawTextInRect(canvas, {v.distanceText, valueFont(), complianceColor(v.loudness, palette::secondaryText)},
                       cell(layout, row, 2), alignments[2]);
        const RgbColor peakColor = v.truePeak == Compliance::Fail ? palette::red : palette::secondaryText;
        drawTextInRect(canvas, {v.truePeakText, valueFont(), peakColor}, cell(layout, row, 3), alignments[3]);
        if (v.verdict == Compliance::Neutral) continue;
        const Rect verdictCell = cell(layout, row, 4);
        const RgbColor color = complianceColor(v.verdict, palette::secondaryText);
        drawSymbol(canvas, v.verdict == Compliance::Pass ? Symbol::CheckmarkCircleFill : Symbol::XMarkCircleFill,
                   {verdictCell.x + symbolSize * 0.5, verdictCell.centerY()}, symbolSize, color);
        const double textX = verdictCell.x + symbolSize + symbolGap;
        drawTextInRect(canvas, {verdictText(v.verdict), verdictFont(), color},
                       {textX, verdictCell.y, verdictCell.right() - textX, verdictCell.height},
                       HorizontalAlignment::Leading);
    }
}
