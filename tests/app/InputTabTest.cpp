// The Input tab driven through its widgets against a fake audio system: the input
// device, one application's tap with its mixdown settings, and chosen applications.

#include "app/settingswindow/SettingsWindow.h"
#include "app/settingswindow/TestTonePanel.h"
#include "capture/AudioEngineControl.h"
#include "engine/AudioEngine.h"
#include "tests/app/WidgetTestSupport.h"
#include "tests/capture/FakeAudioPlatform.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFile>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <optional>
#include <utility>
#include <vector>

namespace {

// Points the desktop-entry lookup at a private folder for the life of the object, so
// the installed applications are the test's and not the machine's.
class PrivateDataDirs {
public:
    PrivateDataDirs()
    {
        for (const char *name : {"XDG_DATA_HOME", "XDG_DATA_DIRS"}) {
            saved_.push_back({name, qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt});
            qputenv(name, dir_.path().toLocal8Bit());
        }
        QDir(dir_.path()).mkpath(QStringLiteral("applications"));
    }
    ~PrivateDataDirs()
    {
        for (const auto &[name, value] : saved_) {
            if (value)
                qputenv(name, *value);
            else
                qunsetenv(name);
        }
    }
    PrivateDataDirs(const PrivateDataDirs &) = delete;
    PrivateDataDirs &operator=(const PrivateDataDirs &) = delete;

    void install(const QString &file, const QString &name, const QString &exec)
    {
        QFile entry(dir_.filePath(QStringLiteral("applications/") + file));
        ASSERT_TRUE(entry.open(QIODevice::WriteOnly));
        entry.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\n").arg(name, exec).toUtf8());
    }

private:
    QTemporaryDir dir_;
    std::vector<std::pair<const char *, std::optional<QByteArray>>> saved_;
};

class InputTabTest : public ::testing::Test {
protected:
    InputTabTest()
        : engine(env.settings, AudioEngine::TickSource::external), control(engine, platform, *env.store),
          window(env.settings, engine, &control)
    {
    }

    template <typename T> T *widget(const char *name)
    {
        T *found = window.findChild<T *>(QString::fromLatin1(name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }

    // Shows the settings window on its Input tab, as a user opening it there would.
    void showInputTab()
    {
        window.tabs()->setCurrentIndex(window.tabs()->count() - 1);
        ASSERT_EQ(window.tabs()->tabText(window.tabs()->currentIndex()), QStringLiteral("Input"));
        window.show();
        QCoreApplication::processEvents();
    }

    static QStringList itemTexts(const QComboBox *box)
    {
        QStringList texts;
        for (int i = 0; i < box->count(); ++i) texts << box->itemText(i);
        return texts;
    }

    static QStringList itemTexts(const QListWidget *list)
    {
        QStringList texts;
        for (int row = 0; row < list->count(); ++row) texts << list->item(row)->text();
        return texts;
    }

    TestSettings env;
    AudioEngine engine;
    FakeAudioPlatform platform;
    AudioEngineControl control;
    SettingsWindow window;
};

TEST_F(InputTabTest, OffersTheDevicesAndDrivesTheCapture)
{
    platform.devices = {{7, QStringLiteral("USB Interface")}, {9, QStringLiteral("Monitor of Speakers")}};
    control.checkPermissionAndStart(); // "None" is chosen: nothing starts yet
    control.updateAvailableDevices();

    auto *source = widget<QComboBox>("inputSource");
    EXPECT_EQ(itemTexts(source), (QStringList{"None", "System Default", "USB Interface", "Monitor of Speakers"}));
    EXPECT_EQ(source->currentText(), QStringLiteral("None"));

    source->setCurrentIndex(3);
    emit source->activated(3);
    EXPECT_EQ(control.selectedInputDevice(), QStringLiteral("Monitor of Speakers"));
    EXPECT_EQ(env.store->readString(QStringLiteral("selectedInputDevice")), QStringLiteral("Monitor of Speakers"));

    auto *startStop = widget<QPushButton>("startStop");
    // Choosing a source restarts capture on it a moment later.
    ASSERT_TRUE(QTest::qWaitFor([&] { return control.isRunning(); }, 2000));
    EXPECT_EQ(platform.deviceStarts, (std::vector<std::uint32_t>{9}));
    EXPECT_EQ(startStop->text(), QStringLiteral("Stop"));
    startStop->click();
    EXPECT_FALSE(control.isRunning());
    EXPECT_EQ(startStop->text(), QStringLiteral("Start"));

    widget<QCheckBox>("testSignal")->click();
    EXPECT_TRUE(engine.testSignalEnabled());

    engine.setErrorMessage(QStringLiteral("Failed to start audio engine: no server"));
    EXPECT_EQ(widget<QLabel>("inputStatus")->text(), QStringLiteral("Failed to start audio engine: no server"));
}

// Two microphones of one model: the second is numbered, chosen by its node name, and
// still shown as the choice while the server restarts without it.
TEST_F(InputTabTest, IdenticalDevicesAreNumberedAndTheChoiceIsStoredByKey)
{
    platform.devices = {{7, QStringLiteral("USB Mic"), QStringLiteral("usb-mic-a")},
                        {8, QStringLiteral("USB Mic"), QStringLiteral("usb-mic-b")}};
    control.checkPermissionAndStart();
    control.updateAvailableDevices();
    auto *source = widget<QComboBox>("inputSource");
    EXPECT_EQ(itemTexts(source), (QStringList{"None", "System Default", "USB Mic", "USB Mic (2)"}));

    source->setCurrentIndex(3);
    emit source->activated(3);
    EXPECT_EQ(env.store->readString(QStringLiteral("selectedInputDevice")), QStringLiteral("usb-mic-b"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return control.isRunning(); }, 2000));
    EXPECT_EQ(platform.deviceStarts, (std::vector<std::uint32_t>{8}));
    EXPECT_EQ(source->currentText(), QStringLiteral("USB Mic (2)"));

    platform.loseServer();
    platform.setAccess(AudioPlatform::Access::granted);
    EXPECT_EQ(itemTexts(source), (QStringList{"None", "System Default", "USB Mic"}));
    EXPECT_EQ(source->currentIndex(), 2);
    // Picking the absent device again keeps its key; it does not become its description.
    emit source->activated(2);
    EXPECT_EQ(env.store->readString(QStringLiteral("selectedInputDevice")), QStringLiteral("usb-mic-b"));
}

TEST_F(InputTabTest, ProcessPickerListsPlayingFirstKeepsTheChoiceAndTapsIt)
{
    platform.processes = {{11, QStringLiteral("Notifier"), QStringLiteral("notifier"), false},
                          {22, QStringLiteral("Radio"), QStringLiteral("radio"), true},
                          {33, QStringLiteral("Browser"), QStringLiteral("org.example.Browser"), true}};
    control.refreshAudioProcesses();
    auto *picker = widget<QComboBox>("tapProcess");
    EXPECT_EQ(itemTexts(picker),
              (QStringList{"Browser \u2014 playing", "Radio \u2014 playing", "Notifier (idle)"}));

    picker->setCurrentIndex(1);
    // A new player sorts in before the choice; the choice stays on Radio.
    platform.processes.push_back({44, QStringLiteral("Audiobook"), QStringLiteral("audiobook"), true});
    control.refreshAudioProcesses();
    ASSERT_EQ(picker->count(), 4);
    EXPECT_EQ(picker->currentText(), QStringLiteral("Radio \u2014 playing"));

    showInputTab();
    auto *startStop = widget<QPushButton>("tapStartStop");
    auto *diagnostics = widget<QLabel>("tapDiagnostics");
    EXPECT_EQ(startStop->text(), QStringLiteral("Start tap"));
    startStop->click();
    ASSERT_EQ(platform.tapStarts.size(), 1u);
    EXPECT_EQ(platform.tapStarts.front().objectID, 22u);
    EXPECT_TRUE(control.isProcessTapRunning());
    EXPECT_EQ(widget<QLabel>("tapName")->text(), QStringLiteral("Tapping Radio"));
    EXPECT_EQ(startStop->text(), QStringLiteral("Stop tap"));
    EXPECT_EQ(diagnostics->text().count(QLatin1Char('\n')), 2) << diagnostics->text().toStdString();
    EXPECT_TRUE(diagnostics->text().endsWith(QStringLiteral("dBFS")));

    startStop->click();
    EXPECT_FALSE(control.isProcessTapRunning());
    EXPECT_EQ(startStop->text(), QStringLiteral("Start tap"));
    EXPECT_EQ(widget<QLabel>("tapName")->text(), QStringLiteral("Not tapping"));
    EXPECT_FALSE(diagnostics->text().contains(QStringLiteral("dBFS")));
}

TEST_F(InputTabTest, MixdownControlsWriteTheirSettingsAndFollowChangesElsewhere)
{
    auto *deterministic = widget<QCheckBox>("tapDeterministic");
    auto *automatic = widget<QCheckBox>("tapMixdownAuto");
    auto *gain = widget<QDoubleSpinBox>("tapMixdownGain");
    ASSERT_FALSE(env.settings.processTapDeterministic());
    ASSERT_TRUE(env.settings.processTapMixdownAuto());
    EXPECT_FALSE(gain->isEnabled()); // automatic: the gain is not the user's to set

    deterministic->click();
    EXPECT_TRUE(env.settings.processTapDeterministic());
    EXPECT_FALSE(automatic->isEnabled()); // no mixdown, no gain

    QSignalSpy changes(&env.settings, &AppSettings::changed);
    env.settings.setProcessTapDeterministic(false);
    env.settings.setProcessTapMixdownAuto(false);
    env.settings.setProcessTapMixdownGain(4.5);
    EXPECT_EQ(changes.count(), 3); // the controls followed without writing back
    EXPECT_FALSE(deterministic->isChecked());
    EXPECT_FALSE(automatic->isChecked());
    EXPECT_TRUE(gain->isEnabled());
    EXPECT_DOUBLE_EQ(gain->value(), 4.5);

    gain->setValue(6.25);
    EXPECT_DOUBLE_EQ(env.settings.processTapMixdownGain(), 6.25);
}

TEST_F(InputTabTest, CheckedApplicationsBecomeTheSelectionThatApplicationAudioCaptures)
{
    PrivateDataDirs dataDirs;
    dataDirs.install(QStringLiteral("radio.desktop"), QStringLiteral("Radio"), QStringLiteral("/usr/bin/radio %U"));
    dataDirs.install(QStringLiteral("editor.desktop"), QStringLiteral("Sound Editor"), QStringLiteral("editor"));
    platform.apps = {{QStringLiteral("radio"), QStringLiteral("Radio")}, {QStringLiteral("player"), QStringLiteral("Player")}};

    auto *list = widget<QListWidget>("appList");
    EXPECT_EQ(list->count(), 0); // installed applications are looked up only when the page is seen
    showInputTab();
    // Playing ones first; the installed Radio is the one already listed as playing.
    EXPECT_EQ(itemTexts(list), (QStringList{"Radio \u2014 playing", "Player \u2014 playing", "Sound Editor"}));

    list->item(0)->setCheckState(Qt::Checked);
    list->item(2)->setCheckState(Qt::Checked);
    EXPECT_EQ(control.selectedApps(), (QSet<QString>{"radio", "editor"}));

    auto *mode = widget<QCheckBox>("appAudioMode");
    mode->click();
    EXPECT_TRUE(control.isAppAudioMode());
    ASSERT_FALSE(platform.appAudioStarts.empty());
    EXPECT_EQ(platform.appAudioStarts.back(), (QSet<QString>{"radio", "editor"}));

    // Changes made elsewhere show here.
    control.setAppAudioMode(false);
    EXPECT_FALSE(mode->isChecked());
    control.setSelectedApps({QStringLiteral("player")});
    EXPECT_EQ(list->item(0)->checkState(), Qt::Unchecked);
    EXPECT_EQ(list->item(1)->checkState(), Qt::Checked);
}

// Exporting runs off the main thread and reports in the result line; a second export
// into the same folder replaces the files, a folder that cannot be written says why.
TEST_F(InputTabTest, ExportsTheTestTonesAndReportsTheResult)
{
    showInputTab();
    auto *panel = window.findChild<TestTonePanel *>();
    ASSERT_NE(panel, nullptr);
    auto *button = widget<QPushButton>("exportTestTones");
    QTemporaryDir folder;
    QSignalSpy finished(panel, &TestTonePanel::exportFinished);
    for (int round = 0; round < 2; ++round) {
        panel->exportTestTonesTo(folder.path());
        EXPECT_FALSE(button->isEnabled()) << "one export at a time";
        ASSERT_TRUE(finished.wait(20000));
        EXPECT_TRUE(finished.takeLast().at(0).toBool());
        EXPECT_TRUE(button->isEnabled());
        EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 6);
    }
    EXPECT_TRUE(panel->resultText().startsWith(QStringLiteral("Wrote 5 tone files and KelvraMeters_TestTones_README.txt")))
        << panel->resultText().toStdString();

    panel->exportTestTonesTo(folder.filePath(QStringLiteral("missing/deeper")));
    ASSERT_TRUE(finished.wait(20000));
    EXPECT_FALSE(finished.takeLast().at(0).toBool());
    EXPECT_TRUE(panel->resultText().startsWith(QStringLiteral("Export failed: Could not create "))) << panel->resultText().toStdString();
}

TEST(InputTabWithoutAudioTest, ApplicationGroupsAreDisabled)
{
    TestSettings env;
    AudioEngine engine(env.settings, AudioEngine::TickSource::external);
    SettingsWindow window(env.settings, engine, nullptr);
    for (const char *name : {"tapProcess", "tapStartStop", "tapDeterministic", "appAudioMode", "appList"}) {
        auto *widget = window.findChild<QWidget *>(QString::fromLatin1(name));
        ASSERT_NE(widget, nullptr) << name;
        EXPECT_FALSE(widget->isEnabledTo(&window)) << name;
    }
}

} // namespace
