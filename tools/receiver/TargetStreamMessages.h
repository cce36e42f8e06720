#pragma once
// The Target's side of the stream port: the Host's audio packets and its closing request read, and the
// feedback, resend requests and closing answer built. Readers return false unless the datagram is a valid
// message of their command.
#include "BRINA/BufferCS_const.h"
#include "transport/wire/Packet.h"

#include <cstdint>

namespace TESSERA::TargetWire {

struct StreamData {
    uint16_t sequence = 0;       // word8, wrapping at 65,536
    uint16_t flags = 0;          // InfoRequest and CycleEnd
    BRINA::BufferCS_const audio; // the payload as its sizeField states it, inside the datagram
    bool infoRequest() const;
    bool cycleEnd() const;
};
// STREAM_DATA; a repeat may be longer than its sizeField, and the excess is not audio.
bool readStreamData(BRINA::BufferCS_const message, StreamData& data);
bool readDisconnectRequest(BRINA::BufferCS_const message);

// STREAM_INFO that asks for everything again from firstSequence; note goes in word12, which the Host
// only logs.
Packet resendRequest(uint16_t firstSequence, uint16_t note, bool invert);
// STREAM_INFO with feedback words (their kinds in FeedbackWords) and the phase wish.
Packet feedback(uint16_t word8, uint16_t word10, uint16_t word12, bool invert);
// The end of the stream, asked for or not.
Packet disconnectAnswer();

} // namespace TESSERA::TargetWire
