#pragma once
// Whole frames per packet from a Q14 rate: the fraction left over is carried to the next packet.
#include <cstdint>

namespace TESSERA {

class FrameAccumulator {
public:
    // The frames of the next packet at framesQ14 (14 fraction bits).
    int32_t next(int32_t framesQ14);
    // The same for a cycle shortened to ratio of its length, as the random plan draws it.
    int32_t next(int32_t framesQ14, float ratio);
    int32_t remainder() const { return fraction; }

private:
    int32_t fraction = 0; // Q14, below one frame
};

// The payload of a packet of frames: whole frames, at most the largest payload rounded down to a frame.
uint32_t payloadBytes(int32_t frames, uint32_t frameBytes, uint32_t maxPacketSize);

} // namespace TESSERA
