// Application capture against a private PipeWire server: players with their own
// application names, tapped one at a time or metered together, read back from the
// published meter values while the system mix stays as it was.

#include "capture/pipewire/PipeWireConnection.h"
#include "capture/pipewire/PipeWireStreamGraph.h"
#include "tests/capture/LiveCaptureFixture.h"

#include <QDir>
#include <QProcess>

#include <csignal>
#include <vector>

namespace {

using namespace live_capture;

const QString playerA = QStringLiteral("application.name=PlayerA application.process.binary=playera");
const QString playerB = QStringLiteral("application.name=PlayerB application.process.binary=playerb");
// A player that keeps all six channels on its ports instead of being remixed for the sink.
const QString sixChannelPlayer =
    QStringLiteral("application.name=Surround application.process.binary=surround stream.dont-remix=true");

class ApplicationCaptureTest : public LiveCaptureFixture {
protected:
    AudioEngineControl &makeControl()
    {
        control_ = std::make_unique<AudioEngineControl>(*engine_, *platform_, store_);
        return *control_;
    }

    QString tone(double peakDbfs, double frequency = toneFrequency)
    {
        const QString name = QStringLiteral("tone%1-%2.wav").arg(peakDbfs).arg(frequency);
        const QString file = session_->makeTone(frequency, peakDbfs, toneSeconds, name);
        EXPECT_FALSE(file.isEmpty()) << "sox could not write " << name.toStdString();
        return file;
    }

    // Whether both channels' published peaks reach these levels (±0.1 dB) within the
    // window; the display falls a step between blocks, so the highest reading counts.
    bool reads(double left, double right, std::chrono::milliseconds timeout = 4s)
    {
        float highLeft = -100.0f, highRight = -100.0f;
        QElapsedTimer elapsed;
        elapsed.start();
        return waitUntil(
            [&] {
                if (elapsed.elapsed() > 400) {
                    highLeft = highRight = -100.0f;
                    elapsed.restart();
                }
                highLeft = std::max(highLeft, values().peakLevelLeft);
                highRight = std::max(highRight, values().peakLevelRight);
                return std::fabs(highLeft - left) <= 0.1 && std::fabs(highRight - right) <= 0.1;
            },
            timeout);
    }

    bool graphHas(const QString &text) const
    {
        return AudioTestSession::toolOutput(QStringLiteral("pw-link"), {QStringLiteral("-l")}).contains(text) ||
               AudioTestSession::toolOutput(QStringLiteral("pw-cli"), {QStringLiteral("ls"), QStringLiteral("Node")})
                   .contains(text);
    }

    // The peak (linear) of what the test sink plays, recorded from its monitor.
    double sinkMonitorPeak()
    {
        const QString file = QDir(session_->directory()).filePath(QStringLiteral("monitor.wav"));
        const qint64 recorder = session_->startClient(
            QStringLiteral("pw-record"), {QStringLiteral("--target"), QStringLiteral("test-sink"), QStringLiteral("-P"),
                                          QStringLiteral("{ stream.capture.sink=true }"), file});
        runEventsFor(1500ms);
        ::kill(static_cast<pid_t>(recorder), SIGINT);
        runEventsFor(300ms);
        session_->stopClient(recorder);
        QProcess sox;
        sox.start(QStringLiteral("sox"), {file, QStringLiteral("-n"), QStringLiteral("stat")});
        sox.waitForFinished(5000);
        const QString report = QString::fromLocal8Bit(sox.readAllStandardError());
        const qsizetype at = report.indexOf(QStringLiteral("Maximum amplitude:"));
        if (at < 0) return 0.0;
        return report.mid(at + 18).section(QLatin1Char('\n'), 0, 0).trimmed().toDouble();
    }
};

TEST_F(ApplicationCaptureTest, EachTapReadsItsOwnPlayerWhileTheSystemMixStaysWhole)
{
    session_->playAs(tone(-20.0), playerA);
    session_->playAs(tone(-12.0), playerB);
    AudioEngineControl &control = makeControl();
    settings_.setProcessTapDeterministic(true);
    const auto a = process(QStringLiteral("PlayerA"));
    const auto b = process(QStringLiteral("PlayerB"));
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->bundleID, QStringLiteral("playera"));

    control.startProcessTapCapture(*a);
    ASSERT_TRUE(control.isProcessTapRunning()) << engine_->errorMessage().toStdString();
    EXPECT_EQ(control.activeProcessTapName(), QStringLiteral("PlayerA"));
    EXPECT_EQ(store_.readString(QStringLiteral("processTapBundleID")), QStringLiteral("playera"));
    EXPECT_EQ(control.selectedInputDevice(), QStringLiteral("None"));
    EXPECT_TRUE(reads(-20.0, -20.0)) << describeLevels();
    EXPECT_TRUE(graphHas(QStringLiteral("KelvraMeters-Tap")));
    // Both tones still reach the sink: 0.1 + 0.251 in the worst phase is above 0.15.
    EXPECT_GT(sinkMonitorPeak(), 0.15);

    control.startProcessTapCapture(*b);
    EXPECT_TRUE(reads(-12.0, -12.0)) << describeLevels();

    control.stopProcessTapCapture();
    EXPECT_FALSE(control.isRunning());
    EXPECT_FALSE(store_.contains(QStringLiteral("processTapBundleID")));
    EXPECT_TRUE(waitUntil([&] { return !graphHas(QStringLiteral("KelvraMeters-Tap")); }, 3s))
        << AudioTestSession::toolOutput(QStringLiteral("pw-link"), {QStringLiteral("-l")}).toStdString();

    // A new tap after a stop: its node may get the old one's registry id.
    control.startProcessTapCapture(*a);
    EXPECT_TRUE(reads(-20.0, -20.0)) << describeLevels();
}

TEST_F(ApplicationCaptureTest, ASixChannelPlayerIsTappedInBothModesAndCalibrated)
{
    // FL at -20 dBFS, FR at -12 dBFS, the other four channels silent.
    const QString sixChannels = session_->makeChannelTones({-20.0, -12.0, -999, -999, -999, -999}, toneSeconds,
                                                           QStringLiteral("six.wav"));
    ASSERT_FALSE(sixChannels.isEmpty());
    session_->playAs(sixChannels, sixChannelPlayer);
    AudioEngineControl &control = makeControl();
    const auto surround = process(QStringLiteral("Surround"));
    ASSERT_TRUE(surround);
    // The mixdown takes the channels the stream's ports have when the tap starts.
    runEventsFor(500ms);

    // Deterministic: the stream's own front pair, unchanged.
    settings_.setProcessTapDeterministic(true);
    control.startProcessTapCapture(*surround);
    EXPECT_TRUE(reads(-20.0, -12.0)) << describeLevels();
    EXPECT_EQ(control.processTapDiagnostics().line1().rfind("2ch det", 0), 0u)
        << control.processTapDiagnostics().line1();

    // Mixdown on a two-channel output: six channels folded, each side at 2/6, and the
    // automatic gain of a stereo output (1.0) leaves that as it is: -9.5 dB.
    settings_.setProcessTapDeterministic(false);
    settings_.setProcessTapMixdownAuto(true);
    control.startProcessTapCapture(*surround);
    EXPECT_FLOAT_EQ(settings_.processTapMixdownGain(), 1.0);
    EXPECT_TRUE(reads(-29.5, -21.5)) << describeLevels();

    // Calibrating against FR as a -12 dBFS reference: the gain becomes 3 (+9.5 dB).
    waitUntil([&] { return control.processTapDiagnostics().rawPeakR > 0.05f; }, 2s);
    const QString result = control.calibrateProcessTapMixdown(-12.0);
    EXPECT_TRUE(result.startsWith(QStringLiteral("Calibrated: \u00d73.00 (+9.5 dB)"))) << result.toStdString();
    EXPECT_NEAR(settings_.processTapMixdownGain(), 3.0, 0.02);
    EXPECT_TRUE(reads(-20.0, -12.0)) << describeLevels();
}

TEST_F(ApplicationCaptureTest, ApplicationAudioFollowsItsPlayersAsTheyComeAndGo)
{
    const QString quiet = tone(-20.0);
    const qint64 a = session_->playAs(quiet, playerA);
    const qint64 b = session_->playAs(tone(-12.0, 2003.0), playerB);
    AudioEngineControl &control = makeControl();
    ASSERT_TRUE(process(QStringLiteral("PlayerA")) && process(QStringLiteral("PlayerB")));

    control.setSelectedApps({QStringLiteral("playera"), QStringLiteral("playerb")});
    control.setAppAudioMode(true);
    ASSERT_TRUE(control.isRunning()) << engine_->errorMessage().toStdString();
    EXPECT_TRUE(graphHas(QStringLiteral("KelvraMeters-Apps")));
    // Two sines of different frequency: their RMS adds as power, 10*log10(0.1²/2 + 0.251²/2).
    EXPECT_TRUE(waitUntil([&] { return std::fabs(values().rmsLevelLeft - -14.38f) < 0.3f; }, 4s)) << describeLevels();

    session_->stopClient(a);
    EXPECT_TRUE(reads(-12.0, -12.0)) << describeLevels();

    session_->stopClient(b);
    EXPECT_TRUE(waitUntil([&] { return engine_->errorMessage().startsWith(QStringLiteral("Waiting ")); }, 4s))
        << engine_->errorMessage().toStdString();

    session_->playAs(quiet, playerA);
    EXPECT_TRUE(reads(-20.0, -20.0, 6s)) << describeLevels();
    EXPECT_TRUE(engine_->errorMessage().isEmpty()) << engine_->errorMessage().toStdString();

    control.setAppAudioMode(false);
    EXPECT_TRUE(waitUntil([&] { return !graphHas(QStringLiteral("KelvraMeters-Apps")); }, 3s));
}

TEST_F(ApplicationCaptureTest, ASavedTapIsRestoredWhenItsPlayerAppearsAndGivenUpOtherwise)
{
    store_.writeString(QStringLiteral("processTapBundleID"), QStringLiteral("playera"));
    AudioEngineControl &control = makeControl();
    control.startIfNeeded();
    EXPECT_EQ(engine_->errorMessage(), QStringLiteral("Connecting to playera..."));

    runEventsFor(3s);
    EXPECT_FALSE(control.isRunning());
    EXPECT_TRUE(engine_->errorMessage().startsWith(QStringLiteral("Waiting for playera... ("))) << engine_->errorMessage().toStdString();
    session_->playAs(tone(-20.0), playerA);
    EXPECT_TRUE(waitUntil([&] { return control.isProcessTapRunning(); }, 5s)) << engine_->errorMessage().toStdString();
    EXPECT_TRUE(reads(-20.0, -20.0)) << describeLevels();

    // Another launch whose application never comes, with short waits.
    control_.reset();
    store_.writeString(QStringLiteral("processTapBundleID"), QStringLiteral("org.example.ghost"));
    AudioEngineControl &second = makeControl();
    second.setProcessTapRestoreTiming(20ms, 20ms);
    second.startIfNeeded();
    EXPECT_TRUE(waitUntil([&] { return engine_->errorMessage() == QStringLiteral("Process Tap: ghost not found"); }, 5s))
        << engine_->errorMessage().toStdString();
    EXPECT_FALSE(second.isRunning());
}

TEST_F(ApplicationCaptureTest, APausedPlayerGetsTheSilenceWarningUntilItPlaysAgain)
{
    const qint64 player = session_->playAs(tone(-20.0), playerA);
    AudioEngineControl &control = makeControl();
    const auto a = process(QStringLiteral("PlayerA"));
    ASSERT_TRUE(a);
    control.startProcessTapCapture(*a);
    ASSERT_TRUE(reads(-20.0, -20.0)) << describeLevels();

    const QString warning = QString::fromUtf8(AudioEngineControl::silenceWarning);
    ::kill(static_cast<pid_t>(player), SIGSTOP);
    runEventsFor(2500ms);
    EXPECT_NE(engine_->errorMessage(), warning) << "warned before 3 s of silence";
    EXPECT_TRUE(waitUntil([&] { return engine_->errorMessage() == warning; }, 3s)) << describeLevels();

    ::kill(static_cast<pid_t>(player), SIGCONT);
    EXPECT_TRUE(waitUntil([&] { return engine_->errorMessage().isEmpty(); }, 3s)) << engine_->errorMessage().toStdString();
    EXPECT_TRUE(reads(-20.0, -20.0)) << describeLevels();
}

} // namespace
