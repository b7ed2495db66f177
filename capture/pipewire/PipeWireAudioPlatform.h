#pragma once

#include "capture/AudioPlatform.h"
#include "capture/SleepWakeWatcher.h"
#include "capture/pipewire/PipeWireConnection.h"

class PipeWireNodeManager;
class PipeWireMetadataManager;

// The audio system on this platform: one PipeWire connection, its node list as the
// input devices, logind for wake-ups.
//
// Input devices are the nodes of media class "Audio/Source", "Audio/Source/Virtual" and
// "Audio/Duplex", named by node.description (then node.nick, node.name), followed by
// "Monitor of " + the name of every "Audio/Sink". Their keys are node.name, and the
// sink's node.name + ".monitor" for a monitor.
class PipeWireAudioPlatform final : public AudioPlatform {
    Q_OBJECT

public:
    static constexpr const char *monitorPrefix = "Monitor of ";
    static constexpr const char *monitorSuffix = ".monitor";
    static constexpr auto aliveTimeout = std::chrono::milliseconds(500);

    // Starts connecting at once.
    explicit PipeWireAudioPlatform(QObject *parent = nullptr);
    ~PipeWireAudioPlatform() override;

    Access access() const override;
    QString accessProblem() const override;
    std::vector<InputDevice> inputDevices() const override;
    QString defaultInputName() const override;
    bool isDeviceAlive(std::uint32_t id) override;
    int defaultOutputChannelCount() const override;
    StartResult startDefaultInput() override;
    StartResult startDevice(std::uint32_t id) override;
    std::vector<AudioProcessInfo> audioProcesses() const override;
    std::vector<CapturedApp> runningApps() const override;
    StartResult startProcessTap(const AudioProcessInfo &process, bool deterministic) override;
    StartResult startAppAudio(const QSet<QString> &bundleIDs) override;

    PipeWireConnection &connection() { return connection_; }

private:
    QString notConnectedReason() const;

    PipeWireConnection connection_;
    SleepWakeWatcher wakeWatcher_;
};

// Channels of the default sink ("default.audio.sink"), at least 2; 2 when there is no
// default sink or its channel count is unknown.
int currentDefaultOutputChannelCount(const PipeWireNodeManager &nodes, const PipeWireMetadataManager &metadata);
