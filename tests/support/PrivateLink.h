#pragma once
// Private links for discovery tests, inside the test's own network namespace: each link is a bridge on the
// Host's side, and each software Target lives in a network namespace of its own, joined to a bridge by a
// veth pair. Duplicate address detection is off everywhere, so link-local addresses work at once. All of it
// vanishes with the test's namespace.
#include "BRINA/Network/IPAddress.h"
#include "tools/receiver/SoftwareTarget.h"
#include "tools/receiver/TargetConfig.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace TESTING {

class TargetNest;

class PrivateLink {
public:
    // Moves the calling thread into a new network namespace, and checks that it is one of its own before any
    // discovery call; false with the reason otherwise (not root, namespaces that can't be compared).
    static bool enterOwnNamespace(std::string& why);

    // links bridges, "tlink0" and on, each up with DAD off; ready() tells whether that worked.
    explicit PrivateLink(size_t links = 1);
    ~PrivateLink();
    PrivateLink(const PrivateLink&) = delete;
    PrivateLink& operator=(const PrivateLink&) = delete;

    bool ready() const { return made; }
    // A Target on one link, started from config (discovery port 19642, bound everywhere in its namespace);
    // answering false leaves the namespace and its address without a Target. Returns its number, from 0,
    // or -1 with the reason in error.
    int addTarget(size_t link, TESSERA::TargetConfig config, std::string& error, bool answering = true);
    // Waits until every bridge has its own link-local address; false after 10 s.
    bool waitForHostAddresses() const;
    // Stops Target i and takes its namespace away: a receiver gone from the link.
    void removeTarget(size_t i);

    // Target i's link-local address as the Host reaches it (the bridge's scope), port 19642.
    BRINA::IPAddress targetAddress(size_t i) const;
    TESSERA::SoftwareTarget& target(size_t i);
    // The interface number and name of a link on the Host's side.
    uint32_t linkScope(size_t link) const;
    std::string linkName(size_t link) const;

private:
    size_t linkCount;
    bool made = false;
    std::vector<std::unique_ptr<TargetNest>> nests;
    std::vector<size_t> linkOf; // the link of each Target
};

} // namespace TESTING
