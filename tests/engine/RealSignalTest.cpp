// Meters real signals made by sox through the whole path - file blocks, the capture
// block handling, the display tick - and checks them against known levels and against
// ffmpeg's independent EBU R128 implementation.
//
// Loudness range: ffmpeg's ebur128 filter evaluates the short-term loudness every
// 100 ms for its range statistics, libebur128 every 3 s-window step of its own (a
// tenth as often), so the two ranges differ. Observed on these signals: pink noise
// 0.1 LU apart (0.0 vs 0.1), the music-like signal 0.6 LU apart (13.0 vs 13.6); the
// test allows 1 LU.

#include "engine/MeterFileSession.h"
#include "tests/engine/QtTestSupport.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace {

struct FfmpegSummary {
    double integrated = 0.0;    // LUFS
    double loudnessRange = 0.0; // LU
    double truePeak = 0.0;      // dBFS, highest of all channels
};

class RealSignals : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        testApplication();
        directory = new QTemporaryDir();
        ASSERT_TRUE(directory->isValid());
        // %1 is the output format: 48 kHz 32-bit float. -R: repeatable noise, so every run
        // measures the same file.
        const auto sox = [&](const char *arguments) {
            QProcess process;
            process.setWorkingDirectory(directory->path());
            process.start("sox", QString(arguments).arg("-r 48000 -b 32 -e floating-point").split(' '));
            ASSERT_TRUE(process.waitForFinished(60000)) << arguments;
            ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
        };
        sox("-R -n %1 -c 2 sine997.wav synth 3 sine 997 vol -18dB");
        sox("-R -n %1 -c 2 sine1k.wav synth 20 sine 1000 vol -23dB");
        // Pink noise with the right channel 37 ms late, so the channels are not identical.
        sox("-R -n %1 -c 2 pink.wav synth 60.1 pinknoise vol -14dB channels 2 delay 0 0.037 trim 0 60");
        // Music-like: tones and a little noise mixed differently into each channel, with
        // tremolo, a louder first half and a quieter second half, faded in and out.
        sox("-R -n %1 -c 1 t1.wav synth 60 sine 220 vol 0.3");
        sox("-R -n %1 -c 1 t2.wav synth 60 square 330 vol 0.08");
        sox("-R -n %1 -c 1 t3.wav synth 60 sine 523.25 vol 0.25 tremolo 0.7 80");
        sox("-R -n %1 -c 1 t4.wav synth 60 pinknoise vol 0.05");
        sox("-M t1.wav t2.wav t3.wav t4.wav %1 mix4.wav");
        sox("mix4.wav %1 -c 2 stereo.wav remix 1,2v0.6,3v0.4,4 1v0.5,2,3,4v0.7 tremolo 3 40");
        sox("stereo.wav %1 a.wav trim 0 30");
        sox("stereo.wav %1 b.wav trim 30 30 vol -10dB tremolo 0.5 60");
        sox("a.wav b.wav %1 music.wav fade t 2 60 6");
    }

    static void TearDownTestSuite()
    {
        delete directory;
        directory = nullptr;
    }

    static std::string path(const char *name) { return QDir(directory->path()).filePath(name).toStdString(); }

    // The values at the end of the file.
    static MeterValues meter(const std::string &file)
    {
        MeterFileOptions options;
        options.path = file;
        options.reportInterval = 10.0;
        MeterValues last;
        std::string error;
        EXPECT_TRUE(runMeterFile(options, [&](double, const MeterValues &values) { last = values; }, error)) << error;
        return last;
    }

    // The values after every tick.
    static void meterEachTick(const std::string &file, std::size_t blockFrames, std::vector<MeterValues> &ticks)
    {
        MeterFileOptions options;
        options.path = file;
        options.blockFrames = blockFrames;
        options.reportInterval = 1.0 / 60;
        std::string error;
        EXPECT_TRUE(runMeterFile(options, [&](double, const MeterValues &values) { ticks.push_back(values); }, error))
            << error;
    }

    static std::optional<FfmpegSummary> ffmpeg(const std::string &file)
    {
        QProcess process;
        process.start("ffmpeg", {"-hide_banner", "-nostats", "-i", QString::fromStdString(file), "-af",
                                 "ebur128=peak=true", "-f", "null", "-"});
        if (!process.waitForFinished(60000) || process.exitCode() != 0) return std::nullopt;
        const QString output = QString::fromUtf8(process.readAllStandardError());
        const QString summary = output.mid(output.lastIndexOf("Summary:"));
        const auto number = [&](const char *pattern) -> std::optional<double> {
            const QRegularExpressionMatch match = QRegularExpression(pattern).match(summary);
            if (!match.hasMatch()) return std::nullopt;
            return match.captured(1).toDouble();
        };
        const auto integrated = number(R"(I:\s+(-?[0-9.]+) LUFS)");
        const auto range = number(R"(LRA:\s+(-?[0-9.]+) LU)");
        const auto peak = number(R"(Peak:\s+(-?[0-9.]+) dBFS)");
        if (!integrated || !range || !peak) return std::nullopt;
        return FfmpegSummary{*integrated, *range, *peak};
    }

    static inline QTemporaryDir *directory = nullptr;
};

// A bar whose target does not rise falls one step per tick and is lifted back on the
// next (the meters have always flickered by one step on a steady tone), so a steady
// reading is the top of every two consecutive ticks; the held maximum is steady.
TEST_F(RealSignals, SineAtMinus18ReadsPeakMinus18AndRmsMinus21InDigitalPeak)
{
    // Blocks that do not divide the signal's period or the tick grid give the same reading.
    for (const std::size_t blockFrames : {1024u, 1023u, 1025u}) {
        std::vector<MeterValues> ticks;
        meterEachTick(path("sine997.wav"), blockFrames, ticks);
        ASSERT_EQ(ticks.size(), 180u) << "one report per tick over 3 s";
        for (std::size_t i = ticks.size() - 60; i < ticks.size(); ++i) {
            const MeterValues &a = ticks[i - 1];
            const MeterValues &b = ticks[i];
            EXPECT_NEAR(std::max(a.peakLevelLeft, b.peakLevelLeft), -18.0f, 0.1f) << blockFrames << " tick " << i;
            EXPECT_NEAR(std::max(a.peakLevelRight, b.peakLevelRight), -18.0f, 0.1f) << blockFrames << " tick " << i;
            EXPECT_NEAR(std::max(a.rmsLevelLeft, b.rmsLevelLeft), -21.0f, 0.1f) << blockFrames << " tick " << i;
            EXPECT_NEAR(std::max(a.rmsLevelRight, b.rmsLevelRight), -21.0f, 0.1f) << blockFrames << " tick " << i;
            EXPECT_GE(b.peakLevelLeft, -18.0f - 26.0f / 60 - 0.1f) << "never more than one step below";
            EXPECT_NEAR(b.maxPeakLeft, -18.0f, 0.1f);
            EXPECT_NEAR(b.maxPeakRight, -18.0f, 0.1f);
        }
        EXPECT_EQ(ticks.back().spectralBands.size(), 240u) << "the default 1/24 octave spectrum ran";
        EXPECT_EQ(ticks.back().lissajousPoints.size(), 256u) << "the default trail filled up";
    }
}

TEST_F(RealSignals, StereoSineAtMinus23ReadsMinus23Lufs)
{
    const MeterValues values = meter(path("sine1k.wav"));
    EXPECT_NEAR(values.momentaryLUFS, -23.0, 0.1);
    EXPECT_NEAR(values.shortTermLUFS, -23.0, 0.1);
    EXPECT_NEAR(values.integratedLUFS, -23.0, 0.1);
    EXPECT_NEAR(values.truePeakLeft, -23.0, 0.1);
}

TEST_F(RealSignals, PinkNoiseAndMusicAgreeWithFfmpeg)
{
    for (const char *name : {"pink.wav", "music.wav"}) {
        const std::optional<FfmpegSummary> reference = ffmpeg(path(name));
        ASSERT_TRUE(reference) << "ffmpeg could not measure " << name;
        const MeterValues values = meter(path(name));
        // ffmpeg prints one decimal: allow its rounding on top of the agreement.
        EXPECT_NEAR(values.integratedLUFS, reference->integrated, 0.1 + 0.05) << name;
        EXPECT_NEAR(std::max(values.truePeakLeft, values.truePeakRight), reference->truePeak, 0.3) << name;
        EXPECT_NEAR(values.loudnessRange, reference->loudnessRange, 1.0) << name;
        std::printf("%s: integrated %.2f (ffmpeg %.1f), range %.2f (ffmpeg %.1f), true peak %.2f (ffmpeg %.1f)\n", name,
                    values.integratedLUFS, reference->integrated, values.loudnessRange, reference->loudnessRange,
                    std::max(values.truePeakLeft, values.truePeakRight), reference->truePeak);
    }
}

} // namespace
