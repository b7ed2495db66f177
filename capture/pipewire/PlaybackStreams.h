#pragma once

#include "capture/AudioSources.h"
#include "capture/pipewire/GraphObject.h"

#include <QSet>
#include <QString>

#include <cstdint>
#include <string>
#include <vector>

// A playback stream with the process behind it resolved: what the stream node says
// first, then what its client says (a client made by the PulseAudio layer or by a tool
// such as pw-play carries other names than the stream).
struct PlaybackStream {
    std::uint32_t nodeId = 0;
    std::int64_t processId = 0; // 0 when neither the stream nor its client says
    std::string appName;        // application.name
    std::string binary;         // application.process.binary
    std::string portalAppId;    // pipewire.access.portal.app_id (sandboxed apps)
    bool running = false;

    // The identifier applications are chosen by: the portal app id, else the program.
    QString identifier() const;
    // The name shown: the application's name, else "PID " + the process id.
    QString displayName() const;
    // Whether `ids` names this stream's application (by app id or by program name).
    bool matches(const QSet<QString> &ids) const;
};

// Every playback stream of the graph in registry order, without this process's own
// (ownProcessId) and the audio server's.
std::vector<PlaybackStream> playbackStreams(const GraphObjects &graph, std::int64_t ownProcessId);

// The processes behind `streams`, in order of their first stream: name and identifier
// from that stream, active when any of their streams runs. Streams of an unknown
// process are left out.
std::vector<AudioProcessInfo> discoverAudioProcesses(const std::vector<PlaybackStream> &streams);

// One entry per application identifier among `streams`, sorted by display name.
std::vector<CapturedApp> runningApps(const std::vector<PlaybackStream> &streams);
