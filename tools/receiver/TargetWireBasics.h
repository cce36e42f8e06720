#pragma once
// What every message of the Target's wire layer shares: the test that a datagram is a message of the
// expected command, answers with HasContent, and texts cut to what a Host can receive.
#include "BRINA/BufferCS_const.h"
#include "transport/wire/Packet.h"

#include <cstdint>
#include <string>

namespace TESSERA::TargetWire {

// The header of message when it is a valid message with this command; false otherwise.
bool readHeader(BRINA::BufferCS_const message, uint16_t command, PacketHeader& header);
// The payload of a valid message as raw text bytes.
std::string payloadText(BRINA::BufferCS_const message);

// A header-only answer with HasContent set, the words as given.
Packet answer(uint16_t command, uint16_t word8 = 0, uint16_t word10 = 0, uint16_t word12 = 0,
              uint16_t word14 = 0);
// The same with a 64-bit value in bytes 8 to 15.
Packet answerValue(uint16_t command, uint64_t value);
// The packet with text as its payload, cut by cutText; the header must be complete.
Packet withText(Packet packet, const std::string& text);
// At most kLongestText bytes, never ending inside a UTF-8 character.
std::string cutText(const std::string& text);

} // namespace TESSERA::TargetWire
