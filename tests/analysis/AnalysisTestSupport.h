#pragma once

// Test files made on the spot, and the measurement every analysis must equal: one
// libebur128 state in the full mode (M, S, I, LRA, sample and true peak) fed the whole
// file.

#include <ebur128.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace analysis_test {

// sample(frame, channel) -> value in [-1, 1].
using Signal = std::function<float(std::int64_t frame, int channel)>;

struct FileSpec {
    int sampleRate = 48000;
    int channels = 2;
    std::int64_t frames = 48000;
    int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    std::vector<int> channelMap; // SF_CHANNEL_MAP_* per channel; empty: none written
};

inline void writeFile(const std::string &path, const FileSpec &spec, const Signal &signal)
{
    SF_INFO info{};
    info.samplerate = spec.sampleRate;
    info.channels = spec.channels;
    info.format = spec.format;
    SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    if (!spec.channelMap.empty()) {
        std::vector<int> map = spec.channelMap;
        if (sf_command(file, SFC_SET_CHANNEL_MAP_INFO, map.data(), static_cast<int>(map.size() * sizeof(int))) != SF_TRUE) {
            sf_close(file);
            FAIL() << "libsndfile refused the channel map";
        }
    }
    std::vector<float> block;
    for (std::int64_t start = 0; start < spec.frames; start += 4096) {
        const std::int64_t count = std::min<std::int64_t>(4096, spec.frames - start);
        block.resize(static_cast<std::size_t>(count * spec.channels));
        for (std::int64_t i = 0; i < count; ++i)
            for (int c = 0; c < spec.channels; ++c)
                block[static_cast<std::size_t>(i * spec.channels + c)] = signal(start + i, c);
        sf_writef_float(file, block.data(), count);
    }
    sf_close(file);
}

// Noise whose level wanders by channel and over time (a loudness range to measure),
// with a tone on top so the true peak sits between samples.
inline Signal programme(int sampleRate)
{
    return [sampleRate](std::int64_t frame, int channel) {
        std::uint32_t x = static_cast<std::uint32_t>(frame * 2654435761u) ^ static_cast<std::uint32_t>(channel * 40503u);
        x ^= x >> 13;
        x *= 0x5bd1e995u;
        x ^= x >> 15;
        const double noise = (static_cast<double>(x) / 4294967295.0) * 2.0 - 1.0;
        const double t = static_cast<double>(frame) / sampleRate;
        const double envelope = 0.05 + 0.25 * (0.5 + 0.5 * std::sin(2.0 * M_PI * t / (3.0 + channel)));
        const double tone = 0.4 * std::sin(2.0 * M_PI * (997.0 + 50.0 * channel) * t + 0.3);
        return static_cast<float>(envelope * noise + tone * (0.6 + 0.4 * std::cos(2.0 * M_PI * t / 5.0)));
    };
}

inline Signal sine(double frequency, double amplitude, int sampleRate, std::vector<int> silentChannels = {})
{
    return [=](std::int64_t frame, int channel) {
        for (const int silent : silentChannels)
            if (silent == channel) return 0.0f;
        return static_cast<float>(amplitude * std::sin(2.0 * M_PI * frequency * static_cast<double>(frame) / sampleRate));
    };
}

// What one full-mode libebur128 state reports for the whole file, plus the largest
// momentary and short-term loudness queried every 10 ms from the first full window on.
struct Reference {
    double integrated = 0.0;
    double loudnessRange = 0.0;
    std::vector<double> truePeaks;
    std::vector<double> samplePeaks;
    double maxMomentary = -HUGE_VAL;
    double maxShortTerm = -HUGE_VAL;
};

// roles: libebur128 channel roles; empty leaves the library's defaults.
inline Reference measureWithLibebur128(const std::string &path, const std::vector<int> &roles)
{
    Reference reference;
    SF_INFO info{};
    SNDFILE *file = sf_open(path.c_str(), SFM_READ, &info);
    EXPECT_NE(file, nullptr);
    if (!file) return reference;
    ebur128_state *state = ebur128_init(static_cast<unsigned>(info.channels), static_cast<unsigned long>(info.samplerate),
                                        EBUR128_MODE_M | EBUR128_MODE_S | EBUR128_MODE_I | EBUR128_MODE_LRA |
                                            EBUR128_MODE_SAMPLE_PEAK | EBUR128_MODE_TRUE_PEAK);
    for (unsigned c = 0; c < roles.size(); ++c) ebur128_set_channel(state, c, roles[c]);
    const auto step = static_cast<std::size_t>(info.samplerate / 100);
    std::vector<float> block(step * static_cast<std::size_t>(info.channels));
    std::int64_t steps = 0;
    for (;;) {
        const sf_count_t got = sf_readf_float(file, block.data(), static_cast<sf_count_t>(step));
        if (got <= 0) break;
        ebur128_add_frames_float(state, block.data(), static_cast<std::size_t>(got));
        if (static_cast<std::size_t>(got) < step) break;
        ++steps;
        double value = 0.0;
        if (steps >= 40 && ebur128_loudness_momentary(state, &value) == EBUR128_SUCCESS)
            reference.maxMomentary = std::max(reference.maxMomentary, value);
        if (steps >= 300 && ebur128_loudness_shortterm(state, &value) == EBUR128_SUCCESS)
            reference.maxShortTerm = std::max(reference.maxShortTerm, value);
    }
    ebur128_loudness_global(state, &reference.integrated);
    ebur128_loudness_range(state, &reference.loudnessRange);
    for (unsigned c = 0; c < static_cast<unsigned>(info.channels); ++c) {
        double peak = 0.0;
        ebur128_true_peak(state, c, &peak);
        reference.truePeaks.push_back(peak);
        ebur128_sample_peak(state, c, &peak);
        reference.samplePeaks.push_back(peak);
    }
    ebur128_destroy(&state);
    sf_close(file);
    return reference;
}

// A fresh directory for one test's files, removed afterwards.
class TempDir {
public:
    TempDir()
    {
        path_ = std::filesystem::temp_directory_path() /
                ("kelvra-analysis-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TempDir() { std::filesystem::remove_all(path_); }
    std::string file(const std::string &name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

} // namespace analysis_test
