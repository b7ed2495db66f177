// kelvrameters analyze as a script runs it: the JSON keys a caller relies on, the exit
// codes, CSV and text output, --target, and usage errors.
#include "AnalysisTestSupport.h"

#include "tests/engine/CommandRun.h"

#include <QJsonArray>

#include <fstream>

using namespace analysis_test;

namespace {

class AnalyzeCommand : public ::testing::Test {
protected:
    void SetUp() override
    {
        // -23 LUFS-ish programme: a 1 kHz sine at -23.0 dBFS in both channels is -23 LUFS
        // within a few hundredths; its true peak (-23 dBTP) is far under every limit.
        writeFile(onTarget_, {48000, 2, 48000 * 4, SF_FORMAT_WAV | SF_FORMAT_FLOAT, {}},
                  sine(1000, std::pow(10.0, -23.0 / 20.0), 48000));
        writeFile(loud_, {44100, 1, 44100 * 4, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, {}}, sine(997, 0.99, 44100));
        std::ofstream(broken_) << "not audio";
    }

    const TempDir dir_;
    const std::string onTarget_ = dir_.file("on target.wav");
    const std::string loud_ = dir_.file("loud.flac");
    const std::string broken_ = dir_.file("broken.wav");
};

TEST_F(AnalyzeCommand, JsonLinesCarryEveryKeyAndTheExitCodeJudgesTheTarget)
{
    const CommandRun run = runKelvrameters({QStringLiteral("analyze"), QStringLiteral("--json"), QStringLiteral("--target"),
                                            QStringLiteral("EBU R128"), QString::fromStdString(onTarget_),
                                            QString::fromStdString(loud_)});
    EXPECT_EQ(run.exitCode, 1) << run.err.toStdString(); // the loud file fails
    ASSERT_EQ(run.reports.size(), 2u) << run.out.toStdString();
    const QJsonObject first = run.reports[0], second = run.reports[1];
    for (const char *key : {"file", "integrated_lufs", "lra_lu", "max_momentary_lufs", "max_shortterm_lufs",
                            "true_peak_dbtp", "true_peak_dbtp_channels", "sample_peak_dbfs", "duration_s",
                            "sample_rate", "channels", "target", "pass"})
        EXPECT_TRUE(first.contains(QLatin1String(key))) << key;
    EXPECT_EQ(first.value(QLatin1String("file")).toString().toStdString(), onTarget_);
    EXPECT_NEAR(first.value(QLatin1String("integrated_lufs")).toDouble(), -23.0, 0.1);
    EXPECT_EQ(first.value(QLatin1String("true_peak_dbtp_channels")).toArray().size(), 2);
    EXPECT_EQ(first.value(QLatin1String("sample_rate")).toInt(), 48000);
    EXPECT_DOUBLE_EQ(first.value(QLatin1String("duration_s")).toDouble(), 4.0);
    EXPECT_TRUE(first.value(QLatin1String("pass")).toBool());
    EXPECT_EQ(first.value(QLatin1String("target")).toString(), QStringLiteral("EBU R128"));
    EXPECT_FALSE(second.value(QLatin1String("pass")).toBool());
    EXPECT_EQ(second.value(QLatin1String("channels")).toInt(), 1);
    EXPECT_GT(second.value(QLatin1String("true_peak_dbtp")).toDouble(), -1.0);

    const CommandRun pass = runKelvrameters({QStringLiteral("analyze"), QStringLiteral("--target"),
                                             QStringLiteral("ebu r128"), QString::fromStdString(onTarget_)});
    EXPECT_EQ(pass.exitCode, 0) << pass.err.toStdString();
    EXPECT_TRUE(pass.out.contains("pass")) << pass.out.toStdString();
}

TEST_F(AnalyzeCommand, UnreadableFileGivesExitTwoAndTheOthersAreStillMeasured)
{
    const CommandRun run = runKelvrameters({QStringLiteral("analyze"), QStringLiteral("--json"),
                                            QString::fromStdString(broken_), QString::fromStdString(onTarget_)});
    EXPECT_EQ(run.exitCode, 2);
    ASSERT_EQ(run.reports.size(), 2u);
    EXPECT_TRUE(run.reports[0].value(QLatin1String("integrated_lufs")).isNull());
    EXPECT_TRUE(run.reports[0].contains(QLatin1String("error")));
    EXPECT_TRUE(run.reports[1].value(QLatin1String("integrated_lufs")).isDouble());
    EXPECT_TRUE(run.err.contains(QStringLiteral("broken.wav"))) << run.err.toStdString();

    // Short file: values that cannot be measured are null, with a note.
    const std::string blip = dir_.file("blip.wav");
    writeFile(blip, {48000, 2, 9600, SF_FORMAT_WAV | SF_FORMAT_PCM_16, {}}, sine(1000, 0.5, 48000));
    const CommandRun shortRun = runKelvrameters({QStringLiteral("analyze"), QStringLiteral("--json"), QString::fromStdString(blip)});
    EXPECT_EQ(shortRun.exitCode, 0);
    ASSERT_EQ(shortRun.reports.size(), 1u);
    EXPECT_TRUE(shortRun.reports[0].value(QLatin1String("integrated_lufs")).isNull());
    EXPECT_TRUE(shortRun.reports[0].value(QLatin1String("note")).toString().contains(QStringLiteral("400 ms")));
    EXPECT_TRUE(shortRun.reports[0].value(QLatin1String("true_peak_dbtp")).isDouble());
}

TEST_F(AnalyzeCommand, CsvAndTextShowOneRowPerFile)
{
    const CommandRun csv = runKelvrameters({QStringLiteral("analyze"), QStringLiteral("--csv"),
                                            QString::fromStdString(onTarget_), QString::fromStdString(loud_)});
    EXPECT_EQ(csv.exitCode, 0);
    const QList<QByteArray> lines = csv.out.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 3);
    EXPECT_TRUE(lines[0].startsWith("file,integrated_lufs,lra_lu,max_momentary_lufs,max_shortterm_lufs,true_peak_dbtp,"));
    EXPECT_EQ(lines[0].count(','), lines[1].count(','));
    EXPECT_EQ(lines[0].count(','), lines[2].count(','));

    const CommandRun text = runKelvrameters({QStringLiteral("analyze"), QString::fromStdString(onTarget_)});
    EXPECT_EQ(text.exitCode, 0);
    const QList<QByteArray> rows = text.out.trimmed().split('\n');
    ASSERT_EQ(rows.size(), 2);
    EXPECT_TRUE(rows[1].contains("-23.0")) << rows[1].toStdString();
    EXPECT_TRUE(rows[1].endsWith("on target.wav"));
    EXPECT_TRUE(text.err.isEmpty()) << "no progress bar when standard error is not a terminal";
}

TEST_F(AnalyzeCommand, UsageErrorsAndTheTargetList)
{
    EXPECT_EQ(runKelvrameters({QStringLiteral("analyze")}).exitCode, 2);
    EXPECT_EQ(runKelvrameters({QStringLiteral("analyze"), QStringLiteral("--json"), QStringLiteral("--csv"),
                               QString::fromStdString(onTarget_)})
                  .exitCode,
              2);
    const CommandRun unknown = runKelvrameters({QStringLiteral("analyze"), QStringLiteral("--target"),
                                                QStringLiteral("Radio Nowhere"), QString::fromStdString(onTarget_)});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.out.isEmpty());
    const CommandRun list = runKelvrameters({QStringLiteral("analyze"), QStringLiteral("--target"), QStringLiteral("list")});
    EXPECT_EQ(list.exitCode, 0);
    EXPECT_TRUE(list.out.contains("EBU R128"));
    EXPECT_TRUE(list.out.contains("ATSC A/85"));
}

} // namespace
