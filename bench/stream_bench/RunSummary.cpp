#include "RunSummary.h"

#include <algorithm>
#include <cmath>

namespace TESSERA {

namespace {

// How rateAdjust settles: its steady level is the median of the second half of the stream; it has
// settled when its 1-second mean first comes within a band around that level (4 steps of Q14, 244 ppm, or a
// quarter of the level). inBand: the share of later 1-second means that stay within the band.
double settleTime(const TrialResult& t, double seconds, double& steady, double& band, double& inBand) {
    std::vector<double> times, values, late;
    for (const FeedbackRecord& r : t.feedback) {
        const double at = secondsBetween(t.playAt, r.time);
        if (at < 0 || at > seconds) continue;
        times.push_back(at);
        values.push_back(r.rateAdjust);
        if (at >= seconds / 2) late.push_back(r.rateAdjust);
    }
    steady = 0;
    band = 4;
    inBand = 0;
    if (late.empty()) return -1;
    std::sort(late.begin(), late.end());
    steady = late[late.size() / 2];
    band = std::max(4.0, std::fabs(steady) / 4);
    double settled = -1;
    size_t from = 0, after = 0, within = 0;
    double windowSum = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        windowSum += values[i];
        while (times[from] < times[i] - 1.0)
            windowSum -= values[from++];
        if (times[i] < 1.0) continue; // a full second first
        const bool near = std::fabs(windowSum / static_cast<double>(i - from + 1) - steady) <= band;
        if (settled < 0 && near) settled = times[i];
        if (settled < 0) continue;
        ++after;
        if (near) ++within;
    }
    inBand = after != 0 ? static_cast<double>(within) / static_cast<double>(after) : 0;
    return settled;
}

} // namespace

RunSummary RunSummary::of(const BenchOptions& options, const std::vector<TrialResult>& trials) {
    RunSummary s;
    std::vector<double> deviations, bareDeviations, latency;
    double worker = 0, user = 0, system = 0, producer = 0, bareCpu = 0, processUser = 0, processSystem = 0;
    s.streams = static_cast<uint32_t>(trials.size());
    for (const TrialResult& t : trials) {
        deviations.insert(deviations.end(), t.deviations.begin(), t.deviations.end());
        bareDeviations.insert(bareDeviations.end(), t.bareDeviations.begin(), t.bareDeviations.end());
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
        s.repeatsSent += t.repeatsSent;
        s.underrunsAfterTwoSeconds += t.underrunsAfterTwoSeconds;
        if (!t.haveReport) continue;
        const StreamReport& r = t.report;
        if (t.ran && t.audioBitPerfect) ++s.bitPerfect;
        if (t.ran && t.streamBitPerfect) ++s.wholeStreams;
        s.lost += r.droppedByFaults;
        s.repeatsReceived += r.repeats;
        s.resendRequests += r.resendRequests;
        s.gapsNeverFilled += r.gapsNeverFilled;
        s.underruns += r.underruns;
        s.arrivalP50Us = std::max(s.arrivalP50Us, r.arrivalP50Us);
        s.arrivalP99Us = std::max(s.arrivalP99Us, r.arrivalP99Us);
        s.arrivalMaxUs = std::max(s.arrivalMaxUs, r.arrivalMaxUs);
    }
    s.cadence = Stats::of(deviations);
    s.bare = Stats::of(bareDeviations);
    s.p99Ratio = s.bare.count != 0 && s.bare.p99 > 0 ? s.cadence.p99 / s.bare.p99 : 0;
    s.latencyMs = Stats::of(latency);
    if (s.audioSeconds > 0) {
        const double percent = 100.0 / s.audioSeconds;
        s.workerPercent = worker * percent;
        s.workerUserPercent = user * percent;
        s.workerSystemPercent = system * percent;
        s.producerPercent = producer * percent;
        s.barePercent = bareCpu * percent;
        s.processUserPercent = processUser * percent;
        s.processSystemPercent = processSystem * percent;
        s.processPercent = s.processUserPercent + s.processSystemPercent;
    }
    s.repeatsPerLost = s.lost != 0 ? static_cast<double>(s.repeatsSent) / static_cast<double>(s.lost) : 0;
    if (!trials.empty()) {
        const TrialResult& first = trials.front();
        s.settleSeconds = settleTime(first, options.seconds, s.steadyQ14, s.bandQ14, s.inBandShare);
        s.steadyPpm = s.steadyQ14 * 1e6 / 16384.0;
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
