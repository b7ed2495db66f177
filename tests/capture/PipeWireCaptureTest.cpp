// Live capture against a private PipeWire server: real files played into a virtual
// microphone, read back from the published meter values.

#include "capture/pipewire/PipeWireMetadataManager.h"
#include "capture/pipewire/PipeWireNodeManager.h"
#include "engine/dsp/SpectrumAnalyzer.h"
#include "tests/capture/LiveCaptureFixture.h"

#include <vector>

using Kind = CaptureBackend::Kind;

namespace {

using namespace live_capture;

class PipeWireCaptureTest : public LiveCaptureFixture {};

// The band the analyser puts a 997 Hz sine into at the engine's band count (the level
// settings cannot move the loudest band; the frequency range is left at its default).
std::size_t expectedToneBand(const AudioEngine &engine, double sampleRate)
{
    std::vector<float> sine(SpectrumAnalyzer::fftSize);
    for (std::size_t i = 0; i < sine.size(); ++i) {
        sine[i] = 0.125f * static_cast<float>(std::sin(2.0 * std::numbers::pi * toneFrequency * i / sampleRate));
    }
    const SpectrumParams params{.sampleRate = static_cast<float>(sampleRate), .bandCount = engine.spectralBandCount()};
    std::vector<float> bands(static_cast<std::size_t>(params.bandCount));
    SpectrumAnalyzer().analyze(sine.data(), params, bands);
    return static_cast<std::size_t>(std::max_element(bands.begin(), bands.end()) - bands.begin());
}

TEST_F(PipeWireCaptureTest, SystemDefaultMetersAToneInEveryMeter)
{
    playTone(-18.0);
    AudioEngineControl &control = startCapture(systemDefault);
    ASSERT_TRUE(control.isRunning()) << describeLevels();
    EXPECT_EQ(runningKind(), Kind::defaultInput);

    ASSERT_TRUE(waitForSine(-18.0, 8s)) << describeLevels();
    // And it stays. A loaded machine can drop a period in the loopback now and then;
    // that dip is real audio, so the reading only has to settle again.
    EXPECT_TRUE(waitForSine(-18.0, 3s)) << describeLevels();
    EXPECT_NEAR(values().maxPeakLeft, -18.0, 0.1);
    EXPECT_NEAR(values().maxPeakRight, -18.0, 0.1);

    // A 997 Hz sine at -18 dBFS on both channels: -18.0 LUFS, true peak just above -18.
    ASSERT_TRUE(waitUntil([&] { return std::fabs(values().momentaryLUFS - -18.0) < 0.2; }, 3s))
        << "momentary " << values().momentaryLUFS;
    // True peak holds the maximum since capture started; a dropped period in the
    // loopback is a real discontinuity whose inter-sample peak lies a few dB higher.
    EXPECT_GT(values().truePeakLeft, -18.5);
    EXPECT_LT(values().truePeakLeft, -14.0);

    const std::size_t toneBand = expectedToneBand(*engine_, control.activeCaptureBackend()->sampleRate());
    ASSERT_TRUE(waitUntil(
        [&] {
            const auto &bands = values().spectralBands;
            return bands.size() == static_cast<std::size_t>(engine_->spectralBandCount()) &&
                   std::max_element(bands.begin(), bands.end()) - bands.begin() ==
                       static_cast<std::ptrdiff_t>(toneBand);
        },
        3s));
    std::vector<float> bands = values().spectralBands;
    const float toneLevel = bands[toneBand];
    std::nth_element(bands.begin(), bands.begin() + bands.size() / 2, bands.end());
    EXPECT_GT(toneLevel - bands[bands.size() / 2], 30.0f) << "the tone's band does not stand out";

    ASSERT_TRUE(waitUntil([&] { return values().lissajousPoints.size() >= 64; }, 2s));
    for (const LissajousPoint &point : values().lissajousPoints) {
        ASSERT_NEAR(point.x, point.y, 1e-6f); // identical channels: the diagonal
        ASSERT_LE(std::fabs(point.x), 0.1259f);
    }

    // The test signal replaces the input on the same path: a sweep peaking at 0.35 with
    // noise of at most 0.075, so between -11.2 and -7.4 dBFS.
    engine_->setTestSignalEnabled(true);
    ASSERT_TRUE(waitUntil([&] { return values().maxPeakLeft > -11.2f; }, 2s)) << describeLevels();
    runEventsFor(300ms);
    EXPECT_LT(values().maxPeakLeft, -7.4f);
    EXPECT_GT(values().peakLevelLeft, -12.0f);
}

TEST_F(PipeWireCaptureTest, DefaultOutputChannelCountFollowsTheDefaultSinkAndIsAtLeastTwo)
{
    AudioEngineControl &control = startCapture(QStringLiteral("None"));
    EXPECT_EQ(control.currentDefaultOutputChannelCount(), 2);
    const auto addSink = [&](const QString &name, const QString &channelMap, int channels, int priority) {
        session_->startClient(
            QStringLiteral("pw-loopback"),
            {QStringLiteral("-c"), QString::number(channels), QStringLiteral("-m"), channelMap,
             QStringLiteral("--capture-props=media.class=Audio/Sink node.name=%1 priority.session=%2").arg(name).arg(priority),
             QStringLiteral("--playback-props=node.name=%1-out").arg(name)});
    };
    const auto defaultSinkIs = [&](const char *name) {
        return platform_->connection().metadata().defaultSinkName() == name;
    };
    // Chosen the way a user does in a mixer. On a loaded machine the session manager now
    // and then ignored both a choice made right after the sink appeared and the sink's
    // priority for as long as the test waited (10 s), probably because the sink was not
    // complete yet when it looked. So the choice is made again each second until it holds.
    const auto makeDefault = [&](const char *name) {
        ASSERT_TRUE(waitUntil([&] { return platform_->connection().nodes().findByName(name) != nullptr; }, 10s))
            << name << " never appeared; nodes: "
            << AudioTestSession::toolOutput(QStringLiteral("pw-cli"), {QStringLiteral("ls"), QStringLiteral("Node")})
                   .toStdString();
        for (int attempt = 0; attempt < 10 && !defaultSinkIs(name); ++attempt) {
            AudioTestSession::toolOutput(QStringLiteral("pw-metadata"),
                                         {QStringLiteral("0"), QStringLiteral("default.configured.audio.sink"),
                                          QStringLiteral("{ \"name\": \"%1\" }").arg(QLatin1String(name)),
                                          QStringLiteral("Spa:String:JSON")});
            waitUntil([&] { return defaultSinkIs(name); }, 1s);
        }
        ASSERT_TRUE(defaultSinkIs(name)) << "the default sink is "
                                         << platform_->connection().metadata().defaultSinkName() << ", not " << name;
    };

    addSink(QStringLiteral("surround-sink"), QStringLiteral("[FL FR FC LFE RL RR]"), 6, 3000);
    makeDefault("surround-sink");
    if (HasFatalFailure()) return;
    EXPECT_TRUE(waitUntil([&] { return control.currentDefaultOutputChannelCount() == 6; }, 2s));

    addSink(QStringLiteral("mono-sink"), QStringLiteral("[MONO]"), 1, 4000);
    makeDefault("mono-sink");
    if (HasFatalFailure()) return;
    EXPECT_EQ(control.currentDefaultOutputChannelCount(), 2);
}

TEST_F(PipeWireCaptureTest, NamedDevicesAndSinkMonitorsAreCapturedAndAPulledDeviceFallsBack)
{
    playTone(-18.0);
    AudioEngineControl &control = startCapture(virtualMic);
    ASSERT_TRUE(control.isRunning());
    EXPECT_EQ(runningKind(), Kind::device);
    // Chosen by description (older settings), kept by node name.
    EXPECT_EQ(control.selectedInputDevice(), QStringLiteral("virtual-mic"));
    EXPECT_EQ(control.displayName(control.selectedInputDevice()), virtualMic);
    ASSERT_TRUE(waitForSine(-18.0, 8s)) << describeLevels();

    const QString usbMic = QStringLiteral("USB Mic");
    ASSERT_TRUE(session_->plug({usbMic})) << session_->error().toStdString();
    playTone(-12.0, AudioTestSession::feedSinkFor(usbMic));
    ASSERT_TRUE(waitUntil([&] { return control.availableInputDevices().contains(usbMic); }, 3s));
    control.setSelectedInputDevice(usbMic);
    ASSERT_TRUE(waitForSine(-12.0, 5s)) << describeLevels();
    EXPECT_EQ(runningKind(), Kind::device);

    // Without its sink the player would be moved to the default sink and mix into the
    // monitor checked below.
    session_->stopPlaying();
    playTone(-18.0);
    ASSERT_TRUE(session_->unplug(usbMic));
    ASSERT_TRUE(waitUntil([&] { return control.selectedInputDevice() == systemDefault; }, 3s));
    ASSERT_TRUE(waitForSine(-18.0, 5s)) << describeLevels();
    EXPECT_EQ(runningKind(), Kind::defaultInput);
    EXPECT_TRUE(control.isRunning());

    // What the default sink plays, through its monitor.
    const QString monitor = QStringLiteral("Monitor of test-sink");
    ASSERT_TRUE(control.availableInputDevices().contains(monitor));
    EXPECT_EQ(control.inputDeviceKey(monitor), QStringLiteral("test-sink.monitor"));
    EXPECT_EQ(control.currentDefaultOutputChannelCount(), 2);
    playTone(-6.0, QStringLiteral("test-sink"));
    control.setSelectedInputDevice(monitor);
    ASSERT_TRUE(waitForSine(-6.0, 5s)) << describeLevels();
    EXPECT_EQ(runningKind(), Kind::device);
}

// Two microphones of one model share a description and differ in node name: the second
// is listed as "USB Mic (2)" and captured by its node name, also after a new start with
// the first one listed before it.
TEST_F(PipeWireCaptureTest, TwoDevicesOfOneDescriptionAreToldApartByNodeName)
{
    const QString first = QStringLiteral("USB Mic=usb-mic-a");
    const QString second = QStringLiteral("USB Mic=usb-mic-b");
    // One after the other, so that the registry lists them in this order.
    ASSERT_TRUE(session_->plug({first})) << session_->error().toStdString();
    ASSERT_TRUE(session_->plug({second})) << session_->error().toStdString();
    playTone(-12.0, AudioTestSession::feedSinkFor(first));
    playTone(-6.0, AudioTestSession::feedSinkFor(second));

    AudioEngineControl &control = startCapture(systemDefault);
    ASSERT_TRUE(waitUntil([&] { return control.availableInputDevices().contains(QStringLiteral("USB Mic (2)")); }, 3s));
    EXPECT_EQ(control.availableInputDevices().count(QStringLiteral("USB Mic")), 1);
    control.setSelectedInputDevice(QStringLiteral("USB Mic (2)"));
    EXPECT_EQ(store_.readString(QString::fromLatin1(AudioEngineControl::selectedInputDeviceKey)),
              QStringLiteral("usb-mic-b"));
    ASSERT_TRUE(waitForSine(-6.0, 5s)) << describeLevels();

    // The next launch, a moment later: a capture stream made in the instant the previous
    // one went sometimes received only silence from the session's loopback sources.
    control_.reset();
    runEventsFor(300ms);
    startCapture(QStringLiteral("usb-mic-b"));
    EXPECT_EQ(runningKind(), Kind::device);
    ASSERT_TRUE(waitForSine(-6.0, 5s)) << describeLevels();

    // Older settings name the description: the first of that description is taken.
    control_.reset();
    runEventsFor(300ms);
    startCapture(QStringLiteral("USB Mic"));
    EXPECT_EQ(control_->selectedInputDevice(), QStringLiteral("usb-mic-a"));
    ASSERT_TRUE(waitForSine(-12.0, 5s)) << describeLevels();
}

TEST_F(PipeWireCaptureTest, ABurstOfDeviceChangesWithinHalfASecondGivesOneListUpdate)
{
    AudioEngineControl &control = startCapture(systemDefault);
    int updates = 0;
    QObject::connect(&control, &AudioEngineControl::availableInputDevicesChanged, [&] { ++updates; });
    // Let the start-up changes settle first.
    ASSERT_TRUE(waitUntil(
        [&] {
            updates = 0;
            runEventsFor(700ms);
            return updates == 0;
        },
        6s));

    QElapsedTimer burst;
    burst.start();
    const QStringList names{QStringLiteral("Burst A"), QStringLiteral("Burst B"), QStringLiteral("Burst C")};
    ASSERT_TRUE(session_->plug(names)) << session_->error().toStdString();
    ASSERT_LT(burst.elapsed(), 500) << "the burst itself took too long to mean anything";

    ASSERT_TRUE(waitUntil([&] { return updates > 0; }, 2s));
    runEventsFor(800ms);
    EXPECT_EQ(updates, 1);
    for (const QString &name : names) EXPECT_TRUE(control.availableInputDevices().contains(name));
}

TEST_F(PipeWireCaptureTest, CaptureRecoversWithinFiveSecondsWhenTheServerIsRestarted)
{
    playTone(-18.0);
    AudioEngineControl &control = startCapture(systemDefault);
    ASSERT_TRUE(waitForSine(-18.0, 8s)) << describeLevels();

    QElapsedTimer sinceKill;
    sinceKill.start();
    ASSERT_TRUE(session_->restartServer()) << session_->error().toStdString();

    EXPECT_TRUE(waitUntil([&] { return engine_->errorMessage().contains(QStringLiteral("Reconnecting")); }, 1s))
        << "status: " << engine_->errorMessage().toStdString();
    float lowestPeak = 0.0f;
    const bool recovered = waitUntil(
        [&] {
            lowestPeak = std::min(lowestPeak, values().peakLevelLeft);
            return control.isRunning() && values().peakLevelLeft > -18.1f;
        },
        6s);
    const qint64 recoveryMs = sinceKill.elapsed();
    RecordProperty("recoveryMs", static_cast<int>(recoveryMs));
    ASSERT_TRUE(recovered) << describeLevels();
    EXPECT_LE(recoveryMs, 5000);
    EXPECT_TRUE(waitForSine(-18.0, 2s)) << describeLevels();
    EXPECT_LT(lowestPeak, -40.0f) << "the meters did not fall while the server was away";
    EXPECT_EQ(runningKind(), Kind::defaultInput);
    EXPECT_TRUE(engine_->errorMessage().isEmpty());
}

} // namespace
