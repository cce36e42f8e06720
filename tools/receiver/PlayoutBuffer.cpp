#include "tools/receiver/PlayoutBuffer.h"

#include <algorithm>

namespace TESSERA {

PlayoutBuffer::PlayoutBuffer(const PlayoutClock& c, uint64_t start) : clock(c), startFrames(start) {}

void PlayoutBuffer::add(uint64_t count, uint64_t nowUs) {
    frames += count;
    if (!running && frames >= startFrames && frames > 0) {
        running = true;
        startUs = nowUs;
        drained = 0;
    }
    observe(nowUs);
}

uint64_t PlayoutBuffer::dueSinceStart(uint64_t nowUs) const {
    const uint64_t elapsed = nowUs > startUs ? nowUs - startUs : 0;
    return clock.framesDue(elapsed) - drained;
}

void PlayoutBuffer::drain(uint64_t nowUs) {
    if (!running) return;
    const uint64_t due = dueSinceStart(nowUs);
    if (due <= frames) {
        frames -= due;
        drained += due;
    } else {
        frames = 0;
        running = false;
        ++underrunCount;
    }
    observe(nowUs);
}

bool PlayoutBuffer::runsDry(uint64_t nowUs) const {
    return running && dueSinceStart(nowUs) > frames;
}

void PlayoutBuffer::observe(uint64_t nowUs) {
    if (!observed) {
        if (!running) return; // the level counts from the first start on
        observed = true;
        lowest = highest = lastLevel = frames;
        lastObservedUs = nowUs;
        return;
    }
    // Each level holds from its observation to the next one.
    const uint64_t span = nowUs > lastObservedUs ? nowUs - lastObservedUs : 0;
    levelTime += static_cast<long double>(span) * static_cast<long double>(lastLevel);
    observedTime += span;
    lastObservedUs = nowUs;
    lastLevel = frames;
    lowest = std::min(lowest, frames);
    highest = std::max(highest, frames);
}

uint64_t PlayoutBuffer::meanLevelSinceLast(uint64_t nowUs) {
    observe(nowUs);
    const uint64_t span = observedTime - markedTime;
    const long double sum = levelTime - markedLevelTime;
    markedTime = observedTime;
    markedLevelTime = levelTime;
    if (span == 0) return frames;
    return static_cast<uint64_t>(sum / static_cast<long double>(span) + 0.5L);
}

double PlayoutBuffer::minMs() const {
    return clock.millisecondsOf(lowest);
}

double PlayoutBuffer::maxMs() const {
    return clock.millisecondsOf(highest);
}

double PlayoutBuffer::meanMs() const {
    if (observedTime == 0) return minMs();
    const long double meanFrames = levelTime / static_cast<long double>(observedTime);
    return clock.millisecondsOf(1) * static_cast<double>(meanFrames);
}

} // namespace TESSERA
