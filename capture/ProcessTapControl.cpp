// AudioEngineControl: the process tap (choosing, starting, stopping, restoring at
// launch, the mixdown gain and its calibration).

#include "capture/AudioEngineControl.h"

#include "engine/AudioEngine.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"

#include <algorithm>
#include <utility>

namespace {

// "org.mozilla.firefox" -> "firefox": what status lines call the application.
QString shortName(const QString &bundleID) { return bundleID.section(QLatin1Char('.'), -1); }

} // namespace

void AudioEngineControl::setProcessTapRestoreTiming(std::chrono::milliseconds initialDelay,
                                                    std::chrono::milliseconds retryInterval)
{
    restoreDelay_ = initialDelay;
    restoreInterval_ = retryInterval;
}

bool AudioEngineControl::isProcessTapRunning() const
{
    return backend_ && backend_->kind() == CaptureBackend::Kind::processTap;
}

ProcessTapDiagnostics AudioEngineControl::processTapDiagnostics() const
{
    return isProcessTapRunning() ? backend_->readDiagnostics() : ProcessTapDiagnostics{};
}

void AudioEngineControl::restoreProcessTapIfNeeded()
{
    const QString bundleID = store_.readString(QString::fromLatin1(processTapBundleIDKey)).value_or(QString());
    if (bundleID.isEmpty()) return;
    setErrorMessage(QStringLiteral("Connecting to %1...").arg(shortName(bundleID)));
    QTimer::singleShot(restoreDelay_, this, [this, bundleID] {
        if (engine_) attemptProcessTapRestore(bundleID, processTapRestoreAttempts);
    });
}

void AudioEngineControl::attemptProcessTapRestore(const QString &bundleID, int attemptsLeft)
{
    if (isRunning_) return;
    if (store_.readString(QString::fromLatin1(processTapBundleIDKey)).value_or(QString()) != bundleID) return;

    refreshAudioProcesses();
    const auto found = std::find_if(availableAudioProcesses_.begin(), availableAudioProcesses_.end(),
                                    [&](const AudioProcessInfo &p) { return p.bundleID == bundleID; });
    if (found != availableAudioProcesses_.end()) {
        startProcessTapCapture(*found);
        return;
    }
    if (attemptsLeft < 1) {
        setErrorMessage(QStringLiteral("Process Tap: %1 not found").arg(shortName(bundleID)));
        return;
    }
    setErrorMessage(QStringLiteral("Waiting for %1... (%2)").arg(shortName(bundleID)).arg(attemptsLeft));
    QTimer::singleShot(restoreInterval_, this, [this, bundleID, attemptsLeft] {
        if (engine_) attemptProcessTapRestore(bundleID, attemptsLeft - 1);
    });
}

void AudioEngineControl::leaveAppAudioMode()
{
    if (!isAppAudioMode_) return;
    const bool wasChanging = std::exchange(isChangingAppAudioMode_, true);
    stopAppAudioBackend();
    isAppAudioMode_ = false;
    saveAppSelection();
    emit isAppAudioModeChanged(false);
    isChangingAppAudioMode_ = wasChanging;
}

void AudioEngineControl::startProcessTapCapture(const AudioProcessInfo &process)
{
    if (!engine_) return;
    leaveAppAudioMode(); // a tap replaces application audio as the source
    // The input path goes idle; the stored choice stays for when the tap is stopped.
    selectWhileRestarting(QString::fromLatin1(noneDevice));

    AppSettings &settings = engine_->settings();
    const bool deterministic = settings.processTapDeterministic();
    // The new tap's node is made while the previous one still exists, so it does not
    // take over registry ids freed a moment ago (see LinkedCaptureBackend::relinkDelay).
    AudioPlatform::StartResult result = platform_.startProcessTap(process, deterministic);
    stopEngine();
    if (!result.backend) {
        setErrorMessage(QStringLiteral("Process Tap failed: ") + result.error);
        return;
    }

    float gain = 1.0f;
    if (!deterministic) {
        if (settings.processTapMixdownAuto()) {
            gain = automaticMixdownGain(platform_.defaultOutputChannelCount());
            settings.setProcessTapMixdownGain(gain);
        } else {
            gain = static_cast<float>(settings.processTapMixdownGain());
        }
    }
    result.backend->setMixdownGain(gain);
    activate(std::move(result.backend));
    tappedProcess_ = process;
    setActiveProcessTapName(process.name);
    setProcessTapBundleID(process.bundleID);
}

void AudioEngineControl::stopProcessTapCapture()
{
    if (isProcessTapRunning()) stopEngine();
    setActiveProcessTapName({});
    setProcessTapBundleID(std::nullopt);
}

void AudioEngineControl::refreshAudioProcesses()
{
    std::vector<AudioProcessInfo> processes = platform_.audioProcesses();
    std::stable_sort(processes.begin(), processes.end(), [](const AudioProcessInfo &a, const AudioProcessInfo &b) {
        if (a.isAudioActive != b.isAudioActive) return a.isAudioActive;
        return a.name < b.name; // plain code-point order
    });
    if (processes == availableAudioProcesses_) return;
    availableAudioProcesses_ = std::move(processes);
    emit availableAudioProcessesChanged();
}

QString AudioEngineControl::calibrateProcessTapMixdown(double expectedPeakDb)
{
    if (!isProcessTapRunning()) return QStringLiteral("Failed: start App (ProcessTap) capture first.");
    const ProcessTapDiagnostics diagnostics = backend_->readDiagnostics();
    const float peak = std::max(diagnostics.rawPeakL, diagnostics.rawPeakR);
    const MixdownCalibration calibration =
        calibrateMixdownGain(peak, static_cast<float>(expectedPeakDb), backend_->mixdownGain());
    if (calibration.succeeded) {
        backend_->setMixdownGain(calibration.gain);
        if (engine_) engine_->settings().setProcessTapMixdownGain(calibration.gain);
    }
    return QString::fromStdString(calibration.message);
}

void AudioEngineControl::applyProcessTapSettings()
{
    if (!engine_ || !isProcessTapRunning()) return;
    const AppSettings &settings = engine_->settings();
    const bool deterministic = backend_->readDiagnostics().deterministic;
    if (settings.processTapDeterministic() != deterministic) {
        // The other mode needs other links: tap the same process again.
        QTimer::singleShot(0, this, [this, process = tappedProcess_] {
            if (engine_ && isProcessTapRunning()) startProcessTapCapture(process);
        });
        return;
    }
    if (!deterministic && !settings.processTapMixdownAuto())
        backend_->setMixdownGain(static_cast<float>(settings.processTapMixdownGain()));
}

void AudioEngineControl::setActiveProcessTapName(const QString &name)
{
    if (name == activeProcessTapName_) return;
    activeProcessTapName_ = name;
    emit activeProcessTapNameChanged(name);
}

void AudioEngineControl::setProcessTapBundleID(const std::optional<QString> &bundleID)
{
    if (bundleID == processTapBundleID_) return;
    processTapBundleID_ = bundleID;
    const QString key = QString::fromLatin1(processTapBundleIDKey);
    if (bundleID) {
        store_.writeString(key, *bundleID);
    } else {
        store_.remove(key);
    }
    emit processTapBundleIDChanged();
}

void AudioEngineControl::refreshProcessLists()
{
    refreshAudioProcesses();
    const std::vector<CapturedApp> running = platform_.runningApps();
    if (running != runningAppsForCapture_) {
        runningAppsForCapture_ = running;
        emit appListsChanged();
    }
}
