#pragma once
// Builders and readers of every Sync message, for the Host and for a Target alike.
// Readers take a received datagram and return false unless it is a valid message of their command.
#include "BRINA/BufferCS_const.h"
#include "format/StreamFormat.h"
#include "transport/wire/FeedbackValue.h"
#include "transport/wire/Packet.h"
#include "transport/wire/SyncCommands.h"

#include <array>
#include <cstdint>
#include <string>

namespace TESSERA::SyncMessages {

// Selectors of FORMAT_REQ: the overview, the PCM mask (by the overview's PCM bits), the two DSD masks.
constexpr uint64_t kFormatOverview = 0;
constexpr uint64_t kFormatDsdLsb = FormatBits::DsdLsb;
constexpr uint64_t kFormatDsdMsb = FormatBits::DsdMsb;
constexpr uint64_t pcmSelector(uint64_t overview) {
    return overview & FormatBits::PcmKinds;
}

// The Target asks for inverted output with PhaseValid set and PhaseNormal clear; nothing else inverts.
constexpr bool phaseInverted(uint16_t flags) {
    return (flags & (PacketFlag::PhaseValid | PacketFlag::PhaseNormal)) == PacketFlag::PhaseValid;
}
// The phase bits of a Target that states its wish.
constexpr uint16_t phaseFlags(bool invert) {
    return invert ? PacketFlag::PhaseValid
                  : static_cast<uint16_t>(PacketFlag::PhaseValid | PacketFlag::PhaseNormal);
}

Packet formatRequest(uint64_t selector);
bool readFormatRequest(BRINA::BufferCS_const message, uint64_t& selector);
// NOPBREAK_ANS with a mask or the overview, laid out as a StreamFormat.
Packet formatAnswer(const StreamFormat& format);
bool readFormatAnswer(BRINA::BufferCS_const message, StreamFormat& format);

// LATENCY_REQ: 0 asks what the Target has; otherwise a latency in units of 100 microseconds.
Packet latencyRequest(uint16_t requested);
bool readLatencyRequest(BRINA::BufferCS_const message, uint16_t& requested);
Packet latencyAnswer(uint16_t latency, uint16_t hwLatency);
bool readLatencyAnswer(BRINA::BufferCS_const message, uint16_t& latency, uint16_t& hwLatency);

Packet connectRequest(const StreamFormat& sinkFormat);
bool readConnectRequest(BRINA::BufferCS_const message, StreamFormat& sinkFormat);
// CONNECT_ANS: the stream port as a plain number, and the phase the Target wants.
Packet connectAnswer(uint16_t streamPort, bool invert);
bool readConnectAnswer(BRINA::BufferCS_const message, uint16_t& streamPort, bool& invert);

// STREAM_DATA: the header of one audio packet; the worker fills the payload in place.
void setStreamDataHeader(PacketHeader& header, uint16_t sequence, uint16_t flags);
bool readStreamData(BRINA::BufferCS_const message, uint16_t& sequence, uint16_t& flags,
                    BRINA::BufferCS_const& audio);

// STREAM_INFO: either a resend request or feedback, with the phase bits in both.
struct StreamInfo {
    bool resend = false;
    uint16_t resendFrom = 0; // first sequence number to send again
    uint16_t resendNote = 0; // word12 of a resend request: only logged
    FeedbackValue feedback;  // of a feedback message
    bool invert = false;
};
// The note goes into word12, which the Host only logs: our Target puts the count of missing packets there.
Packet resendRequest(uint16_t firstSequence, uint16_t note, bool invert);
Packet feedbackInfo(uint16_t word8, uint16_t word10, uint16_t word12, bool invert);
bool readStreamInfo(BRINA::BufferCS_const message, StreamInfo& info);

Packet disconnectRequest();
Packet disconnectAnswer();

// DATASIZE_REQ in its plain form, and the answer: MTU and most bytes per cycle.
Packet dataSizeRequest();
Packet dataSizeAnswer(uint16_t mtu, uint16_t maxPerCycle);
bool readDataSizeAnswer(BRINA::BufferCS_const message, uint16_t& mtu, uint16_t& maxPerCycle);
// The probing form: mtu minus 64 bytes, byte i holding (122 + i) AND 0xFF; sum is their 16-bit sum.
Packet dataSizeProbe(uint16_t mtu, uint16_t& sum);
// A Target's reading of a probe: the payload bytes that got through and their 16-bit sum.
bool readDataSizeProbe(BRINA::BufferCS_const message, uint16_t& received, uint16_t& sum);
Packet dataSizeProbeAnswer(uint16_t received, uint16_t sum);
bool readDataSizeProbeAnswer(BRINA::BufferCS_const message, uint16_t& received, uint16_t& sum);

// CONNECTPRE_REQ carries the compact form of the sinkFormat, with the latency in bytes 10 and 11.
Packet connectPrepareRequest(const std::array<uint8_t, 8>& compactForm);
inline Packet connectPrepareRequest(const StreamFormat& sinkFormat, uint16_t latency) {
    return connectPrepareRequest(sinkFormat.compactForm(latency));
}
bool readConnectPrepareRequest(BRINA::BufferCS_const message, std::array<uint8_t, 8>& compactForm,
                               uint16_t& latency);
Packet connectPrepareAnswer(uint16_t latency);
bool readConnectPrepareAnswer(BRINA::BufferCS_const message, uint16_t& latency);

// PROFILE_REQ with the sinkFormat (zero while none is chosen); the answer in units of 10 microseconds.
Packet profileRequest(const StreamFormat& sinkFormat);
bool readProfileRequest(BRINA::BufferCS_const message, StreamFormat& sinkFormat);
Packet profileAnswer(uint16_t profileMin, uint16_t profileMax, uint16_t profileFlags);
bool readProfileAnswer(BRINA::BufferCS_const message, uint16_t& profileMin, uint16_t& profileMax,
                       uint16_t& profileFlags);

// SYNCHOST_REQ: flags 1, the productId in bytes 8 to 15, the hostName as payload.
Packet syncHostRequest(uint64_t productId, const std::string& hostName);
bool readSyncHostRequest(BRINA::BufferCS_const message, uint64_t& productId, std::string& hostName);
Packet syncHostAnswer();

// TARGETLOG_REQ: on when the Host logs at level 6 or more. TARGETLOG_ANS with word8 2 is one log line.
Packet targetLogRequest(bool on);
bool readTargetLogRequest(BRINA::BufferCS_const message, bool& on);
Packet targetLogAnswer();
Packet targetLogLine(const std::string& text);
bool readTargetLogLine(BRINA::BufferCS_const message, std::string& text);

// NOPBREAK_REQ with all words 0; its answer only has to come.
Packet nopBreakRequest();
Packet nopBreakAnswer();

} // namespace TESSERA::SyncMessages
