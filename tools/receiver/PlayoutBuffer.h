#pragma once
// The Target's play-out model: a count of buffered frames that the PlayoutClock drains once the start
// level is reached. The audio itself has already gone to the verifier and the file; only timing matters.
#include "tools/receiver/PlayoutClock.h"

#include <cstdint>

namespace TESSERA {

class PlayoutBuffer {
public:
    PlayoutBuffer(const PlayoutClock& clock, uint64_t startFrames);

    // Frames handed over in order at nowUs; play-out starts once startFrames are buffered.
    void add(uint64_t frames, uint64_t nowUs);
    // Takes out what the clock has made due by nowUs. When the buffer can't give it all, that is one
    // underrun: the buffer is emptied and play-out waits until the start level is buffered again.
    void drain(uint64_t nowUs);
    // Play-out runs and more frames are due by nowUs than are buffered.
    bool runsDry(uint64_t nowUs) const;

    uint64_t level() const { return frames; }
    // The time-weighted mean level since the last call (or since the first start), rounded to frames; the
    // level itself when no time has passed. A late burst then weighs by how long it left the buffer low.
    uint64_t meanLevelSinceLast(uint64_t nowUs);
    bool playing() const { return running; }
    uint64_t underruns() const { return underrunCount; }
    // The level after the first start: smallest, time-weighted mean and largest, in milliseconds.
    double minMs() const;
    double meanMs() const;
    double maxMs() const;

private:
    uint64_t dueSinceStart(uint64_t nowUs) const;
    void observe(uint64_t nowUs);

    PlayoutClock clock;
    uint64_t startFrames;
    uint64_t frames = 0;
    bool running = false;
    uint64_t startUs = 0;
    uint64_t drained = 0; // frames taken since the last start
    uint64_t underrunCount = 0;
    bool observed = false;
    uint64_t lastObservedUs = 0;
    uint64_t lowest = 0, highest = 0;
    uint64_t lastLevel = 0;    // the level at the last observation, which held until now
    long double levelTime = 0; // frames x microseconds, summed over the time since the first start
    uint64_t observedTime = 0;
    long double markedLevelTime = 0; // levelTime and observedTime at the last meanLevelSinceLast
    uint64_t markedTime = 0;
};

} // namespace TESSERA
