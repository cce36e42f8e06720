// The multicast search on private links: which receivers are found, in what order, and which the filter
// lets through. Two links: Alpha, Beta, a foreign product and a silent receiver on the first, Delta on the
// second.
#include "BRINA/Time.h"
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateLink.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using BRINA::IPAddress;
using TESSERA::Find;
using TESSERA::FindConfig;
using TESSERA::FoundMap;
using TESTING::PrivateLink;

const uint64_t kOwn = TESSERA::makeProductId("QUINTARA");
const uint64_t kForeign = TESSERA::makeProductId("OTHERPRD");

enum Receiver { Alpha, Beta, Foreign, Silent, Delta };
const char* const kNames[] = {"Alpha", "Beta", "Foreign", "Silent", "Delta"};

class FindSearchTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why;
        if (!PrivateLink::enterOwnNamespace(why)) GTEST_SKIP() << why;
        link = std::make_unique<PrivateLink>(2);
        ASSERT_TRUE(link->ready());
        const struct {
            size_t link;
            const char* name;
            uint64_t product;
            bool answering;
        } receivers[] = {
            {0, "Alpha", kOwn, true},   {0, "Beta", kOwn, true},  {0, "Foreign", kForeign, true},
            {0, "Silent", kOwn, false}, {1, "Delta", kOwn, true},
        };
        for (const auto& r : receivers) {
            TESSERA::TargetConfig config;
            config.name = r.name;
            config.productId = r.product;
            config.infoText = std::string(r.name) + " at [myaddress]";
            if (std::string(r.name) == "Alpha") {
                config.outputs.resize(2);
                config.outputs[0].name = "Left";
                config.outputs[1].name = "Right";
            }
            std::string error;
            ASSERT_GE(link->addTarget(r.link, config, error, r.answering), 0) << error;
        }
        ASSERT_TRUE(link->waitForHostAddresses());
    }

    // The receivers a result holds, by their place in the list above.
    std::set<int> receiversIn(const FoundMap& found) {
        std::set<int> which;
        for (const auto& [address, target] : found)
            for (int i = Alpha; i <= Delta; ++i)
                if (address == link->targetAddress(i)) which.insert(i);
        return which;
    }

    std::unique_ptr<PrivateLink> link;
};

TEST_F(FindSearchTest, FindsTheReceiversThatTheFilterLetsThrough) {
    const struct {
        const char* what;
        uint64_t targetProduct;
        std::vector<uint64_t> extra;
        bool oneInterface; // the second link only
        std::set<int> found;
    } rows[] = {
        {"own product", kOwn, {}, false, {Alpha, Beta, Delta}},
        {"every product", 0, {}, false, {Alpha, Beta, Foreign, Delta}},
        {"an extra product", kOwn, {kForeign}, false, {Alpha, Beta, Foreign, Delta}},
        {"the foreign product only", kForeign, {}, false, {Foreign}},
        {"one interface of two", kOwn, {}, true, {Delta}},
    };
    for (const auto& row : rows) {
        FindConfig config;
        config.targetProduct = row.targetProduct;
        config.extraProducts = row.extra;
        Find find(config);
        ASSERT_TRUE(row.oneInterface ? find.open(static_cast<uint16_t>(link->linkScope(1))) : find.open());
        FoundMap found;
        ASSERT_TRUE(find.findMulti(found, false)) << row.what;
        EXPECT_EQ(receiversIn(found), row.found) << row.what;
        EXPECT_EQ(found.size(), row.found.size()) << row.what;
        for (int i : row.found) {
            EXPECT_EQ(found[link->targetAddress(i)].productId, i == Foreign ? kForeign : kOwn) << row.what;
            EXPECT_EQ(found[link->targetAddress(i)].targetName, kNames[i]) << row.what;
        }
    }
}

TEST_F(FindSearchTest, ThreeSweepsAndAGreetingForEveryReceiverHeard) {
    FindConfig config;
    config.targetProduct = kOwn;
    config.hostName = "Studio PC";
    config.ownProduct = kOwn;
    Find find(config);
    ASSERT_TRUE(find.open());
    FoundMap found{{IPAddress(), {7, "kept"}}};
    TESTING::LogCapture log(6);
    const uint32_t start = BRINA::nowMicroseconds();
    ASSERT_TRUE(find.findMulti(found, true));
    // Three sweeps of 30 ms on each of two interfaces, at the least.
    EXPECT_GE(BRINA::nowMicroseconds() - start, 180'000u);
    EXPECT_EQ(found.size(), 4u); // adds to what was there
    EXPECT_EQ(found.begin()->second.targetName, "kept");
    EXPECT_EQ(found[link->targetAddress(Alpha)].targetName, "Alpha");
    EXPECT_EQ(found[link->targetAddress(Delta)].targetName, "Delta");
    // Also the receiver that the filter refuses next was greeted.
    for (int i : {Alpha, Beta, Foreign, Delta}) {
        const TESSERA::TargetStatus status = link->target(i).status();
        EXPECT_TRUE(status.hostKnown) << i;
        EXPECT_EQ(status.hostName, "Studio PC") << i;
        EXPECT_EQ(status.hostProduct, kOwn) << i;
    }
    EXPECT_TRUE(log.contains("Find Skip : " + std::to_string(kForeign) + " " + std::to_string(kOwn)));
}

TEST(FindSearchAloneTest, NoLinkLocalInterfaceIsAnEmptyResult) {
    std::string why;
    if (!PrivateLink::enterOwnNamespace(why)) GTEST_SKIP() << why;
    Find find(FindConfig{});
    ASSERT_TRUE(find.open());
    FoundMap found;
    const uint32_t start = BRINA::nowMicroseconds();
    EXPECT_TRUE(find.findMulti(found, false));
    EXPECT_TRUE(found.empty());
    EXPECT_LT(BRINA::nowMicroseconds() - start, 30'000u); // no interface, no sweep
}

} // namespace

namespace {

TEST_F(FindSearchTest, FindYieldsEveryOutputOfEveryMatchingReceiver) {
    FindConfig config;
    config.targetProduct = kOwn;
    Find find(config);
    ASSERT_TRUE(find.open());
    TESSERA::TargetTable table{{IPAddress(), {}}};
    TESTING::LogCapture log(6);
    ASSERT_TRUE(find.find(table));
    const struct {
        int receiver;
        size_t output;
        const char* outputName;
    } rows[] = {{Alpha, 0, "Left"}, {Alpha, 1, "Right"}, {Beta, 0, "Output 1"}, {Delta, 0, "Output 1"}};
    EXPECT_EQ(table.size(), std::size(rows)); // emptied first
    for (const auto& row : rows) {
        IPAddress key = link->targetAddress(row.receiver);
        key.setPort(link->target(row.receiver).controlPort(row.output));
        ASSERT_EQ(table.count(key), 1u) << row.outputName;
        const TESSERA::Target& t = table[key];
        EXPECT_EQ(t.productId, kOwn);
        EXPECT_EQ(t.outputIndex, row.output + 1);
        EXPECT_EQ(t.protocolVersion, 1);
        EXPECT_EQ(t.targetName, kNames[row.receiver]);
        EXPECT_EQ(t.outputName, row.outputName);
        EXPECT_EQ(t.parentAddress, link->targetAddress(row.receiver));
        EXPECT_EQ(t.infoText, std::string(kNames[row.receiver]) + " at [" + key.toString() + "]");
        EXPECT_TRUE(log.contains("Tessera Find Sink Out: " + t.targetName + " " +
                                 std::to_string(t.outputIndex) + " 1 [" + std::to_string(key.scope()) + "]"));
    }
}

TEST_F(FindSearchTest, APinnedTargetIsFoundAgainAndAGoneOneIsNot) {
    Find find(FindConfig{});
    ASSERT_TRUE(find.open());
    IPAddress pinned = link->targetAddress(Alpha);
    pinned.setScope(0); // as a setting holds it: the search finds the interface
    pinned.setPort(0);
    IPAddress key;
    TESSERA::Target target;
    target.productId = 77;
    ASSERT_TRUE(find.getTarget(pinned, 2, key, target));
    IPAddress expected = link->targetAddress(Alpha);
    expected.setPort(link->target(Alpha).controlPort(1));
    EXPECT_EQ(key, expected);
    EXPECT_EQ(target.outputIndex, 2);
    EXPECT_EQ(target.protocolVersion, 1);
    EXPECT_EQ(target.parentAddress, link->targetAddress(Alpha));
    EXPECT_EQ(target.targetName, "Alpha");
    EXPECT_EQ(target.infoText, "Alpha at [" + pinned.toString() + "]");
    EXPECT_EQ(target.productId, 77u); // not the search's to change
    EXPECT_TRUE(target.outputName.empty());

    const struct {
        const char* what;
        int receiver;
        uint16_t index;
    } missing[] = {{"no such Output", Alpha, 3}, {"silent", Silent, 1}, {"gone", Beta, 1}};
    link->removeTarget(Beta);
    for (const auto& row : missing) {
        key = expected;
        EXPECT_TRUE(find.getTarget(link->targetAddress(row.receiver), row.index, key, target)) << row.what;
        EXPECT_TRUE(key.isEmpty()) << row.what;
    }
}

} // namespace
