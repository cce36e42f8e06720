#include "Thread.h"
#include "LogCapture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <thread>

namespace {

TEST(ThreadTest, CoreCountIsPhysicalCoresNotThreads) {
    const uint32_t cores = BRINA::physicalCoreCount();
    const uint32_t threads = std::thread::hardware_concurrency();
    EXPECT_GE(cores, 1u);
    EXPECT_LE(cores, threads);
    // With hyper-threading the count is below the threads; the topology's sibling lists tell by how much.
    std::ifstream siblings("/sys/devices/system/cpu/cpu0/topology/thread_siblings_list");
    std::string list;
    if (siblings >> list && list.find_first_of(",-") != std::string::npos) {
        EXPECT_LT(cores, threads);
    }
}

TEST(ThreadTest, PinningRefusesProcessorsOutsideTheMask) {
    std::thread([] {
        EXPECT_FALSE(BRINA::pinThreadToCpu(40));
        EXPECT_FALSE(BRINA::pinThreadToCpu(31)); // no such processor here
        EXPECT_TRUE(BRINA::pinThreadToCpu(0));
    }).join();
}

TEST(ThreadTest, EveryModeSucceedsAndBusyWaitersNeverGetRealTime) {
    TESTING::LogCapture capture(7);
    std::thread([] {
        for (uint32_t mode : {0u, 1u, 2u, 3u, 9u})
            EXPECT_TRUE(BRINA::setThreadPriority(mode)) << mode;
        EXPECT_TRUE(BRINA::setThreadPriority(0, true));
        // On a spinning request the policy is never real time, whatever the rights of the process.
        std::ifstream stat("/proc/thread-self/stat");
        std::string all((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
        const std::string afterName = all.substr(all.rfind(')') + 2);
        std::istringstream fields(afterName);
        std::string field;
        for (int i = 0; i < 39 && fields >> field; ++i) {
        }
        EXPECT_EQ(field, "0") << "policy field of " << afterName; // field 41: SCHED_OTHER
    }).join();
    // Where a mode was not permitted, exactly one warning per refused call, in the system's words.
    for (const auto& line : capture.messages())
        EXPECT_EQ(line.rfind("thread priority unchanged, not permitted: mode ", 0), 0u) << line;
}

TEST(ThreadTest, ProcessPriorityIsAMode) {
    EXPECT_LE(BRINA::processPriority(), 3u);
}

} // namespace
