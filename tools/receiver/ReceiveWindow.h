#pragma once
// Puts STREAM_DATA packets back in order by their 16-bit sequence numbers, unwrapped to 64 bits:
// hands each packet's audio over in sequence, holds what arrives beyond a gap, and tells repeats apart.
#include "BRINA/BufferCS_const.h"

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace TESSERA {

class ReceiveWindow {
public:
    enum class Arrival {
        InOrder,   // the next packet: handed over, with whatever it let through behind it
        Held,      // beyond a gap: kept until the gap is filled or given up
        Repeat,    // already handed over, held, or given up
        OutOfRange // further ahead than the window reaches: dropped
    };
    using Deliver = std::function<void(BRINA::BufferCS_const audio)>;

    explicit ReceiveWindow(Deliver deliver, uint32_t maxAhead = 16384);

    Arrival accept(uint16_t sequence, BRINA::BufferCS_const audio, uint64_t nowUs);

    bool started() const { return begun; }
    // The unwrapped number of the packet that accept saw last.
    int64_t last() const { return lastSequence; }
    bool hasGap() const { return !held.empty(); }
    // The next sequence to hand over: the first missing packet while there is a gap.
    int64_t next() const { return nextSequence; }
    // One past the newest packet received: where the Host's numbering stands, as far as we know.
    int64_t end() const { return held.empty() ? nextSequence : held.rbegin()->first + 1; }
    // Packets not yet received between next() and end().
    uint64_t missingCount() const { return static_cast<uint64_t>(end() - nextSequence) - held.size(); }
    // Missing packets from next() up to the first held one.
    uint64_t firstGapLength() const;
    // Since when next() has been known missing: the earliest arrival among the packets held behind it.
    uint64_t firstGapSince() const;
    // Gives up the first gap: hands over the held packets that follow it, up to the next gap.
    // Returns the number of packets given up.
    uint64_t skipFirstGap();

private:
    struct HeldPacket {
        std::vector<uint8_t> audio;
        uint64_t arrivedUs;
    };
    void release();

    Deliver deliver;
    uint32_t maxAhead;
    bool begun = false;
    int64_t nextSequence = 0;
    int64_t lastSequence = 0;
    std::map<int64_t, HeldPacket> held;
};

} // namespace TESSERA
