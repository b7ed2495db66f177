#include "views/LUFSMeterView.h"

#include "views/FormattedDbText.h"
#include "views/LoudnessFormatting.h"
#include "views/Palette.h"
#include "views/TextDrawing.h"

#include <algorithm>
#include <array>

namespace {

struct Readout {
    const char *label;
    double value;
    const char *unit;
};

constexpr double columnGap = 6.0; // between the label column and the values, points

} // namespace

LUFSMeterView::Indicator LUFSMeterView::indicator(const MeterValues &values, const BroadcastPreset &preset)
{
    if (!loudness_display::isMeasured(values.integratedLUFS)) return {Symbol::Circle, palette::secondaryText};
    const bool onTarget = values.integratedLUFS >= preset.integratedTarget - preset.tolerance &&
                          values.integratedLUFS <= preset.integratedTarget + preset.tolerance;
    const bool peakPasses = loudness_display::truePeak(values) <= preset.truePeakLimit;
    if (onTarget && peakPasses) return {Symbol::CheckmarkCircleFill, palette::green};
    return {Symbol::XMarkCircleFill, palette::red};
}

Font LUFSMeterView::labelFont(const LoudnessSettings &settings)
{
    return {std::max(settings.fontSize - 2.0, minimumLabelSize), FontWeight::Regular, false};
}

Font LUFSMeterView::valueFont(const LoudnessSettings &settings)
{
    return {settings.fontSize, FontWeight::Medium, true};
}

double LUFSMeterView::preferredHeight(const LoudnessSettings &settings)
{
    const double rows = settings.preset ? 6.0 : 5.0;
    return rows * settings.fontSize * lineSpacing + 2.0 * verticalPadding;
}

void LUFSMeterView::draw(Canvas &canvas, Size size, const MeterValues &values, const LoudnessSettings &settings)
{
    using namespace loudness_display;
    const std::array<Readout, 5> readouts = {{
        {"M", values.momentaryLUFS, "LUFS"},
        {"S", values.shortTermLUFS, "LUFS"},
        {"I", values.integratedLUFS, "LUFS"},
        {"LRA", values.loudnessRange, "LU"},
        {"TP", truePeak(values), "dBTP"},
    }};
    const Font label = labelFont(settings);
    const Font value = valueFont(settings);
    const double pitch = settings.fontSize * lineSpacing;

    // Column widths from the widest entries, so that the block is as wide as it must be
    // and stands centred in the panel.
    const double labelWidth = canvas.measureText("LRA", label).width;
    const double valueWidth = canvas.measureText("-00.0", value).width + canvas.measureText(" dBTP", label).width;
    const double blockWidth = labelWidth + columnGap + valueWidth;
    const double x = std::max(0.0, (size.width - blockWidth) * 0.5);
    double y = verticalPadding;

    for (const Readout &r : readouts) {
        const Rect row{x, y, blockWidth, pitch};
        drawTextInRect(canvas, {r.label, label, palette::secondaryText}, row, HorizontalAlignment::Leading);
        const std::array<TextRun, 2> runs = {{{formatValue(r.value), value, palette::primaryText},
                                              {std::string(" ") + r.unit, label, palette::secondaryText}}};
        drawRunsInRect(canvas, runs, row, HorizontalAlignment::Trailing);
        y += pitch;
    }

    if (settings.preset) {
        const Indicator mark = indicator(values, *settings.preset);
        const Rect row{x, y, blockWidth, pitch};
        drawSymbol(canvas, mark.symbol, {x + settings.fontSize * 0.5, row.centerY()}, settings.fontSize, mark.color);
        const TextRun target{formatFixed(settings.preset->integratedTarget, 0) + " LUFS", label, palette::secondaryText};
        drawTextInRect(canvas, target, row, HorizontalAlignment::Trailing);
    }
}
