// One display tick with everything on: 480 spectrum bands with their curve, a
// 512-point phase-scope trail and loudness, in the worst case where every band and
// the trail change on every tick.

#include "engine/AudioEngine.h"
#include "engine/dsp/LoudnessHistory.h"
#include "engine/dsp/LoudnessMeter.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

// Hands out a new spectrum frame, new levels and 64 new points on every read, as a
// busy back-end would between two ticks; the copies are the same a real one makes.
class BusyBackend final : public AudioCaptureBackend {
public:
    BusyBackend()
    {
        for (std::size_t f = 0; f < frames_.size(); ++f) {
            frames_[f].resize(4096);
            for (std::size_t i = 0; i < 4096; ++i) {
                const float t = static_cast<float>(i) / 48000.0f;
                frames_[f][i] = (f == 0 ? 0.5f : 0.05f) * std::sin(2.0f * std::numbers::pi_v<float> * 440.0f * t) +
                                0.1f * std::sin(2.0f * std::numbers::pi_v<float> * 3000.0f * t);
            }
        }
    }
    AudioLevels readLevels() override
    {
        const float level = (++reads_ % 2 == 0) ? -6.0f : -20.0f;
        return {level, level, level - 3.0f, level - 3.0f};
    }
    std::optional<std::size_t> readFFTSamples(float *dest, std::size_t maxCount) override
    {
        const std::vector<float> &frame = frames_[reads_ % 2];
        const std::size_t count = std::min(maxCount, frame.size());
        std::copy_n(frame.begin(), count, dest);
        return count;
    }
    std::vector<LissajousPoint> readLissajousSamples() override
    {
        std::vector<LissajousPoint> points(64);
        for (std::size_t i = 0; i < points.size(); ++i) points[i] = {0.01f * float(i), -0.01f * float(reads_ % 7)};
        return points;
    }

private:
    std::array<std::vector<float>, 2> frames_; // a loud and a quiet frame, alternating
    unsigned reads_ = 0;
};

void runTick(benchmark::State &state, std::shared_ptr<DefaultsStore> store)
{
    AppSettings settings(std::move(store));
    settings.setShowSpectralMeter(true);
    settings.setSpectralOctaveResolutionString(QStringLiteral("1/48 Octave"));
    settings.setShowLissajousMeter(true);
    settings.setLissajousTrailLength(512.0);
    settings.setShowLUFSMeter(true);

    double now = 10.0;
    AudioEngine engine(settings, AudioEngine::TickSource::external, [&now] { return now; });
    engine.setActiveBackend(std::make_shared<BusyBackend>());
    auto meter = std::make_shared<LoudnessMeter>(2, 48000);
    std::vector<float> tone(4096);
    for (std::size_t i = 0; i < tone.size(); ++i) tone[i] = 0.1f * std::sin(0.05f * float(i));
    for (int i = 0; i < 20; ++i) meter->addFrames(tone.data(), tone.data(), tone.size());
    engine.setLoudnessMeter(meter);
    for (int i = 0; i < 20; ++i) { // fill the trail
        now += 1.0 / 60;
        engine.updateDisplayValues();
    }

    for (auto _ : state) {
        now += 1.0 / 60;
        engine.updateDisplayValues();
    }
    state.counters["bands"] = static_cast<double>(engine.meterData().values().spectralBands.size());
    state.counters["curvePoints"] = static_cast<double>(engine.meterData().values().spectralSplinePoints.size());
    state.counters["trail"] = static_cast<double>(engine.meterData().values().lissajousPoints.size());
}
// Settings in memory: the engine's own cost.
void BM_UpdateDisplayValues(benchmark::State &state) { runTick(state, std::make_shared<MemoryDefaultsStore>()); }
BENCHMARK(BM_UpdateDisplayValues)->Unit(benchmark::kMicrosecond);

// Settings in an INI file as in the application: the tick reads a dozen of them.
void BM_UpdateDisplayValuesIniSettings(benchmark::State &state)
{
    QTemporaryDir directory;
    runTick(state, std::make_shared<QSettingsDefaultsStore>(directory.filePath("settings.ini")));
}
BENCHMARK(BM_UpdateDisplayValuesIniSettings)->Unit(benchmark::kMicrosecond);

// The loudness history's share of the tick above (it runs inside every tick): one call
// per 60 Hz tick, a sample every sixth, into a ring that has long wrapped.
void BM_LoudnessHistoryAdvance(benchmark::State &state)
{
    LoudnessHistory history;
    double now = 0.0;
    for (std::size_t i = 0; i < 2 * LoudnessHistory::defaultCapacity; ++i, now += 0.1)
        history.advance(now, {-20.0, -21.0, -23.0, -3.0});
    double momentary = -20.0;
    for (auto _ : state) {
        now += 1.0 / 60.0;
        momentary = momentary < -10.0 ? momentary + 0.01 : -20.0;
        history.advance(now, {momentary, -21.0, -23.0, -3.0});
    }
    benchmark::DoNotOptimize(history.totalSamples());
}
BENCHMARK(BM_LoudnessHistoryAdvance)->Unit(benchmark::kNanosecond);

} // namespace
