#pragma once
// The Target's side of an Output's control port and of the log exchange: the Host's negotiation and
// connection requests read, and the answers built. Readers return false unless the datagram is a valid
// message of their command.
#include "BRINA/BufferCS_const.h"
#include "format/StreamFormat.h"
#include "transport/wire/Packet.h"

#include <cstdint>
#include <string>

namespace TESSERA::TargetWire {

// FORMAT_REQ: the 64-bit selector; 0 asks for the overview.
bool readFormatRequest(BRINA::BufferCS_const message, uint64_t& selector);
// NOPBREAK_ANS with the mask or overview in bytes 8 to 15.
Packet formatAnswer(StreamFormat mask);

// LATENCY_REQ: 0 asks what the Target has, else a wish in units of 100 microseconds.
bool readLatencyRequest(BRINA::BufferCS_const message, uint16_t& requested);
// LATENCY_ANS: the agreed latency in word8, the hardware's in word10, both in 100 microseconds.
Packet latencyAnswer(uint16_t latency, uint16_t hardwareLatency);

// DATASIZE_REQ plain (no payload) or probing: the payload bytes that arrived and their 16-bit sum.
struct DataSizeRequest {
    bool probe = false;
    uint16_t received = 0;
    uint16_t sum = 0;
};
bool readDataSizeRequest(BRINA::BufferCS_const message, DataSizeRequest& request);
// To the plain form: the MTU in word8, the most bytes per cycle in word10.
Packet dataSizeAnswer(uint16_t mtu, uint16_t bytesPerCycle);
// To the probing form: the bytes that arrived in word12, their sum in word14.
Packet dataSizeProbeAnswer(uint16_t received, uint16_t sum);

// PROFILE_REQ: the Host's format, zero while it has none.
bool readProfileRequest(BRINA::BufferCS_const message, StreamFormat& sinkFormat);
// PROFILE_ANS: shortest and longest cycle in units of 10 microseconds, and the profile flags.
Packet profileAnswer(uint16_t shortest, uint16_t longest, uint16_t profileFlags);

// CONNECTPRE_REQ: the compact form of the coming format, with the latency in bytes 10 and 11.
struct Preparation {
    uint8_t channelCode = 0; // byte 8: byte 0 of the type word
    uint8_t formatClass = 0; // byte 9
    uint16_t latency = 0;    // bytes 10 and 11, in 100 microseconds
    uint32_t rateWord = 0;   // bytes 12 to 15
};
bool readConnectPrepareRequest(BRINA::BufferCS_const message, Preparation& preparation);
// CONNECTPRE_ANS: the latency in word10.
Packet connectPrepareAnswer(uint16_t latency);

// SYNCHOST_REQ: the Host's product id in bytes 8 to 15, its name as payload.
bool readSyncHostRequest(BRINA::BufferCS_const message, uint64_t& productId, std::string& hostName);
Packet syncHostAnswer();

// TARGETLOG_REQ: word8 1 turns the log lines on, 0 off.
bool readTargetLogRequest(BRINA::BufferCS_const message, bool& on);
// The acknowledgement of the request: word8 0, so that it is never taken for a line.
Packet targetLogAnswer();
// One line of the Target's log: TARGETLOG_ANS with word8 2 and the text, cut to what a Host receives.
Packet targetLogLine(const std::string& text);

// CONNECT_REQ: the format of the stream in bytes 8 to 15.
bool readConnectRequest(BRINA::BufferCS_const message, StreamFormat& sinkFormat);
// CONNECT_ANS that opens the stream: the stream port in word8, the phase bits and HasContent.
Packet connectAnswer(uint16_t streamPort, bool invert);
// CONNECT_ANS without content: the Host takes it for a refusal.
Packet connectRefusal();

} // namespace TESSERA::TargetWire
