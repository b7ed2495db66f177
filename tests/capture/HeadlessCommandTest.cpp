// kelvrameters --headless against a private PipeWire server: JSON lines on standard
// output, status on standard error, the exit code telling whether capture ran.

#include "tests/capture/AudioTestSession.h"
#include "tests/engine/CommandRun.h"
#include "tests/engine/QtTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>

using namespace std::chrono_literals;

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

// One application's loudness for a script: app:NAME taps that player alone, apps:IDS
// meters several; a tap killed outright leaves no link and no node behind.
TEST(HeadlessCommand, MetersOneApplicationOrSeveralAndLeavesNothingBehindWhenKilled)
{
    testApplication();
    AudioTestSession session;
    ASSERT_TRUE(session.error().isEmpty()) << session.error().toStdString();
    session.playAs(session.makeTone(997.0, -20.0, 60.0, QStringLiteral("a.wav")),
                   QStringLiteral("application.name=PlayerA application.process.binary=playera"));
    session.playAs(session.makeTone(997.0, -12.0, 60.0, QStringLiteral("b.wav")),
                   QStringLiteral("application.name=PlayerB application.process.binary=playerb"));

    const CommandRun tap = runHeadless({"--source", "app:PlayerB", "--seconds", "1.5"});
    ASSERT_EQ(tap.exitCode, 0) << tap.err.toStdString();
    ASSERT_FALSE(tap.reports.empty());
    EXPECT_NEAR(tap.reports.back().value("maxPeakLeft").toDouble(), -12.0, 0.1);

    const CommandRun apps = runHeadless({"--source", "apps:playera", "--seconds", "1.5"});
    ASSERT_EQ(apps.exitCode, 0) << apps.err.toStdString();
    ASSERT_FALSE(apps.reports.empty());
    EXPECT_NEAR(apps.reports.back().value("maxPeakLeft").toDouble(), -20.0, 0.1);

    const CommandRun missing = runHeadless({"--source", "app:Nobody", "--seconds", "1"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.err.contains(QStringLiteral("Nobody"))) << missing.err.toStdString();

    QProcess killed;
    killed.start(QStringLiteral(KELVRAMETERS_BINARY),
                 {QStringLiteral("--headless"), QStringLiteral("--source"), QStringLiteral("app:playera")});
    const auto graph = [] {
        return AudioTestSession::toolOutput(QStringLiteral("pw-link"), {QStringLiteral("-l")}) +
               AudioTestSession::toolOutput(QStringLiteral("pw-cli"), {QStringLiteral("ls"), QStringLiteral("Node")});
    };
    ASSERT_TRUE(waitUntil([&] { return graph().contains(QStringLiteral("KelvraMeters-Tap:input_FL")); }, 8s))
        << graph().toStdString();
    killed.kill(); // SIGKILL: no clean-up of our own runs
    killed.waitForFinished(3000);
    EXPECT_TRUE(waitUntil([&] { return !graph().contains(QStringLiteral("KelvraMeters-Tap")); }, 3s))
        << graph().toStdString();
}

// The reference files as a user checks the meters with them: exported from the
// terminal, the alignment tone played with pw-play into the captured device, the
// meters reading what the README's table says (peak -18.0, RMS -21.0).
TEST(HeadlessCommand, TheExportedAlignmentToneReadsWhatItsReadmeSays)
{
    testApplication();
    AudioTestSession session;
    ASSERT_TRUE(session.error().isEmpty()) << session.error().toStdString();
    const QString folder = session.directory() + QStringLiteral("/tones/new");
    const CommandRun exported = runKelvrameters({QStringLiteral("--export-test-tones"), folder});
    ASSERT_EQ(exported.exitCode, 0) << exported.err.toStdString();
    EXPECT_EQ(exported.out.count('\n'), 6) << "five tones and the README, one per line";
    EXPECT_EQ(runKelvrameters({QStringLiteral("--export-test-tones")}).exitCode, 2);

    session.play(folder + QStringLiteral("/KelvraMeters_997Hz_-18dBFS_EBU.wav"));
    const CommandRun run = runHeadless({"--source", "Virtual Mic", "--seconds", "3", "--every", "0.1"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    ASSERT_GE(run.reports.size(), 20u);
    const QJsonObject &last = run.reports.back();
    EXPECT_NEAR(last.value("maxPeakLeft").toDouble(), -18.0, 0.1);
    EXPECT_NEAR(last.value("maxPeakRight").toDouble(), -18.0, 0.1);
    // The RMS bar reads the peak minus 3.01 dB; between blocks the bar may dip by one
    // fall step (0.43 dB) and is lifted back on the next tick, so over the last second
    // its top reads the level and no report lies lower than one step under it.
    for (const char *key : {"rmsLevelLeft", "rmsLevelRight"}) {
        double top = -200.0;
        for (std::size_t i = run.reports.size() - 10; i < run.reports.size(); ++i) {
            const double rms = run.reports[i].value(QLatin1String(key)).toDouble();
            top = std::max(top, rms);
            EXPECT_GT(rms, -21.0 - 0.43 - 0.1) << key;
        }
        EXPECT_NEAR(top, -21.0, 0.1) << key;
    }
    EXPECT_NEAR(last.value("momentaryLUFS").toDouble(), -18.0, 0.2);
}

// A logger keeps going when its device is pulled out: the default input stands in
// until the device is back, then the device is metered again. SIGTERM ends the run
// with a last report. --exit-on-source-loss ends it instead, with exit code 1.
TEST(HeadlessCommand, KeepsMeteringWhenTheDeviceIsPulledAndTakesItBackWhenItReturns)
{
    testApplication();
    AudioTestSession session;
    ASSERT_TRUE(session.error().isEmpty()) << session.error().toStdString();
    const QString device = QStringLiteral("USB Mic");
    ASSERT_TRUE(session.plug({device}));
    const QString tone = session.makeTone(997.0, -12.0, 60.0, QStringLiteral("tone.wav"));
    session.play(tone, AudioTestSession::feedSinkFor(device));

    QProcess logger;
    logger.start(QStringLiteral(KELVRAMETERS_BINARY), {"headless", "--source", device, "--every", "0.2"});
    QByteArray out;
    QString err;
    const auto collect = [&] {
        out += logger.readAllStandardOutput();
        err += QString::fromLocal8Bit(logger.readAllStandardError());
    };
    const auto lastReport = [&] {
        const QList<QByteArray> lines = out.trimmed().split('\n');
        return QJsonDocument::fromJson(lines.last()).object();
    };
    ASSERT_TRUE(waitUntil([&] { collect(); return lastReport().value("peakLevelLeft").toDouble(-100) > -12.6; }, 8s))
        << err.toStdString();

    ASSERT_TRUE(session.unplug(device));
    ASSERT_TRUE(waitUntil([&] { collect(); return err.contains("went away; metering \"System Default\""); }, 5s))
        << err.toStdString();
    EXPECT_EQ(logger.state(), QProcess::Running);
    ASSERT_TRUE(session.plug({device}));
    // A player whose sink vanished went on to the default sink: start it anew.
    session.stopPlaying();
    session.play(tone, AudioTestSession::feedSinkFor(device));
    ASSERT_TRUE(waitUntil([&] { collect(); return err.contains("\"USB Mic\" is back"); }, 5s)) << err.toStdString();
    out.clear();
    EXPECT_TRUE(waitUntil([&] { collect(); return !out.isEmpty() && lastReport().value("peakLevelLeft").toDouble(-100) > -12.6; }, 5s))
        << "the device's tone is metered again";

    ::kill(static_cast<pid_t>(logger.processId()), SIGTERM);
    ASSERT_TRUE(logger.waitForFinished(5000));
    collect();
    EXPECT_EQ(logger.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(logger.exitCode(), 0) << err.toStdString();
    EXPECT_TRUE(lastReport().contains("maxPeakLeft")) << "a last report after the signal";

    QProcess strict;
    strict.start(QStringLiteral(KELVRAMETERS_BINARY), {"headless", "--source", device, "--exit-on-source-loss"});
    ASSERT_TRUE(waitUntil([&] { return !strict.readAllStandardOutput().isEmpty(); }, 8s));
    ASSERT_TRUE(session.unplug(device));
    ASSERT_TRUE(strict.waitForFinished(5000));
    EXPECT_EQ(strict.exitCode(), 1);
}

// Two devices of one description: the second by the name the picker shows, the first
// by its node name.
TEST(HeadlessCommand, TellsTwoDevicesOfOneDescriptionApartByNumberOrNodeName)
{
    testApplication();
    AudioTestSession session;
    ASSERT_TRUE(session.error().isEmpty()) << session.error().toStdString();
    const QString first = QStringLiteral("USB Mic=usb-mic-a");
    const QString second = QStringLiteral("USB Mic=usb-mic-b");
    ASSERT_TRUE(session.plug({first})) << session.error().toStdString();
    ASSERT_TRUE(session.plug({second})) << session.error().toStdString();
    session.play(session.makeTone(997.0, -12.0, 60.0, QStringLiteral("a.wav")), AudioTestSession::feedSinkFor(first));
    session.play(session.makeTone(997.0, -6.0, 60.0, QStringLiteral("b.wav")), AudioTestSession::feedSinkFor(second));

    for (const auto &[source, peak] : {std::pair{"USB Mic (2)", -6.0}, std::pair{"usb-mic-a", -12.0}}) {
        const CommandRun run = runHeadless({"--source", source, "--seconds", "1.5"});
        ASSERT_EQ(run.exitCode, 0) << source << ": " << run.err.toStdString();
        ASSERT_FALSE(run.reports.empty()) << source;
        EXPECT_NEAR(run.reports.back().value("maxPeakLeft").toDouble(), peak, 0.1) << source;
    }
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
