// The kelvrameters --meter-file command as scripts use it: one JSON object per line,
// the same output for the same file, errors on standard error with exit code 1.

#include "tests/engine/QtTestApp.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

struct CommandRun {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

CommandRun kelvrameters(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(KELVRAMETERS_BINARY), arguments);
    CommandRun run;
    if (!process.waitForFinished(60000)) return run;
    run.exitCode = process.exitCode();
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

class MeterFileCommand : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        qtTestApp();
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
    const CommandRun run = kelvrameters({"--meter-file", file, "--every", "1", "--resolution", "1/6 Octave", "--ballistics",
                                  "PPM (EBU/BBC)"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QList<QByteArray> lines = run.out.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 3); // t = 1, 2 and the end at 2.5

    const char *keys[] = {"t", "peakLevelLeft", "peakLevelRight", "rmsLevelLeft", "rmsLevelRight", "maxPeakLeft",
                          "maxPeakRight", "momentaryLUFS", "shortTermLUFS", "integratedLUFS", "loudnessRange",
                          "truePeakLeft", "truePeakRight", "bands"};
    for (const QByteArray &line : lines) {
        QJsonParseError error;
        const QJsonObject object = QJsonDocument::fromJson(line, &error).object();
        ASSERT_EQ(error.error, QJsonParseError::NoError) << line.toStdString();
        EXPECT_EQ(object.size(), static_cast<qsizetype>(std::size(keys)));
        for (const char *key : keys) EXPECT_TRUE(object.value(key).isDouble()) << key;
    }
    const QJsonObject last = QJsonDocument::fromJson(lines.back()).object();
    EXPECT_DOUBLE_EQ(last.value("t").toDouble(), 2.5);
    EXPECT_EQ(last.value("bands").toInt(), 60);
    EXPECT_NEAR(last.value("maxPeakLeft").toDouble(), -12.0, 0.1);
    EXPECT_NEAR(last.value("integratedLUFS").toDouble(), -12.0, 0.1) << "a stereo sine near 1 kHz reads its peak level";

    EXPECT_EQ(kelvrameters({"--meter-file", file, "--every", "1", "--resolution", "1/6 Octave", "--ballistics",
                            "PPM (EBU/BBC)"})
                  .out,
              run.out)
        << "deterministic";
}

TEST_F(MeterFileCommand, BadInputIsReportedOnStandardErrorWithExitCodeOne)
{
    const QStringList bad[] = {
        {"--meter-file", QDir(directory->path()).filePath("absent.wav")},
        {"--meter-file", file, "--ballistics", "Loud"},
        {"--meter-file", file, "--resolution", "1/5 Octave"},
        {"--meter-file", file, "--every", "0"},
        {"--meter-file", file, "--every", "soon"},
        {"--meter-file", file, "--colour", "red"},
        {"--meter-file"},
    };
    for (const QStringList &arguments : bad) {
        const CommandRun run = kelvrameters(arguments);
        EXPECT_EQ(run.exitCode, 1) << arguments.join(' ').toStdString();
        EXPECT_TRUE(run.out.isEmpty()) << arguments.join(' ').toStdString();
        EXPECT_TRUE(run.err.startsWith("kelvrameters: ")) << run.err.toStdString();
    }
}

} // namespace
