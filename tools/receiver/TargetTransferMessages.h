#pragma once
// The Target's reading of a transfer into its slots, and its answers; its own CRC over what arrived.
// Readers return false unless the datagram is a valid message of their command.
#include "BRINA/BufferCS_const.h"
#include "transport/wire/Packet.h"

#include <cstdint>

namespace TESSERA::TargetWire {

// TRANSFER_REQ: 0 for the slots, slot + 1 for one slot's shape.
bool readTransferRequest(BRINA::BufferCS_const message, uint16_t& slotMark);
Packet transferAnswer(uint16_t word8, uint16_t word10, uint16_t word12, uint16_t word14);

struct TransferData {
    uint16_t slotMark = 0; // slot + 1, without the last-of-window bit
    bool lastOfWindow = false;
    uint16_t sequence = 0;
    uint16_t inBlock = 0;
    uint16_t block = 0;
    BRINA::BufferCS_const bytes;
};
bool readTransferData(BRINA::BufferCS_const message, TransferData& data);
// TRANSFER_ACK: content false makes a refusal.
Packet transferAck(uint16_t slotMark, uint16_t sequence, bool content);

// TRANSFER_END_REQ and its answer: slot + 1, a CRC, and a value.
bool readTransferEnd(BRINA::BufferCS_const message, uint16_t& slotMark, uint16_t& crc, uint16_t& value);
Packet transferEndAnswer(uint16_t slotMark, uint16_t crc, uint16_t value);

// CRC-16/USB, bit by bit: reflected 0x8005, start 0xFFFF, complemented at the end.
uint16_t crc16(const uint8_t* data, size_t size);

} // namespace TESSERA::TargetWire
