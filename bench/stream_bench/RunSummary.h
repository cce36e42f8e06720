#pragma once
// The figures of one run, over all its streams: cadence against the bare loop, CPU, recovery, the
// feedback under drift, the Target's buffer, latency.
#include "BenchOptions.h"
#include "Stats.h"
#include "StreamTrial.h"

#include <cstdint>
#include <vector>

namespace TESSERA {

struct RunSummary {
    Stats cadence, bare;                                         // send time minus due time, microseconds
    double p99Ratio = 0;                                         // cadence p99 over bare p99
    double arrivalP50Us = 0, arrivalP99Us = 0, arrivalMaxUs = 0; // the worst stream's
    // Percent of one core over the audio measured.
    double workerPercent = 0, workerUserPercent = 0, workerSystemPercent = 0;
    double producerPercent = 0, barePercent = 0;
    double processPercent = 0, processUserPercent = 0, processSystemPercent = 0;
    double audioSeconds = 0;
    uint32_t streams = 0, ran = 0, bitPerfect = 0, wholeStreams = 0; // audio bit-perfect; and every packet
    uint64_t lost = 0, repeatsSent = 0, repeatsReceived = 0, resendRequests = 0, gapsNeverFilled = 0;
    double repeatsPerLost = 0;
    // The first stream's feedback: rateAdjust's steady level (Q14 and ppm), when it settled, the band
    // around the level, and the share of the time after that within the band.
    double steadyQ14 = 0, steadyPpm = 0, settleSeconds = -1; // -1: never within the band
    double bandQ14 = 0, inBandShare = 0;
    double bufferMinMs = 0, bufferMaxMs = 0; // the first stream's play-out level after 2 s
    uint64_t underruns = 0, underrunsAfterTwoSeconds = 0;
    Stats latencyMs;

    static RunSummary of(const BenchOptions& options, const std::vector<TrialResult>& trials);
};

} // namespace TESSERA
