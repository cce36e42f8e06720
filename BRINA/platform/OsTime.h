#pragma once
// The platform's clocks and calendar, behind names of our own.
#include <cstdint>
#include <ctime>

namespace BRINA {

// Microseconds since an arbitrary start, monotonic, never wrapping in practice.
uint64_t osMonotonicMicroseconds();
void osSleepMicroseconds(uint64_t us);
// Seconds since the epoch, and their local calendar time; false when the conversion fails.
int64_t osWallSeconds();
bool osLocalTime(int64_t seconds, std::tm& out);

} // namespace BRINA
