#include "views/TextDrawing.h"

#include <algorithm>

TextMetrics measureRuns(const TextMeasurer &measurer, std::span<const TextRun> runs)
{
    TextMetrics line;
    for (const TextRun &run : runs) {
        const TextMetrics m = measurer.measureText(run.text, run.font);
        line.width += m.width;
        line.ascent = std::max(line.ascent, m.ascent);
        line.descent = std::max(line.descent, m.descent);
    }
    return line;
}

void drawRunsInRect(Canvas &canvas, std::span<const TextRun> runs, const Rect &rect, HorizontalAlignment alignment)
{
    const TextMetrics line = measureRuns(canvas, runs);
    double x = rect.x;
    if (alignment == HorizontalAlignment::Center) x = rect.centerX() - line.width * 0.5;
    if (alignment == HorizontalAlignment::Trailing) x = rect.right() - line.width;
    const double baseline = rect.centerY() + (line.ascent - line.descent) * 0.5;
    for (const TextRun &run : runs) {
        canvas.drawText({x, baseline}, run.text, run.font, run.color);
        x += canvas.measureText(run.text, run.font).width;
    }
}

void drawTextCentered(Canvas &canvas, const TextRun &run, Point center)
{
    drawRunsInRect(canvas, std::span<const TextRun>(&run, 1), Rect{center.x, center.y, 0.0, 0.0},
                   HorizontalAlignment::Center);
}

void drawTextInRect(Canvas &canvas, const TextRun &run, const Rect &rect, HorizontalAlignment alignment)
{
    drawRunsInRect(canvas, std::span<const TextRun>(&run, 1), rect, alignment);
}
