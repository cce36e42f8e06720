#include "tools/receiver/FaultInjector.h"

#include <algorithm>
#include <utility>

namespace TESSERA {

FaultInjector::FaultInjector(const StreamFaults& f) : faults(f), generator(f.seed) {}

double FaultInjector::draw() {
    return static_cast<double>(generator()) * (1.0 / 4294967296.0);
}

void FaultInjector::arrive(std::vector<uint8_t>&& datagram, bool streamData, uint64_t nowUs) {
    const uint64_t due = nowUs + faults.delayMicroseconds;
    if (!streamData) {
        queue(std::move(datagram), due);
        return;
    }
    // Three draws for every packet, so that one fault's pattern doesn't change with another's rate.
    const double lossDraw = draw(), reorderDraw = draw(), duplicateDraw = draw();
    if (arrivals++ == 0) firstUs = nowUs;
    const bool lossy = faults.lossEndsAtMs == 0 || nowUs - firstUs < uint64_t{faults.lossEndsAtMs} * 1000;
    if (!lossy) burstLeft = 0;
    if (lossy && faults.burstEvery != 0 && arrivals % faults.burstEvery == 0) burstLeft = faults.burstLength;
    if (burstLeft > 0) {
        --burstLeft;
        ++droppedCount;
        return;
    }
    if (lossy && lossDraw < faults.lossRate) {
        ++droppedCount;
        return;
    }
    const bool twice = duplicateDraw < faults.duplicateRate;
    if (!holding && reorderDraw < faults.reorderRate) {
        holding = true;
        heldBack.dueUs = due;
        heldUntilUs = nowUs + kReorderHoldUs;
        if (twice) {
            heldBack.datagram = datagram;
            queue(std::move(datagram), due); // one copy goes ahead, its twin comes later
        } else {
            heldBack.datagram = std::move(datagram);
        }
        return;
    }
    if (twice) queue(std::vector<uint8_t>(datagram), due);
    queue(std::move(datagram), due);
    releaseHeldBack(); // overtaken: the held datagram follows this one
}

void FaultInjector::queue(std::vector<uint8_t>&& datagram, uint64_t dueUs) {
    // Later entries never fall due before earlier ones: the queue keeps its order.
    if (!pending.empty()) dueUs = std::max(dueUs, pending.back().dueUs);
    pending.push_back(Entry{std::move(datagram), dueUs});
}

void FaultInjector::releaseHeldBack() {
    if (!holding) return;
    holding = false;
    queue(std::move(heldBack.datagram), heldBack.dueUs);
    heldBack.datagram.clear();
}

bool FaultInjector::take(uint64_t nowUs, std::vector<uint8_t>& datagram) {
    if (holding && nowUs >= heldUntilUs) releaseHeldBack();
    if (pending.empty() || pending.front().dueUs > nowUs) return false;
    datagram = std::move(pending.front().datagram);
    pending.pop_front();
    return true;
}

uint64_t FaultInjector::nextDueUs() const {
    uint64_t next = pending.empty() ? UINT64_MAX : pending.front().dueUs;
    if (holding) next = std::min(next, std::max(heldUntilUs, heldBack.dueUs));
    return next;
}

} // namespace TESSERA
