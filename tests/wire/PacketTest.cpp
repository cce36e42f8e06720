#include "transport/wire/Packet.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using TESSERA::Packet;

std::vector<uint8_t> bytesOf(BRINA::BufferCS_const b) {
    return std::vector<uint8_t>(b.data, b.data + b.size);
}

// "64 00 10 00" as bytes.
std::vector<uint8_t> hex(const char* text) {
    std::vector<uint8_t> out;
    for (char* end = nullptr;; text = end) {
        const unsigned long v = std::strtoul(text, &end, 16);
        if (end == text) return out;
        out.push_back(static_cast<uint8_t>(v));
    }
}

// A datagram of length bytes whose header holds the given magic bytes and sizeField.
std::vector<uint8_t> datagram(uint32_t length, uint16_t sizeField, uint8_t magic0 = 0x64,
                              uint8_t magic1 = 0x00) {
    std::vector<uint8_t> d(length, 0xAB);
    if (length >= 4) {
        d[0] = magic0;
        d[1] = magic1;
        d[2] = static_cast<uint8_t>(sizeField);
        d[3] = static_cast<uint8_t>(sizeField >> 8);
    }
    return d;
}

TEST(PacketTest, PayloadSizeSetsSizeFieldLengthAndPadding) {
    const struct {
        uint32_t payload;
        uint16_t sizeField;
        uint32_t size;
    } rows[] = {{0, 0x0010, 16}, {1, 31, 24},     {5, 0x001B, 24},        {7, 0x0019, 24},
                {8, 0x0018, 24}, {9, 0x0027, 32}, {65511, 0xFFF9, 65528}, {65512, 0xFFF8, 65528}};
    for (const auto& r : rows) {
        Packet p(4);
        ASSERT_TRUE(p.setPayloadSize(r.payload)) << r.payload;
        p.writeHeader();
        EXPECT_EQ(Packet::sizeFieldFor(r.payload), r.sizeField) << r.payload;
        EXPECT_EQ(p.header().sizeField(), r.sizeField) << r.payload;
        EXPECT_EQ(p.size(), r.size) << r.payload;
        EXPECT_EQ(p.storageSize(), r.size) << r.payload;
        EXPECT_NE(p.data(), p.header().data()) << r.payload;
        EXPECT_EQ(p.payloadLength(), r.payload);
        EXPECT_EQ(Packet::payloadSize(r.sizeField), r.payload);
        EXPECT_EQ(Packet::payloadSize(BRINA::BufferCS_const(p.data(), p.size())), r.payload);
    }
    Packet tooLong(4);
    EXPECT_FALSE(tooLong.setPayloadSize(65513));
    EXPECT_EQ(tooLong.size(), 16u);
    EXPECT_EQ(tooLong.storageSize(), 0u);
}

TEST(PacketTest, PaddingIsZeroEvenOverOldBytes) {
    Packet p(10);
    ASSERT_TRUE(p.setPayloadSize(24));
    for (uint32_t i = 0; i < 24; ++i)
        p.payload()[i] = 0xFF;
    ASSERT_TRUE(p.setPayloadSize(5));
    for (uint32_t i = 0; i < 5; ++i)
        p.payload()[i] = 0xEE;
    p.writeHeader();
    EXPECT_EQ(bytesOf(p.datagram()),
              hex("64 00 1B 00 0A 00 00 00 00 00 00 00 00 00 00 00 EE EE EE EE EE 00 00 00"));
}

TEST(PacketTest, ValidityAtItsEdges) {
    const struct {
        const char* what;
        std::vector<uint8_t> bytes;
        bool valid;
        uint16_t payload;
    } rows[] = {
        {"empty", {}, false, 0},
        {"15 bytes", datagram(15, 16), false, 0},
        {"16 bytes, sizeField 24", datagram(16, 24), false, 0},
        {"32 bytes, sizeField 24", datagram(32, 24), true, 8},
        {"24 bytes, sizeField 0x0010", datagram(24, 0x0010), true, 0},
        {"16 bytes, sizeField 16", datagram(16, 16), true, 0},
        {"24 bytes, sizeField 31", datagram(24, 31), true, 1},
        {"24 bytes, sizeField 32", datagram(24, 32), false, 0},
        {"magic 101", datagram(16, 16, 101), false, 0},
        {"magic big-endian", datagram(16, 16, 0x00, 0x64), false, 0},
        {"sizeField below the header", datagram(16, 0x0007), true, 0},
        {"largest message", datagram(65528, 0xFFF8), true, 65512},
        {"largest, one byte short", datagram(65527, 0xFFF8), false, 0},
    };
    for (const auto& r : rows) {
        const BRINA::BufferCS_const d(r.bytes);
        EXPECT_EQ(Packet::isValid(d), r.valid) << r.what;
        EXPECT_EQ(Packet::payloadSize(d), r.payload) << r.what;
    }
}

TEST(PacketTest, ConstructorsLayTheirWordsLittleEndian) {
    const struct {
        Packet packet;
        const char* bytes;
    } rows[] = {
        {Packet(0x0102), "64 00 10 00 02 01 00 00 00 00 00 00 00 00 00 00"},
        {Packet(6, 0x1234, 0x5678, 0x9ABC, 0xDEF0), "64 00 10 00 06 00 00 00 34 12 78 56 BC 9A F0 DE"},
        {Packet(8, uint32_t{0x11223344}, uint32_t{0x55667788}),
         "64 00 10 00 08 00 00 00 44 33 22 11 88 77 66 55"},
        {Packet(24, uint64_t{0x0807060504030201}), "64 00 10 00 18 00 00 00 01 02 03 04 05 06 07 08"},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(r.packet.data(), r.packet.header().data()); // header-only: no storage of its own
        EXPECT_EQ(r.packet.storageSize(), 0u);
        EXPECT_EQ(bytesOf(BRINA::BufferCS_const(r.packet.data(), r.packet.size())), hex(r.bytes));
    }
}

TEST(PacketTest, TextGoesInAndOutAsRawBytes) {
    Packet empty(0x11);
    ASSERT_TRUE(empty.setText(""));
    EXPECT_EQ(empty.header().sizeField(), 0x0010);
    EXPECT_EQ(empty.storageSize(), 16u);
    EXPECT_NE(empty.data(), empty.header().data());

    for (const std::string& text : {std::string(), std::string("abcde"), std::string("x\0y", 3),
                                    std::string(Packet::kMaxPayload, 't')}) {
        Packet p(0x11);
        ASSERT_TRUE(p.setText(text)) << text.size();
        std::string back = "stale";
        ASSERT_TRUE(Packet::readText(p.datagram(), back));
        EXPECT_EQ(back, text);
    }
    Packet tooLong(0x11);
    EXPECT_FALSE(tooLong.setText(std::string(Packet::kMaxPayload + 1, 't')));
    EXPECT_EQ(tooLong.storageSize(), 0u);
    std::string untouched = "kept";
    EXPECT_FALSE(Packet::readText(BRINA::BufferCS_const(datagram(15, 16)), untouched));
    EXPECT_EQ(untouched, "kept");
}

TEST(PacketTest, PaddedStorageOutgrowsTheSizeField) {
    const struct {
        uint32_t payload;
        uint32_t capacity;
        uint32_t storage;
    } rows[] = {{8, 10, 32}, {7, 9, 32}, {6, 8, 24}, {0, 2, 24}, {16, 4, 32}};
    for (const auto& r : rows) {
        Packet p(10);
        ASSERT_TRUE(p.setPayloadSize(r.payload));
        for (uint32_t i = 0; i < r.payload; ++i)
            p.payload()[i] = static_cast<uint8_t>(0xA0 + i);
        p.writeHeader();
        const std::vector<uint8_t> before = bytesOf(p.datagram());
        ASSERT_TRUE(p.setPayloadPadded(r.payload, r.capacity));
        const std::vector<uint8_t> after = bytesOf(p.datagram());
        EXPECT_EQ(after.size(), r.storage) << r.payload << "/" << r.capacity;
        EXPECT_EQ(p.size(), before.size()) << r.payload;
        EXPECT_EQ(p.header().sizeField(), Packet::sizeFieldFor(r.payload));
        // The message stays in place; what was added is zero, and a reader ignores it.
        EXPECT_TRUE(std::equal(before.begin(), before.end(), after.begin()));
        for (size_t i = before.size(); i < after.size(); ++i)
            EXPECT_EQ(after[i], 0) << i;
        EXPECT_TRUE(Packet::isValid(p.datagram()));
        EXPECT_EQ(Packet::payloadSize(p.datagram()), r.payload);
    }
}

} // namespace
