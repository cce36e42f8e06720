// The Target's own message code: its answers byte by byte, its reading of a Host's requests from their bytes,
// texts cut to what a Host receives, and the cross-check against the Host's message code, where the two
// separate readings of the protocol must agree.
#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetControlMessages.h"
#include "tools/receiver/TargetDiscoveryMessages.h"
#include "tools/receiver/TargetStreamMessages.h"
#include "transport/wire/SyncMessages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace TESSERA;
using BRINA::BufferCS_const;
using Bytes = std::vector<uint8_t>;
namespace TW = TargetWire;
namespace SM = SyncMessages;

Bytes bytesOf(const Packet& p) {
    return Bytes(p.data(), p.data() + p.size());
}

BufferCS_const view(const Bytes& b) {
    return BufferCS_const(b);
}

TEST(TargetMessagesTest, AnswersAreByteExact) {
    const struct {
        const char* name;
        Packet packet;
        Bytes wire;
    } rows[] = {
        // Product "QUINTARA", first character lowest; the name "Lab" padded to 8 with sizeField 0x1D.
        {"FIND_ANS",
         TW::findAnswer(0x415241544E495551ull, "Lab"),
         {0x64, 0,   0x1D, 0,   0x01, 0,   0x01, 0, 'Q', 'U', 'I', 'N',
          'T',  'A', 'R',  'A', 'L',  'a', 'b',  0, 0,   0,   0,   0}},
        {"OUTPUT_ANS count",
         TW::outputCountAnswer(2),
         {0x64, 0, 0x10, 0, 0x03, 0, 0x01, 0, 2, 0, 0, 0, 0, 0, 0, 0}},
        {"OUTPUT_ANS port 50000 version 1",
         TW::outputAnswer(50000, 1, ""),
         {0x64, 0, 0x10, 0, 0x03, 0, 0x01, 0, 0, 0, 0, 0, 0x50, 0xC3, 1, 0}},
        {"OUTPUT_ANS no such Output",
         TW::outputAnswer(0, 0, ""),
         {0x64, 0, 0x10, 0, 0x03, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"INFO_ANS",
         TW::infoAnswer("[myaddress]"),
         {0x64, 0,   0x25, 0,   0x11, 0,   0x01, 0,
          0,    0,   0,    0,   0,    0,   0,    0, // header, 11 bytes of text, 5 of pad
          '[',  'm', 'y',  'a', 'd',  'd', 'r',  'e',
          's',  's', ']',  0,   0,    0,   0,    0}},
        {"HOST_ANS", TW::hostAnswer(), {0x64, 0, 0x10, 0, 0x17, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"NOTIFY", TW::notify(7), {0x64, 0, 0x10, 0, 0x01, 0x80, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0}},
        {"NOPBREAK_ANS", TW::nopBreakAnswer(), {0x64, 0, 0x10, 0, 0x05, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        // The type word in bytes 8 to 11, the rate word in 12 to 15.
        {"NOPBREAK_ANS mask",
         TW::formatAnswer(StreamFormat(0x12345678, 0x9ABCDEF0)),
         {0x64, 0, 0x10, 0, 0x05, 0, 0x01, 0, 0x78, 0x56, 0x34, 0x12, 0xF0, 0xDE, 0xBC, 0x9A}},
        {"LATENCY_ANS",
         TW::latencyAnswer(200, 30),
         {0x64, 0, 0x10, 0, 0x07, 0, 0x01, 0, 200, 0, 30, 0, 0, 0, 0, 0}},
        {"CONNECT_ANS normal",
         TW::connectAnswer(0xD431, false),
         {0x64, 0, 0x10, 0, 0x09, 0, 0x81, 0x01, 0x31, 0xD4, 0, 0, 0, 0, 0, 0}},
        {"CONNECT_ANS inverted",
         TW::connectAnswer(0xD431, true),
         {0x64, 0, 0x10, 0, 0x09, 0, 0x01, 0x01, 0x31, 0xD4, 0, 0, 0, 0, 0, 0}},
        {"CONNECT_ANS refusal",
         TW::connectRefusal(),
         {0x64, 0, 0x10, 0, 0x09, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"DATASIZE_ANS",
         TW::dataSizeAnswer(1500, 15000),
         {0x64, 0, 0x10, 0, 0x0F, 0, 0x01, 0, 0xDC, 0x05, 0x98, 0x3A, 0, 0, 0, 0}},
        {"DATASIZE_ANS probe",
         TW::dataSizeProbeAnswer(136, 25260),
         {0x64, 0, 0x10, 0, 0x0F, 0, 0x01, 0, 0, 0, 0, 0, 136, 0, 0xAC, 0x62}},
        {"CONNECTPRE_ANS",
         TW::connectPrepareAnswer(0x0102),
         {0x64, 0, 0x10, 0, 0x13, 0, 0x01, 0, 0, 0, 0x02, 0x01, 0, 0, 0, 0}},
        {"PROFILE_ANS",
         TW::profileAnswer(50, 2000, 3),
         {0x64, 0, 0x10, 0, 0x15, 0, 0x01, 0, 50, 0, 0xD0, 0x07, 3, 0, 0, 0}},
        {"SYNCHOST_ANS", TW::syncHostAnswer(), {0x64, 0, 0x10, 0, 0x19, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"TARGETLOG_ANS acknowledgement",
         TW::targetLogAnswer(),
         {0x64, 0, 0x10, 0, 0x29, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"TARGETLOG_ANS line", TW::targetLogLine("hi"), {0x64, 0, 0x1E, 0, 0x29, 0,   0x01, 0, 2, 0, 0, 0,
                                                         0,    0, 0,    0, 'h',  'i', 0,    0, 0, 0, 0, 0}},
        // Resend from 65534, 3 missing, normal phase: ResendRequest, PhaseNormal, PhaseValid.
        {"STREAM_INFO resend",
         TW::resendRequest(0xFFFE, 3, false),
         {0x64, 0, 0x10, 0, 0x0B, 0, 0x88, 0x01, 0, 0, 0xFE, 0xFF, 3, 0, 0, 0}},
        {"STREAM_INFO feedback inverted",
         TW::feedback(0, 150, 100, true),
         {0x64, 0, 0x10, 0, 0x0B, 0, 0x00, 0x01, 0, 0, 150, 0, 100, 0, 0, 0}},
        {"DSICONNECT_ANS",
         TW::disconnectAnswer(),
         {0x64, 0, 0x10, 0, 0x0D, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(bytesOf(row.packet), row.wire) << row.name;
}

TEST(TargetMessagesTest, RequestsAreReadFromTheirBytes) {
    // The closing request exactly as the protocol spells it.
    const Bytes disconnect = {0x64, 0, 0x10, 0, 0x0C, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_TRUE(TW::readDisconnectRequest(view(disconnect)));

    uint64_t selector = 1;
    EXPECT_TRUE(
        TW::readFormatRequest(view({0x64, 0, 0x10, 0, 4, 0, 0, 0, 0, 0, 0x10, 0, 0, 0, 0, 0}), selector));
    EXPECT_EQ(selector, TW::kSelectDsdLsb);

    uint16_t latency = 0;
    EXPECT_TRUE(
        TW::readLatencyRequest(view({0x64, 0, 0x10, 0, 6, 0, 0, 0, 20, 0, 0, 0, 0, 0, 0, 0}), latency));
    EXPECT_EQ(latency, 20);

    StreamFormat format;
    EXPECT_TRUE(TW::readConnectRequest(view({0x64, 0, 0x10, 0, 8, 0, 0, 0, 0x02, 0x04, 0, 0, 0x04, 0, 0, 0}),
                                       format));
    EXPECT_EQ(format, StreamFormat(0x0402, 0x04));

    // Byte 8 channel code, byte 9 class, bytes 10 and 11 the latency, 12 to 15 the rate word.
    TW::Preparation prep;
    EXPECT_TRUE(TW::readConnectPrepareRequest(
        view({0x64, 0, 0x10, 0, 18, 0, 0, 0, 0x02, 0x03, 0xC8, 0x00, 0x04, 0, 0, 0x80}), prep));
    EXPECT_EQ(prep.channelCode, 0x02);
    EXPECT_EQ(prep.formatClass, 0x03);
    EXPECT_EQ(prep.latency, 200);
    EXPECT_EQ(prep.rateWord, 0x80000004u);

    uint64_t product = 0;
    std::string name;
    EXPECT_TRUE(TW::readSyncHostRequest(view({0x64, 0,   0x1C, 0,   24,  0,   1,   0,   'Q', 'U', 'I', 'N',
                                              'T',  'A', 'R',  'A', 'h', 'o', 's', 't', 0,   0,   0,   0}),
                                        product, name));
    EXPECT_EQ(product, 0x415241544E495551ull);
    EXPECT_EQ(name, "host");
    EXPECT_TRUE(TW::readHostRequest(
        view({0x64, 0, 0x1F, 0, 0x16, 0, 1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 'h', 0, 0, 0, 0, 0, 0, 0}), product,
        name));
    EXPECT_EQ(product, 0x0807060504030201ull);
    EXPECT_EQ(name, "h");

    bool on = false;
    EXPECT_TRUE(TW::readTargetLogRequest(view({0x64, 0, 0x10, 0, 40, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}), on));
    EXPECT_TRUE(on);
    EXPECT_TRUE(TW::readTargetLogRequest(view({0x64, 0, 0x10, 0, 40, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), on));
    EXPECT_FALSE(on);

    uint16_t index = 0;
    EXPECT_TRUE(TW::readOutputRequest(view({0x64, 0, 0x10, 0, 2, 0, 0, 0, 3, 0, 0, 0, 0, 0, 1, 0}), index));
    EXPECT_EQ(index, 3);

    // A probe of MTU 200: 136 bytes of (122 + i) AND 0xFF, whose 16-bit sum is 25,260.
    Bytes probe = {0x64, 0, 0x98, 0, 14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (uint32_t i = 0; i < 136; ++i)
        probe.push_back(static_cast<uint8_t>(122 + i));
    TW::DataSizeRequest size;
    EXPECT_TRUE(TW::readDataSizeRequest(view(probe), size));
    EXPECT_TRUE(size.probe);
    EXPECT_EQ(size.received, 136);
    EXPECT_EQ(size.sum, 25260);
    EXPECT_TRUE(TW::readDataSizeRequest(view({0x64, 0, 0x10, 0, 14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), size));
    EXPECT_FALSE(size.probe);

    // A repeat of 8 audio bytes in a datagram of 32: the excess beyond the sizeField is not audio.
    const Bytes repeat = {0x64, 0, 0x18, 0, 10, 0, 0x60, 0, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0,
                          1,    2, 3,    4, 5,  6, 7,    8, 0,    0,    0, 0, 0, 0, 0, 0};
    TW::StreamData data;
    EXPECT_TRUE(TW::readStreamData(view(repeat), data));
    EXPECT_EQ(data.sequence, 0xFFFF);
    EXPECT_TRUE(data.infoRequest() && data.cycleEnd());
    EXPECT_EQ(Bytes(data.audio.data, data.audio.data + data.audio.size), Bytes({1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(TargetMessagesTest, ReadersRefuseBrokenDatagramsAndOtherCommands) {
    const struct {
        const char* name;
        Bytes wire;
    } rows[] = {
        {"magic 99", {99, 0, 0x10, 0, 12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"15 bytes", {0x64, 0, 0x10, 0, 12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"sizeField 24 in 16 bytes", {0x64, 0, 0x18, 0, 12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"DSICONNECT_ANS", {0x64, 0, 0x10, 0, 13, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto& row : rows) {
        TW::StreamData data;
        uint64_t selector = 0;
        EXPECT_FALSE(TW::readDisconnectRequest(view(row.wire))) << row.name;
        EXPECT_FALSE(TW::readStreamData(view(row.wire), data)) << row.name;
        EXPECT_FALSE(TW::readFormatRequest(view(row.wire), selector)) << row.name;
    }
}

TEST(TargetMessagesTest, TextsToTheHostFitOneDatagramOf1500Bytes) {
    const std::string exact(1480, 'x');
    // An e-acute (C3 A9) across the cut at 1,480 bytes goes whole or not at all.
    const std::string split = std::string(1479, 'a') + "\xC3\xA9" + std::string(600, 'b');
    const struct {
        const char* name;
        std::string text;
        std::string sent;
    } rows[] = {
        {"exactly the longest", exact, exact},
        {"one byte more", exact + "y", exact},
        {"a character across the cut", split, std::string(1479, 'a')},
    };
    for (const auto& row : rows) {
        for (const Packet& p : {TW::infoAnswer(row.text), TW::targetLogLine(row.text),
                                TW::findAnswer(0, row.text), TW::outputAnswer(1, 1, row.text)}) {
            EXPECT_LE(p.size(), 1500u) << row.name;
            std::string text;
            EXPECT_TRUE(Packet::readText(p.datagram(), text)) << row.name;
            EXPECT_EQ(text, row.sent) << row.name;
        }
    }
}

// Every request that the Host's code builds, read by the Target's code.
TEST(TargetMessagesTest, TargetReadsEveryRequestOfTheHostAlike) {
    StreamFormat pcm, dsd;
    pcm.setRate(48000);
    pcm.merge(0x0402, 0); // 24-bit stereo
    dsd.setRate(2822400);
    dsd.merge(0x02510002, 0); // 1-bit stereo, LSB first, little-endian 32-bit words
    ASSERT_TRUE(pcm.isValid() && dsd.isValid());

    uint64_t selector = 0;
    for (uint64_t sent : {uint64_t{0}, uint64_t{0x2600}, uint64_t{0x100000}, uint64_t{0x200000}}) {
        EXPECT_TRUE(TW::readFormatRequest(SM::formatRequest(sent).datagram(), selector));
        EXPECT_EQ(selector, sent);
    }
    uint16_t latency = 1;
    for (uint16_t sent : {uint16_t{0}, uint16_t{20}, uint16_t{0xFFFF}}) {
        EXPECT_TRUE(TW::readLatencyRequest(SM::latencyRequest(sent).datagram(), latency));
        EXPECT_EQ(latency, sent);
    }
    StreamFormat format;
    for (const StreamFormat& sent : {pcm, dsd}) {
        EXPECT_TRUE(TW::readConnectRequest(SM::connectRequest(sent).datagram(), format));
        EXPECT_EQ(format, sent);
        EXPECT_TRUE(TW::readProfileRequest(SM::profileRequest(sent).datagram(), format));
        EXPECT_EQ(format, sent);
        TW::Preparation prep;
        EXPECT_TRUE(TW::readConnectPrepareRequest(SM::connectPrepareRequest(sent, 350).datagram(), prep));
        EXPECT_EQ(prep.channelCode, sent.type() & 0xFF);
        EXPECT_EQ(prep.formatClass, sent.compactForm(350)[1]);
        EXPECT_EQ(prep.latency, 350);
        EXPECT_EQ(prep.rateWord, sent.rateBits());
    }
    TW::DataSizeRequest size;
    EXPECT_TRUE(TW::readDataSizeRequest(SM::dataSizeRequest().datagram(), size));
    EXPECT_FALSE(size.probe);
    for (uint16_t mtu : {uint16_t{200}, uint16_t{1500}, uint16_t{9000}}) {
        uint16_t hostSum = 0;
        const Packet probe = SM::dataSizeProbe(mtu, hostSum);
        EXPECT_TRUE(TW::readDataSizeRequest(probe.datagram(), size));
        EXPECT_TRUE(size.probe);
        EXPECT_EQ(size.received, mtu - 64);
        EXPECT_EQ(size.sum, hostSum) << mtu;
    }
    uint64_t product = 0;
    std::string name;
    EXPECT_TRUE(TW::readSyncHostRequest(SM::syncHostRequest(0x415241544E495551ull, "studio").datagram(),
                                        product, name));
    EXPECT_EQ(product, 0x415241544E495551ull);
    EXPECT_EQ(name, "studio");
    bool on = false;
    for (bool sent : {true, false}) {
        EXPECT_TRUE(TW::readTargetLogRequest(SM::targetLogRequest(sent).datagram(), on));
        EXPECT_EQ(on, sent);
    }
    EXPECT_TRUE(TW::readNopBreakRequest(SM::nopBreakRequest().datagram()));
    EXPECT_TRUE(TW::readDisconnectRequest(SM::disconnectRequest().datagram()));

    Packet audio(STREAM_DATA);
    audio.setPayloadSize(5);
    for (uint8_t i = 0; i < 5; ++i)
        audio.payload()[i] = static_cast<uint8_t>(0xA0 + i);
    SM::setStreamDataHeader(audio.header(), 0xFFFF, PacketFlag::InfoRequest | PacketFlag::CycleEnd);
    audio.writeHeader();
    audio.setPayloadPadded(5, 7); // as the Host repeats it
    TW::StreamData data;
    EXPECT_TRUE(TW::readStreamData(audio.datagram(), data));
    EXPECT_EQ(data.sequence, 0xFFFF);
    EXPECT_TRUE(data.infoRequest() && data.cycleEnd());
    EXPECT_EQ(Bytes(data.audio.data, data.audio.data + data.audio.size),
              Bytes({0xA0, 0xA1, 0xA2, 0xA3, 0xA4}));
}

// Every answer that the Target's code builds, read by the Host's code.
TEST(TargetMessagesTest, HostReadsEveryAnswerOfTheTargetAlike) {
    StreamFormat format;
    const StreamFormat mask(0x00302E17, 0x01FE);
    EXPECT_TRUE(SM::readFormatAnswer(TW::formatAnswer(mask).datagram(), format));
    EXPECT_EQ(format, mask);

    uint16_t a = 0, b = 0, c = 0;
    EXPECT_TRUE(SM::readLatencyAnswer(TW::latencyAnswer(200, 30).datagram(), a, b));
    EXPECT_EQ(a, 200);
    EXPECT_EQ(b, 30);
    EXPECT_TRUE(SM::readDataSizeAnswer(TW::dataSizeAnswer(1500, 15000).datagram(), a, b));
    EXPECT_EQ(a, 1500);
    EXPECT_EQ(b, 15000);
    EXPECT_TRUE(SM::readDataSizeProbeAnswer(TW::dataSizeProbeAnswer(1436, 0xE112).datagram(), a, b));
    EXPECT_EQ(a, 1436);
    EXPECT_EQ(b, 0xE112);
    EXPECT_TRUE(SM::readConnectPrepareAnswer(TW::connectPrepareAnswer(350).datagram(), a));
    EXPECT_EQ(a, 350);
    EXPECT_TRUE(SM::readProfileAnswer(TW::profileAnswer(50, 2000, 3).datagram(), a, b, c));
    EXPECT_EQ(a, 50);
    EXPECT_EQ(b, 2000);
    EXPECT_EQ(c, 3);

    bool invert = false;
    for (bool sent : {false, true}) {
        EXPECT_TRUE(SM::readConnectAnswer(TW::connectAnswer(0xD431, sent).datagram(), a, invert));
        EXPECT_EQ(a, 0xD431);
        EXPECT_EQ(invert, sent);
    }
    // A refusal has no content: the Host's exchange takes it for no answer.
    EXPECT_EQ(PacketHeader(TW::connectRefusal().data()).flags() & PacketFlag::HasContent, 0);

    SM::StreamInfo info;
    for (bool sent : {false, true}) {
        EXPECT_TRUE(SM::readStreamInfo(TW::resendRequest(0xFFFE, 3, sent).datagram(), info));
        EXPECT_TRUE(info.resend);
        EXPECT_EQ(info.resendFrom, 0xFFFE);
        EXPECT_EQ(info.resendNote, 3);
        EXPECT_EQ(info.invert, sent);
        // 150 against 100 is kind 3 with the value 8,192.
        EXPECT_TRUE(SM::readStreamInfo(TW::feedback(0, 150, 100, sent).datagram(), info));
        EXPECT_FALSE(info.resend);
        EXPECT_EQ(info.feedback.kind, FeedbackValue::Ratio);
        EXPECT_EQ(info.feedback.value, 8192);
        EXPECT_EQ(info.invert, sent);
    }

    std::string text;
    EXPECT_TRUE(SM::readTargetLogLine(TW::targetLogLine("underrun").datagram(), text));
    EXPECT_EQ(text, "underrun");
    // The acknowledgement is never taken for a line.
    EXPECT_FALSE(SM::readTargetLogLine(TW::targetLogAnswer().datagram(), text));
    // Answers that the Host takes through its exchange carry HasContent.
    for (const Packet& p :
         {TW::formatAnswer(mask), TW::latencyAnswer(1, 1), TW::dataSizeAnswer(1500, 15000),
          TW::connectPrepareAnswer(1), TW::profileAnswer(1, 1, 0), TW::syncHostAnswer(), TW::nopBreakAnswer(),
          TW::findAnswer(0, "x"), TW::infoAnswer("x"), TW::hostAnswer()})
        EXPECT_NE(PacketHeader(p.data()).flags() & PacketFlag::HasContent, 0)
            << PacketHeader(p.data()).command();
}

} // namespace
