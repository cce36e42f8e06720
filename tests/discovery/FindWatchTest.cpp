// The watch on a private link with shortened times: receivers that send NOTIFY, one that doesn't, and one
// that goes away.
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateLink.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

namespace {

using BRINA::IPAddress;
using TESSERA::Find;
using TESTING::PrivateLink;
using Clock = std::chrono::steady_clock;

enum Receiver { Alpha, Beta, Quiet };

bool eventually(const std::function<bool()>& condition, int seconds) {
    const auto deadline = Clock::now() + std::chrono::seconds(seconds);
    while (Clock::now() < deadline) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return condition();
}

class FindWatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why;
        if (!PrivateLink::enterOwnNamespace(why)) GTEST_SKIP() << why;
        link = std::make_unique<PrivateLink>(1);
        ASSERT_TRUE(link->ready());
        // Alpha with two Outputs and Beta send NOTIFY once a second; Quiet only answers.
        const struct {
            const char* name;
            size_t outputs;
            bool notify;
        } receivers[] = {{"Alpha", 2, true}, {"Beta", 1, true}, {"Quiet", 1, false}};
        for (const auto& r : receivers) {
            TESSERA::TargetConfig config;
            config.name = r.name;
            config.outputs.resize(r.outputs);
            config.notify = r.notify;
            config.notifyLimit = 60;
            std::string error;
            ASSERT_GE(link->addTarget(0, config, error), 0) << error;
        }
        ASSERT_TRUE(link->waitForHostAddresses());
        TESSERA::FindConfig config;
        config.targetProduct = TESSERA::makeProductId(TESSERA::kProductText);
        find = std::make_unique<Find>(config);
        find->watchTimes = {10'000'000, 6'000'000, 2'500'000, 200'000};
        ASSERT_TRUE(find->open());
    }
    void TearDown() override {
        if (!find) return;
        find->stopWatch();
        find->joinWatch();
    }
    IPAddress key(int receiver, size_t output) {
        IPAddress k = link->targetAddress(receiver);
        k.setPort(link->target(receiver).controlPort(output));
        return k;
    }
    std::unique_ptr<PrivateLink> link;
    std::unique_ptr<Find> find;
};

TEST_F(FindWatchTest, KeepsTheTableCurrent) {
    TESTING::LogCapture log(6);
    ASSERT_TRUE(find->openWatch());
    find->startWatch();
    ASSERT_TRUE(eventually([&] { return find->targetCount() == 4; }, 10));
    TESSERA::TargetTable added;
    find->takeAdded(added);
    const struct {
        int receiver;
        size_t output;
        const char* name;
    } rows[] = {{Alpha, 0, "Alpha"}, {Alpha, 1, "Alpha"}, {Beta, 0, "Beta"}, {Quiet, 0, "Quiet"}};
    ASSERT_EQ(added.size(), std::size(rows));
    for (const auto& row : rows) {
        EXPECT_EQ(added[key(row.receiver, row.output)].targetName, row.name);
        EXPECT_EQ(added[key(row.receiver, row.output)].outputIndex, row.output + 1);
    }
    EXPECT_TRUE(log.contains("Startup mode finish"));

    // Beta goes: its NOTIFY stops, and the watch notices within a stage and its three questions.
    const IPAddress gone = key(Beta, 0);
    link->removeTarget(Beta);
    ASSERT_TRUE(eventually([&] { return find->targetCount() == 3; }, 15));
    std::list<IPAddress> removed;
    find->takeRemoved(removed);
    EXPECT_EQ(removed, std::list<IPAddress>{gone});
    EXPECT_TRUE(log.contains("rem Target: Beta 1"));
    // Quiet answers every search but never sends NOTIFY: it stays, and the periods end early for it.
    ASSERT_TRUE(eventually([&] { return log.contains("exit notify mode nomuch : 3"); }, 15));
    EXPECT_EQ(find->targetCount(), 3u);

    const auto stopAsked = Clock::now();
    find->stopWatch();
    find->joinWatch();
    EXPECT_FALSE(find->isWatching());
    EXPECT_LT(Clock::now() - stopAsked, std::chrono::seconds(3));
}

TEST_F(FindWatchTest, WithoutItsSocketTheWatchEndsAfterTheFirstSearch) {
    find->startWatch();
    ASSERT_TRUE(eventually([&] { return !find->isWatching(); }, 10));
    EXPECT_EQ(find->targetCount(), 4u);
}

} // namespace
