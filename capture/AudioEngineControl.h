#pragma once

#include "capture/AppSelection.h"
#include "capture/AudioPlatform.h"
#include "capture/AudioSources.h"
#include "capture/CaptureBackend.h"
#include "capture/SilenceWatch.h"
#include "engine/dsp/FileBlockReader.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

class AudioEngine;
class DefaultsStore;
class FileSourceCaptureImpl;

// The control side of the engine: permission, the input device list, choosing,
// starting, stopping and restarting the back-end for the selected source, reacting to
// device changes, wake-ups and a restarting audio server. It drives AudioEngine
// through the engine's control surface and holds it weakly: when the engine is gone,
// delayed work does nothing. Main thread only.
//
// A device is chosen and persisted by its key (InputDevice::key, PipeWire's node.name),
// shown by its name: the description, with " (2)", " (3)", ... for the second and later
// devices of one description. "None" and "System Default" are their own key and name.
class AudioEngineControl : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)
    Q_PROPERTY(bool hasPermission READ hasPermission NOTIFY hasPermissionChanged)
    Q_PROPERTY(QString selectedInputDevice READ selectedInputDevice WRITE setSelectedInputDevice NOTIFY
                   selectedInputDeviceChanged)
    Q_PROPERTY(QStringList availableInputDevices READ availableInputDevices NOTIFY availableInputDevicesChanged)
    Q_PROPERTY(QString activeProcessTapName READ activeProcessTapName NOTIFY activeProcessTapNameChanged)
    Q_PROPERTY(bool isAppAudioMode READ isAppAudioMode WRITE setAppAudioMode NOTIFY isAppAudioModeChanged)

public:
    static constexpr const char *noneDevice = "None";
    static constexpr const char *systemDefaultDevice = "System Default";
    static constexpr const char *selectedInputDeviceKey = "selectedInputDevice";
    static constexpr const char *processTapBundleIDKey = "processTapBundleID";
    // Shown while a tapped or chosen application has delivered only silence for a while.
    static constexpr const char *silenceWarning = "No audio received \u2014 the application is silent, paused or muted";
    // Restoring a saved process tap at launch: the first attempt after restoreInitialDelay,
    // then one every restoreRetryInterval while attempts are left.
    static constexpr int processTapRestoreAttempts = 15;
    static constexpr auto restoreInitialDelay = std::chrono::milliseconds(1500);
    static constexpr auto restoreRetryInterval = std::chrono::milliseconds(2000);
    // Playback streams come and go in bursts; lists follow 200 ms after the last change.
    static constexpr auto processListDebounce = std::chrono::milliseconds(200);

    static constexpr auto hardwareChangeDebounceInterval = std::chrono::milliseconds(500);
    static constexpr auto restartDelay = std::chrono::milliseconds(100);
    static constexpr auto hardwareRecheckDelay = std::chrono::milliseconds(100);
    static constexpr auto wakeRestartDelay = std::chrono::milliseconds(500);
    // After the audio server came back: how long to wait for the selected device to
    // reappear before falling back to "System Default".
    static constexpr auto deviceReturnTimeout = std::chrono::milliseconds(5000);

    // Reads the selection from `store` ("None" when absent). Nothing is captured until
    // startIfNeeded(). `store` must outlive this object.
    AudioEngineControl(AudioEngine &engine, AudioPlatform &platform, DefaultsStore &store, QObject *parent = nullptr);
    // Stops the running back-end.
    ~AudioEngineControl() override;

    // While no audio server can be reached, capture the built-in test signal instead
    // (the status line says why). Off by default.
    void setTestSignalWithoutServer(bool enabled) { testSignalWithoutServer_ = enabled; }

    // Begins capture unless it runs or a restart is under way: restores a saved process
    // tap, else application audio when it was on, else the selected input.
    void startIfNeeded();
    void checkPermissionAndStart();
    // Chooses and starts the back-end for selectedInputDevice().
    void startEngine();
    // Stops and drops the running back-end.
    void stopEngine();
    // Stops at once and starts again restartDelay later; ignored while a restart is pending.
    void restartEngine();

    // Publishes availableInputDevices (always emitting), and switches a selection that is
    // no longer listed to "System Default".
    void updateAvailableDevices();
    // The device with this key on the platform's list right now; "System Default" has none.
    std::optional<std::uint32_t> getDeviceID(const QString &key) const;
    // The key of what `nameOrKey` names among availableInputDevices: a key, else a name
    // shown there (with its " (2)"); nullopt when nothing listed is called that.
    std::optional<QString> inputDeviceKey(const QString &nameOrKey) const;
    // The text shown for `key`: its name while listed, else the last description seen for
    // it in this run, else the key itself.
    QString displayName(const QString &key) const;
    // Whether the device still exists (answered within 0.5 s, else gone).
    bool isDeviceValid(std::uint32_t id);
    // Debounces device-list changes: one update hardwareChangeDebounceInterval after the last.
    void scheduleHardwareUpdate();
    int currentDefaultOutputChannelCount() const { return platform_.defaultOutputChannelCount(); }

    bool isRunning() const { return isRunning_; }
    bool hasPermission() const { return hasPermission_; }
    // The key of the chosen source (displayName() tells what to show).
    QString selectedInputDevice() const { return selectedInputDevice_; }
    // Persists the choice and restarts capture for it (unless a restart is changing it).
    // `device` is a key or a listed name; a text naming nothing listed is kept as a key
    // (a device not plugged in right now).
    void setSelectedInputDevice(const QString &device);
    // "None", "System Default", then every capturable device's name in the system's order.
    QStringList availableInputDevices() const { return availableInputDevices_; }
    bool isRestartingEngine() const { return isRestartingEngine_; }
    // The back-end the engine reads, or nullptr.
    const CaptureBackend *activeCaptureBackend() const { return currentBackend(); }

    // --- process tap ---

    // Shortens the restore timing (tests); the defaults are the constants above.
    void setProcessTapRestoreTiming(std::chrono::milliseconds initialDelay, std::chrono::milliseconds retryInterval);
    // A saved "processTapBundleID": say so, and look for that application shortly.
    void restoreProcessTapIfNeeded();
    // One look for the saved application; retried while attempts are left.
    void attemptProcessTapRestore(const QString &bundleID, int attemptsLeft);
    // Taps `process` in place of the input (the selection shows "None").
    void startProcessTapCapture(const AudioProcessInfo &process);
    // Stops the tap and forgets it, so the next launch restores nothing.
    void stopProcessTapCapture();
    // Publishes the processes that play audio: active ones first, then by name.
    void refreshAudioProcesses();
    // Sets the mixdown gain so that the reference playing now reads expectedPeakDb;
    // returns the text to show.
    QString calibrateProcessTapMixdown(double expectedPeakDb);
    const std::vector<AudioProcessInfo> &availableAudioProcesses() const { return availableAudioProcesses_; }
    // The tapped process's name, or a progress line while a restore waits; empty otherwise.
    QString activeProcessTapName() const { return activeProcessTapName_; }
    std::optional<QString> processTapBundleID() const { return processTapBundleID_; }
    bool isProcessTapRunning() const;
    ProcessTapDiagnostics processTapDiagnostics() const;

    // --- application audio ---

    bool isAppAudioMode() const { return isAppAudioMode_; }
    // Switches application audio on or off and saves the choice.
    void setAppAudioMode(bool enabled);
    QSet<QString> selectedApps() const { return selectedApps_; }
    // Saves the choice and, while the mode is on, captures the new set.
    void setSelectedApps(const QSet<QString> &bundleIDs);
    void enableAppAudioMode();
    void disableAppAudioMode();
    void restartAppAudioCapture();
    // Refreshes the running and the installed applications.
    void refreshApps();
    bool isChangingAppAudioMode() const { return isChangingAppAudioMode_; }
    const std::vector<CapturedApp> &runningAppsForCapture() const { return runningAppsForCapture_; }
    const std::vector<CapturedApp> &applicationDirApps() const { return applicationDirApps_; }

    // --- file source ---

    // Meters the audio file at `path` in place of any other source, `pace` times faster
    // than it would play (1 = real time). Nothing is persisted: the stored input choice
    // stays for the next start. False, with the reason in the status line, when the file
    // cannot be read; the running source then goes on.
    bool startFileSource(const QString &path, AtFileEnd atEnd, double pace = 1.0);
    // Ends the file source and goes back to the stored input choice.
    void stopFileSource();
    bool isFileSourceRunning() const;
    // The file source while it is the source (also after its end), else nullptr.
    const FileSourceCaptureImpl *fileSource() const;

signals:
    void isRunningChanged(bool running);
    void hasPermissionChanged(bool granted);
    void selectedInputDeviceChanged(const QString &device);
    // Emitted on every publication of the list, changed or not.
    void availableInputDevicesChanged(const QStringList &devices);
    void availableAudioProcessesChanged();
    void activeProcessTapNameChanged(const QString &name);
    void processTapBundleIDChanged();
    void isAppAudioModeChanged(bool enabled);
    void selectedAppsChanged();
    // runningAppsForCapture or applicationDirApps changed.
    void appListsChanged();
    // A file source started or was ended (fileSource() tells which).
    void fileSourceChanged();
    // The file source's position moved; at most every 50 ms.
    void fileSourcePositionChanged();
    // The file source delivered its last block (AtFileEnd::stop); the meters still show it.
    void fileSourceEnded();

private:
    // The platform's devices with their names made unique and their keys filled in.
    std::vector<InputDevice> listInputDevices() const;
    // Whether `key` is "None", "System Default" or a published device.
    bool isListed(const QString &key) const;
    // A selection stored as a name (settings from before keys) becomes the key of the
    // first of `devices` shown under that name, persisted at once.
    void adoptKeyOfNamedSelection(const std::vector<InputDevice> &devices);
    void startEngineWithDefaultInput();
    void startEngineWithDevice(std::uint32_t id);
    // Makes `backend` the engine's source with a fresh loudness measurement.
    void activate(std::unique_ptr<CaptureBackend> backend);
    // Points the engine at `backend` with a fresh loudness measurement and marks capture running.
    void feedEngineFrom(CaptureBackend &backend);
    // Application audio while it runs, else the device or tap back-end, or nullptr.
    CaptureBackend *currentBackend() const;
    void attachLoudnessMeter(CaptureBackend &backend);
    // Changes the selection without persisting it or restarting (the guard is held).
    void selectWhileRestarting(const QString &device);
    void fallBackToDefaultInput();
    void reportServerUnreachable();
    bool offersTestSignal() const;
    void publishDeviceList();
    void runHardwareUpdate();
    void resumeCapture();

    void handleAccessChanged();
    void handleServerLost(const QString &reason);
    void handleDevicesChanged();
    void handleBackendConfigurationChanged();
    void handleBackendFailed(const QString &reason);
    void watchSilence(const AudioLevels &levels, double now);

    void applyProcessTapSettings();
    void setActiveProcessTapName(const QString &name);
    void setProcessTapBundleID(const std::optional<QString> &bundleID);
    void stopAppAudioBackend();
    // Ends application audio (a tap or a file takes over as the source), saving its selection.
    void leaveAppAudioMode();
    void saveAppSelection();
    void showAppWaitingStatus(int linkedStreams);
    QString selectedAppNames() const;
    void handleFileSourceEnded();
    void refreshProcessLists();

    void setErrorMessage(const QString &message);
    void setIsRunning(bool running);
    void setHasPermission(bool granted);

    QPointer<AudioEngine> engine_;               // the engine driven; may go away first
    AudioPlatform &platform_;                    // device list, access, back-end factory
    DefaultsStore &store_;                       // where the selection is persisted

    bool isRunning_ = false;                     // a back-end is capturing
    bool hasPermission_ = false;                 // the audio server accepted this client
    QString selectedInputDevice_;                // the chosen source's key
    QStringList availableInputDevices_;          // names of the input picker's choices
    std::vector<InputDevice> listedDevices_;     // the published devices: unique name, key
    QHash<QString, QString> seenDescriptions_;   // key -> last description seen this run
    bool isRestartingEngine_ = false;            // guard for restarts and internal selection changes
    std::unique_ptr<CaptureBackend> backend_;    // the running back-end, or none
    std::uint64_t backendSerial_ = 0;            // counts activated back-ends

    bool testSignalWithoutServer_ = false;       // offer the test signal while there is no server
    bool awaitingAccess_ = false;                // start once the server answers
    bool resumeAfterReconnect_ = false;          // capture ran when the server went away
    bool serverLost_ = false;                    // between losing the server and getting it back
    QTimer hardwareChangeTimer_;                 // single shot: the pending debounced update
    QTimer deviceReturnTimer_;                   // single shot: give up waiting for the device
    SilenceWatch silenceWatch_;                  // silence run of the active back-end

    std::vector<AudioProcessInfo> availableAudioProcesses_; // choices of the process picker
    QString activeProcessTapName_;               // tapped process, or restore progress
    std::optional<QString> processTapBundleID_;  // identifier of the tapped process; persisted
    AudioProcessInfo tappedProcess_;             // the process of the running tap
    std::chrono::milliseconds restoreDelay_ = restoreInitialDelay;   // first restore attempt
    std::chrono::milliseconds restoreInterval_ = restoreRetryInterval; // between attempts
    QTimer processListTimer_;                    // single shot: debounced list refresh

    std::unique_ptr<CaptureBackend> appBackend_; // application audio while it runs
    bool isAppAudioMode_ = false;                // application audio chosen; persisted
    QSet<QString> selectedApps_;                 // applications chosen; persisted
    bool isChangingAppAudioMode_ = false;        // guard while the mode is switched internally
    std::vector<CapturedApp> runningAppsForCapture_; // applications playing now
    std::vector<CapturedApp> applicationDirApps_;    // installed applications
};
