#include "views/NumericalValue.h"

#include "views/Palette.h"
#include "views/TextDrawing.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

std::string NumericalValue::formatValue(float valueDb)
{
    if (std::isnan(valueDb) || valueDb <= silenceDb) return "-\u221E";
    char text[32];
    std::snprintf(text, sizeof text, "%+.1f", static_cast<double>(valueDb));
    return text;
}

double NumericalValue::rowHeight(const TextMeasurer &measurer) const
{
    return std::max(measurer.measureText("0", labelFont).height(), measurer.measureText("0", valueFont).height());
}

double NumericalValue::rowWidth(const TextMeasurer &measurer) const
{
    return labelWidth + spacing + valueWidth + spacing + measurer.measureText("dB", labelFont).width;
}

void NumericalValue::draw(Canvas &canvas, Point origin) const
{
    drawLabels(canvas, origin);
    drawValue(canvas, origin);
}

namespace {

// All three texts of a row share the value's baseline, as one row of text does.
double valueBaseline(const TextMeasurer &measurer, const Font &valueFont, double top, double height)
{
    const TextMetrics zero = measurer.measureText("0", valueFont);
    return top + height * 0.5 + (zero.ascent - zero.descent) * 0.5;
}

} // namespace

void NumericalValue::drawLabels(Canvas &canvas, Point origin) const
{
    const double height = rowHeight(canvas);
    const double baseline = valueBaseline(canvas, valueFont, origin.y, height);
    const double unitX = origin.x + labelWidth + spacing + valueWidth + spacing;
    canvas.drawText({origin.x, baseline}, label, labelFont, palette::withOpacity(palette::gray, labelOpacity));
    canvas.drawText({unitX, baseline}, "dB", labelFont, palette::withOpacity(palette::gray, unitOpacity));
}

void NumericalValue::drawValue(Canvas &canvas, Point origin) const
{
    const double height = rowHeight(canvas);
    const double baseline = valueBaseline(canvas, valueFont, origin.y, height);
    const double valueRight = origin.x + labelWidth + spacing + valueWidth;
    const std::string text = formatValue(value);
    canvas.drawText({valueRight - canvas.measureText(text, valueFont).width, baseline}, text, valueFont, color);
}
