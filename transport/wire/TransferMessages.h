#pragma once
// The Host's side of a transfer into a Target's slot: the queries, the data header, the end, and the answers.
// Readers return false unless the datagram is a valid message of their command.
#include "BRINA/BufferCS_const.h"
#include "transport/wire/Packet.h"
#include "transport/wire/SyncCommands.h"

#include <cstdint>

namespace TESSERA::TransferMessages {

// Bit 15 of TRANSFER_DATA's word8: the last packet of a window.
constexpr uint16_t kLastOfWindow = 0x8000;
// word12 of TRANSFER_END_REQ at the end of a transfer, and of its answer when the data arrived whole.
constexpr uint16_t kComplete = 0xFFFF;
// word10 of the first TRANSFER_ANS: no window limit.
constexpr uint16_t kNoWindowLimit = 0xFFFF;

// TRANSFER_REQ: all words 0 asks for the slots; slot + 1 in word8 asks for that slot's shape.
Packet slotsRequest();
Packet slotRequest(uint16_t slot);
struct TransferAnswer {
    uint16_t word8 = 0, word10 = 0, word12 = 0, word14 = 0;
};
bool readTransferAnswer(BRINA::BufferCS_const message, TransferAnswer& answer);

// The header of one TRANSFER_DATA: slot + 1 (and the last-of-window bit), sequence, place in its block,
// block.
void setDataHeader(PacketHeader& header, uint16_t slot, bool lastOfWindow, uint16_t sequence,
                   uint16_t inBlock, uint16_t block);

// TRANSFER_ACK: accepted is HasContent; slot + 1 and the sequence the Target has reached.
bool readTransferAck(BRINA::BufferCS_const message, bool& accepted, uint16_t& slotMark, uint16_t& sequence);

// TRANSFER_END_REQ: slot + 1, the CRC, kComplete or a value of the caller's.
Packet endRequest(uint16_t slot, uint16_t crc, uint16_t value);
bool readEndAnswer(BRINA::BufferCS_const message, uint16_t& slotMark, uint16_t& crc, uint16_t& value);

} // namespace TESSERA::TransferMessages
