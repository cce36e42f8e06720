// Packets back in order across the 16-bit wrap: gaps, repeats, held packets and giving up.
#include "ReceiveWindow.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Arrival = TESSERA::ReceiveWindow::Arrival;

// Each packet carries its own sequence number as one byte, so the order handed over shows.
struct Recorder {
    std::vector<int> order;
    TESSERA::ReceiveWindow window{[this](BRINA::BufferCS_const audio) { order.push_back(audio.data[0]); }};
    Arrival accept(uint16_t sequence, uint64_t nowUs = 0) {
        const uint8_t byte = static_cast<uint8_t>(sequence);
        return window.accept(sequence, BRINA::BufferCS_const(&byte, 1), nowUs);
    }
};

TEST(ReceiveWindowTest, ArrivalsAcrossTheWrap) {
    const struct {
        const char* name;
        std::vector<uint16_t> arrivals;
        std::vector<Arrival> results;
        std::vector<int> handedOver; // low bytes of the sequence numbers
        int64_t next;
        uint64_t missing;
    } rows[] = {
        {"in order over the wrap",
         {65534, 65535, 0, 1},
         {Arrival::InOrder, Arrival::InOrder, Arrival::InOrder, Arrival::InOrder},
         {0xFE, 0xFF, 0, 1},
         65538,
         0},
        {"a gap at the wrap, filled late",
         {65534, 0, 1, 65535},
         {Arrival::InOrder, Arrival::Held, Arrival::Held, Arrival::InOrder},
         {0xFE, 0xFF, 0, 1},
         65538,
         0},
        {"repeats of handed-over and held packets",
         {65535, 1, 1, 65535, 0, 1},
         {Arrival::InOrder, Arrival::Held, Arrival::Repeat, Arrival::Repeat, Arrival::InOrder,
          Arrival::Repeat},
         {0xFF, 0, 1},
         65538,
         0},
        {"a lost first packet is waited for", {1, 2}, {Arrival::Held, Arrival::Held}, {}, 0, 1},
        {"far ahead is out of range", {0, 20000}, {Arrival::InOrder, Arrival::OutOfRange}, {0}, 1, 0},
        {"two gaps",
         {10, 11, 12, 14, 17},
         {Arrival::Held, Arrival::Held, Arrival::Held, Arrival::Held, Arrival::Held},
         {},
         0,
         13},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        Recorder rec;
        std::vector<Arrival> results;
        for (uint16_t s : r.arrivals)
            results.push_back(rec.accept(s));
        EXPECT_EQ(results, r.results);
        EXPECT_EQ(rec.order, r.handedOver);
        EXPECT_EQ(rec.window.next(), r.next);
        EXPECT_EQ(rec.window.missingCount(), r.missing);
    }
}

TEST(ReceiveWindowTest, GivingUpGapsOneAtATime) {
    Recorder rec;
    rec.accept(65533, 100);
    rec.accept(0, 300);     // 65534 and 65535 missing since 300
    rec.accept(65535, 200); // out of order: now only 65534 is missing, known since 200
    rec.accept(3, 400);     // 1 and 2 missing
    EXPECT_EQ(rec.window.firstGapLength(), 1u);
    EXPECT_EQ(rec.window.firstGapSince(), 200u);
    EXPECT_EQ(rec.window.missingCount(), 3u);
    EXPECT_EQ(rec.window.end(), 65536 + 4);

    EXPECT_EQ(rec.window.skipFirstGap(), 1u);
    EXPECT_EQ(rec.order, (std::vector<int>{0xFD, 0xFF, 0}));
    EXPECT_EQ(rec.window.next(), 65537);
    EXPECT_EQ(rec.window.firstGapSince(), 400u);
    EXPECT_EQ(rec.window.skipFirstGap(), 2u);
    EXPECT_EQ(rec.order.back(), 3);
    EXPECT_FALSE(rec.window.hasGap());
    EXPECT_EQ(rec.accept(1), Arrival::Repeat); // too late: given up
}

} // namespace
