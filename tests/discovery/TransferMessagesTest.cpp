// The transfer messages byte by byte, each side reading the other's, and the two CRC implementations.
#include "transport/wire/TransferMessages.h"
#include "tools/receiver/TargetTransferMessages.h"
#include "transport/wire/Crc16.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <tuple>

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
    TW::TransferData d;
    ASSERT_TRUE(TW::readTransferData(data.datagram(), d));
    EXPECT_EQ(std::tie(d.slotMark, d.lastOfWindow, d.sequence, d.inBlock, d.block, d.bytes.size),
              std::make_tuple(5, false, 9, 1, 2, 3u));
    TM::TransferAnswer a;
    ASSERT_TRUE(TM::readTransferAnswer(TW::transferAnswer(2, 999, 7, 15).datagram(), a));
    EXPECT_EQ(std::tie(a.word8, a.word10, a.word12, a.word14), std::make_tuple(2, 999, 7, 15));
    bool accepted = false;
    uint16_t mark = 0, sequence = 0, crc = 0, value = 0;
    for (bool content : {true, false}) {
        ASSERT_TRUE(
            TM::readTransferAck(TW::transferAck(3, 77, content).datagram(), accepted, mark, sequence));
        EXPECT_EQ(std::tie(accepted, mark, sequence), std::make_tuple(content, 3, 77));
    }
    ASSERT_TRUE(TM::readEndAnswer(TW::transferEndAnswer(1, 0x1234, 0xFFFF).datagram(), mark, crc, value));
    EXPECT_EQ(std::tie(mark, crc, value), std::make_tuple(1, 0x1234, 0xFFFF));
    ASSERT_TRUE(TW::readTransferEnd(TM::endRequest(1, 0x4321, 5).datagram(), mark, crc, value));
    EXPECT_EQ(std::tie(mark, crc, value), std::make_tuple(2, 0x4321, 5));
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
