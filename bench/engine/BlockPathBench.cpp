// One 1024-frame stereo block through everything the audio thread does, against
// libebur128 doing its share of that work on its own; and the same block through the
// process tap's path against the default input's.

#include "engine/dsp/CaptureBlockProcessor.h"
#include "engine/dsp/LoudnessMeter.h"
#include "engine/dsp/ProcessTapRouter.h"

#include <benchmark/benchmark.h>
#include <ebur128.h>

#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <string>
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

// --- process tap against default input ---

// The same blocks as the default input delivers them: planar, block after block.
struct PlanarSignal {
    std::vector<float> left;
    std::vector<float> right;
};
const PlanarSignal &planarSignal()
{
    static const PlanarSignal planar = [] {
        PlanarSignal p;
        for (std::size_t i = 0; i < signal().size() / 2; ++i) {
            p.left.push_back(signal()[2 * i]);
            p.right.push_back(signal()[2 * i + 1]);
        }
        return p;
    }();
    return planar;
}

// Six channels (FL FR FC LFE SL SR) made from the stereo programme.
const std::vector<std::string> fiveOne = {"FL", "FR", "FC", "LFE", "SL", "SR"};
const std::vector<float> &sixChannelSignal()
{
    static const std::vector<float> samples = [] {
        std::vector<float> s;
        s.reserve(signal().size() * 3);
        for (std::size_t i = 0; i < signal().size() / 2; ++i) {
            const float l = signal()[2 * i];
            const float r = signal()[2 * i + 1];
            s.insert(s.end(), {l, r, 0.5f * (l + r), 0.1f * l, 0.5f * l, 0.5f * r});
        }
        return s;
    }();
    return samples;
}
const float *sixChannelBlock(std::size_t index)
{
    return sixChannelSignal().data() + (index % signalBlocks) * blockFrames * 6;
}

// The default input's processor fed planar blocks, configured as in BM_BlockPath or,
// withBands, as the default input itself sets it up (bands on this thread, a trail).
void runDefaultInput(benchmark::State &state, bool withBands, bool withLoudness)
{
    CaptureBlockProcessor::Config config;
    if (withBands) {
        config.spectrumWork = CaptureBlockProcessor::SpectrumWork::bandsOnAudioThread;
        config.lissajousStore = LissajousStore::Kind::trail;
    }
    CaptureBlockProcessor processor(config);
    if (withLoudness) processor.setLoudnessMeter(std::make_shared<LoudnessMeter>(2, 48000));
    const PlanarSignal &planar = planarSignal();
    std::size_t index = 0;
    for (auto _ : state) {
        const std::size_t offset = (index++ % signalBlocks) * blockFrames;
        processor.processPlanar(planar.left.data() + offset, planar.right.data() + offset, blockFrames);
    }
    state.SetItemsProcessed(state.iterations());
}

// The process tap in mixdown mode at gain 3: the router (buffer choice, de-interleave,
// gain, diagnostics) into the processor as the tap sets it up (levels rounded to
// 0.1 dB, the latest block's scope points, spectrum samples for the tick); with six
// channels, the processor folds them to stereo, as the tap's back-end sets it up.
void runTap(benchmark::State &state, bool sixChannels, bool withLoudness)
{
    CaptureBlockProcessor::Config config;
    if (sixChannels) config.foldPositions = fiveOne;
    config.lissajousStore = LissajousStore::Kind::latestBlock;
    config.spectrumWork = CaptureBlockProcessor::SpectrumWork::samplesOnly;
    config.levelRounding = CaptureBlockProcessor::LevelRounding::tenthDb;
    CaptureBlockProcessor processor(config);
    if (withLoudness) processor.setLoudnessMeter(std::make_shared<LoudnessMeter>(2, 48000));
    ProcessTapRouter router(processor);
    router.setDeterministic(false);
    router.setMixdownGain(3.0f);
    router.setEnabled(true);
    const std::uint32_t channels = sixChannels ? 6 : 2;
    std::size_t index = 0;
    for (auto _ : state) {
        const float *samples = sixChannels ? sixChannelBlock(index) : block(index);
        ++index;
        const std::array<TapBuffer, 1> buffers = {
            TapBuffer{samples, channels, static_cast<std::uint32_t>(blockFrames * channels * sizeof(float))}};
        router.processAudioCallback(buffers);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_DefaultInputPlanar(benchmark::State &state) { runDefaultInput(state, false, true); }
BENCHMARK(BM_DefaultInputPlanar);
void BM_DefaultInputPlanarWithBands(benchmark::State &state) { runDefaultInput(state, true, true); }
BENCHMARK(BM_DefaultInputPlanarWithBands);
void BM_TapBlockPath(benchmark::State &state) { runTap(state, false, true); }
BENCHMARK(BM_TapBlockPath);
void BM_TapBlockPathSixChannels(benchmark::State &state) { runTap(state, true, true); }
BENCHMARK(BM_TapBlockPathSixChannels);

// Our own share of either path: no loudness meter attached.
void BM_DefaultInputPlanarWithoutLoudness(benchmark::State &state) { runDefaultInput(state, false, false); }
BENCHMARK(BM_DefaultInputPlanarWithoutLoudness);
void BM_TapBlockPathWithoutLoudness(benchmark::State &state) { runTap(state, false, false); }
BENCHMARK(BM_TapBlockPathWithoutLoudness);
void BM_TapBlockPathSixChannelsWithoutLoudness(benchmark::State &state) { runTap(state, true, false); }
BENCHMARK(BM_TapBlockPathSixChannelsWithoutLoudness);

} // namespace
