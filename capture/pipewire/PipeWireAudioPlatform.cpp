#include "capture/pipewire/PipeWireAudioPlatform.h"

#include "capture/AppAudioCaptureImpl.h"
#include "capture/DefaultInputCaptureImpl.h"
#include "capture/DeviceCaptureImpl.h"
#include "capture/ProcessTapCaptureImpl.h"
#include "capture/pipewire/LinkPlan.h"
#include "capture/pipewire/PipeWireStreamGraph.h"
#include "capture/pipewire/PlaybackStreams.h"
#include "capture/pipewire/PipeWireMetadataManager.h"
#include "capture/pipewire/PipeWireNodeManager.h"

#include <unistd.h>

#include <algorithm>

PipeWireAudioPlatform::PipeWireAudioPlatform(QObject *parent) : AudioPlatform(parent)
{
    connect(&connection_, &PipeWireConnection::ready, this, &AudioPlatform::accessChanged);
    connect(&connection_, &PipeWireConnection::connectFailed, this, &AudioPlatform::accessChanged);
    connect(&connection_, &PipeWireConnection::connectionLost, this, &AudioPlatform::serverLost);
    connect(&connection_.nodes(), &PipeWireNodeManager::nodesChanged, this, &AudioPlatform::devicesChanged);
    connect(&connection_.streamGraph(), &PipeWireStreamGraph::changed, this, &AudioPlatform::audioProcessesChanged);
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
        if (node.isInput())
            devices.push_back({node.id, QString::fromStdString(node.displayName()), QString::fromStdString(node.name)});
    }
    for (const AudioNodeInfo &node : nodes) {
        if (!node.isSink()) continue;
        // The sink itself owns its node.name; PulseAudio clients know its monitor as NAME.monitor.
        const QString sinkName = QString::fromStdString(node.name);
        devices.push_back({node.id, QString::fromUtf8(monitorPrefix) + QString::fromStdString(node.displayName()),
                           sinkName.isEmpty() ? QString() : sinkName + QString::fromUtf8(monitorSuffix)});
    }
    std::erase_if(devices, [](const InputDevice &device) { return device.name.isEmpty(); });
    return devices;
}

QString PipeWireAudioPlatform::defaultInputName() const
{
    const AudioNodeInfo *node = connection_.nodes().findByName(connection_.metadata().defaultSourceName());
    return node ? QString::fromStdString(node->displayName()) : QString();
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
        result.error = notConnectedReason();
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

QString PipeWireAudioPlatform::notConnectedReason() const
{
    return connection_.failureReason().isEmpty() ? QStringLiteral("The PipeWire audio server could not be reached.")
                                                 : connection_.failureReason();
}

std::vector<AudioProcessInfo> PipeWireAudioPlatform::audioProcesses() const
{
    return discoverAudioProcesses(playbackStreams(connection_.streamGraph().objects(), ::getpid()));
}

std::vector<CapturedApp> PipeWireAudioPlatform::runningApps() const
{
    return ::runningApps(playbackStreams(connection_.streamGraph().objects(), ::getpid()));
}

AudioPlatform::StartResult PipeWireAudioPlatform::startProcessTap(const AudioProcessInfo &process, bool deterministic)
{
    StartResult result;
    if (!connection_.isReady()) {
        result.error = notConnectedReason();
        return result;
    }
    // The mixdown takes the channels of the process's first stream as they are.
    const GraphObjects &graph = connection_.streamGraph().objects();
    std::vector<std::string> positions;
    for (const PlaybackStream &stream : playbackStreams(graph, ::getpid())) {
        if (stream.processId != static_cast<std::int64_t>(process.objectID)) continue;
        positions = outputPositions(graph, stream.nodeId);
        if (!positions.empty()) break;
    }
    auto backend = std::make_unique<ProcessTapCaptureImpl>(connection_, process, deterministic, std::move(positions));
    result.error = backend->start();
    if (result.error.isEmpty()) result.backend = std::move(backend);
    return result;
}

AudioPlatform::StartResult PipeWireAudioPlatform::startAppAudio(const QSet<QString> &bundleIDs)
{
    StartResult result;
    if (!connection_.isReady()) {
        result.error = notConnectedReason();
        return result;
    }
    auto backend = std::make_unique<AppAudioCaptureImpl>(connection_, bundleIDs);
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
