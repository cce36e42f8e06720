#include "transport/wire/SyncMessages.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

namespace SM = TESSERA::SyncMessages;
using Bytes = std::vector<uint8_t>;
using TESSERA::Packet;
using TESSERA::StreamFormat;

// "64 00 10 00" as bytes.
Bytes hex(const char* text) {
    Bytes out;
    for (char* end = nullptr;; text = end) {
        const unsigned long v = std::strtoul(text, &end, 16);
        if (end == text) return out;
        out.push_back(static_cast<uint8_t>(v));
    }
}
Bytes bytesOf(const Packet& p) {
    return Bytes(p.data(), p.data() + p.size());
}

TEST(SyncMessagesTest, RequestsAreByteExact) {
    uint16_t probeSum = 0;
    const struct {
        const char* what;
        Packet packet;
        const char* bytes;
    } rows[] = {
        {"DSICONNECT_REQ", SM::disconnectRequest(), "64 00 10 00 0C 00 00 00 00 00 00 00 00 00 00 00"},
        {"FORMAT_REQ overview", SM::formatRequest(SM::kFormatOverview),
         "64 00 10 00 04 00 00 00 00 00 00 00 00 00 00 00"},
        {"FORMAT_REQ PCM", SM::formatRequest(SM::pcmSelector(0x0000003E00300E03)),
         "64 00 10 00 04 00 00 00 00 0E 00 00 00 00 00 00"},
        {"FORMAT_REQ DSD LSB", SM::formatRequest(SM::kFormatDsdLsb),
         "64 00 10 00 04 00 00 00 00 00 10 00 00 00 00 00"},
        {"FORMAT_REQ DSD MSB", SM::formatRequest(SM::kFormatDsdMsb),
         "64 00 10 00 04 00 00 00 00 00 20 00 00 00 00 00"},
        {"LATENCY_REQ second form", SM::latencyRequest(0x0123),
         "64 00 10 00 06 00 00 00 23 01 00 00 00 00 00 00"},
        {"CONNECT_REQ 2ch 32-bit 44.1k", SM::connectRequest(StreamFormat(0x00000802, 0x0000000A)),
         "64 00 10 00 08 00 00 00 02 08 00 00 0A 00 00 00"},
        {"CONNECTPRE_REQ 2ch 32-bit 48k, 29.1 ms",
         SM::connectPrepareRequest(StreamFormat(0x00000802, 0x0000000C), 0x0123),
         "64 00 10 00 12 00 00 00 02 01 23 01 0C 00 00 00"},
        {"CONNECTPRE_REQ 2ch float 48k", SM::connectPrepareRequest(StreamFormat(0x00002002, 0x0000000C), 7),
         "64 00 10 00 12 00 00 00 02 02 07 00 0C 00 00 00"},
        {"CONNECTPRE_REQ compact bytes",
         SM::connectPrepareRequest({0x02, 0x01, 0x23, 0x01, 0x0C, 0x00, 0x00, 0x00}),
         "64 00 10 00 12 00 00 00 02 01 23 01 0C 00 00 00"},
        {"PROFILE_REQ", SM::profileRequest(StreamFormat()),
         "64 00 10 00 14 00 00 00 00 00 00 00 00 00 00 00"},
        {"TARGETLOG_REQ", SM::targetLogRequest(true), "64 00 10 00 28 00 00 00 01 00 00 00 00 00 00 00"},
        {"SYNCHOST_REQ QUINTARA studio", SM::syncHostRequest(0x415241544E495551, "studio"),
         "64 00 1A 00 18 00 01 00 51 55 49 4E 54 41 52 41 73 74 75 64 69 6F 00 00"},
        {"DATASIZE_REQ probe", SM::dataSizeProbe(70, probeSum),
         "64 00 1A 00 0E 00 00 00 00 00 00 00 00 00 00 00 7A 7B 7C 7D 7E 7F 00 00"},
        {"LATENCY_ANS", SM::latencyAnswer(0x0102, 0x0304), "64 00 10 00 07 00 01 00 02 01 04 03 00 00 00 00"},
        {"CONNECT_ANS inverted", SM::connectAnswer(50000, true),
         "64 00 10 00 09 00 01 01 50 C3 00 00 00 00 00 00"},
    };
    for (const auto& r : rows)
        EXPECT_EQ(bytesOf(r.packet), hex(r.bytes)) << r.what;
    EXPECT_EQ(probeSum, 747);
    for (const Packet& p : {SM::nopBreakRequest(), SM::dataSizeRequest(), SM::latencyRequest(0)})
        EXPECT_EQ(BRINA::readLE32(p.data()), 0x00100064u) << p.header().command();
}

TEST(SyncMessagesTest, ProbeAtTheDefaultMtuWrapsItsBytesAndSum) {
    uint16_t sum = 0, received = 0, targetSum = 0;
    const Packet probe = SM::dataSizeProbe(1500, sum);
    ASSERT_EQ(probe.payloadLength(), 1436);
    EXPECT_EQ(probe.data()[16 + 133], 0xFF);
    EXPECT_EQ(probe.data()[16 + 134], 0x00);
    EXPECT_EQ(sum, 0xE112);
    ASSERT_TRUE(SM::readDataSizeProbe(probe.datagram(), received, targetSum));
    EXPECT_EQ(received, 1436);
    EXPECT_EQ(targetSum, 0xE112);
    EXPECT_EQ(SM::dataSizeProbe(40, sum).payloadLength(), 0);
}

TEST(SyncMessagesTest, PhaseInvertsOnlyWithValidSetAndNormalClear) {
    const struct {
        const char* connectAnswer;
        bool invert;
    } rows[] = {{"64 00 10 00 09 00 00 00 50 C3 00 00 00 00 00 00", false},
                {"64 00 10 00 09 00 80 00 50 C3 00 00 00 00 00 00", false},
                {"64 00 10 00 09 00 00 01 50 C3 00 00 00 00 00 00", true},
                {"64 00 10 00 09 00 81 01 50 C3 00 00 00 00 00 00", false},
                {"64 00 10 00 09 00 7F 01 50 C3 00 00 00 00 00 00", true},
                {"64 00 10 00 09 00 7F FE 50 C3 00 00 00 00 00 00", false},
                {"64 00 10 00 09 00 FF FF 50 C3 00 00 00 00 00 00", false}};
    for (const auto& r : rows) {
        uint16_t port = 0;
        bool invert = !r.invert;
        ASSERT_TRUE(SM::readConnectAnswer(BRINA::BufferCS_const(hex(r.connectAnswer)), port, invert));
        EXPECT_EQ(port, 50000);
        EXPECT_EQ(invert, r.invert) << r.connectAnswer;
    }
}

TEST(SyncMessagesTest, HostReadsWhatATargetSends) {
    SM::StreamInfo info;
    const Bytes resend = hex("64 00 10 00 0B 00 08 01 00 30 34 12 07 00 00 00");
    ASSERT_TRUE(SM::readStreamInfo(BRINA::BufferCS_const(resend), info));
    EXPECT_TRUE(info.resend);
    EXPECT_EQ(info.resendFrom, 0x1234);
    EXPECT_EQ(info.resendNote, 7);
    EXPECT_EQ(info.feedback.kind, TESSERA::FeedbackValue::None); // a resend request carries no feedback
    const Bytes feedback = hex("64 00 10 00 0B 00 00 01 00 30 00 00 00 00 00 00");
    ASSERT_TRUE(SM::readStreamInfo(BRINA::BufferCS_const(feedback), info));
    EXPECT_FALSE(info.resend);
    EXPECT_TRUE(info.invert);
    EXPECT_EQ(info.feedback.value, 8192);

    StreamFormat mask;
    ASSERT_TRUE(SM::readFormatAnswer(
        BRINA::BufferCS_const(hex("64 00 10 00 05 00 01 00 3F 0E 30 02 3E 00 01 00")), mask));
    EXPECT_EQ(mask.type(), 0x02300E3Fu);
    EXPECT_EQ(mask.rateBits(), 0x0001003Eu);

    std::string text;
    Bytes line = hex("64 00 19 00 29 00 00 00 02 00 00 00 00 00 00 00 62 6F 6F 74 20 6F 6B 00");
    ASSERT_TRUE(SM::readTargetLogLine(BRINA::BufferCS_const(line), text));
    EXPECT_EQ(text, "boot ok");
    line[8] = 1; // only word8 2 is a log line
    EXPECT_FALSE(SM::readTargetLogLine(BRINA::BufferCS_const(line), text));

    uint16_t latency = 0, hw = 0;
    EXPECT_FALSE(SM::readLatencyAnswer(BRINA::BufferCS_const(feedback), latency, hw));  // another command
    EXPECT_FALSE(SM::readStreamInfo(BRINA::BufferCS_const(feedback.data(), 15), info)); // not a message
}

TEST(SyncMessagesTest, AnswersCarryContentAndAnEmptyHostNameReadsBack) {
    uint64_t product = 0;
    std::string host = "stale";
    ASSERT_TRUE(SM::readSyncHostRequest(SM::syncHostRequest(~0ull, "").datagram(), product, host));
    EXPECT_EQ(product, ~0ull);
    EXPECT_EQ(host, "");
    for (const Packet& p :
         {SM::formatAnswer(StreamFormat(2, 10)), SM::nopBreakAnswer(), SM::syncHostAnswer(),
          SM::profileAnswer(1, 2, 3), SM::dataSizeAnswer(1500, 15000), SM::targetLogAnswer()})
        EXPECT_TRUE(p.header().flags() & TESSERA::PacketFlag::HasContent) << p.header().command();
}

TEST(SyncMessagesTest, StreamDataCarriesSequenceFlagsAndAudio) {
    Packet slot(TESSERA::STREAM_DATA);
    ASSERT_TRUE(slot.setPayloadSize(6));
    for (uint8_t i = 0; i < 6; ++i)
        slot.payload()[i] = static_cast<uint8_t>(0x10 + i);
    SM::setStreamDataHeader(slot.header(), 0xFFFF,
                            TESSERA::PacketFlag::CycleEnd | TESSERA::PacketFlag::InfoRequest);
    slot.writeHeader();
    EXPECT_EQ(bytesOf(slot), hex("64 00 1A 00 0A 00 60 00 FF FF 00 00 00 00 00 00 10 11 12 13 14 15 00 00"));
    uint16_t sequence = 0, flags = 0;
    BRINA::BufferCS_const audio;
    ASSERT_TRUE(SM::readStreamData(slot.datagram(), sequence, flags, audio));
    EXPECT_EQ(sequence, 0xFFFF);
    EXPECT_EQ(flags, 0x60);
    EXPECT_EQ(Bytes(audio.data, audio.data + audio.size), hex("10 11 12 13 14 15"));
}

} // namespace
