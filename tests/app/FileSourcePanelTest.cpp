// "Play file through meters" on the Input tab, driven through its widgets: the status
// line's position, loop and stop at the end, errors, and back to the input on Stop.

#include "app/settingswindow/FileSourcePanel.h"
#include "app/settingswindow/InputTab.h"
#include "capture/AudioEngineControl.h"
#include "capture/FileSourceCaptureImpl.h"
#include "engine/AudioEngine.h"
#include "tests/app/WidgetTestSupport.h"
#include "tests/capture/FakeAudioPlatform.h"
#include "tests/dsp/TestAudioFiles.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace {

class FileSourcePanelTest : public ::testing::Test {
protected:
    FileSourcePanelTest()
    {
        env.store->writeString(QStringLiteral("selectedInputDevice"), QStringLiteral("System Default"));
        control = std::make_unique<AudioEngineControl>(engine, platform, *env.store);
        tab = std::make_unique<InputTab>(engine, control.get());
        panel = tab->findChild<FileSourcePanel *>();
    }
    ~FileSourcePanelTest() override
    {
        tab.reset();
        control.reset();
    }

    template <typename W> W *widget(const char *name) { return panel->findChild<W *>(QString::fromLatin1(name)); }
    QString status() { return widget<QLabel>("sourceFileStatus")->text(); }
    QPushButton *startStop() { return widget<QPushButton>("sourceFileStartStop"); }
    QString sine(const char *name, double seconds)
    {
        const QString file = dir.filePath(QString::fromLatin1(name));
        EXPECT_TRUE(writeSineFile(file.toStdString(), 48000, 2, seconds));
        return file;
    }

    TestSettings env;
    AudioEngine engine{env.settings, AudioEngine::TickSource::external};
    FakeAudioPlatform platform;
    std::unique_ptr<AudioEngineControl> control;
    std::unique_ptr<InputTab> tab;
    FileSourcePanel *panel = nullptr;
    QTemporaryDir dir;
};

TEST_F(FileSourcePanelTest, StatusLineShowsTheFileAndWhereItIs)
{
    EXPECT_EQ(FileSourcePanel::positionText(QStringLiteral("mix.wav"), 83.9, 245.0),
              QStringLiteral("mix.wav \u2014 1:23 / 4:05"));
    EXPECT_EQ(FileSourcePanel::positionText(QStringLiteral("set.flac"), 5.0, 3725.0),
              QStringLiteral("set.flac \u2014 0:05 / 1:02:05"));
}

TEST_F(FileSourcePanelTest, PlaysAFileToItsEndAndExplainsOneItCannotPlay)
{
    ASSERT_NE(panel, nullptr) << "the Input tab holds the panel";
    control->startIfNeeded();
    EXPECT_EQ(status(), QStringLiteral("No file playing"));

    widget<QLineEdit>("sourceFilePath")->setText(dir.filePath(QStringLiteral("gone.wav")));
    startStop()->click();
    EXPECT_EQ(status(), QStringLiteral("Cannot play gone.wav: the file does not exist"));
    EXPECT_EQ(control->activeCaptureBackend()->kind(), CaptureBackend::Kind::defaultInput);

    widget<QLineEdit>("sourceFilePath")->setText(sine("tone.wav", 0.3));
    widget<QRadioButton>("sourceFileStopAtEnd")->click();
    startStop()->click();
    EXPECT_TRUE(control->isFileSourceRunning());
    EXPECT_EQ(startStop()->text(), QStringLiteral("Stop"));
    EXPECT_TRUE(status().startsWith(QStringLiteral("tone.wav \u2014 0:00 / 0:00"))) << status().toStdString();
    ASSERT_TRUE(QTest::qWaitFor([&] { return status().endsWith(QStringLiteral("(ended)")); }, 3000))
        << status().toStdString();
    EXPECT_EQ(startStop()->text(), QStringLiteral("Start")) << "an ended file can be played again";
}

TEST_F(FileSourcePanelTest, LoopsUntilStoppedAndThenTheInputComesBack)
{
    control->startIfNeeded();
    widget<QLineEdit>("sourceFilePath")->setText(sine("short.wav", 0.1));
    ASSERT_TRUE(widget<QRadioButton>("sourceFileLoop")->isChecked()) << "looping is the default";
    startStop()->click();
    const FileSourceCaptureImpl *file = control->fileSource();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->atEnd(), AtFileEnd::loop);
    ASSERT_TRUE(QTest::qWaitFor([&] { return file->elapsed() > 0.25; }, 3000));
    EXPECT_FALSE(status().endsWith(QStringLiteral("(ended)")));
    EXPECT_EQ(startStop()->text(), QStringLiteral("Stop"));

    startStop()->click();
    EXPECT_FALSE(control->isFileSourceRunning());
    EXPECT_EQ(status(), QStringLiteral("No file playing"));
    EXPECT_EQ(control->activeCaptureBackend()->kind(), CaptureBackend::Kind::defaultInput);
}

TEST(FileSourcePanelWithoutAudioTest, IsDisabled)
{
    TestSettings env;
    AudioEngine engine{env.settings, AudioEngine::TickSource::external};
    FileSourcePanel panel(engine, nullptr);
    EXPECT_FALSE(panel.isEnabled());
}

} // namespace
