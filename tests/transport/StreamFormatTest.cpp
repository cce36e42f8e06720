// The format word pair: its rates, validity, arithmetic, merge and compact form.
#include "format/StreamFormat.h"

#include <gtest/gtest.h>

#include <array>
#include <tuple>

namespace {

using TESSERA::StreamFormat;

TEST(StreamFormatTest, EveryRateRoundTripsAndUnknownOnesChangeNothing) {
    const uint32_t rates[][2] = {
        {8000, 0x0001},      {44100, 0x000A},    {48000, 0x000C},    {88200, 0x0012},    {96000, 0x0014},
        {176400, 0x0022},    {192000, 0x0024},   {352800, 0x0042},   {384000, 0x0044},   {705600, 0x0082},
        {768000, 0x0084},    {1411200, 0x0102},  {1536000, 0x0104},  {2822400, 0x0202},  {3072000, 0x0204},
        {5644800, 0x0402},   {6144000, 0x0404},  {11289600, 0x0802}, {12288000, 0x0804}, {22579200, 0x1002},
        {24576000, 0x1004},  {45158400, 0x2002}, {49152000, 0x2004}, {90316800, 0x4002}, {98304000, 0x4004},
        {180633600, 0x8002}, {196608000, 0x8004}};
    for (const auto& [hz, code] : rates) {
        // Start from another rate, so that a left-over bit of it would show.
        StreamFormat f(0x2A10002, 0xABCD0000u | (code == 0x8004 ? 0x0012u : 0x8004u));
        ASSERT_TRUE(f.setRate(hz)) << hz;
        EXPECT_EQ(std::tuple(f.rateBits(), f.rate(), f.type()),
                  std::tuple(0xABCD0000u | code, hz, 0x2A10002u));
    }
    for (uint64_t hz : {44101ull, 0ull, 32000ull, (1ull << 32) | 44100}) {
        StreamFormat f(0x202, 0x5000000A);
        EXPECT_TRUE(!f.setRate(hz) && f == StreamFormat(0x202, 0x5000000A) && f.rate() == 44100) << hz;
    }
    EXPECT_EQ(std::tuple(StreamFormat(0x202, 0x2).rate(), StreamFormat(0x202, 0xE).rate()),
              std::tuple(0u, 0u));
}

TEST(StreamFormatTest, ValidityAndArithmetic) {
    // type, rate; valid, channels, bytes and bits a sample, bytes a frame and a second, mute byte, PCM, DSD
    const uint32_t rows[][11] = {
        {0x0202, 0x000A, true, 2, 2, 16, 4, 176400, 0, true, false},
        {0x0408, 0x0014, true, 6, 3, 24, 18, 1728000, 0, true, false},
        {0x0110, 0x0024, true, 8, 1, 8, 8, 1536000, 0, true, false},
        {0x0804, 0x000C, true, 4, 4, 32, 16, 768000, 0, true, false},
        {0x4020, 0x0804, true, 16, 8, 64, 128, 499122176, 0, true, false}, // the product wraps in 32 bits
        {0x0203, 0x000A, false, 2, 2, 16, 4, 176400, 0, true, false},
        {0x8002, 0x000A, false, 2, 2, 16, 4, 176400, 0, true, false},
        {0x100202, 0x000A, false, 2, 2, 16, 4, 176400, 0, true, false},
        {0x2510002, 0x0202, true, 2, 4, 1, 8, 705600, 0x69, false, true},
        {0x2A10002, 0x0202, true, 2, 4, 1, 8, 705600, 0x96, false, true},
        {0x2520002, 0x0202, true, 2, 4, 4, 8, 2822400, 0x69, false, true},
        {0x1510002, 0x0202, false, 2, 2, 1, 4, 705600, 0x69, false, true},
        {0x2010002, 0x0202, false, 2, 4, 1, 8, 705600, 0x96, false, true}, // no bit order: the MSB mute byte
        {0x2510002, 0x0104, false, 2, 4, 1, 8, 384000, 0x69, false, true},
        {0x2D10002, 0x0202, false, 2, 4, 1, 8, 705600, 0x69, false, true},
    };
    for (const auto& [type, rate, valid, channels, bytes, bits, frame, perSecond, mute, pcm, dsd] : rows) {
        const StreamFormat f(type, rate);
        EXPECT_EQ(std::tuple(f.isValid(), f.channels(), f.bytesPerSample(), f.bitsPerSample(),
                             f.bytesPerFrame(), f.bytesPerSecond(), uint32_t{f.muteByte()}, f.isPcm(),
                             f.isDsd()),
                  std::tuple(valid != 0, channels, bytes, bits, frame, perSecond, mute, pcm != 0, dsd != 0))
            << std::hex << type << " " << rate;
    }
}

TEST(StreamFormatTest, MergeAndCompactForm) {
    StreamFormat f(0x2A10002, 0x0202);
    EXPECT_FALSE(f.merge(0, 0));
    EXPECT_TRUE(f.merge(0x2510000, 0) && f == StreamFormat(0x2510002, 0x0202)); // whole fields only
    EXPECT_TRUE(f.merge(0x0200, 0) && f == StreamFormat(0x0202, 0x0202));
    EXPECT_TRUE(f.merge(0x10, 0x00010014) && f == StreamFormat(0x0210, 0x00010014));
    using Bytes = std::array<uint8_t, 8>;
    EXPECT_EQ(StreamFormat(0x0202, 0x000A).compactForm(0x1234), (Bytes{0x02, 1, 0x34, 0x12, 0x0A, 0, 0, 0}));
    EXPECT_EQ(StreamFormat(0x4020, 0x000C).compactForm(7), (Bytes{0x20, 2, 7, 0, 0x0C, 0, 0, 0}));
    EXPECT_EQ(StreamFormat(0x2A20010, 0xABCD0402).compactForm(0),
              (Bytes{0x10, 8, 0, 0, 0x02, 0x04, 0xCD, 0xAB}));
    EXPECT_EQ(StreamFormat(0x30002, 0x0202).compactForm(0), (Bytes{0x02, 4, 0, 0, 0x02, 0x02, 0, 0}));
    EXPECT_EQ(StreamFormat(0x8002, 0x000A).compactForm(0), (Bytes{0x02, 1, 0, 0, 0x0A, 0, 0, 0}));
}

} // namespace
