#include "transport/wire/TransferMessages.h"

namespace TESSERA::TransferMessages {

using BRINA::BufferCS_const;

Packet slotsRequest() {
    return Packet(TRANSFER_REQ);
}

Packet slotRequest(uint16_t slot) {
    return Packet(TRANSFER_REQ, static_cast<uint16_t>(slot + 1), 0, 0, 0);
}

bool readTransferAnswer(BufferCS_const message, TransferAnswer& answer) {
    PacketHeader h;
    if (!Packet::headerOf(message, TRANSFER_ANS, h)) return false;
    answer = {h.word8(), h.word10(), h.word12(), h.word14()};
    return true;
}

void setDataHeader(PacketHeader& header, uint16_t slot, bool lastOfWindow, uint16_t sequence,
                   uint16_t inBlock, uint16_t block) {
    header.setCommand(TRANSFER_DATA);
    header.setFlags(0);
    const uint16_t mark = static_cast<uint16_t>(slot + 1);
    header.setWords(lastOfWindow ? static_cast<uint16_t>(mark | kLastOfWindow) : mark, sequence, inBlock,
                    block);
}

bool readTransferAck(BufferCS_const message, bool& accepted, uint16_t& slotMark, uint16_t& sequence) {
    PacketHeader h;
    if (!Packet::headerOf(message, TRANSFER_ACK, h)) return false;
    accepted = (h.flags() & PacketFlag::HasContent) != 0;
    slotMark = h.word8();
    sequence = h.word10();
    return true;
}

Packet endRequest(uint16_t slot, uint16_t crc, uint16_t value) {
    return Packet(TRANSFER_END_REQ, static_cast<uint16_t>(slot + 1), crc, value, 0);
}

bool readEndAnswer(BufferCS_const message, uint16_t& slotMark, uint16_t& crc, uint16_t& value) {
    PacketHeader h;
    if (!Packet::headerOf(message, TRANSFER_END_ANS, h)) return false;
    slotMark = h.word8();
    crc = h.word10();
    value = h.word12();
    return true;
}

} // namespace TESSERA::TransferMessages
