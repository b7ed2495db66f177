// kelvrameters --headless against a private PipeWire server: JSON lines on standard
// output, status on standard error, the exit code telling whether capture ran.

#include "tests/capture/AudioTestSession.h"
#include "tests/engine/CommandRun.h"
#include "tests/engine/QtTestSupport.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

namespace {

CommandRun runHeadless(const QStringList &arguments,
                       const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
{
    return runKelvrameters(QStringList{QStringLiteral("--headless")} + arguments, environment);
}

TEST(HeadlessCommand, PrintsTheMetersOfTheNamedSourceAsJsonLines)
{
    testApplication();
    AudioTestSession session;
    ASSERT_TRUE(session.error().isEmpty()) << session.error().toStdString();
    session.play(session.makeTone(997.0, -18.0, 60.0, QStringLiteral("tone.wav")));

    const CommandRun run = runHeadless({"--source", "Virtual Mic", "--seconds", "2.5", "--every", "0.5"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    // Every 0.5 s and once at the end.
    ASSERT_GE(run.reports.size(), 5u);
    ASSERT_LE(run.reports.size(), 6u);
    const QJsonObject &last = run.reports.back();
    for (const char *key : {"t", "peakLevelLeft", "rmsLevelRight", "maxPeakLeft", "momentaryLUFS", "integratedLUFS",
                            "loudnessRange", "truePeakRight", "bands"}) {
        EXPECT_TRUE(last.contains(QLatin1String(key))) << key;
    }
    EXPECT_NEAR(last.value("t").toDouble(), 2.5, 0.1);
    EXPECT_NEAR(last.value("maxPeakLeft").toDouble(), -18.0, 0.1);
    EXPECT_NEAR(last.value("maxPeakRight").toDouble(), -18.0, 0.1);
    // The bar may sit one fall step (0.43 dB) under the level between blocks.
    EXPECT_GT(last.value("peakLevelLeft").toDouble(), -18.55);
    EXPECT_LT(last.value("peakLevelLeft").toDouble(), -17.9);
    EXPECT_NEAR(last.value("momentaryLUFS").toDouble(), -18.0, 0.2);

    const CommandRun unknown = runHeadless({"--source", "No Such Mic", "--seconds", "1"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_TRUE(unknown.reports.empty());
    EXPECT_TRUE(unknown.err.contains(QStringLiteral("No Such Mic"))) << unknown.err.toStdString();
}

// No server: exit code 1 with the reason. Wrong arguments: a usage error, code 2.
TEST(HeadlessCommand, WithoutAServerSaysWhyAndWrongArgumentsAreAUsageError)
{
    QTemporaryDir empty;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), empty.path());
    environment.insert(QStringLiteral("PIPEWIRE_RUNTIME_DIR"), empty.path());
    environment.remove(QStringLiteral("PIPEWIRE_REMOTE"));
    const CommandRun run = runHeadless({"--source", "System Default"}, environment);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.reports.empty());
    EXPECT_TRUE(run.err.contains("Failed to start audio engine: The PipeWire audio server could not be reached"))
        << run.err.toStdString();

    EXPECT_EQ(runHeadless({}).exitCode, 2);
    EXPECT_EQ(runHeadless({"--source", "System Default", "--every", "0"}).exitCode, 2);
}

} // namespace
