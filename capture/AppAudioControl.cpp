// AudioEngineControl: application audio (the mode, the chosen applications, the lists
// to choose from, and waiting while none of them plays).

#include "capture/AudioEngineControl.h"

#include "capture/DesktopApplications.h"
#include "engine/AudioEngine.h"
#include "settings/DefaultsStore.h"

#include <algorithm>
#include <utility>

void AudioEngineControl::setAppAudioMode(bool enabled)
{
    if (enabled == isAppAudioMode_) return;
    isAppAudioMode_ = enabled;
    emit isAppAudioModeChanged(enabled);
    if (isChangingAppAudioMode_) return;
    saveAppSelection();
    if (enabled) {
        enableAppAudioMode();
    } else {
        disableAppAudioMode();
    }
}

void AudioEngineControl::setSelectedApps(const QSet<QString> &bundleIDs)
{
    if (bundleIDs == selectedApps_) return;
    selectedApps_ = bundleIDs;
    emit selectedAppsChanged();
    saveAppSelection();
    if (isAppAudioMode_) restartAppAudioCapture();
}

void AudioEngineControl::saveAppSelection()
{
    AppSelectionData selection;
    selection.selectedBundleIDs = QStringList(selectedApps_.begin(), selectedApps_.end());
    selection.selectedBundleIDs.sort();
    selection.isSCKModeEnabled = isAppAudioMode_;
    selection.save(store_);
}

void AudioEngineControl::enableAppAudioMode()
{
    if (!engine_) return;
    const QString failed = QStringLiteral("SCK Capture failed: ");
    if (selectedApps_.isEmpty()) {
        setErrorMessage(failed + QStringLiteral("No apps selected for capture"));
        return;
    }
    refreshProcessLists();
    const bool anyRunning = std::any_of(runningAppsForCapture_.begin(), runningAppsForCapture_.end(),
                                        [&](const CapturedApp &app) { return selectedApps_.contains(app.bundleIdentifier); });
    if (!anyRunning) {
        setErrorMessage(failed + QStringLiteral("Selected apps are not running"));
        return;
    }

    // Application audio replaces the input and any tap as the source. Its node is made
    // before the previous one goes, so it does not take over registry ids freed a moment
    // ago (see LinkedCaptureBackend::relinkDelay).
    AudioPlatform::StartResult result = platform_.startAppAudio(selectedApps_);
    stopAppAudioBackend();
    if (isProcessTapRunning()) {
        stopProcessTapCapture();
    } else {
        stopEngine();
    }
    if (!result.backend) {
        setErrorMessage(failed + result.error);
        return;
    }
    appBackend_ = std::move(result.backend);
    CaptureBackend &backend = *appBackend_;
    connect(&backend, &CaptureBackend::configurationChanged, this,
            &AudioEngineControl::handleBackendConfigurationChanged);
    connect(&backend, &CaptureBackend::linkedStreamsChanged, this, &AudioEngineControl::showAppWaitingStatus);
    connect(&backend, &CaptureBackend::failed, this, [this](const QString &reason) {
        QTimer::singleShot(0, this, [this, reason] {
            if (!appBackend_) return;
            stopAppAudioBackend();
            setErrorMessage(QStringLiteral("SCK Capture failed: ") + reason);
        });
    });
    feedEngineFrom(backend);
}

void AudioEngineControl::disableAppAudioMode()
{
    stopAppAudioBackend();
    const QString status = engine_ ? engine_->errorMessage() : QString();
    if (status.startsWith(QStringLiteral("Waiting ")) || status.startsWith(QStringLiteral("SCK Capture failed: ")))
        setErrorMessage({});
    // Back to the chosen input, if any.
    if (!isRunning_ && !isRestartingEngine_) startEngine();
}

void AudioEngineControl::restartAppAudioCapture()
{
    if (!isAppAudioMode_) return;
    stopAppAudioBackend();
    enableAppAudioMode();
}

void AudioEngineControl::stopAppAudioBackend()
{
    if (!appBackend_) return;
    appBackend_->disconnect(this);
    appBackend_->stop();
    appBackend_.reset();
    if (engine_) engine_->clearActiveBackend();
    setIsRunning(backend_ != nullptr);
}

void AudioEngineControl::refreshApps()
{
    refreshProcessLists();
    std::vector<CapturedApp> installed = installedApplications();
    if (installed == applicationDirApps_) return;
    applicationDirApps_ = std::move(installed);
    emit appListsChanged();
}

QString AudioEngineControl::selectedAppNames() const
{
    QStringList names;
    for (const QString &id : selectedApps_) {
        QString name = id;
        for (const auto *list : {&runningAppsForCapture_, &applicationDirApps_}) {
            const auto it = std::find_if(list->begin(), list->end(),
                                         [&](const CapturedApp &app) { return app.bundleIdentifier == id; });
            if (it != list->end()) {
                name = it->displayName;
                break;
            }
        }
        names << name;
    }
    names.sort(Qt::CaseInsensitive);
    return names.join(QStringLiteral(", "));
}

void AudioEngineControl::showAppWaitingStatus(int linkedStreams)
{
    const QString status = engine_ ? engine_->errorMessage() : QString();
    if (linkedStreams == 0) {
        // Capture goes on: the next stream of a chosen application is linked as it comes.
        setErrorMessage(QStringLiteral("Waiting for %1 to play...").arg(selectedAppNames()));
        silenceWatch_.reset();
    } else if (status.startsWith(QStringLiteral("Waiting "))) {
        setErrorMessage({});
    }
}
