#pragma once
// The working record that turns a format, the limits of the network path and the Target's profile into a
// TransferProfile. Not thread-safe: one caller fills it before the stream starts.
#include "format/StreamFormat.h"
#include "transport/TransferProfile.h"

#include <cstdint>

namespace TESSERA {

struct TransferConfig {
    // The result.
    uint32_t cycle = 0;
    uint32_t fixedPacketBytes = 0;
    uint32_t maxPacketBytes = 0;
    uint32_t framesQ14 = 0;
    uint16_t packetCount = 0;
    uint32_t transferMode = VarMode;
    uint32_t randomLimit = 0;
    // The Target's profile, in units of 10 microseconds.
    uint16_t profileMin = 0;
    uint16_t profileMax = 0;
    uint16_t profileFlags = 0;
    // The caller's input.
    StreamFormat format;
    uint32_t limitCycle = 0; // shortest cycle the Host accepts, microseconds
    uint16_t PackDataSize = 0;
    uint16_t PackDataCount = 0;
    bool forceAuto = false; // the profile search uses the Auto forms

    // FixMode for the cycle with at most maxCount packets (0: PackDataCount); may shorten the cycle.
    bool configTransferFix(uint32_t cycle, uint32_t maxCount);
    // VarMode for the cycle with at most maxCount packets (0: PackDataCount); shortens the cycle to what
    // a room full of packets holds.
    bool configTransferVar(uint32_t cycle, uint32_t maxCount);
    // The same with a packet count that grows until the cycle holds.
    bool configTransferFixAuto(uint32_t cycle);
    bool configTransferVarAuto(uint32_t cycle);
    // RandomMode: FixMode for the cycle, drawn at run time between limit and the cycle.
    bool configTransferRandom(uint32_t limit, uint32_t cycle, uint32_t maxCount);
    // VarMode with a given number of bytes per cycle (one ASIO buffer).
    bool configTransferVarASIO(uint32_t bytes);
    // The search by the Target's profile.
    bool configProfile();
    // The profile search and its fallbacks; false only when no calculation can plan this format and size.
    bool configAuto(uint32_t cycle);

    TransferProfile result() const;

private:
    bool autoCount(bool var, uint32_t start);
    bool base(uint32_t start);
    bool accepted(uint32_t result, uint32_t shortest) const;
    bool searchFromMin(uint32_t shortest);
    bool fallback(uint32_t start);
    bool plannable(uint32_t start) const;
    uint32_t room(uint32_t maxCount) const;
    uint64_t cycleBytes(uint32_t cycleTime, bool margin) const;
    uint64_t cycleFor(uint32_t bytes) const;
    // FixMode: frames per packet in Q14 for a cycle spread over count packets, and the largest such packet.
    uint64_t framesQ14For(uint32_t cycleTime, uint32_t count) const;
    uint64_t largestPacket(uint64_t q14) const;
};

} // namespace TESSERA
