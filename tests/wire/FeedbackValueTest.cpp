#include "transport/wire/FeedbackValue.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using TESSERA::FeedbackValue;

TEST(FeedbackValueTest, KindsAndValuesAtTheirBoundaries) {
    const struct {
        uint16_t word8, word10, word12;
        int kind;
        int16_t value;
    } rows[] = {
        // Kind 2: a signed 15-bit number in word8, bit 14 copied into bit 15.
        {0x8001, 0, 0, 2, 1},
        {0xC000, 0, 0, 2, -16384},
        {0x8000, 0, 0, 2, 0},
        {0xBFFF, 0, 0, 2, 16383},
        {0xFFFF, 0, 0, 2, -1},
        {0x8001, 150, 100, 2, 1}, // tried before kind 3
        // Kind 1: (word8 - 8192) x 2 in 16 bits.
        {0x2000, 0, 0, 1, 0},
        {0x3000, 0, 0, 1, 8192},
        {0x0001, 0, 0, 1, -16382},
        {0x5FFF, 0, 0, 1, 32766},
        {0x6000, 0, 0, 1, -32768}, // 32,768 wraps
        {0x7FFF, 0, 0, 1, -16386}, // 49,150 wraps
        {0x2000, 150, 100, 1, 0},  // tried before kind 3
        // Kind 3: ((word10 - word12) x 16384) / word12, truncated toward zero, low 16 bits.
        {0, 150, 100, 3, 8192},
        {0, 50, 100, 3, -8192},
        {0, 100, 100, 3, 0},
        {0, 1, 3, 3, -10922}, // -10,922.67: toward zero, not down
        {0, 5, 3, 3, 10922},
        {0, 0, 65535, 3, -16384},
        {0, 65535, 32768, 3, 16383},
        {0, 3, 1, 3, -32768},     // 32,768 wraps
        {0, 65535, 1, 3, -32768}, // 0x3FFF8000 keeps 0x8000
        // Kind 0: nothing to go by.
        {0, 0, 0, 0, 0},
        {0, 100, 0, 0, 0},
    };
    for (const auto& r : rows) {
        const FeedbackValue f = FeedbackValue::decode(r.word8, r.word10, r.word12);
        EXPECT_EQ(static_cast<int>(f.kind), r.kind) << r.word8 << " " << r.word10 << " " << r.word12;
        EXPECT_EQ(f.value, r.value) << r.word8 << " " << r.word10 << " " << r.word12;
    }
}

} // namespace
