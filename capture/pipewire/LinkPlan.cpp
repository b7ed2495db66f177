#include "capture/pipewire/LinkPlan.h"

#include "engine/dsp/StereoDownmix.h"

#include <algorithm>

namespace {

struct Port {
    std::uint32_t id = 0;
    std::string channel;    // audio.channel
    std::int64_t index = 0; // port.id: the port's place on its node
};

std::vector<Port> ports(const GraphObjects &graph, std::uint32_t node, const char *direction)
{
    std::vector<Port> found;
    for (const auto &[id, object] : graph) {
        if (object.type != GraphObject::Type::port) continue;
        if (object.number("node.id", -1) != static_cast<std::int64_t>(node)) continue;
        if (object.prop("port.direction") != direction || object.prop("port.monitor") == "true") continue;
        found.push_back({id, object.prop("audio.channel"), object.number("port.id", 0)});
    }
    // Registry ids are handed out in no particular order; the node's own numbering
    // is the channel order.
    std::stable_sort(found.begin(), found.end(), [](const Port &a, const Port &b) { return a.index < b.index; });
    return found;
}

const Port *findChannel(const std::vector<Port> &inputs, std::string_view channel)
{
    const auto it = std::find_if(inputs.begin(), inputs.end(), [&](const Port &p) { return p.channel == channel; });
    return it == inputs.end() ? nullptr : &*it;
}

// The input ports that one output channel feeds.
std::vector<const Port *> targets(const std::vector<Port> &inputs, std::string_view channel, LinkRouting routing)
{
    const Port *left = findChannel(inputs, "FL");
    const Port *right = findChannel(inputs, "FR");
    const Port *mono = findChannel(inputs, "MONO");
    auto both = [&]() -> std::vector<const Port *> {
        if (left || right) return {left, right};
        return {mono};
    };

    switch (routing) {
    case LinkRouting::frontPair:
        if (channel == "FL") return {left ? left : mono};
        if (channel == "FR") return {right ? right : mono};
        if (channel == "MONO") return both();
        return {};
    case LinkRouting::samePosition:
        if (const Port *same = findChannel(inputs, channel)) return {same};
        if (channel == "MONO" || (mono && inputs.size() == 1)) return both();
        return {};
    case LinkRouting::stereoFold:
        switch (stereoSideOf(channel)) {
        case StereoSide::left:
            return {left ? left : mono};
        case StereoSide::right:
            return {right ? right : mono};
        case StereoSide::both:
            return both();
        }
    }
    return {};
}

} // namespace

std::vector<std::string> outputPositions(const GraphObjects &graph, std::uint32_t node)
{
    std::vector<std::string> positions;
    for (const Port &port : ports(graph, node, "out")) positions.push_back(port.channel);
    return positions;
}

std::vector<PortLink> planLinks(const GraphObjects &graph, std::span<const std::uint32_t> sources,
                                std::uint32_t captureNode, LinkRouting routing)
{
    std::vector<PortLink> links;
    const std::vector<Port> inputs = ports(graph, captureNode, "in");
    if (inputs.empty()) return links;
    for (const std::uint32_t source : sources) {
        for (const Port &output : ports(graph, source, "out")) {
            for (const Port *input : targets(inputs, output.channel, routing)) {
                if (input) links.push_back({source, output.id, captureNode, input->id});
            }
        }
    }
    std::sort(links.begin(), links.end());
    links.erase(std::unique(links.begin(), links.end()), links.end());
    return links;
}
