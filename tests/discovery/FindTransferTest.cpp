// Transfers into the slots of a software Target on ::1 that loses, delays, refuses and misnames on request.
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LoopbackTarget.h"
#include "transport/wire/Crc16.h"
#include "transport/wire/PacketHeader.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using BRINA::IPAddress;
using TESSERA::Find;
using TESSERA::TargetTransferConfig;
using Bytes = std::vector<uint8_t>;

Bytes randomBytes(size_t length) {
    std::mt19937 random(static_cast<uint32_t>(length));
    Bytes data(length);
    for (uint8_t& b : data)
        b = static_cast<uint8_t>(random());
    return data;
}

// A Target on ::1 whose slots take transfers as config says.
struct SlotTarget : TESTING::LoopbackTarget {
    static TESSERA::TargetConfig with(const TargetTransferConfig& transfer) {
        TESSERA::TargetConfig c;
        c.transfer = transfer;
        return c;
    }
    explicit SlotTarget(const TargetTransferConfig& transfer) : LoopbackTarget(with(transfer)) {}
};

TargetTransferConfig shaped(uint16_t windowLimit, uint16_t packetSize, uint16_t blockLength,
                            uint16_t blockCount) {
    TargetTransferConfig c;
    c.windowLimit = windowLimit;
    c.packetSize = packetSize;
    c.blockLength = blockLength;
    c.blockCount = blockCount;
    return c;
}

TargetTransferConfig withFault(TargetTransferConfig c, int32_t dropOnce, uint32_t silentAcks, bool refuse,
                               bool following, bool wrongSlot) {
    c.dropOnce = dropOnce;
    c.silentAcks = silentAcks;
    c.refuse = refuse;
    c.ackFollowing = following;
    c.wrongSlotAck = wrongSlot;
    return c;
}

TEST(FindTransferTest, OutcomesAndTheirLines) {
    const TargetTransferConfig plain = shaped(0xFFFF, 1000, 8, 4);
    const struct {
        const char* what;
        TargetTransferConfig target;
        int slot;
        size_t length;
        unsigned limit;
        bool ok;
        size_t arrivals; // TRANSFER_DATA the Target saw
        const char* line;
    } rows[] = {
        {"whole", plain, 1, 20'000, 0, true, 20, "compleat Transfer "},
        {"empty", plain, 0, 0, 0, true, 0, "compleat Transfer "},
        {"slot beyond the slots", plain, 2, 10, 0, false, 0, nullptr},
        {"larger than the slot", plain, 0, 32'001, 0, false, 0, nullptr},
        {"a lost packet", withFault(plain, 3, 0, false, false, false), 0, 8000, 0, true, 13,
         "Retry Detect err 7 3"},
        {"the sequence after the last", withFault(plain, -1, 0, false, true, false), 0, 3000, 0, true, 3,
         "Retry Redy Pass 2 3"},
        {"refused", withFault(plain, -1, 0, true, false, false), 0, 3000, 0, false, 3, "Transfer NAK error "},
        {"another slot named", withFault(plain, -1, 0, false, false, true), 0, 3000, 0, false, 3,
         "Transfer NO error "},
        {"never acknowledged", withFault(plain, -1, 100, false, false, false), 0, 1000, 0, false, 11,
         "Transfer error 11"},
    };
    for (const auto& row : rows) {
        SlotTarget t(row.target);
        Find find(TESSERA::FindConfig{});
        ASSERT_TRUE(find.open());
        const Bytes data = randomBytes(row.length);
        TESTING::LogCapture log(6);
        EXPECT_EQ(find.Transfer(t.address(), row.slot, BRINA::BufferCS_const(data), row.limit), row.ok)
            << row.what;
        EXPECT_EQ(t.target().transfers().arrivals().size(), row.arrivals) << row.what;
        EXPECT_TRUE(row.line == nullptr || log.contains(row.line)) << row.what;
        EXPECT_TRUE(!row.ok || t.target().transfers().slot(row.slot) == data) << row.what;
    }
}

// (sequence, last of window) of each TRANSFER_DATA in the order the Target saw them.
std::vector<std::pair<uint16_t, bool>> windowsOf(const std::vector<Bytes>& arrivals) {
    std::vector<std::pair<uint16_t, bool>> seen;
    for (const Bytes& a : arrivals) {
        const TESSERA::PacketHeader h(a.data());
        seen.emplace_back(h.word10(), (h.word8() & 0x8000) != 0);
    }
    return seen;
}

TEST(FindTransferTest, TheWindowShrinksAfterASilence) {
    const struct {
        const char* what;
        TargetTransferConfig target;
        unsigned limit;
        std::vector<std::pair<uint16_t, bool>> seen;
    } rows[] = {
        {"the Target's limit", shaped(1500, 1000, 8, 4), 0, {{0, false}, {1, true}, {2, false}, {3, true}}},
        {"the caller's limit",
         shaped(0xFFFF, 1000, 8, 4),
         1500,
         {{0, false}, {1, true}, {2, false}, {3, true}}},
        {"one silence",
         withFault(shaped(1500, 1000, 8, 4), -1, 1, false, false, false),
         0,
         {{0, false}, {1, true}, {0, false}, {1, true}, {2, true}, {3, true}}},
        {"no limit: a block per window",
         shaped(0xFFFF, 1000, 2, 4),
         0,
         {{0, false}, {1, true}, {2, false}, {3, true}}},
    };
    for (const auto& row : rows) {
        SlotTarget t(row.target);
        Find find(TESSERA::FindConfig{});
        ASSERT_TRUE(find.open());
        const Bytes data = randomBytes(4000);
        std::vector<std::pair<uint16_t, uint16_t>> progress;
        EXPECT_TRUE(
            find.Transfer(t.address(), 0, BRINA::BufferCS_const(data), row.limit,
                          [&](uint16_t block, uint16_t count) { progress.emplace_back(block, count); }))
            << row.what;
        EXPECT_EQ(windowsOf(t.target().transfers().arrivals()), row.seen) << row.what;
        EXPECT_EQ(progress.front(), std::make_pair(uint16_t{0}, uint16_t{4})) << row.what;
    }
}

TEST(FindTransferTest, ResentPacketsRepeatTheFirstOnes) {
    SlotTarget t(withFault(shaped(0xFFFF, 100, 8, 4), 2, 0, false, false, false));
    Find find(TESSERA::FindConfig{});
    ASSERT_TRUE(find.open());
    const Bytes data = randomBytes(777);
    ASSERT_TRUE(find.Transfer(t.address(), 0, BRINA::BufferCS_const(data), 0));
    const std::vector<Bytes> arrivals = t.target().transfers().arrivals();
    // Eight packets, then 2 to 7 again: the same header and payload, at most 8 zero bytes more.
    ASSERT_EQ(arrivals.size(), 14u);
    for (size_t again = 8; again < arrivals.size(); ++again) {
        const Bytes& first = arrivals[again - 6];
        const Bytes& second = arrivals[again];
        ASSERT_GE(second.size(), first.size());
        EXPECT_LE(second.size(), first.size() + 8);
        EXPECT_TRUE(std::equal(first.begin(), first.end(), second.begin())) << again;
        EXPECT_TRUE(
            std::all_of(second.begin() + first.size(), second.end(), [](uint8_t b) { return b == 0; }));
    }
}

TEST(FindTransferTest, QueryTellsWhatASlotHolds) {
    SlotTarget t(shaped(0xFFFF, 1000, 8, 4));
    Find find(TESSERA::FindConfig{});
    ASSERT_TRUE(find.open());
    const Bytes data = randomBytes(5000);
    ASSERT_TRUE(find.Transfer(t.address(), 1, BRINA::BufferCS_const(data), 0));
    const uint16_t right = TESSERA::crc16Usb(BRINA::BufferCS_const(data));
    const struct {
        int slot;
        uint16_t crc;
        bool ok;
        uint16_t value;
    } rows[] = {{1, right, true, 5000},
                {1, static_cast<uint16_t>(right ^ 1), true, 0},
                {0, right, true, 0},
                {5, right, false, 9}};
    for (const auto& row : rows) {
        uint16_t crc = row.crc, value = 9;
        EXPECT_EQ(find.transferQuery(t.address(), row.slot, crc, value), row.ok) << row.slot;
        EXPECT_EQ(value, row.value) << row.slot;
    }
}

} // namespace
