#pragma once
// The Target's own table of the command codes, flag bits and ports that it reads and answers, kept apart
// from the Host's table so that a wrong code on either side shows up as a disagreement in the tests.
#include <cstdint>

namespace TESSERA::TargetWire {

// Discovery port: who is there, the Outputs, the information text, the Host's greeting.
constexpr uint16_t FIND_REQ = 0x0000;
constexpr uint16_t FIND_ANS = 0x0001;
constexpr uint16_t OUTPUT_REQ = 0x0002;
constexpr uint16_t OUTPUT_ANS = 0x0003;
constexpr uint16_t INFO_REQ = 0x0010;
constexpr uint16_t INFO_ANS = 0x0011;
constexpr uint16_t HOST_REQ = 0x0016;
constexpr uint16_t HOST_ANS = 0x0017;
constexpr uint16_t NOTIFY = 0x8001;

// Discovery port: the settings list, the plain text requests, and the transfer into slots.
constexpr uint16_t TRANSFER_REQ = 0x001A;
constexpr uint16_t TRANSFER_ANS = 0x001B;
constexpr uint16_t TRANSFER_DATA = 0x001C;
constexpr uint16_t TRANSFER_ACK = 0x001D;
constexpr uint16_t TRANSFER_END_REQ = 0x001E;
constexpr uint16_t TRANSFER_END_ANS = 0x001F;
constexpr uint16_t TEXT_A_REQ = 0x0020;
constexpr uint16_t TEXT_A_ANS = 0x0021;
constexpr uint16_t TEXT_B_REQ = 0x0022;
constexpr uint16_t TEXT_B_ANS = 0x0023;
constexpr uint16_t SELECT_REQ = 0x0024;
constexpr uint16_t SELECT_ANS = 0x0025;
constexpr uint16_t TEXT_C_REQ = 0x002C;
constexpr uint16_t TEXT_C_ANS = 0x002D;
constexpr uint16_t SETTING_LIST_REQ = 0x0030;
constexpr uint16_t SETTING_LIST_ANS = 0x0031;
constexpr uint16_t SETTING_REQ = 0x0032;
constexpr uint16_t SETTING_ANS = 0x0033;

// An Output's control port, its stream port, and the log exchange on the discovery port.
constexpr uint16_t FORMAT_REQ = 4;
constexpr uint16_t NOPBREAK_ANS = 5; // answers FORMAT_REQ and NOPBREAK_REQ alike
constexpr uint16_t LATENCY_REQ = 6;
constexpr uint16_t LATENCY_ANS = 7;
constexpr uint16_t CONNECT_REQ = 8;
constexpr uint16_t CONNECT_ANS = 9;
constexpr uint16_t STREAM_DATA = 10;
constexpr uint16_t STREAM_INFO = 11;
constexpr uint16_t DSICONNECT_REQ = 12;
constexpr uint16_t DSICONNECT_ANS = 13;
constexpr uint16_t DATASIZE_REQ = 14;
constexpr uint16_t DATASIZE_ANS = 15;
constexpr uint16_t CONNECTPRE_REQ = 18;
constexpr uint16_t CONNECTPRE_ANS = 19;
constexpr uint16_t PROFILE_REQ = 20;
constexpr uint16_t PROFILE_ANS = 21;
constexpr uint16_t SYNCHOST_REQ = 24;
constexpr uint16_t SYNCHOST_ANS = 25;
constexpr uint16_t TARGETLOG_REQ = 40;
constexpr uint16_t TARGETLOG_ANS = 41;
constexpr uint16_t NOPBREAK_REQ = 42;

// Bits of the header's flags word.
namespace Flag {
constexpr uint16_t HasContent = 0x0001;    // every answer of ours that carries what was asked
constexpr uint16_t ResendRequest = 0x0008; // STREAM_INFO that asks for packets again
constexpr uint16_t InfoRequest = 0x0020;   // STREAM_DATA that wants a STREAM_INFO back
constexpr uint16_t CycleEnd = 0x0040;      // STREAM_DATA, the last of the Host's burst
constexpr uint16_t PhaseNormal = 0x0080;   // CONNECT_ANS, STREAM_INFO
constexpr uint16_t PhaseValid = 0x0100;    // CONNECT_ANS, STREAM_INFO
} // namespace Flag

// The Target asks for inverted output with PhaseValid alone; it always states its wish.
constexpr uint16_t phaseFlags(bool invert) {
    return invert ? Flag::PhaseValid : static_cast<uint16_t>(Flag::PhaseValid | Flag::PhaseNormal);
}

// FORMAT_REQ selector bits: the PCM sample kinds, and the two DSD bit orders.
constexpr uint64_t kSelectPcmKinds = 0x0000FF00;
constexpr uint64_t kSelectDsdLsb = 0x00100000;
constexpr uint64_t kSelectDsdMsb = 0x00200000;

// TARGETLOG_ANS word8 that marks a log line; the acknowledgement of the request has 0 there.
constexpr uint16_t kLogLineMark = 2;

// Ports fixed by the protocols; every other port is told in a message.
constexpr uint16_t kDiscoveryPort = 19642;
constexpr uint16_t kNotifyPort = 19643;

// A Host reads its discovery and log answers into 1,500 bytes: a longer datagram is lost whole.
constexpr uint32_t kLargestToHost = 1500;
// The longest text in such a datagram: 1,500 rounded down to whole 8-byte units, less the header.
constexpr uint32_t kLongestText = (kLargestToHost & ~7u) - 16;

} // namespace TESSERA::TargetWire
