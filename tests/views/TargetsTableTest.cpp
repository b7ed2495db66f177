#include "views/MeterDescriptions.h"
#include "views/NumericalMeterView.h"
#include "views/Palette.h"
#include "views/TargetsTable.h"

#include "ViewTestSupport.h"

#include <cmath>
#include <limits>

using namespace view_test;
using Kind = RecordingCanvas::Kind;

namespace {

MeterValues loudness(double integrated, double truePeakLeft = -70.0, double truePeakRight = -70.0)
{
    MeterValues v;
    v.integratedLUFS = integrated;
    v.truePeakLeft = truePeakLeft;
    v.truePeakRight = truePeakRight;
    return v;
}

const TargetVerdict &row(const TargetsTable::Verdicts &verdicts, std::string_view name)
{
    for (const TargetVerdict &v : verdicts) {
        if (v.name == name) return v;
    }
    throw std::runtime_error("no row " + std::string(name));
}

} // namespace

// Every preset, exactly on both ends of its window, passes; a hundredth of a LU
// outside fails. The table agrees with the compliance rule the loudness panel uses.
TEST(TargetsTable, ToleranceEdgesPassAndJustOutsideFailsForEveryPreset)
{
    const auto &presets = broadcast::builtInPresets();
    for (const BroadcastPreset &preset : presets) {
        SCOPED_TRACE(preset.name);
        const double low = preset.integratedTarget - preset.tolerance;
        const double high = preset.integratedTarget + preset.tolerance;
        for (double integrated : {low, high, preset.integratedTarget}) {
            const TargetVerdict v = row(TargetsTable::verdicts(loudness(integrated, -30.0)), preset.name);
            EXPECT_EQ(v.loudness, Compliance::Pass) << integrated;
            EXPECT_EQ(v.verdict, Compliance::Pass) << integrated;
            EXPECT_EQ(v.verdict, broadcast::integratedCompliance(integrated, preset));
        }
        for (double integrated : {low - 0.01, high + 0.01}) {
            const TargetVerdict v = row(TargetsTable::verdicts(loudness(integrated, -30.0)), preset.name);
            EXPECT_EQ(v.verdict, Compliance::Fail) << integrated;
            EXPECT_EQ(TargetsTable::verdictText(v.verdict), "FAIL");
        }
    }
}

TEST(TargetsTable, RowsFollowThePresetsWithSignedOffsets)
{
    // -22.0 LUFS: +1.0 LU from EBU R128 (its upper edge), +5.0 from Netflix, -8.0 from
    // the streaming targets.
    const TargetsTable::Verdicts verdicts = TargetsTable::verdicts(loudness(-22.0, -1.5, -3.0));
    ASSERT_EQ(verdicts.size(), 7u);
    std::vector<std::string> names, offsets, verdictTexts;
    for (const TargetVerdict &v : verdicts) {
        names.push_back(v.name);
        offsets.push_back(v.distanceText);
        verdictTexts.push_back(TargetsTable::verdictText(v.verdict));
    }
    EXPECT_EQ(names, (std::vector<std::string>{"EBU R128", "Netflix", "Apple TV+", "YouTube", "Spotify", "Apple Music",
                                               "ATSC A/85"}));
    EXPECT_EQ(offsets, (std::vector<std::string>{"+1.0 LU", "+5.0 LU", "+2.0 LU", "-8.0 LU", "-8.0 LU", "-6.0 LU",
                                                 "+2.0 LU"}));
    // Netflix and ATSC fail on loudness and on their -2 dBTP limit at once.
    EXPECT_EQ(verdictTexts, (std::vector<std::string>{"PASS", "FAIL", "PASS", "FAIL", "FAIL", "FAIL", "FAIL"}));
    EXPECT_EQ(verdicts[0].targetText, "-23 \u00B11");
    EXPECT_EQ(verdicts[1].truePeakText, "> -2");
    EXPECT_EQ(verdicts[0].truePeakText, "\u2264 -1");
}

// The true peak is the louder channel's, and the limit itself still passes: a
// programme right on target fails only once a channel goes above the limit.
TEST(TargetsTable, TruePeakOnTheLimitPassesAndAboveItFailsAnOnTargetProgramme)
{
    EXPECT_EQ(row(TargetsTable::verdicts(loudness(-23.0, -1.0, -5.0)), "EBU R128").verdict, Compliance::Pass);
    EXPECT_EQ(row(TargetsTable::verdicts(loudness(-23.0, -5.0, -1.0)), "EBU R128").verdict, Compliance::Pass);
    const TargetVerdict over = row(TargetsTable::verdicts(loudness(-23.0, -5.0, -0.99)), "EBU R128");
    EXPECT_EQ(over.loudness, Compliance::Pass);
    EXPECT_EQ(over.truePeak, Compliance::Fail);
    EXPECT_EQ(over.verdict, Compliance::Fail);
    EXPECT_EQ(over.truePeakText, "> -1");
    // No true peak measured yet does not hold back a verdict on loudness.
    const TargetVerdict none = row(TargetsTable::verdicts(loudness(-23.0)), "EBU R128");
    EXPECT_EQ(none.truePeak, Compliance::Neutral);
    EXPECT_EQ(none.verdict, Compliance::Pass);
}

// Before an integrated value exists there is no offset and no verdict, even when the
// true peak is already over a limit.
TEST(TargetsTable, NoVerdictWithoutAnIntegratedValue)
{
    for (double integrated : {-70.0, -69.0, std::numeric_limits<double>::quiet_NaN()}) {
        const TargetsTable::Verdicts verdicts = TargetsTable::verdicts(loudness(integrated, 0.5, 0.5));
        for (const TargetVerdict &v : verdicts) {
            EXPECT_EQ(v.distanceText, "\u2014") << integrated;
            EXPECT_EQ(v.verdict, Compliance::Neutral) << integrated;
            EXPECT_EQ(TargetsTable::verdictText(v.verdict), "");
            EXPECT_EQ(v.truePeak, Compliance::Fail);
        }
        EXPECT_EQ(TargetsTable::describe(verdicts), "Delivery targets: no integrated loudness yet.");

        RecordingCanvas canvas;
        const TargetsTableLayout layout = TargetsTable::layout({0.0, 0.0}, canvas);
        TargetsTable::drawValues(canvas, layout, verdicts);
        EXPECT_TRUE(canvas.commandsOfKind(Kind::FillPath).empty()); // no check or cross
        EXPECT_TRUE(canvas.textCommands("PASS").empty() && canvas.textCommands("FAIL").empty());
        EXPECT_EQ(canvas.textCommands("\u2014").size(), 7u);
    }
}

// One decimal can round across a tolerance edge; the text then keeps a second decimal
// so that it never reads inside the window next to a FAIL. Zero is never signed.
TEST(TargetsTable, OffsetTextAgreesWithTheVerdictNearTheEdgeAndZeroIsUnsigned)
{
    const TargetVerdict justOut = row(TargetsTable::verdicts(loudness(-21.96)), "EBU R128");
    EXPECT_EQ(justOut.verdict, Compliance::Fail);
    EXPECT_EQ(justOut.distanceText, "+1.04 LU");
    const TargetVerdict justIn = row(TargetsTable::verdicts(loudness(-22.04)), "EBU R128");
    EXPECT_EQ(justIn.verdict, Compliance::Pass);
    EXPECT_EQ(justIn.distanceText, "+1.0 LU");
    EXPECT_EQ(row(TargetsTable::verdicts(loudness(-24.06)), "EBU R128").distanceText, "-1.1 LU");
    EXPECT_EQ(row(TargetsTable::verdicts(loudness(-23.02)), "EBU R128").distanceText, "0.0 LU");
    EXPECT_EQ(row(TargetsTable::verdicts(loudness(-22.98)), "EBU R128").distanceText, "0.0 LU");
}

// Pass and fail never rest on colour alone: each verdict has its own symbol and word,
// in the verdict column of its own row.
TEST(TargetsTable, VerdictsDrawASymbolAndAWordInTheirRow)
{
    RecordingCanvas canvas;
    const TargetsTableLayout layout = TargetsTable::layout({10.0, 20.0}, canvas);
    const TargetsTable::Verdicts verdicts = TargetsTable::verdicts(loudness(-23.5, -1.2, -1.4));
    TargetsTable::drawValues(canvas, layout, verdicts);
    const auto symbols = canvas.commandsOfKind(Kind::FillPath);
    const auto passes = canvas.textCommands("PASS");
    const auto fails = canvas.textCommands("FAIL");
    ASSERT_EQ(symbols.size(), 7u);
    // -23.5 passes EBU R128 (-23 ±1) and the two -24 ±2 targets; Netflix and ATSC fail
    // on their -2 dBTP limit, the streaming targets on loudness.
    EXPECT_EQ(passes.size(), 2u);
    EXPECT_EQ(fails.size(), 5u);
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        const Rect &rowRect = layout.rows[i];
        const Rect &column = layout.columns[4];
        const Rect bounds = symbols[i].path.elements().at(0).ellipse; // the disc
        EXPECT_GE(bounds.x, column.x - 1e-9);
        EXPECT_GE(bounds.y, rowRect.y - 1e-9);
        EXPECT_LE(bounds.bottom(), rowRect.bottom() + 1e-9);
        EXPECT_EQ(symbols[i].color, verdicts[i].verdict == Compliance::Pass ? palette::green : palette::red);
    }
    EXPECT_EQ(passes[0].color, palette::green);
    EXPECT_EQ(fails[0].color, palette::red);
}

// Every text the table can show fits inside its column and row, columns stand apart,
// and rows do not overlap.
TEST(TargetsTable, CellsFitTheirColumnsAndRowsInEveryState)
{
    RecordingCanvas canvas;
    const TargetsTableLayout layout = TargetsTable::layout({5.0, 7.0}, canvas);
    ASSERT_EQ(layout.rows.size(), 7u);
    for (std::size_t i = 1; i < layout.columns.size(); ++i)
        EXPECT_GE(layout.columns[i].x, layout.columns[i - 1].right() + TargetsTable::columnGap - 1e-9);
    EXPECT_NEAR(layout.columns.back().right(), layout.bounds.right(), 1e-9);
    EXPECT_GE(layout.rows.front().y, layout.header.bottom());
    for (std::size_t i = 1; i < layout.rows.size(); ++i) EXPECT_GE(layout.rows[i].y, layout.rows[i - 1].bottom());
    EXPECT_NEAR(layout.rows.back().bottom(), layout.bounds.bottom(), 1e-9);

    // Loud, quiet (two-digit offsets), on an edge (two decimals) and over the limit.
    for (const MeterValues &values : {loudness(-5.0, 3.0, 3.0), loudness(-68.0), loudness(-21.96, -0.5, -0.5),
                                      loudness(-70.0)}) {
        const TargetsTable::Verdicts verdicts = TargetsTable::verdicts(values);
        canvas.clear();
        TargetsTable::drawStatic(canvas, layout, verdicts);
        TargetsTable::drawValues(canvas, layout, verdicts);
        for (const auto &text : canvas.commandsOfKind(Kind::Text)) {
            const TextMetrics metrics = canvas.measureText(text.text, text.font);
            const bool inAColumn = std::any_of(layout.columns.begin(), layout.columns.end(), [&](const Rect &c) {
                return text.from.x >= c.x - 1e-9 && text.from.x + metrics.width <= c.right() + 1e-9;
            });
            EXPECT_TRUE(inAColumn) << text.text;
            EXPECT_GE(text.from.y - metrics.ascent, layout.bounds.y - 1e-9) << text.text;
            EXPECT_LE(text.from.y + metrics.descent, layout.bounds.bottom() + 1e-9) << text.text;
        }
    }
}

// The numerical meter keeps its rows and sets the table below them; at its preferred
// size everything fits inside the body, with or without the strips.
TEST(TargetsTable, NumericalMeterMakesRoomForTheTableBelowTheRows)
{
    RecordingCanvas canvas;
    for (bool strips : {true, false}) {
        SCOPED_TRACE(strips);
        NumericalMeterSettings settings;
        settings.showTitleBars = strips;
        const Size without = NumericalMeterView::preferredSize(settings, canvas);
        EXPECT_FALSE(NumericalMeterView::layout(without, settings, {}, canvas).targetsTable);
        settings.showTargetsTable = true;
        const Size with = NumericalMeterView::preferredSize(settings, canvas);
        const Size table = TargetsTable::naturalSize(canvas);
        EXPECT_NEAR(with.height, std::ceil(without.height + NumericalMeterView::targetsTableGap + table.height), 1.0);

        const NumericalMeterLayout parts = NumericalMeterView::layout(with, settings, {}, canvas);
        ASSERT_TRUE(parts.targetsTable);
        const Rect &t = *parts.targetsTable;
        EXPECT_GE(t.x, parts.body.x - 1e-9);
        EXPECT_LE(t.right(), parts.body.right() + 1e-9);
        EXPECT_GE(t.y, parts.columns[0].bottom() + NumericalMeterView::targetsTableGap - 1e-9);
        EXPECT_LE(t.bottom(), parts.body.bottom() + 1e-9);
        EXPECT_GE(parts.columns[0].y, parts.body.y - 1e-9);
        EXPECT_NEAR(t.centerX(), parts.body.centerX(), 1e-9);
    }
}

TEST(TargetsTable, NumericalMeterDrawsTheTableOnlyWhenSwitchedOn)
{
    NumericalMeterSettings settings;
    const MeterValues values = loudness(-23.0, -2.0, -2.5);
    RecordingCanvas off;
    NumericalMeterView::draw(off, NumericalMeterView::preferredSize(settings, off), values, settings, {});
    EXPECT_TRUE(off.textCommands("EBU R128").empty());

    settings.showTargetsTable = true;
    RecordingCanvas on;
    NumericalMeterView::draw(on, NumericalMeterView::preferredSize(settings, on), values, settings, {});
    EXPECT_EQ(on.textCommands("EBU R128").size(), 1u);
    // -23 LUFS at -2 dBTP: EBU R128, Apple TV+ and ATSC A/85 (its limit exactly) pass.
    EXPECT_EQ(on.textCommands("PASS").size(), 3u);
    EXPECT_EQ(on.textCommands("FAIL").size(), 4u);
}

// Screen readers hear what the windows show, rounded the same way.
TEST(AccessibleDescriptions, CarryTheShownValuesAndSayWhatIsNotMeasured)
{
    MeterValues v;
    v.peakLevelLeft = -12.04f;
    v.maxPeakLeft = -3.0f;
    v.rmsLevelLeft = -20.0f;
    v.peakLevelRight = -60.0f;
    v.maxPeakRight = 1.5f;
    v.rmsLevelRight = -30.0f;
    EXPECT_EQ(meter_description::levels(v), "Left: peak -12.0 dB, max -3.0 dB, RMS -20.0 dB. Right: peak silent, "
                                            "max +1.5 dB, RMS -30.0 dB.");
    EXPECT_EQ(meter_description::loudness(v), "Loudness: momentary no value, short-term no value, integrated no "
                                              "value, range no value, true peak no value.");
    v.momentaryLUFS = -20.04;
    v.shortTermLUFS = -21.0;
    v.integratedLUFS = -22.0;
    v.loudnessRange = 4.5;
    v.truePeakLeft = -1.5;
    v.truePeakRight = -3.0;
    EXPECT_EQ(meter_description::loudness(v), "Loudness: momentary -20.0 LUFS, short-term -21.0 LUFS, integrated "
                                              "-22.0 LUFS, range 4.5 LU, true peak -1.5 dBTP.");

    const std::string targets = TargetsTable::describe(TargetsTable::verdicts(v));
    EXPECT_NE(targets.find("EBU R128: +1.0 LU from -23 \u00B11 LUFS, true peak within -1 dBTP, pass."),
              std::string::npos)
        << targets;
    EXPECT_NE(targets.find("Netflix: +5.0 LU from -27 \u00B12 LUFS, true peak above -2 dBTP, fail."),
              std::string::npos)
        << targets;
}
