#pragma once

#include "capture/pipewire/GraphObject.h"

#include <QObject>

#include <cstdint>
#include <map>
#include <memory>

struct pw_registry;
struct spa_dict;

// The part of the graph that application capture needs: every playback stream with
// its state, every client (for the process behind a stream) and every port (to link a
// stream's outputs to a capture node). Streams and clients are bound on the PipeWire
// thread so their full properties and the stream's running state arrive; ports are
// described well enough by the registry. Every change is copied and queued to the main
// thread, where objects() lives.
class PipeWireStreamGraph : public QObject {
    Q_OBJECT

public:
    ~PipeWireStreamGraph() override;

    // Main thread.
    const GraphObjects &objects() const { return objects_; }

signals:
    // An object appeared, changed or went away.
    void changed();

private:
    friend class PipeWireConnection;
    struct Bound;
    friend struct Bound;

    PipeWireStreamGraph();

    // PipeWire thread, loop lock held.
    void addGlobalOnLoop(pw_registry *registry, std::uint32_t id, const char *type, std::uint32_t version,
                         const spa_dict *props, std::uint64_t generation);
    void removeGlobalOnLoop(std::uint32_t id, std::uint64_t generation);
    void detachOnLoop();
    void postUpdate(std::uint64_t generation, GraphObject object);

    // Main thread.
    void setGeneration(std::uint64_t generation) { generation_ = generation; }
    void clear() { objects_.clear(); }
    void applyUpdate(std::uint64_t generation, const GraphObject &object);
    void applyRemoval(std::uint64_t generation, std::uint32_t id);

    std::map<std::uint32_t, std::unique_ptr<Bound>> bound_; // loop side: by registry id
    GraphObjects objects_;                                  // main side
    std::uint64_t generation_ = 0;                          // connection whose events are accepted
};
