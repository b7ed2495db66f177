#include "engine/dsp/LoudnessMeter.h"

#include "AllocationCounter.h"
#include "BlockSizes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace {

constexpr int fullMode = 63; // the mode the meter must use, for the reference measurement

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
        const double level = levelsDb[static_cast<std::size_t>(t / 0.7) % levelsDb.size()];
        const double a = std::pow(10.0, level / 20.0);
        s.left[n] = static_cast<float>(a * std::sin(2.0 * std::numbers::pi * 440.0 * t));
        s.right[n] = static_cast<float>(0.5 * a * std::sin(2.0 * std::numbers::pi * 660.0 * t));
    }
    return s;
}

double orNoLoudness(double v) { return std::isfinite(v) ? v : -70.0; }
double orNoRange(double v) { return std::isfinite(v) ? v : 0.0; }
double peakDb(double v) { return v > 0.0 ? 20.0 * std::log10(v) : -70.0; }

// libebur128 used directly, to check what the wrapper hands over and caches.
class Reference {
public:
    Reference(unsigned channels, unsigned long sampleRate)
        : state_(ebur128_init(channels, sampleRate, fullMode))
    {
    }
    ~Reference() { ebur128_destroy(&state_); }
    Reference(const Reference &) = delete;
    Reference &operator=(const Reference &) = delete;

    void addStereo(const float *left, const float *right, std::size_t frames)
    {
        std::vector<float> interleaved(2 * frames);
        for (std::size_t i = 0; i < frames; ++i) {
            interleaved[2 * i] = left[i];
            interleaved[2 * i + 1] = right[i];
        }
        ebur128_add_frames_float(state_, interleaved.data(), frames);
    }

    // The fast values after everything added so far, with the meter's substitutes.
    LoudnessValues fastValues() const
    {
        LoudnessValues v;
        double x = 0.0;
        ebur128_loudness_momentary(state_, &x);
        v.momentary = orNoLoudness(x);
        ebur128_loudness_shortterm(state_, &x);
        v.shortTerm = orNoLoudness(x);
        ebur128_true_peak(state_, 0, &x);
        v.truePeakLeft = peakDb(x);
        ebur128_true_peak(state_, 1, &x);
        v.truePeakRight = peakDb(x);
        return v;
    }
    double integrated() const
    {
        double x = 0.0;
        ebur128_loudness_global(state_, &x);
        return orNoLoudness(x);
    }
    double range() const
    {
        double x = 0.0;
        ebur128_loudness_range(state_, &x);
        return orNoRange(x);
    }

private:
    ebur128_state *state_;
};

void expectFastValuesEqual(const LoudnessValues &actual, const LoudnessValues &expected)
{
    EXPECT_DOUBLE_EQ(actual.momentary, expected.momentary);
    EXPECT_DOUBLE_EQ(actual.shortTerm, expected.shortTerm);
    EXPECT_DOUBLE_EQ(actual.truePeakLeft, expected.truePeakLeft);
    EXPECT_DOUBLE_EQ(actual.truePeakRight, expected.truePeakRight);
}

TEST(LoudnessMeter, SilenceReadsNoValueEverywhere)
{
    LoudnessMeter meter(2, 48000);
    EXPECT_EQ(meter.read(), LoudnessValues{});

    const std::vector<float> silence(1024, 0.0f);
    for (int block = 0; block < 250; ++block) { // > 5 s: every query has run
        meter.addFrames(silence.data(), silence.data(), silence.size());
    }
    EXPECT_EQ(meter.read(), LoudnessValues{});
}

// The reference reading of EBU Tech 3341: a 1 kHz sine at -23 dBFS on both channels
// is -23 LUFS.
TEST(LoudnessMeter, StereoSineAtMinus23DbfsReadsMinus23Lufs)
{
    constexpr int rate = 48000;
    const double amplitude = std::pow(10.0, -23.0 / 20.0);
    LoudnessMeter meter(2, rate);
    std::vector<float> block(1024);
    std::size_t n = 0;
    for (int b = 0; b < 20 * rate / 1024; ++b) {
        for (float &s : block) {
            s = static_cast<float>(amplitude
                                   * std::sin(2.0 * std::numbers::pi * 1000.0 * n++ / rate));
        }
        meter.addFrames(block.data(), block.data(), block.size());
    }
    const LoudnessValues v = meter.read();
    EXPECT_NEAR(v.momentary, -23.0, 0.1);
    EXPECT_NEAR(v.shortTerm, -23.0, 0.1);
    EXPECT_NEAR(v.integrated, -23.0, 0.1);
    EXPECT_NEAR(v.loudnessRange, 0.0, 0.1);
    EXPECT_NEAR(v.truePeakLeft, -23.0, 0.1);
    EXPECT_NEAR(v.truePeakRight, -23.0, 0.1);
}

// Fast values follow every block; integrated loudness and range are refreshed on
// blocks 5, 10, 15 ... only and otherwise keep the previous figures. At 8 kHz four
// 4096-frame blocks are 2 s, so the library already has an integrated value there.
TEST(LoudnessMeter, SlowQueriesRunOnEveryFifthBlockOnly)
{
    constexpr int rate = 8000;
    constexpr std::size_t blockSize = 4096;
    const Stereo signal = steppedTones(rate, 40 * blockSize);
    LoudnessMeter meter(2, rate);
    Reference reference(2, rate);

    double expectedIntegrated = -70.0;
    double expectedRange = 0.0;
    int blocksWithStaleIntegrated = 0;
    for (std::size_t block = 1; block <= 40; ++block) {
        const std::size_t offset = (block - 1) * blockSize;
        meter.addFrames(&signal.left[offset], &signal.right[offset], blockSize);
        reference.addStereo(&signal.left[offset], &signal.right[offset], blockSize);
        if (block % 5 == 0) {
            expectedIntegrated = reference.integrated();
            expectedRange = reference.range();
        } else if (reference.integrated() != expectedIntegrated) {
            ++blocksWithStaleIntegrated;
        }
        const LoudnessValues v = meter.read();
        SCOPED_TRACE(testing::Message() << "block " << block);
        expectFastValuesEqual(v, reference.fastValues());
        EXPECT_DOUBLE_EQ(v.integrated, expectedIntegrated);
        EXPECT_DOUBLE_EQ(v.loudnessRange, expectedRange);
        if (block == 4) {
            EXPECT_EQ(v.integrated, -70.0);
            EXPECT_EQ(v.loudnessRange, 0.0);
        }
    }
    // Guards against a signal too steady to tell the cadence apart.
    EXPECT_GT(blocksWithStaleIntegrated, 20);
    EXPECT_GT(expectedRange, 1.0);
    EXPECT_GT(meter.read().truePeakLeft, meter.read().truePeakRight + 5.0);
}

// However the stream is cut into blocks, the meter ends with the library's figures for
// the frames it measured: all of them, or the first 4096 of each longer block.
TEST(LoudnessMeter, SplittingTheStreamDoesNotChangeTheMeasurement)
{
    constexpr int rate = 8000;
    for (const std::size_t blockSize : awkwardBlockSizes) {
        SCOPED_TRACE(testing::Message() << "block size " << blockSize);
        // A whole number of 5-block cadences, about 3 s or more.
        const std::size_t blocks = (24000 / blockSize + 4) / 5 * 5;
        const Stereo signal = steppedTones(rate, blocks * blockSize);
        LoudnessMeter meter(2, rate);
        Reference reference(2, rate);
        const std::size_t measured = std::min(blockSize, LoudnessMeter::maxFrames);
        Stereo seen;
        for (std::size_t b = 0; b < blocks; ++b) {
            const std::size_t offset = b * blockSize;
            meter.addFrames(&signal.left[offset], &signal.right[offset], blockSize);
            seen.left.insert(seen.left.end(), &signal.left[offset], &signal.left[offset + measured]);
            seen.right.insert(seen.right.end(), &signal.right[offset],
                              &signal.right[offset + measured]);
        }
        reference.addStereo(seen.left.data(), seen.right.data(), seen.left.size());

        const LoudnessValues v = meter.read();
        const LoudnessValues expected = reference.fastValues();
        EXPECT_NEAR(v.momentary, expected.momentary, 1e-9);
        EXPECT_NEAR(v.shortTerm, expected.shortTerm, 1e-9);
        EXPECT_NEAR(v.truePeakLeft, expected.truePeakLeft, 1e-9);
        EXPECT_NEAR(v.truePeakRight, expected.truePeakRight, 1e-9);
        EXPECT_NEAR(v.integrated, reference.integrated(), 1e-9);
        EXPECT_NEAR(v.loudnessRange, reference.range(), 1e-9);
    }
}

TEST(LoudnessMeter, MeasuresOnlyTheFirst4096FramesOfALongBlock)
{
    constexpr int rate = 48000;
    constexpr std::size_t blockSize = 10000;
    const double quiet = std::pow(10.0, -40.0 / 20.0);
    std::vector<float> block(blockSize);
    // 85 whole periods in 4096 frames: the measured parts join without a click that
    // would raise the true peak.
    const double frequency = 85.0 * rate / LoudnessMeter::maxFrames;
    for (std::size_t n = 0; n < blockSize; ++n) {
        const double s = std::sin(2.0 * std::numbers::pi * frequency * n / rate);
        // Full scale after the cap: it must never reach the measurement.
        block[n] = static_cast<float>(n < LoudnessMeter::maxFrames ? quiet * s : s);
    }
    LoudnessMeter meter(2, rate);
    for (int b = 0; b < 20; ++b) {
        meter.addFrames(block.data(), block.data(), blockSize);
    }
    const LoudnessValues v = meter.read();
    EXPECT_NEAR(v.truePeakLeft, -40.0, 0.2);
    EXPECT_NEAR(v.truePeakRight, -40.0, 0.2);
    EXPECT_LT(v.momentary, -35.0);
}

TEST(LoudnessMeter, OneChannelMeasurementCopiesItsTruePeakToTheRight)
{
    constexpr int rate = 48000;
    const double amplitude = std::pow(10.0, -6.0 / 20.0);
    std::vector<float> left(4800);
    const std::vector<float> loudRight(4800, 1.0f);
    for (std::size_t n = 0; n < left.size(); ++n) {
        left[n] = static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * 997.0 * n / rate));
    }
    LoudnessMeter meter(1, rate);
    EXPECT_EQ(meter.channels(), 1);
    meter.addFrames(left.data(), nullptr, left.size());
    // A one-channel measurement ignores a right channel even when one is passed.
    meter.addFrames(left.data(), loudRight.data(), left.size());
    const LoudnessValues v = meter.read();
    EXPECT_NEAR(v.truePeakLeft, -6.0, 0.1);
    EXPECT_EQ(v.truePeakRight, v.truePeakLeft);
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

TEST(LoudnessMeter, FeedingAndReadingAllocateNothingOfTheirOwn)
{
    const Stereo signal = steppedTones(48000, 10 * 4096);
    LoudnessMeter meter(2, 48000);
    const AllocationCounter counter;
    for (std::size_t offset = 0; offset + 1024 <= signal.left.size(); offset += 1024) {
        meter.addFrames(&signal.left[offset], &signal.right[offset], 1024);
        (void)meter.read();
    }
    EXPECT_EQ(counter.count(), 0u);
}

} // namespace
