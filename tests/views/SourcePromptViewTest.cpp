// The first-run prompt must stay readable in the narrowest level meter: every line
// fits the panel, the panel fits the window, and what is clicked is what is drawn.
#include "views/RecordingCanvas.h"
#include "views/SourcePromptView.h"

#include <gtest/gtest.h>

namespace {

TEST(SourcePromptView, WrapsToTheWindowAndDrawsEveryLineInsideThePanel)
{
    SourcePrompt prompt;
    prompt.detail = "Default input: Built-in Audio Analog Stereo";
    for (const Size size : {Size{50, 300}, Size{32, 100}, Size{120, 760}}) {
        RecordingCanvas canvas;
        SourcePromptView::draw(canvas, size, prompt);
        const Rect panel = SourcePromptView::panelRect(size, prompt, canvas);
        EXPECT_GE(panel.x, 0.0);
        EXPECT_LE(panel.x + panel.width, size.width);
        EXPECT_GE(panel.y, 0.0);
        EXPECT_LE(panel.y + panel.height, size.height);

        const auto panels = canvas.commandsOfKind(RecordingCanvas::Kind::FillRoundedRect);
        ASSERT_EQ(panels.size(), 1u);
        EXPECT_EQ(panels[0].rect.y, panel.y) << "the click target is the drawn panel";
        EXPECT_EQ(panels[0].rect.height, panel.height);

        std::string shown;
        for (const auto &text : canvas.commandsOfKind(RecordingCanvas::Kind::Text)) {
            shown += text.text + ' ';
            const double width = canvas.measureText(text.text, text.font).width;
            const bool singleWord = text.text.find(' ') == std::string::npos;
            if (!singleWord) {
                EXPECT_GE(text.from.x, panel.x) << text.text << " at width " << size.width;
                EXPECT_LE(text.from.x + width, panel.x + panel.width) << text.text << " at width " << size.width;
            }
        }
        if (size.height >= 300) {
            EXPECT_NE(shown.find("Choose"), std::string::npos) << shown;
            EXPECT_NE(shown.find("Built-in"), std::string::npos) << shown;
        }
    }
}

TEST(SourcePromptView, BreaksAtSpacesAndKeepsAnOverlongWordWhole)
{
    RecordingCanvas measurer;
    const Font font{10.0}; // 6 points a glyph
    EXPECT_EQ(SourcePromptView::wrapLines("Choose a source…", font, 60.0, measurer),
              (std::vector<std::string>{"Choose a", "source…"}));
    EXPECT_EQ(SourcePromptView::wrapLines("Monitor of alsa_output.pci", font, 40.0, measurer),
              (std::vector<std::string>{"Monitor", "of", "alsa_output.pci"}));
    EXPECT_TRUE(SourcePromptView::wrapLines("", font, 40.0, measurer).empty());
}

} // namespace
