#include "transport/Lateness.h"

#include "BRINA/Time.h"

#include <algorithm>

namespace TESSERA {

bool Lateness::check(uint32_t now, uint32_t cycleTime, bool catchUp, uint32_t& nextSendTime, uint32_t& over) {
    if (BRINA::timeAfter(nextSendTime, now)) {
        if (overTimeScore > 0) --overTimeScore;
        return false;
    }
    over = now - nextSendTime + cycleTime;
    nextSendTime = now + cycleTime;
    if (catchUp) lateTime += over;
    if (overTimeScore < 1000) overTimeScore += 10;
    return true;
}

uint32_t Lateness::burst(uint32_t packetCount, uint32_t maxPacketCount, uint32_t cycleTime) {
    if (BRINA::timeBefore(lateTime, cycleTime)) return packetCount;
    const uint32_t count = std::min(2 * packetCount, maxPacketCount);
    if (count > packetCount && packetCount != 0) {
        const uint32_t extra = (count - packetCount) * cycleTime / packetCount;
        lateTime = BRINA::timeBefore(lateTime, extra) ? 0 : lateTime - extra;
    }
    return count;
}

bool Lateness::resend(uint16_t count, uint32_t ringSize, bool catchUp, uint32_t cycleTime,
                      uint32_t packetCount, uint16_t& resendCount) {
    if (count >= ringSize) return false;
    if (count > resendCount && catchUp && packetCount != 0)
        lateTime += uint32_t(count - resendCount) * cycleTime / packetCount;
    resendCount = count;
    return true;
}

} // namespace TESSERA
