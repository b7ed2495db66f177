#include "views/SourcePromptView.h"

#include "views/Palette.h"

#include <algorithm>
#include <sstream>

namespace SourcePromptView {

namespace {

constexpr double margin = 4.0;        // between the panel and the window's edges
constexpr double padding = 5.0;       // between the panel's edge and its text
constexpr double lineGap = 2.0;
constexpr double sectionGap = 6.0;    // between the headline and the detail
constexpr double cornerRadius = 6.0;
constexpr RgbColor panelColor{0.11, 0.12, 0.16, 0.94};
constexpr RgbColor accentColor = palette::cyan;

// Narrow meters get a smaller headline, so that "Choose" still fits on a line.
Font headlineFont(double textWidth) { return {textWidth < 60.0 ? 9.0 : 12.0, FontWeight::Semibold}; }
Font detailFont(double textWidth) { return {textWidth < 60.0 ? 7.5 : 10.0, FontWeight::Regular}; }

struct Block {
    std::vector<std::string> headline;
    std::vector<std::string> detail;
    double height = 0.0;
};

double lineHeight(const Font &font, const TextMeasurer &measurer) { return measurer.measureText("Ag", font).height(); }

Block layoutText(Size size, const SourcePrompt &prompt, const TextMeasurer &measurer)
{
    const double textWidth = std::max(1.0, size.width - 2 * (margin + padding));
    Block block;
    block.headline = wrapLines(prompt.headline, headlineFont(textWidth), textWidth, measurer);
    block.detail = wrapLines(prompt.detail, detailFont(textWidth), textWidth, measurer);
    const double headlineLine = lineHeight(headlineFont(textWidth), measurer) + lineGap;
    const double detailLine = lineHeight(detailFont(textWidth), measurer) + lineGap;
    block.height = double(block.headline.size()) * headlineLine + double(block.detail.size()) * detailLine;
    if (!block.detail.empty()) block.height += sectionGap;
    return block;
}

} // namespace

std::vector<std::string> wrapLines(const std::string &text, const Font &font, double width,
                                   const TextMeasurer &measurer)
{
    std::vector<std::string> lines;
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) {
        const std::string candidate = line.empty() ? word : line + ' ' + word;
        if (line.empty() || measurer.measureText(candidate, font).width <= width) {
            line = candidate;
        } else {
            lines.push_back(line);
            line = word;
        }
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

Rect panelRect(Size size, const SourcePrompt &prompt, const TextMeasurer &measurer)
{
    const Block block = layoutText(size, prompt, measurer);
    const double height = std::min(block.height + 2 * padding, size.height - 2 * margin);
    return {margin, (size.height - height) / 2.0, std::max(0.0, size.width - 2 * margin), height};
}

void draw(Canvas &canvas, Size size, const SourcePrompt &prompt)
{
    const Block block = layoutText(size, prompt, canvas);
    const Rect panel = panelRect(size, prompt, canvas);
    canvas.fillRoundedRect(panel, cornerRadius, panelColor);
    canvas.save();
    canvas.clipToRect(panel);
    const double textWidth = panel.width - 2 * padding;
    double y = panel.y + padding;
    const auto drawLines = [&](const std::vector<std::string> &lines, const Font &font, const RgbColor &color) {
        for (const std::string &line : lines) {
            const TextMetrics metrics = canvas.measureText(line, font);
            const double x = panel.x + padding + std::max(0.0, (textWidth - metrics.width) / 2.0);
            canvas.drawText({x, y + metrics.ascent}, line, font, color);
            y += lineHeight(font, canvas) + lineGap;
        }
    };
    drawLines(block.headline, headlineFont(textWidth), accentColor);
    if (!block.detail.empty()) y += sectionGap;
    drawLines(block.detail, detailFont(textWidth), palette::secondaryText);
    canvas.restore();
}

} // namespace SourcePromptView
