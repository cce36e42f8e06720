#include "format/CopyRoutines.h"
#include "format/CopyReference.h"

#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <random>
#include <vector>

namespace {

using namespace TESSERA;
using Bytes = std::vector<uint8_t>;

const struct Routine {
    const char* name;
    CopyRoutine fast;
    CopyRoutine table;
    bool words; // works on whole 32-bit words only
} kRoutines[] = {
    {"copyPlain", copyPlain, tableCopyPlain, false},
    {"copyPlainInverted", copyPlainInverted, tableCopyPlainInverted, false},
    {"copySwap", copySwap, tableCopySwap, true},
    {"copySwapInverted", copySwapInverted, tableCopySwapInverted, true},
    {"copyReverse", copyReverse, tableCopyReverse, true},
    {"copyReverseInverted", copyReverseInverted, tableCopyReverseInverted, true},
    {"copySwapReverse", copySwapReverse, tableCopySwapReverse, true},
    {"copySwapReverseInverted", copySwapReverseInverted, tableCopySwapReverseInverted, true},
};

Bytes run(CopyRoutine routine, const Bytes& source, uint32_t count) {
    Bytes out(source.size(), 0xA5); // bytes the routine must not write keep this value
    routine(out.data(), source.data(), count);
    return out;
}

TEST(CopyRoutinesTest, KnownWords) {
    const Bytes in = {0x78, 0x56, 0x34, 0x12};
    const Bytes want[] = {
        {0x78, 0x56, 0x34, 0x12}, {0x87, 0xA9, 0xCB, 0xED}, {0x12, 0x34, 0x56, 0x78},
        {0xED, 0xCB, 0xA9, 0x87}, {0x1E, 0x6A, 0x2C, 0x48}, {0xE1, 0x95, 0xD3, 0xB7},
        {0x48, 0x2C, 0x6A, 0x1E}, {0xB7, 0xD3, 0x95, 0xE1},
    };
    for (size_t i = 0; i < std::size(kRoutines); ++i) {
        EXPECT_EQ(run(kRoutines[i].fast, in, 4), want[i]) << kRoutines[i].name;
        EXPECT_EQ(run(kRoutines[i].table, in, 4), want[i]) << kRoutines[i].name << " (table)";
    }
}

TEST(CopyRoutinesTest, Tables) {
    EXPECT_EQ(bitReverseTable[0x01], 0x80);
    EXPECT_EQ(bitReverseTable[0x69], 0x96);
    EXPECT_EQ(bitReverseTable[0x00], 0x00);
    for (uint32_t i = 0; i < 256; ++i) {
        EXPECT_EQ(bitReverseTable[bitReverseTable[i]], i);
        EXPECT_EQ(bitReverseInvertedTable[i], static_cast<uint8_t>(~bitReverseTable[i]));
    }
}

TEST(CopyRoutinesTest, CountsThatAreNotWholeWords) {
    const Bytes zeros(8, 0x00);
    EXPECT_EQ(run(copyPlainInverted, zeros, 3), Bytes({0xFF, 0xFF, 0xFF, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5}));
    EXPECT_EQ(run(copyPlain, zeros, 5), Bytes({0, 0, 0, 0, 0, 0xA5, 0xA5, 0xA5}));
    for (const auto& r : kRoutines) {
        if (!r.words) continue;
        for (uint32_t count : {0u, 1u, 3u, 5u, 7u}) {
            const Bytes out = run(r.fast, zeros, count);
            for (uint32_t i = 0; i < out.size(); ++i)
                EXPECT_EQ(out[i] == 0xA5, i >= count / 4 * 4)
                    << r.name << " count " << count << " byte " << i;
        }
    }
    for (const auto& r : kRoutines)
        r.fast(nullptr, nullptr, 0); // nothing to copy: the pointers are never used
}

TEST(CopyRoutinesTest, EveryByteValueInEveryPositionMatchesTheTable) {
    Bytes in(1024);
    for (uint32_t i = 0; i < in.size(); ++i)
        in[i] = static_cast<uint8_t>(i / 4 + 85 * (i % 4));
    for (const auto& r : kRoutines)
        EXPECT_EQ(run(r.fast, in, 1024), run(r.table, in, 1024)) << r.name;
}

TEST(CopyRoutinesTest, RandomBuffersAtAnyOffsetMatchTheTable) {
    std::mt19937 random(20240611);
    Bytes in(70000);
    for (auto& b : in)
        b = static_cast<uint8_t>(random());
    std::vector<uint32_t> counts;
    for (uint32_t c = 0; c <= 72; ++c)
        counts.push_back(c);
    for (uint32_t c : {1428u, 1431u, 65536u, 65540u})
        counts.push_back(c);
    for (const auto& r : kRoutines) {
        for (uint32_t count : counts) {
            if (r.words && count % 4 != 0) continue;
            for (uint32_t from = 0; from < 8; ++from) {
                for (uint32_t to : {0u, 1u, 3u, 5u}) {
                    Bytes fast(count + 16, 0xA5), table(count + 16, 0xA5);
                    r.fast(fast.data() + to, in.data() + from, count);
                    r.table(table.data() + to, in.data() + from, count);
                    ASSERT_EQ(fast, table)
                        << r.name << " count " << count << " from " << from << " to " << to;
                }
            }
        }
    }
}

TEST(CopyRoutinesTest, AllocateNothing) {
    Bytes in(4096, 0x69), out(4096);
    const uint64_t before = TESTING::allocationCount();
    for (const auto& r : kRoutines)
        r.fast(out.data() + 1, in.data() + 3, 4092);
    EXPECT_EQ(TESTING::allocationCount(), before);
}

} // namespace
