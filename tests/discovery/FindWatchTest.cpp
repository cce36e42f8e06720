// The watch on a private link with shortened times: receivers that send NOTIFY, one that doesn't, and one
// that goes away.
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateLink.h"
#include "transport/wire/SyncCommands.h"

#include <gtest/gtest.h>

#include <atomic>
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

TEST(FindWatchAloneTest, WithNobodyThereStartupGivesUpAndEveryPeriodEndsAllDown) {
    std::string why, error;
    if (!PrivateLink::enterOwnNamespace(why)) GTEST_SKIP() << why;
    PrivateLink link(1);
    ASSERT_TRUE(link.ready());
    ASSERT_EQ(link.addTarget(0, TESSERA::TargetConfig{}, error, false), 0) << error; // a silent receiver
    ASSERT_TRUE(link.waitForHostAddresses());
    Find find(TESSERA::FindConfig{});
    find.watchTimes = {1'000'000, 2'000'000, 500'000, 100'000};
    ASSERT_TRUE(find.open() && find.openWatch());
    TESTING::LogCapture log(6);
    find.startWatch();
    EXPECT_TRUE(eventually([&] { return log.contains("exit notify mode alldown : 0"); }, 10));
    find.stopWatch();
    find.joinWatch();
    EXPECT_TRUE(log.contains("Startup mode retry"));
    EXPECT_FALSE(log.contains("Startup mode finish"));
}

// A receiver of the test's own on the Host's side: it sends NOTIFY when told and answers the questions that
// follow one, counting the HOST_REQ (one per query afresh) and the OUTPUT_REQ for the count (one per merge).
struct NotifyingReceiver {
    BRINA::Socket socket;
    std::atomic<int> greetings{0}, merges{0};
    std::atomic<bool> running{true};
    std::thread thread;
    explicit NotifyingReceiver() {
        IPAddress any;
        EXPECT_TRUE(socket.open(BRINA::Socket::IPv6Datagram) && socket.bind(any));
        thread = std::thread([this] {
            for (int turns = 0; running && turns < 400; ++turns) { // 40 s at most
                if (socket.wait(100'000) != BRINA::Socket::WaitReadable) continue;
                std::vector<uint8_t> request;
                IPAddress host;
                socket.receive(request, host);
                const TESSERA::PacketHeader h(request.data());
                TESSERA::Packet answer(h.command() + 1, uint16_t{1}, 0, h.word8() == 1 ? 40000 : 0, 1);
                if (h.command() == TESSERA::FIND_REQ)
                    answer = TESSERA::Packet(TESSERA::FIND_ANS, uint64_t{0});
                greetings += h.command() == TESSERA::HOST_REQ;
                merges += h.command() == TESSERA::OUTPUT_REQ && h.word8() == 0;
                answer.header().setFlags(TESSERA::PacketFlag::HasContent);
                socket.sendTo(host, answer.data(), answer.size(), true);
            }
        });
    }
    ~NotifyingReceiver() {
        running = false;
        thread.join();
    }
    void notify(uint16_t counter, uint32_t scope) {
        const uint8_t group[16] = {0xFF, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
        const TESSERA::Packet p(TESSERA::NOTIFY, counter, 0, 0, 0);
        socket.sendTo(IPAddress(group, TESSERA::kNotifyPort, scope), p.data(), p.size(), true);
    }
};

TEST_F(FindWatchTest, ANewCounterMergesAndZeroQueriesAfresh) {
    find->watchTimes.stage = 20'000'000; // no period ends while the test runs
    ASSERT_TRUE(find->openWatch());
    find->startWatch();
    ASSERT_TRUE(eventually([&] { return find->targetCount() == 4; }, 10));
    NotifyingReceiver own;
    const uint32_t scope = link->linkScope(0);
    const struct {
        uint16_t counter;
        int greetings, merges;
    } rows[] = {{5, 1, 1}, {5, 1, 1}, {5, 1, 1}, {6, 1, 2}, {0, 2, 3}, {0, 2, 3}};
    for (const auto& row : rows) {
        own.notify(row.counter, scope);
        EXPECT_TRUE(eventually([&] { return own.greetings == row.greetings && own.merges == row.merges; }, 3))
            << row.counter << ": " << own.greetings << " " << own.merges;
        std::this_thread::sleep_for(std::chrono::milliseconds(300)); // nothing more comes of it
        EXPECT_EQ(std::make_pair(own.greetings.load(), own.merges.load()),
                  std::make_pair(row.greetings, row.merges));
    }
    EXPECT_EQ(find->targetCount(), 5u);
}

} // namespace
