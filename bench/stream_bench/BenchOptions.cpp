#include "bench/stream_bench/BenchOptions.h"

#include "tools/common/CommandOptions.h"
#include "tools/common/FormatText.h"
#include "tools/common/OptionValues.h"

#include <cstdio>
#include <vector>

namespace TESSERA {

namespace {

std::string shortNumber(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", v);
    return text;
}

// The command line as it is read: the settings, and the flags that act on them after the table.
struct BenchArguments {
    BenchOptions& o;
    bool quick = false;
    bool help = false;
};

using A = BenchArguments;
using S = const std::string&;
using E = std::string&;

bool setLevel(S v, E e, int32_t& field) {
    uint32_t level = 0;
    if (!setWhole(v, "--log", level, e, 0, 7)) return false;
    field = static_cast<int32_t>(level);
    return true;
}

const std::vector<CommandOption<BenchArguments>>& table() {
    static const std::vector<CommandOption<BenchArguments>> options = {
        {"--format", "FORMAT",
         "RATE:SAMPLES:CHANNELS for PCM (default 44100:16:2) or dsd:RATE:ORDER:CHANNELS, e.g. "
         "dsd:512:little:2",
         [](A& a, S v, E) { return a.o.formatText = v, true; }},
        {"--plan", "PLAN", "fix (default), var or random: the cycle's clock model",
         [](A& a, S v, E e) {
             a.o.plan = v == "var" ? PlanMode::Var : v == "random" ? PlanMode::Random : PlanMode::Fix;
             if (v == "fix" || v == "var" || v == "random") return true;
             e = "--plan takes fix, var or random, not \"" + v + "\"";
             return false;
         }},
        {"--cycle", "US", "cycle in microseconds (default 1000)",
         [](A& a, S v, E e) { return setWhole(v, "--cycle", a.o.cycle, e, 100, 1000000); }},
        {"--mode", "WORD", "the worker's thread mode word, decimal or 0x.. (default 1)",
         [](A& a, S v, E e) { return setWhole(v, "--mode", a.o.threadMode, e, 0, 0xFFFFFFFFu); }},
        {"--info-us", "US", "time between feedback requests in microseconds (default 100000)",
         [](A& a, S v, E e) { return setWhole(v, "--info-us", a.o.infoCycle, e, 1000, 1000000); }},
        {"--loss", "PERCENT", "random loss of stream packets at the Target, 0 to 50 (default 0)",
         [](A& a, S v, E e) { return setReal(v, "--loss", a.o.lossPercent, e, 0, 50); }},
        {"--drift", "PPM", "the Target's play-out clock, -5000 to 5000 ppm (default 0)",
         [](A& a, S v, E e) { return setReal(v, "--drift", a.o.driftPpm, e, -5000, 5000); }},
        {"--target-ms", "MS", "the Target's start and target play-out level in ms, 2 to 1000 (default 50)",
         [](A& a, S v, E e) { return setWhole(v, "--target-ms", a.o.targetMs, e, 2, 1000); }},
        {"--no-feedback", nullptr,
         "the Target answers feedback requests with empty words: an uncorrected stream, to show what the "
         "drift rows would see without the feedback",
         [](A& a, S, E) { return a.o.feedback = false, true; }},
        {"--seconds", "S", "length of each stream from play on (default 10)",
         [](A& a, S v, E e) { return setReal(v, "--seconds", a.o.seconds, e, 0.2, 3600); }},
        {"--warmup", "S", "first seconds left out of cadence, CPU and latency (default 1)",
         [](A& a, S v, E e) { return setReal(v, "--warmup", a.o.warmupSeconds, e, 0, 60); }},
        {"--streams", "N", "streams in a row, each with its own loss seed (default 1)",
         [](A& a, S v, E e) { return setWhole(v, "--streams", a.o.streams, e, 1, 1000); }},
        {"--seed", "N", "loss seed of the first stream (default 1)",
         [](A& a, S v, E e) { return setWhole(v, "--seed", a.o.seed, e, 0, 0xFFFFFFFFu); }},
        {"--no-bare", nullptr, "no bare loop beside the stream",
         [](A& a, S, E) { return a.o.bare = false, true; }},
        {"--bare-packets", "N",
         "datagrams in each burst of the bare loop (default: as in the stream's plan); 0 leaves only the "
         "wake-ups of the schedule",
         [](A& a, S v, E e) {
             uint32_t n = 0;
             if (!setWhole(v, "--bare-packets", n, e, 0, 64)) return false;
             a.o.barePackets = static_cast<int32_t>(n);
             return true;
         }},
        {"--block-ms", "MS", "one block of the stream buffer (default 10)",
         [](A& a, S v, E e) { return setWhole(v, "--block-ms", a.o.blockMs, e, 1, 1000); }},
        {"--blocks", "N", "blocks in the stream buffer (default 6)",
         [](A& a, S v, E e) { return setWhole(v, "--blocks", a.o.blocks, e, 2, 64); }},
        {"--name", "NAME", "name of the run and of its files (default from the settings)",
         [](A& a, S v, E e) {
             a.o.name = v;
             if (!v.empty() && v.find('/') == std::string::npos) return true;
             e = "--name must be a file name without /, not \"" + v + "\"";
             return false;
         }},
        {"--out", "DIR", "folder for the results (default build/bench-results)",
         [](A& a, S v, E e) {
             a.o.outDir = v;
             if (!v.empty()) return true;
             e = "--out needs a folder";
             return false;
         }},
        {"--log", "LEVEL",
         "the session's log on standard output, 3 errors to 7 debug (costs what is measured)",
         [](A& a, S v, E e) { return setLevel(v, e, a.o.logLevel); }},
        {"--quick", nullptr, "a one-second stream with a short warm-up, for a smoke test",
         [](A& a, S, E) { return a.quick = true, true; }},
        {"--row", nullptr, "print the table's row only", [](A& a, S, E) { return a.o.rowOnly = true, true; }},
        {"--header", nullptr, "print the table's header only, run nothing",
         [](A& a, S, E) { return a.o.headerOnly = true, true; }},
        {"--help", nullptr, "this text", [](A& a, S, E) { return a.help = true, true; }},
    };
    return options;
}

} // namespace

std::string BenchOptions::usage() {
    return std::string(R"(usage: stream_bench [options]

Streams the test signal through the stream buffer and the worker to a software Target in this process,
on ::1, and measures the stream: the send times of the bursts against their schedule (and those of a
bare wait-and-send loop beside it, on the same socket type, priority and schedule, with no audio),
the inter-arrival times at the Target, the CPU time of the worker and of the process, recovery from
loss, the feedback's rateAdjust under clock drift, the Target's buffer, and the latency from
fillBuffer to play-out. Writes NAME.json and data files for the plots into the output folder, and
prints a markdown table.

)") + optionsHelp(table(), 20, 100) +
           "\nExit status: 0 when every stream ran, 1 when a stream could not be set up, 2 on bad "
           "arguments.\n";
}

const char* BenchOptions::planName() const {
    return plan == PlanMode::Var ? "var" : plan == PlanMode::Random ? "random" : "fix";
}

PlanSettings BenchOptions::planSettings() const {
    PlanSettings settings;
    settings.mode = plan;
    settings.cycle = cycle;
    settings.cycleMin = cycle / 2;
    settings.fragment = 0;
    return settings;
}

bool BenchOptions::parse(int argc, char** argv, bool& help, std::string& error) {
    BenchArguments arguments{*this};
    const std::vector<std::string> words(argv + 1, argv + argc);
    for (size_t i = 0; i < words.size(); ++i) {
        if (!applyOption(table(), words, i, arguments, error)) {
            error += " (see --help)";
            return false;
        }
        if (arguments.help) break;
    }
    help = arguments.help;
    if (help) return true;
    if (arguments.quick) {
        seconds = 1;
        warmupSeconds = 0.2;
    }
    if (warmupSeconds >= seconds) {
        error = "the warm-up must be shorter than the stream";
        return false;
    }
    if (!FormatText::parseConcrete(formatText, format, error)) {
        error = "bad --format " + formatText + ": " + error;
        return false;
    }
    if (name.empty()) {
        std::string f = formatText;
        for (char& c : f)
            if (c == ':') c = '-';
        name = f + "_" + planName() + "_m" + std::to_string(threadMode) + "_loss" + shortNumber(lossPercent) +
               "_drift" + shortNumber(driftPpm);
    }
    return true;
}

} // namespace TESSERA
