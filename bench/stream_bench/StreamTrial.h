#pragma once
// One stream of a run, from the Target's start to its final report: the test signal through the stream
// buffer and the worker, the bare loop beside it, and everything measured on the way.
#include "bench/stream_bench/BenchOptions.h"
#include "bench/stream_bench/BurstRecorder.h"
#include "bench/stream_bench/TargetWatch.h"
#include "bench/stream_bench/ThreadCpu.h"
#include "tools/receiver/StreamReport.h"
#include "transport/TransferProfile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace TESSERA {

struct TrialResult {
    bool ran = false;
    std::string error;
    uint32_t seed = 0;
    TransferProfile plan;
    bool haveReport = false;
    StreamReport report;         // the Target's final report
    uint64_t framesProduced = 0; // frames of the signal that fillBuffer wrote
    // Every frame written arrived unchanged and in order, nothing missing: the audio is bit-perfect.
    bool audioBitPerfect = false;
    // The Target's own verdict, stricter: no packet at all given up, also mute ones after the last audio.
    bool streamBitPerfect = false;
    // Send time minus due time of each burst in the measured window, microseconds.
    std::vector<double> deviations, bareDeviations;
    // At the Target, in the same window: each interval between cycles' arrivals minus the median one.
    std::vector<double> arrivalDeviations;
    uint64_t bursts = 0, packetsSent = 0, repeatsSent = 0;          // the whole stream
    double windowSeconds = 0;                                       // of audio measured
    double workerSeconds = 0, producerSeconds = 0, bareSeconds = 0; // CPU time in the window
    CpuTime workerSplit, process;                                   // CPU time in the window
    // Over time, in seconds from play: the feedback, and the Target's numbers.
    std::vector<FeedbackRecord> feedback;
    std::vector<TargetWatch::Sample> samples;
    uint32_t playAt = 0;           // microsecond clock
    std::vector<double> latencyMs; // fillBuffer to play-out, in the window
    uint64_t underrunsAfterTwoSeconds = 0;
    uint64_t underrunsInWindow = 0;
};

class StreamTrial {
public:
    explicit StreamTrial(const BenchOptions& options) : options(options) {}
    TrialResult run(uint32_t seed);

private:
    const BenchOptions& options;
};

// Seconds from the clock value from to the clock value to, wrap-aware.
inline double secondsBetween(uint32_t from, uint32_t to) {
    return static_cast<double>(static_cast<int32_t>(to - from)) * 1e-6;
}

} // namespace TESSERA
