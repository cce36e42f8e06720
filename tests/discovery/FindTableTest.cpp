// The watch's table, fed by a software Target on ::1 whose Outputs change between calls.
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LoopbackTarget.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

namespace {

using BRINA::IPAddress;
using TESSERA::Find;

// The receiver "Lab" with one Output of each version given.
TESSERA::TargetConfig lab(std::vector<uint16_t> versions) {
    TESSERA::TargetConfig c;
    c.name = "Lab";
    c.outputs.resize(versions.size());
    for (size_t i = 0; i < versions.size(); ++i)
        c.outputs[i].protocolVersion = versions[i];
    return c;
}

TEST(FindTableTest, MergesOneReceiverAndHandsOverTheChanges) {
    TESTING::LoopbackTarget t(lab({1, 1, 1}));
    TESSERA::FindConfig config;
    config.maxVersion = 0;
    Find find(config);
    ASSERT_TRUE(find.open());
    TESTING::LogCapture log(6);
    ASSERT_TRUE(find.addTarget(t.address(), 42, "Lab"));
    EXPECT_EQ(find.targetCount(), 3u);
    const IPAddress second = t.output(1);
    // The table goes in key order, which the system's choice of ports decides.
    std::map<IPAddress, std::string> byKey;
    for (size_t i = 0; i < 3; ++i)
        byKey[t.output(i)] = "Lab " + std::to_string(i + 1);
    std::vector<std::string> addLines, delLines;
    std::list<IPAddress> oldKeys;
    for (const auto& [key, name] : byKey) {
        addLines.push_back("add Target: " + name);
        delLines.push_back("del Target: " + name);
        oldKeys.push_back(key);
    }
    ASSERT_TRUE(find.addTarget(t.address(), 42, "Renamed")); // nothing changed: nothing moves
    EXPECT_EQ(log.messages(), addLines);

    TESSERA::TargetTable added;
    find.takeAdded(added);
    ASSERT_EQ(added.size(), 3u);
    const TESSERA::Target& a = added[second];
    EXPECT_EQ(std::tie(a.outputIndex, a.productId, a.targetName, a.parentAddress),
              std::make_tuple(uint16_t{2}, uint64_t{42}, std::string("Lab"), t.address()));
    find.takeAdded(added);
    EXPECT_TRUE(added.empty());

    // Now one Output of version 2: each call removes one stale entry; the new Output comes at once.
    t.restart(lab({2}));
    log.clear();
    const size_t counts[] = {3, 2, 1, 1};
    for (size_t expected : counts) {
        ASSERT_TRUE(find.addTarget(t.address(), 42, "Lab"));
        EXPECT_EQ(find.targetCount(), expected);
    }
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{delLines[0], "add Target: Lab 1", delLines[1], delLines[2]}));
    std::list<IPAddress> removed;
    find.takeRemoved(removed);
    EXPECT_EQ(removed, oldKeys);
    find.takeRemoved(removed);
    EXPECT_TRUE(removed.empty());

    // Added and gone again before the user looked: nothing to take, though the key stands on both lists.
    const IPAddress now = t.output(0);
    find.remTarget(t.address());
    EXPECT_EQ(find.targetCount(), 0u);
    find.takeAdded(added);
    EXPECT_TRUE(added.empty());
    find.takeRemoved(removed);
    EXPECT_EQ(removed, std::list<IPAddress>{now});
    EXPECT_EQ(log.messages().back(), "rem Target: Lab 1");

    // eraseTarget leaves no trace on the removed list.
    ASSERT_TRUE(find.addTarget(t.address(), 42, "Lab"));
    find.eraseTarget(now);
    EXPECT_EQ(find.targetCount(), 0u);
    find.takeRemoved(removed);
    EXPECT_TRUE(removed.empty());
}

TEST(FindTableTest, ProbeAsksOneReceiverAndFilters) {
    TESTING::LoopbackTarget t(lab({1}));
    BRINA::Socket silent;
    IPAddress quiet = TESTING::localLoopback();
    ASSERT_TRUE(silent.open(BRINA::Socket::IPv6Datagram) && silent.bind(quiet));
    const uint64_t own = TESSERA::makeProductId("QUINTARA");
    const struct {
        uint64_t targetProduct;
        bool silent;
        uint64_t id;
        const char* name;
    } rows[] = {{own, false, own, "Lab"},
                {TESSERA::makeProductId("OTHERPRD"), false, TESSERA::kNoProduct, "Lab"},
                {own, true, TESSERA::kNoProduct, "before"}};
    for (const auto& row : rows) {
        TESSERA::FindConfig config;
        config.targetProduct = row.targetProduct;
        config.hostName = "Probe";
        Find find(config);
        ASSERT_TRUE(find.open());
        uint64_t id = 0;
        std::string name = "before";
        EXPECT_TRUE(find.probeTarget(row.silent ? quiet : t.address(), id, name));
        EXPECT_EQ(std::tie(id, name), std::make_tuple(row.id, std::string(row.name)));
    }
    EXPECT_EQ(t.target().status().hostName, "Probe");
    Find closed(TESSERA::FindConfig{});
    uint64_t id = 0;
    std::string name;
    EXPECT_FALSE(closed.probeTarget(t.address(), id, name));
}

} // namespace
