#pragma once
// The worker's stream: it opens the stream, sends its bursts on an absolute microsecond schedule, repeats
// what the Target missed, follows its feedback, and closes the stream. Runs on the worker thread alone.
#include "BRINA/Network/IPAddress.h"
#include "format/Stream.h"
#include "transport/FeedbackControl.h"
#include "transport/FrameAccumulator.h"
#include "transport/Lateness.h"
#include "transport/SendTrace.h"
#include "transport/Sync.h"
#include "transport/WorkerObserver.h"
#include "transport/wire/Packet.h"
#include "transport/wire/SyncCommands.h"

#include <cstdint>
#include <random>
#include <vector>

namespace TESSERA {

class WorkerLoop {
public:
    explicit WorkerLoop(Sync& session);
    // Opens the stream and runs it to its end, whatever ends it.
    void run();

private:
    // How far the end of the stream has come.
    enum EndPhase : uint32_t { EndNone, EndFinalQueued, EndFinalSent, EndInfoAsked, EndConfirmed };

    // A packet kept for repetition; final marks the last one with audio.
    struct PacketSlot {
        Packet packet{STREAM_DATA};
        bool final = false;
    };

    bool open();
    void prefill();
    // One cycle's burst and what follows it; false leaves the loop.
    bool cycle(uint32_t now, uint32_t waited);
    bool sendNew(bool last, bool infoDue, uint32_t now);
    void repeat(bool last, uint32_t now);
    bool fill(PacketSlot& slot, uint8_t* out, uint32_t bytes);
    uint32_t nextPayloadSize();
    uint8_t muteByte() const;
    // Reads at most one datagram; false leaves the loop.
    bool receive(uint32_t now);
    bool streamInfo(BRINA::BufferCS_const message);
    void closingExchange();
    // The socket's wait, ended early as well when the session lets the worker go (Idle).
    int waitAtMost(uint32_t microseconds);
    const TransferProfile& profile() const { return sync.profiles[currentProfile]; }
    PacketSlot& slot(uint16_t sequence) { return ring[sequence & ringMask]; }

    Sync& sync;
    std::vector<PacketSlot> ring;
    uint32_t ringMask = 0;
    std::vector<uint8_t> received;
    BRINA::IPAddress peer;
    std::mt19937 generator;
    FeedbackControl control;
    Lateness lateness;
    FrameAccumulator frames;
    SendTrace trace;
    bool tracing = false;
    WorkerObserver* observer = nullptr; // taken from the session as the stream opens

    uint32_t nextSendTime = 0;
    uint32_t cycleTime = 0;
    int32_t framesQ14Now = 0;
    uint32_t frameBytes = 0;
    uint16_t sendSequence = 0;
    uint16_t resendCount = 0;
    uint32_t prefillLeft = 0;
    uint32_t endPhase = EndNone;
    Stream current;
    uint32_t streamOffset = 0;
    bool takenThisCycle = false;
    bool sleepDone = false;
    int waitStatus = BRINA::Socket::WaitTimeout;
    float randomRatio = 1.0f;
    uint32_t currentProfile = 0;
    uint32_t lastInfoTime = 0;
    uint32_t lastReceiveTime = 0;
    uint32_t receiveTimeout = 0;
    bool hostInvert = false;
    bool targetInvert = false;
};

} // namespace TESSERA
