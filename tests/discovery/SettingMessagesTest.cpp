// The settings and text messages: the Host's questions byte by byte, and each side reading the other's.
#include "transport/wire/SettingMessages.h"
#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetSettingMessages.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using namespace TESSERA;
using Bytes = std::vector<uint8_t>;
namespace SM = SettingMessages;
namespace TW = TargetWire;

Bytes bytesOf(const Packet& p) {
    return Bytes(p.data(), p.data() + p.size());
}

TEST(SettingMessagesTest, RequestsAreByteExact) {
    const struct {
        const char* name;
        Packet packet;
        Bytes wire;
    } rows[] = {
        {"SETTING_LIST_REQ 0",
         SM::settingListRequest(0),
         {0x64, 0, 0x10, 0, 0x30, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"SETTING_LIST_REQ 2",
         SM::settingListRequest(2),
         {0x64, 0, 0x10, 0, 0x30, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0}},
        {"SETTING_REQ value text",
         SM::settingRequest(3, SM::kValueText, 0xFFFE),
         {0x64, 0, 0x10, 0, 0x32, 0, 0, 0, 3, 0, 3, 0, 0xFE, 0xFF, 0, 0}},
        {"SETTING_REQ write text",
         SM::settingRequest(5, SM::kWrite, 0, "ab"),
         {0x64, 0, 0x1E, 0, 0x32, 0, 0, 0, 5, 0, 1, 0, 0, 0, 0, 0, 'a', 'b', 0, 0, 0, 0, 0, 0}},
        {"TEXT_A_REQ",
         SM::textRequest(TEXT_A_REQ),
         {0x64, 0, 0x10, 0, 0x20, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"TEXT_B_REQ",
         SM::textRequest(TEXT_B_REQ),
         {0x64, 0, 0x10, 0, 0x22, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"TEXT_C_REQ 4", SM::itemTextRequest(4), {0x64, 0, 0x10, 0, 0x2C, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0}},
        {"SELECT_REQ 7", SM::selectRequest(7), {0x64, 0, 0x10, 0, 0x24, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(bytesOf(row.packet), row.wire) << row.name;
}

TEST(SettingMessagesTest, EachSideReadsTheOther) {
    TW::SettingRequest r;
    ASSERT_TRUE(TW::readSettingRequest(SM::settingRequest(5, SM::kWrite, 9, "Booth").datagram(), r));
    EXPECT_EQ(std::tie(r.number, r.operation, r.value, r.text),
              std::make_tuple(5, SM::kWrite, 9, std::string("Booth")));
    uint16_t number = 0;
    EXPECT_TRUE(TW::readTextRequest(SM::itemTextRequest(4).datagram(), TW::TEXT_C_REQ, number) &&
                number == 4);
    EXPECT_FALSE(TW::readTextRequest(SM::itemTextRequest(4).datagram(), TW::TEXT_A_REQ, number));

    SM::SettingListAnswer e;
    ASSERT_TRUE(SM::readSettingListAnswer(TW::settingListAnswer(2, 2, 0xFFF4, 12, "Trim").datagram(), e));
    EXPECT_EQ(std::tie(e.number, e.type, e.lowest, e.highest, e.name),
              std::make_tuple(2, 2, 0xFFF4, 12, std::string("Trim")));
    SM::SettingAnswer a;
    ASSERT_TRUE(SM::readSettingAnswer(TW::settingAnswer(3, 7, 2, "slow", true).datagram(), a));
    EXPECT_EQ(std::tie(a.number, a.value, a.current, a.text), std::make_tuple(3, 7, 2, std::string("slow")));
    EXPECT_EQ(PacketHeader(TW::settingAnswer(1, 101, 0, "", false).data()).flags(), 0);
    EXPECT_TRUE(SM::readSelectAnswer(TW::selectAnswer(7).datagram(), number) && number == 7);
    EXPECT_FALSE(SM::readSelectAnswer(TW::settingCountAnswer(7).datagram(), number));
}

} // namespace
