#include "engine/dsp/LoudnessHistory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

namespace {

using Sample = LoudnessHistory::Sample;

LoudnessHistory::Input loudness(double momentary, double shortTerm = -20.0, double integrated = -21.0,
                                double truePeak = -3.0)
{
    return {momentary, shortTerm, integrated, truePeak};
}

std::optional<double> momentaryAt(const LoudnessHistory &history, std::uint64_t index)
{
    return Sample::decode(history.at(index).momentary);
}

// Ticks from `start` for `seconds` with the intervals `next` gives; returns the tick time.
template <typename Interval> double tickFor(LoudnessHistory &history, double start, double seconds, Interval next)
{
    double now = start;
    while (now < start + seconds) {
        history.advance(now, loudness(-20.0));
        now += next();
    }
    return now;
}

} // namespace

TEST(LoudnessHistory, RingKeepsTheNewestSamplesInOrderOnceItWraps)
{
    LoudnessHistory history(50);
    for (int i = 0; i < 130; ++i) history.advance(i * 0.1, loudness(-60.0 + i * 0.25));

    EXPECT_EQ(history.capacity(), 50u);
    EXPECT_EQ(history.size(), 50u);
    EXPECT_EQ(history.totalSamples(), 130u);
    EXPECT_EQ(history.firstIndex(), 80u);
    // Every held sample is the one taken at its index, oldest to newest.
    for (std::uint64_t i = history.firstIndex(); i < history.totalSamples(); ++i)
        EXPECT_NEAR(*momentaryAt(history, i), -60.0 + static_cast<double>(i) * 0.25, 0.005) << i;

    // An hour fits in a few hundred kB whatever the running time.
    EXPECT_LE(sizeof(Sample) * LoudnessHistory::defaultCapacity, 400'000u);
}

TEST(LoudnessHistory, TakesTenSamplesASecondWhateverTheTickIntervals)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> jitter(0.002, 0.045);
    const std::vector<std::pair<const char *, std::function<double()>>> patterns = {
        {"60 Hz", [] { return 1.0 / 60.0; }},
        {"144 Hz", [] { return 1.0 / 144.0; }},
        {"24 Hz", [] { return 1.0 / 24.0; }},
        {"exactly 10 Hz", [] { return 0.1; }},
        {"jittery", [&] { return jitter(random); }},
        // A slow frame now and then: 60 Hz with a 250 ms hitch every second.
        {"hitches", [n = 0]() mutable { return ++n % 60 == 0 ? 0.25 : 1.0 / 60.0; }},
    };
    for (const auto &[name, interval] : patterns) {
        LoudnessHistory history;
        tickFor(history, 1000.0, 60.0, interval);
        // One sample per 100 ms slot since the first tick: 600 for a minute, give or
        // take the slot the minute ends in.
        EXPECT_NEAR(static_cast<double>(history.totalSamples()), 600.0, 1.0) << name;
        // Late frames repeat the values they read: nothing within a minute of steady
        // ticking is a gap.
        for (std::uint64_t i = history.firstIndex(); i < history.totalSamples(); ++i)
            ASSERT_TRUE(momentaryAt(history, i).has_value()) << name << " sample " << i;
    }
}

TEST(LoudnessHistory, PausesBecomeGapsThatKeepTheTimeAxisTrue)
{
    LoudnessHistory history(1000);
    history.advance(10.0, loudness(-20.0));
    history.advance(10.1, loudness(-20.0));
    // No window on screen for 12 s: no ticks.
    history.advance(22.1, loudness(-18.0));

    // 10.0 and 10.1, then 119 empty slots, then the value read at 22.1.
    ASSERT_EQ(history.totalSamples(), 2u + 119u + 1u);
    EXPECT_TRUE(momentaryAt(history, 1).has_value());
    for (std::uint64_t i = 2; i < 121; ++i) EXPECT_FALSE(momentaryAt(history, i).has_value()) << i;
    EXPECT_NEAR(*momentaryAt(history, 121), -18.0, 0.005);

    // The grid stays on 100 ms steps from the first sample: 22.15 is not due yet.
    history.advance(22.15, loudness(-18.0));
    EXPECT_EQ(history.totalSamples(), 122u);
    history.advance(22.2, loudness(-18.0));
    EXPECT_EQ(history.totalSamples(), 123u);

    // A pause longer than the ring: the ring holds gaps and the newest value only,
    // and filling it costs no more than its capacity.
    history.advance(22.2 + 3600.0 * 24, loudness(-17.0));
    EXPECT_EQ(history.size(), 1000u);
    for (std::uint64_t i = history.firstIndex(); i + 1 < history.totalSamples(); ++i)
        ASSERT_FALSE(momentaryAt(history, i).has_value());
    EXPECT_NEAR(*momentaryAt(history, history.totalSamples() - 1), -17.0, 0.005);
}

TEST(LoudnessHistory, NoValueIsStoredAsAGapAndRealValuesToAHundredth)
{
    EXPECT_EQ(Sample::encode(-70.0), Sample::noValue);
    EXPECT_EQ(Sample::encode(-120.0), Sample::noValue);
    EXPECT_EQ(Sample::encode(std::nan("")), Sample::noValue);
    EXPECT_NE(Sample::encode(-69.99), Sample::noValue);
    EXPECT_DOUBLE_EQ(*Sample::decode(Sample::encode(-23.456)), -23.46);
    EXPECT_DOUBLE_EQ(*Sample::decode(Sample::encode(2.5)), 2.5);
    // Absurd values saturate instead of wrapping round into "no value" or the other sign.
    EXPECT_DOUBLE_EQ(*Sample::decode(Sample::encode(1.0e9)), 300.0);

    LoudnessHistory history;
    history.advance(0.0, {-70.0, -23.0, -70.0, -70.0});
    const Sample &first = history.at(0);
    EXPECT_FALSE(Sample::decode(first.momentary));
    EXPECT_NEAR(*Sample::decode(first.shortTerm), -23.0, 1e-9);
    EXPECT_FALSE(Sample::decode(first.integrated));
    EXPECT_FALSE(Sample::decode(first.truePeak));
    // No value does not count as a maximum.
    EXPECT_DOUBLE_EQ(history.summary()->maxMomentary, LoudnessHistory::noValueLufs);
}

TEST(LoudnessHistory, ANewMeasurementMarksItsFirstSampleAndStartsFreshMaxima)
{
    LoudnessHistory history;
    history.advance(0.0, loudness(-10.0, -12.0, -14.0, -0.5));
    history.advance(0.1, loudness(-30.0, -31.0, -14.0, -0.5));
    EXPECT_TRUE(history.at(0).startsMeasurement); // the very first sample begins one
    EXPECT_FALSE(history.at(1).startsMeasurement);
    EXPECT_DOUBLE_EQ(history.summary()->maxMomentary, -10.0);

    // Capture restarts; the screen was off meanwhile, so gaps come first and the mark
    // goes on the first sample of the new measurement, not on a gap.
    history.markMeasurementStart();
    EXPECT_FALSE(history.summary().has_value());
    history.advance(5.0, loudness(-25.0, -26.0, -27.0, -6.0));
    const std::uint64_t newest = history.totalSamples() - 1;
    EXPECT_TRUE(history.at(newest).startsMeasurement);
    for (std::uint64_t i = 2; i < newest; ++i) EXPECT_FALSE(history.at(i).startsMeasurement);

    const LoudnessHistory::Summary &summary = *history.summary();
    EXPECT_DOUBLE_EQ(summary.startSeconds, 5.0);
    EXPECT_DOUBLE_EQ(summary.maxMomentary, -25.0);
    EXPECT_DOUBLE_EQ(summary.maxShortTerm, -26.0);
    EXPECT_DOUBLE_EQ(summary.maxTruePeak, -6.0);

    // Maxima are the unrounded inputs, not the stored hundredths.
    history.advance(5.1, loudness(-24.123456, -26.0, -27.0, -6.0));
    EXPECT_DOUBLE_EQ(history.summary()->maxMomentary, -24.123456);
    EXPECT_DOUBLE_EQ(history.summary()->endSeconds, 5.1);
}
