#include "transport/wire/FeedbackValue.h"

namespace TESSERA {

namespace {
// The low 16 bits of a value, read as a signed 16-bit number.
int16_t low16(int32_t v) {
    const uint16_t bits = static_cast<uint16_t>(static_cast<uint32_t>(v));
    return static_cast<int16_t>(bits);
}
} // namespace

FeedbackValue FeedbackValue::decode(uint16_t word8, uint16_t word10, uint16_t word12) {
    if (word8 & 0x8000u) {
        // A signed 15-bit number: bit 14 is copied into bit 15.
        const uint16_t bits = static_cast<uint16_t>((word8 & 0x7FFFu) | ((word8 & 0x4000u) << 1));
        return {Direct, static_cast<int16_t>(bits)};
    }
    if (word8 != 0) return {Offset, low16((static_cast<int32_t>(word8) - 8192) * 2)};
    if (word12 != 0) {
        // Both words unsigned; the product stays within 32 bits (at most 65,535 x 16,384).
        const int32_t excess = (static_cast<int32_t>(word10) - static_cast<int32_t>(word12)) * 16384;
        return {Ratio, low16(excess / static_cast<int32_t>(word12))};
    }
    return {None, 0};
}

} // namespace TESSERA
