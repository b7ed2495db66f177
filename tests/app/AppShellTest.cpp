#include "app/shell/KelvraApplication.h"
#include "app/windows/LevelMeterWindow.h"
#include "app/windows/NumericalMeterWindow.h"
#include "app/settingswindow/SettingsWindow.h"
#include "app/shell/SingleInstance.h"
#include "tests/app/WidgetTestSupport.h"

#include <QAction>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

struct Shown {
    QString text;
    QString shortcut;
};

// What a menu shows, top to bottom: "-" for dividers, "title >" for submenus.
std::vector<Shown> shownEntries(const QMenu &menu)
{
    std::vector<Shown> entries;
    for (const QAction *action : menu.actions()) {
        if (action->isSeparator())
            entries.push_back({QStringLiteral("-"), {}});
        else if (action->menu())
            entries.push_back({action->text() + QStringLiteral(" >"), {}});
        else
            entries.push_back({action->text(), action->shortcut().toString(QKeySequence::PortableText)});
    }
    return entries;
}

std::vector<QString> texts(const std::vector<Shown> &entries)
{
    std::vector<QString> result;
    for (const Shown &e : entries) result.push_back(e.text);
    return result;
}

const QMenu *submenu(const QMenu &menu, const QString &title)
{
    for (const QAction *action : menu.actions())
        if (action->menu() && action->text() == title) return action->menu();
    return nullptr;
}

class AppShellTest : public ::testing::Test {
protected:
    AppShellTest() : shell(env.settings, options()) {}

    static KelvraApplication::Options options()
    {
        KelvraApplication::Options o;
        o.tickSource = AudioEngine::TickSource::external;
        o.trayIcon = false;
        o.updater.feedUrl = QUrl(); // whatever the build or environment names: no network
        return o;
    }

    TestSettings env;
    KelvraApplication shell;
};

TEST_F(AppShellTest, CreatesBothMeterWindowsRegisteredUnderTheirNames)
{
    LevelMeterWindow &level = shell.levelMeterWindow();
    NumericalMeterWindow &numerical = shell.numericalMeterWindow();
    EXPECT_EQ(level.objectName(), QStringLiteral("level-meter"));
    EXPECT_EQ(level.windowTitle(), QStringLiteral("Kelvra Level Meter"));
    EXPECT_EQ(numerical.objectName(), QStringLiteral("numerical-meter"));
    EXPECT_EQ(numerical.windowTitle(), QStringLiteral("Kelvra Numerical Meter"));
    EXPECT_EQ(numerical.size(), QSize(220, 120));
    EXPECT_EQ(shell.windowStyleManager().trackedType(&level), MeterWindowType::levelMeter);
    EXPECT_EQ(shell.windowStyleManager().trackedType(&numerical), MeterWindowType::numericalMeter);
}

TEST_F(AppShellTest, ClosingBothWindowsDoesNotQuit)
{
    shell.start();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&shell.levelMeterWindow()));
    QTimer::singleShot(50, [this] {
        shell.levelMeterWindow().close();
        shell.numericalMeterWindow().close();
    });
    // Had closing the last window quit, exec() would return 0 before this fires.
    QTimer::singleShot(400, [] { QCoreApplication::exit(42); });
    EXPECT_EQ(QCoreApplication::exec(), 42);
    EXPECT_FALSE(shell.levelMeterWindow().isVisible());

    shell.showFirstWindow();
    EXPECT_TRUE(shell.levelMeterWindow().isVisible());
    EXPECT_FALSE(shell.numericalMeterWindow().isVisible());
}

// A running loudness log shows in both windows and in the File menu, and keeps the
// display tick (which publishes what it records) running with every window closed.
TEST_F(AppShellTest, ARunningLoudnessLogIsShownAndKeepsTheValuesComing)
{
    QTemporaryDir dir;
    QAction *logging = shell.actions().action(MenuCommand::toggleLogging);
    EXPECT_EQ(logging->text(), QString::fromUtf8("Start Logging…"));
    ASSERT_EQ(shell.loudnessLog().start(dir.filePath(QStringLiteral("log.csv")), QStringLiteral("Mic")), QString());
    EXPECT_EQ(logging->text(), QStringLiteral("Stop Logging"));
    EXPECT_EQ(shell.levelMeterWindow().statusBadge(), QStringLiteral("LOG"));
    EXPECT_EQ(shell.numericalMeterWindow().statusBadge(), QStringLiteral("LOG"));
    EXPECT_TRUE(shell.engine().isDisplayActive()) << "no window is shown, yet the log needs values";

    logging->trigger(); // "Stop Logging"
    EXPECT_FALSE(shell.loudnessLog().isRunning());
    EXPECT_EQ(logging->text(), QString::fromUtf8("Start Logging…"));
    EXPECT_TRUE(shell.levelMeterWindow().statusBadge().isEmpty());
    EXPECT_FALSE(shell.engine().isDisplayActive());
}

// The display tick runs only while a meter window is on screen.
TEST_F(AppShellTest, TheDisplayIsActiveOnlyWhileAMeterWindowIsShown)
{
    shell.start();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&shell.levelMeterWindow()));
    QCoreApplication::processEvents();
    EXPECT_TRUE(shell.engine().isDisplayActive());

    shell.levelMeterWindow().close();
    QCoreApplication::processEvents();
    EXPECT_TRUE(shell.engine().isDisplayActive()) << "the numerical meter is still shown";
    shell.numericalMeterWindow().close();
    QCoreApplication::processEvents();
    EXPECT_FALSE(shell.engine().isDisplayActive());

    shell.showFirstWindow();
    QCoreApplication::processEvents();
    EXPECT_TRUE(shell.engine().isDisplayActive());
}

TEST(AppShellStartTest, WithNoWindowsChosenItStartsInTheTrayWithTheDisplayIdle)
{
    TestSettings env;
    KelvraApplication::Options options;
    options.tickSource = AudioEngine::TickSource::external;
    options.trayIcon = false;
    options.showLevelMeter = false;
    options.showNumericalMeter = false;
    KelvraApplication shell(env.settings, std::move(options));
    shell.start();
    QCoreApplication::processEvents();
    EXPECT_FALSE(shell.levelMeterWindow().isVisible());
    EXPECT_FALSE(shell.numericalMeterWindow().isVisible());
    EXPECT_FALSE(shell.engine().isDisplayActive());
}

TEST_F(AppShellTest, ViewAndFileMenusHoldTheirItemsInOrderWithShortcuts)
{
    const QMenu &menu = shell.levelMeterMenu();
    const QMenu *view = submenu(menu, QStringLiteral("View"));
    const QMenu *file = submenu(menu, QStringLiteral("File"));
    const QMenu *application = submenu(menu, QStringLiteral("KelvraMeters"));
    ASSERT_TRUE(view && file && application);

    const std::vector<Shown> viewEntries = shownEntries(*view);
    const std::vector<std::pair<QString, QString>> expectedView = {
        {"Reset Peaks", "Ctrl+R"}, {"Title Bar", "Ctrl+W"}, {"Show Scale", "Ctrl+S"}, {"Show Value", "Ctrl+V"},
        {"Peak Hold", "Ctrl+P"},   {"Spectrum", "Ctrl+F"},  {"History", ""},         {"LUFS Meter", "Ctrl+L"}};
    ASSERT_EQ(viewEntries.size(), expectedView.size());
    for (std::size_t i = 0; i < expectedView.size(); ++i) {
        EXPECT_EQ(viewEntries[i].text, expectedView[i].first);
        EXPECT_EQ(viewEntries[i].shortcut, expectedView[i].second);
    }

    const std::vector<Shown> fileEntries = shownEntries(*file);
    EXPECT_EQ(texts(fileEntries), (std::vector<QString>{"Import Gradients...", "Export All Custom Gradients...", "-",
                                                        "Import Settings...", "Export Settings...", "-",
                                                        "Start Logging…", "Export Loudness Report…"}));
    EXPECT_EQ(fileEntries[3].shortcut, QStringLiteral("Ctrl+Shift+I"));
    EXPECT_EQ(fileEntries[4].shortcut, QStringLiteral("Ctrl+Shift+E"));

    const std::vector<Shown> appEntries = shownEntries(*application);
    ASSERT_GE(appEntries.size(), 3u);
    EXPECT_EQ(appEntries[0].text, QStringLiteral("About KelvraMeters"));
    EXPECT_EQ(appEntries[1].text, QString::fromUtf8("Auf Updates prüfen …"));
    EXPECT_EQ(appEntries[2].text, QString::fromUtf8("Feedback senden …"));
    EXPECT_EQ(appEntries[2].shortcut, QStringLiteral("Ctrl+?"));
    EXPECT_EQ(appEntries.back().text, QStringLiteral("Quit"));
}

TEST_F(AppShellTest, ContextMenusStartWithTheViewItemsThenTheMenuBarSubmenus)
{
    EXPECT_EQ(texts(shownEntries(shell.levelMeterMenu())),
              (std::vector<QString>{"Title Bar", "Show Scale", "Show Value", "Peak Hold", "Spectrum", "History",
                                    "LUFS Meter", "Lissajous", "-", "Reset Peaks", "-", "Settings...", "-", "Stay on Top", "-",
                                    "KelvraMeters >", "View >", "File >"}));
    EXPECT_EQ(texts(shownEntries(shell.numericalMeterMenu())),
              (std::vector<QString>{"Title Bar", "Show Title Bars", "Delivery Targets", "Spectrum", "-",
                                    "Reset Max Peaks", "-", "Start",
                                    "-", "Stay on Top", "-", "KelvraMeters >", "View >", "File >"}));
    const std::vector<QString> tray = texts(shownEntries(shell.trayMenu()));
    EXPECT_EQ(tray.front(), QStringLiteral("Show Level Meter"));
    EXPECT_EQ(tray.back(), QStringLiteral("Quit"));
}

TEST_F(AppShellTest, ShortcutsWorkInBothMeterWindows)
{
    for (QWidget *window : {static_cast<QWidget *>(&shell.levelMeterWindow()),
                            static_cast<QWidget *>(&shell.numericalMeterWindow())}) {
        QStringList shortcuts;
        for (const QAction *action : window->actions()) {
            EXPECT_EQ(action->shortcutContext(), Qt::WindowShortcut);
            shortcuts << action->shortcut().toString(QKeySequence::PortableText);
        }
        for (const char *expected : {"Ctrl+R", "Ctrl+W", "Ctrl+S", "Ctrl+V", "Ctrl+P", "Ctrl+F", "Ctrl+L",
                                     "Ctrl+Shift+I", "Ctrl+Shift+E", "Ctrl+?"})
            EXPECT_TRUE(shortcuts.contains(QString::fromLatin1(expected))) << expected;
    }
}

TEST_F(AppShellTest, TogglesWriteTheirSettingAndFollowChangesMadeElsewhere)
{
    QAction *scale = shell.actions().action(MenuCommand::toggleShowScale);
    ASSERT_TRUE(scale->isChecked());
    scale->trigger();
    EXPECT_FALSE(env.settings.showScale());

    env.settings.setShowLUFSMeter(true);
    EXPECT_TRUE(shell.actions().action(MenuCommand::toggleLufsMeter)->isChecked());

    shell.actions().action(MenuCommand::toggleTitleBar)->trigger();
    EXPECT_FALSE(env.settings.showWindowChrome());
    QTRY_VERIFY(!shell.levelMeterWindow().chrome().showsChrome());
    EXPECT_FALSE(shell.numericalMeterWindow().chrome().showsChrome());
}

TEST_F(AppShellTest, StayOnTopIsKeptPerWindow)
{
    shell.actions().stayOnTopAction(MeterWindowType::numericalMeter)->trigger();
    EXPECT_TRUE(shell.numericalMeterWindow().windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_FALSE(shell.levelMeterWindow().windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_EQ(env.store->readBool(QStringLiteral("KelvraMeters.stayOnTop.numericalMeter")), true);

    // A later run starts with it.
    KelvraApplication again(env.settings, options());
    EXPECT_TRUE(again.numericalMeterWindow().windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_FALSE(again.levelMeterWindow().windowFlags().testFlag(Qt::WindowStaysOnTopHint));
}

TEST_F(AppShellTest, FeedbackIsASignalAndTheUpdaterStartsLater)
{
    QSignalSpy feedback(&shell, &KelvraApplication::showFeedbackSheet);
    shell.actions().action(MenuCommand::sendFeedback)->trigger();
    EXPECT_EQ(feedback.count(), 1);

    shell.start();
    EXPECT_TRUE(shell.updater().isStartPending());
    EXPECT_FALSE(shell.updater().isStarted());
    EXPECT_EQ(UpdaterManager::startDelay, std::chrono::milliseconds(3000));
}

TEST_F(AppShellTest, ResetPeaksClearsTheHeldMaxima)
{
    MeterData &data = shell.engine().meterData();
    data.assign(MeterField::MaxPeakLeft, &MeterValues::maxPeakLeft, -3.0f);
    data.flush();
    shell.actions().action(MenuCommand::resetPeaks)->trigger();
    EXPECT_EQ(data.values().maxPeakLeft, -60.0f);
}

TEST_F(AppShellTest, TheLevelMeterRepaintsOnlyForFieldsItShows)
{
    env.settings.setShowSpectralMeter(false);
    env.settings.setShowLUFSMeter(false);
    LevelMeterWindow &level = shell.levelMeterWindow();
    EXPECT_EQ(level.drawnFields() & spectrumFields, 0u);
    EXPECT_EQ(level.drawnFields() & loudnessFields, 0u);
    EXPECT_NE(level.drawnFields() & bit(MeterField::PeakLevelLeft), 0u);
    env.settings.setShowSpectralMeter(true);
    EXPECT_EQ(level.drawnFields() & spectrumFields, spectrumFields);
}

TEST_F(AppShellTest, TheSettingsWindowOpensOnceAndComesToTheFront)
{
    shell.actions().action(MenuCommand::openSettings)->trigger();
    SettingsWindow *first = shell.settingsWindow();
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->isVisible());
    shell.openSettingsWindow();
    EXPECT_EQ(shell.settingsWindow(), first);
}

} // namespace

namespace {

TEST(SingleInstanceTest, ASecondStartHandsOverToTheFirst)
{
    widgetTestApp();
    const QString name = QStringLiteral("kelvra-test-%1").arg(QCoreApplication::applicationPid());
    SingleInstance first(name);
    ASSERT_TRUE(first.claim());
    QSignalSpy activations(&first, &SingleInstance::activationRequested);

    SingleInstance second(name);
    EXPECT_FALSE(second.claim());
    EXPECT_TRUE(activations.wait(2000));
}

TEST(SingleInstanceTest, AnEndedInstanceDoesNotBlockTheNextStart)
{
    widgetTestApp();
    const QString name = QStringLiteral("kelvra-stale-%1").arg(QCoreApplication::applicationPid());
    {
        SingleInstance ended(name);
        ASSERT_TRUE(ended.claim());
    }
    SingleInstance next(name);
    EXPECT_TRUE(next.claim());
}

} // namespace
