// The play-out clock and buffer, driven with explicit times.
#include "tools/receiver/PlayoutBuffer.h"
#include "tools/receiver/PlayoutClock.h"

#include <gtest/gtest.h>

namespace {

using TESSERA::PlayoutBuffer;
using TESSERA::PlayoutClock;

TEST(PlayoutTest, ClockDrainsNominalRateShiftedByDrift) {
    const struct {
        uint64_t bytesPerSecond;
        uint32_t bytesPerFrame;
        double ppm;
        uint64_t elapsedUs;
        uint64_t frames;
    } rows[] = {
        {288000, 6, 0, 10000000, 480000},   // 48 kHz, 24-bit stereo, 10 s
        {288000, 6, 100, 10000000, 480048}, // 48,000 x (1 + 100e-6) per second
        {288000, 6, -100, 10000000, 479952},
        {288000, 6, 0.5, 1000000000, 48000024},    // half a ppm shows over 1,000 s
        {176400, 4, 20, 3600000000ull, 158763175}, // 44.1 kHz for an hour: 158,760,000 + 3,175.2
        {176400, 4, 0, 22, 0},                     // 0.97 of a frame is not yet due
        {176400, 4, 0, 23, 1},
        {705600, 8, -250, 1000000, 88177}, // DSD64 stereo in 32-bit words: 88,200 x (1 - 250e-6)
    };
    for (const auto& r : rows) {
        PlayoutClock clock(r.bytesPerSecond, r.bytesPerFrame, r.ppm);
        EXPECT_EQ(clock.framesDue(r.elapsedUs), r.frames) << r.ppm << " ppm over " << r.elapsedUs << " us";
    }
}

TEST(PlayoutTest, StartsAtItsLevelUnderrunsAndWaitsToRefill) {
    const PlayoutClock clock(96000, 2, 0); // 48,000 frames a second: 48 per millisecond
    PlayoutBuffer buffer(clock, clock.framesIn(10));
    ASSERT_EQ(clock.framesIn(10), 480u);

    buffer.add(479, 1000);
    EXPECT_FALSE(buffer.playing());
    buffer.drain(50000); // nothing drains before the start
    EXPECT_EQ(buffer.level(), 479u);
    buffer.add(1, 2000);
    EXPECT_TRUE(buffer.playing());

    buffer.drain(7000); // 5 ms at 48 per ms
    EXPECT_EQ(buffer.level(), 240u);
    EXPECT_FALSE(buffer.runsDry(12000));
    EXPECT_TRUE(buffer.runsDry(12021));
    buffer.drain(12021);
    EXPECT_EQ(buffer.underruns(), 1u);
    EXPECT_FALSE(buffer.playing());
    EXPECT_EQ(buffer.level(), 0u);

    buffer.add(240, 13000); // half the start level: still waiting
    buffer.drain(20000);
    EXPECT_EQ(buffer.level(), 240u);
    buffer.add(240, 20000); // the clock starts again from here
    buffer.drain(21000);
    EXPECT_EQ(buffer.level(), 432u);
    EXPECT_EQ(buffer.underruns(), 1u);

    EXPECT_DOUBLE_EQ(buffer.minMs(), 0);
    EXPECT_DOUBLE_EQ(buffer.maxMs(), 10);
    // Weighted by time from the first start (2 ms) to 21 ms; each level holds until the next change.
    EXPECT_NEAR(buffer.meanMs(), (5.0 * 10 + 5.021 * 5 + 0.979 * 0 + 7.0 * 5 + 1.0 * 10) / 19, 1e-9);
}

TEST(PlayoutTest, FeedbackLevelIsTheMeanSinceTheLastOne) {
    const PlayoutClock clock(96000, 2, 0); // 48 frames a millisecond
    PlayoutBuffer buffer(clock, 480);
    EXPECT_EQ(buffer.meanLevelSinceLast(0), 0u); // before the start: the level itself
    buffer.add(480, 1000);
    EXPECT_EQ(buffer.meanLevelSinceLast(1000), 480u); // no time has passed
    buffer.drain(3000);                               // 480 held for 2 ms, then 384
    buffer.add(96, 3000);                             // a burst on time: back to 480
    buffer.drain(9000);                               // a late burst: 480 for 6 ms, then 192
    buffer.add(288, 9000);
    // 480 held from 1 to 9 ms; the dip to 192 lasted no time at all, and weighs nothing.
    EXPECT_EQ(buffer.meanLevelSinceLast(11000), (480u * 8 + 480u * 2) / 10);
    buffer.drain(12000); // 480 for 1 ms more, then 3 ms drained at once: 336 for 2 ms
    EXPECT_EQ(buffer.meanLevelSinceLast(14000), (480u * 1 + 336u * 2) / 3);
}

} // namespace
