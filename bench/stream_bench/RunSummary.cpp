#include "bench/stream_bench/RunSummary.h"

#include <algorithm>

namespace TESSERA {

double RunSummary::percentOfCore(double cpuSeconds, double audio) {
    return audio > 0 ? cpuSeconds * 100.0 / audio : 0;
}

RunSummary RunSummary::of(const BenchOptions& options, const std::vector<TrialResult>& trials) {
    RunSummary s;
    std::vector<double> deviations, bareDeviations, arrivals, latency;
    double worker = 0, user = 0, system = 0, producer = 0, bareCpu = 0, processUser = 0, processSystem = 0;
    s.streams = static_cast<uint32_t>(trials.size());
    for (const TrialResult& t : trials) {
        deviations.insert(deviations.end(), t.deviations.begin(), t.deviations.end());
        bareDeviations.insert(bareDeviations.end(), t.bareDeviations.begin(), t.bareDeviations.end());
        arrivals.insert(arrivals.end(), t.arrivalDeviations.begin(), t.arrivalDeviations.end());
        latency.insert(latency.end(), t.latencyMs.begin(), t.latencyMs.end());
        if (t.ran) ++s.ran;
        if (t.windowSeconds > 0 && t.workerSeconds > 0) {
            s.audioSeconds += t.windowSeconds;
            worker += t.workerSeconds;
            user += t.workerSplit.user;
            system += t.workerSplit.system;
            producer += t.producerSeconds;
            bareCpu += t.bareSeconds;
            processUser += t.process.user;
            processSystem += t.process.system;
        }
        s.underrunsAfterTwoSeconds += t.underrunsAfterTwoSeconds;
        if (!t.haveReport) continue;
        const StreamReport& r = t.report;
        if (t.ran && t.audioBitPerfect) ++s.bitPerfect;
        if (t.ran && t.streamBitPerfect) ++s.wholeStreams;
        s.lost += r.droppedByFaults;
        s.repeatsSent += t.repeatsSent;
        s.repeatsReceived += r.repeats;
        s.resendRequests += r.resendRequests;
        s.gapsNeverFilled += r.gapsNeverFilled;
        s.underruns += r.underruns;
    }
    s.cadence = Stats::of(deviations);
    s.bare = Stats::of(bareDeviations);
    s.p99Ratio = s.bare.count != 0 && s.bare.p99 > 0 ? s.cadence.p99 / s.bare.p99 : 0;
    s.arrival = Stats::of(arrivals);
    s.latencyMs = Stats::of(latency);
    s.workerPercent = percentOfCore(worker, s.audioSeconds);
    s.workerUserPercent = percentOfCore(user, s.audioSeconds);
    s.workerSystemPercent = percentOfCore(system, s.audioSeconds);
    s.producerPercent = percentOfCore(producer, s.audioSeconds);
    s.driverPercent = s.workerPercent + s.producerPercent;
    s.barePercent = percentOfCore(bareCpu, s.audioSeconds);
    s.processUserPercent = percentOfCore(processUser, s.audioSeconds);
    s.processSystemPercent = percentOfCore(processSystem, s.audioSeconds);
    s.processPercent = s.processUserPercent + s.processSystemPercent;
    s.repeatsPerLost = s.lost != 0 ? static_cast<double>(s.repeatsSent) / static_cast<double>(s.lost) : 0;
    if (!trials.empty()) {
        const TrialResult& first = trials.front();
        std::vector<SettleRule::Point> points;
        for (const FeedbackRecord& r : first.feedback)
            points.push_back({secondsBetween(first.playAt, r.time), static_cast<double>(r.rateAdjust)});
        s.settle = SettleRule::of(points, options.driftPpm, options.seconds);
        bool any = false;
        for (const TargetWatch::Sample& sample : first.samples) {
            const double at = secondsBetween(first.playAt, sample.at);
            if (at < 2.0 || at > options.seconds) continue;
            s.bufferMinMs = any ? std::min(s.bufferMinMs, sample.levelMs) : sample.levelMs;
            s.bufferMaxMs = any ? std::max(s.bufferMaxMs, sample.levelMs) : sample.levelMs;
            any = true;
        }
    }
    return s;
}

} // namespace TESSERA
