#pragma once
// The control loop on the Target's feedback: an average over the last values, a gain on its change and
// one on its level, and a correction of the sending rate held between -10% and +3%.
#include <array>
#include <cstdint>

namespace TESSERA {

class FeedbackControl {
public:
    static constexpr int16_t kSlowest = -1638; // 0.1 in Q14: the stream may slow by 10%
    static constexpr int16_t kFastest = 491;   // 0.03 in Q14: and speed up by 3%

    // depth: how many of the last values enter the average, 1 to 8.
    explicit FeedbackControl(uint32_t depth);

    // Takes one feedback value (Q14, positive: the Target has too much) and returns the new rateAdjust.
    int16_t take(int16_t value);
    int16_t average() const { return lastAverage; }
    int16_t rateAdjust() const { return adjust; }

    // The profile's frames per packet under rateAdjust; the product in 64 bits.
    static int32_t adjustFrames(int32_t framesQ14, int16_t rateAdjust);
    // The profile's cycle under rateAdjust: a positive correction shortens it.
    static uint32_t adjustCycle(uint32_t cycle, int16_t rateAdjust);

private:
    std::array<int16_t, 8> history{}; // newest first
    uint32_t depth;
    int16_t lastAverage = 0;
    int16_t adjust = 0;
};

} // namespace TESSERA
