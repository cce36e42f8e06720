#pragma once
// Private links inside the test's own network namespace: each link is a bridge on the Host's side, and each
// software Target lives in a network namespace of its own (a nest), joined to a bridge by a veth pair. DAD is
// off everywhere, so link-local addresses work at once. All of it vanishes with the test's namespace.
#include "BRINA/Network/IPAddress.h"
#include "tools/receiver/SoftwareTarget.h"
#include "tools/receiver/TargetConfig.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace TESTING {

class PrivateLink {
public:
    // Moves the calling thread into a new network namespace, and checks that it is one of its own before any
    // discovery call; false with the reason otherwise (not root, namespaces that can't be compared).
    static bool enterOwnNamespace(std::string& why);

    // links bridges, "tlink0" and on; ready() tells whether that worked.
    explicit PrivateLink(size_t links = 1);
    ~PrivateLink();
    PrivateLink(const PrivateLink&) = delete;
    PrivateLink& operator=(const PrivateLink&) = delete;
    bool ready() const { return made; }

    // A nest on one link with a Target started from config (bound everywhere in the nest); answering false
    // leaves it silent. Returns its number, from 0, or -1 with the reason in error.
    int addTarget(size_t link, TESSERA::TargetConfig config, std::string& error, bool answering = true);
    // A new Target in nest i in place of the one there; stopTarget leaves the nest silent.
    bool startTarget(size_t i, TESSERA::TargetConfig config, std::string& error);
    void stopTarget(size_t i) { nests[i].target.reset(); }
    // Waits until every bridge has its own link-local address; false after 10 s.
    bool waitForHostAddresses() const;

    // Target i's discovery address as the Host reaches it, with the bridge's scope.
    BRINA::IPAddress targetAddress(size_t i) const { return nests[i].address; }
    TESSERA::SoftwareTarget& target(size_t i) { return *nests[i].target; }
    uint32_t linkScope(size_t link) const;
    std::string linkName(size_t link) const { return "tlink" + std::to_string(link); }

private:
    struct Nest {
        int space = -1; // the nest's namespace, held open while the link lives
        BRINA::IPAddress address;
        std::unique_ptr<TESSERA::SoftwareTarget> target;
    };
    // Runs step with the calling thread in namespace space: sockets and threads made there stay there.
    bool inside(int space, const std::function<bool()>& step) const;

    size_t linkCount;
    int home; // the test's own namespace
    bool made = false;
    std::vector<Nest> nests;
};

} // namespace TESTING
