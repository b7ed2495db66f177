#include "engine/dsp/LoudnessMeter.h"

#include "BlockSizes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace {

struct Stereo {
    std::vector<float> left;
    std::vector<float> right;
};

// A sine whose level steps every 0.7 s, the right channel 6 dB below the left and at
// another frequency, so swapped or dropped channels and a stale cache all show.
Stereo steppedTones(int sampleRate, std::size_t frames)
{
    constexpr std::array levelsDb = {-30.0, -18.0, -24.0, -12.0, -36.0};
    Stereo s{std::vector<float>(frames), std::vector<float>(frames)};
    for (std::size_t n = 0; n < frames; ++n) {
        const double t = static_cast<double>(n) / sampleRate;
        const double a = std::pow(10.0, levelsDb[static_cast<std::size_t>(t / 0.7) % levelsDb.size()] / 20.0);
        s.left[n] = static_cast<float>(a * std::sin(2.0 * std::numbers::pi * 440.0 * t));
        s.right[n] = static_cast<float>(0.5 * a * std::sin(2.0 * std::numbers::pi * 660.0 * t));
    }
    return s;
}

// libebur128 used directly in the mode the meter must use (63), to check what the
// wrapper hands over and caches; values carry the meter's substitutes for "none".
class Reference {
public:
    explicit Reference(unsigned long sampleRate) : state_(ebur128_init(2, sampleRate, 63)) {}
    ~Reference() { ebur128_destroy(&state_); }
    Reference(const Reference &) = delete;
    Reference &operator=(const Reference &) = delete;

    void add(const float *left, const float *right, std::size_t frames)
    {
        std::vector<float> interleaved(2 * frames);
        for (std::size_t i = 0; i < frames; ++i) {
            interleaved[2 * i] = left[i];
            interleaved[2 * i + 1] = right[i];
        }
        ebur128_add_frames_float(state_, interleaved.data(), frames);
    }

    LoudnessValues values() const
    {
        const auto loudness = [](double v) { return std::isfinite(v) ? v : -70.0; };
        const auto peakDb = [](double v) { return v > 0.0 ? 20.0 * std::log10(v) : -70.0; };
        double m = 0, s = 0, i = 0, r = 0, pl = 0, pr = 0;
        ebur128_loudness_momentary(state_, &m);
        ebur128_loudness_shortterm(state_, &s);
        ebur128_loudness_global(state_, &i);
        ebur128_loudness_range(state_, &r);
        ebur128_true_peak(state_, 0, &pl);
        ebur128_true_peak(state_, 1, &pr);
        return {loudness(m), loudness(s), loudness(i), std::isfinite(r) ? r : 0.0, peakDb(pl), peakDb(pr)};
    }

private:
    ebur128_state *state_;
};

void expectValuesNear(const LoudnessValues &actual, const LoudnessValues &expected, double tolerance)
{
    EXPECT_NEAR(actual.momentary, expected.momentary, tolerance);
    EXPECT_NEAR(actual.shortTerm, expected.shortTerm, tolerance);
    EXPECT_NEAR(actual.integrated, expected.integrated, tolerance);
    EXPECT_NEAR(actual.loudnessRange, expected.loudnessRange, tolerance);
    EXPECT_NEAR(actual.truePeakLeft, expected.truePeakLeft, tolerance);
    EXPECT_NEAR(actual.truePeakRight, expected.truePeakRight, tolerance);
}

TEST(LoudnessMeter, SilenceReadsNoValueEverywhere)
{
    LoudnessMeter meter(2, 48000);
    EXPECT_EQ(meter.read(), LoudnessValues{});
    const std::vector<float> silence(1024, 0.0f);
    for (int block = 0; block < 250; ++block) meter.addFrames(silence.data(), silence.data(), silence.size()); // > 5 s
    EXPECT_EQ(meter.read(), LoudnessValues{});
}

// Fast values follow every block; integrated loudness and range are refreshed on
// blocks 5, 10, 15 ... only and otherwise keep the previous figures. At 8 kHz four
// 4096-frame blocks are 2 s, so the library already has an integrated value there.
TEST(LoudnessMeter, SlowQueriesRunOnEveryFifthBlockOnly)
{
    constexpr std::size_t blockSize = 4096;
    const Stereo signal = steppedTones(8000, 40 * blockSize);
    LoudnessMeter meter(2, 8000);
    Reference reference(8000);
    LoudnessValues slow; // integrated and range as of the latest fifth block
    int blocksWithStaleIntegrated = 0;
    for (std::size_t block = 1; block <= 40; ++block) {
        const std::size_t offset = (block - 1) * blockSize;
        meter.addFrames(&signal.left[offset], &signal.right[offset], blockSize);
        reference.add(&signal.left[offset], &signal.right[offset], blockSize);
        LoudnessValues expected = reference.values();
        if (block % 5 == 0) slow = expected;
        blocksWithStaleIntegrated += expected.integrated != slow.integrated ? 1 : 0;
        expected.integrated = slow.integrated;
        expected.loudnessRange = slow.loudnessRange;
        SCOPED_TRACE(testing::Message() << "block " << block);
        expectValuesNear(meter.read(), expected, 0.0);
    }
    // Guards against a signal too steady to tell the cadence apart.
    EXPECT_GT(blocksWithStaleIntegrated, 20);
    EXPECT_GT(slow.loudnessRange, 1.0);
    EXPECT_GT(meter.read().truePeakLeft, meter.read().truePeakRight + 5.0);
}

// While nobody reads it the meter only measures; the first block after the values are
// wanted again gives what continuous querying would have given.
TEST(LoudnessMeter, SkippedQueriesLeaveTheValuesAsTheyWereAndComeBackExact)
{
    constexpr std::size_t blockSize = 4096;
    const Stereo signal = steppedTones(8000, 23 * blockSize);
    LoudnessMeter meter(2, 8000);
    Reference reference(8000);
    LoudnessValues beforeHiding;
    for (std::size_t block = 1; block <= 23; ++block) {
        const std::size_t offset = (block - 1) * blockSize;
        if (block == 11) beforeHiding = meter.read();
        meter.setQueriesWanted(block < 11 || block > 22);
        meter.addFrames(&signal.left[offset], &signal.right[offset], blockSize);
        reference.add(&signal.left[offset], &signal.right[offset], blockSize);
        if (block > 10 && block < 23) expectValuesNear(meter.read(), beforeHiding, 0.0);
    }
    // Block 23 is no fifth block, yet integrated and range are refreshed with the rest.
    expectValuesNear(meter.read(), reference.values(), 0.0);
    EXPECT_NE(meter.read().integrated, beforeHiding.integrated);
}

// However the stream is cut into blocks, the meter ends with the library's figures for
// the frames it measured: all of them, or the first 4096 of each longer block.
TEST(LoudnessMeter, SplittingTheStreamDoesNotChangeTheMeasurement)
{
    for (const std::size_t blockSize : awkwardBlockSizes) {
        SCOPED_TRACE(testing::Message() << "block size " << blockSize);
        const std::size_t blocks = (24000 / blockSize + 4) / 5 * 5; // whole 5-block cadences, >= 3 s
        const Stereo signal = steppedTones(8000, blocks * blockSize);
        LoudnessMeter meter(2, 8000);
        Reference reference(8000);
        const std::size_t measured = std::min(blockSize, LoudnessMeter::maxFrames);
        for (std::size_t offset = 0; offset < blocks * blockSize; offset += blockSize) {
            meter.addFrames(&signal.left[offset], &signal.right[offset], blockSize);
            reference.add(&signal.left[offset], &signal.right[offset], measured);
        }
        expectValuesNear(meter.read(), reference.values(), 1e-9);
    }
}

// One channel: a right channel passed anyway is ignored, and the left true peak is
// shown on both sides.
TEST(LoudnessMeter, OneChannelMeasurementCopiesItsTruePeakToTheRight)
{
    std::vector<float> left(4800);
    const std::vector<float> loudRight(4800, 1.0f);
    for (std::size_t n = 0; n < left.size(); ++n) {
        left[n] = static_cast<float>(std::pow(10.0, -6.0 / 20.0) * std::sin(2.0 * std::numbers::pi * 997.0 * n / 48000));
    }
    LoudnessMeter meter(1, 48000);
    EXPECT_EQ(meter.channels(), 1);
    meter.addFrames(left.data(), nullptr, left.size());
    meter.addFrames(left.data(), loudRight.data(), left.size());
    EXPECT_NEAR(meter.read().truePeakLeft, -6.0, 0.1);
    EXPECT_EQ(meter.read().truePeakRight, meter.read().truePeakLeft);
}

TEST(LoudnessMeter, InvalidConstruction)
{
    EXPECT_THROW(LoudnessMeter(-1, 48000), std::invalid_argument);
    EXPECT_THROW(LoudnessMeter(2, -48000), std::invalid_argument);
    // Refused by the library: a meter that ignores its input.
    const std::vector<float> loud(4096, 0.9f);
    for (auto [channels, rate] : {std::pair{0, 48000}, std::pair{2, 0}}) {
        LoudnessMeter meter(channels, rate);
        EXPECT_FALSE(meter.isMeasuring());
        meter.addFrames(loud.data(), loud.data(), loud.size());
        EXPECT_EQ(meter.read(), LoudnessValues{});
    }
}

} // namespace
