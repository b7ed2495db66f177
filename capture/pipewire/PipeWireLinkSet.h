#pragma once

#include "capture/pipewire/LinkPlan.h"

#include <QObject>

#include <map>
#include <vector>

struct pw_proxy;
class PipeWireConnection;

// The links one capture back-end made, kept equal to a wanted set. Links are created
// through the server's link factory as objects of this client that do not linger, so
// the server removes them when their proxy is destroyed or when this process goes away,
// even if it is killed.
class PipeWireLinkSet : public QObject {
    Q_OBJECT

public:
    explicit PipeWireLinkSet(PipeWireConnection &connection);
    // Removes every link.
    ~PipeWireLinkSet() override;

    // Main thread: creates the links in `wanted` that do not exist yet and removes the
    // ones not in it.
    void apply(const std::vector<PortLink> &wanted);
    // Main thread: removes every link.
    void clear() { apply({}); }

    std::size_t size() const { return links_.size(); }

private:
    void forget();

    PipeWireConnection &connection_;
    std::map<PortLink, pw_proxy *> links_; // link proxies made by this set
};
