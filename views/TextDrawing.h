#pragma once

#include "views/Canvas.h"

#include <span>
#include <string>

// One piece of a line of text that may mix fonts; runs of a line share a baseline.
struct TextRun {
    std::string text; // UTF-8
    Font font;
    RgbColor color;

    friend bool operator==(const TextRun &, const TextRun &) = default;
};

enum class HorizontalAlignment { Leading, Center, Trailing };

// Width and the tallest ascent and descent of a line of runs.
TextMetrics measureRuns(const TextMeasurer &measurer, std::span<const TextRun> runs);

// Draws a line of runs aligned horizontally inside rect and centred vertically on its
// line box (ascent + descent), the way a text label is centred in its frame.
void drawRunsInRect(Canvas &canvas, std::span<const TextRun> runs, const Rect &rect, HorizontalAlignment alignment);

// A single run centred on a point.
void drawTextCentered(Canvas &canvas, const TextRun &run, Point center);

// A single run aligned inside a rectangle.
void drawTextInRect(Canvas &canvas, const TextRun &run, const Rect &rect, HorizontalAlignment alignment);
