// The worker's arithmetic: the ring size, the frames of a packet, lateness and its pay-back, the feedback
// control loop and its log line.
#include "transport/FeedbackControl.h"
#include "transport/FeedbackLine.h"
#include "transport/FrameAccumulator.h"
#include "transport/Lateness.h"
#include "transport/SlotRing.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using namespace TESSERA;

TEST(WorkerArithmeticTest, SlotRingHoldsAboutOneSecond) {
    struct Row {
        uint32_t cycle, packetCount, size;
    } rows[] = {{1000, 1, 1024}, {1000000, 1, 32}, {1000001, 4, 32},    {1000, 3, 4096},
                {31250, 1, 32},  {15625, 1, 64},   {125, 8, 65536 / 2}, {20000, 2, 128}};
    for (const auto& r : rows)
        EXPECT_EQ(slotRingSize(r.cycle, r.packetCount), r.size) << r.cycle << " x " << r.packetCount;
}

TEST(WorkerArithmeticTest, FramesOfFortyFourPointOne) {
    FrameAccumulator acc;
    int32_t total = 0;
    for (int i = 0; i < 100; ++i) {
        const int32_t frames = acc.next(722534);
        EXPECT_TRUE(frames == 44 || frames == 45) << i;
        total += frames;
    }
    EXPECT_NEAR(total, 4410, 1);
    EXPECT_LT(acc.remainder(), 0x4000);
    // A cycle drawn at half its length carries half the frames, the fraction still carried.
    FrameAccumulator half;
    int32_t halfTotal = 0;
    for (int i = 0; i < 100; ++i)
        halfTotal += half.next(722534, 0.5f);
    EXPECT_NEAR(halfTotal, 2205, 1);
}

TEST(WorkerArithmeticTest, PayloadBytesStopAtTheLargestWholeFrames) {
    EXPECT_EQ(payloadBytes(44, 4, 1428), 176u);
    EXPECT_EQ(payloadBytes(500, 6, 1428), 1428u - 1428u % 6u);
    EXPECT_EQ(payloadBytes(0, 4, 1428), 0u);
}

TEST(WorkerArithmeticTest, LateCycleRestartsFromNow) {
    Lateness late;
    const uint32_t now = 0xFFFFFF00u; // across the clock's wrap
    // Due 1500 in the past, the schedule's step of one cycle still leaves it 500 behind.
    uint32_t next = now - 1500 + 1000, over = 0;
    EXPECT_TRUE(late.check(now, 1000, true, next, over));
    EXPECT_EQ(over, 1500u);
    EXPECT_EQ(next, now + 1000); // the late time is not repeated
    EXPECT_EQ(late.lateTime, 1500u);
    EXPECT_EQ(late.overTimeScore, 10);
    // On time: the score falls by one, nothing is booked.
    uint32_t due = now + 10;
    EXPECT_FALSE(late.check(now, 1000, true, due, over));
    EXPECT_EQ(late.overTimeScore, 9);
    EXPECT_EQ(due, now + 10);
    // Without catching up nothing is owed.
    Lateness slow;
    uint32_t behind = now - 500;
    EXPECT_TRUE(slow.check(now, 1000, false, behind, over));
    EXPECT_EQ(slow.lateTime, 0u);
}

TEST(WorkerArithmeticTest, OverTimeScoreStaysWithinItsBounds) {
    Lateness late;
    uint32_t over = 0;
    for (int i = 0; i < 20; ++i) {
        uint32_t next = 5000;
        late.check(5000, 1000, true, next, over);
    }
    EXPECT_EQ(late.overTimeScore, 200);
    for (int i = 0; i < 200; ++i) {
        uint32_t next = 5000;
        late.check(5000, 1000, true, next, over);
    }
    EXPECT_EQ(late.overTimeScore, 1000);
    for (int i = 0; i < 1100; ++i) {
        uint32_t next = 6000;
        late.check(5000, 1000, true, next, over);
    }
    EXPECT_EQ(late.overTimeScore, 0);
}

TEST(WorkerArithmeticTest, BurstsPayBackLateTime) {
    struct Row {
        uint32_t packetCount, maxPacketCount, lateTime;
        uint32_t burst, lateAfter;
    } rows[] = {
        {1, 10, 999, 1, 999},   // less than a cycle owed: no extra packet
        {1, 10, 1000, 2, 0},    // exactly one cycle: the burst doubles and pays it back
        {1, 10, 2500, 2, 1500}, // one cycle paid back per cycle
        {5, 5, 3000, 5, 3000},  // the burst can't grow, the debt stays
        {4, 6, 1000, 6, 500},   // two extra packets of four pay back half a cycle
        {4, 6, 300, 4, 300},
    };
    for (const auto& r : rows) {
        Lateness late;
        late.lateTime = r.lateTime;
        EXPECT_EQ(late.burst(r.packetCount, r.maxPacketCount, 1000), r.burst)
            << r.packetCount << "/" << r.lateTime;
        EXPECT_EQ(late.lateTime, r.lateAfter) << r.packetCount << "/" << r.lateTime;
    }
    // Two packets of 1/10 repay one cycle at a time until less than a cycle is left.
    Lateness late;
    late.lateTime = 3500;
    int doubled = 0;
    for (int i = 0; i < 10; ++i)
        doubled += late.burst(1, 10, 1000) == 2;
    EXPECT_EQ(doubled, 3);
    EXPECT_EQ(late.lateTime, 500u);
}

TEST(WorkerArithmeticTest, ResendRequestsCountBack) {
    struct Step {
        uint16_t count;
        bool kept;
        uint16_t resendCount;
        uint32_t lateTime;
    } steps[] = {
        {0, true, 0, 0},        // the request names sendSequence itself: nothing to repeat
        {4, true, 4, 2000},     // four cycles' packets of two per 1000 us
        {6, true, 6, 3000},     // an older packet: only the difference is booked
        {2, true, 2, 3000},     // a newer one shortens the repeats and books nothing
        {1024, false, 2, 3000}, // as far back as the ring is long: gone
    };
    Lateness late;
    uint16_t resendCount = 0;
    for (const auto& s : steps) {
        EXPECT_EQ(late.resend(s.count, 1024, true, 1000, 2, resendCount), s.kept) << s.count;
        EXPECT_EQ(resendCount, s.resendCount) << s.count;
        EXPECT_EQ(late.lateTime, s.lateTime) << s.count;
    }
}

TEST(WorkerArithmeticTest, ControlLoopMovesTheRateWithinItsLimits) {
    FeedbackControl slower(1);
    EXPECT_EQ(slower.take(1000), -138); // 99 on the change, 39 on the level
    EXPECT_EQ(slower.take(1000), -177);
    EXPECT_EQ(slower.take(1000), -216);
    int16_t adjust = 0;
    for (int i = 0; i < 100; ++i)
        adjust = slower.take(1000);
    EXPECT_EQ(adjust, FeedbackControl::kSlowest);

    FeedbackControl faster(1);
    EXPECT_EQ(faster.take(-1000), 140); // the shifts round toward minus infinity
    for (int i = 0; i < 100; ++i)
        adjust = faster.take(-1000);
    EXPECT_EQ(adjust, FeedbackControl::kFastest);

    FeedbackControl quiet(1);
    EXPECT_EQ(quiet.take(0), 0);

    // A depth of four averages the last four values, truncated toward zero.
    FeedbackControl deep(4);
    deep.take(1000);
    EXPECT_EQ(deep.average(), 250);
    deep.take(-3);
    EXPECT_EQ(deep.average(), 249);
}

TEST(WorkerArithmeticTest, RateAdjustOnFramesAndCycle) {
    EXPECT_EQ(FeedbackControl::adjustFrames(722534, -1638), 650298);
    EXPECT_EQ(FeedbackControl::adjustFrames(722534, 0), 722534);
    EXPECT_EQ(FeedbackControl::adjustFrames(722534 * 40, 491),
              722534 * 40 + ((int64_t{722534} * 40 * 491) >> 14));
    EXPECT_EQ(FeedbackControl::adjustCycle(2000, 491), 1941u);
    EXPECT_EQ(FeedbackControl::adjustCycle(2000, -1638), 2200u);
    EXPECT_EQ(FeedbackControl::adjustCycle(2000, 0), 2000u);
}

TEST(WorkerArithmeticTest, FeedbackLineText) {
    struct Row {
        int32_t value;
        const char* text;
    } rows[] = {{0, "  0.0000"},      {1000, "  0.0610"}, {-138, " -0.0084"}, {16384, "  1.0000"},
                {-16384, " -1.0000"}, {8192, "  0.5000"}, {16383, "  0.9999"}};
    for (const auto& r : rows)
        EXPECT_EQ(q14Text(r.value), r.text) << r.value;
    EXPECT_EQ(q14Whole(722534), "44.1000");
    EXPECT_EQ(feedbackLine(3, 1000, 1000, -138, false, 1000, 722534),
              "info rcv 3  0.0610  0.0610 -0.0084 fs=44.1000");
    EXPECT_EQ(feedbackLine(2, -1, 0, 491, true, 1941, 0), "info rcv 2 -0.0001  0.0000  0.0300 cy=1941");
}

} // namespace
