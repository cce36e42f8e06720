#pragma once
// The figures of one run, over all its streams: cadence against the bare loop, CPU, recovery, the
// feedback under drift, the Target's buffer, latency.
#include "bench/stream_bench/BenchOptions.h"
#include "bench/stream_bench/SettleRule.h"
#include "bench/stream_bench/Stats.h"
#include "bench/stream_bench/StreamTrial.h"

#include <cstdint>
#include <vector>

namespace TESSERA {

struct RunSummary {
    Stats cadence, bare; // send time minus due time, microseconds
    double p99Ratio = 0; // cadence p99 over bare p99
    Stats arrival;       // at the Target: interval minus the median interval, all streams' windows pooled
    // Percent of one core over the audio measured. The driver's own threads are the worker and
    // BufferWorker (which here also makes the test signal); the process adds the Target, the bare loop
    // and the watchers of this program.
    double workerPercent = 0, workerUserPercent = 0, workerSystemPercent = 0;
    double producerPercent = 0, driverPercent = 0, barePercent = 0;
    double processPercent = 0, processUserPercent = 0, processSystemPercent = 0;
    double audioSeconds = 0;
    uint32_t streams = 0, ran = 0, bitPerfect = 0, wholeStreams = 0; // audio bit-perfect; and every packet
    // Summed over the streams with a final report, so that repeats and losses count the same streams.
    uint64_t lost = 0, repeatsSent = 0, repeatsReceived = 0, resendRequests = 0, gapsNeverFilled = 0;
    double repeatsPerLost = 0;
    SettleRule::Result settle;               // the first stream's rateAdjust against the drift
    double bufferMinMs = 0, bufferMaxMs = 0; // the first stream's play-out level after 2 s
    uint64_t underruns = 0, underrunsAfterTwoSeconds = 0;
    Stats latencyMs;

    static RunSummary of(const BenchOptions& options, const std::vector<TrialResult>& trials);
    // CPU seconds over seconds of audio, in percent of one core; 0 without audio.
    static double percentOfCore(double cpuSeconds, double audioSeconds);
};

} // namespace TESSERA
