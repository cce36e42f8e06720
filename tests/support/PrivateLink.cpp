#include "tests/support/PrivateLink.h"

#include "BRINA/ProcessEnvironment.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace TESTING {

namespace {

bool shell(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

// Left open across exec, so that the ip program reaches the namespace as /proc/self/fd/N.
int namespaceHere() {
    return open("/proc/thread-self/ns/net", O_RDONLY);
}

// The link-local addresses of the calling thread's namespace, once done says they are complete; 10 s at most.
bool addressesWhen(const std::function<bool(const BRINA::LocalAddressMap&)>& done,
                   BRINA::LocalAddressMap& map) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!(BRINA::getMyLocalAddresV6(map, false) && done(map)) &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return done(map);
}

} // namespace

bool PrivateLink::enterOwnNamespace(std::string& why) {
    why = geteuid() != 0 ? "needs root to make a network namespace" : "can't unshare a network namespace";
    if (geteuid() != 0 || unshare(CLONE_NEWNET) != 0) return false;
    why = "the namespaces can't be compared here (process 1 is hidden), so discovery stays refused";
    return BRINA::checkNetworkNamespace() == BRINA::NamespaceCheck::Own;
}

PrivateLink::PrivateLink(size_t links) : linkCount(links), home(namespaceHere()) {
    // Never in the machine's namespace: there the links would sit beside real interfaces.
    if (BRINA::checkNetworkNamespace() != BRINA::NamespaceCheck::Own) return;
    made = shell("ip link set lo up && sysctl -qw net.ipv6.conf.default.accept_dad=0");
    for (size_t link = 0; link < links; ++link)
        made = made &&
               shell("ip link add " + linkName(link) + " up type bridge forward_delay 0 mcast_snooping 0");
}

PrivateLink::~PrivateLink() {
    for (Nest& nest : nests)
        close(nest.space); // each nest goes once its Target has stopped
    close(home);
}

bool PrivateLink::inside(int space, const std::function<bool()>& step) const {
    if (setns(space, CLONE_NEWNET) != 0) return false;
    const bool done = step();
    return setns(home, CLONE_NEWNET) == 0 && done;
}

int PrivateLink::addTarget(size_t link, TESSERA::TargetConfig config, std::string& error, bool answering) {
    const std::string n = std::to_string(nests.size()), port = "tport" + n, far = "tnest" + n;
    error = "can't make the nest " + far;
    if (!made || link >= linkCount || unshare(CLONE_NEWNET) != 0) return -1;
    Nest& nest = nests.emplace_back(Nest{namespaceHere(), {}, nullptr});
    const bool set = shell("ip link set lo up && sysctl -qw net.ipv6.conf.default.accept_dad=0");
    BRINA::LocalAddressMap map;
    // The Host's end carries no address of its own, as a bridge port.
    if (setns(home, CLONE_NEWNET) != 0 || !set ||
        !shell("ip link add " + port + " type veth peer name " + far + " netns /proc/self/fd/" +
               std::to_string(nest.space) + " && sysctl -qw net.ipv6.conf." + port +
               ".disable_ipv6=1 && ip link set " + port + " master " + linkName(link) + " up") ||
        !inside(nest.space, [&] {
            return shell("ip link set " + far + " up") &&
                   addressesWhen([](auto& m) { return !m.empty(); }, map);
        }))
        return -1;
    nest.address = map.begin()->first;
    nest.address.setPort(config.discoveryPort);
    nest.address.setScope(linkScope(link));
    error.clear();
    if (answering && !startTarget(nests.size() - 1, std::move(config), error)) return -1;
    return static_cast<int>(nests.size() - 1);
}

bool PrivateLink::startTarget(size_t i, TESSERA::TargetConfig config, std::string& error) {
    Nest& nest = nests[i];
    nest.target.reset();
    return inside(nest.space, [&] {
        nest.target = std::make_unique<TESSERA::SoftwareTarget>(std::move(config));
        return nest.target->start(error);
    });
}

bool PrivateLink::waitForHostAddresses() const {
    BRINA::LocalAddressMap map; // only the bridges have link-local addresses here
    return addressesWhen([this](const BRINA::LocalAddressMap& m) { return m.size() == linkCount; }, map);
}

uint32_t PrivateLink::linkScope(size_t link) const {
    return if_nametoindex(linkName(link).c_str());
}

} // namespace TESTING
