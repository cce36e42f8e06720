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

using Clock = std::chrono::steady_clock;

bool shell(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

// Inherited by the ip program, which reaches the namespace as /proc/self/fd/N.
int namespaceHere() {
    return open("/proc/thread-self/ns/net", O_RDONLY);
}

// The first link-local address of the calling thread's namespace, within 10 s.
bool firstAddress(BRINA::IPAddress& address) {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    BRINA::LocalAddressMap addresses;
    while ((!BRINA::getMyLocalAddresV6(addresses, false) || addresses.empty()) && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (!addresses.empty()) address = addresses.begin()->first;
    return !addresses.empty();
}

} // namespace

bool PrivateLink::enterOwnNamespace(std::string& why) {
    if (geteuid() != 0) {
        why = "needs root to make a network namespace";
        return false;
    }
    if (unshare(CLONE_NEWNET) != 0) {
        why = "can't unshare a network namespace";
        return false;
    }
    if (BRINA::checkNetworkNamespace() != BRINA::NamespaceCheck::Own) {
        why = "the namespaces can't be compared here (process 1 is hidden), so discovery stays refused";
        return false;
    }
    return true;
}

PrivateLink::PrivateLink(size_t links) : linkCount(links), home(namespaceHere()) {
    // Never in the machine's namespace: there the links would sit beside real interfaces.
    if (BRINA::checkNetworkNamespace() != BRINA::NamespaceCheck::Own) return;
    if (!shell("ip link set lo up && sysctl -qw net.ipv6.conf.default.accept_dad=0")) return;
    for (size_t link = 0; link < links; ++link)
        if (!shell("ip link add " + linkName(link) + " type bridge forward_delay 0 mcast_snooping 0 && " +
                   "ip link set " + linkName(link) + " up"))
            return;
    made = true;
}

PrivateLink::~PrivateLink() {
    for (Nest& nest : nests) {
        nest.target.reset();
        close(nest.space);
    }
    close(home);
}

bool PrivateLink::inside(int space, const std::function<bool()>& step) const {
    if (setns(space, CLONE_NEWNET) != 0) return false;
    const bool done = step();
    return setns(home, CLONE_NEWNET) == 0 && done;
}

int PrivateLink::addTarget(size_t link, TESSERA::TargetConfig config, std::string& error, bool answering) {
    const std::string n = std::to_string(nests.size());
    error = "can't make nest " + n;
    if (!made || link >= linkCount || unshare(CLONE_NEWNET) != 0) return -1;
    Nest& nest = nests.emplace_back(Nest{namespaceHere(), link, {}, nullptr});
    const bool set = shell("ip link set lo up && sysctl -qw net.ipv6.conf.default.accept_dad=0");
    // The Host's end carries no address of its own, as a bridge port.
    if (setns(home, CLONE_NEWNET) != 0 || !set ||
        !shell("ip link add tport" + n + " type veth peer name tnest" + n + " netns /proc/self/fd/" +
               std::to_string(nest.space) + " && sysctl -qw net.ipv6.conf.tport" + n +
               ".disable_ipv6=1 && ip link set tport" + n + " master " + linkName(link) + " up") ||
        !inside(nest.space,
                [&] { return shell("ip link set tnest" + n + " up") && firstAddress(nest.address); }))
        return -1;
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
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (Clock::now() < deadline) {
        BRINA::LocalAddressMap addresses;
        size_t withAddress = 0;
        if (BRINA::getMyLocalAddresV6(addresses, false))
            for (size_t link = 0; link < linkCount; ++link)
                for (const auto& entry : addresses)
                    if (entry.first.scope() == linkScope(link)) {
                        ++withAddress;
                        break;
                    }
        if (withAddress == linkCount) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

BRINA::IPAddress PrivateLink::targetAddress(size_t i) const {
    return nests[i].address;
}

uint32_t PrivateLink::linkScope(size_t link) const {
    return if_nametoindex(linkName(link).c_str());
}

} // namespace TESTING
