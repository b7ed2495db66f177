#include "engine/dsp/TestSignal.h"

#include "AllocationCounter.h"
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
        const std::size_t n = std::min(blockSize, total - offset);
        generator.generateTestSignal(&left[offset], &right[offset], n);
    }
    EXPECT_EQ(left, right);
    return left;
}

TEST(TestSignalGenerator, FirstSampleIsTheFirstNoiseValue)
{
    TestSignalGenerator generator(48000.0);
    float left = 1.0f;
    generator.generateTestSignal(&left, nullptr, 1);
    // Seed 12345 -> 12345 * 1103515245 + 12345 mod 2^32 = 3554416254; its low 31 bits
    // are 1406932606, so the noise is (1406932606 / 2^31 - 0.5) * 0.15 and sin(0) = 0.
    EXPECT_EQ(generator.noiseState(), 3554416254u);
    EXPECT_NEAR(left, (1406932606.0 / 2147483648.0 - 0.5) * 0.15, 1e-7);
    // The oscillator advanced by 100 Hz for one frame.
    EXPECT_NEAR(generator.phase(), 2.0 * std::numbers::pi * 100.0 / 48000.0, 1e-7);
}

TEST(TestSignalGenerator, SweepsUpAndDownTwoHertzPerFrame)
{
    TestSignalGenerator generator(48000.0);
    float sample = 0.0f;
    float previous = generator.frequency();
    EXPECT_EQ(previous, 100.0f);
    std::size_t turnsAtTop = 0;
    for (std::size_t frame = 1; frame <= sweepPeriod; ++frame) {
        generator.generateTestSignal(&sample, nullptr, 1);
        const float f = generator.frequency();
        ASSERT_GE(f, 100.0f);
        ASSERT_LE(f, 8000.0f);
        ASSERT_TRUE(std::abs(f - previous) == 2.0f || f == previous) << frame;
        if (frame == 3950) {
            EXPECT_EQ(f, 8000.0f);
            EXPECT_EQ(generator.sweepDirection(), 1.0f);
        }
        if (f == 8000.0f && generator.sweepDirection() < 0.0f && previous == 8000.0f) {
            ++turnsAtTop;
        }
        previous = f;
    }
    EXPECT_EQ(turnsAtTop, 1u);
    // Back at the start of the cycle.
    EXPECT_EQ(generator.frequency(), 100.0f);
    EXPECT_EQ(generator.sweepDirection(), 1.0f);
}

TEST(TestSignalGenerator, StaysWithinItsPeakAndKeepsThePhaseWrapped)
{
    TestSignalGenerator generator(44100.0);
    std::vector<float> left(3 * sweepPeriod);
    std::vector<float> right(left.size());
    generator.generateTestSignal(left.data(), right.data(), left.size());
    float peak = 0.0f;
    for (float s : left) {
        peak = std::max(peak, std::abs(s));
    }
    EXPECT_LE(peak, 0.425f);
    EXPECT_GT(peak, 0.4f); // sine and noise both really there
    EXPECT_GE(generator.phase(), 0.0f);
    EXPECT_LE(generator.phase(), 6.2831855f);
}

TEST(TestSignalGenerator, BlockSplitDoesNotChangeTheSignal)
{
    const std::size_t total = 2 * sweepPeriod + 17;
    const std::vector<float> whole = generateInBlocks(total, total);
    for (const std::size_t blockSize : awkwardBlockSizes) {
        EXPECT_EQ(generateInBlocks(total, blockSize), whole) << "block size " << blockSize;
    }
}

TEST(TestSignalGenerator, ResetStartsOverAndRateSetsThePhaseStep)
{
    TestSignalGenerator generator(48000.0);
    std::vector<float> first(1000);
    std::vector<float> again(1000);
    generator.generateTestSignal(first.data(), nullptr, first.size());
    generator.reset();
    generator.generateTestSignal(again.data(), nullptr, again.size());
    EXPECT_EQ(first, again);

    generator.reset();
    generator.setSampleRate(96000.0);
    float sample = 0.0f;
    generator.generateTestSignal(&sample, nullptr, 1);
    EXPECT_NEAR(generator.phase(), 2.0 * std::numbers::pi * 100.0 / 96000.0, 1e-7);
}

TEST(TestSignalGenerator, GeneratesWithoutAllocating)
{
    TestSignalGenerator generator(48000.0);
    std::vector<float> left(1024);
    std::vector<float> right(1024);
    const AllocationCounter counter;
    generator.generateTestSignal(left.data(), right.data(), left.size());
    EXPECT_EQ(counter.count(), 0u);
}

} // namespace
