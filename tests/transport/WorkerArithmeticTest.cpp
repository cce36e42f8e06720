// The worker's arithmetic: the ring size, the frames of a packet, lateness and its pay-back, the feedback
// control loop and its log line.
#include "transport/FeedbackControl.h"
#include "transport/FeedbackLine.h"
#include "transport/FrameAccumulator.h"
#include "transport/Lateness.h"
#include "transport/SlotRing.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using namespace TESSERA;

TEST(WorkerArithmeticTest, RingFramesAndPayload) {
    const uint32_t rings[][3] = {{1000, 1, 1024}, {1000000, 1, 32}, {1000001, 4, 32},    {1000, 3, 4096},
                                 {31250, 1, 32},  {15625, 1, 64},   {125, 8, 65536 / 2}, {20000, 2, 128}};
    for (const auto& [cycle, count, size] : rings)
        EXPECT_EQ(slotRingSize(cycle, count), size) << cycle << " x " << count;
    // 44.1 frames a millisecond: 44 or 45 a cycle, the fraction carried; a cycle drawn at half its length
    // carries half the frames.
    FrameAccumulator whole, half;
    int32_t total = 0, halfTotal = 0;
    for (int i = 0; i < 100; ++i) {
        const int32_t frames = whole.next(722534);
        EXPECT_TRUE(frames == 44 || frames == 45) << i;
        total += frames, halfTotal += half.next(722534, 0.5f);
    }
    EXPECT_EQ(std::tuple(total, halfTotal), std::tuple(4409, 2204));
    EXPECT_LT(whole.remainder(), 0x4000);
    EXPECT_EQ(std::tuple(payloadBytes(44, 4, 1428), payloadBytes(500, 6, 1428), payloadBytes(0, 4, 1428)),
              std::tuple(176u, 1428u - 1428u % 6u, 0u));
}

TEST(WorkerArithmeticTest, LatenessAcrossTheWrapAndItsPayBack) {
    Lateness late;
    const uint32_t now = 0xFFFFFF00u; // across the clock's wrap
    // Due 1500 in the past: the step of one cycle still leaves it 500 behind, so it restarts from now.
    uint32_t next = now - 1500 + 1000, over = 0;
    EXPECT_TRUE(late.check(now, 1000, true, next, over));
    EXPECT_EQ(std::tuple(over, next, late.lateTime, late.overTimeScore),
              std::tuple(1500u, now + 1000, 1500u, 10));
    uint32_t due = now + 10; // on time: the score falls by one, nothing is booked
    EXPECT_FALSE(late.check(now, 1000, true, due, over));
    EXPECT_EQ(std::tuple(late.overTimeScore, due), std::tuple(9, now + 10));
    Lateness slow; // without catching up nothing is owed
    uint32_t behind = now - 500;
    EXPECT_TRUE(slow.check(now, 1000, false, behind, over));
    EXPECT_EQ(slow.lateTime, 0u);
    // The score climbs by ten a late cycle to 1000 at most, and falls by one to 0 at least.
    Lateness score;
    for (const auto& [cycles, on, expected] :
         {std::tuple(20, 5000u, 200), {200, 5000u, 1000}, {1100, 6000u, 0}}) {
        for (int i = 0; i < cycles; ++i) {
            uint32_t at = on;
            score.check(5000, 1000, true, at, over);
        }
        EXPECT_EQ(score.overTimeScore, expected);
    }
    // packetCount, maxPacketCount, lateTime; the burst and the lateTime left
    const uint32_t bursts[][5] = {
        {1, 10, 999, 1, 999}, {1, 10, 2500, 2, 1500}, {5, 5, 3000, 5, 3000}, {4, 6, 1000, 6, 500}};
    for (const auto& [count, most, owed, burst, left] : bursts) {
        Lateness l;
        l.lateTime = owed;
        const uint32_t sent = l.burst(count, most, 1000);
        EXPECT_EQ(std::tuple(sent, l.lateTime), std::tuple(burst, left)) << count << "/" << owed;
    }
}

TEST(WorkerArithmeticTest, ResendRequestsCountBack) {
    // Back from sendSequence; kept, resendCount, lateTime: with two packets a 1000 us cycle and a ring of
    // 1024, nothing to repeat, four cycles' packets, an older one books the difference, a newer one books
    // nothing, and as far back as the ring is long is gone.
    const uint32_t steps[][4] = {
        {0, true, 0, 0}, {4, true, 4, 2000}, {6, true, 6, 3000}, {2, true, 2, 3000}, {1024, false, 2, 3000}};
    Lateness late;
    uint16_t resendCount = 0;
    for (const auto& [count, kept, resends, lateTime] : steps) {
        EXPECT_EQ(late.resend(count, 1024, true, 1000, 2, resendCount), kept != 0) << count;
        EXPECT_EQ(std::tuple(resendCount, late.lateTime), std::tuple(resends, lateTime)) << count;
    }
}

TEST(WorkerArithmeticTest, ControlLoopAndItsLine) {
    // 99 on the change, 39 on the level; the shifts round toward minus infinity; clamped at both limits.
    FeedbackControl slower(1), faster(1), quiet(1), deep(4);
    for (const int16_t expected : {-138, -177, -216})
        EXPECT_EQ(slower.take(1000), expected);
    EXPECT_EQ(std::tuple(faster.take(-1000), quiet.take(0)), std::tuple(140, 0));
    for (int i = 0; i < 100; ++i)
        slower.take(1000), faster.take(-1000);
    EXPECT_EQ(std::tuple(slower.take(1000), faster.take(-1000)),
              std::tuple(FeedbackControl::kSlowest, FeedbackControl::kFastest));
    deep.take(1000); // a depth of four averages the last four values, truncated toward zero
    EXPECT_EQ(deep.average(), 250);
    deep.take(-3);
    EXPECT_EQ(deep.average(), 249);
    EXPECT_EQ(std::tuple(FeedbackControl::adjustFrames(722534, -1638),
                         FeedbackControl::adjustFrames(722534, 0),
                         FeedbackControl::adjustFrames(722534 * 40, 491)),
              std::tuple(650298, 722534, 722534 * 40 + ((int64_t{722534} * 40 * 491) >> 14)));
    EXPECT_EQ(std::tuple(FeedbackControl::adjustCycle(2000, 491), FeedbackControl::adjustCycle(2000, -1638),
                         FeedbackControl::adjustCycle(2000, 0)),
              std::tuple(1941u, 2200u, 2000u));
    EXPECT_EQ(std::tuple(q14Text(-138), q14Text(16384), q14Text(-16384), q14Text(16383), q14Whole(722534)),
              std::tuple(" -0.0084", "  1.0000", " -1.0000", "  0.9999", "44.1000"));
    EXPECT_EQ(feedbackLine(3, 1000, 1000, -138, false, 1000, 722534),
              "info rcv 3  0.0610  0.0610 -0.0084 fs=44.1000");
    EXPECT_EQ(feedbackLine(2, -1, 0, 491, true, 1941, 0), "info rcv 2 -0.0001  0.0000  0.0300 cy=1941");
}

} // namespace
