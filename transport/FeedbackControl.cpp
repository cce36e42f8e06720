#include "transport/FeedbackControl.h"

#include <algorithm>

namespace TESSERA {

FeedbackControl::FeedbackControl(uint32_t d) : depth(std::clamp<uint32_t>(d, 1, 8)) {}

int16_t FeedbackControl::take(int16_t value) {
    std::copy_backward(history.begin(), history.end() - 1, history.end());
    history[0] = value;
    int32_t sum = 0;
    for (uint32_t i = 0; i < depth; ++i)
        sum += history[i];
    const auto average = static_cast<int16_t>(sum / static_cast<int32_t>(depth));
    const auto change = static_cast<int16_t>(average - lastAverage);
    lastAverage = average;
    // Gains of 0.1 on the change and 0.04 on the level; the shifts round toward minus infinity.
    const auto correction =
        static_cast<int16_t>(((int32_t{change} * 1638) >> 14) + ((int32_t{average} * 655) >> 14));
    const auto next = static_cast<int16_t>(adjust - correction);
    adjust = std::clamp<int16_t>(next, kSlowest, kFastest);
    return adjust;
}

int32_t FeedbackControl::adjustFrames(int32_t framesQ14, int16_t rateAdjust) {
    return framesQ14 + static_cast<int32_t>((int64_t{framesQ14} * rateAdjust) >> 14);
}

uint32_t FeedbackControl::adjustCycle(uint32_t cycle, int16_t rateAdjust) {
    return cycle - static_cast<uint32_t>((int64_t{rateAdjust} * cycle) >> 14);
}

} // namespace TESSERA
