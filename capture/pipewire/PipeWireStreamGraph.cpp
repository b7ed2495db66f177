#include "capture/pipewire/PipeWireStreamGraph.h"

#include "engine/CrossThreadCall.h"

#include <pipewire/pipewire.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

std::int64_t GraphObject::number(std::string_view key, std::int64_t fallback) const
{
    const std::string text = prop(key);
    if (text.empty()) return fallback;
    char *end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    return *end == '\0' ? value : fallback;
}

namespace {

constexpr const char *playbackStreamClass = "Stream/Output/Audio";

// Later reports may carry only some keys (the registry announces a subset of what the
// bound object reports), so known values are kept unless overwritten.
void mergeProps(const spa_dict *props, GraphObject &object)
{
    if (!props) return;
    const spa_dict_item *item = nullptr;
    spa_dict_for_each(item, props)
    {
        if (item->key && item->value) object.props[item->key] = item->value;
    }
}

} // namespace

// One tracked object on the PipeWire thread; streams and clients are bound.
struct PipeWireStreamGraph::Bound {
    PipeWireStreamGraph *graph = nullptr;
    std::uint64_t generation = 0; // connection the object belongs to
    GraphObject object;           // latest state, as sent to the main thread
    pw_proxy *proxy = nullptr;    // nullptr for ports, or when binding failed
    spa_hook listener{};

    void publishIfChanged(const GraphObject &updated)
    {
        if (updated == object) return;
        object = updated;
        graph->postUpdate(generation, updated);
    }

    static void onNodeInfo(void *data, const pw_node_info *info)
    {
        auto *bound = static_cast<Bound *>(data);
        GraphObject updated = bound->object;
        if (info->change_mask & PW_NODE_CHANGE_MASK_PROPS) mergeProps(info->props, updated);
        if (info->change_mask & PW_NODE_CHANGE_MASK_STATE) updated.running = info->state == PW_NODE_STATE_RUNNING;
        bound->publishIfChanged(updated);
    }

    static void onClientInfo(void *data, const pw_client_info *info)
    {
        auto *bound = static_cast<Bound *>(data);
        if (!(info->change_mask & PW_CLIENT_CHANGE_MASK_PROPS)) return;
        GraphObject updated = bound->object;
        mergeProps(info->props, updated);
        bound->publishIfChanged(updated);
    }

    void release()
    {
        if (!proxy) return;
        spa_hook_remove(&listener);
        pw_proxy_destroy(proxy);
        proxy = nullptr;
    }
};

PipeWireStreamGraph::PipeWireStreamGraph() = default;

PipeWireStreamGraph::~PipeWireStreamGraph() = default;

void PipeWireStreamGraph::addGlobalOnLoop(pw_registry *registry, std::uint32_t id, const char *type,
                                          std::uint32_t version, const spa_dict *props, std::uint64_t generation)
{
    static const pw_node_events nodeEvents = {
        .version = PW_VERSION_NODE_EVENTS,
        .info = Bound::onNodeInfo,
        .param = nullptr,
    };
    static const pw_client_events clientEvents = {
        .version = PW_VERSION_CLIENT_EVENTS,
        .info = Bound::onClientInfo,
        .permissions = nullptr,
    };

    auto bound = std::make_unique<Bound>();
    bound->graph = this;
    bound->generation = generation;
    bound->object.id = id;
    mergeProps(props, bound->object);

    if (std::strcmp(type, PW_TYPE_INTERFACE_Node) == 0) {
        const char *mediaClass = props ? spa_dict_lookup(props, PW_KEY_MEDIA_CLASS) : nullptr;
        if (!mediaClass || std::strcmp(mediaClass, playbackStreamClass) != 0) return;
        bound->object.type = GraphObject::Type::playbackStream;
        bound->proxy = static_cast<pw_proxy *>(
            pw_registry_bind(registry, id, type, std::min<std::uint32_t>(version, PW_VERSION_NODE), 0));
        if (bound->proxy) pw_proxy_add_object_listener(bound->proxy, &bound->listener, &nodeEvents, bound.get());
    } else if (std::strcmp(type, PW_TYPE_INTERFACE_Client) == 0) {
        bound->object.type = GraphObject::Type::client;
        bound->proxy = static_cast<pw_proxy *>(
            pw_registry_bind(registry, id, type, std::min<std::uint32_t>(version, PW_VERSION_CLIENT), 0));
        if (bound->proxy) pw_proxy_add_object_listener(bound->proxy, &bound->listener, &clientEvents, bound.get());
    } else if (std::strcmp(type, PW_TYPE_INTERFACE_Port) == 0) {
        // Only audio ports say which channel they carry.
        if (!props || !spa_dict_lookup(props, PW_KEY_AUDIO_CHANNEL)) return;
        bound->object.type = GraphObject::Type::port;
    } else {
        return;
    }
    postUpdate(generation, bound->object);
    bound_[id] = std::move(bound);
}

void PipeWireStreamGraph::removeGlobalOnLoop(std::uint32_t id, std::uint64_t generation)
{
    auto it = bound_.find(id);
    if (it == bound_.end()) return;
    it->second->release();
    bound_.erase(it);
    crossThreadCall(this, [this, generation, id] { applyRemoval(generation, id); });
}

void PipeWireStreamGraph::detachOnLoop()
{
    for (auto &[id, bound] : bound_) bound->release();
    bound_.clear();
}

void PipeWireStreamGraph::postUpdate(std::uint64_t generation, GraphObject object)
{
    crossThreadCall(this, [this, generation, object = std::move(object)] { applyUpdate(generation, object); });
}

void PipeWireStreamGraph::applyUpdate(std::uint64_t generation, const GraphObject &object)
{
    if (generation != generation_) return;
    GraphObject &stored = objects_[object.id];
    if (stored == object) return;
    stored = object;
    emit changed();
}

void PipeWireStreamGraph::applyRemoval(std::uint64_t generation, std::uint32_t id)
{
    if (generation != generation_) return;
    if (objects_.erase(id) > 0) emit changed();
}
