#include "bench/stream_bench/BenchOptions.h"

#include "tools/common/FormatText.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace TESSERA {

namespace {

bool real(const std::string& text, double low, double high, double& out) {
    char* end = nullptr;
    out = std::strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0' && std::isfinite(out) && out >= low && out <= high;
}

bool whole(const std::string& text, uint64_t low, uint64_t high, uint32_t& out) {
    char* end = nullptr;
    const unsigned long long v = std::strtoull(text.c_str(), &end, 0); // 0x.. for the mode word
    if (end == text.c_str() || *end != '\0' || v < low || v > high) return false;
    out = static_cast<uint32_t>(v);
    return true;
}

std::string shortNumber(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", v);
    return text;
}

} // namespace

const char* BenchOptions::usage() {
    return R"(usage: stream_bench [options]

Streams the test signal through the stream buffer and the worker to a software Target in this process,
on ::1, and measures the stream: the send times of the bursts against their schedule (and those of a
bare wait-and-send loop beside it, on the same socket type, priority and schedule, with no audio),
the inter-arrival times at the Target, the CPU time of the worker and of the process, recovery from
loss, the feedback's rateAdjust under clock drift, the Target's buffer, and the latency from
fillBuffer to play-out. Writes NAME.json and data files for the plots into the output folder, and
prints a markdown table.

  --format FORMAT   RATE:SAMPLES:CHANNELS for PCM (default 44100:16:2) or dsd:RATE:ORDER:CHANNELS,
                    e.g. dsd:512:little:2
  --plan PLAN       fix (default), var or random: the cycle's clock model
  --cycle US        cycle in microseconds (default 1000)
  --mode WORD       the worker's thread mode word, decimal or 0x.. (default 1)
  --info-us US      time between feedback requests in microseconds (default 100000)
  --loss PERCENT    random loss of stream packets at the Target, 0 to 50 (default 0)
  --drift PPM       the Target's play-out clock, -5000 to 5000 ppm (default 0)
  --target-ms MS    the Target's start and target play-out level in ms, 2 to 1000 (default 50)
  --no-feedback     the Target answers feedback requests with empty words: an uncorrected stream, to
                    show what the drift rows would see without the feedback
  --seconds S       length of each stream from play on (default 10)
  --warmup S        first seconds left out of cadence, CPU and latency (default 1)
  --streams N       streams in a row, each with its own loss seed (default 1)
  --seed N          loss seed of the first stream (default 1)
  --no-bare         no bare loop beside the stream
  --bare-packets N  datagrams in each burst of the bare loop (default: as in the stream's plan); 0
                    leaves only the wake-ups of the schedule
  --block-ms MS     one block of the stream buffer (default 10)
  --blocks N        blocks in the stream buffer (default 6)
  --name NAME       name of the run and of its files (default from the settings)
  --out DIR         folder for the results (default build/bench-results)
  --log LEVEL       the session's log on standard output, 3 errors to 7 debug (costs what is measured)
  --quick           a one-second stream with a short warm-up, for a smoke test
  --row             print the table's row only
  --header          print the table's header only, run nothing
  --help            this text

Exit status: 0 when every stream ran, 1 when a stream could not be set up, 2 on bad arguments.
)";
}

const char* BenchOptions::planName() const {
    return plan == Plan::Fix ? "fix" : plan == Plan::Var ? "var" : "random";
}

bool BenchOptions::parse(int argc, char** argv, bool& help, std::string& error) {
    help = false;
    bool quick = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool flag = arg == "--no-bare" || arg == "--no-feedback" || arg == "--quick" ||
                          arg == "--row" || arg == "--header" || arg == "--help" || arg == "-h";
        if (!flag && i + 1 >= argc) {
            error = arg.rfind("--", 0) == 0 ? "missing value for " + arg : "unexpected argument " + arg;
            return false;
        }
        const std::string value = flag ? "" : argv[++i];
        bool ok = true;
        if (arg == "--help" || arg == "-h") {
            help = true;
            return true;
        } else if (arg == "--no-bare") {
            bare = false;
        } else if (arg == "--no-feedback") {
            feedback = false;
        } else if (arg == "--quick") {
            quick = true;
        } else if (arg == "--row") {
            rowOnly = true;
        } else if (arg == "--header") {
            headerOnly = true;
        } else if (arg == "--format") {
            formatText = value;
        } else if (arg == "--plan") {
            ok = value == "fix" || value == "var" || value == "random";
            plan = value == "var" ? Plan::Var : value == "random" ? Plan::Random : Plan::Fix;
        } else if (arg == "--cycle") {
            ok = whole(value, 100, 1000000, cycle);
        } else if (arg == "--mode") {
            ok = whole(value, 0, 0xFFFFFFFFu, threadMode);
        } else if (arg == "--info-us") {
            ok = whole(value, 1000, 1000000, infoCycle);
        } else if (arg == "--loss") {
            ok = real(value, 0, 50, lossPercent);
        } else if (arg == "--drift") {
            ok = real(value, -5000, 5000, driftPpm);
        } else if (arg == "--target-ms") {
            ok = whole(value, 2, 1000, targetMs);
        } else if (arg == "--seconds") {
            ok = real(value, 0.2, 3600, seconds);
        } else if (arg == "--warmup") {
            ok = real(value, 0, 60, warmupSeconds);
        } else if (arg == "--streams") {
            ok = whole(value, 1, 1000, streams);
        } else if (arg == "--seed") {
            ok = whole(value, 0, 0xFFFFFFFFu, seed);
        } else if (arg == "--bare-packets") {
            uint32_t n = 0;
            ok = whole(value, 0, 64, n);
            barePackets = static_cast<int32_t>(n);
        } else if (arg == "--block-ms") {
            ok = whole(value, 1, 1000, blockMs);
        } else if (arg == "--blocks") {
            ok = whole(value, 2, 64, blocks);
        } else if (arg == "--log") {
            uint32_t level = 0;
            ok = whole(value, 0, 7, level);
            logLevel = static_cast<int32_t>(level);
        } else if (arg == "--name") {
            name = value;
            ok = !value.empty() && value.find('/') == std::string::npos;
        } else if (arg == "--out") {
            outDir = value;
            ok = !value.empty();
        } else {
            error = "unknown option " + arg + " (see --help)";
            return false;
        }
        if (!ok) {
            error = "bad value for " + arg + ": " + value;
            return false;
        }
    }
    if (quick) {
        seconds = 1;
        warmupSeconds = 0.2;
    }
    if (warmupSeconds >= seconds) {
        error = "the warm-up must be shorter than the stream";
        return false;
    }
    const bool parsed = formatText.rfind("dsd:", 0) == 0
                            ? FormatText::parseDsd(formatText.substr(4), true, format, error)
                            : FormatText::parsePcm(formatText, format, error);
    if (!parsed) {
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
