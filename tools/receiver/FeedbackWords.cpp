#include "tools/receiver/FeedbackWords.h"

#include <algorithm>

namespace TESSERA {

namespace {
constexpr uint32_t kWordMax = 0xFFFF;
} // namespace

int32_t FeedbackWords::excessQ14(uint32_t level, uint32_t target) {
    if (target == 0) return 0;
    return static_cast<int32_t>((static_cast<int64_t>(level) - target) * 16384 /
                                static_cast<int64_t>(target));
}

FeedbackWords FeedbackWords::make(uint8_t kind, uint32_t level, uint32_t target) {
    FeedbackWords w;
    // A target of 0 would read as no feedback at all; one that doesn't fit 16 bits can't be sent.
    target = std::clamp<uint32_t>(target, 1, kWordMax);
    // The Host keeps the low 16 bits of the quotient: at three times the target it would wrap to
    // "far too low", so the level stops just below that (and within 16 bits).
    level = std::min({level, 3 * target - 1, kWordMax});
    const int32_t value = excessQ14(level, target);
    switch (kind) {
    case 3:
        w.word10 = static_cast<uint16_t>(level);
        w.word12 = static_cast<uint16_t>(target);
        break;
    case 1: {
        // word8 must stay between 1 and 0x7FFF: 0 would be no feedback, bit 15 would be kind 2.
        const int32_t v = std::clamp(value, -16382, 32766);
        w.word8 = static_cast<uint16_t>(8192 + v / 2);
        break;
    }
    case 2: {
        const int32_t v = std::clamp(value, -16384, 16383);
        w.word8 = static_cast<uint16_t>(0x8000 | (static_cast<uint32_t>(v) & 0x7FFF));
        break;
    }
    default:
        break;
    }
    return w;
}

} // namespace TESSERA
