// Every figure the analysis shares with libebur128 must be the very double one full-mode
// state reports for the whole file, whatever the channel count, rate, length or block
// size; the sampled maxima must equal the library's own window queries up to rounding.
#include "AnalysisTestSupport.h"

#include "engine/analysis/BatchAnalyzer.h"
#include "engine/dsp/ChannelWeighting.h"
#include "engine/analysis/FileAnalyzer.h"
#include "engine/dsp/TruePeakScanner.h"

using namespace analysis_test;

namespace {

struct Case {
    const char *name;
    int sampleRate;
    int channels;
    std::int64_t frames;
    int format;
};

// Short files, odd lengths (not a whole number of 100 ms steps or blocks), every
// oversampling factor of the true peak (4x, 2x, none).
const Case cases[] = {
    {"stereo48k", 48000, 2, 48000 * 7 + 333, SF_FORMAT_WAV | SF_FORMAT_FLOAT},
    {"mono44k1", 44100, 1, 44100 * 4 + 17, SF_FORMAT_WAV | SF_FORMAT_PCM_16},
    {"surround51at96k", 96000, 6, 96000 * 3 + 12345, SF_FORMAT_WAV | SF_FORMAT_PCM_24},
    {"surround71flac", 48000, 8, 48000 * 3 + 1001, SF_FORMAT_FLAC | SF_FORMAT_PCM_24},
    {"stereo192k", 192000, 2, 192000 * 3 + 7, SF_FORMAT_WAV | SF_FORMAT_FLOAT},
    {"mono8k", 8000, 1, 8000 * 5 + 3, SF_FORMAT_WAV | SF_FORMAT_PCM_16},
};

void expectIdentical(const FileAnalysis &result, const Reference &reference)
{
    ASSERT_TRUE(result.integratedLufs.has_value());
    EXPECT_EQ(*result.integratedLufs, reference.integrated);
    ASSERT_TRUE(result.loudnessRangeLu.has_value());
    EXPECT_EQ(*result.loudnessRangeLu, reference.loudnessRange);
    EXPECT_EQ(result.truePeaks, reference.truePeaks);
    EXPECT_EQ(result.samplePeaks, reference.samplePeaks);
    ASSERT_TRUE(result.maxMomentaryLufs && result.maxShortTermLufs);
    EXPECT_NEAR(*result.maxMomentaryLufs, reference.maxMomentary, 1e-9);
    EXPECT_NEAR(*result.maxShortTermLufs, reference.maxShortTerm, 1e-9);
}

class MatchesLibebur128 : public ::testing::TestWithParam<Case> {};

TEST_P(MatchesLibebur128, SequentialAndThreadedAnalysesEqualOneFullModeState)
{
    const Case &c = GetParam();
    const TempDir dir;
    const std::string path = dir.file(std::string(c.name) + ((c.format & SF_FORMAT_FLAC) ? ".flac" : ".wav"));
    writeFile(path, {c.sampleRate, c.channels, c.frames, c.format, {}}, programme(c.sampleRate));
    const Reference reference = measureWithLibebur128(path, channel_weighting::waveDefault(c.channels));

    const FileAnalysis sequential = FileAnalyzer::analyze(path, 1000);
    EXPECT_TRUE(sequential.error.empty()) << sequential.error;
    EXPECT_EQ(sequential.frames, c.frames);
    EXPECT_EQ(sequential.channels, c.channels);
    EXPECT_EQ(sequential.sampleRate, c.sampleRate);
    expectIdentical(sequential, reference);

    BatchAnalyzer::Options options;
    options.threads = 3;
    options.blockFrames = 4099;
    options.blocksInFlight = 2;
    std::vector<FileAnalysis> threaded;
    BatchAnalyzer::run({path}, options, [&](FileAnalysis &&result) { threaded.push_back(std::move(result)); });
    ASSERT_EQ(threaded.size(), 1u);
    expectIdentical(threaded[0], reference);
}

INSTANTIATE_TEST_SUITE_P(Files, MatchesLibebur128, ::testing::ValuesIn(cases),
                         [](const ::testing::TestParamInfo<Case> &info) { return std::string(info.param.name); });

// The scanner on its own, against a one-channel true-peak state, over awkward block
// sizes: splitting the input anywhere must not change a bit of the peak.
TEST(TruePeakScanner, EqualsLibebur128AtEveryRateAndBlockSize)
{
    for (const int rate : {32000, 44100, 48000, 88200, 96000, 176400, 192000}) {
        std::vector<float> samples(static_cast<std::size_t>(rate / 2 + 77));
        const Signal signal = programme(rate);
        for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = signal(static_cast<std::int64_t>(i), 0) * 2.0f;
        samples[1234] = 1.7f; // an isolated overshoot between neighbours of opposite sign
        samples[1235] = -1.6f;

        ebur128_state *state = ebur128_init(1, static_cast<unsigned long>(rate), EBUR128_MODE_TRUE_PEAK);
        ebur128_add_frames_float(state, samples.data(), samples.size());
        double expected = 0.0;
        ebur128_true_peak(state, 0, &expected);
        ebur128_destroy(&state);

        for (const std::size_t block : {std::size_t{1}, std::size_t{3}, std::size_t{1023}, std::size_t{1025}, samples.size()}) {
            TruePeakScanner scanner(rate);
            for (std::size_t start = 0; start < samples.size(); start += block)
                scanner.add(samples.data() + start, std::min(block, samples.size() - start), 1);
            EXPECT_EQ(scanner.truePeak(), expected) << rate << " Hz, blocks of " << block;
        }
    }
}

TEST(TruePeakScanner, ReadsOneChannelOfAnInterleavedBlockAndIgnoresNaN)
{
    // Left: a sine at 0.5; right: larger, with a NaN that must not become the peak.
    std::vector<float> frames(2 * 4800);
    for (std::size_t i = 0; i < 4800; ++i) {
        frames[2 * i] = static_cast<float>(0.5 * std::sin(2.0 * M_PI * 1000.0 * static_cast<double>(i) / 48000.0));
        frames[2 * i + 1] = 0.9f * frames[2 * i] / 0.5f;
    }
    frames[2 * 100 + 1] = std::nanf("");
    TruePeakScanner left(48000), right(48000);
    left.add(frames.data(), 4800, 2);
    right.add(frames.data() + 1, 4800, 2);
    EXPECT_NEAR(left.truePeak(), 0.5, 0.002);
    EXPECT_LT(left.truePeak(), 0.6);
    EXPECT_NEAR(right.truePeak(), 0.9, 0.004);
    EXPECT_FALSE(std::isnan(right.truePeak()));
}

} // namespace
