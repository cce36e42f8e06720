// The multicast search and the watch on two private links: Alpha (two Outputs), Beta, a foreign product and
// a silent receiver on the first, Delta on the second; all that answer send NOTIFY once a second.
#include "BRINA/Time.h"
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateLink.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <set>
#include <thread>
#include <tuple>

namespace {

using BRINA::IPAddress;
using TESSERA::FindConfig;
using TESTING::PrivateLink;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

const uint64_t kOwn = TESSERA::makeProductId("QUINTARA"), kForeign = TESSERA::makeProductId("OTHERPRD");
enum Receiver { Alpha, Beta, Foreign, Silent, Delta };
const std::string kNames[] = {"Alpha", "Beta", "Foreign", "Silent", "Delta"};

bool eventually(const std::function<bool()>& condition, std::chrono::seconds limit) {
    for (const auto deadline = Clock::now() + limit; !condition() && Clock::now() < deadline;)
        std::this_thread::sleep_for(50ms);
    return condition();
}

TESSERA::TargetConfig receiver(int i, size_t outputs) {
    TESSERA::TargetConfig config;
    config.name = kNames[i];
    config.productId = i == Foreign ? kForeign : kOwn;
    config.infoText = kNames[i] + " at [myaddress] [myaddress]";
    config.notify = i != Silent;
    config.notifyLimit = 60;
    config.outputs.resize(outputs);
    config.outputs[0].name = i == Alpha ? "Left" : "Output 1";
    config.outputs.back().name = i == Alpha ? "Right" : "Output 1";
    return config;
}

class FindLinkTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why, error;
        if (!PrivateLink::enterOwnNamespace(why)) GTEST_SKIP() << why;
        ASSERT_TRUE(link.emplace(2).ready());
        for (int i = Alpha; i <= Delta; ++i)
            ASSERT_EQ(
                link->addTarget(i == Delta ? 1 : 0, receiver(i, i == Alpha ? 2 : 1), error, i != Silent), i)
                << error;
        ASSERT_TRUE(link->waitForHostAddresses());
    }
    IPAddress key(int receiver, size_t output) {
        IPAddress k = link->targetAddress(receiver);
        k.setPort(link->target(receiver).controlPort(output));
        return k;
    }
    std::optional<PrivateLink> link;
};

TEST_F(FindLinkTest, ThreeSweepsFindWhatTheFilterLetsThroughAndGreetAllThatAnswer) {
    const std::string foreign = std::to_string(kForeign);
    // clang-format off
    const struct { const char* what; uint64_t targetProduct; std::vector<uint64_t> extra; bool oneInterface; std::set<int> found; std::string line; } rows[] = {
        {"own product", kOwn, {}, false, {Alpha, Beta, Delta}, "Find Skip : " + foreign + " " + std::to_string(kOwn)},
        {"every product", 0, {}, false, {Alpha, Beta, Foreign, Delta}, "Find Target: " + foreign},
        {"an extra product", kOwn, {kForeign}, false, {Alpha, Beta, Foreign, Delta}, "Terget Producst : " + foreign},
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
        TESSERA::Find find(config);
        ASSERT_TRUE(row.oneInterface ? find.open(static_cast<uint16_t>(link->linkScope(1))) : find.open());
        TESSERA::FoundMap found, expected;
        for (int i : row.found)
            expected[link->targetAddress(i)] = {i == Foreign ? kForeign : kOwn, kNames[i]};
        TESTING::LogCapture log(6);
        const uint32_t start = BRINA::nowMicroseconds();
        ASSERT_TRUE(find.findMulti(found, false)) << row.what;
        // Three sweeps of 30 ms on each interface, at the least.
        EXPECT_GE(BRINA::nowMicroseconds() - start, row.oneInterface ? 90'000u : 180'000u) << row.what;
        EXPECT_EQ(found.size(), expected.size()) << row.what;
        for (const auto& [address, receiver] : expected)
            EXPECT_EQ(std::tie(found[address].productId, found[address].targetName),
                      std::tie(receiver.productId, receiver.targetName));
        EXPECT_TRUE(row.line.empty() || log.contains(row.line)) << row.what;
        // Every receiver that answered was greeted, also one that the filter refused.
        for (int i : {Alpha, Beta, Foreign, Delta}) {
            const TESSERA::TargetStatus status = link->target(i).status();
            EXPECT_TRUE((row.oneInterface && i != Delta) ||
                        (status.hostName == row.what && status.hostProduct == kOwn));
        }
    }
}

TEST_F(FindLinkTest, EveryOutputInAddressOrderAndAPinnedTargetFoundAgainButNotAGoneOne) {
    FindConfig config;
    config.targetProduct = kOwn;
    TESSERA::Find find(config);
    ASSERT_TRUE(find.open());
    TESSERA::TargetTable table{{IPAddress(), {}}};
    TESTING::LogCapture log(6);
    ASSERT_TRUE(find.find(table));
    // clang-format off
    const struct { int receiver; size_t output; const char* name; } rows[] = {
        {Alpha, 0, "Left"},
        {Alpha, 1, "Right"},
        {Beta, 0, "Output 1"},
        {Delta, 0, "Output 1"},
    };
    // clang-format on
    EXPECT_EQ(table.size(), std::size(rows));            // emptied first
    std::map<IPAddress, std::vector<std::string>> sinks; // by receiver, whose lines go in address order
    for (const auto& row : rows) {
        const IPAddress parent = link->targetAddress(row.receiver);
        const TESSERA::Target& t = table[key(row.receiver, row.output)];
        EXPECT_EQ(std::tie(t.productId, t.outputIndex, t.protocolVersion, t.targetName, t.outputName,
                           t.parentAddress, t.infoText),
                  std::make_tuple(kOwn, uint16_t(row.output + 1), uint16_t{1}, kNames[row.receiver],
                                  std::string(row.name), parent,
                                  kNames[row.receiver] + " at [" + parent.toString() + "] [myaddress]"));
        sinks[parent].push_back("Tessera Find Sink Out: " + kNames[row.receiver] + " " +
                                std::to_string(row.output + 1) + " 1 [" + std::to_string(parent.scope()) +
                                "]");
    }
    std::vector<std::string> expected, logged;
    for (const auto& [parent, lines] : sinks)
        expected.insert(expected.end(), lines.begin(), lines.end());
    for (const std::string& line : log.messages())
        if (line.starts_with("Tessera Find Sink Out: ")) logged.push_back(line);
    EXPECT_EQ(logged, expected);

    IPAddress pinned = link->targetAddress(Alpha), found, right = key(Alpha, 1);
    pinned.setScope(0); // as a setting holds it: the search finds the interface
    pinned.setPort(0);
    TESSERA::Target target;
    target.productId = 77; // not the lookup's to change, nor the Output's name its to fill
    ASSERT_TRUE(find.getTarget(pinned, 2, found, target));
    EXPECT_EQ(std::tie(found, target.outputIndex, target.parentAddress, target.targetName, target.infoText,
                       target.productId, target.outputName),
              std::make_tuple(right, uint16_t{2}, link->targetAddress(Alpha), kNames[Alpha],
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
        found = right;
        EXPECT_TRUE(find.getTarget(link->targetAddress(row.receiver), row.index, found, target) &&
                    found.isEmpty())
            << row.what;
    }
}

TEST_F(FindLinkTest, TheWatchLosesASilentTargetAfterAStageAndFindsItAgainWhenItReturns) {
    std::string error;
    FindConfig config;
    config.targetProduct = kOwn;
    TESSERA::Find find(config);
    // No period ends while the test runs; a sender silent for a stage of 3 s is asked.
    find.watchTimes = {10'000'000, 30'000'000, 3'000'000, 200'000};
    ASSERT_TRUE(find.open() && find.openWatch());
    TESTING::LogCapture log(6);
    find.startWatch();
    ASSERT_TRUE(eventually([&] { return find.targetCount() == 4; }, 10s));
    TESSERA::TargetTable added;
    find.takeAdded(added);
    EXPECT_EQ(std::make_tuple(added.size(), added[key(Alpha, 1)].outputIndex, added[key(Beta, 0)].targetName),
              std::make_tuple(size_t{4}, uint16_t{2}, kNames[Beta]));

    // Beta stops after the period's first stage: a stage after its last NOTIFY (up to 1 s before) it is asked
    // three times, 100 ms each, then lost.
    std::this_thread::sleep_for(3300ms);
    const IPAddress gone = key(Beta, 0);
    link->stopTarget(Beta);
    const auto stopped = Clock::now();
    ASSERT_TRUE(eventually([&] { return find.targetCount() == 3; }, 10s));
    const auto took = Clock::now() - stopped;
    EXPECT_TRUE(took > 2s && took < 4500ms)
        << std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
    std::list<IPAddress> removed;
    find.takeRemoved(removed);
    EXPECT_EQ(removed, std::list<IPAddress>{gone});
    EXPECT_TRUE(log.contains("lost 2") && log.contains("rem Target: Beta 1"));

    // Back: its NOTIFY has it asked and its Output added again.
    ASSERT_TRUE(link->startTarget(Beta, receiver(Beta, 1), error)) << error;
    ASSERT_TRUE(eventually([&] { return find.targetCount() == 4; }, 3s));
    find.takeAdded(added);
    EXPECT_EQ(added.count(key(Beta, 0)), 1u);
    // Back again at once with two Outputs: the counter goes to 0, so the watch greets it anew and merges.
    std::this_thread::sleep_for(1200ms);
    ASSERT_TRUE(link->startTarget(Beta, receiver(Beta, 2), error)) << error;
    EXPECT_TRUE(
        eventually([&] { return find.targetCount() == 5 && link->target(Beta).status().hostKnown; }, 3s));
}

} // namespace
