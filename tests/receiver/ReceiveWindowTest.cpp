// Packets back in order across the 16-bit wrap: gaps, repeats, held packets and giving up.
#include "tools/receiver/ReceiveWindow.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Arrival = TESSERA::ReceiveWindow::Arrival;

// Each packet carries the low byte of its sequence number, so the order handed over shows.
struct Recorder {
    std::vector<int> order;
    TESSERA::ReceiveWindow window{[this](BRINA::BufferCS_const audio) { order.push_back(audio.data[0]); }};
    Arrival accept(uint16_t sequence, uint64_t nowUs = 0) {
        const uint8_t byte = static_cast<uint8_t>(sequence);
        return window.accept(sequence, BRINA::BufferCS_const(&byte, 1), nowUs);
    }
};

TEST(ReceiveWindowTest, GapsAcrossTheWrapAreHeldFilledOrGivenUp) {
    Recorder rec;
    EXPECT_EQ(rec.accept(65533, 100), Arrival::InOrder); // a first number this high starts the count
    EXPECT_EQ(rec.accept(0, 300), Arrival::Held);        // 65534 and 65535 missing since 300
    EXPECT_EQ(rec.accept(65535, 200), Arrival::Held);    // now only 65534, missing since 200
    EXPECT_EQ(rec.accept(0), Arrival::Repeat);
    EXPECT_EQ(rec.accept(65533), Arrival::Repeat);
    EXPECT_EQ(rec.accept(3, 400), Arrival::Held); // 1 and 2 missing
    EXPECT_EQ(rec.accept(20000), Arrival::OutOfRange);
    EXPECT_EQ(rec.window.firstGapLength(), 1u);
    EXPECT_EQ(rec.window.firstGapSince(), 200u);
    EXPECT_EQ(rec.window.missingCount(), 3u);
    EXPECT_EQ(rec.window.end(), 65536 + 4);

    EXPECT_EQ(rec.window.skipFirstGap(), 1u);
    EXPECT_EQ(rec.order, (std::vector<int>{0xFD, 0xFF, 0}));
    EXPECT_EQ(rec.window.next(), 65537);
    EXPECT_EQ(rec.window.firstGapSince(), 400u);
    EXPECT_EQ(rec.accept(2), Arrival::Held);
    EXPECT_EQ(rec.accept(1), Arrival::InOrder); // fills the gap: 1, 2 and 3 go on
    EXPECT_EQ(rec.order, (std::vector<int>{0xFD, 0xFF, 0, 1, 2, 3}));
    EXPECT_FALSE(rec.window.hasGap());
    EXPECT_EQ(rec.accept(65534), Arrival::Repeat); // too late: given up
}

TEST(ReceiveWindowTest, LowFirstNumberMeansThePacketsBeforeItWereLost) {
    Recorder rec;
    EXPECT_EQ(rec.accept(2), Arrival::Held);
    EXPECT_EQ(rec.window.next(), 0);
    EXPECT_EQ(rec.window.missingCount(), 2u);
}

} // namespace
