#pragma once
// The faults that the Target plays on the datagrams it receives: loss, bursts of loss, reordering,
// duplication and delay, all drawn from one generator seeded by the configuration, so a run repeats.
#include "tools/receiver/TargetConfig.h"

#include <cstdint>
#include <deque>
#include <random>
#include <vector>

namespace TESSERA {

class FaultInjector {
public:
    // A datagram held back for reordering waits at most this long for one to overtake it.
    static constexpr uint64_t kReorderHoldUs = 20000;

    explicit FaultInjector(const StreamFaults& faults);

    // A valid datagram from the Host arrived at nowUs. Loss, bursts, reordering and duplication apply to
    // STREAM_DATA (streamData) only; the delay applies to all, so nothing overtakes the stream's end.
    void arrive(std::vector<uint8_t>&& datagram, bool streamData, uint64_t nowUs);
    // The next datagram that is due by nowUs, in the order to handle them; false when none is.
    bool take(uint64_t nowUs, std::vector<uint8_t>& datagram);
    // When the next datagram held here falls due; UINT64_MAX when none is held.
    uint64_t nextDueUs() const;
    // STREAM_DATA datagrams dropped by loss and bursts.
    uint64_t dropped() const { return droppedCount; }

private:
    struct Entry {
        std::vector<uint8_t> datagram;
        uint64_t dueUs;
    };
    // A uniform draw in [0, 1) from the generator's 32 bits, the same on every platform.
    double draw();
    void queue(std::vector<uint8_t>&& datagram, uint64_t dueUs);
    void releaseHeldBack();

    StreamFaults faults;
    std::mt19937 generator;
    std::deque<Entry> pending;
    bool holding = false;
    Entry heldBack;           // a datagram waiting for the next one to overtake it
    uint64_t heldUntilUs = 0; // when it goes on without waiting further
    uint64_t arrivals = 0;    // STREAM_DATA datagrams seen, for the bursts
    uint64_t firstUs = 0;     // when the first of them came, for the end of loss
    uint32_t burstLeft = 0;
    uint64_t droppedCount = 0;
};

} // namespace TESSERA
