// The Host's discovery messages: its questions byte by byte, and the two readings of the protocol, the Host's
// and the software Target's, each reading what the other builds.
#include "transport/wire/DiscoveryMessages.h"
#include "tools/receiver/TargetDiscoveryMessages.h"
#include "transport/wire/SyncMessages.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace TESSERA;
using BRINA::BufferCS_const;
using Bytes = std::vector<uint8_t>;
namespace DM = DiscoveryMessages;
namespace TW = TargetWire;

constexpr uint64_t kQuintara = 0x415241544E495551ull;

Bytes bytesOf(const Packet& p) {
    return Bytes(p.data(), p.data() + p.size());
}

TEST(DiscoveryMessagesTest, RequestsAreByteExact) {
    const struct {
        const char* name;
        Packet packet;
        Bytes wire;
    } rows[] = {
        {"FIND_REQ", DM::findRequest(false), {0x64, 0, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"FIND_REQ of the watch",
         DM::findRequest(true),
         {0x64, 0, 0x10, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}},
        {"OUTPUT_REQ count", DM::outputRequest(0), {0x64, 0, 0x10, 0, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0}},
        {"OUTPUT_REQ 3", DM::outputRequest(3), {0x64, 0, 0x10, 0, 0x02, 0, 0, 0, 3, 0, 0, 0, 0, 0, 1, 0}},
        {"INFO_REQ", DM::infoRequest(), {0x64, 0, 0x10, 0, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"NOPBREAK_REQ",
         SyncMessages::nopBreakRequest(),
         {0x64, 0, 0x10, 0, 0x2A, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        // flags 1, the product first character lowest, "Host" padded to 8 with sizeField 0x1C.
        {"HOST_REQ", DM::hostRequest(kQuintara, "Host"), {0x64, 0,   0x1C, 0,   0x16, 0,   1,   0,
                                                          'Q',  'U', 'I',  'N', 'T',  'A', 'R', 'A',
                                                          'H',  'o', 's',  't', 0,    0,   0,   0}},
        {"HOST_REQ without product",
         DM::hostRequest(~0ull, ""),
         {0x64, 0, 0x10, 0, 0x16, 0, 1, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(bytesOf(row.packet), row.wire) << row.name;
}

TEST(DiscoveryMessagesTest, EachSideReadsTheOther) {
    uint16_t word = 99, counter = 0;
    uint64_t product = 0;
    std::string text;
    EXPECT_TRUE(TW::readFindRequest(DM::findRequest(true).datagram(), word) && word == 1);
    EXPECT_TRUE(TW::readFindRequest(DM::findRequest(false).datagram(), word) && word == 0);
    EXPECT_TRUE(TW::readOutputRequest(DM::outputRequest(7).datagram(), word) && word == 7);
    EXPECT_TRUE(TW::readInfoRequest(DM::infoRequest().datagram()));
    EXPECT_TRUE(TW::readHostRequest(DM::hostRequest(kQuintara, "Studio PC").datagram(), product, text));
    EXPECT_EQ(std::tie(product, text), std::make_tuple(kQuintara, std::string("Studio PC")));

    const Packet found = TW::findAnswer(kQuintara, "Lab receiver");
    EXPECT_TRUE(DM::readFindAnswer(found.datagram(), product, text) && DM::hasContent(found.datagram()));
    EXPECT_EQ(std::tie(product, text), std::make_tuple(kQuintara, std::string("Lab receiver")));
    const struct {
        Packet packet;
        uint16_t count, port, version;
        const char* name;
    } outputs[] = {{TW::outputCountAnswer(3), 3, 0, 0, ""},
                   {TW::outputAnswer(50000, 2, "Line out"), 0, 50000, 2, "Line out"},
                   {TW::outputAnswer(0, 0, ""), 0, 0, 0, ""}};
    for (const auto& row : outputs) {
        DM::OutputAnswer a;
        EXPECT_TRUE(DM::readOutputAnswer(row.packet.datagram(), a) && DM::hasContent(row.packet.datagram()));
        EXPECT_EQ(std::tie(a.count, a.port, a.version, a.name),
                  std::make_tuple(row.count, row.port, row.version, std::string(row.name)));
    }
    EXPECT_TRUE(DM::readTextAnswer(TW::infoAnswer("at [myaddress]").datagram(), INFO_ANS, text));
    EXPECT_EQ(text, "at [myaddress]");
    EXPECT_TRUE(DM::readNotify(TW::notify(513).datagram(), counter) && counter == 513);
    EXPECT_FALSE(DM::hasContent(TW::notify(1).datagram()));
    EXPECT_FALSE(TW::readFindRequest(DM::infoRequest().datagram(), word));
}

TEST(DiscoveryMessagesTest, ReadersRefuseOtherCommandsAndBrokenDatagrams) {
    const Bytes rows[] = {
        {0x64, 0, 0x10, 0, 0x01, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0},    // short
        {0x65, 0, 0x10, 0, 0x01, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}, // bad magic
        {0x64, 0, 0x18, 0, 0x01, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}, // longer by its sizeField than sent
        bytesOf(TW::hostAnswer()),                                 // another command
    };
    for (const Bytes& bytes : rows) {
        const BufferCS_const d(bytes);
        uint64_t product = 0;
        uint16_t counter = 0;
        std::string text;
        DM::OutputAnswer answer;
        EXPECT_FALSE(DM::readFindAnswer(d, product, text) || DM::readOutputAnswer(d, answer) ||
                     DM::readTextAnswer(d, INFO_ANS, text) || DM::readNotify(d, counter));
        EXPECT_EQ(DM::hasContent(d), &bytes == &rows[3]);
    }
}

} // namespace
