#include "BRINA/platform/OsTime.h"

#include <time.h>

namespace BRINA {

uint64_t osMonotonicMicroseconds() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

void osSleepMicroseconds(uint64_t us) {
    timespec ts{static_cast<time_t>(us / 1000000u), static_cast<long>((us % 1000000u) * 1000u)};
    while (nanosleep(&ts, &ts) != 0) {
    }
}

int64_t osWallSeconds() {
    return static_cast<int64_t>(::time(nullptr));
}

bool osLocalTime(int64_t seconds, std::tm& out) {
    const time_t t = static_cast<time_t>(seconds);
    return localtime_r(&t, &out) != nullptr;
}

} // namespace BRINA
