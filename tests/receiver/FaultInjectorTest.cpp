// The faults on arrival: bursts, loss, reordering, duplication and delay, in the order handed on.
#include "tools/receiver/FaultInjector.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using TESSERA::FaultInjector;
using TESSERA::StreamFaults;

// Datagrams of one byte each, their number; the last one is not STREAM_DATA when lastIsControl.
std::vector<int> passThrough(const StreamFaults& faults, int count, bool lastIsControl = false) {
    FaultInjector injector(faults);
    std::vector<int> out;
    std::vector<uint8_t> d;
    for (int i = 1; i <= count; ++i) {
        const bool streamData = !(lastIsControl && i == count);
        injector.arrive(std::vector<uint8_t>{static_cast<uint8_t>(i)}, streamData, 100 * i);
        while (injector.take(100 * i, d))
            out.push_back(d[0]);
    }
    while (injector.take(UINT64_MAX - 1, d))
        out.push_back(d[0]);
    return out;
}

TEST(FaultInjectorTest, EachFaultShapesTheArrivals) {
    StreamFaults none, burst, lossy, reorder, twice, both, lossEnds, burstEnds;
    burst.burstEvery = 5;
    burst.burstLength = 2;
    lossy.lossRate = 1.0;
    reorder.reorderRate = 1.0;
    twice.duplicateRate = 1.0;
    both.reorderRate = both.duplicateRate = 1.0;
    lossEnds.lossRate = 1.0;
    lossEnds.lossEndsAtMs = burstEnds.lossEndsAtMs = 1; // the packets come every 100 us from 100 us on
    burstEnds.burstEvery = 5;
    burstEnds.burstLength = 2;
    const struct {
        const char* name;
        const StreamFaults& faults;
        int count;
        bool lastIsControl;
        std::vector<int> handedOn;
    } rows[] = {
        {"none", none, 6, false, {1, 2, 3, 4, 5, 6}},
        {"bursts of two every fifth", burst, 12, false, {1, 2, 3, 4, 7, 8, 9, 12}},
        {"all lost but the control message", lossy, 6, true, {6}},
        {"each pair swapped", reorder, 6, false, {2, 1, 4, 3, 6, 5}},
        {"each twice", twice, 3, false, {1, 1, 2, 2, 3, 3}},
        {"twice and held back", both, 4, false, {1, 2, 2, 1, 3, 4, 4, 3}},
        {"all lost for a millisecond", lossEnds, 13, false, {11, 12, 13}},
        {"a burst cut short where loss ends", burstEnds, 12, false, {1, 2, 3, 4, 7, 8, 9, 11, 12}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(passThrough(r.faults, r.count, r.lastIsControl), r.handedOn);
    }
}

TEST(FaultInjectorTest, DelayAndAHeldDatagramFallDueInTime) {
    StreamFaults faults;
    faults.delayMicroseconds = 1000;
    faults.reorderRate = 1.0;
    FaultInjector injector(faults);
    std::vector<uint8_t> d;
    injector.arrive({1}, true, 0);   // held back, with nothing to overtake it
    injector.arrive({2}, false, 10); // control messages overtake nothing and aren't held
    EXPECT_EQ(injector.nextDueUs(), 1010u);
    EXPECT_FALSE(injector.take(1009, d));
    ASSERT_TRUE(injector.take(1010, d));
    EXPECT_EQ(d[0], 2);
    EXPECT_EQ(injector.nextDueUs(), FaultInjector::kReorderHoldUs);
    EXPECT_FALSE(injector.take(FaultInjector::kReorderHoldUs - 1, d));
    ASSERT_TRUE(injector.take(FaultInjector::kReorderHoldUs, d));
    EXPECT_EQ(d[0], 1);
}

} // namespace
