#include "engine/dsp/MeterBallistics.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>

namespace {

constexpr float tick = 1.0f / 60.0f;

AudioLevels steady(float peak, float rms) { return {peak, peak, rms, rms}; }

TEST(MeterBallistics, AttackConstantsHaveTheirExactBitPatterns)
{
    EXPECT_EQ(std::bit_cast<std::uint32_t>(meter_ballistics::attackCoefficient(MeterBallistics::ppmEbuBbc)), 0x3F7974CDu);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(meter_ballistics::attackCoefficient(MeterBallistics::ppmDin)), 0x3F7974CDu);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(meter_ballistics::attackCoefficient(MeterBallistics::ppmNordic)), 0x3F7FD52Eu);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(meter_ballistics::attackCoefficient(MeterBallistics::vu)), 0x3DEB9E73u);
    EXPECT_EQ(meter_ballistics::attackCoefficient(MeterBallistics::digitalPeak), 1.0f);
}

TEST(MeterBallistics, NamesRoundTripInPickerOrderAndUnknownMeansDigitalPeak)
{
    const char *names[] = {"Digital Peak", "PPM (EBU/BBC)", "PPM (DIN)", "PPM (Nordic)", "VU"};
    for (std::size_t i = 0; i < meter_ballistics::allCases.size(); ++i) {
        const MeterBallistics mode = meter_ballistics::allCases[i];
        EXPECT_EQ(meter_ballistics::rawValue(mode), names[i]);
        EXPECT_EQ(meter_ballistics::fromRawValue(names[i]), mode);
    }
    EXPECT_EQ(meter_ballistics::description(MeterBallistics::ppmDin), "10ms attack, 11.8 dB/s decay (IEC Type II)");
    EXPECT_EQ(meter_ballistics::fromRawValue("vu"), std::nullopt);
    EXPECT_EQ(meter_ballistics::fromRawValueOrDefault("PPM (Swiss)"), MeterBallistics::digitalPeak);
}

// A step from silence to full scale, tick by tick, for every mode. A bar that has
// reached its target falls again on the next tick (target <= bar means falling) and
// is lifted back the tick after: Digital Peak flickers by one step on a steady tone.
TEST(MeterBallistics, AttackFromSilenceToFullScale)
{
    struct Case {
        MeterBallistics mode;
        float afterOne;
        float afterTwo;
    };
    for (const Case c : {Case{MeterBallistics::digitalPeak, 0.0f, -0.4333f}, Case{MeterBallistics::ppmEbuBbc, -1.5337f, -0.0392f},
                         Case{MeterBallistics::ppmDin, -1.5337f, -0.0392f}, Case{MeterBallistics::ppmNordic, -0.0392f, 0.0f},
                         Case{MeterBallistics::vu, -53.097f, -46.988f}}) {
        BallisticState state;
        advanceBallistics(state, steady(0.0f, 0.0f), c.mode, 26.0f, tick);
        EXPECT_NEAR(state.peakLeft, c.afterOne, 1e-3) << meter_ballistics::rawValue(c.mode);
        EXPECT_NEAR(state.rmsRight, c.afterOne, 1e-3) << meter_ballistics::rawValue(c.mode);
        advanceBallistics(state, steady(0.0f, 0.0f), c.mode, 26.0f, tick);
        EXPECT_NEAR(state.peakRight, c.afterTwo, 1e-3) << meter_ballistics::rawValue(c.mode);
        // The attack is per tick whatever the tick's length.
        BallisticState slow;
        advanceBallistics(slow, steady(0.0f, 0.0f), c.mode, 26.0f, 1.0f / 30.0f);
        EXPECT_NEAR(slow.peakLeft, c.afterOne, 1e-3) << meter_ballistics::rawValue(c.mode);
    }
}

TEST(MeterBallistics, VuPeakBarsFollowRms)
{
    BallisticState state;
    for (int i = 0; i < 200; ++i) advanceBallistics(state, steady(0.0f, -10.0f), MeterBallistics::vu, 26.0f, tick);
    EXPECT_NEAR(state.peakLeft, -10.0f, 1e-3);
    EXPECT_NEAR(state.rmsLeft, -10.0f, 1e-3);
}

TEST(MeterBallistics, FallRatesPerModeStopExactlyAtTheFloor)
{
    struct Case {
        MeterBallistics mode;
        float peakStep; // dB per 1/60 s tick
    };
    for (const Case c : {Case{MeterBallistics::digitalPeak, 26.0f / 60}, Case{MeterBallistics::ppmEbuBbc, 24.0f / 60},
                         Case{MeterBallistics::ppmDin, 11.8f / 60}, Case{MeterBallistics::ppmNordic, 13.3f / 60},
                         Case{MeterBallistics::vu, 26.0f / 60}}) {
        BallisticState state{0.0f, 0.0f, 0.0f, 0.0f};
        const float decay = advanceBallistics(state, steady(-60.0f, -60.0f), c.mode, 26.0f, tick);
        EXPECT_NEAR(decay, c.peakStep, 1e-5) << meter_ballistics::rawValue(c.mode);
        EXPECT_NEAR(state.peakLeft, -c.peakStep, 1e-5);
        EXPECT_NEAR(state.rmsLeft, -0.7f * c.peakStep, 1e-5);
        for (int i = 0; i < 2000; ++i) advanceBallistics(state, steady(-60.0f, -60.0f), c.mode, 26.0f, tick);
        EXPECT_EQ(state.peakLeft, -60.0f);
        EXPECT_EQ(state.rmsRight, -60.0f);
    }
}

// A target just under the bar still pulls it down by the whole step.
TEST(MeterBallistics, FallIgnoresHowFarBelowTheTargetIs)
{
    BallisticState state{-10.0f, -10.0f, -10.0f, -10.0f};
    advanceBallistics(state, steady(-10.1f, -10.1f), MeterBallistics::digitalPeak, 26.0f, tick);
    EXPECT_NEAR(state.peakLeft, -10.4333f, 1e-4);
    advanceBallistics(state, steady(-10.1f, -10.1f), MeterBallistics::digitalPeak, 26.0f, tick);
    EXPECT_NEAR(state.peakLeft, -10.1f, 1e-5);
}

TEST(PeakHold, HoldsForTheHoldTimeThenFallsToTheFloor)
{
    PeakHold hold;
    advancePeakHold(hold, -3.0f, 10.0, 1.5, 0.5f);
    EXPECT_EQ(hold.level, -3.0f);
    EXPECT_EQ(hold.raisedAt, 10.0);

    advancePeakHold(hold, -20.0f, 11.5, 1.5, 0.5f); // exactly the hold time: still held
    EXPECT_EQ(hold.level, -3.0f);
    advancePeakHold(hold, -20.0f, 11.6, 1.5, 0.5f);
    EXPECT_EQ(hold.level, -3.5f);
    EXPECT_EQ(hold.raisedAt, 10.0); // falling does not restart the hold
    advancePeakHold(hold, -20.0f, 11.7, 1.5, 0.5f);
    EXPECT_EQ(hold.level, -4.0f);

    advancePeakHold(hold, -3.9f, 11.8, 1.5, 0.5f); // a new rise lifts it and holds again
    EXPECT_EQ(hold.level, -3.9f);
    advancePeakHold(hold, -60.0f, 12.0, 1.5, 0.5f);
    EXPECT_EQ(hold.level, -3.9f);

    for (int i = 0; i < 500; ++i) advancePeakHold(hold, -60.0f, 20.0 + i, 1.5, 0.5f);
    EXPECT_EQ(hold.level, -60.0f);
}

} // namespace
