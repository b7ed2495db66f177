#pragma once

#include "views/Canvas.h"
#include "views/TextDrawing.h"

#include <string>
#include <vector>

// A dB value as the level meter prints it: the sign smaller than the digits (the
// minus at 0.3 and the plus at 0.7 of the font size), "-∞" for silence, 0 unsigned.
struct FormattedDbText {
    float value = -60.0f;     // dB
    int fractionalDigits = 0; // digits after the decimal point
    double fontSize = 30.0;   // points, of the digits
    RgbColor color{1.0, 1.0, 1.0, 1.0};

    static constexpr float silenceDb = -60.0f;      // at or below: "-∞"
    static constexpr double minusSizeFactor = 0.3;
    static constexpr double plusSizeFactor = 0.7;

    // The sign run (absent for 0) followed by the number run.
    std::vector<TextRun> runs() const;
    TextMetrics measure(const TextMeasurer &measurer) const;
    // Draws the runs centred horizontally in rect on a shared baseline.
    void draw(Canvas &canvas, const Rect &rect) const;
};

// printf-style "%.<digits>f" of a value; digits are limited to 0..6.
std::string formatFixed(double value, int digits);
