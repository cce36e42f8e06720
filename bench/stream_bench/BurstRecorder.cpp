#include "bench/stream_bench/BurstRecorder.h"

#include "BRINA/Time.h"
#include "bench/stream_bench/ThreadCpu.h"

namespace TESSERA {

BurstRecorder::BurstRecorder(size_t bursts, size_t feedback) {
    burstLog.reserve(bursts);
    feedbackLog.reserve(feedback);
}

void BurstRecorder::burstSent(uint32_t due, uint32_t sent, uint32_t packets, uint32_t repeats) {
    if (burstLog.empty()) tid.store(ThreadCpu::currentTid(), std::memory_order_release); // once a stream
    if (burstLog.size() == burstLog.capacity()) {
        ++overflow; // the reserved room is full: never a reallocation on the worker
        return;
    }
    burstLog.push_back({due, sent, packets, repeats});
}

void BurstRecorder::feedbackTaken(int16_t value, int16_t rateAdjust) {
    if (feedbackLog.size() == feedbackLog.capacity()) return;
    feedbackLog.push_back({BRINA::nowMicroseconds(), value, rateAdjust});
}

} // namespace TESSERA
