// Fifty short streams, one after the other, on one session: each ends in Idle with its worker joined and
// every frame at the Target bit-perfect, and no thread is left behind. One session hands the worker the
// signal from memory; the other goes through the stream buffer, so that its producer thread, its flags
// and its ring are started, reset and joined on every cycle. The address and thread sanitizer builds run
// this for leaks and races.
#include "tests/support/BufferStream.h"
#include "tests/support/SignalSession.h"
#include "tests/support/StreamTarget.h"
#include "tools/source/SignalSource.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <thread>

namespace {

using namespace TESSERA;
using namespace std::chrono_literals;
using TESTING::SignalSession;
using TESTING::StreamTarget;

constexpr size_t kCycles = 50;
const StreamFormat kPcm16Stereo44100(0x0202, 0x000A);

size_t threadCount() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

// Runs the cycles: streamOnce runs one whole stream and gives the frames of the signal that it sent; the
// Target's report of each stream must hold exactly those, bit-perfect, after at least leadingSilence.
void runCycles(StreamTarget& target, Sync& session, const std::function<bool(uint64_t&)>& streamOnce,
               uint64_t leadingSilence) {
    const size_t threads = threadCount();
    for (size_t n = 0; n < kCycles; ++n) {
        uint64_t frames = 0;
        ASSERT_TRUE(streamOnce(frames)) << n;
        EXPECT_EQ(session.getState(), Sync::Idle) << n;
        EXPECT_FALSE(session.hasWorker()) << n;
        EXPECT_FALSE(session.isPlaying() && session.is_connect()) << n;
        StreamReport report;
        ASSERT_TRUE(target.report(n, report)) << n;
        EXPECT_TRUE(report.bitPerfect()) << n << ": " << report.toJson();
        EXPECT_TRUE(report.finalSeen) << n;
        EXPECT_GT(frames, 0u) << n;
        EXPECT_EQ(report.verifier.matched, frames) << n;
        EXPECT_GE(report.verifier.leadingSilence, leadingSilence) << n;
    }
    // The Target's stream thread of the last stream ends just after its report.
    for (int i = 0; i < 100 && threadCount() > threads; ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(threadCount(), threads);
    session.close();
}

TEST(StartStopCyclesTest, FiftyStreamsOnOneSession) {
    StreamTarget target;
    ASSERT_TRUE(target.started());
    SignalSession session;
    ASSERT_TRUE(session.negotiate(target.control(), kPcm16Stereo44100));
    session.prepareSignal(0.02);
    runCycles(
        target, session,
        [&session](uint64_t& frames) {
            frames = session.signalFrames();
            return session.streamAll();
        },
        0);
}

TEST(StartStopCyclesTest, FiftyStreamsThroughTheStreamBuffer) {
    constexpr uint32_t kBlockFrames = 441, kBlocks = 6;
    constexpr uint64_t kFrames = 1000; // two blocks and part of a third, which ends in silence
    StreamTarget target;
    ASSERT_TRUE(target.started());
    SignalSource source;
    ASSERT_TRUE(
        TESTING::negotiateOnePacketAMillisecond(source, target.control(), kPcm16Stereo44100, "cycles test"));
    runCycles(
        target, source,
        [&source](uint64_t& frames) {
            source.prepare(kBlockFrames, kBlocks, kFrames);
            const bool streamed = TESTING::streamToTheEnd(source);
            frames = source.framesProduced();
            return streamed && frames == kFrames;
        },
        // The ring starts full of silence.
        uint64_t{kBlocks} * kBlockFrames);
}

} // namespace
