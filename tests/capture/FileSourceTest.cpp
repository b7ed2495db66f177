// A file fed through the live path by the engine control: the meters read what the file
// holds, loop and stop at the end, the position moves, unreadable files are explained,
// and the file is a one-off that never replaces the stored input choice. Its loudness
// against analyze and meter-file: FileModesAgreeTest.

#include "capture/AudioEngineControl.h"
#include "capture/FileSourceCaptureImpl.h"
#include "engine/AudioEngine.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"
#include "tests/capture/FakeAudioPlatform.h"
#include "tests/dsp/TestAudioFiles.h"
#include "tests/engine/QtTestSupport.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

const QString selectionKey = QStringLiteral("selectedInputDevice");
constexpr double fastPace = 16.0;

class FileSourceTest : public ::testing::Test {
protected:
    FileSourceTest()
    {
        store.writeString(selectionKey, QStringLiteral("USB Mic"));
        platform.plug(7, QStringLiteral("USB Mic"));
        control = std::make_unique<AudioEngineControl>(engine, platform, store);
        QObject::connect(control.get(), &AudioEngineControl::fileSourceEnded, [this] { ++endCount; });
    }
    ~FileSourceTest() override { control.reset(); }

    QString sine(const char *name, int rate, int channels, double seconds)
    {
        const QString file = dir.filePath(QString::fromLatin1(name));
        EXPECT_TRUE(writeSineFile(file.toStdString(), rate, channels, seconds));
        return file;
    }
    bool waitForEnd() { return waitUntil([&] { return endCount > 0; }, 10s); }

    QCoreApplication &application = testApplication();
    QTemporaryDir dir;
    double now = 1.0; // s; the engine's clock stands still, so the bars show the levels exactly
    AppSettings settings{std::make_shared<MemoryDefaultsStore>()};
    AudioEngine engine{settings, AudioEngine::TickSource::external, [this] { return now; }};
    MemoryDefaultsStore store;
    FakeAudioPlatform platform;
    std::unique_ptr<AudioEngineControl> control;
    int endCount = 0; // fileSourceEnded() emissions
};

TEST_F(FileSourceTest, ASineFileReachesTheEngineMetersThroughTheLivePathAndStopsAtItsEnd)
{
    settings.setShowLUFSMeter(true);
    ASSERT_TRUE(control->startFileSource(sine("tone.wav", 48000, 2, 1.0), AtFileEnd::stop, fastPace));
    ASSERT_TRUE(control->isRunning());
    const FileSourceCaptureImpl *file = control->fileSource();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(engine.activeBackend(), file->reader());

    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(endCount, 1);
    EXPECT_DOUBLE_EQ(file->position(), 1.0);
    EXPECT_DOUBLE_EQ(file->elapsed(), 1.0);
    EXPECT_TRUE(control->isFileSourceRunning()) << "an ended file stays the source until stopped or replaced";

    // After the end the bars fall to silence; the loudness of the whole file stays.
    engine.updateDisplayValues();
    const MeterValues &after = engine.meterData().values();
    EXPECT_LE(after.peakLevelLeft, -59.0);
    EXPECT_NEAR(after.integratedLUFS, -18.0, 0.2);
}

TEST_F(FileSourceTest, LoopingGoesOnPastTheEndWithThePositionWrappingAndTheMetersReadTheFile)
{
    ASSERT_TRUE(control->startFileSource(sine("short.wav", 48000, 2, 0.2), AtFileEnd::loop, fastPace));
    const FileSourceCaptureImpl *file = control->fileSource();
    QSignalSpy moved(control.get(), &AudioEngineControl::fileSourcePositionChanged);
    // Five times the file's length, and the position announced on the way.
    ASSERT_TRUE(waitUntil([&] { return file->elapsed() > 1.0 && moved.count() > 0; }, 5s));
    EXPECT_EQ(endCount, 0);
    EXPECT_FALSE(file->hasEnded());
    EXPECT_GE(file->position(), 0.0);
    EXPECT_LE(file->position(), file->duration());
    EXPECT_DOUBLE_EQ(file->duration(), 0.2);

    // Blocks keep coming, so the levels read are those of the file.
    engine.updateDisplayValues();
    const MeterValues &values = engine.meterData().values();
    EXPECT_NEAR(values.peakLevelLeft, -18.0, 0.1);
    EXPECT_NEAR(values.peakLevelRight, -18.0, 0.1);
    EXPECT_NEAR(values.rmsLevelLeft, -21.0, 0.1);
    EXPECT_NEAR(values.rmsLevelRight, -21.0, 0.1);
}

TEST_F(FileSourceTest, AMissingOrUnreadableFileIsExplainedAndTheRunningSourceGoesOn)
{
    control->startIfNeeded();
    ASSERT_TRUE(control->isRunning());

    EXPECT_FALSE(control->startFileSource(dir.filePath(QStringLiteral("gone.wav")), AtFileEnd::stop));
    EXPECT_EQ(engine.errorMessage(), QStringLiteral("Cannot play gone.wav: the file does not exist"));

    QFile text(dir.filePath(QStringLiteral("notes.wav")));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("not audio\n");
    text.close();
    EXPECT_FALSE(control->startFileSource(text.fileName(), AtFileEnd::stop));
    EXPECT_TRUE(engine.errorMessage().startsWith(QStringLiteral("Cannot play notes.wav: not a readable audio file")))
        << engine.errorMessage().toStdString();

    EXPECT_FALSE(control->isFileSourceRunning());
    EXPECT_EQ(control->activeCaptureBackend()->kind(), CaptureBackend::Kind::device);
}

TEST_F(FileSourceTest, AFileIsAOneOffThatAnotherSourceEndsAndThatNeverReplacesTheStoredChoice)
{
    control->startIfNeeded();
    const QString tone = sine("tone.wav", 48000, 2, 0.5);
    ASSERT_TRUE(control->startFileSource(tone, AtFileEnd::loop, fastPace));
    EXPECT_EQ(control->selectedInputDevice(), QStringLiteral("None")) << "the picker shows that no input is in use";
    EXPECT_EQ(store.readString(selectionKey), QStringLiteral("USB Mic"));

    // Device changes and wake-ups leave the file alone.
    control->restartEngine();
    runEventsFor(200ms);
    EXPECT_TRUE(control->isFileSourceRunning());

    // Stopping it goes back to the stored input.
    QSignalSpy changed(control.get(), &AudioEngineControl::fileSourceChanged);
    control->stopFileSource();
    EXPECT_FALSE(control->isFileSourceRunning());
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(control->selectedInputDevice(), QStringLiteral("USB Mic"));
    EXPECT_EQ(control->activeCaptureBackend()->kind(), CaptureBackend::Kind::device);

    // Choosing an input while a file plays ends the file.
    ASSERT_TRUE(control->startFileSource(tone, AtFileEnd::loop, fastPace));
    control->setSelectedInputDevice(QStringLiteral("System Default"));
    EXPECT_FALSE(control->isFileSourceRunning());
    ASSERT_TRUE(waitUntil([&] { return control->isRunning(); }, 1s));
    EXPECT_EQ(control->activeCaptureBackend()->kind(), CaptureBackend::Kind::defaultInput);
}

} // namespace
