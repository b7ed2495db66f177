#include "engine/dsp/OctaveResolution.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace octave_resolution;

// The band counts decide the spectrum's layout everywhere; unknown names (also ones
// that differ only in case or spacing) mean a third octave.
TEST(OctaveResolution, NamesAndBandCountsInOrderUnknownMeansAThird)
{
    const std::array<std::string_view, 7> names = {"1 Octave",    "1/2 Octave",  "1/3 Octave", "1/6 Octave",
                                                   "1/12 Octave", "1/24 Octave", "1/48 Octave"};
    const std::array<int, 7> bands = {10, 20, 31, 60, 120, 240, 480};
    ASSERT_EQ(allCases.size(), names.size());
    for (std::size_t i = 0; i < allCases.size(); ++i) {
        EXPECT_EQ(rawValue(allCases[i]), names[i]);
        EXPECT_EQ(bandCount(allCases[i]), bands[i]);
        EXPECT_EQ(fromRawValueOrDefault(names[i]), allCases[i]);
    }
    EXPECT_EQ(maxBandCount, 480);
    for (std::string_view name : {"", "1/3 octave", "1/3 Octave ", "1/96 Octave"}) {
        EXPECT_EQ(fromRawValue(name), std::nullopt) << name;
        EXPECT_EQ(fromRawValueOrDefault(name), OctaveResolution::third) << name;
    }
}

} // namespace
