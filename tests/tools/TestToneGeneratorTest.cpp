// Reference tone files, checked with libsndfile on the way back in and with tools
// nobody here wrote: soxi for the container, sox for the peak, ffmpeg's EBU R128 meter
// for the loudness.
#include "tools/TestToneGenerator.h"

#include <sndfile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr double step24 = 1.0 / 8388608.0; // one 24-bit step at full scale 1.0

std::string run(const std::string &command)
{
    std::string output;
    FILE *pipe = popen((command + " 2>&1").c_str(), "r");
    if (!pipe) return output;
    std::array<char, 4096> chunk;
    while (std::size_t n = std::fread(chunk.data(), 1, chunk.size(), pipe)) output.append(chunk.data(), n);
    pclose(pipe);
    return output;
}

std::string readText(const fs::path &file)
{
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The number that follows label in a tool's report, if any.
std::optional<double> numberAfter(const std::string &text, const std::string &label)
{
    const std::size_t at = text.find(label);
    if (at == std::string::npos) return std::nullopt;
    try {
        return std::stod(text.substr(at + label.size()));
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

std::vector<std::string> lines(const std::string &text)
{
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) result.push_back(line);
    return result;
}

// One folder of exported tones shared by the tests that only read them (30 s each).
class ExportedTones : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        folder = new fs::path(fs::temp_directory_path() / ("kelvra-tones-" + std::to_string(::getpid())));
        fs::create_directories(*folder);
        written = new std::vector<fs::path>(TestToneGenerator::exportAll(*folder));
    }
    static void TearDownTestSuite()
    {
        fs::remove_all(*folder);
        delete folder;
        delete written;
    }
    static fs::path tone(std::string_view name) { return *folder / name; }

    static inline fs::path *folder = nullptr;
    static inline std::vector<fs::path> *written = nullptr;
};

} // namespace

TEST_F(ExportedTones, MinusEighteenFileHoldsTheExactSineInBothChannels)
{
    SF_INFO info{};
    SNDFILE *in = sf_open(tone("KelvraMeters_997Hz_-18dBFS_EBU.wav").c_str(), SFM_READ, &info);
    ASSERT_NE(in, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.format, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    EXPECT_EQ(info.samplerate, 48000);
    EXPECT_EQ(info.channels, 2);
    EXPECT_EQ(info.frames, 1'440'000);

    std::vector<double> samples(std::size_t(info.frames) * 2);
    ASSERT_EQ(sf_readf_double(in, samples.data(), info.frames), info.frames);
    sf_close(in);

    const double amplitude = std::pow(10.0, -18.0 / 20.0);
    EXPECT_NEAR(amplitude, 0.125893, 1e-6);
    EXPECT_EQ(samples[0], 0.0) << "no fade in: the sine starts at zero";
    EXPECT_NEAR(samples[2], 0.016383, 1e-6);
    EXPECT_NEAR(samples[2], amplitude * std::sin(2 * M_PI * 997 / 48000), step24 / 2) << "rounded, not truncated";
    double largest = 0;
    bool identical = true;
    for (std::size_t n = 0; n < samples.size(); n += 2) {
        largest = std::max(largest, std::abs(samples[n]));
        identical = identical && samples[n] == samples[n + 1];
    }
    EXPECT_TRUE(identical) << "both channels carry the same samples";
    EXPECT_NEAR(largest, amplitude, step24);
    // No fade out either: the last period is as loud as the first.
    double lastPeriod = 0;
    for (std::size_t n = samples.size() - 2 * 49; n < samples.size(); n += 2)
        lastPeriod = std::max(lastPeriod, std::abs(samples[n]));
    EXPECT_NEAR(lastPeriod, amplitude, amplitude * 0.01);
}

TEST_F(ExportedTones, SoxAgreesOnFormatLengthAndPeakOfEveryFile)
{
    if (run("command -v soxi").empty()) GTEST_SKIP() << "sox is not installed";
    ASSERT_EQ(written->size(), TestToneGenerator::tones().size());
    for (std::size_t i = 0; i < written->size(); ++i) {
        const TestToneGenerator::Tone &row = TestToneGenerator::tones()[i];
        const fs::path &file = (*written)[i];
        EXPECT_EQ(file, tone(row.fileName)) << "files come back in table order";
        const std::string quoted = "'" + file.string() + "'";

        EXPECT_EQ(run("soxi -t " + quoted), "wav\n");
        EXPECT_EQ(run("soxi -r " + quoted), "48000\n");
        EXPECT_EQ(run("soxi -c " + quoted), "2\n");
        EXPECT_EQ(run("soxi -b " + quoted), "24\n");
        EXPECT_EQ(run("soxi -e " + quoted), "Signed Integer PCM\n");
        EXPECT_EQ(run("soxi -s " + quoted), "1440000\n");

        const std::string stat = run("sox " + quoted + " -n stat");
        const std::optional<double> peak = numberAfter(stat, "Maximum amplitude:");
        ASSERT_TRUE(peak) << stat;
        EXPECT_NEAR(*peak, std::pow(10.0, row.peakDb / 20.0), step24 + 1e-6) << row.fileName;
    }
}

TEST_F(ExportedTones, FfmpegReadsTheAlignmentToneAsMinusEighteenLufs)
{
    if (run("command -v ffmpeg").empty()) GTEST_SKIP() << "ffmpeg is not installed";
    const std::string output = run("ffmpeg -hide_banner -nostats -i '" +
                                   tone("KelvraMeters_997Hz_-18dBFS_EBU.wav").string() +
                                   "' -af ebur128=peak=true -f null -");
    const std::string summary = output.substr(output.rfind("Summary:"));
    const std::optional<double> integrated = numberAfter(summary, "I:");
    ASSERT_TRUE(integrated) << output;
    // A stereo sine: each channel at -21.0 dB RMS, summed over two channels, with the
    // K-filter close to 0 dB at 997 Hz.
    EXPECT_NEAR(*integrated, -18.0, 0.1);
    const std::optional<double> truePeak = numberAfter(summary, "Peak:");
    ASSERT_TRUE(truePeak) << output;
    EXPECT_NEAR(*truePeak, -18.0, 0.1) << "true peak of a 997 Hz sine is its sample peak";
}

TEST_F(ExportedTones, ReadmeListsEveryFileWithPeakAndSineRms)
{
    const std::string text = readText(*folder / TestToneGenerator::readmeFileName);
    EXPECT_EQ(text, TestToneGenerator::expectedReadingsTable()) << "written as it is built, in UTF-8";
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '\n');
    EXPECT_EQ(text.find("\n\n\n"), std::string::npos);

    const std::vector<std::string> all = lines(text);
    ASSERT_EQ(all.size(), 20u);
    EXPECT_EQ(all[0], "KelvraMeters — Test Tone Reference");
    EXPECT_EQ(all[1], std::string(34, '='));
    EXPECT_EQ(all[3], "Signal: 997 Hz sine, 48000 Hz, 24-bit, stereo, 30 s.");
    EXPECT_EQ(all[7], std::string(78, '-'));
    // The file column is 38 wide; the RMS column is the peak minus 3.0103 to one decimal.
    EXPECT_EQ(all[8], "KelvraMeters_997Hz_0dBFS.wav              -0.1 dBFS      -3.1 dB    "
                      "0 dBFS reference — generated at -0.1 dBFS (true-peak safe)");
    EXPECT_EQ(all[9], "KelvraMeters_997Hz_-10dBFS.wav           -10.0 dBFS     -13.0 dB    ")
        << "an empty note leaves the trailing spaces";
    EXPECT_EQ(all[10], "KelvraMeters_997Hz_-18dBFS_EBU.wav       -18.0 dBFS     -21.0 dB    EBU R68 alignment level");
    EXPECT_EQ(all[12], "KelvraMeters_997Hz_-30dBFS.wav           -30.0 dBFS     -33.0 dB    ");
    EXPECT_EQ(all[14], "Notes:");
    EXPECT_EQ(all[19], "• The 0 dBFS file is generated at -0.1 dBFS to stay true-peak safe.");
}

TEST(TestToneExport, ExportingAgainReplacesEveryFile)
{
    const fs::path folder = fs::temp_directory_path() / ("kelvra-tones-again-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    // Leftovers of an older export, one of them read-only.
    for (const auto &row : TestToneGenerator::tones()) std::ofstream(folder / row.fileName) << "stale";
    std::ofstream(folder / TestToneGenerator::readmeFileName) << "stale";
    fs::permissions(folder / TestToneGenerator::tones()[2].fileName, fs::perms::owner_read);

    const std::vector<fs::path> written = TestToneGenerator::exportAll(folder);
    ASSERT_EQ(written.size(), 5u);
    for (const fs::path &file : written) EXPECT_EQ(fs::file_size(file), 44u + 1'440'000u * 2 * 3) << file;
    EXPECT_EQ(readText(folder / TestToneGenerator::readmeFileName), TestToneGenerator::expectedReadingsTable());
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto &entry : fs::directory_iterator(folder)) ++entries;
    EXPECT_EQ(entries, 6u) << "no temporary files left behind";
    fs::remove_all(folder);
}

TEST(TestToneExport, AFolderThatCannotBeWrittenFailsWithTheWritersError)
{
    const fs::path missing = fs::temp_directory_path() / "kelvra-no-such-folder" / "deeper";
    try {
        TestToneGenerator::exportAll(missing);
        FAIL() << "exporting into a missing folder must fail";
    } catch (const TestToneGenerator::Error &error) {
        EXPECT_EQ(error.domain(), "libsndfile");
        EXPECT_NE(std::string(error.what()), "");
    }
    EXPECT_FALSE(fs::exists(missing));
}
