#pragma once
// The Target's side of the discovery port: the Host's questions read, and the answers built.
// Readers return false unless the datagram is a valid message of their command.
#include "BRINA/BufferCS_const.h"
#include "transport/wire/Packet.h"

#include <cstdint>
#include <string>

namespace TESSERA::TargetWire {

// FIND_REQ: word8 1 from a Host's repeated search, 0 from a single one.
bool readFindRequest(BRINA::BufferCS_const message, uint16_t& searchKind);
// OUTPUT_REQ: 0 asks for the count, n from 1 for Output n.
bool readOutputRequest(BRINA::BufferCS_const message, uint16_t& index);
bool readInfoRequest(BRINA::BufferCS_const message);
// HOST_REQ: the Host's product id in bytes 8 to 15, its name as payload.
bool readHostRequest(BRINA::BufferCS_const message, uint64_t& productId, std::string& hostName);
bool readNopBreakRequest(BRINA::BufferCS_const message);

// FIND_ANS: the product id in bytes 8 to 15, the receiver's name as payload.
Packet findAnswer(uint64_t productId, const std::string& name);
// OUTPUT_ANS to index 0: the number of Outputs in word8.
Packet outputCountAnswer(uint16_t count);
// OUTPUT_ANS to index n: the control port in word12, the protocol version in word14, the name as
// payload. A port of 0 says that there is no such Output.
Packet outputAnswer(uint16_t controlPort, uint16_t protocolVersion, const std::string& name);
Packet infoAnswer(const std::string& text);
Packet hostAnswer();
// The answer to NOPBREAK_REQ, on either port; only its arrival counts.
Packet nopBreakAnswer();
// The periodic sign of life; a Host compares word8 with the last one it saw.
Packet notify(uint16_t counter);

} // namespace TESSERA::TargetWire
