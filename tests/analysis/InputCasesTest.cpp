// Files that are not the easy case: unreadable, empty, cut short, too short for some
// values, silent, and multichannel files whose channels do not all count alike. None may
// crash or yield a number that was not measured.
#include "AnalysisTestSupport.h"

#include "engine/dsp/ChannelWeighting.h"
#include "engine/analysis/FileAnalyzer.h"

#include <fstream>

using namespace analysis_test;

namespace {

bool hasNote(const FileAnalysis &result, const std::string &words)
{
    for (const std::string &note : result.notes)
        if (note.find(words) != std::string::npos) return true;
    return false;
}

void expectNothingMeasured(const FileAnalysis &result)
{
    EXPECT_FALSE(result.integratedLufs || result.loudnessRangeLu || result.maxMomentaryLufs || result.maxShortTermLufs);
    EXPECT_TRUE(result.truePeaks.empty());
    EXPECT_TRUE(result.samplePeaks.empty());
}

TEST(UnreadableFiles, MissingTextEmptyAndHeaderOnlyFilesSayWhy)
{
    const TempDir dir;
    const FileAnalysis missing = FileAnalyzer::analyze(dir.file("nothing-here.wav"));
    EXPECT_FALSE(missing.opened);
    EXPECT_FALSE(missing.error.empty());
    expectNothingMeasured(missing);

    std::ofstream(dir.file("notes.wav")) << "these are not the samples you are looking for\n";
    std::ofstream(dir.file("empty.flac")).flush();
    for (const char *name : {"notes.wav", "empty.flac"}) {
        const FileAnalysis result = FileAnalyzer::analyze(dir.file(name));
        EXPECT_FALSE(result.opened) << name;
        EXPECT_FALSE(result.error.empty()) << name;
        expectNothingMeasured(result);
    }

    // A valid header and no frames: readable, but there is nothing to measure.
    writeFile(dir.file("zero.wav"), {48000, 2, 0, SF_FORMAT_WAV | SF_FORMAT_PCM_16, {}}, sine(1000, 0.5, 48000));
    const FileAnalysis zero = FileAnalyzer::analyze(dir.file("zero.wav"));
    EXPECT_TRUE(zero.opened);
    EXPECT_TRUE(zero.error.empty()) << zero.error;
    EXPECT_EQ(zero.frames, 0);
    EXPECT_TRUE(hasNote(zero, "no audio"));
    expectNothingMeasured(zero);
}

TEST(UnreadableFiles, TruncatedFileIsReportedAndItsReadablePartMeasured)
{
    const TempDir dir;
    const std::string path = dir.file("cut.wav");
    writeFile(path, {48000, 2, 48000 * 4, SF_FORMAT_WAV | SF_FORMAT_PCM_16, {}}, sine(1000, 0.5, 48000));
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    const FileAnalysis result = FileAnalyzer::analyze(path);
    EXPECT_TRUE(result.opened);
    EXPECT_GT(result.frames, 48000);
    EXPECT_LT(result.frames, 48000 * 4);
    EXPECT_NE(result.error.find("cut short"), std::string::npos) << result.error;
    ASSERT_TRUE(result.integratedLufs.has_value());
    EXPECT_NEAR(*result.integratedLufs, 20 * std::log10(0.5), 0.1); // two channels of a sine at 0.5

    const std::string flac = dir.file("cut.flac");
    writeFile(flac, {48000, 2, 48000 * 4, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, {}}, programme(48000));
    std::filesystem::resize_file(flac, std::filesystem::file_size(flac) / 2);
    const FileAnalysis cutFlac = FileAnalyzer::analyze(flac);
    EXPECT_TRUE(cutFlac.opened);
    EXPECT_LT(cutFlac.frames, 48000 * 4);
    EXPECT_FALSE(cutFlac.error.empty());
}

TEST(ShortAndSilentFiles, ValuesTheLengthDoesNotAllowAreMissingWithANote)
{
    const TempDir dir;
    writeFile(dir.file("blip.wav"), {48000, 2, 14400, SF_FORMAT_WAV | SF_FORMAT_FLOAT, {}}, sine(1000, 0.5, 48000));
    const FileAnalysis blip = FileAnalyzer::analyze(dir.file("blip.wav")); // 300 ms
    EXPECT_FALSE(blip.integratedLufs || blip.maxMomentaryLufs || blip.loudnessRangeLu || blip.maxShortTermLufs);
    EXPECT_TRUE(hasNote(blip, "shorter than 400 ms"));
    EXPECT_TRUE(hasNote(blip, "shorter than 3 s"));
    ASSERT_EQ(blip.truePeaks.size(), 2u); // peaks need no window
    EXPECT_NEAR(*analysis::maxPeakDecibels(blip.samplePeaks), 20 * std::log10(0.5), 0.01);

    writeFile(dir.file("two.wav"), {48000, 1, 96000, SF_FORMAT_WAV | SF_FORMAT_FLOAT, {}}, sine(1000, 0.5, 48000));
    const FileAnalysis two = FileAnalyzer::analyze(dir.file("two.wav"));
    EXPECT_TRUE(two.integratedLufs && two.maxMomentaryLufs);
    EXPECT_FALSE(two.loudnessRangeLu || two.maxShortTermLufs);
    EXPECT_FALSE(hasNote(two, "400 ms"));
    EXPECT_TRUE(hasNote(two, "shorter than 3 s"));

    writeFile(dir.file("silence.wav"), {48000, 2, 48000 * 4, SF_FORMAT_WAV | SF_FORMAT_PCM_16, {}},
              [](std::int64_t, int) { return 0.0f; });
    const FileAnalysis silence = FileAnalyzer::analyze(dir.file("silence.wav"));
    EXPECT_FALSE(silence.integratedLufs || silence.maxMomentaryLufs || silence.maxShortTermLufs);
    EXPECT_TRUE(hasNote(silence, "-70 LUFS gate"));
    EXPECT_TRUE(hasNote(silence, "digital silence"));
    EXPECT_FALSE(analysis::maxPeakDecibels(silence.truePeaks));
    EXPECT_DOUBLE_EQ(silence.durationSeconds(), 4.0);
}

TEST(ShortAndSilentFiles, SteadySineReadsItsKnownLoudnessEverywhere)
{
    // A 1 kHz sine at -20 dBFS in both channels of a stereo file: about -20 LUFS
    // (K-weighting adds +0.69 dB at 1 kHz, two channels +3.01 dB, the offset -0.691).
    const TempDir dir;
    writeFile(dir.file("tone.wav"), {48000, 2, 48000 * 5, SF_FORMAT_WAV | SF_FORMAT_FLOAT, {}}, sine(1000, 0.1, 48000));
    const FileAnalysis tone = FileAnalyzer::analyze(dir.file("tone.wav"));
    ASSERT_TRUE(tone.integratedLufs && tone.maxMomentaryLufs && tone.maxShortTermLufs && tone.loudnessRangeLu);
    EXPECT_NEAR(*tone.integratedLufs, -20.0, 0.05);
    EXPECT_NEAR(*tone.maxMomentaryLufs, -20.0, 0.05);
    EXPECT_NEAR(*tone.maxShortTermLufs, -20.0, 0.05);
    EXPECT_NEAR(*tone.loudnessRangeLu, 0.0, 0.1);
    EXPECT_NEAR(*analysis::maxPeakDecibels(tone.truePeaks), -20.0, 0.05);
}

// In 5.1 the LFE does not count and a surround channel counts 1.5 dB more than a front one.
TEST(ChannelWeighting, SurroundCountsMoreAndLfeNotAtAll)
{
    const TempDir dir;
    const auto loudnessWithOnly = [&](int channel) {
        const std::string path = dir.file("only" + std::to_string(channel) + ".wav");
        std::vector<int> silent;
        for (int c = 0; c < 6; ++c)
            if (c != channel) silent.push_back(c);
        writeFile(path, {48000, 6, 48000 * 2, SF_FORMAT_WAV | SF_FORMAT_FLOAT, {}}, sine(1000, 0.3, 48000, silent));
        return FileAnalyzer::analyze(path);
    };
    const FileAnalysis front = loudnessWithOnly(0), centre = loudnessWithOnly(2), lfe = loudnessWithOnly(3),
                       surround = loudnessWithOnly(4);
    ASSERT_TRUE(front.integratedLufs && centre.integratedLufs && surround.integratedLufs);
    EXPECT_NEAR(*centre.integratedLufs, *front.integratedLufs, 1e-9);
    EXPECT_NEAR(*surround.integratedLufs - *front.integratedLufs, 10 * std::log10(1.41), 1e-6);
    EXPECT_FALSE(lfe.integratedLufs);
    EXPECT_NEAR(*analysis::maxPeakDecibels(lfe.truePeaks), 20 * std::log10(0.3), 0.05); // peaks still count
}

TEST(ChannelWeighting, ChannelMapInTheFileWinsOverTheDefaultOrder)
{
    // Four channels whose file says L R C LFE: channel 3 is the LFE, where the default
    // four-channel order (quad) would make it a surround channel.
    const TempDir dir;
    const auto lastChannelOnly = [&](const std::string &name, int format, std::vector<int> map) {
        writeFile(dir.file(name), {48000, 4, 48000 * 2, format, std::move(map)}, sine(1000, 0.3, 48000, {0, 1, 2}));
        return FileAnalyzer::analyze(dir.file(name));
    };
    const FileAnalysis mapped = lastChannelOnly("mapped.wav", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT,
                                                {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT, SF_CHANNEL_MAP_CENTER,
                                                 SF_CHANNEL_MAP_LFE});
    const FileAnalysis quad = lastChannelOnly("quad.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, {});
    EXPECT_TRUE(mapped.opened);
    EXPECT_FALSE(mapped.integratedLufs);
    EXPECT_TRUE(quad.integratedLufs);

    EXPECT_EQ(channel_weighting::waveDefault(8),
              (std::vector<int>{EBUR128_LEFT, EBUR128_RIGHT, EBUR128_CENTER, EBUR128_UNUSED, EBUR128_LEFT_SURROUND,
                                EBUR128_RIGHT_SURROUND, EBUR128_Mp090, EBUR128_Mm090}));
    EXPECT_EQ(channel_weighting::vorbisDefault(6),
              (std::vector<int>{EBUR128_LEFT, EBUR128_CENTER, EBUR128_RIGHT, EBUR128_LEFT_SURROUND,
                                EBUR128_RIGHT_SURROUND, EBUR128_UNUSED}));
}

} // namespace
