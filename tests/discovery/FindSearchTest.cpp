// The multicast search on private links: which receivers are found, in what order, and which the filter
// lets through. Two links: Alpha, Beta, a foreign product and a silent receiver on the first, Delta on the
// second.
#include "BRINA/Time.h"
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateLink.h"
#include "transport/wire/SyncCommands.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <tuple>

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
    // The receivers a result holds, by their place in the list above; -1 for any other address.
    std::set<int> receiversIn(const FoundMap& found) {
        std::set<int> which;
        for (const auto& entry : found) {
            int match = -1;
            for (int i = Alpha; i <= Delta; ++i)
                if (entry.first == link->targetAddress(i)) match = i;
            which.insert(match);
        }
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
        {"no receiver of that product", TESSERA::makeProductId("NOBODY!!"), {}, false, {}},
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
        for (int i : row.found)
            EXPECT_EQ(
                std::tie(found[link->targetAddress(i)].productId, found[link->targetAddress(i)].targetName),
                std::make_tuple(i == Foreign ? kForeign : kOwn, std::string(kNames[i])));
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
        EXPECT_EQ(std::tie(status.hostKnown, status.hostName, status.hostProduct),
                  std::make_tuple(true, std::string("Studio PC"), kOwn));
    }
    EXPECT_TRUE(log.contains("Find Skip : " + std::to_string(kForeign) + " " + std::to_string(kOwn)));
}

TEST_F(FindSearchTest, AnAnswerWithoutContentIsNoAnswer) {
    // A receiver of the test's own on the Host's side of the link, heard through the multicast loop.
    BRINA::Socket own;
    IPAddress port;
    port.setPort(TESSERA::kDiscoveryPort);
    ASSERT_TRUE(own.open(BRINA::Socket::IPv6Datagram) && own.bind(port));
    FindConfig config;
    config.targetProduct = kOwn;
    for (bool content : {false, true}) {
        Find find(config);
        ASSERT_TRUE(find.open(static_cast<uint16_t>(link->linkScope(1))));
        std::thread answering([&] {
            for (int sweep = 0; sweep < 3 && own.wait(500'000) == BRINA::Socket::WaitReadable; ++sweep) {
                std::vector<uint8_t> request;
                IPAddress host;
                own.receive(request, host);
                TESSERA::Packet answer(TESSERA::FIND_ANS, uint64_t{0});
                answer.header().setFlags(content ? TESSERA::PacketFlag::HasContent : 0);
                own.sendTo(host, answer.data(), answer.size(), true);
            }
        });
        FoundMap found;
        EXPECT_TRUE(find.findMulti(found, false));
        answering.join();
        // Delta always; the test's own receiver only with content.
        EXPECT_EQ(found.size(), content ? 2u : 1u) << content;
    }
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
        EXPECT_EQ(std::tie(t.productId, t.outputIndex, t.protocolVersion, t.targetName, t.outputName,
                           t.parentAddress, t.infoText),
                  std::make_tuple(kOwn, uint16_t(row.output + 1), uint16_t{1},
                                  std::string(kNames[row.receiver]), std::string(row.outputName),
                                  link->targetAddress(row.receiver),
                                  std::string(kNames[row.receiver]) + " at [" + key.toString() + "]"));
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
    // The product id is not the lookup's to change, and the Output's name not its to fill.
    EXPECT_EQ(std::tie(key, target.outputIndex, target.protocolVersion, target.parentAddress,
                       target.targetName, target.infoText, target.productId, target.outputName),
              std::make_tuple(expected, uint16_t{2}, uint16_t{1}, link->targetAddress(Alpha),
                              std::string("Alpha"), "Alpha at [" + pinned.toString() + "]", uint64_t{77},
                              std::string()));

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
