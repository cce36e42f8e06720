#pragma once
// One plan for the worker: how long a cycle is, how many packets go out in it, and how large they are.
#include <cstdint>

namespace TESSERA {

// How the worker keeps time: steady packets with a varying cycle, a steady cycle with varying packets,
// or varying packets on a cycle drawn between randomLimit and cycle.
enum TransferMode : uint32_t { VarMode = 0, FixMode = 1, RandomMode = 2 };

// Bits of the Target's profile word.
constexpr uint16_t ProfileNoUpperLimit = 0x01; // profileMin and profileMax are no acceptance bounds
constexpr uint16_t ProfileVar = 0x02;          // VarMode; clear means FixMode
constexpr uint16_t ProfileCycleFromMin = 0x04; // search upward from the shortest cycle, else take the longest
constexpr uint16_t ProfileAutoCount = 0x08;    // the Auto forms, which also search the packet count

struct TransferProfile {
    uint32_t cycle = 0;            // microseconds between bursts
    uint32_t fixedPacketBytes = 0; // payload of each packet in VarMode; 0 where the payload varies
    uint32_t maxPacketBytes = 0;   // largest payload expected; the worker doesn't read it
    uint32_t framesQ14 = 0;        // frames per packet, 14 fraction bits
    uint16_t packetCount = 0;      // packets per cycle
    uint32_t randomLimit = 0;      // RandomMode: the shortest cycle, microseconds
    uint32_t transferMode = VarMode;
};

} // namespace TESSERA
