#pragma once
// A watcher of the worker's stream, for measurement: told of each burst and each feedback value as they
// happen. Called on the worker thread, so an implementation must neither block nor allocate.
#include <cstdint>

namespace TESSERA {

class WorkerObserver {
public:
    virtual ~WorkerObserver() = default;
    // A cycle's burst went out. due: when the schedule wanted it; sent: the time the loop took for its sends
    // (that of the send trace); packets in it, of which repeats were sent again.
    virtual void burstSent(uint32_t due, uint32_t sent, uint32_t packets, uint32_t repeats) = 0;
    // A feedback value was taken; rateAdjust is the correction now in force.
    virtual void feedbackTaken(int16_t value, int16_t rateAdjust) = 0;
};

} // namespace TESSERA
