#include "tools/receiver/TargetControlMessages.h"

#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetWireBasics.h"

namespace TESSERA::TargetWire {

bool readFormatRequest(BRINA::BufferCS_const message, uint64_t& selector) {
    PacketHeader header;
    if (!readHeader(message, FORMAT_REQ, header)) return false;
    selector = header.value64();
    return true;
}

Packet formatAnswer(StreamFormat mask) {
    return answerValue(NOPBREAK_ANS, mask.toU64());
}

bool readLatencyRequest(BRINA::BufferCS_const message, uint16_t& requested) {
    PacketHeader header;
    if (!readHeader(message, LATENCY_REQ, header)) return false;
    requested = header.word8();
    return true;
}

Packet latencyAnswer(uint16_t latency, uint16_t hardwareLatency) {
    return answer(LATENCY_ANS, latency, hardwareLatency);
}

bool readDataSizeRequest(BRINA::BufferCS_const message, DataSizeRequest& request) {
    PacketHeader header;
    if (!readHeader(message, DATASIZE_REQ, header)) return false;
    const uint16_t length = Packet::payloadSize(message);
    const uint8_t* payload = message.data + PacketHeader::kSize;
    request = DataSizeRequest{};
    request.probe = length != 0;
    request.received = length;
    for (uint32_t i = 0; i < length; ++i)
        request.sum = static_cast<uint16_t>(request.sum + payload[i]);
    return true;
}

Packet dataSizeAnswer(uint16_t mtu, uint16_t bytesPerCycle) {
    return answer(DATASIZE_ANS, mtu, bytesPerCycle);
}

Packet dataSizeProbeAnswer(uint16_t received, uint16_t sum) {
    return answer(DATASIZE_ANS, 0, 0, received, sum);
}

bool readProfileRequest(BRINA::BufferCS_const message, StreamFormat& sinkFormat) {
    PacketHeader header;
    if (!readHeader(message, PROFILE_REQ, header)) return false;
    sinkFormat = StreamFormat::fromU64(header.value64());
    return true;
}

Packet profileAnswer(uint16_t shortest, uint16_t longest, uint16_t profileFlags) {
    return answer(PROFILE_ANS, shortest, longest, profileFlags);
}

bool readConnectPrepareRequest(BRINA::BufferCS_const message, Preparation& preparation) {
    PacketHeader header;
    if (!readHeader(message, CONNECTPRE_REQ, header)) return false;
    preparation.channelCode = static_cast<uint8_t>(header.word8() & 0xFF);
    preparation.formatClass = static_cast<uint8_t>(header.word8() >> 8);
    preparation.latency = header.word10();
    preparation.rateWord = header.high32();
    return true;
}

Packet connectPrepareAnswer(uint16_t latency) {
    return answer(CONNECTPRE_ANS, 0, latency);
}

bool readSyncHostRequest(BRINA::BufferCS_const message, uint64_t& productId, std::string& hostName) {
    PacketHeader header;
    if (!readHeader(message, SYNCHOST_REQ, header)) return false;
    productId = header.value64();
    hostName = payloadText(message);
    return true;
}

Packet syncHostAnswer() {
    return answer(SYNCHOST_ANS);
}

bool readTargetLogRequest(BRINA::BufferCS_const message, bool& on) {
    PacketHeader header;
    if (!readHeader(message, TARGETLOG_REQ, header)) return false;
    on = header.word8() == 1;
    return true;
}

Packet targetLogAnswer() {
    return answer(TARGETLOG_ANS);
}

Packet targetLogLine(const std::string& text) {
    return withText(answer(TARGETLOG_ANS, kLogLineMark), text);
}

bool readConnectRequest(BRINA::BufferCS_const message, StreamFormat& sinkFormat) {
    PacketHeader header;
    if (!readHeader(message, CONNECT_REQ, header)) return false;
    sinkFormat = StreamFormat::fromU64(header.value64());
    return true;
}

Packet connectAnswer(uint16_t streamPort, bool invert) {
    Packet packet(CONNECT_ANS, streamPort, 0, 0, 0);
    packet.header().setFlags(phaseFlags(invert) | Flag::HasContent);
    return packet;
}

Packet connectRefusal() {
    return Packet(CONNECT_ANS);
}

} // namespace TESSERA::TargetWire
