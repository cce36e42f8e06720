#include "BRINA/Network/IPAddress.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <string>

namespace {

using Groups = std::array<uint16_t, 8>;
using BRINA::IPAddress;

IPAddress fromGroups(const Groups& g, uint16_t port = 0, uint32_t scope = 0) {
    uint8_t bytes[16];
    for (int i = 0; i < 8; ++i) {
        bytes[2 * i] = static_cast<uint8_t>(g[i] >> 8);
        bytes[2 * i + 1] = static_cast<uint8_t>(g[i]);
    }
    return IPAddress(bytes, port, scope);
}

// Each reader leaves the scope alone and, where it reads no port, the port too; a refused text changes no
// port. Kind 0: parse, 1: parseWithPort, 2: parse4 (an IPv4-mapped address). shown: what toString,
// toStringWithPort or toString4 give back, compressing only the first run of zero groups, never the scope.
TEST(IPAddressTest, ReadersTakeTheirTextsKeepTheScopeAndShowTheirAddress) {
    constexpr Groups kSeed{9, 9, 9, 9, 9, 9, 9, 9};
    // clang-format off
    const struct { int kind; const char* text; bool valid; Groups groups; uint16_t port; const char* shown; } rows[] = {
        {0, "1::2:0:0:0:3", true, {1, 0, 0, 2, 0, 0, 0, 3}, 4321, "1::2:0:0:0:3"},
        {0, "::1:0:0:0:0:0", true, {0, 0, 1, 0, 0, 0, 0, 0}, 4321, "::1:0:0:0:0:0"},
        {0, "2001:0:1:2:3:4:5:6", true, {0x2001, 0, 1, 2, 3, 4, 5, 6}, 4321, "2001:0:1:2:3:4:5:6"},
        {0, "1:2:3:4:5:6:7:0", true, {1, 2, 3, 4, 5, 6, 7, 0}, 4321, "1:2:3:4:5:6:7:0"},
        {0, "abcd:ab:f0::ffff:0:0", true, {0xABCD, 0x0AB, 0x00F0, 0, 0, 0xffff, 0, 0}, 4321, "abcd:ab:f0::ffff:0:0"},
        {0, "::1", true, {0, 0, 0, 0, 0, 0, 0, 1}, 4321, "::1"},
        {0, "1:2:3:4:5:6::7", true, {1, 2, 3, 4, 5, 6, 0, 7}, 4321, "1:2:3:4:5:6:0:7"},
        {0, "FE80::ABCD:ef01", true, {0xfe80, 0, 0, 0, 0, 0, 0xabcd, 0xef01}, 4321, "fe80::abcd:ef01"},
        {0, "0001:0002:0003:0004:0005:0006:0007:ffff", true, {1, 2, 3, 4, 5, 6, 7, 0xffff}, 4321, "1:2:3:4:5:6:7:ffff"},
        {0, "1::2::3", false, kSeed, 4321, ""},
        {0, "12345::1", false, kSeed, 4321, ""},
        {0, "1:2:3:4:5:6:7", false, kSeed, 4321, ""},
        {0, "1:2:3:4:5:6:7:8:9", false, kSeed, 4321, ""},
        {0, "fe80::1%3", false, kSeed, 4321, ""},
        {0, "::1:2:3:4:5:6:7", false, kSeed, 4321, ""}, // a leading "::" leaves no gap for seven groups
        {0, "", false, kSeed, 4321, ""},
        {1, "fe80::1,19640", true, {0xfe80, 0, 0, 0, 0, 0, 0, 1}, 19640, "fe80::1,19640"},
        {1, "fe80::1,", true, {0xfe80, 0, 0, 0, 0, 0, 0, 1}, 0, "fe80::1,0"},
        {1, "fe80::1,65537", true, {0xfe80, 0, 0, 0, 0, 0, 0, 1}, 1, "fe80::1,1"},
        {1, "fe80::1,99999999999999999999", true, {0xfe80, 0, 0, 0, 0, 0, 0, 1}, 65535, "fe80::1,65535"}, // 10^20 % 65536
        {1, "fe80::1", false, kSeed, 4321, ""},
        {1, "fe80::1,12x", false, kSeed, 4321, ""},
        {1, ",80", false, kSeed, 4321, ""},
        {2, "192.168.1.2", true, {0, 0, 0, 0, 0, 0xffff, 0xC0A8, 0x0102}, 4321, "192.168.1.2"},
        {2, "127.0.0.1,65537", true, {0, 0, 0, 0, 0, 0xffff, 0x7F00, 0x0001}, 1, "127.0.0.1"},
        {2, "255.0..7", true, {0, 0, 0, 0, 0, 0xffff, 0xFF00, 0x0007}, 4321, "255.0.0.7"}, // an empty number reads as 0
        {2, "1.2.3", false, kSeed, 4321, ""},
        {2, "1.2.3.4.5", false, kSeed, 4321, ""},
        {2, "1.-2.3.4", false, kSeed, 4321, ""},
        {2, "1.2.3.256", false, kSeed, 4321, ""},
        {2, "1.2.3.4,-1", false, kSeed, 4321, ""},
    };
    // clang-format on
    for (const auto& r : rows) {
        IPAddress a = fromGroups(kSeed, 4321, 3);
        EXPECT_EQ(r.kind == 0   ? a.parse(r.text)
                  : r.kind == 1 ? a.parseWithPort(r.text)
                                : a.parse4(r.text),
                  r.valid)
            << r.text;
        EXPECT_TRUE(!r.valid || a.sameAddress(fromGroups(r.groups))) << r.text;
        EXPECT_TRUE(a.port() == r.port && a.scope() == 3u) << r.text;
        if (!r.valid) continue;
        EXPECT_EQ(r.kind == 0 ? a.toString() : r.kind == 1 ? a.toStringWithPort() : a.toString4(), r.shown);
    }
}

TEST(IPAddressTest, OrderIsAddressBytesThenPortThenScope) {
    const Groups lo{0, 0, 0, 0, 0, 0, 0, 1}, ll{0xfe80, 0, 0, 0, 0, 0, 0, 1};
    // clang-format off
    const struct { IPAddress lower, higher; } rows[] = {
        {fromGroups(lo, 0, 9), fromGroups(ll, 0, 1)},
        {fromGroups(ll, 19640, 1), fromGroups(ll, 19640, 2)},
        {fromGroups(ll, 255, 0), fromGroups(ll, 256, 0)},
        {fromGroups(ll, 1, 9), fromGroups(ll, 2, 0)},
        {fromGroups(lo, 65535, 9), fromGroups({0, 0, 0, 0, 0, 0, 0, 2}, 0, 0)},
        {fromGroups({0x7fff, 0, 0, 0, 0, 0, 0, 0}), fromGroups({0x8000, 0, 0, 0, 0, 0, 0, 0})},
        {fromGroups(ll, 0, 0xFFFFFFFE), fromGroups(ll, 0, 0xFFFFFFFF)},
    };
    // clang-format on
    for (const auto& r : rows) {
        EXPECT_TRUE(r.lower < r.higher && !(r.higher < r.lower) && r.lower != r.higher)
            << r.lower.toStringWithPort() << " " << r.lower.scope();
    }
    EXPECT_FALSE(fromGroups(ll, 80, 4) < fromGroups(ll, 80, 4));
}

// The enumeration replaces what the map held; the loopback comes with its interface's index as the
// kernel publishes it, and the filtered form keeps only link-local addresses and, if asked, the loopback.
TEST(IPAddressTest, EnumerationFindsTheLoopbackWithItsInterface) {
    uint32_t lo = 0;
    std::ifstream("/sys/class/net/lo/ifindex") >> lo;
    if (lo == 0) GTEST_SKIP() << "no loopback interface in /sys/class/net";
    const IPAddress stale = fromGroups({0xfe80, 0, 0, 0, 0, 0, 0, 9}, 80, 99);
    size_t linkLocal = 0; // in the whole IPv6 list, which comes first
    for (int kind : {0, 1, 2, 3}) {
        BRINA::LocalAddressMap map{{stale, {"old", "old"}}};
        ASSERT_TRUE(kind == 0   ? BRINA::getMyLocalAddresV6(map)
                    : kind == 1 ? BRINA::getMyLocalAddresV4(map)
                                : BRINA::getMyLocalAddresV6(map, kind == 3));
        EXPECT_EQ(map.count(stale), 0u);
        IPAddress key = kind == 1 ? IPAddress(127, 0, 0, 1, 0) : fromGroups({0, 0, 0, 0, 0, 0, 0, 1});
        key.setScope(lo);
        ASSERT_EQ(map.count(key), kind == 2 ? 0u : 1u) << kind;
        EXPECT_TRUE(kind == 2 || (map[key].name == "lo" && map[key].description == "loopback, up, running"))
            << map[key].name << ": " << map[key].description;
        size_t count = 0;
        for (const auto& entry : map) {
            EXPECT_TRUE(entry.first.port() == 0 && entry.first.scope() != 0 && !entry.second.name.empty());
            EXPECT_TRUE(kind < 2 || entry.first.isLinkLocal() || entry.first.sameAddress(key));
            count += entry.first.isLinkLocal();
        }
        if (kind == 0) linkLocal = count;
        EXPECT_TRUE(kind < 2 || count == linkLocal) << count;
    }
}

} // namespace
