#pragma once
// The worker's account of lateness: a late cycle restarts the schedule from now and books the time owed,
// which later bursts pay back with extra packets.
#include <cstdint>

namespace TESSERA {

class Lateness {
public:
    // After the schedule moved on to nextSendTime: when it is not later than now, the cycle is late, the
    // schedule restarts one cycleTime from now, and over gets the time lost (booked when catchUp). False
    // when on time.
    bool check(uint32_t now, uint32_t cycleTime, bool catchUp, uint32_t& nextSendTime, uint32_t& over);
    // Packets of this cycle: doubled (up to maxPacketCount) while a whole cycle is owed, which pays back
    // the extra packets' share of the cycle.
    uint32_t burst(uint32_t packetCount, uint32_t maxPacketCount, uint32_t cycleTime);
    // A resend request count packets back, while resendCount are still to repeat: the repeats take the
    // place of new packets, so a longer request books their time. False when the ring no longer holds them.
    bool resend(uint16_t count, uint32_t ringSize, bool catchUp, uint32_t cycleTime, uint32_t packetCount,
                uint16_t& resendCount);

    uint32_t lateTime = 0;     // microseconds owed to the stream
    int32_t overTimeScore = 0; // 10 per late cycle, less 1 per cycle on time, 0 to 1000
};

} // namespace TESSERA
