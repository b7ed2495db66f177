#pragma once

#include <QObject>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct pw_registry;
struct spa_dict;
class PipeWireConnection;

// What the application knows about one audio node of the server.
struct AudioNodeInfo {
    std::uint32_t id = 0;     // registry id (the device identifier)
    std::string name;         // node.name, what a stream targets
    std::string description;  // node.description
    std::string nick;         // node.nick
    std::string mediaClass;   // media.class, e.g. "Audio/Source"
    int channels = 0;         // audio.channels, else the audio.position count; 0 = unknown

    // node.description, else node.nick, else node.name.
    std::string displayName() const;
    // A node whose own signal can be captured: "Audio/Source", "Audio/Source/Virtual",
    // "Audio/Duplex".
    bool isInput() const;
    // An output whose monitor can be captured: "Audio/Sink".
    bool isSink() const;

    friend bool operator==(const AudioNodeInfo &, const AudioNodeInfo &) = default;
};

// The audio nodes of the server (sources, duplex nodes and sinks), kept in the order
// the registry announced them.
//
// On the PipeWire thread each such node is bound so that property changes arrive too;
// every change is copied and queued to the main thread, where the list lives.
class PipeWireNodeManager : public QObject {
    Q_OBJECT

public:
    ~PipeWireNodeManager() override;

    // Main thread.
    const std::vector<AudioNodeInfo> &nodes() const { return nodes_; }
    const AudioNodeInfo *findById(std::uint32_t id) const;
    const AudioNodeInfo *findByName(std::string_view nodeName) const;

signals:
    // A node appeared or vanished, or its display name or channel count changed.
    void nodesChanged();

private:
    friend class PipeWireConnection;
    struct BoundNode;
    friend struct BoundNode;

    PipeWireNodeManager();

    // PipeWire thread, loop lock held.
    void addGlobalOnLoop(pw_registry *registry, std::uint32_t id, std::uint32_t version,
                         const spa_dict *props, std::uint64_t generation);
    void removeGlobalOnLoop(std::uint32_t id, std::uint64_t generation);
    bool isLiveOnLoop(std::uint32_t id) const;
    // Destroys every bound node proxy; run before the core is disconnected.
    void detachOnLoop();
    void postUpdate(std::uint64_t generation, AudioNodeInfo info);

    // Main thread.
    void setGeneration(std::uint64_t generation) { generation_ = generation; }
    // Forgets every node without emitting nodesChanged (the server is gone).
    void clear() { nodes_.clear(); }
    void applyUpdate(std::uint64_t generation, const AudioNodeInfo &info);
    void applyRemoval(std::uint64_t generation, std::uint32_t id);

    // Loop side: bound proxies by registry id.
    std::map<std::uint32_t, std::unique_ptr<BoundNode>> bound_;
    // Main side.
    std::vector<AudioNodeInfo> nodes_;  // registry order
    std::uint64_t generation_ = 0;      // connection whose events are accepted
};
