#include "engine/AudioEngine.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"
#include "tests/engine/QtTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

// A stereo 1 kHz sine of this peak amplitude fed into `meter` for `seconds`.
void feedSine(LoudnessMeter &meter, float amplitude, double seconds)
{
    constexpr int rate = 48000;
    std::vector<float> block(4096);
    static std::size_t phase = 0;
    for (std::size_t done = 0; done < static_cast<std::size_t>(seconds * rate); done += block.size()) {
        for (float &s : block)
            s = amplitude * static_cast<float>(std::sin(2.0 * std::numbers::pi * 1000.0 * double(phase++) / rate));
        meter.addFrames(block.data(), block.data(), block.size());
    }
}

class LoudnessHistoryEngineTest : public ::testing::Test {
protected:
    void tickFor(double seconds, double interval = 1.0 / 60.0)
    {
        for (double end = now + seconds; now < end; now += interval) engine.updateDisplayValues();
    }

    QCoreApplication &app = testApplication();
    AppSettings settings{std::make_shared<MemoryDefaultsStore>()};
    double now = 50.0; // s on the injected clock
    AudioEngine engine{settings, AudioEngine::TickSource::external, [this] { return now; }};
};

} // namespace

TEST_F(LoudnessHistoryEngineTest, TheTickRecordsTheMeasuredLoudnessAndAGapWithoutAMeasurement)
{
    tickFor(1.0);
    const LoudnessHistory &history = engine.loudnessHistory();
    ASSERT_NEAR(static_cast<double>(history.totalSamples()), 10.0, 1.0);
    // No meter yet: nothing measured, so nothing but gaps.
    for (std::uint64_t i = history.firstIndex(); i < history.totalSamples(); ++i)
        EXPECT_FALSE(LoudnessHistory::Sample::decode(history.at(i).momentary));

    auto meter = std::make_shared<LoudnessMeter>(2, 48000);
    engine.setLoudnessMeter(meter);
    feedSine(*meter, 0.5f, 3.0);
    tickFor(0.5);
    const LoudnessHistory::Sample &newest = history.at(history.totalSamples() - 1);
    const MeterValues &values = engine.meterData().values();
    EXPECT_NEAR(*LoudnessHistory::Sample::decode(newest.momentary), values.momentaryLUFS, 0.1);
    EXPECT_NEAR(*LoudnessHistory::Sample::decode(newest.integrated), values.integratedLUFS, 0.1);
    EXPECT_NEAR(*LoudnessHistory::Sample::decode(newest.truePeak),
                std::max(values.truePeakLeft, values.truePeakRight), 0.1);
}

TEST_F(LoudnessHistoryEngineTest, ResetPeaksKeepsTheHistoryAndANewMeterBreaksIt)
{
    auto meter = std::make_shared<LoudnessMeter>(2, 48000);
    engine.setLoudnessMeter(meter);
    feedSine(*meter, 0.5f, 2.0);
    tickFor(2.0);
    const LoudnessHistory &history = engine.loudnessHistory();
    const std::uint64_t before = history.totalSamples();
    const double maxBefore = history.summary()->maxMomentary;

    engine.resetPeaks();
    tickFor(0.2);
    EXPECT_GE(history.totalSamples(), before);
    EXPECT_EQ(history.firstIndex(), 0u);
    EXPECT_DOUBLE_EQ(history.summary()->maxMomentary, maxBefore);

    // The same meter handed over again is the same measurement.
    engine.setLoudnessMeter(meter);
    tickFor(0.2);
    for (std::uint64_t i = 1; i < history.totalSamples(); ++i) EXPECT_FALSE(history.at(i).startsMeasurement) << i;

    // Capture restarted: a new meter, a new measurement, quieter than the old one.
    const std::uint64_t restart = history.totalSamples();
    auto next = std::make_shared<LoudnessMeter>(2, 48000);
    engine.setLoudnessMeter(next);
    feedSine(*next, 0.05f, 1.0);
    tickFor(0.5);
    EXPECT_TRUE(history.at(restart).startsMeasurement);
    EXPECT_LT(history.summary()->maxMomentary, maxBefore - 15.0);
}
