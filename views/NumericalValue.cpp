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
    const double height = rowHeight(canvas);
    const Rect labelRect{origin.x, origin.y, labelWidth, height};
    const Rect valueRect{labelRect.right() + spacing, origin.y, valueWidth, height};
    const double unitWidth = canvas.measureText("dB", labelFont).width;
    const Rect unitRect{valueRect.right() + spacing, origin.y, unitWidth, height};

    // All three share the value's baseline, as one row of text does.
    const double valueBaseline =
        valueRect.centerY() + (canvas.measureText("0", valueFont).ascent - canvas.measureText("0", valueFont).descent) * 0.5;
    const TextMetrics valueMetrics = canvas.measureText(formatValue(value), valueFont);
    canvas.drawText({labelRect.x, valueBaseline}, label, labelFont, palette::withOpacity(palette::gray, labelOpacity));
    canvas.drawText({valueRect.right() - valueMetrics.width, valueBaseline}, formatValue(value), valueFont, color);
    canvas.drawText({unitRect.x, valueBaseline}, "dB", labelFont, palette::withOpacity(palette::gray, unitOpacity));
}
