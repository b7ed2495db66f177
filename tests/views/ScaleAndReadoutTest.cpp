#include "settings/MeterScale.h"
#include "views/FormattedDbText.h"
#include "views/MeterScaleView.h"
#include "views/NumericalValue.h"
#include "views/Palette.h"

#include "ViewTestSupport.h"

using namespace view_test;
using Kind = RecordingCanvas::Kind;

namespace {

std::vector<std::string> texts(const std::vector<TextRun> &runs)
{
    std::vector<std::string> result;
    for (const TextRun &run : runs) result.push_back(run.text);
    return result;
}

MeterScaleView scaleView(MeterScale scale, float minDb, float maxDb)
{
    MeterScaleView view;
    view.scaleValues = meter_scale::marks(scale);
    view.minDb = minDb;
    view.maxDb = maxDb;
    view.fontSize = 9.0;
    view.width = 30.0;
    return view;
}

} // namespace

TEST(MeterScaleView, LabelsEveryMarkWithItsSignAndColour)
{
    RecordingCanvas canvas;
    scaleView(MeterScale::fcp, -60.0f, 6.0f).draw(canvas, 330.0);
    const auto labels = canvas.commandsOfKind(Kind::Text);
    std::vector<std::string> drawn;
    for (const auto &label : labels) drawn.push_back(label.text);
    EXPECT_EQ(drawn, (std::vector<std::string>{"+6", "+3", "0", "-6", "-12", "-18", "-24", "-30", "-40", "-50", "-60"}));

    const RgbColor red = palette::withOpacity(palette::red, 0.8);
    const RgbColor grey = palette::withOpacity(palette::gray, 0.6);
    expectColorNear(canvas.textCommands("+6").at(0).color, red);
    expectColorNear(canvas.textCommands("+3").at(0).color, red);
    expectColorNear(canvas.textCommands("0").at(0).color, grey);
    expectColorNear(canvas.textCommands("-30").at(0).color, grey);
    for (const auto &label : labels) EXPECT_EQ(label.font, (Font{9.0, FontWeight::Medium, true}));
}

// Each label is centred on its level: horizontally on the column, vertically on
// (1 - fraction) x height. The recorder's glyphs are 0.6 wide, 0.8 up and 0.2 down.
TEST(MeterScaleView, CentresLabelsOnTheirLevels)
{
    RecordingCanvas canvas;
    scaleView(MeterScale::din, -60.0f, 6.0f).draw(canvas, 330.0);
    const auto minus20 = canvas.textCommands("-20").at(0);
    const double centerY = (1.0 - 40.0 / 66.0) * 330.0;
    EXPECT_NEAR(minus20.from.y, centerY + 0.3 * 9.0, 1e-9);
    EXPECT_NEAR(minus20.from.x, 15.0 - 0.5 * 3 * 0.6 * 9.0, 1e-9);
    EXPECT_NEAR(canvas.textCommands("+6").at(0).from.y, 0.0 + 0.3 * 9.0, 1e-9);
    EXPECT_NEAR(canvas.textCommands("-60").at(0).from.y, 330.0 + 0.3 * 9.0, 1e-9);
}

TEST(MeterScaleView, MarksOutsideACustomRangeArePinnedToTheEdges)
{
    RecordingCanvas canvas;
    scaleView(MeterScale::ebu, -48.0f, 6.0f).draw(canvas, 200.0);
    EXPECT_EQ(canvas.commandsOfKind(Kind::Text).size(), 8u);
    EXPECT_DOUBLE_EQ(scaleView(MeterScale::ebu, -48.0f, 6.0f).markCenterY(-60, 200.0), 200.0);
    EXPECT_DOUBLE_EQ(scaleView(MeterScale::vu, -60.0f, 0.0f).markCenterY(3, 200.0), 0.0);
}

TEST(FormattedDbText, SilenceShowsASmallMinusAndInfinity)
{
    for (float silence : {-60.0f, -75.0f, std::numeric_limits<float>::quiet_NaN()}) {
        FormattedDbText text{silence, 1, 30.0, palette::white};
        const auto runs = text.runs();
        EXPECT_EQ(texts(runs), (std::vector<std::string>{"-", "\u221E"}));
        EXPECT_DOUBLE_EQ(runs[0].font.size, 9.0);
        EXPECT_DOUBLE_EQ(runs[1].font.size, 30.0);
    }
}

// The number is rounded by the format, not by the silence threshold.
TEST(FormattedDbText, NegativeValuesShowTheMagnitudeAfterAMinusAtThreeTenths)
{
    const auto runs = FormattedDbText{-59.95f, 1, 30.0, palette::white}.runs();
    EXPECT_EQ(texts(runs), (std::vector<std::string>{"-", "60.0"}));
    EXPECT_DOUBLE_EQ(runs[0].font.size, 9.0);
    EXPECT_EQ(texts(FormattedDbText{-12.34f, 0, 30.0, palette::white}.runs()),
              (std::vector<std::string>{"-", "12"}));
    EXPECT_EQ(texts(FormattedDbText{-0.04f, 1, 30.0, palette::white}.runs()),
              (std::vector<std::string>{"-", "0.0"}));
}

TEST(FormattedDbText, PositiveValuesGetAPlusAtSevenTenthsAndZeroNoSign)
{
    const auto plus = FormattedDbText{0.04f, 1, 20.0, palette::white}.runs();
    EXPECT_EQ(texts(plus), (std::vector<std::string>{"+", "0.0"}));
    EXPECT_DOUBLE_EQ(plus[0].font.size, 14.0);
    EXPECT_DOUBLE_EQ(plus[1].font.size, 20.0);

    EXPECT_EQ(texts(FormattedDbText{0.0f, 1, 20.0, palette::white}.runs()), (std::vector<std::string>{"0.0"}));
    EXPECT_EQ(texts(FormattedDbText{0.0f, 0, 20.0, palette::white}.runs()), (std::vector<std::string>{"0"}));
    EXPECT_EQ(texts(FormattedDbText{3.456f, 2, 20.0, palette::white}.runs()), (std::vector<std::string>{"+", "3.46"}));
}

TEST(FormattedDbText, AllRunsAreLightMonospacedInTheGivenColourOnOneBaseline)
{
    const RgbColor color{0.2, 0.4, 0.6, 1.0};
    const FormattedDbText text{-6.5f, 1, 30.0, color};
    for (const TextRun &run : text.runs()) {
        EXPECT_EQ(run.font.weight, FontWeight::Light);
        EXPECT_TRUE(run.font.monospaced);
        EXPECT_EQ(run.color, color);
    }
    RecordingCanvas canvas;
    text.draw(canvas, {0.0, 0.0, 100.0, 40.0});
    const auto drawn = canvas.commandsOfKind(Kind::Text);
    ASSERT_EQ(drawn.size(), 2u);
    EXPECT_EQ(drawn[0].from.y, drawn[1].from.y);
    // Centred as a whole: the sign starts half the total width left of the centre.
    const double width = (1 * 9.0 + 3 * 30.0) * 0.6;
    EXPECT_NEAR(drawn[0].from.x, 50.0 - width * 0.5, 1e-9);
    EXPECT_NEAR(drawn[1].from.x, drawn[0].from.x + 9.0 * 0.6, 1e-9);
}

TEST(NumericalValue, AlwaysSignsOneDigitAndShowsInfinityForSilence)
{
    EXPECT_EQ(NumericalValue::formatValue(-60.0f), "-\u221E");
    EXPECT_EQ(NumericalValue::formatValue(-80.0f), "-\u221E");
    EXPECT_EQ(NumericalValue::formatValue(-59.96f), "-60.0");
    EXPECT_EQ(NumericalValue::formatValue(0.0f), "+0.0");
    EXPECT_EQ(NumericalValue::formatValue(-12.34f), "-12.3");
    EXPECT_EQ(NumericalValue::formatValue(5.06f), "+5.1");
}

// Label leading in 30 points, value trailing in the next 55, then the unit.
TEST(NumericalValue, RowPutsLabelValueAndUnitInTheirFrames)
{
    NumericalValue row;
    row.label = "PEAK";
    row.value = -12.34f;
    row.color = {0.1, 0.8, 0.3, 1.0};
    RecordingCanvas canvas;
    row.draw(canvas, {10.0, 20.0});
    auto drawn = canvas.commandsOfKind(Kind::Text);
    ASSERT_EQ(drawn.size(), 3u);
    // The label and unit are drawn first (they never change), then the number.
    std::swap(drawn[1], drawn[2]);
    EXPECT_EQ(drawn[0].text, "PEAK");
    EXPECT_DOUBLE_EQ(drawn[0].from.x, 10.0);
    expectColorNear(drawn[0].color, palette::withOpacity(palette::gray, 0.7));
    EXPECT_EQ(drawn[1].text, "-12.3");
    EXPECT_NEAR(drawn[1].from.x + 5 * 0.6 * 14.0, 10.0 + 30.0 + NumericalValue::spacing + 55.0, 1e-9);
    EXPECT_EQ(drawn[1].color, row.color);
    EXPECT_EQ(drawn[1].font, (Font{14.0, FontWeight::Bold, true}));
    EXPECT_EQ(drawn[2].text, "dB");
    EXPECT_EQ(drawn[2].font, (Font{8.0, FontWeight::Medium, true}));
    expectColorNear(drawn[2].color, palette::withOpacity(palette::gray, 0.5));
    EXPECT_EQ(drawn[0].from.y, drawn[1].from.y);
}
