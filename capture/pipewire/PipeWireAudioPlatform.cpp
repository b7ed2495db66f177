#include "capture/pipewire/PipeWireAudioPlatform.h"

#include "capture/DefaultInputCaptureImpl.h"
#include "capture/DeviceCaptureImpl.h"
#include "capture/pipewire/PipeWireMetadataManager.h"
#include "capture/pipewire/PipeWireNodeManager.h"

#include <algorithm>

PipeWireAudioPlatform::PipeWireAudioPlatform(QObject *parent) : AudioPlatform(parent)
{
    connect(&connection_, &PipeWireConnection::ready, this, &AudioPlatform::accessChanged);
    connect(&connection_, &PipeWireConnection::connectFailed, this, &AudioPlatform::accessChanged);
    connect(&connection_, &PipeWireConnection::connectionLost, this, &AudioPlatform::serverLost);
    connect(&connection_.nodes(), &PipeWireNodeManager::nodesChanged, this, &AudioPlatform::devicesChanged);
    connect(&wakeWatcher_, &SleepWakeWatcher::woke, this, &AudioPlatform::woke);
    connection_.start();
}

PipeWireAudioPlatform::~PipeWireAudioPlatform() = default;

AudioPlatform::Access PipeWireAudioPlatform::access() const
{
    switch (connection_.state()) {
    case PipeWireConnection::State::ready:
        return Access::granted;
    case PipeWireConnection::State::connecting:
        return Access::pending;
    case PipeWireConnection::State::disconnected:
        break;
    }
    if (connection_.accessDenied()) return Access::denied;
    return connection_.failureReason().isEmpty() ? Access::pending : Access::unreachable;
}

QString PipeWireAudioPlatform::accessProblem() const { return connection_.failureReason(); }

std::vector<InputDevice> PipeWireAudioPlatform::inputDevices() const
{
    std::vector<InputDevice> devices;
    const auto &nodes = connection_.nodes().nodes();
    for (const AudioNodeInfo &node : nodes) {
        if (node.isInput()) devices.push_back({node.id, QString::fromStdString(node.displayName())});
    }
    for (const AudioNodeInfo &node : nodes) {
        if (node.isSink()) {
            devices.push_back({node.id, QString::fromUtf8(monitorPrefix) + QString::fromStdString(node.displayName())});
        }
    }
    std::erase_if(devices, [](const InputDevice &device) { return device.name.isEmpty(); });
    return devices;
}

bool PipeWireAudioPlatform::isDeviceAlive(std::uint32_t id) { return connection_.isNodeAlive(id, aliveTimeout); }

int PipeWireAudioPlatform::defaultOutputChannelCount() const
{
    return currentDefaultOutputChannelCount(connection_.nodes(), connection_.metadata());
}

AudioPlatform::StartResult PipeWireAudioPlatform::startDefaultInput()
{
    StartResult result;
    if (!connection_.isReady()) {
        result.error = connection_.failureReason().isEmpty()
                           ? QStringLiteral("The PipeWire audio server could not be reached.")
                           : connection_.failureReason();
        return result;
    }
    auto backend = std::make_unique<DefaultInputCaptureImpl>(connection_);
    result.error = backend->start();
    if (result.error.isEmpty()) result.backend = std::move(backend);
    return result;
}

AudioPlatform::StartResult PipeWireAudioPlatform::startDevice(std::uint32_t id)
{
    StartResult result;
    const AudioNodeInfo *node = connection_.nodes().findById(id);
    if (!connection_.isReady() || !node) {
        result.error = QStringLiteral("Could not find input device: %1").arg(id);
        return result;
    }
    auto backend = std::make_unique<DeviceCaptureImpl>(connection_, *node, node->isSink());
    result.error = backend->start();
    if (result.error.isEmpty()) result.backend = std::move(backend);
    return result;
}

int currentDefaultOutputChannelCount(const PipeWireNodeManager &nodes, const PipeWireMetadataManager &metadata)
{
    const AudioNodeInfo *sink = nodes.findByName(metadata.defaultSinkName());
    if (metadata.defaultSinkName().empty() || !sink || sink->channels <= 0) return 2;
    return std::max(2, sink->channels);
}
