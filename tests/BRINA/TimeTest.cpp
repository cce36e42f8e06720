#include "BRINA/Time.h"

#include <gtest/gtest.h>

namespace {

TEST(TimeTest, WrapAwareComparison) {
    // clang-format off
    const struct { uint32_t a, b; int expected; } rows[] = {
        {5, 0xFFFFFFF0u, 1}, {0xFFFFFFF0u, 5, -1}, {7, 7, 0}, {100, 99, 1}, {99, 100, -1}, {0x7FFFFFFFu, 0, 1},
        {0x80000000u, 0, -1}, {0, 0x80000000u, 1}, {0x80000001u, 1, -1}, {1, 0x80000001u, 1}, {0, 0x7FFFFFFFu, -1},
        {0xFFFFFFFFu, 0, -1},
    };
    // clang-format on
    for (const auto& r : rows) {
        EXPECT_EQ(BRINA::timeCompare(r.a, r.b), r.expected) << std::hex << r.a << " vs " << r.b;
        EXPECT_EQ(BRINA::timeBefore(r.a, r.b), r.expected < 0);
        EXPECT_EQ(BRINA::timeAfter(r.a, r.b), r.expected > 0);
        EXPECT_EQ(BRINA::timeNotAfter(r.a, r.b), r.expected <= 0);
        EXPECT_EQ(BRINA::timeNotBefore(r.a, r.b), r.expected >= 0);
    }
}

TEST(TimeTest, ClockStaysMonotonicAcrossTheWrap) {
    BRINA::wrapMicrosecondsIn(20000);
    uint32_t previous = BRINA::nowMicroseconds();
    EXPECT_GT(previous, 0xFFF00000u); // within about a second of the wrap
    bool wrapped = false;
    for (int i = 0; i < 60; ++i) {
        BRINA::sleepMilliseconds(1);
        const uint32_t now = BRINA::nowMicroseconds();
        EXPECT_TRUE(BRINA::timeNotBefore(now, previous));
        wrapped = wrapped || now < previous;
        previous = now;
    }
    EXPECT_TRUE(wrapped);
    BRINA::setMicrosecondOffset(0);
}

} // namespace
