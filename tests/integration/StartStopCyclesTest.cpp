// Fifty short streams, one after the other, on one session: each ends in Idle with its worker joined and
// every frame at the Target, and no thread is left behind. The address and thread sanitizer builds run
// this for leaks and races.
#include "SignalSession.h"
#include "StreamTarget.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

namespace {

using namespace TESSERA;
using TESTING::SignalSession;
using TESTING::StreamTarget;

size_t threadCount() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

TEST(StartStopCyclesTest, FiftyStreamsOnOneSession) {
    constexpr size_t kCycles = 50;
    StreamTarget target;
    ASSERT_TRUE(target.started());
    SignalSession session;
    ASSERT_TRUE(session.negotiate(target.control(), StreamFormat(0x0202, 0x000A)));
    session.prepareSignal(0.02);
    const size_t threads = threadCount();
    for (size_t n = 0; n < kCycles; ++n) {
        ASSERT_TRUE(session.streamAll()) << n;
        EXPECT_EQ(session.state.load(), Sync::Idle) << n;
        EXPECT_FALSE(session.workerThread.joinable()) << n;
        EXPECT_FALSE(session.playing.load() && session.is_connect()) << n;
        StreamReport report;
        ASSERT_TRUE(target.report(n, report)) << n;
        EXPECT_TRUE(report.bitPerfect()) << n << ": " << report.toJson();
        EXPECT_TRUE(report.finalSeen) << n;
        EXPECT_EQ(report.verifier.matched, session.signalFrames()) << n;
    }
    // The Target's stream thread of the last stream ends just after its report.
    for (int i = 0; i < 100 && threadCount() > threads; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(threadCount(), threads);
    session.close();
}

} // namespace
