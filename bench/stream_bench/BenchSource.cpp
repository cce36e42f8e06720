#include "bench/stream_bench/BenchSource.h"

#include "BRINA/Time.h"
#include "bench/stream_bench/ThreadCpu.h"

namespace TESSERA {

BenchSource::~BenchSource() {
    shutdown();
}

void BenchSource::reserveFills(size_t count) {
    fillLog.clear();
    fillLog.reserve(count);
}

void BenchSource::fillBuffer(std::vector<uint8_t>& slot, bool first) {
    const uint64_t before = framesProduced();
    SignalSource::fillBuffer(slot, first);
    const uint32_t now = BRINA::nowMicroseconds();
    if (fillLog.size() < fillLog.capacity())
        fillLog.push_back({before, static_cast<uint32_t>(framesProduced() - before), now});
    if (!clockKnown.load(std::memory_order_relaxed) && ThreadCpu::clockOf(pthread_self(), clock))
        clockKnown.store(true, std::memory_order_release);
}

bool BenchSource::producerClock(clockid_t& out) const {
    if (!clockKnown.load(std::memory_order_acquire)) return false;
    out = clock;
    return true;
}

} // namespace TESSERA
