// True peak is most of a loudness measurement's cost: the scanner against libebur128's
// own true-peak state, and the libebur128 loudness lane, each over 10 s of 48 kHz audio.
#include "engine/analysis/LoudnessLane.h"
#include "engine/dsp/TruePeakScanner.h"

#include <benchmark/benchmark.h>
#include <ebur128.h>

#include <cmath>
#include <vector>

namespace {

constexpr int rate = 48000;
constexpr std::size_t frames = 10 * rate;

std::vector<float> stereoProgramme()
{
    std::vector<float> samples(2 * frames);
    std::uint32_t x = 1;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        x = x * 1664525u + 1013904223u;
        samples[i] = static_cast<float>(0.3 * std::sin(0.13 * static_cast<double>(i)) + (x >> 8) * 1e-8);
    }
    return samples;
}

void BM_TruePeakScannerTwoChannels(benchmark::State &state)
{
    const std::vector<float> samples = stereoProgramme();
    for (auto _ : state) {
        TruePeakScanner left(rate), right(rate);
        left.add(samples.data(), frames, 2);
        right.add(samples.data() + 1, frames, 2);
        benchmark::DoNotOptimize(left.truePeak() + right.truePeak());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * frames));
}
BENCHMARK(BM_TruePeakScannerTwoChannels)->Unit(benchmark::kMillisecond);

void BM_Libebur128TruePeakTwoChannels(benchmark::State &state)
{
    const std::vector<float> samples = stereoProgramme();
    for (auto _ : state) {
        ebur128_state *meter = ebur128_init(2, rate, EBUR128_MODE_TRUE_PEAK);
        ebur128_set_channel(meter, 0, EBUR128_UNUSED); // true peak only: no loudness filter
        ebur128_set_channel(meter, 1, EBUR128_UNUSED);
        ebur128_add_frames_float(meter, samples.data(), frames);
        double peak = 0.0;
        ebur128_true_peak(meter, 0, &peak);
        benchmark::DoNotOptimize(peak);
        ebur128_destroy(&meter);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * frames));
}
BENCHMARK(BM_Libebur128TruePeakTwoChannels)->Unit(benchmark::kMillisecond);

void BM_LoudnessLaneStereo(benchmark::State &state)
{
    const std::vector<float> samples = stereoProgramme();
    for (auto _ : state) {
        LoudnessLane lane(rate, {EBUR128_LEFT, EBUR128_RIGHT});
        for (std::size_t start = 0; start < frames; start += 16384)
            lane.add(samples.data() + 2 * start, std::min<std::size_t>(16384, frames - start));
        FileAnalysis result;
        lane.finish(result);
        benchmark::DoNotOptimize(result.integratedLufs);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * frames));
}
BENCHMARK(BM_LoudnessLaneStereo)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
