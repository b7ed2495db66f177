#include "views/StatusBadge.h"

#include "views/Palette.h"

#include <algorithm>

namespace StatusBadge {

namespace {

constexpr double inset = 3.0;     // from the window's top and right edges
constexpr double padding = 3.0;
constexpr double dotSize = 5.0;
constexpr Font font{7.5, FontWeight::Semibold};
constexpr RgbColor backing{0.0, 0.0, 0.0, 0.65};

} // namespace

Rect rect(Size windowSize, const std::string &text, const TextMeasurer &measurer)
{
    const TextMetrics metrics = measurer.measureText(text, font);
    const double width = padding + dotSize + padding + metrics.width + padding;
    const double height = std::max(dotSize, metrics.height()) + 2 * padding;
    return {std::max(0.0, windowSize.width - inset - width), inset, std::min(width, windowSize.width), height};
}

void draw(Canvas &canvas, Size windowSize, const std::string &text)
{
    const Rect badge = rect(windowSize, text, canvas);
    const TextMetrics metrics = canvas.measureText(text, font);
    canvas.fillRoundedRect(badge, badge.height / 2.0, backing);
    const double middle = badge.y + badge.height / 2.0;
    canvas.fillEllipse({badge.x + padding, middle - dotSize / 2.0, dotSize, dotSize}, palette::red);
    canvas.drawText({badge.x + padding + dotSize + padding, middle + (metrics.ascent - metrics.descent) / 2.0}, text,
                    font, palette::primaryText);
}

} // namespace StatusBadge
