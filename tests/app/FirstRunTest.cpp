// A fresh install meters nothing until a source is chosen ("None" is the stored
// default). The level meter then asks for a source, naming the default input, and
// one click leads to the Input tab; the prompt goes as soon as anything is chosen,
// and an explicit "None" is respected without asking.
#include "app/shell/KelvraApplication.h"
#include "app/windows/LevelMeterWindow.h"
#include "app/settingswindow/SettingsWindow.h"
#include "capture/AudioEngineControl.h"
#include "tests/app/WidgetTestSupport.h"
#include "tests/capture/FakeAudioPlatform.h"

#include <QLabel>
#include <QTabWidget>
#include <QTest>

#include <gtest/gtest.h>

namespace {

std::unique_ptr<KelvraApplication> makeShell(TestSettings &env)
{
    auto platform = std::make_unique<FakeAudioPlatform>();
    platform->devices = {{3, QStringLiteral("Built-in Mic")}};
    platform->defaultInput = QStringLiteral("Built-in Mic");
    KelvraApplication::Options options;
    options.tickSource = AudioEngine::TickSource::external;
    options.trayIcon = false;
    options.updater.feedUrl = QUrl();
    options.showNumericalMeter = false;
    options.platform = std::move(platform);
    return std::make_unique<KelvraApplication>(env.settings, std::move(options));
}

QString inputStatus(KelvraApplication &shell)
{
    const auto *status = shell.settingsWindow()->findChild<QLabel *>(QStringLiteral("inputStatus"));
    return status ? status->text() : QString();
}

TEST(FirstRun, TheLevelMeterAsksForASourceUntilOneIsChosen)
{
    TestSettings env;
    auto shell = makeShell(env);
    shell->start();
    LevelMeterWindow &level = shell->levelMeterWindow();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&level));
    ASSERT_TRUE(level.sourcePrompt().has_value());
    EXPECT_EQ(level.sourcePrompt()->headline, "Choose a source…");
    EXPECT_EQ(level.sourcePrompt()->detail, "Default input: Built-in Mic");

    QTest::mouseClick(&level, Qt::LeftButton, {}, level.rect().center());
    ASSERT_NE(shell->settingsWindow(), nullptr);
    QTabWidget *tabs = shell->settingsWindow()->tabs();
    EXPECT_EQ(tabs->tabText(tabs->currentIndex()), QStringLiteral("Input"));
    EXPECT_EQ(inputStatus(*shell), QStringLiteral("No source selected"));
    EXPECT_FALSE(env.store->readString(QString::fromLatin1(AudioEngineControl::selectedInputDeviceKey)))
        << "asking stores nothing: the default stays \"None\"";

    shell->engineControl()->setSelectedInputDevice(QStringLiteral("System Default"));
    EXPECT_FALSE(level.sourcePrompt().has_value());
    EXPECT_NE(inputStatus(*shell), QStringLiteral("No source selected"));
}

TEST(FirstRun, AnExplicitNoneIsNotAskedAbout)
{
    TestSettings env;
    env.store->writeString(QString::fromLatin1(AudioEngineControl::selectedInputDeviceKey), QStringLiteral("None"));
    auto shell = makeShell(env);
    EXPECT_FALSE(shell->levelMeterWindow().sourcePrompt().has_value());
    shell->openSettingsWindow();
    EXPECT_EQ(inputStatus(*shell), QStringLiteral("OK"));
}

} // namespace
