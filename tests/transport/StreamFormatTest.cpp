#include "format/StreamFormat.h"
#include "tests/support/OpenSync.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace {

using TESSERA::StreamFormat;

// Every rate that the system streams, with the low half of its rate word.
constexpr struct {
    uint32_t hz;
    uint32_t code;
} kRates[] = {
    {8000, 0x0001},      {44100, 0x000A},     {48000, 0x000C},    {88200, 0x0012},    {96000, 0x0014},
    {176400, 0x0022},    {192000, 0x0024},    {352800, 0x0042},   {384000, 0x0044},   {705600, 0x0082},
    {768000, 0x0084},    {1411200, 0x0102},   {1536000, 0x0104},  {2822400, 0x0202},  {3072000, 0x0204},
    {5644800, 0x0402},   {6144000, 0x0404},   {11289600, 0x0802}, {12288000, 0x0804}, {22579200, 0x1002},
    {24576000, 0x1004},  {45158400, 0x2002},  {49152000, 0x2004}, {90316800, 0x4002}, {98304000, 0x4004},
    {180633600, 0x8002}, {196608000, 0x8004},
};

TEST(StreamFormatTest, EveryRateRoundTripsAndKeepsTheHighBits) {
    for (const auto& r : kRates) {
        // Start from another rate, so that a left-over bit of it would show.
        StreamFormat f(0x2A10002, 0xABCD0000u | (r.code == 0x8004 ? 0x0012u : 0x8004u));
        ASSERT_TRUE(f.setRate(r.hz)) << r.hz;
        EXPECT_EQ(f.rateBits(), 0xABCD0000u | r.code) << r.hz;
        EXPECT_EQ(f.rate(), r.hz);
        EXPECT_EQ(f.type(), 0x2A10002u);
    }
}

TEST(StreamFormatTest, UnknownRatesLeaveTheWordAlone) {
    for (uint64_t rate : {uint64_t{44101}, uint64_t{0}, uint64_t{16000}, uint64_t{32000}, uint64_t{200000000},
                          (uint64_t{1} << 32) | 44100}) {
        StreamFormat f(0x202, 0x5000000A);
        EXPECT_FALSE(f.setRate(rate)) << rate;
        EXPECT_EQ(f, StreamFormat(0x202, 0x5000000A)) << rate;
    }
}

TEST(StreamFormatTest, RateOfWordsOutsideTheTableIsZero) {
    const struct {
        uint32_t word;
        uint32_t hz;
    } rows[] = {{0x0000, 0}, {0x0002, 0},        {0x0009, 0},         {0x000E, 0},      {0x001A, 0},
                {0x0003, 0}, {0xFFFF0001, 8000}, {0x0001000C, 48000}, {0x0202, 2822400}};
    for (const auto& r : rows)
        EXPECT_EQ(StreamFormat(0x202, r.word).rate(), r.hz) << std::hex << r.word;
}

TEST(StreamFormatTest, MergeReplacesWholeFields) {
    const struct {
        uint32_t type, rate, newType, newRate;
        bool changed;
        uint32_t wantType, wantRate;
    } rows[] = {
        {0x2A10002, 0x0202, 0, 0, false, 0x2A10002, 0x0202},
        {0x2A10002, 0x0202, 0x2510000, 0, true, 0x2510002, 0x0202},
        {0x0202, 0x000A, 0x04, 0, true, 0x0204, 0x000A},
        {0x2A10002, 0x0202, 0x0200, 0, true, 0x0202, 0x0202},
        {0x0202, 0x1234000A, 0, 0x0014, true, 0x0202, 0x12340014},
        {0x0202, 0x1234000A, 0, 0x00010000, false, 0x0202, 0x1234000A},
        {0x0202, 0x1234000A, 0x10, 0x00010000, true, 0x0210, 0x1235000A},
        {0, 0, 0x02, 0, true, 0x02, 0},
    };
    for (const auto& r : rows) {
        StreamFormat f(r.type, r.rate);
        EXPECT_EQ(f.merge(r.newType, r.newRate), r.changed) << std::hex << r.newType;
        EXPECT_EQ(f, StreamFormat(r.wantType, r.wantRate)) << std::hex << f.type() << " " << f.rateBits();
    }
}

TEST(StreamFormatTest, Validity) {
    const struct {
        uint32_t type, rate;
        bool valid;
    } rows[] = {
        {0x0201, 0x000A, true},     {0x0202, 0, true},          {0x0204, 0x000A, true},
        {0x4008, 0x0014, true},     {0x0110, 0x0001, true},     {0x1020, 0x000C, true},
        {0x0200, 0x000A, false},    {0x0203, 0x000A, false},    {0x0240, 0x000A, false},
        {0x100202, 0x000A, false},  {0x8002, 0x000A, false},    {0x10202, 0x0202, false},
        {0x2510002, 0x0202, true},  {0x2A10002, 0x0202, true},  {0x2520002, 0x0202, true},
        {0x2510002, 0x0104, false}, {0x2510002, 0, false},      {0x2710002, 0x0202, false},
        {0x2410002, 0x0202, false}, {0x2D10002, 0x0202, false}, {0x2110002, 0x0202, false},
        {0x1510002, 0x0202, false}, {0x6510002, 0x0202, false}, {0x2500002, 0x0202, false},
    };
    for (const auto& r : rows)
        EXPECT_EQ(StreamFormat(r.type, r.rate).isValid(), r.valid) << std::hex << r.type;
}

TEST(StreamFormatTest, Arithmetic) {
    const struct {
        uint32_t type, rate, channels, bytes, bits, frame, perSecond;
        uint8_t mute;
        bool pcm, dsd;
    } rows[] = {
        {0x0202, 0x000A, 2, 2, 16, 4, 176400, 0, true, false},
        {0x2510002, 0x0202, 2, 4, 1, 8, 705600, 0x69, false, true},
        {0x2A10002, 0x0202, 2, 4, 1, 8, 705600, 0x96, false, true},
        {0x2520002, 0x0202, 2, 4, 4, 8, 2822400, 0x69, false, true},
        {0x1510002, 0x0202, 2, 2, 1, 4, 705600, 0x69, false, true},
        {0x0408, 0x0014, 6, 3, 24, 18, 1728000, 0, true, false},
        {0x0110, 0x0024, 8, 1, 8, 8, 1536000, 0, true, false},
        {0x1001, 0x0001, 1, 8, 64, 8, 64000, 0, true, false},
        {0x0804, 0x000C, 4, 4, 32, 16, 768000, 0, true, false},
        {0x4020, 0x0804, 16, 8, 64, 128, 499122176, 0, true, false}, // the product wraps in 32 bits
        {0x0200, 0x000A, 2, 2, 16, 4, 176400, 0, true, false},
        {0x0203, 0x000A, 2, 2, 16, 4, 176400, 0, true, false},
        {0x8002, 0x000A, 2, 2, 16, 4, 176400, 0, true, false},
        {0x2010002, 0x0202, 2, 4, 1, 8, 705600, 0x96, false, true}, // no bit order: the MSB mute byte
        {0, 0, 2, 2, 16, 4, 0, 0, false, false},
    };
    for (const auto& r : rows) {
        const StreamFormat f(r.type, r.rate);
        SCOPED_TRACE(testing::Message() << std::hex << r.type << " " << r.rate);
        EXPECT_EQ(f.channels(), r.channels);
        EXPECT_EQ(f.bytesPerSample(), r.bytes);
        EXPECT_EQ(f.bitsPerSample(), r.bits);
        EXPECT_EQ(f.bytesPerFrame(), r.frame);
        EXPECT_EQ(f.bytesPerSecond(), r.perSecond);
        EXPECT_EQ(f.muteByte(), r.mute);
        EXPECT_EQ(f.isPcm(), r.pcm);
        EXPECT_EQ(f.isDsd(), r.dsd);
    }
}

TEST(StreamFormatTest, CompactForm) {
    using Bytes = std::array<uint8_t, 8>;
    const struct {
        uint32_t type, rate;
        uint16_t value;
        Bytes bytes;
    } rows[] = {
        {0x0202, 0x000A, 0x1234, {0x02, 1, 0x34, 0x12, 0x0A, 0, 0, 0}},
        {0x1001, 0x0014, 0, {0x01, 1, 0, 0, 0x14, 0, 0, 0}},
        {0x2002, 0x000C, 0xFFFF, {0x02, 2, 0xFF, 0xFF, 0x0C, 0, 0, 0}},
        {0x4020, 0x000C, 7, {0x20, 2, 7, 0, 0x0C, 0, 0, 0}},
        {0x2510002, 0x0202, 300, {0x02, 8, 0x2C, 0x01, 0x02, 0x02, 0, 0}},
        {0x2A20010, 0xABCD0402, 0, {0x10, 8, 0, 0, 0x02, 0x04, 0xCD, 0xAB}},
        {0x0002, 0x000A, 0, {0x02, 4, 0, 0, 0x0A, 0, 0, 0}},
        {0x30002, 0x0202, 0, {0x02, 4, 0, 0, 0x02, 0x02, 0, 0}},
        {0x8002, 0x000A, 0, {0x02, 1, 0, 0, 0x0A, 0, 0, 0}},
        {0x12002, 0x000A, 0, {0x02, 1, 0, 0, 0x0A, 0, 0, 0}},
    };
    for (const auto& r : rows)
        EXPECT_EQ(StreamFormat(r.type, r.rate).compactForm(r.value), r.bytes) << std::hex << r.type;
}

TEST(StreamFormatTest, CanFormatPicksTheMaskByKindAndBitOrder) {
    TESTING::OpenSync sync;
    sync.pcmMask = StreamFormat(0x0E03, 0x001E);       // 1 or 2 channels; 16, 24, 32 bits; 44.1/48 kHz x1, x2
    sync.dsdLsbMask = StreamFormat(0x2510002, 0x0602); // LSB little; DSD64, DSD128
    sync.dsdMsbMask = StreamFormat(0x2A10002, 0x0A02); // MSB big; DSD64, DSD256
    const struct {
        uint32_t type, rate;
        bool taken;
    } rows[] = {
        {0x0202, 0x000A, true},      {0x0402, 0x0014, true},     {0x0202, 0x0022, false},
        {0x0202, 0, true},           {0x1002, 0x000A, false},    {0x0204, 0x000A, false},
        {0x0202, 0x1000000A, false}, {0x2510002, 0x0402, true},  {0x2510002, 0x0802, false},
        {0x2A10002, 0x0802, true},   {0x2A10002, 0x0402, false}, {0x2910002, 0x0202, false},
        {0x10000, 0x0402, true},     {0x10000, 0x0802, true},    {0x10000, 0x1002, false},
        {0x10000, 0x000C, false},    {0x10000, 0, true},         {0x2410002, 0x0202, true},
        {0x2810002, 0x0202, true},   {0x2C10002, 0x0C02, true},  {0x2C10004, 0x0202, false},
        {0, 0x000A, false},          {0x400002, 0x0202, false},
    };
    for (const auto& r : rows)
        EXPECT_EQ(sync.canFormat(r.type, r.rate), r.taken) << std::hex << r.type << " " << r.rate;
}

} // namespace
