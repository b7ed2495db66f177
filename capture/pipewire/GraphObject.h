#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

// One object of the audio graph that application capture cares about, as copied to
// the main thread: a playback stream (a node of media class "Stream/Output/Audio"),
// a client, or a port of any node. Plain data, so that what is built on it (the
// process list, the link plan) can be tested without a server.
struct GraphObject {
    enum class Type { playbackStream, client, port };

    Type type = Type::port;
    std::uint32_t id = 0;                     // registry id
    std::map<std::string, std::string> props; // the object's properties as last reported
    bool running = false;                     // playback streams: the node is running

    // The property's value, or an empty text when it is absent.
    std::string prop(std::string_view key) const
    {
        const auto it = props.find(std::string(key));
        return it == props.end() ? std::string() : it->second;
    }
    // A decimal property, or `fallback` when absent or not a number.
    std::int64_t number(std::string_view key, std::int64_t fallback) const;

    friend bool operator==(const GraphObject &, const GraphObject &) = default;
};

using GraphObjects = std::map<std::uint32_t, GraphObject>;
