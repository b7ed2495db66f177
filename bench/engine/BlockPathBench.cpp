// One 1024-frame stereo block through everything the audio thread does, against
// libebur128 doing its share of that work on its own.

#include "engine/dsp/CaptureBlockProcessor.h"
#include "engine/dsp/LoudnessMeter.h"

#include <benchmark/benchmark.h>
#include <ebur128.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

namespace {

constexpr std::size_t blockFrames = 1024;
constexpr std::size_t signalBlocks = 256; // about 5.5 s, cycled

// Interleaved stereo programme-like material: two tones and a little noise.
const std::vector<float> &signal()
{
    static const std::vector<float> samples = [] {
        std::vector<float> s(blockFrames * signalBlocks * 2);
        std::uint32_t noise = 1;
        for (std::size_t i = 0; i < s.size() / 2; ++i) {
            noise = noise * 1664525u + 1013904223u;
            const float n = (static_cast<float>(noise >> 8) / 16777216.0f - 0.5f) * 0.02f;
            const float t = static_cast<float>(i) / 48000.0f;
            s[2 * i] = 0.3f * std::sin(2.0f * std::numbers::pi_v<float> * 220.0f * t) + n;
            s[2 * i + 1] = 0.2f * std::sin(2.0f * std::numbers::pi_v<float> * 330.0f * t) - n;
        }
        return s;
    }();
    return samples;
}

const float *block(std::size_t index) { return signal().data() + (index % signalBlocks) * blockFrames * 2; }

void runBlockPath(benchmark::State &state, CaptureBlockProcessor::SpectrumWork work, bool withLoudness = true)
{
    CaptureBlockProcessor::Config config;
    config.spectrumWork = work;
    CaptureBlockProcessor processor(config);
    if (withLoudness) processor.setLoudnessMeter(std::make_shared<LoudnessMeter>(2, 48000));
    std::size_t index = 0;
    for (auto _ : state) processor.processInterleaved(block(index++), blockFrames, 2);
    state.SetItemsProcessed(state.iterations());
}

// Levels, loudness feed, spectrum samples and phase-scope points (every back-end).
void BM_BlockPath(benchmark::State &state) { runBlockPath(state, CaptureBlockProcessor::SpectrumWork::samplesOnly); }
BENCHMARK(BM_BlockPath);

// Our own share: the same without a loudness meter attached.
void BM_BlockPathWithoutLoudness(benchmark::State &state)
{
    runBlockPath(state, CaptureBlockProcessor::SpectrumWork::samplesOnly, false);
}
BENCHMARK(BM_BlockPathWithoutLoudness);

// The same plus the 4096-point spectrum into 480 bands per block (default input).
void BM_BlockPathWithBands(benchmark::State &state)
{
    runBlockPath(state, CaptureBlockProcessor::SpectrumWork::bandsOnAudioThread);
}
BENCHMARK(BM_BlockPathWithBands);

// libebur128 given the same block, with the same queries the loudness meter makes:
// momentary, short-term and both true peaks every block, integrated and range every fifth.
void BM_Libebur128Alone(benchmark::State &state)
{
    ebur128_state *meter = ebur128_init(2, 48000, EBUR128_MODE_M | EBUR128_MODE_S | EBUR128_MODE_I |
                                                      EBUR128_MODE_LRA | EBUR128_MODE_SAMPLE_PEAK |
                                                      EBUR128_MODE_TRUE_PEAK);
    std::size_t index = 0;
    double value = 0.0;
    for (auto _ : state) {
        ebur128_add_frames_float(meter, block(index++), blockFrames);
        ebur128_loudness_momentary(meter, &value);
        ebur128_loudness_shortterm(meter, &value);
        ebur128_true_peak(meter, 0, &value);
        ebur128_true_peak(meter, 1, &value);
        if (index % 5 == 0) {
            ebur128_loudness_global(meter, &value);
            ebur128_loudness_range(meter, &value);
        }
        benchmark::DoNotOptimize(value);
    }
    ebur128_destroy(&meter);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Libebur128Alone);

// Only adding the frames: the floor of any EBU R128 feed.
void BM_Libebur128AddFramesOnly(benchmark::State &state)
{
    ebur128_state *meter = ebur128_init(2, 48000, EBUR128_MODE_M | EBUR128_MODE_S | EBUR128_MODE_I |
                                                      EBUR128_MODE_LRA | EBUR128_MODE_SAMPLE_PEAK |
                                                      EBUR128_MODE_TRUE_PEAK);
    std::size_t index = 0;
    for (auto _ : state) ebur128_add_frames_float(meter, block(index++), blockFrames);
    ebur128_destroy(&meter);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Libebur128AddFramesOnly);

} // namespace
