#pragma once

#include <QObject>

#include <cstdint>
#include <memory>
#include <string>

struct pw_registry;
struct spa_dict;
class PipeWireConnection;

// The session manager's "default" metadata: which sink and which source are the
// defaults. Bound on the PipeWire thread; values are copied to the main thread.
class PipeWireMetadataManager : public QObject {
    Q_OBJECT

public:
    ~PipeWireMetadataManager() override;

    // Main thread: node.name of the default sink / source, empty when none is known.
    const std::string &defaultSinkName() const { return defaultSink_; }
    const std::string &defaultSourceName() const { return defaultSource_; }

    // The node name inside a default-node value such as {"name":"alsa_output.x"};
    // empty when the value is not of that form.
    static std::string nodeNameFromValue(const std::string &jsonValue);

signals:
    void defaultsChanged();

private:
    friend class PipeWireConnection;
    struct Binding;
    friend struct Binding;

    PipeWireMetadataManager();

    // PipeWire thread, loop lock held.
    void addGlobalOnLoop(pw_registry *registry, std::uint32_t id, std::uint32_t version,
                         const spa_dict *props, std::uint64_t generation);
    void removeGlobalOnLoop(std::uint32_t id);
    void detachOnLoop();
    void postProperty(std::uint64_t generation, std::string key, std::string value);

    // Main thread.
    void setGeneration(std::uint64_t generation) { generation_ = generation; }
    void clear();
    void applyProperty(std::uint64_t generation, const std::string &key, const std::string &value);

    std::unique_ptr<Binding> binding_;  // loop side: the bound metadata object, if any
    std::string defaultSink_;           // main side: node.name of the default sink
    std::string defaultSource_;         // main side: node.name of the default source
    std::uint64_t generation_ = 0;      // connection whose events are accepted
};
