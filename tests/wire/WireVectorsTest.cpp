// Every message as bytes on the wire, built by one side's code and read back by the other's, so that the
// Host's and the Target's separate readings of the protocol must agree byte for byte.
#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetControlMessages.h"
#include "tools/receiver/TargetDiscoveryMessages.h"
#include "tools/receiver/TargetStreamMessages.h"
#include "transport/wire/SyncMessages.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace TESSERA;
using In = BRINA::BufferCS_const;
using Bytes = std::vector<uint8_t>;
namespace TW = TargetWire;
namespace SM = SyncMessages;

// "64 00 10 00" as bytes; "64 00 10 00 0C" is followed by zeros up to the 16 bytes of a header.
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
Bytes bytesOf(const Packet& p) {
    return Bytes(p.datagram().data, p.datagram().data + p.datagram().size);
}
// STREAM_DATA with sequence 0xFFFF, InfoRequest and CycleEnd, audio bytes 0x10 up, repeated in a slot of
// capacity.
Packet streamData(uint32_t audio, uint32_t capacity) {
    Packet p(STREAM_DATA);
    p.setPayloadSize(audio);
    for (uint8_t i = 0; i < audio; ++i)
        p.payload()[i] = static_cast<uint8_t>(0x10 + i);
    SM::setStreamDataHeader(p.header(), 0xFFFF, PacketFlag::CycleEnd | PacketFlag::InfoRequest);
    p.writeHeader();
    p.setPayloadPadded(audio, capacity);
    return p;
}

TEST(WireVectorsTest, EachSideBuildsTheBytesTheOtherReads) {
    uint16_t probeSum = 0, a = 0, b = 0, c = 0;
    uint64_t u = 0;
    std::string s;
    bool on = false;
    StreamFormat f;
    TW::Preparation prep;
    TW::DataSizeRequest size;
    TW::StreamData data;
    SM::StreamInfo info;
    const StreamFormat pcm32(0x0802, 0x000A), mask(0x12345678, 0x9ABCDEF0);
    // clang-format off
    // built: none when only read, no code of ours sends it; reads: none when no code of ours reads it.
    const struct { const char* what; std::optional<Packet> built; const char* bytes; std::function<bool(In)> reads; } rows[] = {
        // The Host's requests, read by the Target.
        {"DSICONNECT_REQ", SM::disconnectRequest(), "64 00 10 00 0C", [](In m) { return TW::readDisconnectRequest(m); }},
        {"FORMAT_REQ overview", SM::formatRequest(SM::kFormatOverview), "64 00 10 00 04", [&](In m) { return TW::readFormatRequest(m, u) && u == 0; }},
        {"FORMAT_REQ PCM", SM::formatRequest(SM::pcmSelector(0x3E00300E03)), "64 00 10 00 04 00 00 00 00 0E", [&](In m) { return TW::readFormatRequest(m, u) && u == 0x0E00; }},
        {"FORMAT_REQ DSD LSB", SM::formatRequest(SM::kFormatDsdLsb), "64 00 10 00 04 00 00 00 00 00 10", [&](In m) { return TW::readFormatRequest(m, u) && u == TW::kSelectDsdLsb; }},
        {"FORMAT_REQ DSD MSB", SM::formatRequest(SM::kFormatDsdMsb), "64 00 10 00 04 00 00 00 00 00 20", [&](In m) { return TW::readFormatRequest(m, u) && u == 0x200000; }},
        {"LATENCY_REQ", SM::latencyRequest(0x0123), "64 00 10 00 06 00 00 00 23 01", [&](In m) { return TW::readLatencyRequest(m, a) && a == 0x0123; }},
        {"CONNECT_REQ", SM::connectRequest(pcm32), "64 00 10 00 08 00 00 00 02 08 00 00 0A", [&](In m) { return TW::readConnectRequest(m, f) && f == pcm32; }},
        {"PROFILE_REQ", SM::profileRequest(pcm32), "64 00 10 00 14 00 00 00 02 08 00 00 0A", [&](In m) { return TW::readProfileRequest(m, f) && f == pcm32; }},
        {"CONNECTPRE_REQ 32-bit", SM::connectPrepareRequest(StreamFormat(0x0802, 0x0C), 0x0123), "64 00 10 00 12 00 00 00 02 01 23 01 0C", [&](In m) { return TW::readConnectPrepareRequest(m, prep) && prep.channelCode == 2 && prep.formatClass == 1 && prep.latency == 0x0123 && prep.rateWord == 0x0C; }},
        {"CONNECTPRE_REQ float", SM::connectPrepareRequest(StreamFormat(0x2002, 0x0C), 7), "64 00 10 00 12 00 00 00 02 02 07 00 0C", [&](In m) { return TW::readConnectPrepareRequest(m, prep) && prep.formatClass == 2; }},
        {"CONNECTPRE_REQ rate word", {}, "64 00 10 00 12 00 00 00 02 03 C8 00 04 00 00 80", [&](In m) { return TW::readConnectPrepareRequest(m, prep) && prep.formatClass == 3 && prep.latency == 200 && prep.rateWord == 0x80000004u; }},
        {"TARGETLOG_REQ on", SM::targetLogRequest(true), "64 00 10 00 28 00 00 00 01", [&](In m) { return TW::readTargetLogRequest(m, on) && on; }},
        {"TARGETLOG_REQ off", SM::targetLogRequest(false), "64 00 10 00 28", [&](In m) { return TW::readTargetLogRequest(m, on = true) && !on; }},
        {"SYNCHOST_REQ", SM::syncHostRequest(0x415241544E495551, "studio"), "64 00 1A 00 18 00 01 00 51 55 49 4E 54 41 52 41 73 74 75 64 69 6F 00 00", [&](In m) { return TW::readSyncHostRequest(m, u, s) && u == 0x415241544E495551 && s == "studio"; }},
        {"DATASIZE_REQ", SM::dataSizeRequest(), "64 00 10 00 0E", [&](In m) { return TW::readDataSizeRequest(m, size) && !size.probe; }},
        {"DATASIZE_REQ probe", SM::dataSizeProbe(70, probeSum), "64 00 1A 00 0E 00 00 00 00 00 00 00 00 00 00 00 7A 7B 7C 7D 7E 7F 00 00", [&](In m) { return TW::readDataSizeRequest(m, size) && size.probe && size.received == 6 && size.sum == 747 && probeSum == 747; }},
        {"NOPBREAK_REQ", SM::nopBreakRequest(), "64 00 10 00 2A", [](In m) { return TW::readNopBreakRequest(m); }},
        {"OUTPUT_REQ", {}, "64 00 10 00 02 00 00 00 03 00 00 00 00 00 01 00", [&](In m) { return TW::readOutputRequest(m, a) && a == 3; }},
        {"HOST_REQ", {}, "64 00 1F 00 16 00 01 00 01 02 03 04 05 06 07 08 68 00 00 00 00 00 00 00", [&](In m) { return TW::readHostRequest(m, u, s) && u == 0x0807060504030201 && s == "h"; }},
        {"STREAM_DATA", streamData(6, 6), "64 00 1A 00 0A 00 60 00 FF FF 00 00 00 00 00 00 10 11 12 13 14 15 00 00", [&](In m) { return TW::readStreamData(m, data) && data.sequence == 0xFFFF && data.infoRequest() && data.cycleEnd() && data.audio.size == 6 && data.audio.data[0] == 0x10 && data.audio.data[5] == 0x15; }},
        {"STREAM_DATA repeated in a larger slot", streamData(8, 10), "64 00 18 00 0A 00 60 00 FF FF 00 00 00 00 00 00 10 11 12 13 14 15 16 17 00 00 00 00 00 00 00 00", [&](In m) { return TW::readStreamData(m, data) && data.audio.size == 8; }},
        {"four words", Packet(6, 0x1234, 0x5678, 0x9ABC, 0xDEF0), "64 00 10 00 06 00 00 00 34 12 78 56 BC 9A F0 DE", nullptr},
        {"two 32-bit words", Packet(8, uint32_t{0x11223344}, uint32_t{0x55667788}), "64 00 10 00 08 00 00 00 44 33 22 11 88 77 66 55", nullptr},
        {"one 64-bit word", Packet(24, uint64_t{0x0807060504030201}), "64 00 10 00 18 00 00 00 01 02 03 04 05 06 07 08", nullptr},
        // The Target's answers, read by the Host.
        {"FIND_ANS", TW::findAnswer(0x415241544E495551, "Lab"), "64 00 1D 00 01 00 01 00 51 55 49 4E 54 41 52 41 4C 61 62 00 00 00 00 00", [&](In m) { return Packet::readText(m, s) && s == "Lab"; }},
        {"OUTPUT_ANS count", TW::outputCountAnswer(2), "64 00 10 00 03 00 01 00 02", nullptr},
        {"OUTPUT_ANS port 50000 version 1", TW::outputAnswer(50000, 1, ""), "64 00 10 00 03 00 01 00 00 00 00 00 50 C3 01 00", nullptr},
        {"INFO_ANS", TW::infoAnswer("[myaddress]"), "64 00 25 00 11 00 01 00 00 00 00 00 00 00 00 00 5B 6D 79 61 64 64 72 65 73 73 5D 00 00 00 00 00", [&](In m) { return Packet::readText(m, s) && s == "[myaddress]"; }},
        {"HOST_ANS", TW::hostAnswer(), "64 00 10 00 17 00 01 00", nullptr},
        {"NOTIFY", TW::notify(7), "64 00 10 00 01 80 00 00 07", nullptr},
        {"NOPBREAK_ANS", TW::nopBreakAnswer(), "64 00 10 00 05 00 01 00", nullptr},
        {"NOPBREAK_ANS mask", TW::formatAnswer(mask), "64 00 10 00 05 00 01 00 78 56 34 12 F0 DE BC 9A", [&](In m) { return SM::readFormatAnswer(m, f) && f == mask; }},
        {"LATENCY_ANS", TW::latencyAnswer(200, 30), "64 00 10 00 07 00 01 00 C8 00 1E 00", [&](In m) { return SM::readLatencyAnswer(m, a, b) && a == 200 && b == 30; }},
        {"CONNECT_ANS normal", TW::connectAnswer(0xD431, false), "64 00 10 00 09 00 81 01 31 D4", [&](In m) { return SM::readConnectAnswer(m, a, on = true) && a == 0xD431 && !on; }},
        {"CONNECT_ANS inverted", TW::connectAnswer(0xD431, true), "64 00 10 00 09 00 01 01 31 D4", [&](In m) { return SM::readConnectAnswer(m, a, on) && a == 0xD431 && on; }},
        {"CONNECT_ANS PhaseValid alone", {}, "64 00 10 00 09 00 80 00 50 C3", [&](In m) { return SM::readConnectAnswer(m, a, on = true) && a == 50000 && !on; }},
        {"CONNECT_ANS other bits around PhaseValid", {}, "64 00 10 00 09 00 7F 01 50 C3", [&](In m) { return SM::readConnectAnswer(m, a, on = false) && on; }},
        {"CONNECT_ANS all but PhaseValid", {}, "64 00 10 00 09 00 7F FE 50 C3", [&](In m) { return SM::readConnectAnswer(m, a, on = true) && !on; }},
        {"CONNECT_ANS refusal", TW::connectRefusal(), "64 00 10 00 09", nullptr},
        {"DATASIZE_ANS", TW::dataSizeAnswer(1500, 15000), "64 00 10 00 0F 00 01 00 DC 05 98 3A", [&](In m) { return SM::readDataSizeAnswer(m, a, b) && a == 1500 && b == 15000; }},
        {"DATASIZE_ANS probe", TW::dataSizeProbeAnswer(136, 25260), "64 00 10 00 0F 00 01 00 00 00 00 00 88 00 AC 62", [&](In m) { return SM::readDataSizeProbeAnswer(m, a, b) && a == 136 && b == 25260; }},
        {"CONNECTPRE_ANS", TW::connectPrepareAnswer(0x0102), "64 00 10 00 13 00 01 00 00 00 02 01", [&](In m) { return SM::readConnectPrepareAnswer(m, a) && a == 0x0102; }},
        {"PROFILE_ANS", TW::profileAnswer(50, 2000, 3), "64 00 10 00 15 00 01 00 32 00 D0 07 03", [&](In m) { return SM::readProfileAnswer(m, a, b, c) && a == 50 && b == 2000 && c == 3; }},
        {"SYNCHOST_ANS", TW::syncHostAnswer(), "64 00 10 00 19 00 01 00", nullptr},
        {"TARGETLOG_ANS, never a line", TW::targetLogAnswer(), "64 00 10 00 29 00 01 00", [&](In m) { return !SM::readTargetLogLine(m, s); }},
        {"TARGETLOG_ANS line", TW::targetLogLine("hi"), "64 00 1E 00 29 00 01 00 02 00 00 00 00 00 00 00 68 69 00 00 00 00 00 00", [&](In m) { return SM::readTargetLogLine(m, s) && s == "hi"; }},
        {"TARGETLOG_ANS word8 1", {}, "64 00 19 00 29 00 00 00 01 00 00 00 00 00 00 00 62 6F 6F 74 20 6F 6B 00", [&](In m) { return !SM::readTargetLogLine(m, s); }},
        {"STREAM_INFO resend", TW::resendRequest(0xFFFE, 3, false), "64 00 10 00 0B 00 88 01 00 00 FE FF 03", [&](In m) { return SM::readStreamInfo(m, info) && info.resend && info.resendFrom == 0xFFFE && info.resendNote == 3 && !info.invert && info.feedback.kind == FeedbackValue::None; }},
        {"STREAM_INFO feedback inverted", TW::feedback(0, 150, 100, true), "64 00 10 00 0B 00 00 01 00 00 96 00 64", [&](In m) { return SM::readStreamInfo(m, info) && !info.resend && info.invert && info.feedback.kind == FeedbackValue::Ratio && info.feedback.value == 8192; }},
        {"DSICONNECT_ANS", TW::disconnectAnswer(), "64 00 10 00 0D 00 01 00", nullptr},
    };
    // clang-format on
    for (const auto& r : rows) {
        EXPECT_EQ(r.built ? bytesOf(*r.built) : hex(r.bytes), hex(r.bytes)) << r.what;
        EXPECT_TRUE(!r.reads || r.reads(In(hex(r.bytes)))) << r.what;
    }
    // The Host's own builders of answers (for its tests and tools) lay the same bytes as the Target's.
    // clang-format off
    const Packet pairs[][2] = {{SM::formatAnswer(mask), TW::formatAnswer(mask)}, {SM::latencyAnswer(1, 2), TW::latencyAnswer(1, 2)}, {SM::connectAnswer(50000, true), TW::connectAnswer(50000, true)}, {SM::profileAnswer(1, 2, 3), TW::profileAnswer(1, 2, 3)}, {SM::dataSizeAnswer(1500, 15000), TW::dataSizeAnswer(1500, 15000)}, {SM::nopBreakAnswer(), TW::nopBreakAnswer()}, {SM::syncHostAnswer(), TW::syncHostAnswer()}, {SM::targetLogAnswer(), TW::targetLogAnswer()}};
    // clang-format on
    for (const auto& p : pairs)
        EXPECT_EQ(bytesOf(p[0]), bytesOf(p[1])) << p[1].header().command();
}

TEST(WireVectorsTest, ProbeAtTheDefaultMtuWrapsItsBytesAndSum) {
    uint16_t sum = 0, received = 0, targetSum = 0;
    const Packet probe = SM::dataSizeProbe(1500, sum);
    EXPECT_TRUE(probe.data()[16 + 133] == 0xFF && probe.data()[16 + 134] == 0x00 && sum == 0xE112);
    ASSERT_TRUE(SM::readDataSizeProbe(probe.datagram(), received, targetSum));
    EXPECT_TRUE(received == 1436 && targetSum == 0xE112);
    EXPECT_EQ(SM::dataSizeProbe(40, sum).payloadLength(), 0);
}

TEST(WireVectorsTest, PayloadSizeSetsSizeFieldAndZeroPadding) {
    // clang-format off
    const struct { uint32_t payload; uint16_t sizeField; uint32_t size; } rows[] = {{0, 0x0010, 16}, {1, 31, 24}, {5, 0x001B, 24}, {8, 0x0018, 24}, {9, 0x0027, 32}, {65512, 0xFFF8, 65528}};
    // clang-format on
    for (const auto& r : rows) {
        Packet p(4);
        ASSERT_TRUE(p.setPayloadSize(r.payload)) << r.payload;
        p.writeHeader();
        EXPECT_TRUE(p.header().sizeField() == r.sizeField && p.size() == r.size) << r.payload;
        EXPECT_EQ(Packet::payloadSize(p.datagram()), r.payload);
    }
    Packet tooLong(4);
    EXPECT_TRUE(!tooLong.setPayloadSize(65513) && tooLong.size() == 16u);
    Packet p(10); // padding is zero even over bytes of a longer payload before
    ASSERT_TRUE(p.setPayloadSize(24));
    std::fill(p.payload(), p.payload() + 24, 0xFF);
    ASSERT_TRUE(p.setPayloadSize(5));
    std::fill(p.payload(), p.payload() + 5, 0xEE);
    p.writeHeader();
    EXPECT_EQ(bytesOf(p), hex("64 00 1B 00 0A 00 00 00 00 00 00 00 00 00 00 00 EE EE EE EE EE 00 00 00"));
}

TEST(WireVectorsTest, ValidityAtItsEdges) {
    // clang-format off
    const struct { uint32_t length; const char* head; bool valid; uint16_t payload; } rows[] = {
        {0, "", false, 0}, {15, "64 00 10 00", false, 0}, {16, "64 00 18 00", false, 0}, {32, "64 00 18 00", true, 8},
        {24, "64 00 10 00", true, 0}, {24, "64 00 1F 00", true, 1}, {24, "64 00 20 00", false, 0}, {16, "64 00 07 00", true, 0},
        {16, "65 00 10 00", false, 0}, {16, "00 64 10 00", false, 0}, {65528, "64 00 F8 FF", true, 65512}, {65527, "64 00 F8 FF", false, 0},
    };
    // clang-format on
    for (const auto& r : rows) {
        Bytes d(r.length, 0xAB);
        const Bytes head = hex(r.head);
        std::copy(head.begin(), head.begin() + std::min<size_t>(4, r.length), d.begin());
        EXPECT_TRUE(Packet::isValid(In(d)) == r.valid && Packet::payloadSize(In(d)) == r.payload)
            << r.length << " " << r.head;
        if (r.valid || r.length < 16) continue;
        d[4] = DSICONNECT_REQ, d[5] = 0; // as a closing request, the Target refuses what isn't a message
        EXPECT_FALSE(TW::readDisconnectRequest(In(d))) << r.length << " " << r.head;
    }
    EXPECT_FALSE(TW::readDisconnectRequest(In(hex("64 00 10 00 0D")))); // another command
}

TEST(WireVectorsTest, TextsGoInAndOutAsRawBytesWithin1500Bytes) {
    for (const std::string& text :
         {std::string(), std::string("x\0y", 3), std::string(Packet::kMaxPayload, 't')}) {
        Packet p(0x11);
        ASSERT_TRUE(p.setText(text)) << text.size();
        std::string back = "stale";
        EXPECT_TRUE(Packet::readText(p.datagram(), back) && back == text) << text.size();
    }
    EXPECT_FALSE(Packet(0x11).setText(std::string(Packet::kMaxPayload + 1, 't')));
    const std::string exact(1480, 'x');
    // An e-acute (C3 A9) across the cut at 1,480 bytes goes whole or not at all.
    const std::string split = std::string(1479, 'a') + "\xC3\xA9" + std::string(600, 'b');
    // clang-format off
    const struct { std::string text, sent; } rows[] = {{exact, exact}, {exact + "y", exact}, {split, std::string(1479, 'a')}};
    // clang-format on
    for (const auto& r : rows) {
        for (const Packet& p : {TW::infoAnswer(r.text), TW::targetLogLine(r.text), TW::findAnswer(0, r.text),
                                TW::outputAnswer(1, 1, r.text)}) {
            std::string text;
            EXPECT_TRUE(Packet::readText(p.datagram(), text) && text == r.sent) << p.header().command();
        }
    }
}

TEST(WireVectorsTest, FeedbackKindsAndValuesAtTheirBoundaries) {
    // word8, word10, word12, kind, value
    // clang-format off
    const int rows[][5] = {
        {0x8001, 0, 0, 2, 1}, {0xC000, 0, 0, 2, -16384}, {0xBFFF, 0, 0, 2, 16383}, {0xFFFF, 0, 0, 2, -1}, // signed 15 bits, bit 14 copied
        {0x8001, 150, 100, 2, 1}, {0x2000, 150, 100, 1, 0}, // kinds 2 and 1 are tried before kind 3
        {0x3000, 0, 0, 1, 8192}, {0x0001, 0, 0, 1, -16382}, {0x5FFF, 0, 0, 1, 32766}, {0x6000, 0, 0, 1, -32768}, {0x7FFF, 0, 0, 1, -16386},
        {0, 150, 100, 3, 8192}, {0, 50, 100, 3, -8192}, {0, 1, 3, 3, -10922}, {0, 5, 3, 3, 10922}, {0, 65535, 32768, 3, 16383},
        {0, 3, 1, 3, -32768}, {0, 65535, 1, 3, -32768}, {0, 0, 0, 0, 0}, {0, 100, 0, 0, 0},
    };
    // clang-format on
    for (const auto& r : rows) {
        const FeedbackValue f = FeedbackValue::decode(uint16_t(r[0]), uint16_t(r[1]), uint16_t(r[2]));
        EXPECT_TRUE(static_cast<int>(f.kind) == r[3] && f.value == r[4])
            << r[0] << " " << r[1] << " " << r[2];
    }
}

} // namespace
