#pragma once
// The words of a feedback STREAM_INFO: the play-out level against its target, in one of the four kinds
// that the Host reads. Every kind carries the same value, the level's relative excess over the target
// in Q14, so the Host reacts alike whichever kind the Target uses.
#include <cstdint>

namespace TESSERA {

struct FeedbackWords {
    uint16_t word8 = 0, word10 = 0, word12 = 0;

    // level and target in units of 100 microseconds. Kind 3: word10 the level, word12 the target.
    // Kind 1: word8 = 8192 + value / 2. Kind 2: bit 15 and the value in 15 bits. Kind 0 and any
    // other: all zero, no feedback.
    static FeedbackWords make(uint8_t kind, uint32_t level, uint32_t target);
    // (level - target) x 16,384 / target, truncated toward zero, as the Host works out kind 3.
    static int32_t excessQ14(uint32_t level, uint32_t target);
};

} // namespace TESSERA
