#pragma once

#include "capture/AudioSources.h"
#include "capture/CaptureBackend.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

// One choice of the input picker besides "None" and "System Default".
struct InputDevice {
    std::uint32_t id = 0; // the platform's device identifier; a re-plugged device gets a new one
    QString name;         // what the user sees: the device's description (not unique)
    QString key{};        // what is persisted: stable across restarts and unique; empty = `name`
                          // (initialized, so that {id, name} is a complete device)

    // The identifier a choice is remembered by.
    QString selectionKey() const { return key.isEmpty() ? name : key; }

    friend bool operator==(const InputDevice &, const InputDevice &) = default;
};

// What the engine control needs from the audio system: access, the device list, an
// is-alive query and the two ways of starting capture. PipeWireAudioPlatform is the real
// one; tests substitute their own. Main thread only.
class AudioPlatform : public QObject {
    Q_OBJECT

public:
    enum class Access {
        pending,     // still connecting: the answer follows with accessChanged()
        granted,     // connected: capture may start
        denied,      // the server refused this client
        unreachable, // no server to talk to (yet); attempts go on in the background
    };

    struct StartResult {
        std::unique_ptr<CaptureBackend> backend; // the running back-end, or nullptr
        QString error;                           // why it did not start; empty on success
    };

    using QObject::QObject;

    virtual Access access() const = 0;
    // Why access() is denied or unreachable, as one sentence.
    virtual QString accessProblem() const = 0;

    // Capturable devices in the system's order (duplicate names kept, keys unique).
    virtual std::vector<InputDevice> inputDevices() const = 0;
    // Whether the device still exists; answers within 0.5 s, a late answer counts as gone.
    virtual bool isDeviceAlive(std::uint32_t id) = 0;
    // Channels of the default output, at least 2; 2 when it cannot be told.
    virtual int defaultOutputChannelCount() const = 0;
    // The description of the desktop's default input, when the system names one: the
    // first-run prompt offers it.
    virtual QString defaultInputName() const { return {}; }

    virtual StartResult startDefaultInput() = 0;
    virtual StartResult startDevice(std::uint32_t id) = 0;

    // The processes that play audio right now, in the system's order.
    virtual std::vector<AudioProcessInfo> audioProcesses() const { return {}; }
    // The applications that play audio right now, one per identifier.
    virtual std::vector<CapturedApp> runningApps() const { return {}; }
    // Taps what the process plays: its streams' own front pair (deterministic) or a
    // stereo mixdown of all their channels.
    virtual StartResult startProcessTap(const AudioProcessInfo &, bool /*deterministic*/)
    {
        return {nullptr, QStringLiteral("Process taps are not available on this audio system.")};
    }
    // Captures the sum of what the applications with these identifiers play.
    virtual StartResult startAppAudio(const QSet<QString> &)
    {
        return {nullptr, QStringLiteral("Application audio is not available on this audio system.")};
    }

signals:
    void accessChanged();
    // The device list changed (raw, not debounced).
    void devicesChanged();
    // An established connection ended; access() is now unreachable or denied. Back-ends
    // of that connection are dead (they emit nothing more).
    void serverLost(const QString &reason);
    // The machine woke from sleep.
    void woke();
    // A playback stream appeared, went away, or started or stopped playing.
    void audioProcessesChanged();
};
