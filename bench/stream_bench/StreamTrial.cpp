#include "bench/stream_bench/StreamTrial.h"

#include "BRINA/Time.h"
#include "bench/stream_bench/BareLoop.h"
#include "bench/stream_bench/BenchSource.h"
#include "bench/stream_bench/Stats.h"
#include "transport/SessionSetup.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace TESSERA {

namespace {

void sleepUntil(uint32_t clock) {
    for (;;) {
        const int32_t left = static_cast<int32_t>(clock - BRINA::nowMicroseconds());
        if (left <= 0) return;
        std::this_thread::sleep_for(std::chrono::microseconds(std::min(left, 100000)));
    }
}

struct CpuMark {
    double worker = 0, producer = 0, bare = 0;
    CpuTime workerSplit, process;
};

} // namespace

TrialResult StreamTrial::run(uint32_t seed) {
    TrialResult result;
    result.seed = seed;
    StreamFaults faults;
    faults.seed = seed;
    faults.lossRate = options.lossPercent / 100.0;
    faults.driftPpm = options.driftPpm;
    const auto longest = static_cast<uint32_t>(options.seconds + 30);
    TargetWatch target(faults, options.targetMs, options.feedback);
    if (!target.start(longest, result.error)) return result;

    BenchSource session;
    if (!session.open(options.threadMode, options.infoCycle, 0, "stream_bench", 0) ||
        !SessionSetup::negotiate(session, target.control(), 0, false)) {
        result.error = "the software Target did not answer the negotiation";
        return result;
    }
    if (!session.selectFormat(options.format.type(), options.format.rateBits())) {
        result.error = "the Target does not take the format " + options.formatText;
        return result;
    }
    if (!SessionSetup::plan(session, options.planSettings())) {
        result.error =
            "no plan fits a cycle of " + std::to_string(options.cycle) + " us within the packet limits";
        return result;
    }
    const TransferProfile& p = session.getTransferProfile(0);
    result.plan = p;
    const StreamFormat source = session.getSourceFormat();
    const uint32_t blockFrames = static_cast<uint32_t>(std::max<uint64_t>(
        1, uint64_t{source.bytesPerSecond()} * options.blockMs / 1000 / source.bytesPerFrame()));
    session.prepare(blockFrames, options.blocks, 0);
    const double cycles = options.seconds * 1e6 / p.cycle;
    session.reserveFills(static_cast<size_t>(options.seconds * 1000.0 / options.blockMs * 2) + 64);
    BurstRecorder recorder(static_cast<size_t>(cycles * 1.5) + 1000,
                           static_cast<size_t>(options.seconds * 1e6 / options.infoCycle * 4) + 100);
    session.setObserver(&recorder);

    if (!session.connectPrepare() || !session.connect() || !session.connectWait() ||
        session.getState() != Sync::Streaming) {
        result.error = "the stream did not start";
        session.disconnect();
        return result;
    }
    BareLoop bare;
    if (options.bare) {
        BareLoop::Plan b;
        b.cycle = p.cycle;
        b.packets = options.barePackets >= 0 ? static_cast<uint32_t>(options.barePackets) : p.packetCount;
        const uint32_t payload = p.fixedPacketBytes != 0
                                     ? p.fixedPacketBytes
                                     : (p.framesQ14 >> 14) * session.getSinkFormat().bytesPerFrame();
        b.datagramBytes = 16 + ((payload + 7) & ~7u);
        b.threadMode = options.threadMode;
        b.longestSeconds = longest;
        if (!bare.start(b, static_cast<size_t>(cycles * 1.5) + 1000)) {
            result.error = "the bare loop's sockets could not be opened";
            session.disconnect();
            return result;
        }
    }
    session.play();
    result.playAt = BRINA::nowMicroseconds();
    const uint32_t windowStart = result.playAt + static_cast<uint32_t>(options.warmupSeconds * 1e6);
    const uint32_t windowEnd = result.playAt + static_cast<uint32_t>(options.seconds * 1e6);

    clockid_t workerClock{}, producerClock{}, bareClock{};
    auto mark = [&](CpuMark& m) {
        m.worker = ThreadCpu::seconds(workerClock);
        m.producer = ThreadCpu::seconds(producerClock);
        m.bare = options.bare ? ThreadCpu::seconds(bareClock) : 0;
        m.workerSplit = ThreadCpu::ofTask(recorder.workerTid());
        m.process = ThreadCpu::ofProcess();
    };
    sleepUntil(windowStart);
    const bool clocks = ThreadCpu::clockOf(session.workerHandle(), workerClock) &&
                        session.producerClock(producerClock) && (!options.bare || bare.cpuClock(bareClock)) &&
                        recorder.workerTid() != 0;
    CpuMark first, last;
    if (clocks) mark(first);
    sleepUntil(windowEnd);
    const bool alive = session.getState() == Sync::Streaming;
    if (clocks && alive) mark(last);
    const uint32_t measuredEnd = BRINA::nowMicroseconds();
    bare.stop();
    session.disconnect();
    session.close();
    result.haveReport = target.finalReport(result.report, 10000);
    target.stop();
    result.framesProduced = session.framesProduced();
    const VerifierResult& v = result.report.verifier;
    result.audioBitPerfect = result.haveReport && v.bitPerfect() && v.inverted == 0 &&
                             v.matched == result.framesProduced && result.framesProduced != 0;
    result.streamBitPerfect = result.audioBitPerfect && result.report.bitPerfect();
    if (!alive) result.error = "the stream ended before its time";
    if (!clocks) result.error = "the threads' CPU clocks could not be read";

    result.windowSeconds = secondsBetween(windowStart, measuredEnd);
    if (clocks && alive) {
        result.workerSeconds = last.worker - first.worker;
        result.producerSeconds = last.producer - first.producer;
        result.bareSeconds = last.bare - first.bare;
        result.workerSplit = last.workerSplit - first.workerSplit;
        result.process = last.process - first.process;
    }
    auto inWindow = [&](uint32_t t) {
        return static_cast<int32_t>(t - windowStart) >= 0 && static_cast<int32_t>(windowEnd - t) >= 0;
    };
    for (const BurstRecord& b : recorder.bursts()) {
        ++result.bursts;
        result.packetsSent += b.packets;
        result.repeatsSent += b.repeats;
        if (inWindow(b.sent)) result.deviations.push_back(b.sent - b.due);
    }
    for (const BurstRecord& b : bare.bursts())
        if (inWindow(b.sent)) result.bareDeviations.push_back(b.sent - b.due);
    std::vector<double> intervals;
    const std::vector<uint64_t>& arrivals = target.cycleArrivals();
    for (size_t i = 1; i < arrivals.size(); ++i) {
        const auto from = static_cast<uint32_t>(arrivals[i - 1]), to = static_cast<uint32_t>(arrivals[i]);
        if (inWindow(from) && inWindow(to)) intervals.push_back(static_cast<double>(to - from));
    }
    const double median = Stats::of(intervals).p50;
    for (double interval : intervals)
        result.arrivalDeviations.push_back(std::fabs(interval - median));
    result.feedback = recorder.feedback();
    result.samples = target.samples();

    // The Target's play-out traced back to the block that fillBuffer wrote.
    const auto& fills = session.fills();
    uint64_t atTwoSeconds = 0, atWindowStart = 0, atWindowEnd = 0;
    for (const TargetWatch::Sample& s : result.samples) {
        const double t = secondsBetween(result.playAt, s.at);
        if (t <= 2.0) atTwoSeconds = s.underruns;
        if (t <= options.warmupSeconds) atWindowStart = s.underruns;
        if (t <= options.seconds) atWindowEnd = s.underruns;
        if (!inWindow(s.at) || !s.signalStarted || !s.intact || s.playedFrames <= s.leadingSilence) continue;
        const uint64_t frame = s.playedFrames - s.leadingSilence;
        auto it =
            std::upper_bound(fills.begin(), fills.end(), frame,
                             [](uint64_t f, const BenchSource::Fill& fill) { return f < fill.firstFrame; });
        if (it == fills.begin()) continue;
        --it;
        if (frame >= it->firstFrame + it->frames) continue;
        result.latencyMs.push_back(secondsBetween(it->time, s.at) * 1000.0);
    }
    result.underrunsAfterTwoSeconds = options.seconds > 2.0 ? atWindowEnd - atTwoSeconds : 0;
    result.underrunsInWindow = atWindowEnd - atWindowStart;
    result.ran = result.error.empty() && result.haveReport;
    if (!result.haveReport && result.error.empty()) result.error = "no final report from the Target";
    return result;
}

} // namespace TESSERA
