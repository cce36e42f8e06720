#include "BRINA/Thread.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sched.h>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

TEST(ThreadTest, PinningRefusesProcessorsOutsideTheMaskAndBusyWaitersNeverGetRealTime) {
    TESTING::LogCapture capture(7);
    std::thread([] {
        EXPECT_FALSE(BRINA::pinThreadToCpu(40));
        EXPECT_FALSE(BRINA::pinThreadToCpu(31)); // no such processor here
        EXPECT_TRUE(BRINA::pinThreadToCpu(0));
        for (uint32_t mode : {0u, 1u, 2u, 3u, 9u})
            EXPECT_TRUE(BRINA::setThreadPriority(mode)) << mode;
        EXPECT_TRUE(BRINA::setThreadPriority(0, true));
        // On a spinning request the policy (field 41 of the thread's stat) is SCHED_OTHER, whatever the
        // rights.
        std::ifstream stat("/proc/thread-self/stat");
        const std::string all((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
        std::istringstream fields(all.substr(all.rfind(')') + 2));
        std::string field;
        for (int i = 0; i < 39 && fields >> field; ++i) {
        }
        EXPECT_EQ(field, "0") << all;
    }).join();
    // Where a mode was not permitted, exactly one warning per refused call, in the system's words.
    for (const auto& line : capture.messages())
        EXPECT_EQ(line.rfind("thread priority unchanged, not permitted: mode ", 0), 0u) << line;
}

// A user without the right to raise priorities must still be able to stream: the call succeeds, leaves the
// thread as it was and says so once, as a warning.
TEST(ThreadTest, RefusedPriorityLeavesTheThreadAsItWasWithOneWarning) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become an unprivileged user in a child process";
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const rlimit none{0, 0};
        if (::setrlimit(RLIMIT_RTPRIO, &none) != 0 || ::setrlimit(RLIMIT_NICE, &none) != 0 ||
            ::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0)
            ::_exit(100);
        int faults = 0;
        {
            TESTING::LogCapture capture(7);
            const int nice = ::getpriority(PRIO_PROCESS, 0);
            for (uint32_t mode : {0u, 1u})
                if (!BRINA::setThreadPriority(mode)) faults |= 1;
            if (::sched_getscheduler(0) != SCHED_OTHER) faults |= 2;
            if (::getpriority(PRIO_PROCESS, 0) != nice) faults |= 4;
            if (capture.messages() !=
                std::vector<std::string>{"thread priority unchanged, not permitted: mode 0",
                                         "thread priority unchanged, not permitted: mode 1"})
                faults |= 8;
            for (const auto& line : capture.lines())
                if (line.substr(0, 5) != "<132>") faults |= 16; // local0, warning
        }
        ::_exit(faults);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0)
        << "1: a call failed, 2: the policy changed, 4: the nice value changed, 8: not these words once per "
           "call, 16: not a warning, 100: could not drop the rights";
}

} // namespace
