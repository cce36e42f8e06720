#include "BRINA/Time.h"

#include "BRINA/platform/OsTime.h"

#include <atomic>

namespace BRINA {

namespace {
// Written by tests before streams start, read by every thread that takes the time.
std::atomic<uint32_t> clockOffset{0};
} // namespace

// Whole microseconds in 64 bits, cut to 32 at the end: no product that a long uptime could overflow.
uint32_t nowMicroseconds() {
    return static_cast<uint32_t>(osMonotonicMicroseconds()) + clockOffset.load(std::memory_order_relaxed);
}

void setMicrosecondOffset(uint32_t offset) {
    clockOffset.store(offset, std::memory_order_relaxed);
}

void wrapMicrosecondsIn(uint32_t microseconds) {
    const uint32_t raw = static_cast<uint32_t>(osMonotonicMicroseconds());
    setMicrosecondOffset(0u - raw - microseconds);
}

int timeCompare(uint32_t a, uint32_t b) {
    if (a == b) return 0;
    if (a > b) return (a - b) < 0x80000000u ? 1 : -1;
    return (b - a) <= 0x7FFFFFFFu ? -1 : 1;
}

void sleepMilliseconds(uint32_t ms) {
    osSleepMicroseconds(static_cast<uint64_t>(ms) * 1000u);
}

} // namespace BRINA
