#include "transport/FrameAccumulator.h"

namespace TESSERA {

int32_t FrameAccumulator::next(int32_t framesQ14) {
    const int32_t sum = fraction + framesQ14;
    fraction = sum & 0x3FFF;
    return sum >> 14;
}

int32_t FrameAccumulator::next(int32_t framesQ14, float ratio) {
    return next(static_cast<int32_t>(static_cast<float>(framesQ14) * ratio + 0.5f));
}

uint32_t payloadBytes(int32_t frames, uint32_t frameBytes, uint32_t maxPacketSize) {
    const uint64_t bytes = frames > 0 ? uint64_t(frames) * frameBytes : 0;
    if (bytes <= maxPacketSize) return static_cast<uint32_t>(bytes);
    return frameBytes == 0 ? maxPacketSize : maxPacketSize - maxPacketSize % frameBytes;
}

} // namespace TESSERA
