#include "capture/AudioEngineControl.h"

#include "capture/TestSignalCaptureImpl.h"
#include "engine/AudioEngine.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"

#include <algorithm>
#include <utility>

namespace {

const QString noneName = QString::fromLatin1(AudioEngineControl::noneDevice);
const QString systemDefaultName = QString::fromLatin1(AudioEngineControl::systemDefaultDevice);

// A device, as opposed to "None" and "System Default".
bool isNamedDevice(const QString &selection) { return selection != noneName && selection != systemDefaultName; }

QString accessDeniedMessage()
{
    return QStringLiteral("Microphone access denied. Please allow KelvraMeters to use the audio server in your "
                          "desktop's privacy settings.");
}

} // namespace

AudioEngineControl::AudioEngineControl(AudioEngine &engine, AudioPlatform &platform, DefaultsStore &store,
                                       QObject *parent)
    : QObject(parent), engine_(&engine), platform_(platform), store_(store),
      selectedInputDevice_(store.readString(QString::fromLatin1(selectedInputDeviceKey)).value_or(noneName)),
      availableInputDevices_{noneName, systemDefaultName}
{
    if (selectedInputDevice_.isEmpty()) selectedInputDevice_ = noneName;
    const AppSelectionData selection = AppSelectionData::load(store_);
    isAppAudioMode_ = selection.isSCKModeEnabled;
    selectedApps_ = selection.ids();
    if (const std::optional<QString> tapped = store_.readString(QString::fromLatin1(processTapBundleIDKey));
        tapped && !tapped->isEmpty())
        processTapBundleID_ = *tapped;

    processListTimer_.setSingleShot(true);
    processListTimer_.setInterval(processListDebounce);
    connect(&processListTimer_, &QTimer::timeout, this, &AudioEngineControl::refreshProcessLists);
    connect(&platform_, &AudioPlatform::audioProcessesChanged, &processListTimer_, qOverload<>(&QTimer::start));
    connect(&engine.settings(), &AppSettings::changed, this, &AudioEngineControl::applyProcessTapSettings);

    hardwareChangeTimer_.setSingleShot(true);
    hardwareChangeTimer_.setInterval(hardwareChangeDebounceInterval);
    connect(&hardwareChangeTimer_, &QTimer::timeout, this, &AudioEngineControl::runHardwareUpdate);

    deviceReturnTimer_.setSingleShot(true);
    deviceReturnTimer_.setInterval(deviceReturnTimeout);
    connect(&deviceReturnTimer_, &QTimer::timeout, this, [this] {
        if (engine_ && !isRunning_ && !isRestartingEngine_) startEngine();
    });

    connect(&platform_, &AudioPlatform::accessChanged, this, &AudioEngineControl::handleAccessChanged);
    connect(&platform_, &AudioPlatform::serverLost, this, &AudioEngineControl::handleServerLost);
    connect(&platform_, &AudioPlatform::devicesChanged, this, &AudioEngineControl::handleDevicesChanged);
    connect(&platform_, &AudioPlatform::woke, this, [this] {
        QTimer::singleShot(wakeRestartDelay, this, [this] {
            if (engine_ && !serverLost_) restartEngine();
        });
    });

    engine.setLevelsObserver([this](const AudioLevels &levels, double now) { watchSilence(levels, now); });

    if (platform_.access() == AudioPlatform::Access::granted) publishDeviceList();
}

AudioEngineControl::~AudioEngineControl()
{
    stopAppAudioBackend();
    stopEngine();
    if (engine_) engine_->setLevelsObserver({});
}

void AudioEngineControl::startIfNeeded()
{
    if (isRunning_ || isRestartingEngine_) return;
    setErrorMessage({});
    if (store_.readString(QString::fromLatin1(processTapBundleIDKey)).value_or(QString()).isEmpty()) {
        if (isAppAudioMode_) {
            enableAppAudioMode();
        } else {
            checkPermissionAndStart();
        }
        return;
    }
    restoreProcessTapIfNeeded();
}

void AudioEngineControl::checkPermissionAndStart()
{
    switch (platform_.access()) {
    case AudioPlatform::Access::granted:
        setHasPermission(true);
        startEngine();
        break;
    case AudioPlatform::Access::pending:
        // The answer arrives with accessChanged().
        awaitingAccess_ = true;
        break;
    case AudioPlatform::Access::denied:
        setHasPermission(false);
        setErrorMessage(accessDeniedMessage());
        break;
    case AudioPlatform::Access::unreachable:
        setHasPermission(false);
        startEngine();
        break;
    }
}

void AudioEngineControl::startEngine()
{
    // "None" captures nothing, except on a fresh installation without an audio server:
    // there the test signal shows that the meters work while the status line says why.
    if (selectedInputDevice_ == noneName && !offersTestSignal()) return;
    switch (platform_.access()) {
    case AudioPlatform::Access::unreachable:
        awaitingAccess_ = true;
        reportServerUnreachable();
        return;
    case AudioPlatform::Access::pending:
        awaitingAccess_ = true;
        return;
    case AudioPlatform::Access::denied:
    case AudioPlatform::Access::granted:
        break;
    }
    if (!hasPermission_ || selectedInputDevice_ == noneName) return;
    // Application audio owns the meters while it is on.
    if (isAppAudioMode_) return;
    if (backend_) stopEngine();

    if (selectedInputDevice_ != systemDefaultName) {
        adoptKeyOfNamedSelection(listInputDevices());
        const std::optional<std::uint32_t> id = getDeviceID(selectedInputDevice_);
        if (!id || !isDeviceValid(*id)) selectWhileRestarting(systemDefaultName);
    }
    if (selectedInputDevice_ == systemDefaultName) {
        startEngineWithDefaultInput();
    } else if (const std::optional<std::uint32_t> id = getDeviceID(selectedInputDevice_)) {
        startEngineWithDevice(*id);
    } else {
        startEngineWithDefaultInput();
    }
    updateAvailableDevices();
}

void AudioEngineControl::startEngineWithDefaultInput()
{
    AudioPlatform::StartResult result = platform_.startDefaultInput();
    if (!result.backend) {
        setErrorMessage(QStringLiteral("Failed to start audio engine: ") + result.error);
        return;
    }
    activate(std::move(result.backend));
}

void AudioEngineControl::startEngineWithDevice(std::uint32_t id)
{
    AudioPlatform::StartResult result = platform_.startDevice(id);
    // A device that will not start is not reported: the default input takes over.
    if (!result.backend) {
        fallBackToDefaultInput();
        return;
    }
    activate(std::move(result.backend));
}

void AudioEngineControl::fallBackToDefaultInput()
{
    // The fall-back is not persisted: the stored choice still names the device, which is
    // used again once it is back at the next start.
    selectWhileRestarting(systemDefaultName);
    startEngineWithDefaultInput();
}

void AudioEngineControl::activate(std::unique_ptr<CaptureBackend> backend)
{
    backend_ = std::move(backend);
    ++backendSerial_;
    connect(backend_.get(), &CaptureBackend::configurationChanged, this,
            &AudioEngineControl::handleBackendConfigurationChanged);
    connect(backend_.get(), &CaptureBackend::failed, this, &AudioEngineControl::handleBackendFailed);
    feedEngineFrom(*backend_);
}

void AudioEngineControl::feedEngineFrom(CaptureBackend &backend)
{
    if (engine_) {
        engine_->setActiveBackend(backend.reader());
        engine_->setInputDeviceBackend(backend.spectralSink());
        engine_->setCurrentSampleRate(static_cast<float>(backend.sampleRate()));
    }
    setIsRunning(true);
    setErrorMessage({});
    silenceWatch_.reset();
    attachLoudnessMeter(backend);
}

void AudioEngineControl::attachLoudnessMeter(CaptureBackend &backend)
{
    // A file is measured from its first frame on the feeding thread; live audio was
    // already playing when capture began and is fed from a real-time thread.
    const bool file = backend.kind() == CaptureBackend::Kind::fileSource;
    LoudnessMeter::Options options;
    options.feeding = file ? LoudnessMeter::Feeding::inlined : LoudnessMeter::Feeding::meteringThread;
    options.startsMidSignal = !file;
    std::vector<int> roles = backend.loudnessChannelRoles();
    const auto channels = static_cast<int>(roles.size());
    auto meter = std::make_shared<LoudnessMeter>(channels, static_cast<int>(backend.sampleRate()), std::move(roles),
                                                 options);
    if (engine_) engine_->setLoudnessMeter(meter);
    backend.setLoudnessMeter(std::move(meter));
}

void AudioEngineControl::stopEngine()
{
    const bool endsFileSource = isFileSourceRunning();
    if (backend_) {
        backend_->disconnect(this);
        backend_->stop();
        backend_.reset();
    }
    // Application audio is not stopped here: device changes and wake-ups leave it alone.
    if (engine_ && !appBackend_) {
        engine_->clearActiveBackend();
        engine_->setInputDeviceBackend(nullptr);
    }
    setIsRunning(appBackend_ != nullptr);
    if (endsFileSource) emit fileSourceChanged();
}

void AudioEngineControl::restartEngine()
{
    if (isRestartingEngine_) return;
    // A process tap or a file is never restarted by device or wake events.
    if (isProcessTapRunning() || isFileSourceRunning()) return;
    isRestartingEngine_ = true;
    stopEngine();
    QTimer::singleShot(restartDelay, this, [this] {
        if (!engine_) return;
        startEngine();
        isRestartingEngine_ = false;
    });
}

void AudioEngineControl::selectWhileRestarting(const QString &device)
{
    const bool wasRestarting = std::exchange(isRestartingEngine_, true);
    setSelectedInputDevice(device);
    isRestartingEngine_ = wasRestarting;
}

void AudioEngineControl::setSelectedInputDevice(const QString &device)
{
    const QString key = inputDeviceKey(device).value_or(device);
    if (key == selectedInputDevice_) return;
    selectedInputDevice_ = key;
    emit selectedInputDeviceChanged(key);
    if (isRestartingEngine_) return;

    store_.writeString(QString::fromLatin1(selectedInputDeviceKey), key);
    deviceReturnTimer_.stop();
    // Choosing an input ends a file source.
    if (isFileSourceRunning()) stopEngine();
    if (key == noneName) {
        stopEngine();
    } else if (isAppAudioMode_) {
        // Choosing an input leaves application audio.
        isChangingAppAudioMode_ = true;
        QTimer::singleShot(0, this, [this] {
            if (!engine_) return;
            stopAppAudioBackend();
            isAppAudioMode_ = false;
            saveAppSelection();
            emit isAppAudioModeChanged(false);
            isChangingAppAudioMode_ = false;
            restartEngine();
        });
    } else {
        restartEngine();
    }
}

std::vector<InputDevice> AudioEngineControl::listInputDevices() const
{
    // Two microphones of one model share their description: the picker tells them apart
    // by their place in the system's order.
    std::vector<InputDevice> devices = platform_.inputDevices();
    QHash<QString, int> seen;
    for (InputDevice &device : devices) {
        device.key = device.selectionKey();
        if (const int count = ++seen[device.name]; count > 1) device.name += QStringLiteral(" (%1)").arg(count);
    }
    return devices;
}

std::optional<std::uint32_t> AudioEngineControl::getDeviceID(const QString &key) const
{
    if (!isNamedDevice(key)) return std::nullopt;
    for (const InputDevice &device : platform_.inputDevices()) {
        if (device.selectionKey() == key) return device.id;
    }
    return std::nullopt;
}

std::optional<QString> AudioEngineControl::inputDeviceKey(const QString &nameOrKey) const
{
    if (!isNamedDevice(nameOrKey)) return nameOrKey;
    // Keys first: a key is exact, while a description may be anybody's.
    for (const InputDevice &device : listedDevices_) {
        if (device.key == nameOrKey) return device.key;
    }
    for (const InputDevice &device : listedDevices_) {
        if (device.name == nameOrKey) return device.key;
    }
    return std::nullopt;
}

QString AudioEngineControl::displayName(const QString &key) const
{
    if (!isNamedDevice(key)) return key;
    for (const InputDevice &device : listedDevices_) {
        if (device.key == key) return device.name;
    }
    return seenDescriptions_.value(key, key);
}

bool AudioEngineControl::isListed(const QString &key) const
{
    return !isNamedDevice(key) || std::any_of(listedDevices_.begin(), listedDevices_.end(),
                                              [&](const InputDevice &device) { return device.key == key; });
}

void AudioEngineControl::adoptKeyOfNamedSelection(const std::vector<InputDevice> &devices)
{
    if (!isNamedDevice(selectedInputDevice_)) return;
    const auto hasKey = [&](const InputDevice &device) { return device.key == selectedInputDevice_; };
    const auto hasName = [&](const InputDevice &device) { return device.name == selectedInputDevice_; };
    if (std::any_of(devices.begin(), devices.end(), hasKey)) return;
    const auto device = std::find_if(devices.begin(), devices.end(), hasName);
    if (device == devices.end()) return;
    // The same choice, spelled the way that survives a second device of the same model.
    selectedInputDevice_ = device->key;
    store_.writeString(QString::fromLatin1(selectedInputDeviceKey), selectedInputDevice_);
    emit selectedInputDeviceChanged(selectedInputDevice_);
}

bool AudioEngineControl::isDeviceValid(std::uint32_t id) { return platform_.isDeviceAlive(id); }

void AudioEngineControl::publishDeviceList()
{
    // Remembered so that a device that went away still shows by its description.
    for (const InputDevice &device : platform_.inputDevices())
        seenDescriptions_.insert(device.selectionKey(), device.name);
    listedDevices_ = listInputDevices();
    availableInputDevices_ = QStringList{noneName, systemDefaultName};
    for (const InputDevice &device : listedDevices_) availableInputDevices_.append(device.name);
    adoptKeyOfNamedSelection(listedDevices_);
    emit availableInputDevicesChanged(availableInputDevices_);
}

void AudioEngineControl::updateAvailableDevices()
{
    publishDeviceList();
    // Without a server the list says nothing about which devices exist.
    if (platform_.access() != AudioPlatform::Access::granted) return;
    if (!isListed(selectedInputDevice_)) setSelectedInputDevice(systemDefaultName);
}

void AudioEngineControl::scheduleHardwareUpdate() { hardwareChangeTimer_.start(); }

void AudioEngineControl::runHardwareUpdate()
{
    if (!engine_ || serverLost_) return;
    updateAvailableDevices();
    if (selectedInputDevice_ == systemDefaultName) return;
    QTimer::singleShot(hardwareRecheckDelay, this, [this] {
        if (!engine_) return;
        if (isListed(selectedInputDevice_)) {
            // Only a default-input back-end left without a source is restarted.
            if (isRunning_ && backend_ && backend_->kind() == CaptureBackend::Kind::defaultInput &&
                !backend_->hasInput())
                restartEngine();
        } else {
            setSelectedInputDevice(systemDefaultName);
        }
    });
}

void AudioEngineControl::handleDevicesChanged()
{
    if (serverLost_) return;
    if (deviceReturnTimer_.isActive() && getDeviceID(selectedInputDevice_)) {
        deviceReturnTimer_.stop();
        if (!isRunning_ && !isRestartingEngine_) startEngine();
    }
    scheduleHardwareUpdate();
}

void AudioEngineControl::handleAccessChanged()
{
    switch (platform_.access()) {
    case AudioPlatform::Access::granted:
        serverLost_ = false;
        setHasPermission(true);
        publishDeviceList();
        if (awaitingAccess_ || resumeAfterReconnect_) resumeCapture();
        break;
    case AudioPlatform::Access::denied:
        if (!awaitingAccess_ && !resumeAfterReconnect_) break;
        awaitingAccess_ = resumeAfterReconnect_ = false;
        stopEngine();
        setHasPermission(false);
        setErrorMessage(QStringLiteral("Microphone access denied"));
        break;
    case AudioPlatform::Access::unreachable:
        // Every failed attempt reports again; only a first start still waiting says so.
        if (awaitingAccess_ && !resumeAfterReconnect_) reportServerUnreachable();
        break;
    case AudioPlatform::Access::pending:
        break;
    }
}

void AudioEngineControl::resumeCapture()
{
    const bool afterLoss = std::exchange(resumeAfterReconnect_, false);
    awaitingAccess_ = false;
    if (backend_ && backend_->kind() == CaptureBackend::Kind::testSignal) stopEngine();
    if (isRunning_ || isRestartingEngine_) return;
    if (afterLoss && processTapBundleID_) {
        // The tapped application's streams come back with the server.
        attemptProcessTapRestore(*processTapBundleID_, processTapRestoreAttempts);
        return;
    }
    if (afterLoss && isAppAudioMode_) {
        enableAppAudioMode();
        return;
    }

    if (afterLoss && isNamedDevice(selectedInputDevice_) && !getDeviceID(selectedInputDevice_)) {
        // The server is back before the device's node: give it a moment.
        deviceReturnTimer_.start();
        return;
    }
    setErrorMessage({});
    startEngine();
}

void AudioEngineControl::handleServerLost(const QString &reason)
{
    serverLost_ = true;
    hardwareChangeTimer_.stop();
    // A file source needs no server and goes on.
    const bool fileGoesOn = isFileSourceRunning();
    const bool wasCapturing =
        appBackend_ || (backend_ && backend_->kind() != CaptureBackend::Kind::testSignal && !fileGoesOn);
    stopAppAudioBackend();
    if (backend_ && !fileGoesOn) stopEngine();
    // The last values fall to -60 on their own: the tick has no back-end to read.
    if (wasCapturing || awaitingAccess_ || deviceReturnTimer_.isActive()) resumeAfterReconnect_ = true;
    deviceReturnTimer_.stop();
    setErrorMessage(reason + QStringLiteral(" Reconnecting..."));
}

bool AudioEngineControl::offersTestSignal() const
{
    if (!testSignalWithoutServer_) return false;
    // An explicit "None" is honoured; an absent key means nothing was chosen yet.
    return selectedInputDevice_ != noneName || !store_.contains(QString::fromLatin1(selectedInputDeviceKey));
}

void AudioEngineControl::reportServerUnreachable()
{
    QString message = QStringLiteral("Failed to start audio engine: ") + platform_.accessProblem();
    if (offersTestSignal()) {
        if (!backend_) {
            auto testSignal = std::make_unique<TestSignalCaptureImpl>();
            testSignal->start();
            activate(std::move(testSignal));
        }
        message += QStringLiteral(" Showing the built-in test signal instead.");
    }
    setErrorMessage(message);
}

void AudioEngineControl::handleBackendConfigurationChanged()
{
    CaptureBackend *active = currentBackend();
    if (!active || !engine_) return;
    const auto rate = static_cast<float>(active->sampleRate());
    if (rate == engine_->currentSampleRate()) return;
    engine_->setCurrentSampleRate(rate);
    // A loudness measurement runs at one rate; a new rate starts a new measurement.
    attachLoudnessMeter(*active);
}

void AudioEngineControl::handleBackendFailed(const QString &reason)
{
    // The back-end is inside its own signal here and must not be destroyed under it.
    QTimer::singleShot(0, this, [this, serial = backendSerial_, reason] {
        if (!backend_ || serial != backendSerial_) return;
        const CaptureBackend::Kind kind = backend_->kind();
        stopEngine();
        if (kind == CaptureBackend::Kind::device) {
            fallBackToDefaultInput();
        } else if (kind == CaptureBackend::Kind::processTap) {
            setErrorMessage(QStringLiteral("Process Tap failed: ") + reason);
        } else {
            setErrorMessage(QStringLiteral("Failed to start audio engine: ") + reason);
        }
    });
}

CaptureBackend *AudioEngineControl::currentBackend() const
{
    return appBackend_ ? appBackend_.get() : backend_.get();
}

void AudioEngineControl::watchSilence(const AudioLevels &levels, double now)
{
    const CaptureBackend *active = activeCaptureBackend();
    // Application audio with nothing linked shows that it waits, not that it is silent.
    if (!active || !active->watchesForSilence() || active->linkedStreamCount() == 0) return;
    const QString warning = QString::fromUtf8(silenceWarning);
    switch (silenceWatch_.update(levels, now)) {
    case SilenceWatch::Action::warn:
        setErrorMessage(warning);
        break;
    case SilenceWatch::Action::clear:
        if (engine_ && engine_->errorMessage() == warning) setErrorMessage({});
        break;
    case SilenceWatch::Action::none:
        break;
    }
}

void AudioEngineControl::setErrorMessage(const QString &message)
{
    if (engine_) engine_->setErrorMessage(message);
}

void AudioEngineControl::setIsRunning(bool running)
{
    if (running == isRunning_) return;
    isRunning_ = running;
    emit isRunningChanged(running);
}

void AudioEngineControl::setHasPermission(bool granted)
{
    if (granted == hasPermission_) return;
    hasPermission_ = granted;
    emit hasPermissionChanged(granted);
}
