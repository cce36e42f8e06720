// The messages of discovery, settings and transfers as bytes on the wire: the Host builds what the Target
// reads, the Target builds what the Host reads, and both compute the same CRC. And the product words in them.
#include "transport/wire/DiscoveryMessages.h"
#include "discovery/FindConfig.h"
#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetDiscoveryMessages.h"
#include "tools/receiver/TargetSettingMessages.h"
#include "tools/receiver/TargetTransferMessages.h"
#include "transport/wire/Crc16.h"
#include "transport/wire/SettingMessages.h"
#include "transport/wire/TransferMessages.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace TESSERA;
using In = BRINA::BufferCS_const;
using Bytes = std::vector<uint8_t>;
namespace DM = DiscoveryMessages;
namespace SM = SettingMessages;
namespace TM = TransferMessages;
namespace TW = TargetWire;

const uint64_t kQuintara = makeProductId(kProductText); // "QUINTARA", the first character lowest

// "64 00 10 00" as bytes, followed by zeros up to the 16 bytes of a header.
Bytes hex(const char* text) {
    Bytes out;
    for (char* end = nullptr;; text = end) {
        const unsigned long v = std::strtoul(text, &end, 16);
        if (end == text) break;
        out.push_back(static_cast<uint8_t>(v));
    }
    if (out.size() < 16) out.resize(16, 0);
    return out;
}

TEST(DiscoveryMessagesTest, EachSideBuildsTheBytesTheOtherReads) {
    uint16_t a = 0, b = 0, c = 0;
    bool on = false;
    uint64_t u = 0;
    std::string s;
    // clang-format off
    const struct { const char* what; Packet built; const char* bytes; std::function<bool(In)> reads; } rows[] = {
        // The Host's requests, read by the Target.
        {"FIND_REQ of the watch", DM::findRequest(true), "64 00 10 00 00 00 00 00 01", [&](In m) { return TW::readFindRequest(m, a) && a == 1; }},
        {"OUTPUT_REQ 3", DM::outputRequest(3), "64 00 10 00 02 00 00 00 03 00 00 00 00 00 01 00", [&](In m) { return TW::readOutputRequest(m, a) && a == 3; }},
        {"INFO_REQ", DM::infoRequest(), "64 00 10 00 10", [](In m) { return TW::readInfoRequest(m); }},
        {"HOST_REQ", DM::hostRequest(kQuintara, "Host"), "64 00 1C 00 16 00 01 00 51 55 49 4E 54 41 52 41 48 6F 73 74 00 00 00 00", [&](In m) { return TW::readHostRequest(m, u, s) && u == kQuintara && s == "Host"; }},
        {"SETTING_LIST_REQ 2", SM::settingListRequest(2), "64 00 10 00 30 00 00 00 02", [&](In m) { return TW::readSettingListRequest(m, a) && a == 2; }},
        {"SETTING_REQ value text", SM::settingRequest(3, SM::kValueText, 0xFFFE), "64 00 10 00 32 00 00 00 03 00 03 00 FE FF", [&](In m) { TW::SettingRequest request; return TW::readSettingRequest(m, request) && request.number == 3 && request.operation == 3 && request.value == 0xFFFE; }},
        {"SETTING_REQ write text", SM::settingRequest(5, SM::kWrite, 9, "ab"), "64 00 1E 00 32 00 00 00 05 00 01 00 09 00 00 00 61 62 00 00 00 00 00 00", [&](In m) { TW::SettingRequest request; return TW::readSettingRequest(m, request) && request.number == 5 && request.operation == 1 && request.value == 9 && request.text == "ab"; }},
        {"TEXT_B_REQ", SM::textRequest(TEXT_B_REQ), "64 00 10 00 22", [&](In m) { return TW::readTextRequest(m, TW::TEXT_B_REQ, a) && !TW::readTextRequest(m, TW::TEXT_A_REQ, a); }},
        {"TEXT_C_REQ 4", SM::itemTextRequest(4), "64 00 10 00 2C 00 00 00 04", [&](In m) { return TW::readTextRequest(m, TW::TEXT_C_REQ, a) && a == 4; }},
        {"SELECT_REQ 7", SM::selectRequest(7), "64 00 10 00 24 00 00 00 07", [&](In m) { return TW::readTextRequest(m, TW::SELECT_REQ, a) && a == 7; }},
        {"TRANSFER_REQ slots", TM::slotsRequest(), "64 00 10 00 1A", [&](In m) { return TW::readTransferRequest(m, a) && a == 0; }},
        {"TRANSFER_REQ slot 1", TM::slotRequest(1), "64 00 10 00 1A 00 00 00 02", [&](In m) { return TW::readTransferRequest(m, a) && a == 2; }},
        {"TRANSFER_DATA of 0xAB, slot 1, last of its window", [] { Packet p(TRANSFER_DATA); p.setPayloadSize(1); p.payload()[0] = 0xAB; TM::setDataHeader(p.header(), 1, true, 0x1234, 2, 3); p.writeHeader(); return p; }(), "64 00 1F 00 1C 00 00 00 02 80 34 12 02 00 03 00 AB 00 00 00 00 00 00 00", [&](In m) { TW::TransferData data; return TW::readTransferData(m, data) && data.slotMark == 2 && data.lastOfWindow && data.sequence == 0x1234 && data.inBlock == 2 && data.block == 3 && data.bytes.size == 1 && data.bytes.data[0] == 0xAB; }},
        {"TRANSFER_END_REQ", TM::endRequest(0, 0xB4C8, 0xFFFF), "64 00 10 00 1E 00 00 00 01 00 C8 B4 FF FF", [&](In m) { return TW::readTransferEnd(m, a, b, c) && a == 1 && b == 0xB4C8 && c == 0xFFFF; }},
        // The Target's answers, read by the Host.
        {"FIND_ANS", TW::findAnswer(kQuintara, "Lab"), "64 00 1D 00 01 00 01 00 51 55 49 4E 54 41 52 41 4C 61 62 00 00 00 00 00", [&](In m) { return DM::readFindAnswer(m, u, s) && u == kQuintara && s == "Lab" && DM::hasContent(m); }},
        {"OUTPUT_ANS count", TW::outputCountAnswer(3), "64 00 10 00 03 00 01 00 03", [&](In m) { DM::OutputAnswer output; return DM::readOutputAnswer(m, output) && output.count == 3 && output.port == 0; }},
        {"OUTPUT_ANS Output", TW::outputAnswer(50000, 2, "Line"), "64 00 1C 00 03 00 01 00 00 00 00 00 50 C3 02 00 4C 69 6E 65 00 00 00 00", [&](In m) { DM::OutputAnswer output; return DM::readOutputAnswer(m, output) && output.port == 50000 && output.version == 2 && output.name == "Line"; }},
        {"INFO_ANS", TW::infoAnswer("at"), "64 00 1E 00 11 00 01 00 00 00 00 00 00 00 00 00 61 74 00 00 00 00 00 00", [&](In m) { return DM::readTextAnswer(m, INFO_ANS, s) && s == "at" && !DM::readTextAnswer(m, FIND_ANS, s); }},
        {"NOTIFY", TW::notify(513), "64 00 10 00 01 80 00 00 01 02", [&](In m) { return DM::readNotify(m, a) && a == 513 && !DM::hasContent(m); }},
        {"SETTING_LIST_ANS", TW::settingListAnswer(2, 2, 0xFFF4, 12, "Trim"), "64 00 1C 00 31 00 01 00 02 00 02 00 F4 FF 0C 00 54 72 69 6D 00 00 00 00", [&](In m) { SM::SettingListAnswer entry; return SM::readSettingListAnswer(m, entry) && entry.number == 2 && entry.type == 2 && entry.lowest == 0xFFF4 && entry.highest == 12 && entry.name == "Trim"; }},
        {"SETTING_ANS", TW::settingAnswer(3, 7, 2, "slow", true), "64 00 1C 00 33 00 01 00 03 00 07 00 00 00 02 00 73 6C 6F 77 00 00 00 00", [&](In m) { SM::SettingAnswer setting; return SM::readSettingAnswer(m, setting) && setting.number == 3 && setting.value == 7 && setting.current == 2 && setting.text == "slow"; }},
        {"SELECT_ANS", TW::selectAnswer(7), "64 00 10 00 25 00 01 00 07", [&](In m) { return SM::readSelectAnswer(m, a) && a == 7; }},
        {"TRANSFER_ANS", TW::transferAnswer(2, 999, 7, 15), "64 00 10 00 1B 00 01 00 02 00 E7 03 07 00 0F", [&](In m) { TM::TransferAnswer shape; return TM::readTransferAnswer(m, shape) && shape.word8 == 2 && shape.word10 == 999 && shape.word12 == 7 && shape.word14 == 15; }},
        {"TRANSFER_ACK refused", TW::transferAck(3, 77, false), "64 00 10 00 1D 00 00 00 03 00 4D", [&](In m) { return TM::readTransferAck(m, on, a, b) && !on && a == 3 && b == 77; }},
        {"TRANSFER_END_ANS", TW::transferEndAnswer(1, 0x1234, 0xFFFF), "64 00 10 00 1F 00 01 00 01 00 34 12 FF FF", [&](In m) { return TM::readEndAnswer(m, a, b, c) && a == 1 && b == 0x1234 && c == 0xFFFF; }},
    };
    // clang-format on
    for (const auto& r : rows) {
        EXPECT_EQ(Bytes(r.built.data(), r.built.data() + r.built.size()), hex(r.bytes)) << r.what;
        EXPECT_TRUE(r.reads(In(hex(r.bytes)))) << r.what;
    }
}

TEST(DiscoveryMessagesTest, BothSidesComputeTheCrcOfTheCheckText) {
    const std::string digits = "123456789";
    const Bytes nine(digits.begin(), digits.end());
    EXPECT_EQ(crc16Usb(In(nine)), 0xB4C8);
    EXPECT_EQ(TW::crc16(nine.data(), nine.size()), 0xB4C8);
    EXPECT_EQ(crc16Usb(In()), 0x0000);
}

TEST(DiscoveryMessagesTest, ProductWordsOfATextAndTheFilterOfADriversTwoWords) {
    const uint64_t other = makeProductId("87654321");
    // clang-format off
    const struct { const char* text; uint64_t id; } texts[] = {
        {"QUINTAR", kNoProduct},
        {"QUINTARA and more", kQuintara},
        {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", kNoProduct},
    };
    const struct { uint64_t productId, findId, targetProduct; std::vector<uint64_t> extra; } words[] = {
        {kQuintara, kQuintara, kQuintara, {}},
        {kQuintara, other, kQuintara, {other}},
        {0, other, other, {}},
        {kQuintara, 0, 0, {}},
    };
    // clang-format on
    EXPECT_EQ(other, 0x3132333435363738ull);
    for (const auto& row : texts)
        EXPECT_EQ(makeProductId(row.text), row.id) << row.text;
    for (const auto& row : words) {
        FindConfig config;
        setProducts(config, row.productId, row.findId);
        EXPECT_EQ(std::tie(config.targetProduct, config.extraProducts),
                  std::tie(row.targetProduct, row.extra));
    }
}

} // namespace
