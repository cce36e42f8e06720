#include "tests/support/PrivateLink.h"

#include "BRINA/ProcessEnvironment.h"
#include "tests/support/TargetNest.h"

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

bool inOwnNamespace() {
    return BRINA::checkNetworkNamespace() == BRINA::NamespaceCheck::Own;
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
    if (!inOwnNamespace()) {
        why = "the namespaces can't be compared here (process 1 is hidden), so discovery stays refused";
        return false;
    }
    return true;
}

PrivateLink::PrivateLink(size_t links) : linkCount(links) {
    // Never in the machine's namespace: there the links would sit beside real interfaces.
    if (!inOwnNamespace()) return;
    if (!shell("ip link set lo up && sysctl -qw net.ipv6.conf.default.accept_dad=0")) return;
    for (size_t link = 0; link < links; ++link)
        if (!shell("ip link add " + linkName(link) +
                   " type bridge forward_delay 0 mcast_snooping 0 && ip link set " + linkName(link) + " up"))
            return;
    made = true;
}

PrivateLink::~PrivateLink() {
    for (auto& nest : nests)
        if (nest) nest->stop();
}

int PrivateLink::addTarget(size_t link, TESSERA::TargetConfig config, std::string& error, bool answering) {
    if (!made || link >= linkCount) {
        error = "no such link";
        return -1;
    }
    const std::string number = std::to_string(nests.size());
    auto nest = std::make_unique<TargetNest>("tport" + number, "tnest" + number, linkName(link));
    if (!nest->start(std::move(config), answering, error)) return -1;
    nests.push_back(std::move(nest));
    linkOf.push_back(link);
    return static_cast<int>(nests.size() - 1);
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

void PrivateLink::removeTarget(size_t i) {
    nests[i]->stop();
}

BRINA::IPAddress PrivateLink::targetAddress(size_t i) const {
    BRINA::IPAddress address = nests[i]->address();
    address.setScope(linkScope(linkOf[i]));
    return address;
}

TESSERA::SoftwareTarget& PrivateLink::target(size_t i) {
    return nests[i]->target();
}

uint32_t PrivateLink::linkScope(size_t link) const {
    return if_nametoindex(linkName(link).c_str());
}

std::string PrivateLink::linkName(size_t link) const {
    return "tlink" + std::to_string(link);
}

} // namespace TESTING
