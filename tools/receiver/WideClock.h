#pragma once
// The system's 32-bit microsecond clock, carried on into 64 bits so that a stream may cross its wrap.
// Read often (at least once every 71 minutes) by one thread only.
#include "BRINA/Time.h"

#include <cstdint>

namespace TESSERA {

class WideClock {
public:
    uint64_t now() {
        const uint32_t raw = BRINA::nowMicroseconds();
        if (started && raw < last) high += uint64_t{1} << 32;
        started = true;
        last = raw;
        return high | raw;
    }

private:
    bool started = false;
    uint32_t last = 0;
    uint64_t high = 0;
};

} // namespace TESSERA
