// The engine control against a fake audio system: which back-end starts for which
// selection, devices known by key and shown by name, the fall-backs, the restart guard,
// the device-change debounce, access, server loss and the silence warning.

#include "capture/AudioEngineControl.h"
#include "engine/AudioEngine.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"
#include "tests/capture/FakeAudioPlatform.h"
#include "tests/engine/QtTestSupport.h"

#include <gtest/gtest.h>

#include <vector>

using namespace std::chrono_literals;
using Access = AudioPlatform::Access;
using Kind = CaptureBackend::Kind;

namespace {

const QString none = QStringLiteral("None");
const QString systemDefault = QStringLiteral("System Default");
const QString usbMic = QStringLiteral("USB Mic");
const QString selectionKey = QStringLiteral("selectedInputDevice");
constexpr std::uint32_t usbMicId = 7;
// Two microphones of one model: one description, two node names.
const QString firstMicKey = QStringLiteral("alsa_input.usb-Mic_A-00.analog-stereo");
const QString secondMicKey = QStringLiteral("alsa_input.usb-Mic_B-00.analog-stereo");
constexpr std::uint32_t secondMicId = 8;

class AudioEngineControlTest : public ::testing::Test {
protected:
    // Creates the control with `selection` stored beforehand (none stored when empty).
    AudioEngineControl &makeControl(const QString &selection = {})
    {
        if (selection.isEmpty()) store.remove(selectionKey);
        else store.writeString(selectionKey, selection);
        control.reset(); // the previous control lets go of the engine first
        control = std::make_unique<AudioEngineControl>(engine, platform, store);
        return *control;
    }

    QString stored() const { return store.readString(selectionKey).value_or(QString()); }
    void loseServerAccess()
    {
        platform.setAccess(Access::unreachable);
        platform.problem = QStringLiteral("The PipeWire audio server could not be reached (Connection refused).");
    }
    Kind runningKind() const { return control->activeCaptureBackend()->kind(); }

    QCoreApplication &application = testApplication();
    double now = 1.0; // s, the engine's clock
    AppSettings settings{std::make_shared<MemoryDefaultsStore>()};
    AudioEngine engine{settings, AudioEngine::TickSource::external, [this] { return now; }};
    MemoryDefaultsStore store;
    FakeAudioPlatform platform;
    std::unique_ptr<AudioEngineControl> control;
};

TEST_F(AudioEngineControlTest, NoneStartsNothing)
{
    platform.plug(usbMicId, usbMic);
    AudioEngineControl &c = makeControl();
    EXPECT_EQ(c.selectedInputDevice(), none);

    c.startIfNeeded();
    runEventsFor(200ms);

    EXPECT_TRUE(c.hasPermission());
    EXPECT_FALSE(c.isRunning());
    EXPECT_EQ(platform.defaultInputStarts, 0);
    EXPECT_TRUE(platform.deviceStarts.empty());
    EXPECT_EQ(engine.activeBackend(), nullptr);
}

TEST_F(AudioEngineControlTest, SystemDefaultRunsTheDefaultInputWithAFreshLoudnessMeterPerStart)
{
    AudioEngineControl &c = makeControl(systemDefault);
    c.startIfNeeded();

    ASSERT_TRUE(c.isRunning());
    ASSERT_TRUE(platform.current);
    EXPECT_EQ(runningKind(), Kind::defaultInput);
    EXPECT_EQ(engine.activeBackend(), platform.current->processor);
    EXPECT_EQ(engine.inputDeviceBackend(), platform.current->processor);
    EXPECT_FLOAT_EQ(engine.currentSampleRate(), 44100.0f);
    ASSERT_TRUE(engine.loudnessMeter());
    EXPECT_EQ(engine.loudnessMeter(), platform.current->loudnessMeter);
    EXPECT_EQ(engine.loudnessMeter()->channels(), 2);
    EXPECT_TRUE(engine.errorMessage().isEmpty());
    EXPECT_EQ(c.availableInputDevices(), QStringList({none, systemDefault}));

    // Running: a second call changes nothing.
    c.startIfNeeded();
    EXPECT_EQ(platform.defaultInputStarts, 1);

    const auto firstMeter = engine.loudnessMeter();
    c.restartEngine();
    ASSERT_TRUE(waitUntil([&] { return c.isRunning(); }, 1s));
    EXPECT_NE(engine.loudnessMeter(), firstMeter);

    // A named mono device: the device back-end, no spectral sink, a one-channel meter.
    platform.plug(usbMicId, usbMic);
    platform.monoDevices = {usbMicId};
    AudioEngineControl &named = makeControl(usbMic);
    named.startIfNeeded();
    ASSERT_TRUE(named.isRunning());
    EXPECT_EQ(platform.deviceStarts, std::vector<std::uint32_t>{usbMicId});
    EXPECT_EQ(runningKind(), Kind::device);
    EXPECT_EQ(engine.inputDeviceBackend(), nullptr);
    EXPECT_EQ(engine.loudnessMeter()->channels(), 1);
    EXPECT_EQ(named.availableInputDevices(), QStringList({none, systemDefault, usbMic}));
}

// Unplugged: the choice becomes "System Default" for good. Failing while running: the
// default input stands in, but the stored choice stays for next time.
TEST_F(AudioEngineControlTest, SelectedDeviceGoingAwayFallsBackToTheDefaultInput)
{
    for (const bool unplugged : {true, false}) {
        SCOPED_TRACE(unplugged ? "unplugged" : "failed");
        platform.devices.clear();
        platform.plug(usbMicId, usbMic);
        AudioEngineControl &c = makeControl(usbMic);
        c.startIfNeeded();
        ASSERT_EQ(runningKind(), Kind::device);

        if (unplugged) platform.unplug(usbMicId);
        else platform.current->fail(QStringLiteral("target removed"));
        ASSERT_TRUE(waitUntil([&] { return c.isRunning() && runningKind() == Kind::defaultInput; }, 2s));
        EXPECT_EQ(c.selectedInputDevice(), systemDefault);
        EXPECT_EQ(stored(), unplugged ? systemDefault : usbMic);
        EXPECT_EQ(c.availableInputDevices().contains(usbMic), !unplugged);
        EXPECT_TRUE(engine.errorMessage().isEmpty());
    }
}

TEST_F(AudioEngineControlTest, UnusableDeviceAtStartFallsBackToSystemDefaultWithoutPersisting)
{
    enum class Problem { notListed, deadOnQuery, refusesToStart };
    for (Problem problem : {Problem::notListed, Problem::deadOnQuery, Problem::refusesToStart}) {
        SCOPED_TRACE(static_cast<int>(problem));
        platform.devices.clear();
        if (problem != Problem::notListed) platform.plug(usbMicId, usbMic);
        platform.deadDevices = problem == Problem::deadOnQuery ? std::set<std::uint32_t>{usbMicId} : std::set<std::uint32_t>{};
        platform.refusingDevices =
            problem == Problem::refusesToStart ? std::set<std::uint32_t>{usbMicId} : std::set<std::uint32_t>{};

        AudioEngineControl &c = makeControl(usbMic);
        c.startIfNeeded();

        EXPECT_TRUE(c.isRunning());
        EXPECT_EQ(runningKind(), Kind::defaultInput);
        EXPECT_EQ(c.selectedInputDevice(), systemDefault);
        EXPECT_EQ(stored(), usbMic);
        EXPECT_TRUE(engine.errorMessage().isEmpty());
        EXPECT_FALSE(c.isRestartingEngine());
    }
}

TEST_F(AudioEngineControlTest, IdenticalDevicesAreNumberedInThePickerAndChosenByKey)
{
    platform.plug(usbMicId, usbMic, firstMicKey);
    platform.plug(secondMicId, usbMic, secondMicKey);
    platform.plug(9, QStringLiteral("Headset"), QStringLiteral("headset"));
    AudioEngineControl &c = makeControl(systemDefault);
    c.startIfNeeded();
    EXPECT_EQ(c.availableInputDevices(), QStringList({none, systemDefault, usbMic, "USB Mic (2)", "Headset"}));
    EXPECT_EQ(c.inputDeviceKey(QStringLiteral("USB Mic (2)")), secondMicKey);
    EXPECT_EQ(c.inputDeviceKey(firstMicKey), firstMicKey);
    EXPECT_EQ(c.inputDeviceKey(QStringLiteral("USB Mic (3)")), std::nullopt);

    c.setSelectedInputDevice(QStringLiteral("USB Mic (2)"));
    EXPECT_EQ(c.selectedInputDevice(), secondMicKey);
    EXPECT_EQ(stored(), secondMicKey);
    EXPECT_EQ(c.displayName(secondMicKey), QStringLiteral("USB Mic (2)"));
    ASSERT_TRUE(waitUntil([&] { return c.isRunning(); }, 1s));
    EXPECT_EQ(platform.deviceStarts, std::vector<std::uint32_t>{secondMicId});

    // Pulling the first one renumbers the second, which stays chosen and running.
    platform.unplug(usbMicId);
    ASSERT_TRUE(waitUntil([&] { return c.availableInputDevices().size() == 4; }, 2s));
    runEventsFor(300ms); // the re-check after the list update
    EXPECT_EQ(c.availableInputDevices(), QStringList({none, systemDefault, usbMic, "Headset"}));
    EXPECT_EQ(c.selectedInputDevice(), secondMicKey);
    EXPECT_EQ(c.displayName(secondMicKey), usbMic);
    EXPECT_EQ(runningKind(), Kind::device);
    EXPECT_EQ(platform.deviceStarts, std::vector<std::uint32_t>{secondMicId});

    // The next launch finds the second one behind the first of the same description.
    platform.devices = {{usbMicId, usbMic, firstMicKey}, {secondMicId, usbMic, secondMicKey}};
    makeControl(secondMicKey).startIfNeeded();
    EXPECT_EQ(platform.deviceStarts.back(), secondMicId);
}

// Settings written before devices had keys hold the description. The first device
// shown under it takes over, by key from then on; until one matches nothing is rewritten.
TEST_F(AudioEngineControlTest, AStoredDescriptionBecomesTheKeyOfTheFirstDeviceItMatches)
{
    AudioEngineControl &absent = makeControl(usbMic);
    absent.startIfNeeded();
    EXPECT_EQ(runningKind(), Kind::defaultInput);
    EXPECT_EQ(stored(), usbMic);

    platform.plug(usbMicId, usbMic, firstMicKey);
    platform.plug(secondMicId, usbMic, secondMicKey);
    AudioEngineControl &c = makeControl(usbMic);
    EXPECT_EQ(c.selectedInputDevice(), firstMicKey); // already for the picker, before any start
    EXPECT_EQ(stored(), firstMicKey);
    c.startIfNeeded();
    EXPECT_EQ(runningKind(), Kind::device);
    EXPECT_EQ(platform.deviceStarts.back(), usbMicId);

    // Plugged in after the list was published: matched when capture starts on it.
    platform.devices.clear();
    AudioEngineControl &late = makeControl(usbMic);
    platform.devices = {{secondMicId, usbMic, secondMicKey}}; // the list update is still to come
    late.startIfNeeded();
    EXPECT_EQ(late.selectedInputDevice(), secondMicKey);
    EXPECT_EQ(stored(), secondMicKey);
    EXPECT_EQ(platform.deviceStarts.back(), secondMicId);
}

TEST_F(AudioEngineControlTest, RestartIgnoresARequestWhileOneIsPending)
{
    AudioEngineControl &c = makeControl(systemDefault);
    c.startIfNeeded();
    ASSERT_EQ(platform.defaultInputStarts, 1);

    c.restartEngine();
    EXPECT_TRUE(c.isRestartingEngine());
    EXPECT_FALSE(c.isRunning());
    c.restartEngine();
    c.startIfNeeded(); // also held off by the pending restart

    runEventsFor(300ms);
    EXPECT_EQ(platform.defaultInputStarts, 2);
    EXPECT_TRUE(c.isRunning());
    EXPECT_FALSE(c.isRestartingEngine());
}

TEST_F(AudioEngineControlTest, ChoosingASourcePersistsItAndRestartsCaptureNoneStopsIt)
{
    platform.plug(usbMicId, usbMic);
    AudioEngineControl &c = makeControl(systemDefault);
    c.startIfNeeded();

    c.setSelectedInputDevice(usbMic);
    EXPECT_EQ(stored(), usbMic);
    EXPECT_FALSE(c.isRunning()); // stopped at once, started 0.1 s later
    ASSERT_TRUE(waitUntil([&] { return c.isRunning(); }, 1s));
    EXPECT_EQ(runningKind(), Kind::device);

    c.setSelectedInputDevice(none);
    EXPECT_EQ(stored(), none);
    EXPECT_FALSE(c.isRunning());
    EXPECT_EQ(engine.activeBackend(), nullptr);
    runEventsFor(300ms);
    EXPECT_FALSE(c.isRunning());
}

TEST_F(AudioEngineControlTest, ABurstOfDeviceChangesGivesOneListUpdate)
{
    AudioEngineControl &c = makeControl(systemDefault);
    int updates = 0;
    QObject::connect(&c, &AudioEngineControl::availableInputDevicesChanged, [&] { ++updates; });

    for (std::uint32_t id = 20; id < 25; ++id) {
        platform.plug(id, QStringLiteral("Mic %1").arg(id));
        runEventsFor(60ms);
    }
    runEventsFor(300ms); // less than the debounce interval after the last change
    EXPECT_EQ(updates, 0);
    ASSERT_TRUE(waitUntil([&] { return updates > 0; }, 1s));
    runEventsFor(600ms);
    EXPECT_EQ(updates, 1);
    EXPECT_EQ(c.availableInputDevices().size(), 7);
}

TEST_F(AudioEngineControlTest, AccessDecidesWhetherCaptureStarts)
{
    platform.setAccess(Access::denied);
    AudioEngineControl &refused = makeControl(systemDefault);
    refused.startIfNeeded();
    EXPECT_FALSE(refused.hasPermission());
    EXPECT_FALSE(refused.isRunning());
    EXPECT_TRUE(engine.errorMessage().startsWith(QStringLiteral("Microphone access denied. ")));

    platform.setAccess(Access::pending);
    AudioEngineControl &asked = makeControl(systemDefault);
    asked.startIfNeeded();
    EXPECT_FALSE(asked.isRunning());
    platform.setAccess(Access::denied);
    EXPECT_EQ(engine.errorMessage(), QStringLiteral("Microphone access denied"));
    EXPECT_FALSE(asked.hasPermission());

    platform.setAccess(Access::pending);
    AudioEngineControl &granted = makeControl(systemDefault);
    granted.startIfNeeded();
    EXPECT_EQ(platform.defaultInputStarts, 0);
    platform.setAccess(Access::granted);
    EXPECT_TRUE(granted.hasPermission());
    EXPECT_TRUE(granted.isRunning());
    EXPECT_EQ(platform.defaultInputStarts, 1);
}

TEST_F(AudioEngineControlTest, FailuresToStartAreReportedAndCaptureStaysStopped)
{
    platform.defaultInputFails = true;
    AudioEngineControl &c = makeControl(systemDefault);
    c.startIfNeeded();
    EXPECT_FALSE(c.isRunning());
    EXPECT_EQ(engine.errorMessage(), QStringLiteral("Failed to start audio engine: no default source"));
    EXPECT_EQ(engine.activeBackend(), nullptr);

    platform.defaultInputFails = false;
    loseServerAccess();
    AudioEngineControl &unreachable = makeControl(systemDefault);
    unreachable.startIfNeeded();
    EXPECT_FALSE(unreachable.isRunning());
    EXPECT_EQ(engine.errorMessage(),
              QStringLiteral("Failed to start audio engine: The PipeWire audio server could not be reached "
                             "(Connection refused)."));
    platform.setAccess(Access::granted);
    EXPECT_TRUE(unreachable.isRunning());
}

// Without a server the test signal stands in for "System Default" and on a fresh
// install (nothing chosen yet), but not for an explicit "None".
TEST_F(AudioEngineControlTest, WithoutAServerTheTestSignalStandsInUntilTheServerAnswers)
{
    loseServerAccess();
    AudioEngineControl &c = makeControl(systemDefault);
    c.setTestSignalWithoutServer(true);
    c.startIfNeeded();
    ASSERT_TRUE(c.isRunning());
    EXPECT_EQ(runningKind(), Kind::testSignal);
    EXPECT_TRUE(engine.errorMessage().startsWith(
        QStringLiteral("Failed to start audio engine: The PipeWire audio server could not be reached")));
    EXPECT_TRUE(engine.errorMessage().contains(QStringLiteral("test signal")));
    // The sweep peaks at 0.35 plus a little noise: about -8 dBFS.
    EXPECT_TRUE(waitUntil([&] { return engine.activeBackend()->readLevels().peakLeft > -12.0f; }, 2s));
    platform.setAccess(Access::granted);
    EXPECT_EQ(runningKind(), Kind::defaultInput);
    EXPECT_TRUE(engine.errorMessage().isEmpty());

    loseServerAccess();
    AudioEngineControl &fresh = makeControl();
    fresh.setTestSignalWithoutServer(true);
    fresh.startIfNeeded();
    EXPECT_EQ(fresh.selectedInputDevice(), none);
    ASSERT_TRUE(fresh.isRunning());
    EXPECT_EQ(runningKind(), Kind::testSignal);
    // Once the server answers, "None" means what it says: nothing is captured.
    const int starts = platform.defaultInputStarts;
    platform.setAccess(Access::granted);
    EXPECT_FALSE(fresh.isRunning());
    EXPECT_EQ(platform.defaultInputStarts, starts);

    platform.setAccess(Access::unreachable);
    AudioEngineControl &chosen = makeControl(none);
    chosen.setTestSignalWithoutServer(true);
    chosen.startIfNeeded();
    EXPECT_FALSE(chosen.isRunning());
}

TEST_F(AudioEngineControlTest, LosingTheServerStopsCaptureAndTheSelectedDeviceResumesWhenBack)
{
    platform.plug(usbMicId, usbMic, firstMicKey);
    AudioEngineControl &c = makeControl(firstMicKey);
    c.startIfNeeded();
    ASSERT_EQ(runningKind(), Kind::device);

    platform.loseServer();
    EXPECT_FALSE(c.isRunning());
    EXPECT_EQ(engine.activeBackend(), nullptr);
    EXPECT_TRUE(engine.errorMessage().endsWith(QStringLiteral("Reconnecting...")));

    // Back, but the device's node is not there yet: capture waits for it, and the
    // picker goes on showing it by its description.
    platform.setAccess(Access::granted);
    runEventsFor(100ms);
    EXPECT_FALSE(c.isRunning());
    EXPECT_EQ(c.selectedInputDevice(), firstMicKey);
    EXPECT_FALSE(c.availableInputDevices().contains(usbMic));
    EXPECT_EQ(c.displayName(firstMicKey), usbMic);
    EXPECT_EQ(c.displayName(secondMicKey), secondMicKey); // never seen: the key itself

    // Another of the same model comes first; the chosen one returns under a new id.
    platform.plug(secondMicId, usbMic, secondMicKey);
    EXPECT_FALSE(c.isRunning());
    platform.plug(usbMicId + 1, usbMic, firstMicKey);
    ASSERT_TRUE(c.isRunning());
    EXPECT_EQ(platform.deviceStarts.back(), usbMicId + 1);
    EXPECT_EQ(c.selectedInputDevice(), firstMicKey);
    EXPECT_TRUE(engine.errorMessage().isEmpty());
}

TEST_F(AudioEngineControlTest, ANewSampleRateStartsANewLoudnessMeasurement)
{
    AudioEngineControl &c = makeControl(systemDefault);
    c.startIfNeeded();
    const auto meter = engine.loudnessMeter();

    platform.current->changeSampleRate(44100.0);
    EXPECT_EQ(engine.loudnessMeter(), meter);

    platform.current->changeSampleRate(96000.0);
    EXPECT_FLOAT_EQ(engine.currentSampleRate(), 96000.0f);
    EXPECT_NE(engine.loudnessMeter(), meter);
    EXPECT_EQ(engine.loudnessMeter(), platform.current->loudnessMeter);
}

TEST_F(AudioEngineControlTest, WakingRestartsCaptureHalfASecondLater)
{
    AudioEngineControl &c = makeControl(systemDefault);
    c.startIfNeeded();

    platform.wake();
    runEventsFor(350ms);
    EXPECT_EQ(platform.defaultInputStarts, 1);
    ASSERT_TRUE(waitUntil([&] { return platform.defaultInputStarts == 2 && c.isRunning(); }, 1s));
}

TEST_F(AudioEngineControlTest, SilenceWarningAfterMoreThanThreeSecondsOncePerSilentRun)
{
    const QString warning = QString::fromUtf8(AudioEngineControl::silenceWarning);
    // Sources that report failures themselves (the default input) are not watched.
    makeControl(systemDefault).startIfNeeded();
    for (now = 1.0; now < 6.0; now += 0.5) engine.updateDisplayValues();
    EXPECT_TRUE(engine.errorMessage().isEmpty());

    platform.plug(usbMicId, usbMic);
    platform.silenceWatchedDevices = true;
    AudioEngineControl &c = makeControl(usbMic);
    c.startIfNeeded();
    ASSERT_TRUE(platform.current);
    CaptureBlockProcessor &processor = *platform.current->processor;
    const auto tickAt = [&](double t) {
        now = t;
        engine.updateDisplayValues();
    };

    tickAt(10.0); // silence begins
    tickAt(13.0); // exactly 3 s: not yet
    EXPECT_TRUE(engine.errorMessage().isEmpty());
    tickAt(13.1);
    EXPECT_EQ(engine.errorMessage(), warning);

    const std::vector<float> tone(512, 0.1f); // -20 dBFS
    processor.processPlanar(tone.data(), tone.data(), tone.size());
    tickAt(13.2);
    EXPECT_TRUE(engine.errorMessage().isEmpty());

    const std::vector<float> silence(512, 0.0f);
    processor.processPlanar(silence.data(), silence.data(), silence.size());
    tickAt(14.0);
    tickAt(17.05);
    EXPECT_EQ(engine.errorMessage(), warning);
    engine.setErrorMessage({});
    tickAt(20.0); // warned once for this run
    EXPECT_TRUE(engine.errorMessage().isEmpty());
}

} // namespace
