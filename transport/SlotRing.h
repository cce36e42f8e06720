#pragma once
// The size of the worker's ring of sent packets, which it keeps for repetition.
#include <cstdint>

namespace TESSERA {

// About one second of packets at cycle microseconds and packetCount per cycle: a power of two of at
// least 32, and at most 32,768 so that the 16-bit sequence numbers never alias within the ring.
uint32_t slotRingSize(uint32_t cycle, uint32_t packetCount);

} // namespace TESSERA
