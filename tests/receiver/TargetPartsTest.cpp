// The Target's parts whose numbers a stream can't pin down: the feedback words at their limits, the
// play-out clock's drift, the arrival jitter's percentiles, repeats of held packets and resend back-off.
#include "tools/receiver/ArrivalJitter.h"
#include "tools/receiver/Capabilities.h"
#include "tools/receiver/FeedbackWords.h"
#include "tools/receiver/PlayoutClock.h"
#include "tools/receiver/ReceiveWindow.h"
#include "tools/receiver/ResendTracker.h"
#include "transport/wire/FeedbackValue.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace TESSERA;

TEST(TargetPartsTest, FeedbackWordsCarryTheLevelsExcessAsTheHostReadsIt) {
    // kind, level and target in 100 us, word8, word10, word12, the value the Host reads
    // clang-format off
    const struct { uint8_t kind; uint32_t level, target; uint16_t word8, word10, word12; int16_t value; } rows[] = {
        {3, 750, 500, 0, 750, 500, 8192}, {1, 750, 500, 0x3000, 0, 0, 8192}, {2, 750, 500, 0xA000, 0, 0, 8192}, {9, 750, 500, 0, 0, 0, 0},
        {2, 250, 500, 0xE000, 0, 0, -8192}, {1, 0, 500, 0x0001, 0, 0, -16382}, {2, 0, 500, 0xC000, 0, 0, -16384},
        // at three times the target the Host's quotient would wrap to a negative value: the level stops short
        {3, 2000, 500, 0, 1499, 500, 32735}, {1, 2000, 500, 0x5FEF, 0, 0, 32734}, {2, 2000, 500, 0xBFFF, 0, 0, 16383},
        {3, 100, 0, 0, 2, 1, 16384}, {3, 90000, 30000, 0, 65535, 30000, 19406},
    };
    // clang-format on
    for (const auto& r : rows) {
        const FeedbackWords w = FeedbackWords::make(r.kind, r.level, r.target);
        EXPECT_TRUE(w.word8 == r.word8 && w.word10 == r.word10 && w.word12 == r.word12)
            << int(r.kind) << " " << r.level;
        EXPECT_EQ(FeedbackValue::decode(w.word8, w.word10, w.word12).value, r.value)
            << int(r.kind) << " " << r.level;
    }
}

TEST(TargetPartsTest, PlayoutClockDrainsTheNominalRateShiftedByDrift) {
    // clang-format off
    const struct { uint64_t bytesPerSecond; uint32_t bytesPerFrame; double ppm; uint64_t elapsedUs, frames; } rows[] = {
        {288000, 6, 0, 10000000, 480000}, {288000, 6, 100, 10000000, 480048}, {288000, 6, -100, 10000000, 479952},
        {288000, 6, 0.5, 1000000000, 48000024}, {176400, 4, 20, 3600000000ull, 158763175}, // 158,760,000 + 3,175.2
        {176400, 4, 0, 22, 0}, {176400, 4, 0, 23, 1}, {705600, 8, -250, 1000000, 88177}, // 0.97 of a frame is not due
    };
    // clang-format on
    for (const auto& r : rows)
        EXPECT_EQ(PlayoutClock(r.bytesPerSecond, r.bytesPerFrame, r.ppm).framesDue(r.elapsedUs), r.frames)
            << r.ppm << " ppm, " << r.elapsedUs << " us";
}

TEST(TargetPartsTest, ArrivalJitterIsTheDeviationFromTheMedianInterval) {
    const auto with = [](std::vector<uint64_t> v, size_t n, uint64_t interval) {
        v.insert(v.begin(), n, interval);
        return v;
    };
    // clang-format off
    const struct { std::vector<uint64_t> intervals; double p50, p99, p999, max; } rows[] = {
        {with({1200, 800, 5000}, 97, 1000), 0, 200, 4000, 4000}, {with({1300, 1700, 1900, 2500}, 1996, 1000), 0, 0, 700, 1500},
        {with({300000}, 99, 2000), 0, 0, 298000, 298000}, {{100, 200, 300, 400, 500}, 100, 200, 200, 200}, {{200000, 200010, 200030}, 10, 20, 20, 20},
    };
    // clang-format on
    for (const auto& r : rows) {
        ArrivalJitter jitter;
        uint64_t t = 5000000;
        jitter.cycleEnd(t);
        for (uint64_t i : r.intervals)
            jitter.cycleEnd(t += i);
        const auto d = jitter.deviation();
        EXPECT_TRUE(d.p50 == r.p50 && d.p99 == r.p99 && d.p999 == r.p999 && d.max == r.max)
            << r.intervals.size() << " intervals, max " << d.max;
    }
}

TEST(TargetPartsTest, ResendRequestsBackOffCoverLaterGapsAndGiveUp) {
    using Action = ResendTracker::Action;
    // an Ask is answered with asked(now), as the receiver does
    // clang-format off
    const struct { bool gap; int64_t first; uint64_t since, now; Action expected; } steps[] = {
        {false, 0, 0, 500, Action::None}, {true, 10, 1000, 1000, Action::Ask}, {true, 10, 1000, 10999, Action::None},
        {true, 10, 1000, 11000, Action::Ask}, {true, 10, 1000, 30999, Action::None}, {true, 10, 1000, 31000, Action::Ask},
        {true, 12, 5000, 32000, Action::None}, // 12 was missing when 10 was last asked for: it is on its way
        {true, 12, 5000, 41000, Action::Ask}, {true, 20, 50000, 50000, Action::Ask}, {true, 20, 50000, 449999, Action::Ask},
        {true, 20, 50000, 450000, Action::GiveUp}, {false, 0, 0, 460000, Action::None},
    };
    // clang-format on
    ResendTracker tracker;
    for (const auto& s : steps) {
        EXPECT_EQ(tracker.poll(s.gap, s.first, s.since, s.now), s.expected) << s.now;
        if (s.expected == Action::Ask) tracker.asked(s.now);
    }
}

TEST(TargetPartsTest, ReceiveWindowHoldsGapsAcrossTheWrapAndKnowsRepeats) {
    using Arrival = ReceiveWindow::Arrival;
    std::vector<int> order; // each packet carries the low byte of its number
    ReceiveWindow window([&](BRINA::BufferCS_const audio) { order.push_back(audio.data[0]); });
    // clang-format off
    const struct { uint16_t sequence; uint64_t now; Arrival expected; } rows[] = {
        {65533, 100, Arrival::InOrder}, {0, 300, Arrival::Held}, {65535, 200, Arrival::Held}, {0, 0, Arrival::Repeat}, {65533, 0, Arrival::Repeat},
        {3, 400, Arrival::Held}, {20000, 0, Arrival::OutOfRange}, {65534, 0, Arrival::InOrder}, {2, 400, Arrival::Held}, {2, 0, Arrival::Repeat},
    };
    // clang-format on
    for (const auto& r : rows) {
        const uint8_t byte = static_cast<uint8_t>(r.sequence);
        EXPECT_EQ(window.accept(r.sequence, BRINA::BufferCS_const(&byte, 1), r.now), r.expected)
            << r.sequence;
    }
    EXPECT_EQ(window.firstGapSince(), 400u);
    EXPECT_EQ(window.skipFirstGap(), 1u); // 1 given up: 2 and 3 go on
    EXPECT_EQ(order, (std::vector<int>{0xFD, 0xFE, 0xFF, 0, 2, 3}));
}

// Masks given as raw words: the overview's bit-order bits follow the masks that exist, not the words.
TEST(TargetPartsTest, OverviewBitOrdersFollowTheMasks) {
    // clang-format off
    const struct { Capabilities caps; uint32_t type, rate; } rows[] = {
        {{{}, StreamFormat(0x02C10002, 0x0202), {}}, 0x02D10002, 0x0202}, {{{}, {}, StreamFormat(0x02F10002, 0x0202)}, 0x02E10002, 0x0202}, {{}, 0, 0},
    };
    // clang-format on
    for (const auto& r : rows)
        EXPECT_EQ(r.caps.overview(), StreamFormat(r.type, r.rate)) << std::hex << r.type;
}

} // namespace
