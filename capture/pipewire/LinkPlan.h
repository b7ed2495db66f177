#pragma once

#include "capture/pipewire/GraphObject.h"

#include <compare>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

// One port-to-port link from a playback stream to a capture node.
struct PortLink {
    std::uint32_t outputNode = 0;
    std::uint32_t outputPort = 0;
    std::uint32_t inputNode = 0;
    std::uint32_t inputPort = 0;

    friend auto operator<=>(const PortLink &, const PortLink &) = default;
};

// How a stream's channels reach the capture node's input ports.
enum class LinkRouting {
    // The stream's own front pair: FL to FL, FR to FR, a mono channel to both; every
    // other channel is left out.
    frontPair,
    // Each channel to the input of the same position; a channel the capture node does
    // not have is left out, except mono, which feeds FL and FR (or a mono input).
    samePosition,
    // Folded onto a stereo pair by side: left channels to FL, right channels to FR,
    // mono, centre and LFE to both. An input port sums what is linked to it.
    stereoFold,
};

// The output channels ("FL", "FR", ...) of a node in port order; monitor ports are
// not outputs of the stream's signal and are left out.
std::vector<std::string> outputPositions(const GraphObjects &graph, std::uint32_t node);

// Every link that connects the `sources` nodes' outputs to the input ports of
// `captureNode`, in a stable order. Nodes or ports that do not exist yet give no link.
std::vector<PortLink> planLinks(const GraphObjects &graph, std::span<const std::uint32_t> sources,
                                std::uint32_t captureNode, LinkRouting routing);
