#include "engine/dsp/CaptureBlockProcessor.h"
#include "engine/dsp/LevelDetection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace {

constexpr double rate = 48000.0;

// Interleaved stereo: two unrelated sines, so mono mix, channel order and block
// boundaries all show in the results.
std::vector<float> stereoSignal(std::size_t frames)
{
    std::vector<float> samples(frames * 2);
    for (std::size_t i = 0; i < frames; ++i) {
        const double t = static_cast<double>(i) / rate;
        samples[2 * i] = static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * 997.0 * t));
        samples[2 * i + 1] = static_cast<float>(0.25 * std::sin(2.0 * std::numbers::pi * 3001.0 * t + 0.3));
    }
    return samples;
}

void feedInterleaved(CaptureBlockProcessor &processor, const std::vector<float> &samples, std::size_t channels,
                     std::size_t blockFrames)
{
    const std::size_t frames = samples.size() / channels;
    for (std::size_t start = 0; start < frames; start += blockFrames) {
        processor.processInterleaved(samples.data() + start * channels, std::min(blockFrames, frames - start), channels);
    }
}

std::vector<float> channel(const std::vector<float> &interleaved, std::size_t index, std::size_t first, std::size_t count)
{
    std::vector<float> out(count);
    for (std::size_t i = 0; i < count; ++i) out[i] = interleaved[2 * (first + i) + index];
    return out;
}

class BlockSizes : public ::testing::TestWithParam<std::size_t> {};

// Splitting the stream into blocks of any size must not change what the tick reads:
// levels of the whole last block (however much longer than the scratch buffers it
// passes through in pieces), and the newest 4096 mono samples in order.
TEST_P(BlockSizes, TickReadsTheLastBlockAndTheNewestSpectrumWindow)
{
    const std::size_t blockFrames = GetParam();
    const std::size_t total = 20000;
    const std::vector<float> samples = stereoSignal(total);
    CaptureBlockProcessor processor;
    feedInterleaved(processor, samples, 2, blockFrames);

    const std::size_t lastBlockFrames = total % blockFrames == 0 ? blockFrames : total % blockFrames;
    const std::vector<float> left = channel(samples, 0, total - lastBlockFrames, lastBlockFrames);
    const std::vector<float> right = channel(samples, 1, total - lastBlockFrames, lastBlockFrames);
    const ChannelLevels l = calculateLevels(left.data(), left.size());
    const ChannelLevels r = calculateLevels(right.data(), right.size());
    const AudioLevels levels = processor.readLevels();
    EXPECT_EQ(levels.peakLeft, l.peak);
    EXPECT_EQ(levels.peakRight, r.peak);
    // Summed piece by piece, the squares may round differently in the last bit.
    EXPECT_NEAR(levels.rmsLeft, l.rms, 1e-4);
    EXPECT_NEAR(levels.rmsRight, r.rms, 1e-4);
    EXPECT_EQ(processor.readLevels(), levels) << "reading does not reset";

    std::vector<float> window(4096);
    ASSERT_EQ(processor.readFFTSamples(window.data(), window.size()), 4096u);
    for (std::size_t i = 0; i < window.size(); ++i) {
        const std::size_t frame = total - 4096 + i;
        ASSERT_EQ(window[i], (samples[2 * frame] + samples[2 * frame + 1]) * 0.5f) << "sample " << i;
    }
    EXPECT_EQ(processor.readFFTSamples(window.data(), window.size()), std::nullopt) << "each window is read once";
    EXPECT_EQ(processor.blockCount(), (total + blockFrames - 1) / blockFrames);
}

INSTANTIATE_TEST_SUITE_P(CaptureBlockProcessor, BlockSizes, ::testing::Values(1, 3, 1023, 1024, 1025, 4096, 5000, 8192, 16384));

TEST(CaptureBlockProcessor, SpectrumSamplesWaitForABlockAndHonourMaxCount)
{
    CaptureBlockProcessor processor;
    std::vector<float> window(4096, 123.0f);
    EXPECT_EQ(processor.readFFTSamples(window.data(), window.size()), std::nullopt);

    const std::vector<float> samples = stereoSignal(4096);
    feedInterleaved(processor, samples, 2, 4096);
    ASSERT_EQ(processor.readFFTSamples(window.data(), 1024), 1024u);
    EXPECT_EQ(window[0], (samples[2 * 3072] + samples[2 * 3072 + 1]) * 0.5f) << "the newest 1024 samples";
    EXPECT_EQ(window[1024], 123.0f) << "nothing written past maxCount";

    // Less than a window so far: the tick gets what there is and computes no spectrum.
    CaptureBlockProcessor young;
    feedInterleaved(young, stereoSignal(1500), 2, 1024);
    EXPECT_EQ(young.readFFTSamples(window.data(), window.size()), 1500u);
}

TEST(CaptureBlockProcessor, MonoSourceShowsEqualChannelsAndDiagonalPoints)
{
    std::vector<float> mono(2048);
    for (std::size_t i = 0; i < mono.size(); ++i) mono[i] = 0.3f * std::sin(0.05f * static_cast<float>(i));
    CaptureBlockProcessor processor;
    processor.processInterleaved(mono.data(), mono.size(), 1);
    const AudioLevels levels = processor.readLevels();
    EXPECT_EQ(levels.peakLeft, levels.peakRight);
    EXPECT_EQ(levels.rmsLeft, levels.rmsRight);
    EXPECT_NEAR(levels.peakLeft, 20.0f * std::log10(0.3f), 0.01f);
    const std::vector<LissajousPoint> points = processor.readLissajousSamples();
    ASSERT_EQ(points.size(), 64u);
    for (const LissajousPoint &point : points) EXPECT_EQ(point.x, point.y);
    EXPECT_TRUE(processor.readLissajousSamples().empty());

    std::vector<float> window(4096);
    ASSERT_EQ(processor.readFFTSamples(window.data(), window.size()), 2048u);
    EXPECT_EQ(window[100], mono[100]) << "a mono source is not halved";
}

TEST(CaptureBlockProcessor, PlanarAndInterleavedBlocksGiveTheSameResults)
{
    const std::vector<float> samples = stereoSignal(3000);
    const std::vector<float> left = channel(samples, 0, 0, 3000);
    const std::vector<float> right = channel(samples, 1, 0, 3000);
    CaptureBlockProcessor planar;
    CaptureBlockProcessor interleaved;
    planar.processPlanar(left.data(), right.data(), 3000);
    interleaved.processInterleaved(samples.data(), 3000, 2);
    EXPECT_EQ(planar.readLevels(), interleaved.readLevels());
    EXPECT_EQ(planar.readLissajousSamples(), interleaved.readLissajousSamples());

    // Channels beyond the second are ignored.
    std::vector<float> fourChannels(3000 * 4, 0.9f);
    for (std::size_t i = 0; i < 3000; ++i) {
        fourChannels[4 * i] = samples[2 * i];
        fourChannels[4 * i + 1] = samples[2 * i + 1];
    }
    CaptureBlockProcessor wide;
    wide.processInterleaved(fourChannels.data(), 3000, 4);
    EXPECT_EQ(wide.readLevels(), planar.readLevels());
}

// Switched-off meters collect nothing; levels are detected unless all processing is off.
TEST(CaptureBlockProcessor, SwitchedOffWorkIsSkipped)
{
    CaptureBlockProcessor meters;
    SpectralSettings settings;
    settings.spectralEnabled = false;
    settings.lissajousEnabled = false;
    meters.applySpectralSettings(settings);
    CaptureBlockProcessor disabled;
    disabled.setProcessingEnabled(false);
    std::vector<float> window(4096);
    for (CaptureBlockProcessor *processor : {&meters, &disabled}) {
        feedInterleaved(*processor, stereoSignal(4096), 2, 1024);
        EXPECT_EQ(processor->blockCount(), 4u);
        EXPECT_EQ(processor->readFFTSamples(window.data(), window.size()), std::nullopt);
        EXPECT_TRUE(processor->readLissajousSamples().empty());
    }
    EXPECT_GT(meters.readLevels().peakLeft, -7.0f);
    EXPECT_EQ(disabled.readLevels(), AudioLevels{});
}

TEST(CaptureBlockProcessor, ProcessTapRoundingGivesTenthsOfADecibel)
{
    CaptureBlockProcessor::Config config;
    config.levelRounding = CaptureBlockProcessor::LevelRounding::tenthDb;
    CaptureBlockProcessor processor(config);
    feedInterleaved(processor, stereoSignal(1024), 2, 1024);
    const AudioLevels levels = processor.readLevels();
    for (const float value : {levels.peakLeft, levels.peakRight, levels.rmsLeft, levels.rmsRight}) {
        EXPECT_FLOAT_EQ(value * 10.0f, std::round(value * 10.0f)) << value;
    }
    EXPECT_FLOAT_EQ(levels.peakLeft, -6.0f);  // 0.5 is -6.02 dBFS
    EXPECT_FLOAT_EQ(levels.rmsLeft, -9.0f);   // -9.03
}

TEST(CaptureBlockProcessor, FeedsTheAttachedLoudnessMeter)
{
    // A 1 kHz sine at -23 dBFS in both channels is -23 LUFS; in one channel, -26.
    std::vector<float> stereo(48000 * 2);
    for (std::size_t i = 0; i < 48000; ++i) {
        const float x = 0.0707946f * std::sin(2.0f * std::numbers::pi_v<float> * 1000.0f * float(i) / 48000.0f);
        stereo[2 * i] = stereo[2 * i + 1] = x;
    }
    CaptureBlockProcessor processor;
    auto meter = std::make_shared<LoudnessMeter>(2, 48000);
    processor.setLoudnessMeter(meter);
    feedInterleaved(processor, stereo, 2, 1025);
    EXPECT_NEAR(meter->read().momentary, -23.0, 0.1);

    std::vector<float> mono = channel(stereo, 0, 0, 48000);
    CaptureBlockProcessor monoProcessor;
    auto monoMeter = std::make_shared<LoudnessMeter>(1, 48000);
    monoProcessor.setLoudnessMeter(monoMeter);
    feedInterleaved(monoProcessor, mono, 1, 1023);
    EXPECT_NEAR(monoMeter->read().momentary, -26.0, 0.1);

    // Detaching stops the feed; the processor no longer keeps the meter alive.
    processor.setLoudnessMeter(nullptr);
    EXPECT_EQ(meter.use_count(), 1);
    const LoudnessValues before = meter->read();
    feedInterleaved(processor, std::vector<float>(2 * 48000, 0.0f), 2, 1024);
    EXPECT_EQ(meter->read(), before);
}

TEST(CaptureBlockProcessor, BandsOnTheAudioThreadMatchTheEnginesAnalysisAndAreTakenOnce)
{
    CaptureBlockProcessor::Config config;
    config.spectrumWork = CaptureBlockProcessor::SpectrumWork::bandsOnAudioThread;
    config.lissajousStore = LissajousStore::Kind::trail;
    CaptureBlockProcessor processor(config);
    SpectralSettings settings;
    settings.bandCount = 60;
    settings.calibrationOffset = 21.0f;
    settings.lissajousTrailLength = 256;
    processor.applySpectralSettings(settings);

    const std::vector<float> samples = stereoSignal(6000);
    std::vector<float> bands;
    feedInterleaved(processor, std::vector<float>(samples.begin(), samples.begin() + 2 * 3000), 2, 1000);
    EXPECT_FALSE(processor.takeSpectralBands(bands)) << "no bands before a full window";
    feedInterleaved(processor, std::vector<float>(samples.begin() + 2 * 3000, samples.end()), 2, 1000);
    ASSERT_TRUE(processor.takeSpectralBands(bands));
    ASSERT_EQ(bands.size(), 60u);
    EXPECT_FALSE(processor.takeSpectralBands(bands));

    std::vector<float> mono(4096);
    for (std::size_t i = 0; i < mono.size(); ++i) {
        const std::size_t frame = 6000 - 4096 + i;
        mono[i] = (samples[2 * frame] + samples[2 * frame + 1]) * 0.5f;
    }
    std::vector<float> expected(60);
    SpectrumAnalyzer().analyze(mono.data(), {.calibrationOffset = 21.0f, .bandCount = 60}, expected);
    EXPECT_EQ(bands, expected);

    // The trail store keeps points of several blocks (6 x 67 here) up to the trail length.
    const std::vector<LissajousPoint> points = processor.readLissajousSamples();
    ASSERT_EQ(points.size(), 256u);
    EXPECT_EQ(points.back(), (LissajousPoint{samples[2 * 5990], samples[2 * 5990 + 1]}));
}

} // namespace
