// The transfer messages byte by byte, each side reading the other's, and the two CRC implementations.
#include "transport/wire/TransferMessages.h"
#include "tools/receiver/TargetTransferMessages.h"
#include "transport/wire/Crc16.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

using namespace TESSERA;
using Bytes = std::vector<uint8_t>;
namespace TM = TransferMessages;
namespace TW = TargetWire;

Bytes bytesOf(const Packet& p) {
    return Bytes(p.data(), p.data() + p.size());
}

TEST(TransferMessagesTest, RequestsAreByteExact) {
    Packet data(TRANSFER_DATA);
    ASSERT_TRUE(data.setPayloadSize(1));
    data.payload()[0] = 0xAB;
    TM::setDataHeader(data.header(), 0, true, 0x1234, 2, 3);
    data.writeHeader();
    const struct {
        const char* name;
        Packet packet;
        Bytes wire;
    } rows[] = {
        {"TRANSFER_REQ slots", TM::slotsRequest(), {0x64, 0, 0x10, 0, 0x1A, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"TRANSFER_REQ slot 1",
         TM::slotRequest(1),
         {0x64, 0, 0x10, 0, 0x1A, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0}},
        {"TRANSFER_END_REQ",
         TM::endRequest(0, 0xB4C8, 0xFFFF),
         {0x64, 0, 0x10, 0, 0x1E, 0, 0, 0, 1, 0, 0xC8, 0xB4, 0xFF, 0xFF, 0, 0}},
        // One byte: sizeField 0x1F, 24 bytes with 7 of pad; slot 1 with the last-of-window bit.
        {"TRANSFER_DATA one byte", data, {0x64, 0, 0x1F, 0, 0x1C, 0, 0, 0, 0x01, 0x80, 0x34, 0x12,
                                          2,    0, 3,    0, 0xAB, 0, 0, 0, 0,    0,    0,    0}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(bytesOf(row.packet), row.wire) << row.name;
}

TEST(TransferMessagesTest, EachSideReadsTheOther) {
    Packet data(TRANSFER_DATA);
    ASSERT_TRUE(data.setPayloadSize(3));
    TM::setDataHeader(data.header(), 4, false, 9, 1, 2);
    data.writeHeader();
    TW::TransferData read;
    ASSERT_TRUE(TW::readTransferData(data.datagram(), read));
    EXPECT_EQ(read.slotMark, 5);
    EXPECT_FALSE(read.lastOfWindow);
    EXPECT_EQ(read.sequence, 9);
    EXPECT_EQ(read.inBlock, 1);
    EXPECT_EQ(read.block, 2);
    EXPECT_EQ(read.bytes.size, 3u);

    TM::TransferAnswer answer;
    ASSERT_TRUE(TM::readTransferAnswer(TW::transferAnswer(2, 999, 7, 15).datagram(), answer));
    EXPECT_EQ(answer.word8, 2);
    EXPECT_EQ(answer.word10, 999);
    EXPECT_EQ(answer.word12, 7);
    EXPECT_EQ(answer.word14, 15);
    const struct { bool content; } acks[] = {{true}, {false}};
    for (const auto& row : acks) {
        bool accepted = !row.content;
        uint16_t mark = 0, sequence = 0;
        ASSERT_TRUE(
            TM::readTransferAck(TW::transferAck(3, 77, row.content).datagram(), accepted, mark, sequence));
        EXPECT_EQ(accepted, row.content);
        EXPECT_EQ(mark, 3);
        EXPECT_EQ(sequence, 77);
    }
    uint16_t mark = 0, crc = 0, value = 0;
    ASSERT_TRUE(TM::readEndAnswer(TW::transferEndAnswer(1, 0x1234, 0xFFFF).datagram(), mark, crc, value));
    EXPECT_EQ(mark, 1);
    EXPECT_EQ(crc, 0x1234);
    EXPECT_EQ(value, 0xFFFF);
    ASSERT_TRUE(TW::readTransferEnd(TM::endRequest(1, 0x4321, 5).datagram(), mark, crc, value));
    EXPECT_EQ(mark, 2);
    EXPECT_EQ(crc, 0x4321);
    EXPECT_EQ(value, 5);
}

TEST(TransferMessagesTest, CrcCheckValuesAndBothImplementationsAgree) {
    const std::string digits = "123456789";
    const Bytes nine(digits.begin(), digits.end());
    EXPECT_EQ(crc16Usb(BRINA::BufferCS_const(nine)), 0xB4C8);
    EXPECT_EQ(crc16Usb(BRINA::BufferCS_const()), 0x0000);
    EXPECT_EQ(TW::crc16(nine.data(), nine.size()), 0xB4C8);
    std::mt19937 random(7);
    for (size_t length : {1u, 2u, 255u, 1000u, 4097u}) {
        Bytes data(length);
        for (uint8_t& b : data)
            b = static_cast<uint8_t>(random());
        EXPECT_EQ(crc16Usb(BRINA::BufferCS_const(data)), TW::crc16(data.data(), data.size())) << length;
    }
}

} // namespace
