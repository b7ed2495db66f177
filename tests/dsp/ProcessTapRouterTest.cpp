#include "engine/dsp/CaptureBlockProcessor.h"
#include "engine/dsp/ProcessTapRouter.h"
#include "engine/dsp/StereoDownmix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

namespace {

constexpr std::size_t cycleFrames = 1024;

// The processor as the process tap sets it up.
CaptureBlockProcessor::Config tapConfig()
{
    CaptureBlockProcessor::Config config;
    config.lissajousStore = LissajousStore::Kind::latestBlock;
    config.spectrumWork = CaptureBlockProcessor::SpectrumWork::samplesOnly;
    config.levelRounding = CaptureBlockProcessor::LevelRounding::tenthDb;
    return config;
}

// Interleaved 1 kHz sines at 48 kHz, one amplitude per channel (every 48th sample is a
// crest, so the peak is the amplitude). Odd channels are inverted, so two channels of
// equal amplitude still tell left from right on the phase scope.
std::vector<float> tone(const std::vector<float> &amplitudes, std::size_t frames = cycleFrames)
{
    const std::size_t channels = amplitudes.size();
    std::vector<float> samples(frames * channels);
    for (std::size_t i = 0; i < frames; ++i) {
        const float s = std::sin(2.0f * std::numbers::pi_v<float> * 1000.0f * static_cast<float>(i) / 48000.0f);
        for (std::size_t c = 0; c < channels; ++c) samples[i * channels + c] = (c % 2 == 0 ? s : -s) * amplitudes[c];
    }
    return samples;
}

TapBuffer bufferOf(const std::vector<float> &samples, std::uint32_t channels)
{
    return {samples.data(), channels, static_cast<std::uint32_t>(samples.size() * sizeof(float))};
}

struct Tap {
    CaptureBlockProcessor processor{tapConfig()};
    ProcessTapRouter router{processor};

    Tap() { router.setEnabled(true); }
    void cycle(std::initializer_list<TapBuffer> buffers)
    {
        router.processAudioCallback(std::span<const TapBuffer>(buffers.begin(), buffers.size()));
    }
};

TEST(ProcessTapRouter, ChoosesTheLoudestBufferAndItsPair)
{
    const std::vector<float> eight = tone({0.5f, 0.25f, 0.9f, 0.9f, 0.9f, 0.9f, 0.9f, 0.9f});
    const std::vector<float> half = tone({0.5f});
    const std::vector<float> quarter = tone({0.25f});
    const std::vector<float> tenth = tone({0.1f});
    const std::vector<float> quietPair = tone({0.1f, 0.1f});
    const std::vector<float> loudPair = tone({0.5f, 0.25f});
    const std::vector<float> leftLoud = tone({0.5f, 0.1f});
    const std::vector<float> rightLoud = tone({0.1f, 0.5f});
    const TapBuffer empty{nullptr, 2, 4096};

    struct Case {
        const char *name;
        std::vector<TapBuffer> buffers;
        int chosen;
        float left; // dBFS read back
        float right;
        std::string line1;
    };
    const Case cases[] = {
        {"interleaved 8ch: channels 1 and 2", {bufferOf(eight, 8)}, 0, -6.0f, -12.0f, "8ch det buf [0] idx"},
        {"two mono buffers, left louder", {bufferOf(half, 1), bufferOf(quarter, 1)}, 0, -6.0f, -12.0f,
         "1ch/1ch det buf [0] idx"},
        {"two mono buffers, right louder", {bufferOf(quarter, 1), bufferOf(half, 1)}, 1, -12.0f, -6.0f,
         "1ch/1ch det buf [1] idx"},
        {"four mono buffers: left and right in turn",
         {bufferOf(quarter, 1), bufferOf(half, 1), bufferOf(tenth, 1), bufferOf(tenth, 1)}, 1, -12.0f, -6.0f,
         "1ch/1ch/1ch/1ch det buf [1] idx"},
        {"quiet buffer before the loud one", {bufferOf(quietPair, 2), bufferOf(loudPair, 2)}, 1, -6.0f, -12.0f,
         "2ch/2ch det buf [1] idx"},
        {"loud buffer before the quiet one", {bufferOf(loudPair, 2), bufferOf(quietPair, 2)}, 0, -6.0f, -12.0f,
         "2ch/2ch det buf [0] idx"},
        {"equal peaks: the later buffer", {bufferOf(leftLoud, 2), bufferOf(rightLoud, 2)}, 1, -20.0f, -6.0f,
         "2ch/2ch det buf [1] idx"},
        {"a buffer without data is never chosen", {bufferOf(loudPair, 2), empty}, 0, -6.0f, -12.0f,
         "2ch/2ch det buf [0] idx"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Tap tap;
        tap.router.processAudioCallback(c.buffers);
        const AudioLevels levels = tap.processor.readLevels();
        EXPECT_FLOAT_EQ(levels.peakLeft, c.left);
        EXPECT_FLOAT_EQ(levels.peakRight, c.right);
        const ProcessTapDiagnostics diagnostics = tap.router.readDiagnostics();
        EXPECT_EQ(diagnostics.readBufferIndex, c.chosen);
        EXPECT_EQ(diagnostics.line1(), c.line1);
        EXPECT_EQ(diagnostics.bufferCount, static_cast<int>(c.buffers.size()));
        EXPECT_EQ(diagnostics.bytesPerBuffer[0], c.buffers[0].byteSize);
    }
}

TEST(ProcessTapRouter, MonoBuffersFeedTheScopeAsAPairOrOnTheDiagonal)
{
    const std::vector<float> left = tone({0.5f});
    const std::vector<float> right = tone({0.25f});
    for (const bool single : {true, false}) {
        SCOPED_TRACE(single ? "one mono buffer" : "two mono buffers");
        Tap tap;
        if (single) {
            tap.cycle({bufferOf(left, 1)});
        } else {
            tap.cycle({bufferOf(left, 1), bufferOf(right, 1)});
        }
        const std::vector<LissajousPoint> points = tap.processor.readLissajousSamples();
        ASSERT_FALSE(points.empty());
        for (const LissajousPoint &point : points) {
            if (single) {
                ASSERT_EQ(point.x, point.y);
            } else {
                ASSERT_EQ(point.x * 0.5f, point.y);
            }
        }
    }
}

// A -20 dBFS tap in both channels, in each mode and at each gain. The levels read back
// are those rounded to 0.1 dB (-10.46 -> -10.5, -13.47 -> -13.5, -23.01 -> -23.0).
TEST(ProcessTapRouter, MixdownGainOnlyRaisesAMixdown)
{
    struct Case {
        bool deterministic;
        float gain;
        float peak; // dBFS read back
        float rms;
        const char *line2;
    };
    const Case cases[] = {
        {false, 3.0f, -10.5f, -13.5f, "raw 0.30/0.30"}, // -20 + 9.54 dB
        {false, 1.0f, -20.0f, -23.0f, "raw 0.10/0.10"},
        {false, 0.8f, -20.0f, -23.0f, "raw 0.10/0.10"}, // never lowered
        {true, 3.0f, -20.0f, -23.0f, "raw 0.10/0.10"},
    };
    // A server running a large quantum hands over long cycles; they are measured whole.
    for (const std::size_t frames : {cycleFrames, std::size_t{16384}}) {
    const std::vector<float> stereo = tone({0.1f, 0.1f}, frames);
    const std::vector<float> mono = tone({0.1f}, frames);
    for (const Case &c : cases) {
        for (const std::uint32_t channels : {2u, 1u}) {
            SCOPED_TRACE(testing::Message() << (c.deterministic ? "deterministic" : "mixdown") << " gain " << c.gain
                                            << ", " << channels << "ch, " << frames << " frames");
            Tap tap;
            tap.router.setDeterministic(c.deterministic);
            tap.router.setMixdownGain(c.gain);
            const std::vector<float> &input = channels == 2 ? stereo : mono;
            const std::vector<float> before = input;
            tap.cycle({bufferOf(input, channels)});

            EXPECT_EQ(input, before) << "the platform's buffer is left as delivered";
            const AudioLevels levels = tap.processor.readLevels();
            EXPECT_EQ(levels, (AudioLevels{c.peak, c.peak, c.rms, c.rms}));
            EXPECT_EQ(tap.router.readDiagnostics().line2(), c.line2);
        }
    }
    }
}

TEST(ProcessTapRouter, DiagnosticsLines)
{
    ProcessTapDiagnostics mixdown;
    mixdown.bufferCount = 2;
    mixdown.channelsPerBuffer = {2, 1, 0, 0};
    mixdown.readBufferIndex = 1;
    mixdown.deterministic = false;
    mixdown.gain = 3.0f;
    mixdown.rawPeakL = 0.1f;
    mixdown.rawPeakR = 0.25f;
    EXPECT_EQ(mixdown.line1(), "2ch/1ch mix 3.0x buf [1] idx");
    EXPECT_EQ(mixdown.line2(), "raw 0.10/0.25");
    EXPECT_EQ(mixdown.line3(), "-20.0/-12.0 dBFS");

    ProcessTapDiagnostics many;
    many.bufferCount = 6;
    many.channelsPerBuffer = {2, 2, 1, 1};
    many.readBufferIndex = 3;
    EXPECT_EQ(many.line1(), "2ch/2ch/1ch/1ch det buf [3] idx") << "only the first four buffers are listed";

    const ProcessTapDiagnostics none;
    EXPECT_EQ(none.line1(), "0ch det buf [-1] idx");
    EXPECT_EQ(none.line2(), "raw 0.00/0.00");
    EXPECT_EQ(none.line3(), "-inf/-inf dBFS");
}

TEST(ProcessTapRouter, DisabledRouterProcessesNothing)
{
    Tap tap;
    tap.router.setEnabled(false);
    const std::vector<float> samples = tone({0.5f, 0.5f});
    tap.cycle({bufferOf(samples, 2)});
    EXPECT_EQ(tap.processor.blockCount(), 0u);
    EXPECT_EQ(tap.router.readDiagnostics().bufferCount, 0);
    EXPECT_EQ(tap.router.readDiagnostics().readBufferIndex, -1);

    tap.router.setEnabled(true);
    tap.router.processAudioCallback({});
    EXPECT_EQ(tap.processor.blockCount(), 0u) << "an empty cycle is no block";
    tap.cycle({bufferOf(samples, 2)});
    EXPECT_EQ(tap.processor.blockCount(), 1u);
}

TEST(MixdownCalibration, GainFromTheMeasuredReference)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    struct Case {
        float rawPeak;
        float expectedDb;
        float currentGain;
        bool succeeded;
        float gain;
        std::string message;
    };
    const std::string noSignal = "Failed: no signal \u2014 play the reference tone in the tapped app first.";
    const Case cases[] = {
        {0.1f, -18.0f, 1.0f, true, 1.2589254f,
         "Calibrated: \u00d71.26 (+2.0 dB). -18 dBFS reference now reads correctly."},
        {0.3f, -18.0f, 3.0f, true, 1.2589254f,
         "Calibrated: \u00d71.26 (+2.0 dB). -18 dBFS reference now reads correctly."}, // measured after x3
        {0.0021f, -18.0f, 1.0f, true, 12.0f,
         "Calibrated: \u00d712.00 (+21.6 dB). -18 dBFS reference now reads correctly."},
        {0.9f, -18.0f, 1.0f, true, 0.5f, "Calibrated: \u00d70.50 (-6.0 dB). -18 dBFS reference now reads correctly."},
        {0.002f, -18.0f, 1.0f, false, 0.0f, noSignal},
        {0.0f, -18.0f, 1.0f, false, 0.0f, noSignal},
        {nan, -18.0f, 1.0f, false, 0.0f, noSignal},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "raw peak " << c.rawPeak << " at gain " << c.currentGain);
        const MixdownCalibration result = calibrateMixdownGain(c.rawPeak, c.expectedDb, c.currentGain);
        EXPECT_EQ(result.succeeded, c.succeeded);
        EXPECT_NEAR(result.gain, c.gain, 1e-4f);
        EXPECT_EQ(result.message, c.message);
    }
}

TEST(MixdownCalibration, AutomaticGainIsHalfTheOutputChannels)
{
    const std::pair<int, float> cases[] = {{2, 1.0f}, {3, 1.0f}, {6, 3.0f}, {8, 4.0f}};
    for (const auto &[channels, gain] : cases) EXPECT_EQ(automaticMixdownGain(channels), gain) << channels;
}

TEST(StereoDownmix, StereoAndMonoAreNotChanged)
{
    const std::vector<float> stereo = tone({0.5f, 0.25f}, 64);
    const StereoDownmix pair(std::vector<std::string>{"FL", "FR"});
    std::vector<float> out(128);
    pair.process(stereo.data(), 64, out.data());
    EXPECT_EQ(out, stereo);

    const std::vector<float> mono = tone({0.5f}, 64);
    const StereoDownmix single(std::vector<std::string>{"MONO"});
    single.process(mono.data(), 64, out.data());
    for (std::size_t k = 0; k < 64; ++k) {
        ASSERT_EQ(out[2 * k], mono[k]) << k;
        ASSERT_EQ(out[2 * k + 1], mono[k]) << k;
    }
}

TEST(StereoDownmix, FiveOneChannelsFoldBySide)
{
    const std::vector<std::string> positions = {"FL", "FR", "FC", "LFE", "SL", "SR"};
    const StereoDownmix downmix(positions);
    ASSERT_EQ(downmix.channelCount(), 6u);
    struct Case {
        std::size_t channel;
        float left; // share of the channel's amplitude
        float right;
    };
    const Case cases[] = {{0, 1.0f / 3, 0.0f}, {1, 0.0f, 1.0f / 3},     {2, 1.0f / 6, 1.0f / 6},
                          {3, 1.0f / 6, 1.0f / 6}, {4, 1.0f / 3, 0.0f}, {5, 0.0f, 1.0f / 3}};
    constexpr float a = 0.6f;
    for (const Case &c : cases) {
        SCOPED_TRACE(positions[c.channel]);
        std::vector<float> frames(6 * 3, 0.0f);
        for (std::size_t k = 0; k < 3; ++k) frames[6 * k + c.channel] = k == 1 ? -a : a;
        std::vector<float> out(6, 99.0f);
        downmix.process(frames.data(), 3, out.data());
        for (std::size_t k = 0; k < 3; ++k) {
            const float sign = k == 1 ? -1.0f : 1.0f;
            EXPECT_FLOAT_EQ(out[2 * k], sign * a * c.left);
            EXPECT_FLOAT_EQ(out[2 * k + 1], sign * a * c.right);
        }
    }
}

} // namespace
