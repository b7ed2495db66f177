#include "engine/AudioEngine.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"
#include "tests/engine/EngineTestDoubles.h"
#include "tests/engine/QtTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

std::vector<float> sineFrame(float frequency, float amplitude, float sampleRate, std::size_t count = 4096)
{
    std::vector<float> frame(count);
    for (std::size_t i = 0; i < count; ++i) {
        frame[i] = amplitude * std::sin(2.0f * std::numbers::pi_v<float> * frequency * float(i) / sampleRate);
    }
    return frame;
}

class AudioEngineTest : public ::testing::Test {
protected:
    AudioEngineTest()
    {
        QObject::connect(&engine.meterData(), &MeterData::changed, [this](MeterFieldMask fields) {
            changes.push_back(fields);
        });
    }

    void tick(double dt)
    {
        now += dt;
        engine.updateDisplayValues();
    }
    const MeterValues &values() const { return engine.meterData().values(); }
    bool lastChangeHas(MeterField field) const { return !changes.empty() && (changes.back() & bit(field)) != 0; }

    static std::vector<float> analyse(const std::vector<float> &frame, float sampleRate, int bandCount)
    {
        std::vector<float> bands(static_cast<std::size_t>(bandCount));
        SpectrumAnalyzer().analyze(frame.data(),
                                   {.sampleRate = sampleRate, .calibrationOffset = 21.0f, .bandCount = bandCount}, bands);
        return bands;
    }

    QCoreApplication &app = testApplication();
    AppSettings settings{std::make_shared<MemoryDefaultsStore>()};
    double now = 100.0; // s on the injected clock
    int clockReads = 0;
    AudioEngine engine{settings, AudioEngine::TickSource::external, [this] {
                           ++clockReads;
                           return now;
                       }};
    std::shared_ptr<FakeBackend> backend = std::make_shared<FakeBackend>();
    std::vector<MeterFieldMask> changes; // one entry per changed() signal
};

TEST_F(AudioEngineTest, WithoutABackendEveryLevelFallsToExactlyTheFloorAndGoesQuiet)
{
    engine.setActiveBackend(backend);
    backend->levels = {0.0f, -1.0f, -3.0f, -4.0f};
    tick(1.0 / 60);
    EXPECT_EQ(values().peakLevelLeft, 0.0f);
    EXPECT_EQ(values().rmsLevelRight, -4.0f);
    EXPECT_EQ(values().maxPeakRight, -1.0f);

    engine.clearActiveBackend();
    tick(1.0 / 60);
    EXPECT_NEAR(values().peakLevelLeft, -0.4333f, 1e-4);
    EXPECT_NEAR(values().rmsLevelLeft, -3.3033f, 1e-4);
    for (int i = 0; i < 300; ++i) tick(1.0 / 60);
    for (const float level : {values().peakLevelLeft, values().peakLevelRight, values().rmsLevelLeft,
                              values().rmsLevelRight, values().maxPeakLeft, values().maxPeakRight}) {
        EXPECT_EQ(level, -60.0f);
    }
    changes.clear();
    tick(1.0 / 60);
    EXPECT_TRUE(changes.empty()) << "a meter at rest notifies nobody";
}

// With nothing measured yet, a fall step of 1000 s (now - 0) would empty the bands at
// once; the first tick must use 16 ms.
TEST_F(AudioEngineTest, FirstTickUsesSixteenMilliseconds)
{
    settings.setSpectralMinAmplitude(-120.0);
    auto inputDevice = std::make_shared<FakeInputDevice>();
    inputDevice->bands.assign(32, -110.0f); // as many bands as the initial display list
    engine.setActiveBackend(backend);
    engine.setInputDeviceBackend(inputDevice);
    now = 1000.0;
    engine.updateDisplayValues();
    ASSERT_EQ(values().spectralBands.size(), 32u);
    EXPECT_NEAR(values().spectralBands[0], -96.0f - 1.5f * 26.0f * 0.016f, 1e-4);
    tick(0.05); // measured from now on
    EXPECT_NEAR(values().spectralBands[0], -96.624f - 1.5f * 26.0f * 0.05f, 1e-4);
}

TEST_F(AudioEngineTest, HeldMaximumStaysForTheHoldTimeThenFallsWithTheBars)
{
    const double dt = 1.0 / 64; // exact in binary, so the hold boundary is exact too
    const float decay = 26.0f / 64;
    settings.setPeakHoldTime(1.0);
    engine.setActiveBackend(backend);
    backend->levels = {-6.0f, -9.0f, -20.0f, -20.0f};
    tick(dt);
    backend->levels = {};
    for (int k = 1; k <= 64; ++k) {
        tick(dt);
        ASSERT_EQ(values().maxPeakLeft, -6.0f) << "tick " << k;
        ASSERT_EQ(values().maxPeakRight, -9.0f) << "tick " << k;
    }
    EXPECT_EQ(values().peakLevelLeft, -6.0f - 64 * decay) << "the bar itself fell all along";
    tick(dt);
    EXPECT_EQ(values().maxPeakLeft, -6.0f - decay);
    tick(dt);
    EXPECT_EQ(values().maxPeakLeft, -6.0f - 2 * decay);
    EXPECT_EQ(values().maxPeakRight, -9.0f - 2 * decay);

    changes.clear();
    engine.resetPeaks();
    EXPECT_EQ(values().maxPeakLeft, -60.0f);
    EXPECT_EQ(values().maxPeakRight, -60.0f);
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0], bit(MeterField::MaxPeakLeft) | bit(MeterField::MaxPeakRight));
}

TEST_F(AudioEngineTest, LevelsArePublishedOnlyWhenTheyMoveMoreThanAHundredthOfADecibel)
{
    engine.setActiveBackend(backend);
    backend->levels = {-20.0f, -20.0f, -25.0f, -25.0f};
    tick(1.0 / 60);
    EXPECT_EQ(values().peakLevelLeft, -20.0f);

    backend->levels.peakLeft = -19.995f;
    tick(1.0 / 60);
    EXPECT_EQ(values().peakLevelLeft, -20.0f);
    EXPECT_FALSE(lastChangeHas(MeterField::PeakLevelLeft));
    EXPECT_TRUE(lastChangeHas(MeterField::PeakLevelRight)) << "the steady right bar fell a whole step";

    backend->levels.peakLeft = -19.975f;
    tick(1.0 / 60);
    EXPECT_EQ(values().peakLevelLeft, -19.975f);
    EXPECT_TRUE(lastChangeHas(MeterField::PeakLevelLeft));
}

TEST_F(AudioEngineTest, BallisticsModeAndDecayRateApplyFromTheNextTick)
{
    engine.setActiveBackend(backend);
    backend->levels = {0.0f, 0.0f, -10.0f, -10.0f};
    settings.setMeterBallisticsModeString(QStringLiteral("VU"));
    tick(1.0 / 60);
    EXPECT_NEAR(values().peakLevelLeft, -60.0f + 0.115048312f * 50.0f, 1e-4) << "VU peak bars follow RMS";
    settings.setMeterBallisticsModeString(QStringLiteral("no such mode"));
    tick(1.0 / 60);
    EXPECT_EQ(values().peakLevelLeft, 0.0f) << "unknown means Digital Peak";

    engine.setMeterDecayRate(6.0);
    backend->levels = {};
    tick(1.0 / 60);
    EXPECT_NEAR(values().peakLevelLeft, -0.1f, 1e-5);
}

TEST_F(AudioEngineTest, EngineSpectrumPathPublishesBandsAndCurveAndRestartsOnANewResolution)
{
    settings.setSpectralOctaveResolutionString(QStringLiteral("1/3 Octave"));
    engine.setActiveBackend(backend);
    engine.setCurrentSampleRate(44100.0f);
    const std::vector<float> sine = sineFrame(1000.0f, 0.5f, 44100.0f);
    backend->setFftSamples(sine);
    tick(1.0 / 60);
    const std::vector<float> expected = analyse(sine, 44100.0f, 31);
    EXPECT_EQ(values().spectralBands, expected) << "bands rise at once to the analysed levels";
    ASSERT_EQ(values().spectralSplinePoints.size(), 121u);
    EXPECT_EQ(values().spectralSplinePoints.front().x, 0.0);
    EXPECT_NEAR(values().spectralSplinePoints.front().y, 1.0 - std::clamp((expected[0] + 96.0) / 96.0, 0.0, 1.0), 1e-6);
    EXPECT_EQ(values().spectralSplinePoints.back().x, 1.0);

    // No new frame: the stored bands are smoothed again and the display falls towards them.
    tick(1.0 / 60);
    EXPECT_EQ(backend->fftReads, 2);
    const auto peakBand = std::max_element(expected.begin(), expected.end()) - expected.begin();
    EXPECT_NEAR(values().spectralBands[std::size_t(peakBand)], expected[std::size_t(peakBand)] - 0.65f, 1e-4);

    // 31 -> 60 bands: the new list starts at the floor and is published at once.
    settings.setSpectralOctaveResolutionString(QStringLiteral("1/6 Octave"));
    backend->setFftSamples(std::vector<float>(4096, 0.0f));
    tick(1.0 / 60);
    EXPECT_EQ(values().spectralBands, std::vector<float>(60, -96.0f));
    EXPECT_EQ(values().spectralSplinePoints.size(), 121u) << "no band moved, so no new curve";
    backend->setFftSamples(sine);
    tick(1.0 / 60);
    EXPECT_EQ(values().spectralBands, analyse(sine, 44100.0f, 60));
    EXPECT_EQ(values().spectralSplinePoints.size(), 237u);
}

TEST_F(AudioEngineTest, SpectrumNeedsAFullFrameAndTheSwitch)
{
    engine.setActiveBackend(backend);
    backend->setFftSamples(sineFrame(1000.0f, 0.5f, 48000.0f, 4000));
    tick(1.0 / 60);
    EXPECT_EQ(values().spectralBands, std::vector<float>(32, -96.0f));
    EXPECT_TRUE(values().spectralSplinePoints.empty());

    settings.setShowSpectralMeter(false);
    backend->setFftSamples(sineFrame(1000.0f, 0.5f, 48000.0f));
    tick(1.0 / 60);
    EXPECT_EQ(backend->fftReads, 1) << "spectrum off: samples are not even read";
}

TEST_F(AudioEngineTest, InputDeviceBackEndGetsTheSettingsAndDeliversItsOwnBands)
{
    auto inputDevice = std::make_shared<FakeInputDevice>();
    engine.setActiveBackend(backend);
    engine.setInputDeviceBackend(inputDevice);
    engine.setTestSignalEnabled(true);
    settings.setLissajousTrailLength(300.9);
    settings.setSpectralMinFrequency(30.0);
    settings.setSpectralCalibrationOffset(15.5);
    settings.setSpectralOctaveResolutionString(QStringLiteral("1/12 Octave"));
    settings.setShowLissajousMeter(false);
    inputDevice->bands.assign(120, -40.0f);
    tick(1.0 / 60);

    const SpectralSettings &applied = inputDevice->applied;
    EXPECT_TRUE(applied.spectralEnabled);
    EXPECT_TRUE(applied.testSignalActive);
    EXPECT_FALSE(applied.lissajousEnabled);
    EXPECT_EQ(applied.lissajousTrailLength, 300u) << "truncated";
    EXPECT_EQ(applied.minFreq, 30.0f);
    EXPECT_EQ(applied.maxFreq, 24000.0f);
    EXPECT_EQ(applied.calibrationOffset, 15.5f);
    EXPECT_EQ(applied.bandCount, 120);
    EXPECT_EQ(values().spectralBands, std::vector<float>(120, -40.0f));
    EXPECT_EQ(backend->fftReads, 0) << "the back-end's own bands replace the engine's analysis";

    tick(1.0 / 60);
    EXPECT_EQ(inputDevice->applyCount, 2) << "settings are copied every tick";
    EXPECT_NEAR(values().spectralBands[0], -40.65f, 1e-4) << "taken once, then smoothed again";
}

// Nothing on screen: the audio thread stops preparing what only the screen shows, and
// picks it up again as soon as a meter is back.
TEST_F(AudioEngineTest, WhileNoMeterIsOnScreenTheBackEndStopsAnalysingForIt)
{
    auto inputDevice = std::make_shared<FakeInputDevice>();
    engine.setActiveBackend(backend);
    engine.setInputDeviceBackend(inputDevice);
    tick(1.0 / 60);
    ASSERT_TRUE(inputDevice->applied.spectralEnabled && inputDevice->applied.lissajousEnabled);

    engine.setDisplayActive(false);
    EXPECT_FALSE(inputDevice->applied.spectralEnabled);
    EXPECT_FALSE(inputDevice->applied.lissajousEnabled);
    auto restarted = std::make_shared<FakeInputDevice>();
    engine.setInputDeviceBackend(restarted);
    EXPECT_EQ(restarted->applyCount, 1) << "a back-end started while hidden is told at once";
    EXPECT_FALSE(restarted->applied.spectralEnabled);

    engine.setDisplayActive(true);
    EXPECT_TRUE(restarted->applied.spectralEnabled);
    EXPECT_TRUE(restarted->applied.lissajousEnabled);
}

TEST_F(AudioEngineTest, TrailKeepsTheNewestPointsUpToItsLength)
{
    settings.setLissajousTrailLength(512.0);
    engine.setActiveBackend(backend);
    for (int i = 0; i < 600; ++i) backend->points.push_back({float(i), -float(i)});
    tick(1.0 / 60);
    ASSERT_EQ(values().lissajousPoints.size(), 512u);
    EXPECT_EQ(values().lissajousPoints.front(), (LissajousPoint{88.0f, -88.0f}));
    EXPECT_EQ(values().lissajousPoints.back(), (LissajousPoint{599.0f, -599.0f}));

    changes.clear();
    tick(1.0 / 60);
    EXPECT_TRUE(changes.empty()) << "no new points, nothing published";
    EXPECT_EQ(values().lissajousPoints.size(), 512u) << "and the trail does not fade by itself";

    settings.setLissajousTrailLength(100.0);
    backend->points = {{1.0f, 1.0f}, {2.0f, 2.0f}};
    tick(1.0 / 60);
    ASSERT_EQ(values().lissajousPoints.size(), 100u);
    EXPECT_EQ(values().lissajousPoints[97], (LissajousPoint{599.0f, -599.0f}));

    settings.setShowLissajousMeter(false);
    const int reads = backend->lissajousReads;
    tick(1.0 / 60);
    EXPECT_EQ(backend->lissajousReads, reads);
}

TEST_F(AudioEngineTest, LoudnessIsReadEveryTick)
{
    auto meter = std::make_shared<LoudnessMeter>(2, 48000);
    engine.setLoudnessMeter(meter);
    // Momentary loudness from 400 ms of audio on, integrated loudness every 500 ms.
    const std::vector<float> sine = sineFrame(1000.0f, 0.0707946f, 48000.0f, 24000);
    meter->addFrames(sine.data(), sine.data(), 19200);
    tick(1.0 / 60);
    EXPECT_NEAR(values().momentaryLUFS, -23.0, 0.1);
    EXPECT_EQ(values().integratedLUFS, -70.0);
    EXPECT_EQ(values().loudnessRange, 0.0);

    meter->addFrames(&sine[19200], &sine[19200], 4800);
    tick(1.0 / 60);
    EXPECT_NEAR(values().integratedLUFS, -23.0, 0.1);
    EXPECT_NEAR(values().truePeakLeft, -23.0, 0.1);
    EXPECT_NEAR(values().truePeakRight, -23.0, 0.1);

    changes.clear();
    tick(1.0 / 60);
    for (const MeterFieldMask fields : changes) EXPECT_EQ(fields & loudnessFields, 0u) << "steady loudness is not republished";
}

} // namespace
