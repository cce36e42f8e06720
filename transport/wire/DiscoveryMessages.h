#pragma once
// The Host's side of the discovery port: the questions of TESSERA::Find built, and the Target's answers read.
// Readers return false unless the datagram is a valid message of their command; HasContent is the caller's.
#include "BRINA/BufferCS_const.h"
#include "transport/wire/Packet.h"
#include "transport/wire/SyncCommands.h"

#include <cstdint>
#include <string>

namespace TESSERA::DiscoveryMessages {

// Bit 15 of TRANSFER_DATA's word8: the last packet of a window.
constexpr uint16_t kLastOfWindow = 0x8000;

// True when the datagram is valid and has HasContent set.
bool hasContent(BRINA::BufferCS_const message);
// The command of a valid datagram; false for an invalid one.
bool commandOf(BRINA::BufferCS_const message, uint16_t& command);

// FIND_REQ: word8 1 from the watch's search, 0 from a one-shot search or a unicast question.
Packet findRequest(bool watch);
// FIND_ANS: the receiver's product id in bytes 8 to 15, its name as payload.
bool readFindAnswer(BRINA::BufferCS_const message, uint64_t& productId, std::string& name);

// OUTPUT_REQ: index 0 asks for the count, n from 1 for Output n; word14 is 1.
Packet outputRequest(uint16_t index);
struct OutputAnswer {
    uint16_t count = 0;   // word8: the number of Outputs, in the answer to index 0
    uint16_t port = 0;    // word12: the Output's port; 0 for none, and in the answer to index 0
    uint16_t version = 0; // word14: the Output's protocol version
    std::string name;     // the Output's name, possibly empty
};
bool readOutputAnswer(BRINA::BufferCS_const message, OutputAnswer& answer);

Packet infoRequest();
// INFO_ANS, and every other answer whose payload is all it says: the text of a command's answer.
bool readTextAnswer(BRINA::BufferCS_const message, uint16_t command, std::string& text);

// HOST_REQ: flags 1, the Host's product id in bytes 8 to 15, its name as payload.
Packet hostRequest(uint64_t ownProduct, const std::string& hostName);

// NOTIFY: word8 is the sender's counter.
bool readNotify(BRINA::BufferCS_const message, uint16_t& counter);

} // namespace TESSERA::DiscoveryMessages
