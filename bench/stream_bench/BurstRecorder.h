#pragma once
// Records what the worker tells of its stream into room reserved before the stream: each burst's due and
// send times, and each feedback value with the rateAdjust that followed and its time.
#include "transport/WorkerObserver.h"

#include <atomic>
#include <cstdint>
#include <sys/types.h>
#include <vector>

namespace TESSERA {

struct BurstRecord {
    uint32_t due = 0, sent = 0; // microsecond clock
    uint32_t packets = 0, repeats = 0;
};

struct FeedbackRecord {
    uint32_t time = 0;
    int16_t value = 0, rateAdjust = 0;
};

class BurstRecorder : public WorkerObserver {
public:
    // Room for this many bursts and feedback values; what comes after is counted, not kept.
    BurstRecorder(size_t bursts, size_t feedback);

    void burstSent(uint32_t due, uint32_t sent, uint32_t packets, uint32_t repeats) override;
    void feedbackTaken(int16_t value, int16_t rateAdjust) override;

    // Read once the worker has been joined.
    const std::vector<BurstRecord>& bursts() const { return burstLog; }
    const std::vector<FeedbackRecord>& feedback() const { return feedbackLog; }
    uint64_t burstsNotKept() const { return overflow; }
    // The worker's thread id, known from its first burst on; 0 before.
    pid_t workerTid() const { return tid.load(std::memory_order_acquire); }

private:
    std::vector<BurstRecord> burstLog;       // written by the worker alone
    std::vector<FeedbackRecord> feedbackLog; // written by the worker alone
    uint64_t overflow = 0;
    std::atomic<pid_t> tid{0};
};

} // namespace TESSERA
