#pragma once
// The software Target in this process, on ::1, and a watcher that keeps its live numbers of the stream
// over time (about every 50 ms) and the final report.
#include "tools/receiver/SoftwareTarget.h"
#include "tools/receiver/StreamReport.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace TESSERA {

class TargetWatch {
public:
    struct Sample {
        uint32_t at = 0; // microsecond clock
        double levelMs = 0;
        uint64_t underruns = 0;
        uint64_t playedFrames = 0;
        uint64_t leadingSilence = 0;
        bool signalStarted = false;
        bool intact = true; // no silence and nothing missing inside the signal so far
    };

    // targetMs: the level at which play-out starts and which the feedback steers towards; without
    // feedback the Target's answers carry no value.
    TargetWatch(const StreamFaults& faults, uint32_t targetMs, bool feedback);
    ~TargetWatch();
    // Starts the Target and the watcher, which ends by itself after longestSeconds.
    bool start(uint32_t longestSeconds, std::string& error);
    BRINA::IPAddress control() const;
    // Waits up to timeoutMs for the stream's final report.
    bool finalReport(StreamReport& out, uint32_t timeoutMs);
    // Ends the watcher and the Target.
    void stop();
    // Read after stop.
    const std::vector<Sample>& samples() const { return log; }
    // The first arrival of each packet that ends a cycle, microsecond clock; read after stop.
    const std::vector<uint64_t>& cycleArrivals() const { return arrivals; }
    uint32_t bufferTargetMs() const { return targetMs; }

private:
    void watch(uint32_t longestSeconds);

    std::unique_ptr<SoftwareTarget> target;
    uint32_t targetMs = 0;
    std::vector<Sample> log;        // written by the watcher alone
    std::vector<uint64_t> arrivals; // written by the Target's receiver alone
    std::thread watcher;
    std::atomic<bool> stopping{false};
    std::mutex mutex;
    std::condition_variable ended;
    bool haveFinal = false; // guarded by mutex
    StreamReport final;     // guarded by mutex
};

} // namespace TESSERA
