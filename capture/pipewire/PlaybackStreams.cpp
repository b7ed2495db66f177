#include "capture/pipewire/PlaybackStreams.h"

#include <algorithm>
#include <array>

namespace {

// Programs of the audio server itself, whose own streams are no application's.
constexpr std::array<std::string_view, 2> serverPrograms = {"pipewire", "wireplumber"};

std::string firstOf(const GraphObject &stream, const GraphObject *client, std::string_view key)
{
    std::string value = stream.prop(key);
    if (value.empty() && client) value = client->prop(key);
    return value;
}

} // namespace

QString PlaybackStream::identifier() const
{
    return QString::fromStdString(portalAppId.empty() ? binary : portalAppId);
}

QString PlaybackStream::displayName() const
{
    if (!appName.empty()) return QString::fromStdString(appName);
    return QStringLiteral("PID %1").arg(processId);
}

bool PlaybackStream::matches(const QSet<QString> &ids) const
{
    return (!portalAppId.empty() && ids.contains(QString::fromStdString(portalAppId))) ||
           (!binary.empty() && ids.contains(QString::fromStdString(binary)));
}

std::vector<PlaybackStream> playbackStreams(const GraphObjects &graph, std::int64_t ownProcessId)
{
    std::vector<PlaybackStream> streams;
    for (const auto &[id, object] : graph) {
        if (object.type != GraphObject::Type::playbackStream) continue;
        const GraphObject *client = nullptr;
        const auto clientIt = graph.find(static_cast<std::uint32_t>(object.number("client.id", -1)));
        if (clientIt != graph.end() && clientIt->second.type == GraphObject::Type::client) client = &clientIt->second;

        PlaybackStream stream;
        stream.nodeId = id;
        stream.processId = object.number("application.process.id", 0);
        if (stream.processId <= 0 && client) stream.processId = client->number("application.process.id", 0);
        stream.appName = firstOf(object, client, "application.name");
        stream.binary = firstOf(object, client, "application.process.binary");
        stream.portalAppId = firstOf(object, client, "pipewire.access.portal.app_id");
        stream.running = object.running;

        if (stream.processId == ownProcessId) continue;
        if (std::find(serverPrograms.begin(), serverPrograms.end(), stream.binary) != serverPrograms.end()) continue;
        streams.push_back(std::move(stream));
    }
    return streams;
}

std::vector<AudioProcessInfo> discoverAudioProcesses(const std::vector<PlaybackStream> &streams)
{
    std::vector<AudioProcessInfo> processes;
    for (const PlaybackStream &stream : streams) {
        if (stream.processId < 1) continue;
        const auto pid = static_cast<std::uint32_t>(stream.processId);
        auto it = std::find_if(processes.begin(), processes.end(),
                               [&](const AudioProcessInfo &p) { return p.objectID == pid; });
        if (it == processes.end()) {
            AudioProcessInfo info;
            info.objectID = pid;
            info.name = stream.displayName();
            if (const QString id = stream.identifier(); !id.isEmpty()) info.bundleID = id;
            processes.push_back(info);
            it = std::prev(processes.end());
        }
        it->isAudioActive = it->isAudioActive || stream.running;
    }
    return processes;
}

std::vector<CapturedApp> runningApps(const std::vector<PlaybackStream> &streams)
{
    std::vector<CapturedApp> apps;
    for (const PlaybackStream &stream : streams) {
        const QString id = stream.identifier();
        if (id.isEmpty()) continue;
        if (std::any_of(apps.begin(), apps.end(), [&](const CapturedApp &a) { return a.bundleIdentifier == id; }))
            continue;
        apps.push_back({id, stream.displayName()});
    }
    std::sort(apps.begin(), apps.end(), [](const CapturedApp &a, const CapturedApp &b) {
        const int byName = QString::compare(a.displayName, b.displayName, Qt::CaseInsensitive);
        return byName != 0 ? byName < 0 : a.bundleIdentifier < b.bundleIdentifier;
    });
    return apps;
}
