#include "capture/pipewire/PipeWireMetadataManager.h"

#include "engine/CrossThreadCall.h"

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <cstring>

namespace {

constexpr const char *defaultSinkKey = "default.audio.sink";
constexpr const char *defaultSourceKey = "default.audio.source";
constexpr const char *defaultMetadataName = "default";

} // namespace

// The bound "default" metadata object. Lives on the PipeWire thread only.
struct PipeWireMetadataManager::Binding {
    PipeWireMetadataManager *manager = nullptr;
    std::uint32_t id = 0;           // registry id of the metadata object
    std::uint64_t generation = 0;   // connection it belongs to
    pw_metadata *metadata = nullptr;
    spa_hook listener{};

    static int onProperty(void *data, std::uint32_t subject, const char *key, const char *, const char *value)
    {
        auto *binding = static_cast<Binding *>(data);
        if (subject != PW_ID_CORE) return 0;
        // A null key means every property was removed.
        if (key && std::strcmp(key, defaultSinkKey) != 0 && std::strcmp(key, defaultSourceKey) != 0) return 0;
        binding->manager->postProperty(binding->generation, key ? key : "", value ? value : "");
        return 0;
    }
};

PipeWireMetadataManager::PipeWireMetadataManager() = default;

PipeWireMetadataManager::~PipeWireMetadataManager() = default;

std::string PipeWireMetadataManager::nodeNameFromValue(const std::string &jsonValue)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(jsonValue));
    if (!document.isObject()) return {};
    return document.object().value(QStringLiteral("name")).toString().toStdString();
}

void PipeWireMetadataManager::addGlobalOnLoop(pw_registry *registry, std::uint32_t id, std::uint32_t version,
                                              const spa_dict *props, std::uint64_t generation)
{
    static const pw_metadata_events events = {
        .version = PW_VERSION_METADATA_EVENTS,
        .property = Binding::onProperty,
    };

    const char *name = props ? spa_dict_lookup(props, PW_KEY_METADATA_NAME) : nullptr;
    if (binding_ || !name || std::strcmp(name, defaultMetadataName) != 0) return;

    auto binding = std::make_unique<Binding>();
    binding->manager = this;
    binding->id = id;
    binding->generation = generation;
    binding->metadata = static_cast<pw_metadata *>(pw_registry_bind(
        registry, id, PW_TYPE_INTERFACE_Metadata, std::min<std::uint32_t>(version, PW_VERSION_METADATA), 0));
    if (!binding->metadata) return;
    pw_metadata_add_listener(binding->metadata, &binding->listener, &events, binding.get());
    binding_ = std::move(binding);
}

void PipeWireMetadataManager::removeGlobalOnLoop(std::uint32_t id)
{
    if (!binding_ || binding_->id != id) return;
    const std::uint64_t generation = binding_->generation;
    detachOnLoop();
    postProperty(generation, "", "");
}

void PipeWireMetadataManager::detachOnLoop()
{
    if (!binding_) return;
    spa_hook_remove(&binding_->listener);
    pw_proxy_destroy(reinterpret_cast<pw_proxy *>(binding_->metadata));
    binding_.reset();
}

void PipeWireMetadataManager::postProperty(std::uint64_t generation, std::string key, std::string value)
{
    crossThreadCall(this, [this, generation, key = std::move(key), value = std::move(value)] {
        applyProperty(generation, key, value);
    });
}

void PipeWireMetadataManager::clear()
{
    defaultSink_.clear();
    defaultSource_.clear();
}

void PipeWireMetadataManager::applyProperty(std::uint64_t generation, const std::string &key, const std::string &value)
{
    if (generation != generation_) return;
    const std::string oldSink = defaultSink_;
    const std::string oldSource = defaultSource_;
    if (key.empty()) {
        clear();
    } else if (key == defaultSinkKey) {
        defaultSink_ = nodeNameFromValue(value);
    } else if (key == defaultSourceKey) {
        defaultSource_ = nodeNameFromValue(value);
    }
    if (defaultSink_ != oldSink || defaultSource_ != oldSource) emit defaultsChanged();
}
