#include "views/FormattedDbText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

std::string formatFixed(double value, int digits)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", std::clamp(digits, 0, 6), value);
    return text;
}

std::vector<TextRun> FormattedDbText::runs() const
{
    const Font digits{fontSize, FontWeight::Light, true};
    const Font minus{fontSize * minusSizeFactor, FontWeight::Light, true};
    const Font plus{fontSize * plusSizeFactor, FontWeight::Light, true};
    // NaN counts as silence: there is no level to show.
    if (std::isnan(value) || value <= silenceDb) return {{"-", minus, color}, {"\u221E", digits, color}};
    if (value < 0.0f) return {{"-", minus, color}, {formatFixed(-value, fractionalDigits), digits, color}};
    if (value > 0.0f) return {{"+", plus, color}, {formatFixed(value, fractionalDigits), digits, color}};
    return {{formatFixed(0.0, fractionalDigits), digits, color}};
}

TextMetrics FormattedDbText::measure(const TextMeasurer &measurer) const { return measureRuns(measurer, runs()); }

void FormattedDbText::draw(Canvas &canvas, const Rect &rect) const
{
    drawRunsInRect(canvas, runs(), rect, HorizontalAlignment::Center);
}
