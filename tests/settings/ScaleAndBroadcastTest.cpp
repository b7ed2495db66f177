#include "settings/BroadcastPreset.h"
#include "settings/MeterScale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

TEST(MeterScales, RawValuesRoundTripExactlyAndUnknownNamesFallBack)
{
    const std::vector<std::string> names{"Linear (dBFS)", "Final Cut Pro", "DIN", "VU (+3)",
                                         "K-20",          "K-14",          "K-12", "EBU R128"};
    ASSERT_EQ(meter_scale::allCases.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(meter_scale::rawValue(meter_scale::allCases[i]), names[i]);
        EXPECT_EQ(meter_scale::fromRawValue(names[i]), meter_scale::allCases[i]);
    }
    for (const char *unknown : {"K-24", "din", "Linear (dBFS) ", ""}) {
        EXPECT_EQ(meter_scale::fromRawValue(unknown), std::nullopt) << unknown;
        EXPECT_EQ(meter_scale::fromRawValueOrDefault(unknown), MeterScale::fcp) << unknown;
    }
}

TEST(MeterScales, MarksRunFromEachTopDownToTheCommonFloor)
{
    auto marksOf = [](MeterScale scale) {
        const auto marks = meter_scale::marks(scale);
        return std::vector<int>(marks.begin(), marks.end());
    };
    EXPECT_EQ(marksOf(MeterScale::fcp), (std::vector<int>{6, 3, 0, -6, -12, -18, -24, -30, -40, -50, -60}));
    EXPECT_EQ(marksOf(MeterScale::ebu), (std::vector<int>{0, -6, -9, -14, -18, -23, -36, -60}));
    for (MeterScale scale : meter_scale::allCases) {
        const auto marks = marksOf(scale);
        EXPECT_EQ(meter_scale::minDb(scale), -60.0f);
        EXPECT_EQ(marks.front(), static_cast<int>(meter_scale::maxDb(scale)));
        EXPECT_EQ(marks.back(), -60);
        EXPECT_TRUE(std::is_sorted(marks.rbegin(), marks.rend()));
    }
    EXPECT_EQ(meter_scale::markLabel(0), "0");
    EXPECT_EQ(meter_scale::markLabel(6), "+6");
    EXPECT_EQ(meter_scale::markLabel(-12), "-12");
    EXPECT_TRUE(meter_scale::isOverMark(1));
    EXPECT_FALSE(meter_scale::isOverMark(0));
}

TEST(MeterScales, LevelFractionIsLinearAndClamped)
{
    EXPECT_DOUBLE_EQ(meter_scale::levelFraction(-27.0, -60.0, 6.0), 0.5);
    EXPECT_EQ(meter_scale::levelFraction(10.0, -60.0, 6.0), 1.0);
    // A custom range pins marks outside it to the edges; empty, inverted and NaN give 0.
    for (const auto &[level, low, high] : std::vector<std::tuple<double, double, double>>{
             {-60.0, -48.0, 6.0}, {0.0, 0.0, 0.0}, {-10.0, 0.0, -20.0}, {std::nan(""), -60.0, 0.0}})
        EXPECT_EQ(meter_scale::levelFraction(level, low, high), 0.0) << level << " in " << low << ".." << high;
}

TEST(MeterRangeEditor, HandlesKeepSixDecibelsApartAndStayInBounds)
{
    EXPECT_EQ(meter_range::dragLowerHandle(3.0, 6.0), 0.0);
    EXPECT_EQ(meter_range::dragLowerHandle(-30.0, 6.0), -30.0);
    EXPECT_EQ(meter_range::dragLowerHandle(-500.0, 6.0), meter_range::editorLowestDb);
    EXPECT_EQ(meter_range::dragUpperHandle(-50.0, -48.0), -42.0);
    EXPECT_EQ(meter_range::dragUpperHandle(40.0, -48.0), meter_range::editorHighestDb);

    ASSERT_EQ(meter_range::presets().size(), 4u);
    for (const auto &preset : meter_range::presets()) {
        EXPECT_GE(preset.maxDb - preset.minDb, 6.0) << preset.label;
        EXPECT_GE(preset.minDb, meter_range::editorLowestDb);
        EXPECT_LE(preset.maxDb, meter_range::editorHighestDb);
    }
}

TEST(BroadcastPresets, SelectionAndInclusiveComplianceBounds)
{
    ASSERT_EQ(broadcast::builtInPresets().size(), 7u);
    EXPECT_FALSE(broadcast::selectedPreset(false, "Netflix"));
    EXPECT_FALSE(broadcast::selectedPreset(true, "netflix")); // names match exactly
    const auto netflix = broadcast::selectedPreset(true, "Netflix"); // -27 +/- 2 LUFS, -2 dBTP
    ASSERT_TRUE(netflix);
    const std::vector<std::pair<double, Compliance>> integrated{
        {-25.0, Compliance::Pass},    {-29.0, Compliance::Pass},    {-24.9, Compliance::Fail},
        {-29.1, Compliance::Fail},    {-68.9, Compliance::Fail},    {-69.0, Compliance::Neutral}, // nothing measured yet
        {std::nan(""), Compliance::Neutral}};
    for (const auto &[level, expected] : integrated)
        EXPECT_EQ(broadcast::integratedCompliance(level, netflix), expected) << level;
    EXPECT_EQ(broadcast::integratedCompliance(-27.0, std::nullopt), Compliance::Neutral);

    EXPECT_EQ(broadcast::truePeakCompliance(-2.0, netflix), Compliance::Pass);
    EXPECT_EQ(broadcast::truePeakCompliance(-1.9, netflix), Compliance::Fail);
    // Without a preset, -1 dBTP is the limit.
    EXPECT_EQ(broadcast::truePeakCompliance(-1.0, std::nullopt), Compliance::Neutral);
    EXPECT_EQ(broadcast::truePeakCompliance(-0.9, std::nullopt), Compliance::Fail);
}
