#include "capture/pipewire/PipeWireNodeManager.h"

#include "engine/CrossThreadCall.h"

#include <pipewire/pipewire.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char *inputClasses[] = {"Audio/Source", "Audio/Source/Virtual", "Audio/Duplex"};
constexpr const char *sinkClass = "Audio/Sink";

bool isAudioClass(const char *mediaClass)
{
    if (!mediaClass) return false;
    if (std::strcmp(mediaClass, sinkClass) == 0) return true;
    return std::any_of(std::begin(inputClasses), std::end(inputClasses),
                       [&](const char *c) { return std::strcmp(mediaClass, c) == 0; });
}

// "[ FL FR ]", "[ FL, FR ]" or "FL,FR": the number of channel names.
int countPositions(const std::string &positions)
{
    int count = 0;
    bool inName = false;
    for (char c : positions) {
        const bool separator = c == ' ' || c == ',' || c == '[' || c == ']' || c == '\t';
        if (!separator && !inName) ++count;
        inName = !separator;
    }
    return count;
}

// Fills what the properties say; leaves fields alone whose key is absent, since the
// registry announces only a subset of the properties the bound node reports later.
void readProps(const spa_dict *props, AudioNodeInfo &info)
{
    if (!props) return;
    auto assignIfPresent = [&](const char *key, std::string &field) {
        if (const char *value = spa_dict_lookup(props, key)) field = value;
    };
    assignIfPresent(PW_KEY_NODE_NAME, info.name);
    assignIfPresent(PW_KEY_NODE_DESCRIPTION, info.description);
    assignIfPresent(PW_KEY_NODE_NICK, info.nick);
    assignIfPresent(PW_KEY_MEDIA_CLASS, info.mediaClass);
    if (const char *channels = spa_dict_lookup(props, PW_KEY_AUDIO_CHANNELS)) {
        info.channels = std::max(0, std::atoi(channels));
    } else if (const char *positions = spa_dict_lookup(props, "audio.position")) {
        info.channels = countPositions(positions);
    }
}

} // namespace

std::string AudioNodeInfo::displayName() const
{
    if (!description.empty()) return description;
    if (!nick.empty()) return nick;
    return name;
}

bool AudioNodeInfo::isInput() const
{
    return std::any_of(std::begin(inputClasses), std::end(inputClasses),
                       [&](const char *c) { return mediaClass == c; });
}

bool AudioNodeInfo::isSink() const { return mediaClass == sinkClass; }

// One bound node proxy. Lives on the PipeWire thread only.
struct PipeWireNodeManager::BoundNode {
    PipeWireNodeManager *manager = nullptr;
    std::uint64_t generation = 0;  // connection the node belongs to
    AudioNodeInfo info;            // latest known state, as sent to the main thread
    pw_proxy *proxy = nullptr;     // bound node; nullptr when binding failed
    spa_hook listener{};

    static void onInfo(void *data, const pw_node_info *nodeInfo)
    {
        auto *node = static_cast<BoundNode *>(data);
        if (!(nodeInfo->change_mask & PW_NODE_CHANGE_MASK_PROPS)) return;
        AudioNodeInfo updated = node->info;
        readProps(nodeInfo->props, updated);
        if (updated == node->info) return;
        node->info = updated;
        node->manager->postUpdate(node->generation, updated);
    }
};


PipeWireNodeManager::PipeWireNodeManager() = default;

PipeWireNodeManager::~PipeWireNodeManager() = default;

const AudioNodeInfo *PipeWireNodeManager::findById(std::uint32_t id) const
{
    auto it = std::find_if(nodes_.begin(), nodes_.end(), [&](const AudioNodeInfo &n) { return n.id == id; });
    return it == nodes_.end() ? nullptr : &*it;
}

const AudioNodeInfo *PipeWireNodeManager::findByName(std::string_view nodeName) const
{
    auto it = std::find_if(nodes_.begin(), nodes_.end(), [&](const AudioNodeInfo &n) { return n.name == nodeName; });
    return it == nodes_.end() ? nullptr : &*it;
}

void PipeWireNodeManager::addGlobalOnLoop(pw_registry *registry, std::uint32_t id, std::uint32_t version,
                                          const spa_dict *props, std::uint64_t generation)
{
    if (!isAudioClass(props ? spa_dict_lookup(props, PW_KEY_MEDIA_CLASS) : nullptr)) return;

    static const pw_node_events nodeEvents = {
        .version = PW_VERSION_NODE_EVENTS,
        .info = BoundNode::onInfo,
        .param = nullptr,
    };

    auto node = std::make_unique<BoundNode>();
    node->manager = this;
    node->generation = generation;
    node->info.id = id;
    readProps(props, node->info);
    node->proxy = static_cast<pw_proxy *>(
        pw_registry_bind(registry, id, PW_TYPE_INTERFACE_Node, std::min<std::uint32_t>(version, PW_VERSION_NODE), 0));
    if (node->proxy) pw_proxy_add_object_listener(node->proxy, &node->listener, &nodeEvents, node.get());
    postUpdate(generation, node->info);
    bound_[id] = std::move(node);
}

void PipeWireNodeManager::removeGlobalOnLoop(std::uint32_t id, std::uint64_t generation)
{
    auto it = bound_.find(id);
    if (it == bound_.end()) return;
    if (it->second->proxy) {
        spa_hook_remove(&it->second->listener);
        pw_proxy_destroy(it->second->proxy);
    }
    bound_.erase(it);
    crossThreadCall(this, [this, generation, id] { applyRemoval(generation, id); });
}

bool PipeWireNodeManager::isLiveOnLoop(std::uint32_t id) const { return bound_.contains(id); }

void PipeWireNodeManager::detachOnLoop()
{
    for (auto &[id, node] : bound_) {
        if (!node->proxy) continue;
        spa_hook_remove(&node->listener);
        pw_proxy_destroy(node->proxy);
    }
    bound_.clear();
}

void PipeWireNodeManager::postUpdate(std::uint64_t generation, AudioNodeInfo info)
{
    crossThreadCall(this, [this, generation, info = std::move(info)] { applyUpdate(generation, info); });
}

void PipeWireNodeManager::applyUpdate(std::uint64_t generation, const AudioNodeInfo &info)
{
    if (generation != generation_) return;
    auto it = std::find_if(nodes_.begin(), nodes_.end(), [&](const AudioNodeInfo &n) { return n.id == info.id; });
    if (it == nodes_.end()) {
        nodes_.push_back(info);
    } else {
        if (*it == info) return;
        *it = info;
    }
    emit nodesChanged();
}

void PipeWireNodeManager::applyRemoval(std::uint64_t generation, std::uint32_t id)
{
    if (generation != generation_) return;
    auto it = std::find_if(nodes_.begin(), nodes_.end(), [&](const AudioNodeInfo &n) { return n.id == id; });
    if (it == nodes_.end()) return;
    nodes_.erase(it);
    emit nodesChanged();
}
