// kelvrameters headless --source-file: a file through the live path faster than real
// time, without an audio server, ending by itself with the file's last values.

#include "tests/dsp/TestAudioFiles.h"
#include "tests/engine/CommandRun.h"
#include "tests/engine/QtTestSupport.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

TEST(HeadlessFileSource, MetersTheFileAtEightTimesRealTimeAndEndsWithItsLastValues)
{
    testApplication();
    QTemporaryDir dir;
    const QString tone = dir.filePath(QStringLiteral("tone.wav"));
    ASSERT_TRUE(writeSineFile(tone.toStdString(), 48000, 2, 4.0));

    const CommandRun run = runKelvrameters({"headless", "--source-file", tone, "--pace", "8", "--every", "1"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    // Every second of the file and once at its end; t counts the file's time.
    ASSERT_GE(run.reports.size(), 4u);
    const QJsonObject &last = run.reports.back();
    EXPECT_DOUBLE_EQ(last.value("t").toDouble(), 4.0);
    EXPECT_NEAR(last.value("maxPeakLeft").toDouble(), -18.0, 0.1);
    EXPECT_NEAR(last.value("maxPeakRight").toDouble(), -18.0, 0.1);
    // The bars may sit one fall step (0.43 dB peak, 0.3 dB RMS) under the level between blocks.
    EXPECT_GT(last.value("peakLevelLeft").toDouble(), -18.55);
    EXPECT_LT(last.value("peakLevelLeft").toDouble(), -17.9);
    EXPECT_GT(last.value("rmsLevelLeft").toDouble(), -21.4);
    EXPECT_LT(last.value("rmsLevelLeft").toDouble(), -20.9);
    EXPECT_NEAR(last.value("integratedLUFS").toDouble(), -18.0, 0.1);
    EXPECT_NEAR(last.value("momentaryLUFS").toDouble(), -18.0, 0.1);

    // --log writes the same values as a CSV, its last row at the end of the run.
    const QString csv = dir.filePath(QStringLiteral("log.csv"));
    const CommandRun logged = runKelvrameters({"headless", "--source-file", tone, "--pace", "8", "--log", csv});
    ASSERT_EQ(logged.exitCode, 0) << logged.err.toStdString();
    QFile file(csv);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_GE(lines.size(), 3);
    EXPECT_TRUE(lines.first().startsWith(QStringLiteral("time,seconds,momentary_lufs,")));
    const QStringList lastRow = lines.last().split(QLatin1Char(','));
    ASSERT_EQ(lastRow.size(), 9);
    EXPECT_NEAR(lastRow[4].toDouble(), -18.0, 0.1) << "integrated loudness";
    EXPECT_EQ(lastRow[8], QStringLiteral("tone.wav"));
    EXPECT_EQ(runKelvrameters({"headless", "--source-file", tone, "--log", dir.filePath("no/such/dir.csv")}).exitCode, 1);
}

TEST(HeadlessFileSource, LoopsUntilTheSecondsOfFileTimeAndRefusesWrongArguments)
{
    testApplication();
    QTemporaryDir dir;
    const QString tone = dir.filePath(QStringLiteral("short.wav"));
    ASSERT_TRUE(writeSineFile(tone.toStdString(), 44100, 1, 0.5));

    const CommandRun looped =
        runKelvrameters({"headless", "--source-file", tone, "--loop", "--pace", "8", "--seconds", "2"});
    ASSERT_EQ(looped.exitCode, 0) << looped.err.toStdString();
    ASSERT_FALSE(looped.reports.empty());
    EXPECT_NEAR(looped.reports.back().value("t").toDouble(), 2.0, 0.2) << "past the 0.5 s file: it looped";

    // A file that cannot be played ends the run with its reason (FileSourceTest has the reasons).
    const CommandRun missing =
        runKelvrameters({"headless", "--source-file", dir.filePath(QStringLiteral("gone.wav"))});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.reports.empty());

    const CommandRun both = runKelvrameters({"headless", "--source-file", tone, "--source", "System Default"});
    EXPECT_EQ(both.exitCode, 2);
    const CommandRun paceAlone = runKelvrameters({"headless", "--source", "System Default", "--pace", "2"});
    EXPECT_EQ(paceAlone.exitCode, 2);
}

} // namespace
