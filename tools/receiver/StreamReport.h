#pragma once
// What the Target saw of one stream: the numbers of the end-of-stream JSON report and of the status line.
#include "tools/signal/SignalVerifier.h"

#include <cstdint>
#include <string>

namespace TESSERA {

struct StreamReport {
    uint32_t sinkType = 0, sinkRate = 0; // the format word of the stream
    uint64_t frames = 0;                 // audio frames received in order
    uint64_t packets = 0;                // distinct STREAM_DATA packets received
    uint64_t repeats = 0;                // datagrams that were repeats of packets already held
    uint64_t resendRequests = 0;         // resend requests sent
    uint64_t gapsNeverFilled = 0;        // packets given up on
    uint64_t foreignDatagrams = 0;       // datagrams from other senders, or broken
    uint64_t underruns = 0;              // times the play-out clock found the buffer empty
    double bufferMinMs = 0, bufferMeanMs = 0, bufferMaxMs = 0; // play-out level after start
    double arrivalP50Us = 0, arrivalP99Us = 0, arrivalP999Us = 0,
           arrivalMaxUs = 0; // inter-arrival deviation from the cycle
    double durationSeconds = 0;
    // Live values of the moment the numbers were taken, for those who watch the stream over time.
    double bufferNowMs = 0;       // play-out level
    uint64_t playedFrames = 0;    // frames that have left the play-out buffer
    uint64_t takenAtUs = 0;       // the moment, on the system's microsecond clock carried on to 64 bits
    bool finalSeen = false;       // the Host marked its last packet and closed the stream
    bool closedByHost = false;    // DSICONNECT_REQ arrived
    bool closedByTarget = false;  // the Target ended the stream with DSICONNECT_ANS (close, or a fault)
    bool hostSilent = false;      // nothing came from the Host for 2 s, so the stream ended
    uint64_t droppedByFaults = 0; // STREAM_DATA datagrams dropped by the configured loss and bursts
    uint32_t largestDatagram = 0; // bytes of the longest STREAM_DATA datagram from the Host, new or repeated
    VerifierResult verifier;      // the test signal check
    bool bitPerfect() const { return verifier.bitPerfect() && gapsNeverFilled == 0; }
    std::string toJson() const;
};

} // namespace TESSERA
