#pragma once
#include <cstdint>

namespace BRINA {

// Microseconds on the monotonic clock, truncated to 32 bits: wraps about every 71.6 minutes.
uint32_t nowMicroseconds();

// Shifts the 32-bit clock, so that tests can place its wrap a few seconds ahead.
void setMicrosecondOffset(uint32_t offset);
// Sets the offset so that nowMicroseconds() wraps to 0 after the given number of microseconds.
void wrapMicrosecondsIn(uint32_t microseconds);

// Wrap-aware order of two time values: 1 when a is after b, -1 when before, 0 when equal.
int timeCompare(uint32_t a, uint32_t b);
inline bool timeBefore(uint32_t a, uint32_t b) {
    return timeCompare(a, b) < 0;
}
inline bool timeAfter(uint32_t a, uint32_t b) {
    return timeCompare(a, b) > 0;
}
inline bool timeNotAfter(uint32_t a, uint32_t b) {
    return timeCompare(a, b) <= 0;
}
inline bool timeNotBefore(uint32_t a, uint32_t b) {
    return timeCompare(a, b) >= 0;
}

// Sleeps the calling thread for at least the given number of milliseconds.
void sleepMilliseconds(uint32_t ms);

} // namespace BRINA
