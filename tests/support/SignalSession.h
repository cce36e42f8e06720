#pragma once
// A Host session for end-to-end tests: it negotiates with a Target, plans the stream, and hands the worker
// the test signal in the host's format, rendered before the stream so that the worker only copies.
#include "BRINA/Network/IPAddress.h"
#include "format/Stream.h"
#include "format/StreamFormat.h"
#include "transport/SessionSetup.h"
#include "transport/Sync.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace TESTING {

class SignalSession : public TESSERA::Sync {
public:
    // The plans that the driver's start can choose, by the name of its setting.
    using Plan = TESSERA::PlanMode;
    using Sync::latency; // a test asks the worker's set-up for another latency

    // Opens the session, asks the Target everything, takes the host's format and plans the stream; false
    // at the first step that fails. The profile plan passes limit as the Target profile's time limit. The
    // Target reports every infoCycle microseconds: 10 ms by default, so that short streams see many reports.
    bool negotiate(const BRINA::IPAddress& control, TESSERA::StreamFormat hostFormat, Plan plan = Plan::Fix,
                   uint32_t threadMode = 1, uint32_t limit = 500, uint32_t infoCycle = 10000);
    // Renders this many seconds of the signal in the source format, whole blocks of ten milliseconds.
    void prepareSignal(double seconds);

    // Blocks of the signal, then silence; nothing once disconnect has begun.
    bool getNewStream(TESSERA::Stream& out) override;
    // Each stream starts at the signal's first frame.
    bool connect() override;
    // One whole stream: prepare, connect, wait, play, and disconnect once the worker has taken the whole
    // signal, or after its length and ten seconds more. True when all went as it should and the worker ended.
    bool streamAll();
    uint64_t signalFrames() const { return totalFrames; }

private:
    bool signalTaken() const { return handedOut.load() >= totalFrames; }
    std::atomic<uint64_t> handedOut{0}; // frames of the signal handed out in this stream; the worker writes
    std::vector<uint8_t> signal;        // the whole signal, in the source format
    std::vector<uint8_t> silence;       // one block of the source format's mute byte
    uint32_t blockFrames = 0;
    uint64_t totalFrames = 0;
    uint64_t framesPerSecond = 0;
};

} // namespace TESTING
