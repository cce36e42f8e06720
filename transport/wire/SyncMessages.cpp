#include "transport/wire/SyncMessages.h"

#include "BRINA/LittleEndian.h"

namespace TESSERA::SyncMessages {

namespace {

using BRINA::BufferCS_const;

// Answers that a Target builds carry what was asked, so they say so.
Packet withContent(Packet packet) {
    packet.header().setFlags(packet.header().flags() | PacketFlag::HasContent);
    return packet;
}

// A text beyond the largest payload is cut, so that the message still goes out.
Packet withText(Packet packet, const std::string& text) {
    packet.setText(text.substr(0, Packet::kMaxPayload));
    return packet;
}

BufferCS_const payloadOf(BufferCS_const message) {
    return BufferCS_const(message.data + PacketHeader::kSize, Packet::payloadSize(message));
}

uint16_t sum16(BufferCS_const bytes) {
    uint16_t sum = 0;
    for (uint32_t i = 0; i < bytes.size; ++i)
        sum = static_cast<uint16_t>(sum + bytes.data[i]);
    return sum;
}

} // namespace

Packet formatRequest(uint64_t selector) {
    return Packet(FORMAT_REQ, selector);
}

bool readFormatRequest(BufferCS_const message, uint64_t& selector) {
    PacketHeader h;
    if (!Packet::headerOf(message, FORMAT_REQ, h)) return false;
    selector = h.value64();
    return true;
}

Packet formatAnswer(const StreamFormat& format) {
    return withContent(Packet(NOPBREAK_ANS, format.toU64()));
}

bool readFormatAnswer(BufferCS_const message, StreamFormat& format) {
    PacketHeader h;
    if (!Packet::headerOf(message, NOPBREAK_ANS, h)) return false;
    format = StreamFormat::fromU64(h.value64());
    return true;
}

Packet latencyRequest(uint16_t requested) {
    return Packet(LATENCY_REQ, requested, 0, 0, 0);
}

bool readLatencyRequest(BufferCS_const message, uint16_t& requested) {
    PacketHeader h;
    if (!Packet::headerOf(message, LATENCY_REQ, h)) return false;
    requested = h.word8();
    return true;
}

Packet latencyAnswer(uint16_t latency, uint16_t hwLatency) {
    return withContent(Packet(LATENCY_ANS, latency, hwLatency, 0, 0));
}

bool readLatencyAnswer(BufferCS_const message, uint16_t& latency, uint16_t& hwLatency) {
    PacketHeader h;
    if (!Packet::headerOf(message, LATENCY_ANS, h)) return false;
    latency = h.word8();
    hwLatency = h.word10();
    return true;
}

Packet connectRequest(const StreamFormat& sinkFormat) {
    return Packet(CONNECT_REQ, sinkFormat.toU64());
}

bool readConnectRequest(BufferCS_const message, StreamFormat& sinkFormat) {
    PacketHeader h;
    if (!Packet::headerOf(message, CONNECT_REQ, h)) return false;
    sinkFormat = StreamFormat::fromU64(h.value64());
    return true;
}

Packet connectAnswer(uint16_t streamPort, bool invert) {
    Packet packet(CONNECT_ANS, streamPort, 0, 0, 0);
    packet.header().setFlags(PacketFlag::HasContent | phaseFlags(invert));
    return packet;
}

bool readConnectAnswer(BufferCS_const message, uint16_t& streamPort, bool& invert) {
    PacketHeader h;
    if (!Packet::headerOf(message, CONNECT_ANS, h)) return false;
    streamPort = h.word8();
    invert = phaseInverted(h.flags());
    return true;
}

void setStreamDataHeader(PacketHeader& header, uint16_t sequence, uint16_t flags) {
    header.setMagic(PacketHeader::kMagic);
    header.setCommand(STREAM_DATA);
    header.setFlags(flags);
    header.setWords(sequence, 0, 0, 0);
}

bool readStreamData(BufferCS_const message, uint16_t& sequence, uint16_t& flags, BufferCS_const& audio) {
    PacketHeader h;
    if (!Packet::headerOf(message, STREAM_DATA, h)) return false;
    sequence = h.word8();
    flags = h.flags();
    audio = payloadOf(message);
    return true;
}

Packet resendRequest(uint16_t firstSequence, uint16_t note, bool invert) {
    Packet packet(STREAM_INFO, 0, firstSequence, note, 0);
    packet.header().setFlags(PacketFlag::ResendRequest | phaseFlags(invert));
    return packet;
}

Packet feedbackInfo(uint16_t word8, uint16_t word10, uint16_t word12, bool invert) {
    Packet packet(STREAM_INFO, word8, word10, word12, 0);
    packet.header().setFlags(phaseFlags(invert));
    return packet;
}

bool readStreamInfo(BufferCS_const message, StreamInfo& info) {
    PacketHeader h;
    if (!Packet::headerOf(message, STREAM_INFO, h)) return false;
    info = StreamInfo{};
    info.invert = phaseInverted(h.flags());
    info.resend = (h.flags() & PacketFlag::ResendRequest) != 0;
    if (info.resend) {
        info.resendFrom = h.word10();
        info.resendNote = h.word12();
    } else {
        info.feedback = FeedbackValue::decode(h.word8(), h.word10(), h.word12());
    }
    return true;
}

Packet disconnectRequest() {
    return Packet(DSICONNECT_REQ);
}

Packet disconnectAnswer() {
    return withContent(Packet(DSICONNECT_ANS));
}

Packet dataSizeRequest() {
    return Packet(DATASIZE_REQ);
}

Packet dataSizeAnswer(uint16_t mtu, uint16_t maxPerCycle) {
    return withContent(Packet(DATASIZE_ANS, mtu, maxPerCycle, 0, 0));
}

bool readDataSizeAnswer(BufferCS_const message, uint16_t& mtu, uint16_t& maxPerCycle) {
    PacketHeader h;
    if (!Packet::headerOf(message, DATASIZE_ANS, h)) return false;
    mtu = h.word8();
    maxPerCycle = h.word10();
    return true;
}

Packet dataSizeProbe(uint16_t mtu, uint16_t& sum) {
    // An MTU below the 64 bytes of headroom probes with an empty payload.
    const uint32_t length = mtu > 64 ? mtu - 64u : 0u;
    Packet packet(DATASIZE_REQ);
    packet.setPayloadSize(length);
    uint8_t* out = packet.payload();
    for (uint32_t i = 0; i < length; ++i)
        out[i] = static_cast<uint8_t>(122u + i);
    packet.writeHeader();
    sum = sum16(BufferCS_const(out, length));
    return packet;
}

bool readDataSizeProbe(BufferCS_const message, uint16_t& received, uint16_t& sum) {
    PacketHeader h;
    if (!Packet::headerOf(message, DATASIZE_REQ, h)) return false;
    const BufferCS_const payload = payloadOf(message);
    received = static_cast<uint16_t>(payload.size);
    sum = sum16(payload);
    return true;
}

Packet dataSizeProbeAnswer(uint16_t received, uint16_t sum) {
    return withContent(Packet(DATASIZE_ANS, 0, 0, received, sum));
}

bool readDataSizeProbeAnswer(BufferCS_const message, uint16_t& received, uint16_t& sum) {
    PacketHeader h;
    if (!Packet::headerOf(message, DATASIZE_ANS, h)) return false;
    received = h.word12();
    sum = h.word14();
    return true;
}

Packet connectPrepareRequest(const std::array<uint8_t, 8>& compactForm) {
    return Packet(CONNECTPRE_REQ, BRINA::readLE64(compactForm.data()));
}

bool readConnectPrepareRequest(BufferCS_const message, std::array<uint8_t, 8>& compactForm,
                               uint16_t& latency) {
    PacketHeader h;
    if (!Packet::headerOf(message, CONNECTPRE_REQ, h)) return false;
    BRINA::writeLE64(compactForm.data(), h.value64());
    latency = h.word10();
    return true;
}

Packet connectPrepareAnswer(uint16_t latency) {
    return withContent(Packet(CONNECTPRE_ANS, 0, latency, 0, 0));
}

bool readConnectPrepareAnswer(BufferCS_const message, uint16_t& latency) {
    PacketHeader h;
    if (!Packet::headerOf(message, CONNECTPRE_ANS, h)) return false;
    latency = h.word10();
    return true;
}

Packet profileRequest(const StreamFormat& sinkFormat) {
    return Packet(PROFILE_REQ, sinkFormat.toU64());
}

bool readProfileRequest(BufferCS_const message, StreamFormat& sinkFormat) {
    PacketHeader h;
    if (!Packet::headerOf(message, PROFILE_REQ, h)) return false;
    sinkFormat = StreamFormat::fromU64(h.value64());
    return true;
}

Packet profileAnswer(uint16_t profileMin, uint16_t profileMax, uint16_t profileFlags) {
    return withContent(Packet(PROFILE_ANS, profileMin, profileMax, profileFlags, 0));
}

bool readProfileAnswer(BufferCS_const message, uint16_t& profileMin, uint16_t& profileMax,
                       uint16_t& profileFlags) {
    PacketHeader h;
    if (!Packet::headerOf(message, PROFILE_ANS, h)) return false;
    profileMin = h.word8();
    profileMax = h.word10();
    profileFlags = h.word12();
    return true;
}

Packet syncHostRequest(uint64_t productId, const std::string& hostName) {
    Packet packet(SYNCHOST_REQ, productId);
    packet.header().setFlags(PacketFlag::HasContent);
    return withText(packet, hostName);
}

bool readSyncHostRequest(BufferCS_const message, uint64_t& productId, std::string& hostName) {
    PacketHeader h;
    if (!Packet::headerOf(message, SYNCHOST_REQ, h)) return false;
    productId = h.value64();
    return Packet::readText(message, hostName);
}

// Nothing is read back from SYNCHOST_ANS: ours carries HasContent and nothing else.
Packet syncHostAnswer() {
    return withContent(Packet(SYNCHOST_ANS));
}

Packet targetLogRequest(bool on) {
    return Packet(TARGETLOG_REQ, static_cast<uint16_t>(on ? 1 : 0), 0, 0, 0);
}

bool readTargetLogRequest(BufferCS_const message, bool& on) {
    PacketHeader h;
    if (!Packet::headerOf(message, TARGETLOG_REQ, h)) return false;
    on = h.word8() != 0;
    return true;
}

// word8 stays 0 in the acknowledgement, so that the Host never takes it for a log line.
Packet targetLogAnswer() {
    return withContent(Packet(TARGETLOG_ANS));
}

Packet targetLogLine(const std::string& text) {
    return withText(Packet(TARGETLOG_ANS, 2, 0, 0, 0), text);
}

bool readTargetLogLine(BufferCS_const message, std::string& text) {
    PacketHeader h;
    if (!Packet::headerOf(message, TARGETLOG_ANS, h) || h.word8() != 2) return false;
    return Packet::readText(message, text);
}

Packet nopBreakRequest() {
    return Packet(NOPBREAK_REQ);
}

Packet nopBreakAnswer() {
    return withContent(Packet(NOPBREAK_ANS));
}

} // namespace TESSERA::SyncMessages
