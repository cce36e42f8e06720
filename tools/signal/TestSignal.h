#pragma once
// The test signal: a deterministic function of frame index and channel, for every format.
// Sender and receiver both derive it, so the receiver can tell a bit-perfect stream from a damaged one.
#include "format/StreamFormat.h"

#include <cstdint>
#include <vector>

namespace TESSERA {

class TestSignal {
public:
    // The signal laid out in the given concrete format (PCM kind, or DSD bit order, byte order, word size).
    explicit TestSignal(StreamFormat format);

    // Writes frames [first, first + count) into out, bytesPerFrame() bytes each, in the format's layout.
    // Sequential calls are cheap; a jump backwards recomputes from the start (DSD keeps modulator state).
    void render(uint64_t first, uint32_t count, uint8_t* out);

    StreamFormat format() const { return fmt; }

private:
    StreamFormat fmt;
    uint64_t nextFrame = 0;
    std::vector<int64_t> modulatorState; // DSD only: per channel, the sigma-delta integrators
};

} // namespace TESSERA
