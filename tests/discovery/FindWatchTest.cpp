// The watch on a private link with shortened times: Alpha with two Outputs and Beta send NOTIFY once a
// second; Beta falls silent, comes back, and comes back again at once with another Output.
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateLink.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

namespace {

using BRINA::IPAddress;
using TESTING::PrivateLink;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

enum Receiver { Alpha, Beta };

bool eventually(const std::function<bool()>& condition, std::chrono::seconds limit) {
    const auto deadline = Clock::now() + limit;
    while (!condition() && Clock::now() < deadline)
        std::this_thread::sleep_for(50ms);
    return condition();
}

TESSERA::TargetConfig notifying(const char* name, size_t outputs) {
    TESSERA::TargetConfig config;
    config.name = name;
    config.outputs.resize(outputs);
    config.notify = true;
    config.notifyLimit = 60;
    return config;
}

TEST(FindWatchTest, LosesASilentTargetAfterAStageAndFindsItAgainWhenItReturns) {
    std::string why, error;
    if (!PrivateLink::enterOwnNamespace(why)) GTEST_SKIP() << why;
    PrivateLink link(1);
    ASSERT_TRUE(link.ready());
    ASSERT_EQ(link.addTarget(0, notifying("Alpha", 2), error), Alpha) << error;
    ASSERT_EQ(link.addTarget(0, notifying("Beta", 1), error), Beta) << error;
    ASSERT_TRUE(link.waitForHostAddresses());
    const auto key = [&](int receiver, size_t output) {
        IPAddress k = link.targetAddress(receiver);
        k.setPort(link.target(receiver).controlPort(output));
        return k;
    };
    TESSERA::FindConfig config;
    config.targetProduct = TESSERA::makeProductId(TESSERA::kProductText);
    TESSERA::Find find(config);
    // No period ends while the test runs; a sender silent for a stage is asked.
    find.watchTimes = {10'000'000, 30'000'000, 2'000'000, 200'000};
    ASSERT_TRUE(find.open() && find.openWatch());
    TESTING::LogCapture log(6);
    find.startWatch();
    ASSERT_TRUE(eventually([&] { return find.targetCount() == 3; }, 10s));
    TESSERA::TargetTable added;
    find.takeAdded(added);
    // clang-format off
    const struct { int receiver; size_t output; const char* name; } rows[] = {
        {Alpha, 0, "Alpha"},
        {Alpha, 1, "Alpha"},
        {Beta, 0, "Beta"},
    };
    // clang-format on
    ASSERT_EQ(added.size(), std::size(rows));
    for (const auto& row : rows)
        EXPECT_EQ(std::tie(added[key(row.receiver, row.output)].targetName,
                           added[key(row.receiver, row.output)].outputIndex),
                  std::make_tuple(std::string(row.name), uint16_t(row.output + 1)));
    EXPECT_TRUE(log.contains("Startup mode finish"));

    // Beta stops once the watch has heard it: a stage after its last NOTIFY it is asked three times, then
    // lost.
    std::this_thread::sleep_for(1200ms);
    const IPAddress gone = key(Beta, 0);
    link.stopTarget(Beta);
    const auto stopped = Clock::now();
    ASSERT_TRUE(eventually([&] { return find.targetCount() == 2; }, 10s));
    const auto took = Clock::now() - stopped;
    EXPECT_TRUE(took > 1s && took < 3500ms)
        << std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
    std::list<IPAddress> removed;
    find.takeRemoved(removed);
    EXPECT_EQ(removed, std::list<IPAddress>{gone});
    EXPECT_TRUE(log.contains("lost 2") && log.contains("rem Target: Beta 1"));

    // Back: its NOTIFY has it asked and its Output added again.
    ASSERT_TRUE(link.startTarget(Beta, notifying("Beta", 1), error)) << error;
    ASSERT_TRUE(eventually([&] { return find.targetCount() == 3; }, 3s));
    find.takeAdded(added);
    EXPECT_EQ(added.count(key(Beta, 0)), 1u);
    // Back again at once with two Outputs: the counter goes to 0, so the watch greets it anew and merges.
    std::this_thread::sleep_for(1200ms);
    ASSERT_TRUE(link.startTarget(Beta, notifying("Beta", 2), error)) << error;
    EXPECT_TRUE(
        eventually([&] { return find.targetCount() == 4 && link.target(Beta).status().hostKnown; }, 3s));

    const auto stopAsked = Clock::now();
    find.stopWatch();
    find.joinWatch();
    EXPECT_FALSE(find.isWatching());
    EXPECT_LT(Clock::now() - stopAsked, 3s);
}

} // namespace
