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

Groups groupsOf(const IPAddress& a) {
    Groups g{};
    for (int i = 0; i < 8; ++i)
        g[i] = a.group(i);
    return g;
}

TEST(IPAddressTest, ParseReadsTheAddressAloneAndKeepsPortAndScope) {
    const struct {
        const char* text;
        bool valid;
        Groups groups;
    } rows[] = {
        {"::", true, {0, 0, 0, 0, 0, 0, 0, 0}},
        {"::1", true, {0, 0, 0, 0, 0, 0, 0, 1}},
        {"1::", true, {1, 0, 0, 0, 0, 0, 0, 0}},
        {"1:2::3", true, {1, 2, 0, 0, 0, 0, 0, 3}},
        {"1:2:3:4:5:6::7", true, {1, 2, 3, 4, 5, 6, 0, 7}},
        {"fe80::1:2:3:4", true, {0xfe80, 0, 0, 0, 1, 2, 3, 4}},
        {"fe80::abcd:EF01", true, {0xfe80, 0, 0, 0, 0, 0, 0xabcd, 0xef01}},
        {"FE80::ABCD:ef01", true, {0xfe80, 0, 0, 0, 0, 0, 0xabcd, 0xef01}},
        {"0001:0002:0003:0004:0005:0006:0007:ffff", true, {1, 2, 3, 4, 5, 6, 7, 0xffff}},
        {":::", false, {}},
        {"1::2::3", false, {}},
        {"12345::1", false, {}},
        {"1:2:3:4:5:6:7", false, {}},
        {"1:2:3:4:5:6:7:8:9", false, {}},
        {"fe80::1%3", false, {}},
        {"::ffff:1.2.3.4", false, {}},
        {"1:2:3:4:5:6:7::8", false, {}},
        // A leading "::" reads group 0 itself, so seven groups behind it leave nothing for the gap.
        {"::1:2:3:4:5:6:7", false, {}},
        {"", false, {}},
    };
    for (const auto& r : rows) {
        IPAddress a = fromGroups({9, 9, 9, 9, 9, 9, 9, 9}, 19640, 5);
        EXPECT_EQ(a.parse(r.text), r.valid) << r.text;
        if (r.valid) {
            EXPECT_EQ(groupsOf(a), r.groups) << r.text;
        }
        EXPECT_EQ(a.port(), 19640) << r.text;
        EXPECT_EQ(a.scope(), 5u) << r.text;
    }
}

TEST(IPAddressTest, ToStringCompressesOnlyTheFirstRunOfZeroGroups) {
    const struct {
        Groups groups;
        const char* text;
    } rows[] = {
        {{0, 0, 0, 0, 0, 0, 0, 0}, "::"},
        {{0, 0, 0, 0, 0, 0, 0, 1}, "::1"},
        {{0xfe80, 0, 0, 0, 1, 2, 3, 4}, "fe80::1:2:3:4"},
        {{1, 0, 0, 2, 0, 0, 0, 3}, "1::2:0:0:0:3"},
        {{0, 0, 1, 0, 0, 0, 0, 0}, "::1:0:0:0:0:0"},
        {{0x2001, 0, 1, 2, 3, 4, 5, 6}, "2001:0:1:2:3:4:5:6"},
        {{1, 2, 3, 4, 5, 6, 7, 0}, "1:2:3:4:5:6:7:0"},
        {{1, 0, 0, 0, 0, 0, 0, 0}, "1::"},
        {{0xABCD, 0x0AB, 0x00F0, 0, 0, 0xffff, 0, 0}, "abcd:ab:f0::ffff:0:0"},
    };
    for (const auto& r : rows) {
        // The scope never shows, and the port shows only behind a comma.
        const IPAddress a = fromGroups(r.groups, 19640, 7);
        EXPECT_EQ(a.toString(), r.text);
        EXPECT_EQ(a.toStringWithPort(), std::string(r.text) + ",19640");
        IPAddress back;
        EXPECT_TRUE(back.parse(r.text)) << r.text;
        EXPECT_TRUE(back.sameAddress(a)) << r.text;
    }
    EXPECT_EQ(fromGroups({0, 0, 0, 0, 0, 0, 0, 1}).toStringWithPort(), "::1,0");
    EXPECT_EQ(fromGroups({0, 0, 0, 0, 0, 0, 0, 1}, 65535).toStringWithPort(), "::1,65535");
}

TEST(IPAddressTest, ParseWithPortNeedsACommaAndDecimalDigits) {
    const struct {
        const char* text;
        bool valid;
        uint16_t port;
    } rows[] = {
        {"fe80::1,19640", true, 19640},
        {"fe80::1,", true, 0},
        {"fe80::1,65536", true, 0},
        {"fe80::1,65537", true, 1},
        {"fe80::1,99999999999999999999", true, 65535}, // 10^20 is a multiple of 65,536
        {"fe80::1", false, 4321},
        {"fe80::1,12x", false, 4321},
        {"fe80::1,-1", false, 4321},
        {"fe80::1%3,80", false, 4321},
        {",80", false, 4321},
    };
    for (const auto& r : rows) {
        IPAddress a = fromGroups({}, 4321, 3);
        EXPECT_EQ(a.parseWithPort(r.text), r.valid) << r.text;
        EXPECT_EQ(a.port(), r.port) << r.text;
        EXPECT_EQ(a.scope(), 3u) << r.text;
        if (r.valid) {
            EXPECT_EQ(groupsOf(a), (Groups{0xfe80, 0, 0, 0, 0, 0, 0, 1})) << r.text;
        }
    }
}

TEST(IPAddressTest, Parse4ReadsDottedDecimalAsIPv4Mapped) {
    const struct {
        const char* text;
        bool valid;
        uint32_t ipv4;
        uint16_t port;
    } rows[] = {
        {"192.168.1.2", true, 0xC0A80102, 4321},
        {"127.0.0.1,19640", true, 0x7F000001, 19640},
        {"1.2.3.4,65537", true, 0x01020304, 1},
        {"255.0..7", true, 0xFF000007, 4321}, // atoi reads an empty number as 0
        {"1.2.3", false, 0, 4321},
        {"1.2.3.4.5", false, 0, 4321},
        {"1.-2.3.4", false, 0, 4321},
        {"1.2.3.256", false, 0, 4321},
        {"1.2.3.4,-1", false, 0, 4321},
    };
    for (const auto& r : rows) {
        IPAddress a = fromGroups({9, 9, 9, 9, 9, 9, 9, 9}, 4321, 3);
        EXPECT_EQ(a.parse4(r.text), r.valid) << r.text;
        EXPECT_EQ(a.port(), r.port) << r.text;
        EXPECT_EQ(a.scope(), 3u) << r.text;
        if (!r.valid) continue;
        const IPAddress mapped(static_cast<uint8_t>(r.ipv4 >> 24), static_cast<uint8_t>(r.ipv4 >> 16),
                               static_cast<uint8_t>(r.ipv4 >> 8), static_cast<uint8_t>(r.ipv4), 0);
        EXPECT_TRUE(a.sameAddress(mapped)) << r.text;
    }
    EXPECT_EQ(IPAddress(192, 168, 0, 255, 0).toString4(), "192.168.0.255");
}

TEST(IPAddressTest, OrderIsAddressBytesThenPortThenScope) {
    const Groups loopback{0, 0, 0, 0, 0, 0, 0, 1};
    const Groups linkLocal{0xfe80, 0, 0, 0, 0, 0, 0, 1};
    const struct {
        IPAddress lower, higher;
    } rows[] = {
        {fromGroups(loopback, 0, 9), fromGroups(linkLocal, 0, 1)},
        {fromGroups(linkLocal, 19640, 1), fromGroups(linkLocal, 19640, 2)},
        {fromGroups(linkLocal, 255, 0), fromGroups(linkLocal, 256, 0)},
        {fromGroups(linkLocal, 1, 9), fromGroups(linkLocal, 2, 0)},
        {fromGroups(loopback, 65535, 9), fromGroups({0, 0, 0, 0, 0, 0, 0, 2}, 0, 0)},
        {fromGroups({0x7fff, 0, 0, 0, 0, 0, 0, 0}), fromGroups({0x8000, 0, 0, 0, 0, 0, 0, 0})},
        {fromGroups({0, 0, 0, 0, 0, 0, 0, 0xff}), fromGroups({0, 0, 0, 0, 0, 0, 1, 0})},
        {fromGroups(linkLocal, 0, 0xFFFFFFFE), fromGroups(linkLocal, 0, 0xFFFFFFFF)},
    };
    for (const auto& r : rows) {
        EXPECT_TRUE(r.lower < r.higher) << r.lower.toStringWithPort() << " " << r.lower.scope();
        EXPECT_FALSE(r.higher < r.lower) << r.lower.toStringWithPort() << " " << r.lower.scope();
        EXPECT_TRUE(r.lower != r.higher);
    }
    const IPAddress same = fromGroups(linkLocal, 80, 4);
    EXPECT_FALSE(same < fromGroups(linkLocal, 80, 4));
}

// The loopback interface's index as the kernel publishes it, a source apart from the enumeration.
uint32_t loopbackIndex() {
    std::ifstream file("/sys/class/net/lo/ifindex");
    uint32_t index = 0;
    file >> index;
    return index;
}

TEST(IPAddressTest, EnumerationFindsTheLoopbackWithItsInterface) {
    const uint32_t lo = loopbackIndex();
    if (lo == 0) GTEST_SKIP() << "no loopback interface in /sys/class/net";
    const IPAddress stale = fromGroups({0x2001, 0xdb8, 0, 0, 0, 0, 0, 1}, 80, 0);
    const struct {
        bool v6;
        IPAddress loopback;
    } rows[] = {
        {true, fromGroups({0, 0, 0, 0, 0, 0, 0, 1}, 0, lo)},
        {false, IPAddress(127, 0, 0, 1, 0)},
    };
    for (const auto& r : rows) {
        BRINA::LocalAddressMap map{{stale, {"old", "old"}}};
        ASSERT_TRUE(r.v6 ? BRINA::getMyLocalAddresV6(map) : BRINA::getMyLocalAddresV4(map));
        EXPECT_EQ(map.count(stale), 0u);
        IPAddress key = r.loopback;
        key.setScope(lo);
        ASSERT_EQ(map.count(key), 1u) << key.toString();
        EXPECT_EQ(map[key].name, "lo");
        EXPECT_EQ(map[key].description, "loopback, up, running");
        for (const auto& entry : map) {
            EXPECT_EQ(entry.first.port(), 0) << entry.first.toString();
            EXPECT_NE(entry.first.scope(), 0u) << entry.first.toString();
            EXPECT_FALSE(entry.second.name.empty()) << entry.first.toString();
        }
    }
}

TEST(IPAddressTest, FilteredEnumerationKeepsLinkLocalAndOptionallyTheLoopback) {
    BRINA::LocalAddressMap all;
    ASSERT_TRUE(BRINA::getMyLocalAddresV6(all));
    for (bool withLoopback : {false, true}) {
        BRINA::LocalAddressMap expected;
        for (const auto& entry : all) {
            const uint8_t* b = entry.first.bytes();
            const bool loopback = entry.first == fromGroups({0, 0, 0, 0, 0, 0, 0, 1}, 0, entry.first.scope());
            if ((b[0] == 0xFE && b[1] == 0x80) || (withLoopback && loopback)) expected.insert(entry);
        }
        BRINA::LocalAddressMap filtered{{fromGroups({0xfe80, 0, 0, 0, 0, 0, 0, 9}, 0, 99), {"old", "old"}}};
        ASSERT_TRUE(BRINA::getMyLocalAddresV6(filtered, withLoopback));
        EXPECT_EQ(filtered.size(), expected.size()) << withLoopback;
        for (const auto& entry : expected)
            EXPECT_EQ(filtered.count(entry.first), 1u) << entry.first.toString();
    }
}

} // namespace
