// AudioEngineControl: the file source (an audio file fed through the live path, for
// checking a file's meters without playing it aloud). A one-off check: nothing of it is
// persisted, and the stored input choice is never touched.

#include "capture/AudioEngineControl.h"

#include "capture/FileSourceCaptureImpl.h"
#include "engine/AudioEngine.h"
#include "settings/DefaultsStore.h"

#include <QFileInfo>

#include <utility>

bool AudioEngineControl::isFileSourceRunning() const
{
    return backend_ && backend_->kind() == CaptureBackend::Kind::fileSource;
}

const FileSourceCaptureImpl *AudioEngineControl::fileSource() const
{
    return isFileSourceRunning() ? static_cast<const FileSourceCaptureImpl *>(backend_.get()) : nullptr;
}

bool AudioEngineControl::startFileSource(const QString &path, AtFileEnd atEnd, double pace)
{
    if (!engine_) return false;
    QString error;
    std::unique_ptr<FileSourceCaptureImpl> source = FileSourceCaptureImpl::open(path, atEnd, pace, error);
    if (!source) {
        setErrorMessage(QStringLiteral("Cannot play %1: %2").arg(QFileInfo(path).fileName(), error));
        return false;
    }

    leaveAppAudioMode(); // a file replaces application audio as the source, as a tap does
    if (isProcessTapRunning()) stopProcessTapCapture();
    stopEngine();
    // The input picker shows that no input is in use; the stored choice stays.
    selectWhileRestarting(QString::fromLatin1(noneDevice));

    FileSourceCaptureImpl &started = *source;
    connect(&started, &FileSourceCaptureImpl::positionChanged, this, &AudioEngineControl::fileSourcePositionChanged);
    connect(&started, &FileSourceCaptureImpl::ended, this, &AudioEngineControl::handleFileSourceEnded);
    // The loudness measurement is attached before the first block is fed.
    activate(std::move(source));
    started.start();
    emit fileSourceChanged();
    return true;
}

void AudioEngineControl::stopFileSource()
{
    if (!isFileSourceRunning()) return;
    stopEngine();
    const QString stored =
        store_.readString(QString::fromLatin1(selectedInputDeviceKey)).value_or(QString::fromLatin1(noneDevice));
    selectWhileRestarting(stored.isEmpty() ? QString::fromLatin1(noneDevice) : stored);
    setErrorMessage({});
    startEngine();
}

void AudioEngineControl::handleFileSourceEnded()
{
    // Listeners (the headless mode's last report) read the meters as the file left them.
    emit fileSourceEnded();
    if (!isFileSourceRunning()) return;
    // Then the bars fall as after a player that stopped; the loudness read-out stays.
    static_cast<FileSourceCaptureImpl *>(backend_.get())->silenceLevels();
}
