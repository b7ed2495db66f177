#include "settings/BroadcastPreset.h"
#include "settings/MeterScale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

std::vector<int> marksOf(MeterScale scale)
{
    const auto marks = meter_scale::marks(scale);
    return {marks.begin(), marks.end()};
}

} // namespace

TEST(MeterScales, RawValuesRoundTripExactlyAndUnknownNamesFallBack)
{
    const std::vector<std::string> names{"Linear (dBFS)", "Final Cut Pro", "DIN", "VU (+3)",
                                         "K-20",          "K-14",          "K-12", "EBU R128"};
    ASSERT_EQ(meter_scale::allCases.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(meter_scale::rawValue(meter_scale::allCases[i]), names[i]);
        EXPECT_EQ(meter_scale::fromRawValue(names[i]), meter_scale::allCases[i]);
        EXPECT_EQ(meter_scale::minDb(meter_scale::allCases[i]), -60.0f);
    }
    for (const char *unknown : {"K-24", "din", "EBU  R128", "Linear (dBFS) ", ""}) {
        EXPECT_EQ(meter_scale::fromRawValue(unknown), std::nullopt) << unknown;
        EXPECT_EQ(meter_scale::fromRawValueOrDefault(unknown), MeterScale::fcp) << unknown;
    }
}

TEST(MeterScales, TopsAndMarksPerScale)
{
    EXPECT_EQ(meter_scale::maxDb(MeterScale::fcp), 6.0f);
    EXPECT_EQ(meter_scale::maxDb(MeterScale::din), 6.0f);
    EXPECT_EQ(meter_scale::maxDb(MeterScale::vu), 3.0f);
    EXPECT_EQ(meter_scale::maxDb(MeterScale::k14), 0.0f);
    EXPECT_EQ(meter_scale::maxDb(MeterScale::ebu), 0.0f);

    EXPECT_EQ(marksOf(MeterScale::fcp), (std::vector<int>{6, 3, 0, -6, -12, -18, -24, -30, -40, -50, -60}));
    EXPECT_EQ(marksOf(MeterScale::din), (std::vector<int>{6, 0, -5, -10, -20, -30, -40, -50, -60}));
    EXPECT_EQ(marksOf(MeterScale::k20), (std::vector<int>{0, -4, -8, -12, -16, -20, -28, -40, -60}));
    EXPECT_EQ(marksOf(MeterScale::ebu), (std::vector<int>{0, -6, -9, -14, -18, -23, -36, -60}));
    EXPECT_EQ(marksOf(MeterScale::vu).front(), 3);
    EXPECT_EQ(marksOf(MeterScale::k14).size(), 8u);
    // Every scale lists its marks from its top down to the common floor.
    for (MeterScale scale : meter_scale::allCases) {
        const auto marks = marksOf(scale);
        EXPECT_EQ(marks.front(), static_cast<int>(meter_scale::maxDb(scale)));
        EXPECT_EQ(marks.back(), -60);
        EXPECT_TRUE(std::is_sorted(marks.rbegin(), marks.rend()));
    }
}

TEST(MeterScales, MarkLabelsAndColours)
{
    EXPECT_EQ(meter_scale::markLabel(0), "0");
    EXPECT_EQ(meter_scale::markLabel(6), "+6");
    EXPECT_EQ(meter_scale::markLabel(-12), "-12");
    EXPECT_TRUE(meter_scale::isOverMark(1));
    EXPECT_FALSE(meter_scale::isOverMark(0));
}

TEST(MeterScales, LevelFractionIsLinearAndClamped)
{
    EXPECT_EQ(meter_scale::levelFraction(6.0, -60.0, 6.0), 1.0);
    EXPECT_EQ(meter_scale::levelFraction(-60.0, -60.0, 6.0), 0.0);
    EXPECT_EQ(meter_scale::levelFraction(-70.0, -60.0, 6.0), 0.0);
    EXPECT_EQ(meter_scale::levelFraction(10.0, -60.0, 6.0), 1.0);
    EXPECT_DOUBLE_EQ(meter_scale::levelFraction(-27.0, -60.0, 6.0), 0.5);
    // A custom range pins marks outside it to the edges.
    EXPECT_EQ(meter_scale::levelFraction(-60.0, -48.0, 6.0), 0.0);
    EXPECT_EQ(meter_scale::levelFraction(0.0, 0.0, 0.0), 0.0);
    EXPECT_EQ(meter_scale::levelFraction(-10.0, 0.0, -20.0), 0.0);
    EXPECT_EQ(meter_scale::levelFraction(std::numeric_limits<double>::quiet_NaN(), -60.0, 0.0), 0.0);
}

TEST(MeterRangeEditor, HandlesKeepSixDecibelsApartAndStayInBounds)
{
    EXPECT_EQ(meter_range::dragLowerHandle(3.0, 6.0), 0.0);
    EXPECT_EQ(meter_range::dragLowerHandle(-3.0, 6.0), -3.0);
    EXPECT_EQ(meter_range::dragLowerHandle(-30.0, 6.0), -30.0);
    EXPECT_EQ(meter_range::dragLowerHandle(-500.0, 6.0), meter_range::editorLowestDb);
    EXPECT_EQ(meter_range::dragUpperHandle(-50.0, -48.0), -42.0);
    EXPECT_EQ(meter_range::dragUpperHandle(3.0, -48.0), 3.0);
    EXPECT_EQ(meter_range::dragUpperHandle(40.0, -48.0), meter_range::editorHighestDb);

    const auto presets = meter_range::presets();
    ASSERT_EQ(presets.size(), 4u);
    const std::vector<std::tuple<std::string, double, double>> expected{
        {"-60 to 0", -60, 0}, {"-60 to +6", -60, 6}, {"-48 to +6", -48, 6}, {"-36 to 0", -36, 0}};
    for (std::size_t i = 0; i < presets.size(); ++i) {
        EXPECT_EQ(presets[i].label, std::get<0>(expected[i]));
        EXPECT_EQ(presets[i].minDb, std::get<1>(expected[i]));
        EXPECT_EQ(presets[i].maxDb, std::get<2>(expected[i]));
        EXPECT_GE(presets[i].minDb, meter_range::editorLowestDb);
        EXPECT_LE(presets[i].maxDb, meter_range::editorHighestDb);
    }
}

TEST(BroadcastPresets, TableAndSelection)
{
    const auto &presets = broadcast::builtInPresets();
    ASSERT_EQ(presets.size(), 7u);
    EXPECT_EQ(presets.front().name, "EBU R128");
    EXPECT_EQ(presets.back().name, "ATSC A/85");
    for (const auto &preset : presets)
        EXPECT_TRUE(preset.isBuiltIn);

    const auto netflix = broadcast::selectedPreset(true, "Netflix");
    ASSERT_TRUE(netflix);
    EXPECT_EQ(netflix->integratedTarget, -27.0);
    EXPECT_EQ(netflix->tolerance, 2.0);
    EXPECT_EQ(netflix->truePeakLimit, -2.0);
    EXPECT_FALSE(broadcast::selectedPreset(false, "Netflix"));
    EXPECT_FALSE(broadcast::selectedPreset(true, "netflix"));
    EXPECT_FALSE(broadcast::selectedPreset(true, "Netflix "));
}

TEST(BroadcastPresets, IntegratedComplianceBoundsAreInclusive)
{
    const auto netflix = broadcast::selectedPreset(true, "Netflix");
    EXPECT_EQ(broadcast::integratedCompliance(-25.0, netflix), Compliance::Pass);
    EXPECT_EQ(broadcast::integratedCompliance(-29.0, netflix), Compliance::Pass);
    EXPECT_EQ(broadcast::integratedCompliance(-24.9, netflix), Compliance::Fail);
    EXPECT_EQ(broadcast::integratedCompliance(-29.1, netflix), Compliance::Fail);
    // Nothing measured yet: no judgement.
    EXPECT_EQ(broadcast::integratedCompliance(-69.0, netflix), Compliance::Neutral);
    EXPECT_EQ(broadcast::integratedCompliance(-70.0, netflix), Compliance::Neutral);
    EXPECT_EQ(broadcast::integratedCompliance(-68.9, netflix), Compliance::Fail);
    EXPECT_EQ(broadcast::integratedCompliance(std::nan(""), netflix), Compliance::Neutral);
    EXPECT_EQ(broadcast::integratedCompliance(-27.0, std::nullopt), Compliance::Neutral);
}

TEST(BroadcastPresets, TruePeakAgainstTheLimitOrMinusOne)
{
    const auto atsc = broadcast::selectedPreset(true, "ATSC A/85");
    EXPECT_EQ(broadcast::truePeakCompliance(-2.0, atsc), Compliance::Pass);
    EXPECT_EQ(broadcast::truePeakCompliance(-1.9, atsc), Compliance::Fail);
    EXPECT_EQ(broadcast::truePeakCompliance(-70.0, atsc), Compliance::Pass);
    EXPECT_EQ(broadcast::truePeakCompliance(-1.0, std::nullopt), Compliance::Neutral);
    EXPECT_EQ(broadcast::truePeakCompliance(-0.9, std::nullopt), Compliance::Fail);
}
