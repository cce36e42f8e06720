#include "tools/receiver/TargetTransferMessages.h"

#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetWireBasics.h"

namespace TESSERA::TargetWire {

bool readTransferRequest(BRINA::BufferCS_const message, uint16_t& slotMark) {
    PacketHeader header;
    if (!readHeader(message, TRANSFER_REQ, header)) return false;
    slotMark = header.word8();
    return true;
}

Packet transferAnswer(uint16_t word8, uint16_t word10, uint16_t word12, uint16_t word14) {
    return answer(TRANSFER_ANS, word8, word10, word12, word14);
}

bool readTransferData(BRINA::BufferCS_const message, TransferData& data) {
    PacketHeader header;
    if (!readHeader(message, TRANSFER_DATA, header)) return false;
    data.slotMark = header.word8() & 0x7FFF;
    data.lastOfWindow = (header.word8() & 0x8000) != 0;
    data.sequence = header.word10();
    data.inBlock = header.word12();
    data.block = header.word14();
    data.bytes = BRINA::BufferCS_const(message.data + PacketHeader::kSize, Packet::payloadSize(message));
    return true;
}

Packet transferAck(uint16_t slotMark, uint16_t sequence, bool content) {
    Packet packet = answer(TRANSFER_ACK, slotMark, sequence);
    if (!content) packet.header().setFlags(0);
    return packet;
}

bool readTransferEnd(BRINA::BufferCS_const message, uint16_t& slotMark, uint16_t& crc, uint16_t& value) {
    PacketHeader header;
    if (!readHeader(message, TRANSFER_END_REQ, header)) return false;
    slotMark = header.word8();
    crc = header.word10();
    value = header.word12();
    return true;
}

Packet transferEndAnswer(uint16_t slotMark, uint16_t crc, uint16_t value) {
    return answer(TRANSFER_END_ANS, slotMark, crc, value);
}

uint16_t crc16(const uint8_t* data, size_t size) {
    uint16_t crc = 0xFFFF;
    for (size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? static_cast<uint16_t>((crc >> 1) ^ 0xA001) : static_cast<uint16_t>(crc >> 1);
    }
    return static_cast<uint16_t>(crc ^ 0xFFFF);
}

} // namespace TESSERA::TargetWire
