#include "capture/pipewire/PipeWireLinkSet.h"

#include "capture/pipewire/PipeWireConnection.h"

#include <pipewire/pipewire.h>

#include <algorithm>

PipeWireLinkSet::PipeWireLinkSet(PipeWireConnection &connection) : connection_(connection)
{
    // The core takes its proxies with it; ours must not be destroyed a second time.
    connect(&connection_, &PipeWireConnection::connectionLost, this, &PipeWireLinkSet::forget);
}

PipeWireLinkSet::~PipeWireLinkSet() { clear(); }

void PipeWireLinkSet::forget() { links_.clear(); }

void PipeWireLinkSet::apply(const std::vector<PortLink> &wanted)
{
    PipeWireLoopLock lock(connection_.threadLoop());
    pw_core *core = connection_.core();
    if (!core) {
        links_.clear();
        return;
    }
    for (auto it = links_.begin(); it != links_.end();) {
        if (std::find(wanted.begin(), wanted.end(), it->first) == wanted.end()) {
            pw_proxy_destroy(it->second);
            it = links_.erase(it);
        } else {
            ++it;
        }
    }
    for (const PortLink &link : wanted) {
        if (links_.contains(link)) continue;
        pw_properties *props = pw_properties_new(PW_KEY_OBJECT_LINGER, "false", nullptr);
        pw_properties_setf(props, PW_KEY_LINK_OUTPUT_NODE, "%u", link.outputNode);
        pw_properties_setf(props, PW_KEY_LINK_OUTPUT_PORT, "%u", link.outputPort);
        pw_properties_setf(props, PW_KEY_LINK_INPUT_NODE, "%u", link.inputNode);
        pw_properties_setf(props, PW_KEY_LINK_INPUT_PORT, "%u", link.inputPort);
        auto *proxy = static_cast<pw_proxy *>(
            pw_core_create_object(core, "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &props->dict, 0));
        pw_properties_free(props);
        if (proxy) links_.emplace(link, proxy);
    }
}
