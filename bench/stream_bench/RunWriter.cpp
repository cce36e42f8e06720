#include "bench/stream_bench/RunWriter.h"

#include "tools/common/FormatText.h"
#include "tools/common/JsonWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>

namespace TESSERA {

namespace {

constexpr double kBinUs = 5; // the deviation histogram's bins

void stats(JsonWriter& j, const std::string& name, const Stats& s, const char* unit) {
    j.open(name);
    j.integer("count", static_cast<int64_t>(s.count));
    const std::string u = unit;
    j.number("p50" + u, s.p50);
    j.number("p99" + u, s.p99);
    j.number("p999" + u, s.p999);
    j.number("max" + u, s.max);
    j.number("mean" + u, s.mean);
    j.close();
}

std::string fixed(double v, int decimals) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, v);
    return text;
}

} // namespace

std::string RunWriter::json() const {
    const RunSummary& s = summary;
    JsonWriter j;
    j.open();
    j.text("name", options.name);
    j.text("format", options.formatText);
    j.text("formatWords", FormatText::describe(options.format));
    j.text("plan", options.planName());
    const TransferProfile& p = trials.empty() ? TransferProfile{} : trials.front().plan;
    j.integer("cycleUs", p.cycle);
    j.integer("packetCount", p.packetCount);
    j.number("framesPerPacket", p.framesQ14 / 16384.0);
    j.integer("fixedPacketBytes", p.fixedPacketBytes);
    j.integer("threadMode", options.threadMode);
    j.integer("infoCycleUs", options.infoCycle);
    j.number("lossPercent", options.lossPercent);
    j.number("driftPpm", options.driftPpm);
    j.number("seconds", options.seconds);
    j.number("warmupSeconds", options.warmupSeconds);
    j.integer("blockMs", options.blockMs);
    j.integer("blocks", options.blocks);
    j.integer("targetLevelMs", options.targetMs);
    j.flag("feedback", options.feedback);
    j.flag("bareLoop", options.bare);
    j.integer("barePackets", options.barePackets);

    j.open("cadence");
    j.integer("bursts", static_cast<int64_t>(s.cadence.count));
    stats(j, "engine", s.cadence, "Us");
    stats(j, "bare", s.bare, "Us");
    j.number("p99Ratio", s.p99Ratio);
    // At the Target, over the same window as the send times, every stream's intervals pooled.
    stats(j, "arrival", s.arrival, "Us");
    j.close();

    j.open("cpu");
    j.number("audioSeconds", s.audioSeconds);
    j.text("judged", "workerPercent: the worker thread alone; driverPercent adds BufferWorker");
    j.number("workerPercent", s.workerPercent);
    j.number("workerUserPercent", s.workerUserPercent);
    j.number("workerSystemPercent", s.workerSystemPercent);
    j.number("bufferWorkerPercent", s.producerPercent);
    j.number("driverPercent", s.driverPercent);
    j.number("bareLoopPercent", s.barePercent);
    j.text("processIncludes", "every thread of stream_bench: the driver's, the software Target's, the bare "
                              "loop's and the watchers'");
    j.number("processPercent", s.processPercent);
    j.number("processUserPercent", s.processUserPercent);
    j.number("processSystemPercent", s.processSystemPercent);
    j.close();

    j.open("recovery");
    j.integer("streams", s.streams);
    j.integer("streamsRan", s.ran);
    j.integer("bitPerfect", s.bitPerfect);
    j.number("bitPerfectShare", s.streams != 0 ? static_cast<double>(s.bitPerfect) / s.streams : 0);
    j.integer("everyPacket", s.wholeStreams);
    j.integer("lostPackets", static_cast<int64_t>(s.lost));
    j.integer("repeatsSent", static_cast<int64_t>(s.repeatsSent));
    j.integer("repeatsReceivedTwice", static_cast<int64_t>(s.repeatsReceived));
    j.integer("resendRequests", static_cast<int64_t>(s.resendRequests));
    j.integer("gapsNeverFilled", static_cast<int64_t>(s.gapsNeverFilled));
    j.number("repeatsPerLost", s.repeatsPerLost);
    j.close();

    j.open("drift");
    const SettleRule::Result& d = s.settle;
    j.number("q14StepPpm", SettleRule::kStepPpm);
    j.number("rateAdjustExpectedQ14", d.expectedQ14);
    j.number("rateAdjustMeanQ14After2s", d.meanQ14);
    j.number("rateAdjustMeanPpmAfter2s", d.meanQ14 * SettleRule::kStepPpm);
    j.number("settleBandQ14", d.bandQ14);
    j.flag("correctionMet", d.correctionMet);
    j.number("settleWindowSeconds", SettleRule::kWindowSeconds);
    j.number("settleSeconds", d.settleSeconds);
    j.number("inBandShareAfterSettling", d.inBandShare);
    j.number("bufferMinMsAfter2s", s.bufferMinMs);
    j.number("bufferMaxMsAfter2s", s.bufferMaxMs);
    j.integer("underruns", static_cast<int64_t>(s.underruns));
    j.integer("underrunsAfter2s", static_cast<int64_t>(s.underrunsAfterTwoSeconds));
    j.close();

    stats(j, "latency", s.latencyMs, "Ms");

    j.openArray("streams");
    for (const TrialResult& t : trials) {
        j.open();
        j.integer("seed", t.seed);
        j.flag("ran", t.ran);
        j.text("error", t.error);
        j.flag("bitPerfect", t.ran && t.audioBitPerfect);
        j.flag("everyPacket", t.ran && t.streamBitPerfect);
        j.integer("framesProduced", static_cast<int64_t>(t.framesProduced));
        j.integer("bursts", static_cast<int64_t>(t.bursts));
        j.integer("packetsSent", static_cast<int64_t>(t.packetsSent));
        j.integer("repeatsSent", static_cast<int64_t>(t.repeatsSent));
        j.integer("underrunsAfter2s", static_cast<int64_t>(t.underrunsAfterTwoSeconds));
        j.number("workerCpuSeconds", t.workerSeconds);
        j.number("windowSeconds", t.windowSeconds);
        if (t.haveReport) j.raw("target", t.report.toJson());
        j.close();
    }
    j.closeArray();
    j.close();
    return j.str() + "\n";
}

bool RunWriter::writeDeviationHistogram(const std::string& path) const {
    std::map<long, std::pair<uint64_t, uint64_t>> bins;
    for (const TrialResult& t : trials) {
        for (double d : t.deviations)
            ++bins[static_cast<long>(d / kBinUs)].first;
        for (double d : t.bareDeviations)
            ++bins[static_cast<long>(d / kBinUs)].second;
    }
    std::ofstream out(path);
    out << "# bin start (us), bursts of the engine, bursts of the bare loop; bins of " << kBinUs << " us\n";
    for (const auto& [bin, counts] : bins)
        out << bin * kBinUs << " " << counts.first << " " << counts.second << "\n";
    return static_cast<bool>(out);
}

bool RunWriter::writeFeedback(const std::string& path) const {
    std::ofstream out(path);
    out << "# seconds from play, feedback value (Q14), rateAdjust (Q14), rateAdjust (ppm), the drift's "
           "expected correction (ppm)\n";
    if (!trials.empty())
        for (const FeedbackRecord& f : trials.front().feedback)
            out << secondsBetween(trials.front().playAt, f.time) << " " << f.value << " " << f.rateAdjust
                << " " << f.rateAdjust * SettleRule::kStepPpm << " " << options.driftPpm << "\n";
    return static_cast<bool>(out);
}

bool RunWriter::writeTarget(const std::string& path) const {
    std::ofstream out(path);
    out << "# seconds from play, play-out level (ms), underruns so far\n";
    if (!trials.empty())
        for (const TargetWatch::Sample& s : trials.front().samples)
            out << secondsBetween(trials.front().playAt, s.at) << " " << s.levelMs << " " << s.underruns
                << "\n";
    return static_cast<bool>(out);
}

bool RunWriter::writeFiles(std::string& error) const {
    const std::string base = options.outDir + "/" + options.name;
    std::ofstream out(base + ".json");
    out << json();
    out.close();
    if (!out) {
        error = "can't write " + base + ".json";
        return false;
    }
    if (!writeDeviationHistogram(base + ".deviation.dat") || !writeFeedback(base + ".feedback.dat") ||
        !writeTarget(base + ".target.dat")) {
        error = "can't write the data files " + base + ".*.dat";
        return false;
    }
    return true;
}

std::string RunWriter::tableHeader() {
    return "| run | loss % | drift ppm | streams | bit-perfect (every packet) | send - due p50 / p99 / p99.9 "
           "/ max us | "
           "bare p50 / p99 us | p99 ratio | arrival p99 / p99.9 us | worker CPU % | BufferWorker CPU % | "
           "process CPU % (all threads) | repeats / lost | rateAdjust Q14 mean (expected) | settle s | "
           "buffer ms after 2 s | underruns after 2 s | latency p50 / max ms |\n"
           "|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n";
}

std::string RunWriter::tableRow() const {
    const RunSummary& s = summary;
    auto us = [](double v) { return fixed(v, 0); };
    std::string row = "| " + options.name + " | " + fixed(options.lossPercent, 1) + " | " +
                      fixed(options.driftPpm, 0) + " | " + std::to_string(s.streams) + " | " +
                      std::to_string(s.bitPerfect) + "/" + std::to_string(s.streams) + " (" +
                      std::to_string(s.wholeStreams) + ") | ";
    row += us(s.cadence.p50) + " / " + us(s.cadence.p99) + " / " + us(s.cadence.p999) + " / " +
           us(s.cadence.max) + " | ";
    row += s.bare.count != 0 ? us(s.bare.p50) + " / " + us(s.bare.p99) + " | " + fixed(s.p99Ratio, 2) + " | "
                             : "- | - | ";
    row += (s.arrival.count != 0 ? us(s.arrival.p99) + " / " + us(s.arrival.p999) : std::string("-")) +
           " | " + fixed(s.workerPercent, 2) + " | " + fixed(s.producerPercent, 2) + " | " +
           fixed(s.processPercent, 1) + " | ";
    row += (s.lost != 0 ? fixed(s.repeatsPerLost, 2) : std::string("-")) + " | ";
    const SettleRule::Result& d = s.settle;
    row += fixed(d.meanQ14, 1) + " (" + fixed(d.expectedQ14, 1) + ") | " +
           (d.settleSeconds < 0 ? std::string("never") : fixed(d.settleSeconds, 1)) + " | ";
    row +=
        (options.seconds > 2 ? fixed(s.bufferMinMs, 1) + " - " + fixed(s.bufferMaxMs, 1) : std::string("-")) +
        " | " + std::to_string(s.underrunsAfterTwoSeconds) + " | ";
    row += s.latencyMs.count != 0 ? fixed(s.latencyMs.p50, 1) + " / " + fixed(s.latencyMs.max, 1) : "-";
    return row + " |\n";
}

} // namespace TESSERA
