#pragma once

#include "views/Canvas.h"
#include "views/Geometry.h"

#include <string>
#include <vector>

// Shown in the level meter while no source was ever chosen: a fresh install meters
// nothing, and without this the only hint is an "OK" status line. The whole panel is
// one click target that opens the input settings.
struct SourcePrompt {
    std::string headline = "Choose a source…";
    std::string detail; // e.g. "Default input: Built-in Audio"; may be empty
};

namespace SourcePromptView {

// The clickable panel within a window of `size`: the width less a small margin, as
// tall as its text, centred vertically.
Rect panelRect(Size size, const SourcePrompt &prompt, const TextMeasurer &measurer);
void draw(Canvas &canvas, Size size, const SourcePrompt &prompt);
// `text` broken at spaces into lines no wider than `width`; a word wider than that
// stands on its own line.
std::vector<std::string> wrapLines(const std::string &text, const Font &font, double width,
                                   const TextMeasurer &measurer);

} // namespace SourcePromptView
