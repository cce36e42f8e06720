// The multicast search and the interfaces it uses, on two private links: Alpha, Beta, a foreign product and a
// silent receiver on the first, Delta on the second.
#include "BRINA/Time.h"
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateLink.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <tuple>

namespace {

using BRINA::IPAddress;
using TESSERA::Find;
using TESSERA::FindConfig;
using TESTING::PrivateLink;

const uint64_t kOwn = TESSERA::makeProductId("QUINTARA");
const uint64_t kForeign = TESSERA::makeProductId("OTHERPRD");

enum Receiver { Alpha, Beta, Foreign, Silent, Delta };
const std::string kNames[] = {"Alpha", "Beta", "Foreign", "Silent", "Delta"};

std::vector<uint32_t> scopesOf(const std::vector<IPAddress>& list) {
    std::vector<uint32_t> scopes;
    for (const IPAddress& a : list)
        scopes.push_back(a.scope());
    return scopes;
}

class FindLinkTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why, error;
        if (!PrivateLink::enterOwnNamespace(why)) GTEST_SKIP() << why;
        link = std::make_unique<PrivateLink>(2);
        ASSERT_TRUE(link->ready());
        for (int i = Alpha; i <= Delta; ++i) {
            TESSERA::TargetConfig config;
            config.name = kNames[i];
            config.productId = i == Foreign ? kForeign : kOwn;
            config.infoText = kNames[i] + " at [myaddress] [myaddress]";
            if (i == Alpha) config.outputs.resize(2);
            config.outputs[0].name = i == Alpha ? "Left" : "Output 1";
            if (i == Alpha) config.outputs[1].name = "Right";
            ASSERT_EQ(link->addTarget(i == Delta ? 1 : 0, config, error, i != Silent), i) << error;
        }
        ASSERT_TRUE(link->waitForHostAddresses());
    }
    // The receivers a result holds, by their number; -1 for any other address.
    std::set<int> receiversIn(const TESSERA::FoundMap& found) {
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

TEST_F(FindLinkTest, ThreeSweepsFindTheReceiversThatTheFilterLetsThroughAndGreetAllThatAnswer) {
    const std::string skip = "Find Skip : " + std::to_string(kForeign) + " " + std::to_string(kOwn);
    // clang-format off
    const struct { const char* what; uint64_t targetProduct; std::vector<uint64_t> extra; bool oneInterface; std::set<int> found; std::string line; } rows[] = {
        {"own product", kOwn, {}, false, {Alpha, Beta, Delta}, skip},
        {"every product", 0, {}, false, {Alpha, Beta, Foreign, Delta}, "Find Target: " + std::to_string(kForeign)},
        {"an extra product", kOwn, {kForeign}, false, {Alpha, Beta, Foreign, Delta}, "Terget Producst : " + std::to_string(kForeign)},
        {"the foreign product only", kForeign, {}, false, {Foreign}, ""},
        {"one interface of two", kOwn, {}, true, {Delta}, ""},
        {"no receiver of that product: empty, no failure", TESSERA::makeProductId("NOBODY!!"), {}, false, {}, ""},
    };
    // clang-format on
    for (const auto& row : rows) {
        FindConfig config;
        config.targetProduct = row.targetProduct;
        config.extraProducts = row.extra;
        config.hostName = row.what;
        config.ownProduct = kOwn;
        Find find(config);
        ASSERT_TRUE(row.oneInterface ? find.open(static_cast<uint16_t>(link->linkScope(1))) : find.open());
        TESSERA::FoundMap found;
        TESTING::LogCapture log(6);
        const uint32_t start = BRINA::nowMicroseconds();
        ASSERT_TRUE(find.findMulti(found, false)) << row.what;
        // Three sweeps of 30 ms on each interface, at the least.
        EXPECT_GE(BRINA::nowMicroseconds() - start, row.oneInterface ? 90'000u : 180'000u) << row.what;
        EXPECT_EQ(receiversIn(found), row.found) << row.what;
        for (int i : row.found)
            EXPECT_EQ(
                std::tie(found[link->targetAddress(i)].productId, found[link->targetAddress(i)].targetName),
                std::make_tuple(i == Foreign ? kForeign : kOwn, kNames[i]));
        EXPECT_TRUE(row.line.empty() || log.contains(row.line)) << row.what;
        // Every receiver that answered was greeted, also one that the filter refused.
        for (int i : {Alpha, Beta, Foreign, Delta}) {
            const TESSERA::TargetStatus status = link->target(i).status();
            EXPECT_TRUE((row.oneInterface && i != Delta) ||
                        (status.hostName == row.what && status.hostProduct == kOwn));
        }
    }
}

TEST_F(FindLinkTest, FindYieldsEveryOutputOfEveryMatchingReceiverInAddressOrder) {
    FindConfig config;
    config.targetProduct = kOwn;
    Find find(config);
    ASSERT_TRUE(find.open());
    TESSERA::TargetTable table{{IPAddress(), {}}};
    TESTING::LogCapture log(6);
    ASSERT_TRUE(find.find(table));
    // clang-format off
    const struct { int receiver; size_t output; const char* outputName; } rows[] = {
        {Alpha, 0, "Left"},
        {Alpha, 1, "Right"},
        {Beta, 0, "Output 1"},
        {Delta, 0, "Output 1"},
    };
    // clang-format on
    EXPECT_EQ(table.size(), std::size(rows)); // emptied first
    std::map<IPAddress, std::vector<std::string>> byReceiver;
    for (const auto& row : rows) {
        const IPAddress parent = link->targetAddress(row.receiver);
        IPAddress key = parent;
        key.setPort(link->target(row.receiver).controlPort(row.output));
        ASSERT_EQ(table.count(key), 1u) << row.outputName;
        const TESSERA::Target& t = table[key];
        EXPECT_EQ(std::tie(t.productId, t.outputIndex, t.protocolVersion, t.targetName, t.outputName,
                           t.parentAddress, t.infoText),
                  std::make_tuple(kOwn, uint16_t(row.output + 1), uint16_t{1}, kNames[row.receiver],
                                  std::string(row.outputName), parent,
                                  kNames[row.receiver] + " at [" + parent.toString() + "] [myaddress]"));
        byReceiver[parent].push_back("Tessera Find Sink Out: " + t.targetName + " " +
                                     std::to_string(t.outputIndex) + " 1 [" + std::to_string(key.scope()) +
                                     "]");
    }
    std::vector<std::string> expected, sinks;
    for (const auto& [parent, lines] : byReceiver)
        expected.insert(expected.end(), lines.begin(), lines.end());
    for (const std::string& line : log.messages())
        if (line.starts_with("Tessera Find Sink Out: ")) sinks.push_back(line);
    EXPECT_EQ(sinks, expected);
}

TEST_F(FindLinkTest, APinnedTargetIsFoundAgainAndAGoneOneIsNot) {
    Find find(FindConfig{});
    ASSERT_TRUE(find.open());
    IPAddress pinned = link->targetAddress(Alpha);
    pinned.setScope(0); // as a setting holds it: the search finds the interface
    pinned.setPort(0);
    IPAddress key, expected = link->targetAddress(Alpha);
    expected.setPort(link->target(Alpha).controlPort(1));
    TESSERA::Target target;
    target.productId = 77;
    ASSERT_TRUE(find.getTarget(pinned, 2, key, target));
    // The product id is not the lookup's to change, and the Output's name not its to fill.
    EXPECT_EQ(std::tie(key, target.outputIndex, target.protocolVersion, target.parentAddress,
                       target.targetName, target.infoText, target.productId, target.outputName),
              std::make_tuple(expected, uint16_t{2}, uint16_t{1}, link->targetAddress(Alpha), kNames[Alpha],
                              "Alpha at [" + pinned.toString() + "] [myaddress]", uint64_t{77},
                              std::string()));
    link->stopTarget(Beta);
    // clang-format off
    const struct { const char* what; int receiver; uint16_t index; } missing[] = {
        {"no such Output", Alpha, 3},
        {"silent", Silent, 1},
        {"gone", Beta, 1},
    };
    // clang-format on
    for (const auto& row : missing) {
        key = expected;
        EXPECT_TRUE(find.getTarget(link->targetAddress(row.receiver), row.index, key, target)) << row.what;
        EXPECT_TRUE(key.isEmpty()) << row.what;
    }
}

TEST_F(FindLinkTest, OpenFixesTheInterfacesOfTheSearchInAddressOrder) {
    // An interface with a global address only: never searched.
    ASSERT_EQ(std::system(
                  "ip link add tglobal type veth peer name tglobal1 && ip link set tglobal addrgenmode none "
                  "&& ip link set tglobal1 addrgenmode none && ip addr add 2001:db8::1/64 dev tglobal nodad "
                  "&& ip link set tglobal up && ip link set tglobal1 up"),
              0);
    BRINA::LocalAddressMap addresses;
    ASSERT_TRUE(BRINA::getMyLocalAddresV6(addresses, false));
    std::vector<uint32_t> both,
        withLoopback{1}; // ::1 has the loopback's number as its scope, and comes first
    for (const auto& entry : addresses)
        both.push_back(entry.first.scope());
    ASSERT_EQ(both.size(), 2u);
    withLoopback.insert(withLoopback.end(), both.begin(), both.end());
    const uint32_t one = link->linkScope(1);
    IPAddress noScope = link->targetAddress(0);
    noScope.setScope(0);
    // clang-format off
    // fixed: interfaceList after open; searched: localInterfaces after open.
    const struct { const char* what; std::function<bool(Find&)> open; bool loopback, opened; std::vector<uint32_t> fixed, searched; } rows[] = {
        {"every interface", [](Find& f) { return f.open(); }, false, true, {}, both},
        {"and ::1", [](Find& f) { return f.open(); }, true, true, {}, withLoopback},
        {"number 0", [](Find& f) { return f.open(uint16_t{0}); }, false, true, {}, both},
        {"one number", [&](Find& f) { return f.open(static_cast<uint16_t>(one)); }, false, true, {one}, {one}},
        {"no such number", [](Find& f) { return f.open(uint16_t{999}); }, false, false, {}, both},
        {"one name, an empty one skipped", [&](Find& f) { return f.open(std::vector<std::string>{"", link->linkName(1)}); }, false, true, {one}, {one}},
        {"an unknown name among known ones", [&](Find& f) { return f.open(std::vector<std::string>{link->linkName(0), "tnowhere"}); }, false, false, {}, both},
        {"a local address without scope", [&](Find& f) { return f.open(noScope); }, false, true, {}, both},
    };
    // clang-format on
    for (const auto& row : rows) {
        FindConfig config;
        config.loopback = row.loopback;
        Find find(config);
        EXPECT_EQ(row.open(find), row.opened) << row.what;
        EXPECT_EQ(find.isOpen(), row.opened) << row.what;
        EXPECT_EQ(scopesOf(find.interfaceList()), row.fixed) << row.what;
        EXPECT_EQ(scopesOf(find.localInterfaces()), row.searched) << row.what;
    }
    TESTING::LogCapture log(6);
    Find find(FindConfig{});
    ASSERT_TRUE(find.open(std::vector<std::string>{link->linkName(0), "tnowhere"}) == false);
    ASSERT_TRUE(find.open(std::vector<std::string>{link->linkName(0)}));
    const IPAddress local = find.interfaceList().at(0);
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{
                  "much interface tlink0 " + local.toString() + " ifno:" + std::to_string(local.scope()),
                  "not much interface tnowhere",
                  "much interface tlink0 " + local.toString() + " ifno:" + std::to_string(local.scope()),
                  "Tessera Find Library ReleaseNo : 112", "Find::open 1"}));
    // A number that no link-local address has: false, silent, the socket as it was.
    log.clear();
    EXPECT_FALSE(find.open(uint16_t{999}));
    EXPECT_TRUE(find.isOpen() && log.messages().empty());
}

} // namespace
