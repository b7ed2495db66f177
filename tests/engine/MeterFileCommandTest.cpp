// The kelvrameters --meter-file command as scripts use it: one JSON object per line,
// the same output for the same file, errors on standard error.

#include "tests/engine/CommandRun.h"
#include "tests/engine/QtTestSupport.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class MeterFileCommand : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        testApplication();
        directory = new QTemporaryDir();
        file = QDir(directory->path()).filePath("tone.wav");
        const int status = QProcess::execute("sox", {"-R", "-n", "-r", "44100", "-c", "2", "-b", "16", file, "synth",
                                                     "2.5", "sine", "997", "vol", "-12dB"});
        ASSERT_EQ(status, 0);
    }
    static void TearDownTestSuite() { delete directory; }

    static inline QTemporaryDir *directory = nullptr;
    static inline QString file;
};

TEST_F(MeterFileCommand, PrintsOneJsonObjectPerIntervalAndAtTheEndTheSameEveryTime)
{
    const QStringList arguments{"--meter-file", file, "--every", "1", "--resolution", "1/6 Octave", "--ballistics",
                                "PPM (EBU/BBC)"};
    const CommandRun run = runKelvrameters(arguments);
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    ASSERT_EQ(run.reports.size(), 3u); // t = 1, 2 and the end at 2.5

    const char *keys[] = {"t", "peakLevelLeft", "peakLevelRight", "rmsLevelLeft", "rmsLevelRight", "maxPeakLeft",
                          "maxPeakRight", "momentaryLUFS", "shortTermLUFS", "integratedLUFS", "loudnessRange",
                          "truePeakLeft", "truePeakRight", "bands"};
    for (const QJsonObject &report : run.reports) {
        EXPECT_EQ(report.size(), static_cast<qsizetype>(std::size(keys)));
        for (const char *key : keys) EXPECT_TRUE(report.value(key).isDouble()) << key;
    }
    const QJsonObject &last = run.reports.back();
    EXPECT_DOUBLE_EQ(last.value("t").toDouble(), 2.5);
    EXPECT_EQ(last.value("bands").toInt(), 60);
    EXPECT_NEAR(last.value("maxPeakLeft").toDouble(), -12.0, 0.1);
    EXPECT_NEAR(last.value("integratedLUFS").toDouble(), -12.0, 0.1) << "a stereo sine near 1 kHz reads its peak level";
    EXPECT_EQ(runKelvrameters(arguments).out, run.out) << "deterministic";
}

// A file that cannot be metered is exit code 1; wrong arguments are a usage error
// (exit code 2, the usage on standard error), found before any file is opened.
TEST_F(MeterFileCommand, BadInputAndWrongArgumentsAreReportedOnStandardError)
{
    const std::pair<QStringList, int> bad[] = {
        {{"--meter-file", QDir(directory->path()).filePath("absent.wav")}, 1},
        {{"--meter-file", file, "--ballistics", "Loud"}, 2},
        {{"--meter-file", file, "--resolution", "1/5 Octave"}, 2},
        {{"--meter-file", file, "--every", "0"}, 2},
        {{"--meter-file", file, "--every", "soon"}, 2},
        {{"--meter-file", file, "--colour", "red"}, 2},
        {{"--meter-file"}, 2},
        {{"meter-file", file, file}, 2},
    };
    for (const auto &[arguments, exitCode] : bad) {
        const CommandRun run = runKelvrameters(arguments);
        EXPECT_EQ(run.exitCode, exitCode) << arguments.join(' ').toStdString();
        EXPECT_TRUE(run.out.isEmpty()) << arguments.join(' ').toStdString();
        EXPECT_TRUE(run.err.startsWith("kelvrameters: ")) << run.err.toStdString();
        if (exitCode == 2) {
            EXPECT_TRUE(run.err.contains("Usage: kelvrameters meter-file FILE")) << run.err.toStdString();
        }
    }
}

TEST_F(MeterFileCommand, SubcommandAndOlderSpellingGiveTheSameReports)
{
    const CommandRun older = runKelvrameters({"--every", "1", "--meter-file", file});
    const CommandRun subcommand = runKelvrameters({"meter-file", file, "--every", "1"});
    const CommandRun joined = runKelvrameters({"--meter-file=" + file, "--every=1"});
    ASSERT_EQ(older.exitCode, 0) << older.err.toStdString();
    EXPECT_EQ(older.reports.size(), 3u);
    EXPECT_EQ(subcommand.out, older.out);
    EXPECT_EQ(joined.out, older.out);
}

} // namespace
