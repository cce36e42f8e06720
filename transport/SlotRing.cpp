#include "transport/SlotRing.h"

namespace TESSERA {

uint32_t slotRingSize(uint32_t cycle, uint32_t packetCount) {
    constexpr uint32_t kSmallest = 32, kLargest = 32768;
    if (cycle == 0) return kLargest; // no cycle to divide by; the caller's plans never start one
    const uint64_t packets = uint64_t{1000000u / cycle} * packetCount;
    uint32_t size = kSmallest;
    while (size < packets && size < kLargest)
        size <<= 1;
    return size;
}

} // namespace TESSERA
