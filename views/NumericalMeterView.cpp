#include "views/NumericalMeterView.h"

#include "views/Palette.h"
#include "views/Symbols.h"
#include "views/TextDrawing.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr std::array<const char *, 2> columnTitles = {"LEFT", "RIGHT"};
constexpr double headerRowGap = 3.0; // between a column's title and its first row, points

double columnHeight(const TextMeasurer &measurer, const NumericalValue &row)
{
    const double title = measurer.measureText("LEFT", NumericalMeterView::columnHeaderFont()).height();
    return title + headerRowGap + 3.0 * row.rowHeight(measurer) + 2.0 * NumericalMeterView::rowSpacing;
}

} // namespace

std::array<NumericalValue, 3> NumericalMeterView::rows(const MeterValues &values, int channel,
                                                       const GradientPreset &gradient)
{
    const bool left = channel == 0;
    const float peak = left ? values.peakLevelLeft : values.peakLevelRight;
    const float max = left ? values.maxPeakLeft : values.maxPeakRight;
    const float rms = left ? values.rmsLevelLeft : values.rmsLevelRight;
    auto row = [&gradient](const char *label, float value) {
        NumericalValue v;
        v.label = label;
        v.value = value;
        v.color = gradient.colorAt(value);
        v.gradient = &gradient;
        return v;
    };
    return {row("PEAK", peak), row("MAX", max), row("RMS", rms)};
}

NumericalMeterView::ShownValues NumericalMeterView::shownValues(const MeterValues &values,
                                                              const GradientPreset &gradient)
{
    ShownValues shown;
    std::size_t i = 0;
    for (int channel = 0; channel < 2; ++channel) {
        for (const NumericalValue &row : rows(values, channel, gradient)) {
            const auto channel8 = [](double v) { return static_cast<int>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0)); };
            shown[i++] = {NumericalValue::formatValue(row.value),
                          {channel8(row.color.red), channel8(row.color.green), channel8(row.color.blue)}};
        }
    }
    return shown;
}

NumericalMeterLayout NumericalMeterView::layout(Size window, const NumericalMeterSettings &settings,
                                                const NumericalMeterState &state, const TextMeasurer &measurer)
{
    NumericalMeterLayout result;
    double top = 0.0;
    double bottom = window.height;
    if (settings.showTitleBars) {
        result.header = Rect{0.0, 0.0, window.width, headerHeight};
        result.footer = Rect{0.0, window.height - footerHeight, window.width, footerHeight};
        top = headerHeight;
        bottom = window.height - footerHeight;
        if (state.isHovering) {
            const double side = headerHeight * 0.75;
            result.closeButton = Rect{window.width - stripPadding - side, (headerHeight - side) * 0.5, side, side};
        }
        const TextMetrics reset = measurer.measureText("RESET MAX", resetFont());
        result.resetButton = Rect{stripPadding, result.footer->y, reset.width, footerHeight};
        result.runningDot = Rect{window.width - stripPadding - dotSize, result.footer->centerY() - dotSize * 0.5,
                                 dotSize, dotSize};
    }
    const double vertical = settings.showTitleBars ? verticalPaddingWithStrips : verticalPaddingWithoutStrips;
    result.body = Rect{horizontalPadding, top + vertical, std::max(0.0, window.width - 2.0 * horizontalPadding),
                       std::max(0.0, bottom - top - 2.0 * vertical)};

    const NumericalValue sample;
    const double width = sample.rowWidth(measurer);
    const double height = columnHeight(measurer, sample);
    // The two columns stand together, centred in the body; the targets table, while
    // shown, stands centred below them and the pair is centred as one block.
    const Size table = settings.showTargetsTable ? TargetsTable::naturalSize(measurer) : Size{};
    const double block = height + (settings.showTargetsTable ? targetsTableGap + table.height : 0.0);
    const double x = result.body.centerX() - (2.0 * width + columnSpacing) * 0.5;
    const double y = result.body.centerY() - block * 0.5;
    result.columns = {Rect{x, y, width, height}, Rect{x + width + columnSpacing, y, width, height}};
    if (settings.showTargetsTable)
        result.targetsTable = Rect{result.body.centerX() - table.width * 0.5, y + height + targetsTableGap,
                                   table.width, table.height};
    return result;
}

Size NumericalMeterView::preferredSize(const NumericalMeterSettings &settings, const TextMeasurer &measurer)
{
    const NumericalValue sample;
    double contentWidth = 2.0 * sample.rowWidth(measurer) + columnSpacing;
    double contentHeight = columnHeight(measurer, sample);
    if (settings.showTargetsTable) {
        const Size table = TargetsTable::naturalSize(measurer);
        contentWidth = std::max(contentWidth, table.width);
        contentHeight += targetsTableGap + table.height;
    }
    const double vertical = settings.showTitleBars ? verticalPaddingWithStrips : verticalPaddingWithoutStrips;
    const double strips = settings.showTitleBars ? headerHeight + footerHeight : 0.0;
    return {std::ceil(contentWidth + 2.0 * horizontalPadding), std::ceil(contentHeight + 2.0 * vertical + strips)};
}

void NumericalMeterView::draw(Canvas &canvas, Size window, const MeterValues &values,
                              const NumericalMeterSettings &settings, const NumericalMeterState &state)
{
    const NumericalMeterLayout parts = layout(window, settings, state, canvas);
    const Font titleFontValue = columnHeaderFont();
    const double titleHeight = canvas.measureText("LEFT", titleFontValue).height();
    const auto rowOrigins = [&](int channel) {
        const Rect &column = parts.columns[static_cast<std::size_t>(channel)];
        std::array<Point, 3> origins;
        double y = column.y + titleHeight + headerRowGap;
        for (Point &origin : origins) {
            origin = {column.x, y};
            y += NumericalValue().rowHeight(canvas) + rowSpacing;
        }
        return origins;
    };

    // Everything but the numbers changes only with the size, the strips, the hover and
    // the running state: drawn once, then copied under the numbers.
    const ContentKey key = ContentKey()
                               .add(window.width)
                               .add(window.height)
                               .add(settings.background)
                               .add(static_cast<int>(settings.showTitleBars))
                               .add(static_cast<int>(state.isHovering))
                               .add(static_cast<int>(state.engineRunning))
                               .add(parts.targetsTable.value_or(Rect{}));
    const std::optional<TargetsTableLayout> table =
        parts.targetsTable ? std::optional(TargetsTable::layout({parts.targetsTable->x, parts.targetsTable->y}, canvas))
                           : std::nullopt;
    const TargetsTable::Verdicts verdicts = table ? TargetsTable::verdicts(values) : TargetsTable::Verdicts{};
    canvas.drawCached(key.value(), {0.0, 0.0, window.width, window.height}, [&](Canvas &layer) {
        layer.fillRect({0.0, 0.0, window.width, window.height}, settings.background);
        const RgbColor strip = palette::withOpacity(palette::white, stripOpacity);
        if (parts.header) {
            layer.fillRect(*parts.header, strip);
            const Rect title{stripPadding, parts.header->y, parts.header->width - 2.0 * stripPadding, headerHeight};
            drawTextInRect(layer, {"NUMERICAL", titleFont(), palette::gray}, title, HorizontalAlignment::Leading);
        }
        if (parts.closeButton) {
            drawSymbol(layer, Symbol::XMark, parts.closeButton->center(), closeSymbolSize,
                       palette::withOpacity(palette::gray, closeSymbolOpacity), SymbolWeight::Bold);
        }
        for (int channel = 0; channel < 2; ++channel) {
            const Rect &column = parts.columns[static_cast<std::size_t>(channel)];
            drawTextInRect(layer, {columnTitles[static_cast<std::size_t>(channel)], titleFontValue, palette::gray},
                           {column.x, column.y, column.width, titleHeight}, HorizontalAlignment::Leading);
            const std::array<Point, 3> origins = rowOrigins(channel);
            const std::array<NumericalValue, 3> labels = rows(values, channel, settings.gradient);
            for (std::size_t i = 0; i < labels.size(); ++i) labels[i].drawLabels(layer, origins[i]);
        }
        if (parts.footer) {
            layer.fillRect(*parts.footer, strip);
            drawTextInRect(layer, {"RESET MAX", resetFont(), palette::gray}, *parts.resetButton,
                           HorizontalAlignment::Leading);
            layer.fillEllipse(*parts.runningDot, state.engineRunning ? palette::green : palette::red);
        }
        if (table) TargetsTable::drawStatic(layer, *table, verdicts);
    });
    if (table) TargetsTable::drawValues(canvas, *table, verdicts);

    for (int channel = 0; channel < 2; ++channel) {
        const std::array<Point, 3> origins = rowOrigins(channel);
        const std::array<NumericalValue, 3> numbers = rows(values, channel, settings.gradient);
        for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i].drawValue(canvas, origins[i]);
    }
}
