// NOTIFY inside a network namespace that the test makes for its own process: the namespace, its
// interfaces and everything sent there vanish with the process, also when the test fails.
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"
#include "BRINA/ProcessEnvironment.h"
#include "tools/receiver/SoftwareTarget.h"
#include "transport/wire/PacketHeader.h"
#include "transport/wire/SyncCommands.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <set>
#include <thread>

namespace {

using BRINA::IPAddress;
using Clock = std::chrono::steady_clock;

// Two ends of a veth pair, each with a link-local address that is usable at once.
bool makeInterfaces() {
    if (std::system("ip link set lo up && sysctl -qw net.ipv6.conf.default.accept_dad=0 && "
                    "ip link add tn0 type veth peer name tn1 && ip link set tn0 up && ip link set tn1 up") !=
        0)
        return false;
    // The kernel adds the addresses once the carrier is seen, shortly after the links are up.
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (Clock::now() < deadline) {
        BRINA::LocalAddressMap addresses;
        if (BRINA::getMyLocalAddresV6(addresses, false) && addresses.size() >= 2) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

TEST(TargetNotifyTest, CountsFromZeroOncePerSecond) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to make a network namespace";
    ASSERT_EQ(unshare(CLONE_NEWNET), 0);
    if (BRINA::checkNetworkNamespace() != BRINA::NamespaceCheck::Own)
        GTEST_SKIP()
            << "the namespaces can't be compared here (process 1 is hidden), so NOTIFY stays refused";
    ASSERT_TRUE(makeInterfaces());

    BRINA::Socket listener;
    IPAddress notifyPort;
    notifyPort.setPort(TESSERA::kNotifyPort);
    ASSERT_TRUE(listener.open(BRINA::Socket::IPv6Datagram) && listener.bind(notifyPort));

    TESSERA::TargetConfig config; // bound to ::, inside this namespace
    config.discoveryPort = 0;
    config.notify = true;
    config.notifyLimit = 3;
    TESSERA::SoftwareTarget target(config);
    std::string error;
    ASSERT_TRUE(target.start(error)) << error;

    // Each NOTIFY arrives once per interface (and once more over the pair); three of them take two seconds.
    std::set<uint16_t> counters;
    Clock::time_point firstSeen[3];
    const auto deadline = Clock::now() + std::chrono::seconds(15);
    while (counters.size() < 3 && Clock::now() < deadline) {
        if (listener.wait(100'000) != BRINA::Socket::WaitReadable) continue;
        std::vector<uint8_t> datagram;
        IPAddress from;
        ASSERT_TRUE(listener.receive(datagram, from));
        ASSERT_EQ(datagram.size(), 16u);
        const TESSERA::PacketHeader header(datagram.data());
        EXPECT_TRUE(header.command() == TESSERA::NOTIFY && header.flags() == 0) << header.command();
        EXPECT_TRUE(from.port() == target.discoveryPort() && from.isLinkLocal()) << from.toStringWithPort();
        if (header.word8() < 3 && counters.insert(header.word8()).second)
            firstSeen[header.word8()] = Clock::now();
    }
    ASSERT_EQ(counters, (std::set<uint16_t>{0, 1, 2}));
    // Once a second: counters 0 and 2 lie two seconds apart, whatever a busy machine adds to either.
    const auto apart =
        std::chrono::duration_cast<std::chrono::milliseconds>(firstSeen[2] - firstSeen[0]).count();
    EXPECT_TRUE(apart >= 1500 && apart <= 4000) << apart;
}

} // namespace
