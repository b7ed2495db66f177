#include "engine/dsp/TestSignal.h"

#include "BlockSizes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace {

// 100 Hz -> 8000 Hz in 3950 frames, one frame clamped at 8000, 3950 down to 100, one
// clamped at 100: the sweep repeats every 7902 frames.
constexpr std::size_t sweepPeriod = 7902;

std::vector<float> generateInBlocks(std::size_t total, std::size_t blockSize)
{
    TestSignalGenerator generator(48000.0);
    std::vector<float> left(total);
    std::vector<float> right(total);
    for (std::size_t offset = 0; offset < total; offset += blockSize) {
        generator.generateTestSignal(&left[offset], &right[offset], std::min(blockSize, total - offset));
    }
    EXPECT_EQ(left, right);
    return left;
}

// The first sample pins the noise generator and the oscillator's phase step; reset
// and a new rate start over from there.
TEST(TestSignalGenerator, FirstSampleResetAndRate)
{
    TestSignalGenerator generator(48000.0);
    std::vector<float> first(1000);
    generator.generateTestSignal(first.data(), nullptr, 1);
    // Seed 12345 -> 12345 * 1103515245 + 12345 mod 2^32 = 3554416254; its low 31 bits
    // are 1406932606, so the noise is (1406932606 / 2^31 - 0.5) * 0.15 and sin(0) = 0.
    EXPECT_EQ(generator.noiseState(), 3554416254u);
    EXPECT_NEAR(first[0], (1406932606.0 / 2147483648.0 - 0.5) * 0.15, 1e-7);
    EXPECT_NEAR(generator.phase(), 2.0 * std::numbers::pi * 100.0 / 48000.0, 1e-7);
    generator.generateTestSignal(&first[1], nullptr, first.size() - 1);

    std::vector<float> again(1000);
    generator.reset();
    generator.generateTestSignal(again.data(), nullptr, again.size());
    EXPECT_EQ(first, again);

    generator.reset();
    generator.setSampleRate(96000.0);
    generator.generateTestSignal(again.data(), nullptr, 1);
    EXPECT_NEAR(generator.phase(), 2.0 * std::numbers::pi * 100.0 / 96000.0, 1e-7);
}

TEST(TestSignalGenerator, SweepsUpAndDownTwoHertzPerFrameWithinItsPeak)
{
    TestSignalGenerator generator(44100.0);
    std::vector<float> samples(sweepPeriod);
    float previous = generator.frequency();
    std::size_t framesAtTop = 0;
    for (std::size_t frame = 1; frame <= sweepPeriod; ++frame) {
        generator.generateTestSignal(&samples[frame - 1], nullptr, 1);
        const float f = generator.frequency();
        ASSERT_TRUE(f >= 100.0f && f <= 8000.0f) << frame;
        ASSERT_TRUE(std::abs(f - previous) == 2.0f || f == previous) << frame;
        if (frame == 3950) {
            EXPECT_EQ(f, 8000.0f);
        }
        framesAtTop += f == 8000.0f ? 1 : 0;
        previous = f;
    }
    EXPECT_EQ(framesAtTop, 2u) << "one frame on the top, one clamped there";
    EXPECT_EQ(generator.frequency(), 100.0f) << "back at the start of the cycle";
    EXPECT_EQ(generator.sweepDirection(), 1.0f);
    EXPECT_GE(generator.phase(), 0.0f);
    EXPECT_LE(generator.phase(), 6.2831855f);

    float peak = 0.0f;
    for (const float s : samples) peak = std::max(peak, std::abs(s));
    EXPECT_LE(peak, 0.425f);
    EXPECT_GT(peak, 0.4f) << "sine and noise both really there";
}

TEST(TestSignalGenerator, BlockSplitDoesNotChangeTheSignal)
{
    const std::size_t total = 2 * sweepPeriod + 17;
    const std::vector<float> whole = generateInBlocks(total, total);
    for (const std::size_t blockSize : awkwardBlockSizes) {
        EXPECT_EQ(generateInBlocks(total, blockSize), whole) << "block size " << blockSize;
    }
}

} // namespace
