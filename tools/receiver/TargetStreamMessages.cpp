#include "tools/receiver/TargetStreamMessages.h"

#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetWireBasics.h"

namespace TESSERA::TargetWire {

bool StreamData::infoRequest() const {
    return (flags & Flag::InfoRequest) != 0;
}

bool StreamData::cycleEnd() const {
    return (flags & Flag::CycleEnd) != 0;
}

bool readStreamData(BRINA::BufferCS_const message, StreamData& data) {
    PacketHeader header;
    if (!readHeader(message, STREAM_DATA, header)) return false;
    data.sequence = header.word8();
    data.flags = header.flags();
    data.audio = BRINA::BufferCS_const(message.data + PacketHeader::kSize, Packet::payloadSize(message));
    return true;
}

bool readDisconnectRequest(BRINA::BufferCS_const message) {
    PacketHeader header;
    return readHeader(message, DSICONNECT_REQ, header);
}

Packet resendRequest(uint16_t firstSequence, uint16_t note, bool invert) {
    Packet packet(STREAM_INFO, 0, firstSequence, note, 0);
    packet.header().setFlags(Flag::ResendRequest | phaseFlags(invert));
    return packet;
}

Packet feedback(uint16_t word8, uint16_t word10, uint16_t word12, bool invert) {
    Packet packet(STREAM_INFO, word8, word10, word12, 0);
    packet.header().setFlags(phaseFlags(invert));
    return packet;
}

Packet disconnectAnswer() {
    return answer(DSICONNECT_ANS);
}

} // namespace TESSERA::TargetWire
