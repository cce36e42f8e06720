#include "tools/receiver/PlayoutClock.h"

#include <cmath>

namespace TESSERA {

namespace {
constexpr int64_t kBillion = 1000000000;
constexpr uint64_t kMicrosecondsPerSecond = 1000000;
} // namespace

PlayoutClock::PlayoutClock(uint64_t bytesPerSecond_, uint32_t bytesPerFrame_, double driftPpm)
    : bytesPerSecond(bytesPerSecond_), bytesPerFrame(bytesPerFrame_ == 0 ? 1 : bytesPerFrame_) {
    // Drift in whole parts per billion keeps the arithmetic in integers, so long spans stay exact;
    // the clock runs at least at half and at most at twice its nominal speed.
    const double ppb = std::round(driftPpm * 1000.0);
    const double bounded = std::fmin(std::fmax(ppb, -0.5 * kBillion), 1.0 * kBillion);
    driftFactor = static_cast<uint64_t>(kBillion + static_cast<int64_t>(bounded));
}

uint64_t PlayoutClock::framesDue(uint64_t elapsedMicroseconds) const {
    // 128 bits: hours of microseconds times bytes per second times 2 x 10^9 overflow 64 bits.
    using Wide = unsigned __int128;
    const Wide bytesTimesBillion = static_cast<Wide>(elapsedMicroseconds) * bytesPerSecond * driftFactor;
    const Wide perFrame = static_cast<Wide>(bytesPerFrame) * kBillion * kMicrosecondsPerSecond;
    return static_cast<uint64_t>(bytesTimesBillion / perFrame);
}

uint64_t PlayoutClock::framesIn(uint64_t milliseconds) const {
    return milliseconds * bytesPerSecond / 1000 / bytesPerFrame;
}

double PlayoutClock::millisecondsOf(uint64_t frames) const {
    if (bytesPerSecond == 0) return 0;
    return static_cast<double>(frames) * static_cast<double>(bytesPerFrame) * 1000.0 /
           static_cast<double>(bytesPerSecond);
}

} // namespace TESSERA
