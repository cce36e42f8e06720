#pragma once
// The feedback value of a STREAM_INFO message: which of the four forms the Target used, and the value in Q14.
#include <cstdint>

namespace TESSERA {

struct FeedbackValue {
    // Kinds in the order in which they are tried: 2 before 1 before 3; 0 means no feedback.
    enum Kind : uint8_t { None = 0, Offset = 1, Direct = 2, Ratio = 3 };

    Kind kind = None;
    int16_t value = 0; // Q14: 16,384 is 1.0; positive makes the Host send more slowly

    // From word8, word10 and word12 of a STREAM_INFO without ResendRequest.
    static FeedbackValue decode(uint16_t word8, uint16_t word10, uint16_t word12);
};

} // namespace TESSERA
