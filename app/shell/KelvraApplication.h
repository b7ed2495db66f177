#pragma once

#include "app/shell/AppActions.h"
#include "app/services/UpdaterManager.h"
#include "app/windows/WindowStyleManager.h"
#include "capture/AudioPlatform.h"
#include "engine/AudioEngine.h"
#include "engine/LoudnessLog.h"
#include "engine/dsp/FileBlockReader.h"

#include <QObject>
#include <QPointer>

#include <memory>

class AppSettings;
class AudioEngineControl;
class FeedbackSheet;
class GradientEditor;
class LevelMeterWindow;
class MeterWindow;
class NumericalMeterWindow;
class QMenu;
class QSystemTrayIcon;
class SettingsWindow;

// The application object: owns the engine, its capture control, the window style
// manager, both meter windows with their menus, the tray icon and the editor windows,
// for the whole run. Closing every window leaves it running; the tray icon or a
// second start brings the first window back.
class KelvraApplication final : public QObject {
    Q_OBJECT

public:
    struct Options {
        AudioEngine::TickSource tickSource = AudioEngine::TickSource::displayLink;
        // The audio system to capture from; none runs without capture (tests).
        std::unique_ptr<AudioPlatform> platform;
        bool trayIcon = true; // when the desktop has a tray
        // The windows start() shows; with neither the program starts in the tray.
        bool showLevelMeter = true;
        bool showNumericalMeter = true;
        // The update feed and the version it is compared with; no feed: no checks.
        UpdaterManager::Config updater = UpdaterManager::configured();
        // An audio file start() meters in place of the chosen source (not remembered).
        QString sourceFile;
        AtFileEnd sourceFileEnd = AtFileEnd::loop;
    };

    KelvraApplication(AppSettings &settings, Options options);
    ~KelvraApplication() override;

    // Shows the chosen meter windows, starts capture and schedules the update check.
    void start();
    // Shows the first window if none is visible and brings the application forward.
    void showFirstWindow();
    void openSettingsWindow();
    void openGradientEditor();
    // Opens the feedback sheet, or raises the one already open.
    void openFeedbackSheet();
    // Hides the windows (saving pending frames) and ends the event loop.
    void quit();

    AppSettings &settings() { return settings_; }
    AudioEngine &engine() { return *engine_; }
    AudioEngineControl *engineControl() { return control_.get(); }
    WindowStyleManager &windowStyleManager() { return styleManager_; }
    AppActions &actions() { return actions_; }
    LoudnessLog &loudnessLog() { return loudnessLog_; }
    UpdaterManager &updater() { return updater_; }
    LevelMeterWindow &levelMeterWindow() { return *levelWindow_; }
    NumericalMeterWindow &numericalMeterWindow() { return *numericalWindow_; }
    QMenu &levelMeterMenu() { return *levelMenu_; }
    QMenu &numericalMeterMenu() { return *numericalMenu_; }
    QMenu &trayMenu() { return *trayMenu_; }
    SettingsWindow *settingsWindow() const;
    GradientEditor *gradientEditor() const;
    FeedbackSheet *feedbackSheet() const;

signals:
    // "Feedback senden …": the feedback sheet opens on this.
    void showFeedbackSheet();

private:
    void runCommand(MenuCommand command);
    void runExchange(MenuCommand command);
    void applyChrome();
    void showWindow(MeterWindow &window);
    void levelMeterFirstShown();
    void updateStartStopText();
    void createTrayIcon();
    void showAbout();
    // The level meter asks for a source while none was ever chosen.
    void updateSourcePrompt();
    void openInputSettings();
    // The display tick runs only while a meter window is on screen.
    void updateDisplayActive();
    // "Start Logging…" asks for a file; "Stop Logging" ends the log.
    void toggleLogging();
    // File > Export Loudness Report…: picture and figures of the current measurement.
    void exportLoudnessReport();
    void updateLoggingState();
    QString currentSourceName() const;
    bool eventFilter(QObject *watched, QEvent *event) override;

    AppSettings &settings_;                          // every user choice
    std::unique_ptr<AudioEngine> engine_;            // the display tick and meter data
    LoudnessLog loudnessLog_;                        // the CSV log of the published loudness
    std::unique_ptr<AudioPlatform> platform_;        // the audio system, or none
    std::unique_ptr<AudioEngineControl> control_;    // capture start/stop, or none without a platform
    WindowStyleManager styleManager_;                // registration and saved frames
    AppActions actions_;                             // every menu command
    UpdaterManager updater_;                         // started a few seconds after launch
    std::unique_ptr<LevelMeterWindow> levelWindow_;  // the first window
    std::unique_ptr<NumericalMeterWindow> numericalWindow_;
    std::unique_ptr<QMenu> levelMenu_;               // context menu of the level meter
    std::unique_ptr<QMenu> numericalMenu_;           // context menu of the numerical meter
    std::unique_ptr<QMenu> trayMenu_;                // the tray icon's menu
    QSystemTrayIcon *trayIcon_ = nullptr;            // child of this; none without a tray
    QPointer<SettingsWindow> settingsWindow_;        // created when first opened
    QPointer<GradientEditor> gradientEditor_;        // created when first opened
    QPointer<FeedbackSheet> feedbackSheet_;          // while open; deleted on close
    bool wantsTrayIcon_ = true;                      // create one when the desktop has a tray
    bool showLevelMeterAtStart_ = true;              // start() shows the level meter
    bool showNumericalMeterAtStart_ = true;          // start() shows the numerical meter
    QString sourceFileAtStart_;                      // start() meters this file, if any
    AtFileEnd sourceFileEnd_ = AtFileEnd::loop;      // and loops it or stops at its end
};
