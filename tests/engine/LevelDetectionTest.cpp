#include "engine/dsp/LevelDetection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

double referenceDb(double amplitude)
{
    return amplitude > 0.0 ? std::clamp(20.0 * std::log10(amplitude), -60.0, 6.0) : -60.0;
}

TEST(LevelDetection, SilenceAndEmptyBlocksReadTheFloor)
{
    const std::vector<float> zeros(512, 0.0f);
    for (const ChannelLevels levels : {calculateLevels(zeros.data(), zeros.size()), calculateLevels(zeros.data(), 0),
                                       calculateLevels(nullptr, 0)}) {
        EXPECT_EQ(levels.peak, -60.0f);
        EXPECT_EQ(levels.rms, -60.0f);
    }
    // -100 dBFS is below the floor, not a value of its own.
    const std::vector<float> faint(64, 1e-5f);
    EXPECT_EQ(calculateLevels(faint.data(), faint.size()).rms, -60.0f);
}

TEST(LevelDetection, SquareWavesAreCappedAtPlusSix)
{
    for (const auto &[amplitude, expected] : {std::pair{1.0f, 0.0f}, {4.0f, 6.0f}, {0.5f, -6.0206f}}) {
        std::vector<float> square(1000);
        for (std::size_t i = 0; i < square.size(); ++i) square[i] = (i / 10) % 2 == 0 ? amplitude : -amplitude;
        const ChannelLevels levels = calculateLevels(square.data(), square.size());
        EXPECT_NEAR(levels.peak, expected, 1e-4) << amplitude;
        EXPECT_NEAR(levels.rms, expected, 1e-4) << amplitude;
    }
}

// Blocks whose length is not a multiple of the vector width must still see every
// sample: the loudest sample sits last, where a dropped tail would lose it.
TEST(LevelDetection, AwkwardBlockSizesSeeEverySample)
{
    for (const std::size_t count : {1u, 3u, 7u, 9u, 1023u, 1025u}) {
        std::vector<float> block(count);
        double sumOfSquares = 0.0;
        for (std::size_t i = 0; i < count; ++i) {
            block[i] = 0.01f * static_cast<float>((i % 5) + 1) * (i % 2 == 0 ? 1.0f : -1.0f);
        }
        block.back() = -0.9f;
        for (const float x : block) sumOfSquares += static_cast<double>(x) * x;
        const ChannelLevels levels = calculateLevels(block.data(), count);
        EXPECT_NEAR(levels.peak, referenceDb(0.9), 1e-4) << count;
        EXPECT_NEAR(levels.rms, referenceDb(std::sqrt(sumOfSquares / static_cast<double>(count))), 1e-3) << count;
    }
}

TEST(LevelDetection, TenthDbRoundingGoesHalfAwayFromZero)
{
    EXPECT_FLOAT_EQ(roundToTenthDb(-18.25f), -18.3f);
    EXPECT_FLOAT_EQ(roundToTenthDb(-18.24f), -18.2f);
    EXPECT_FLOAT_EQ(roundToTenthDb(0.05f), 0.1f);
    EXPECT_FLOAT_EQ(roundToTenthDb(-60.0f), -60.0f);
}

} // namespace
