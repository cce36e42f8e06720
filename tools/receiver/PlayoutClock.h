#pragma once
// The Target's simulated audio clock: how many frames fall due for play-out over a span of time,
// at the nominal frame rate shifted by a drift in parts per million.
#include <cstdint>

namespace TESSERA {

class PlayoutClock {
public:
    // bytesPerSecond / bytesPerFrame is the nominal frame rate; driftPpm makes the clock fast (+) or slow
    // (-).
    PlayoutClock(uint64_t bytesPerSecond, uint32_t bytesPerFrame, double driftPpm);

    // Frames due after elapsedMicroseconds of play-out at the drifted rate, rounded down; exact for any span.
    uint64_t framesDue(uint64_t elapsedMicroseconds) const;
    // Frames in a span of milliseconds at the nominal rate, rounded down.
    uint64_t framesIn(uint64_t milliseconds) const;
    // Milliseconds that frames last at the nominal rate.
    double millisecondsOf(uint64_t frames) const;

private:
    uint64_t bytesPerSecond;
    uint64_t bytesPerFrame;
    uint64_t driftFactor; // 10^9 plus the drift in parts per billion
};

} // namespace TESSERA
