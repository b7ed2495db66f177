// Cost of the loudness meter per block, measured inline and as the audio thread pays for
// it with a metering thread, against libebur128's full mode doing the same work alone,
// and how that mode's integrated/range queries grow with the length of the measurement
// (the reason the meter keeps histograms instead).
#include "engine/dsp/LoudnessMeter.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

namespace {

constexpr int sampleRate = 48000;
constexpr std::size_t blockFrames = 1024;
constexpr int fullMode = 63;

// Pink-ish programme: a few tones with a slow tremolo, different on the two channels.
struct StereoBlock {
    std::vector<float> left = std::vector<float>(blockFrames);
    std::vector<float> right = std::vector<float>(blockFrames);
    std::vector<float> interleaved = std::vector<float>(2 * blockFrames);
};

StereoBlock makeBlock(std::uint64_t firstFrame)
{
    StereoBlock b;
    for (std::size_t i = 0; i < blockFrames; ++i) {
        const double t = static_cast<double>(firstFrame + i) / sampleRate;
        const double trem = 0.6 + 0.4 * std::sin(2.0 * std::numbers::pi * 0.3 * t);
        const double l = trem * (0.2 * std::sin(2 * std::numbers::pi * 220.0 * t)
                                 + 0.1 * std::sin(2 * std::numbers::pi * 1760.0 * t));
        const double r = trem * (0.2 * std::sin(2 * std::numbers::pi * 330.0 * t)
                                 + 0.1 * std::sin(2 * std::numbers::pi * 5000.0 * t));
        b.left[i] = static_cast<float>(l);
        b.right[i] = static_cast<float>(r);
        b.interleaved[2 * i] = b.left[i];
        b.interleaved[2 * i + 1] = b.right[i];
    }
    return b;
}

// Blocks fed before timing, so both variants start from the same measurement length.
constexpr std::int64_t warmUpBlocks = 60 * sampleRate / blockFrames; // 60 s of audio
// Fixed so both variants time the same stretch of measurement history.
constexpr std::int64_t timedBlocks = 4000; // ~85 s of audio

void BM_LoudnessMeterAddFrames(benchmark::State &state)
{
    const StereoBlock block = makeBlock(0);
    LoudnessMeter meter(2, sampleRate);
    for (std::int64_t i = 0; i < warmUpBlocks; ++i) {
        meter.addFrames(block.left.data(), block.right.data(), blockFrames);
    }
    for (auto _ : state) {
        meter.addFrames(block.left.data(), block.right.data(), blockFrames);
        benchmark::DoNotOptimize(meter.read());
    }
}
BENCHMARK(BM_LoudnessMeterAddFrames)->Iterations(timedBlocks)->Repetitions(5)->ReportAggregatesOnly(true)->Unit(benchmark::kMicrosecond);

// The audio thread's share with Feeding::meteringThread: copying the block into the ring.
// The ring is drained (untimed) every 16 blocks, as real-time pacing would keep it.
void BM_LoudnessMeterFeedMeteringThread(benchmark::State &state)
{
    const StereoBlock block = makeBlock(0);
    LoudnessMeter meter(2, sampleRate, {}, {LoudnessMeter::Feeding::meteringThread, true});
    std::int64_t count = 0;
    for (auto _ : state) {
        meter.addFrames(block.left.data(), block.right.data(), blockFrames);
        if (++count % 16 == 0) {
            state.PauseTiming();
            meter.flush();
            state.ResumeTiming();
        }
    }
    if (meter.droppedFrames() != 0) state.SkipWithError("frames dropped");
}
BENCHMARK(BM_LoudnessMeterFeedMeteringThread)->Iterations(timedBlocks)->Repetitions(5)->ReportAggregatesOnly(true)->Unit(benchmark::kMicrosecond);

// libebur128 on its own: the same block (already interleaved) and the same queries
// the wrapper makes, with integrated loudness and range on every fifth block.
void BM_LibEbur128Alone(benchmark::State &state)
{
    const StereoBlock block = makeBlock(0);
    ebur128_state *st = ebur128_init(2, sampleRate, fullMode);
    for (std::int64_t i = 0; i < warmUpBlocks; ++i) {
        ebur128_add_frames_float(st, block.interleaved.data(), blockFrames);
    }
    std::int64_t count = warmUpBlocks;
    double v = 0.0;
    for (auto _ : state) {
        ebur128_add_frames_float(st, block.interleaved.data(), blockFrames);
        ebur128_loudness_momentary(st, &v);
        ebur128_loudness_shortterm(st, &v);
        ebur128_true_peak(st, 0, &v);
        ebur128_true_peak(st, 1, &v);
        if (++count % 5 == 0) {
            ebur128_loudness_global(st, &v);
            ebur128_loudness_range(st, &v);
        }
        benchmark::DoNotOptimize(v);
    }
    ebur128_destroy(&st);
}
BENCHMARK(BM_LibEbur128Alone)->Iterations(timedBlocks)->Repetitions(5)->ReportAggregatesOnly(true)->Unit(benchmark::kMicrosecond);

// The two queries the wrapper runs on every fifth block walk every 100 ms gating block
// (integrated) and sort every 1 s short-term value (range) since the measurement
// began. Their cost after `minutes` of audio; the history is built at 8 kHz with the
// cheap modes only, since the list lengths do not depend on the rate or the peaks.
void BM_LibSlowQueriesAfterMinutes(benchmark::State &state)
{
    constexpr int historyRate = 8000;
    const auto minutes = state.range(0);
    ebur128_state *st = ebur128_init(1, historyRate, EBUR128_MODE_I | EBUR128_MODE_LRA);
    std::vector<float> chunk(historyRate);
    for (std::size_t n = 0; n < chunk.size(); ++n) {
        chunk[n] = static_cast<float>(0.1 * std::sin(2.0 * std::numbers::pi * 440.0 * n / historyRate));
    }
    for (std::int64_t s = 0; s < minutes * 60; ++s) {
        // Vary the level so the range query has real work to do.
        const float gain = 0.25f + 0.75f * static_cast<float>(s % 17) / 16.0f;
        std::vector<float> scaled(chunk);
        for (float &x : scaled) {
            x *= gain;
        }
        ebur128_add_frames_float(st, scaled.data(), scaled.size());
    }
    double v = 0.0;
    for (auto _ : state) {
        ebur128_loudness_global(st, &v);
        ebur128_loudness_range(st, &v);
        benchmark::DoNotOptimize(v);
    }
    ebur128_destroy(&st);
}
BENCHMARK(BM_LibSlowQueriesAfterMinutes)->Arg(1)->Arg(10)->Arg(60)->Arg(480)->Unit(benchmark::kMicrosecond);

} // namespace
