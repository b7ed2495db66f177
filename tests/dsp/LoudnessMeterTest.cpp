#include "engine/dsp/LoudnessMeter.h"

#include "tests/conformance/ConformanceCases.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Feeding = LoudnessMeter::Feeding;

// Programme-like audio: noise and two tones per channel, at a level that jumps every
// 0.3 to 2.5 s between -45 and -8 dBFS, each channel a few dB apart. Deterministic.
std::vector<float> musicLike(std::size_t channels, int rate, double seconds)
{
    const auto frames = static_cast<std::size_t>(seconds * rate);
    std::vector<float> out(frames * channels);
    std::uint32_t random = 12345;
    const auto next = [&random] {
        random = random * 1664525u + 1013904223u;
        return static_cast<double>(random >> 8) / 16777216.0; // [0, 1)
    };
    std::vector<double> smoothed(channels, 0.0);
    double gain = 0.1;
    std::size_t nextChange = 0;
    for (std::size_t n = 0; n < frames; ++n) {
        if (n == nextChange) {
            gain = std::pow(10.0, (-45.0 + 37.0 * next()) / 20.0);
            nextChange += static_cast<std::size_t>((0.3 + 2.2 * next()) * rate);
        }
        const double t = static_cast<double>(n) / rate;
        for (std::size_t c = 0; c < channels; ++c) {
            smoothed[c] = 0.7 * smoothed[c] + 0.3 * (2.0 * next() - 1.0);
            const double tones = 0.5 * std::sin(2 * std::numbers::pi * (220.0 + 110.0 * c) * t) +
                                 0.3 * std::sin(2 * std::numbers::pi * 3100.0 * t);
            out[n * channels + c] = static_cast<float>(gain * std::pow(0.8, c) * (smoothed[c] + tones));
        }
    }
    return out;
}

// libebur128 used directly, in the full mode (63) without histogram: the exact figures.
class Reference {
public:
    Reference(std::size_t channels, int rate, const std::vector<int> &roles, int mode = 63)
        : channels_(channels), state_(ebur128_init(static_cast<unsigned>(channels), static_cast<unsigned long>(rate), mode))
    {
        for (unsigned c = 0; c < roles.size(); ++c) ebur128_set_channel(state_, c, roles[c]);
    }
    ~Reference() { ebur128_destroy(&state_); }
    Reference(const Reference &) = delete;
    Reference &operator=(const Reference &) = delete;

    void add(const float *frames, std::size_t count) { ebur128_add_frames_float(state_, frames, count); }

    double momentary() const { return query(ebur128_loudness_momentary); }
    double shortTerm() const { return query(ebur128_loudness_shortterm); }
    double integrated() const { return query(ebur128_loudness_global); }
    double range() const { return query(ebur128_loudness_range); }
    double truePeakDb(unsigned channel) const
    {
        double peak = 0.0;
        ebur128_true_peak(state_, channel, &peak);
        return peak > 0.0 ? 20.0 * std::log10(peak) : -70.0;
    }

private:
    double query(int (*function)(ebur128_state *, double *)) const
    {
        double value = 0.0;
        function(state_, &value);
        return value;
    }

    std::size_t channels_;
    ebur128_state *state_;
};

struct Layout {
    const char *name;
    std::vector<int> roles; // one per channel
};

const std::vector<Layout> layouts = {
    {"mono", {EBUR128_LEFT}},
    {"stereo", {EBUR128_LEFT, EBUR128_RIGHT}},
    {"5.1", {EBUR128_LEFT, EBUR128_RIGHT, EBUR128_CENTER, EBUR128_UNUSED, EBUR128_LEFT_SURROUND, EBUR128_RIGHT_SURROUND}},
};

// At every 100 ms boundary, counted as libebur128 counts its gating blocks, momentary
// and short-term equal the library's own (also before a whole window has passed, when
// the library counts the missing audio as silence); integrated and range (refreshed every 500 ms)
// stay within the histogram bound; the true peaks are the library's to the bit (one
// channel shown on both sides, more than two: the largest on both sides).
TEST(LoudnessMeter, FollowsLibebur128AtEvery100msBoundary)
{
    for (const int rate : {48000, 44100}) {
        for (const Layout &layout : layouts) {
            SCOPED_TRACE(testing::Message() << layout.name << " at " << rate << " Hz");
            const std::size_t channels = layout.roles.size();
            const std::vector<float> audio = musicLike(channels, rate, 12.0);
            LoudnessMeter meter(static_cast<int>(channels), rate, layout.roles, {});
            Reference reference(channels, rate, layout.roles);
            const std::size_t block = static_cast<std::size_t>(rate + 5) / 10;
            for (std::size_t k = 1; k * block * channels <= audio.size(); ++k) {
                const float *frames = audio.data() + (k - 1) * block * channels;
                meter.addInterleaved(frames, block);
                reference.add(frames, block);
                const LoudnessValues v = meter.read();
                EXPECT_NEAR(v.momentary, reference.momentary(), 1e-6) << k;
                EXPECT_NEAR(v.shortTerm, reference.shortTerm(), 1e-6) << k;
                if (k % 5 == 0) {
                    EXPECT_NEAR(v.integrated, reference.integrated(), 0.05) << k;
                    EXPECT_NEAR(v.loudnessRange, k >= 30 ? reference.range() : 0.0, 0.05) << k;
                }
                double peak = -70.0;
                for (unsigned c = 0; c < channels; ++c) peak = std::max(peak, reference.truePeakDb(c));
                EXPECT_EQ(v.truePeakLeft, channels == 2 ? reference.truePeakDb(0) : peak);
                EXPECT_EQ(v.truePeakRight, channels == 2 ? reference.truePeakDb(1) : peak);
            }
        }
    }
}

// However the stream is cut into calls, and whichever way it is fed, the meter ends
// with the same figures: every frame of a long block counts.
TEST(LoudnessMeter, BlocksOfAnySizeAndBothFeedingsMeasureTheSame)
{
    constexpr int rate = 48000;
    const std::vector<float> audio = musicLike(2, rate, 4.3);
    const std::size_t frames = audio.size() / 2;
    std::vector<float> left(frames), right(frames);
    for (std::size_t n = 0; n < frames; ++n) {
        left[n] = audio[2 * n];
        right[n] = audio[2 * n + 1];
    }
    LoudnessMeter whole(2, rate);
    whole.addInterleaved(audio.data(), frames);
    whole.flush();
    const LoudnessValues expected = whole.read();
    ASSERT_GT(expected.shortTerm, -70.0);
    ASSERT_GT(expected.integrated, -70.0);

    for (const Feeding feeding : {Feeding::inlined, Feeding::meteringThread}) {
        for (const std::size_t blockSize : {1u, 1023u, 4096u, 8192u, 16384u}) {
            SCOPED_TRACE(testing::Message() << "block " << blockSize << (feeding == Feeding::inlined ? " inlined" : " threaded"));
            LoudnessMeter meter(2, rate, {}, {feeding, false});
            double peak = -HUGE_VAL; // read while the metering thread publishes: never falls
            for (std::size_t offset = 0; offset < frames; offset += blockSize) {
                const std::size_t n = std::min(blockSize, frames - offset);
                if (blockSize == 8192) {
                    meter.addInterleaved(&audio[2 * offset], n);
                } else {
                    meter.addFrames(&left[offset], &right[offset], n);
                }
                // Live audio comes in real time; this loop is far faster than the ring drains.
                if ((offset + n) % 32768 < n) meter.flush();
                EXPECT_GE(meter.read().truePeakLeft, peak);
                peak = meter.read().truePeakLeft;
            }
            meter.flush();
            EXPECT_EQ(meter.read(), expected);
            EXPECT_EQ(meter.droppedFrames(), 0u);
        }
    }
}

// A stalled metering thread loses what does not fit in its ring, counts it, and the
// feeder goes on without waiting.
TEST(LoudnessMeter, AFullRingDropsAndCountsFrames)
{
    const std::vector<float> audio = musicLike(2, 48000, 10.0);
    LoudnessMeter meter(2, 48000, {}, {Feeding::meteringThread, false});
    meter.addInterleaved(audio.data(), audio.size() / 2); // ten seconds at once
    meter.flush();
    EXPECT_GE(meter.droppedFrames(), audio.size() / 2 - 2 * 48000); // the ring holds 1 to 2 s
    EXPECT_LE(meter.droppedFrames(), audio.size() / 2 - 48000);
    EXPECT_GT(meter.read().momentary, -70.0);
}

std::vector<float> readFile(const std::string &path)
{
    SF_INFO info{};
    SNDFILE *file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) return {};
    std::vector<float> samples(static_cast<std::size_t>(info.frames * info.channels));
    sf_readf_float(file, samples.data(), info.frames);
    sf_close(file);
    return samples;
}

// Integrated loudness and range from the histograms against libebur128's exact lists,
// on every broadcast test signal and on programme-like audio.
TEST(LoudnessMeter, IntegratedAndRangeWithin005LuOfLibebur128)
{
    const auto check = [](const std::vector<float> &audio) {
        // Whole 500 ms: the meter's figures are as of the end.
        const std::size_t frames = audio.size() / 2 / 24000 * 24000;
        LoudnessMeter meter(2, 48000);
        Reference reference(2, 48000, {}, EBUR128_MODE_I | EBUR128_MODE_LRA);
        meter.addInterleaved(audio.data(), frames);
        reference.add(audio.data(), frames);
        const double integrated = reference.integrated();
        EXPECT_NEAR(meter.read().integrated, std::isfinite(integrated) ? integrated : -70.0, 0.05);
        EXPECT_NEAR(meter.read().loudnessRange, reference.range(), 0.05);
    };
    {
        SCOPED_TRACE("programme");
        check(musicLike(2, 48000, 180.0));
    }
    const std::filesystem::path directory = std::filesystem::temp_directory_path() / "kelvra-loudness-meter-test";
    std::filesystem::create_directories(directory);
    for (const ConformanceCase &c : conformanceCases()) {
        SCOPED_TRACE(c.name());
        const std::string path = (directory / (c.name() + ".wav")).string();
        std::string error;
        ASSERT_TRUE(c.make(0, path, error)) << error;
        check(readFile(path));
    }
    std::filesystem::remove_all(directory);
}

// A steady tone picked up mid-wave reads its own true peak from the first block on,
// whatever the phase; from silence (a file played from its start) the values stay
// libebur128's, which ring on the step.
TEST(LoudnessMeter, TruePeakOfAToneJoinedMidWaveDoesNotRing)
{
    constexpr int rate = 48000;
    const double amplitude = std::pow(10.0, -18.0 / 20.0);
    double worstFromSilence = -70.0;
    for (int phase = 0; phase < 20; ++phase) {
        std::vector<float> tone(2 * 4800);
        for (std::size_t n = 0; n < tone.size() / 2; ++n) {
            const double x = 2 * std::numbers::pi * (997.0 * n / rate + phase / 20.0);
            tone[2 * n] = tone[2 * n + 1] = static_cast<float>(amplitude * std::sin(x));
        }
        LoudnessMeter joined(2, rate, {}, {Feeding::inlined, true});
        LoudnessMeter fromSilence(2, rate);
        Reference reference(2, rate, {});
        joined.addInterleaved(tone.data(), 4800);
        fromSilence.addInterleaved(tone.data(), 4800);
        reference.add(tone.data(), 4800);
        EXPECT_NEAR(joined.read().truePeakLeft, -18.0, 0.05) << "phase " << phase << "/20";
        EXPECT_EQ(fromSilence.read().truePeakLeft, reference.truePeakDb(0));
        worstFromSilence = std::max(worstFromSilence, fromSilence.read().truePeakLeft);
    }
    EXPECT_GT(worstFromSilence, -17.5) << "the signal must show the ringing the priming avoids";
}

TEST(LoudnessMeter, SilenceReadsNoValueEverywhere)
{
    LoudnessMeter meter(2, 48000);
    EXPECT_EQ(meter.read(), LoudnessValues{});
    const std::vector<float> silence(48000 * 5, 0.0f);
    meter.addFrames(silence.data(), silence.data(), silence.size());
    EXPECT_EQ(meter.read(), LoudnessValues{});
}

// A mono meter ignores a right channel passed anyway; a stereo meter given no right
// channel measures the left one on both.
TEST(LoudnessMeter, MissingAndSurplusChannels)
{
    std::vector<float> left(48000);
    const std::vector<float> loud(48000, 1.0f);
    for (std::size_t n = 0; n < left.size(); ++n) left[n] = static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * 997.0 * n / 48000));
    LoudnessMeter mono(1, 48000);
    mono.addFrames(left.data(), loud.data(), left.size());
    EXPECT_NEAR(mono.read().truePeakLeft, -6.0, 0.1);
    EXPECT_EQ(mono.read().truePeakRight, mono.read().truePeakLeft);

    LoudnessMeter stereo(2, 48000);
    LoudnessMeter bothGiven(2, 48000);
    stereo.addFrames(left.data(), nullptr, left.size());
    bothGiven.addFrames(left.data(), left.data(), left.size());
    EXPECT_EQ(stereo.read(), bothGiven.read());
}

TEST(LoudnessMeter, InvalidConstruction)
{
    EXPECT_THROW(LoudnessMeter(-1, 48000), std::invalid_argument);
    EXPECT_THROW(LoudnessMeter(2, -48000), std::invalid_argument);
    EXPECT_THROW(LoudnessMeter(2, 48000, {EBUR128_LEFT}, {}), std::invalid_argument);
    // Refused by the library: a meter that ignores its input.
    const std::vector<float> loud(48000, 0.9f);
    for (const Feeding feeding : {Feeding::inlined, Feeding::meteringThread}) {
        for (auto [channels, rate] : {std::pair{0, 48000}, std::pair{2, 0}}) {
            LoudnessMeter meter(channels, rate, {}, {feeding, false});
            EXPECT_FALSE(meter.isMeasuring());
            meter.addFrames(loud.data(), loud.data(), loud.size());
            meter.flush();
            EXPECT_EQ(meter.read(), LoudnessValues{});
        }
    }
    LoudnessMeter dualMonoStereo(2, 48000, {EBUR128_DUAL_MONO, EBUR128_RIGHT}, {});
    EXPECT_FALSE(dualMonoStereo.isMeasuring());
}

} // namespace
