// Fifty short streams on one session: each ends Idle with its worker joined and every frame at the Target
// bit-perfect, and no thread is left behind. One session hands the worker the signal from memory; the other
// goes through the stream buffer, whose producer thread, flags and ring each cycle starts, resets and joins.
#include "tests/support/BufferStream.h"
#include "tests/support/SignalSession.h"
#include "tests/support/StreamTarget.h"
#include "tools/source/SignalSource.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <thread>

namespace {

using namespace TESSERA;
const StreamFormat kPcm44(0x0202, 0x000A);

size_t threadCount() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

// streamOnce runs one whole stream and gives the frames it sent: the Target's report of each must hold
// exactly those, bit-perfect, after at least leadingSilence.
void runCycles(TESTING::StreamTarget& target, Sync& session, const std::function<bool(uint64_t&)>& streamOnce,
               uint64_t leadingSilence) {
    const size_t threads = threadCount();
    for (size_t n = 0; n < 50; ++n) {
        uint64_t frames = 0;
        ASSERT_TRUE(target.bounded(std::chrono::seconds(20), [&] { return streamOnce(frames); })) << n;
        EXPECT_TRUE(session.getState() == Sync::Idle && !session.hasWorker() &&
                    !(session.isPlaying() && session.is_connect()))
            << n;
        StreamReport report;
        ASSERT_TRUE(target.report(n, report)) << n;
        EXPECT_TRUE(report.bitPerfect() && report.finalSeen && frames > 0 &&
                    report.verifier.matched == frames && report.verifier.leadingSilence >= leadingSilence)
            << n << ": " << report.toJson();
    }
    for (int i = 0; i < 100 && threadCount() > threads; ++i) // the last Target thread ends just after
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(threadCount(), threads);
    session.close();
}

TEST(StartStopCyclesTest, FiftyStreamsOnOneSession) {
    TESTING::StreamTarget target;
    TESTING::SignalSession session;
    ASSERT_TRUE(target.started() && session.negotiate(target.control(), kPcm44));
    session.prepareSignal(0.02);
    runCycles(
        target, session,
        [&](uint64_t& frames) { return frames = session.signalFrames(), session.streamAll(); }, 0);
}

TEST(StartStopCyclesTest, FiftyStreamsThroughTheStreamBuffer) {
    TESTING::StreamTarget target;
    SignalSource source;
    ASSERT_TRUE(TESTING::negotiateOnePacketAMillisecond(source, target.control(), kPcm44, "cycles test"));
    const auto once = [&](uint64_t& frames) {
        source.prepare(441, 6, 1000); // two blocks and part of a third, which ends in silence
        const bool streamed = TESTING::streamToTheEnd(source);
        return frames = source.framesProduced(), streamed && frames == 1000;
    };
    runCycles(target, source, once, 6 * 441); // the ring starts full of silence
}

} // namespace
