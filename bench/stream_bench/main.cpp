// stream_bench: measures the stream against the software Target on ::1 (see --help).
#include "BRINA/ConsoleLog.h"
#include "BRINA/LogSink.h"
#include "bench/stream_bench/BenchOptions.h"
#include "bench/stream_bench/RunSummary.h"
#include "bench/stream_bench/RunWriter.h"
#include "bench/stream_bench/StreamTrial.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    using namespace TESSERA;
    BenchOptions options;
    bool help = false;
    std::string error;
    if (!options.parse(argc, argv, help, error)) {
        std::fprintf(stderr, "stream_bench: %s\n", error.c_str());
        return 2;
    }
    if (help) {
        std::fputs(BenchOptions::usage().c_str(), stdout);
        return 0;
    }
    if (options.headerOnly) {
        std::fputs(RunWriter::tableHeader().c_str(), stdout);
        return 0;
    }
    std::error_code made;
    std::filesystem::create_directories(options.outDir, made);
    if (made) {
        std::fprintf(stderr, "stream_bench: can't make %s: %s\n", options.outDir.c_str(),
                     made.message().c_str());
        return 1;
    }

    if (options.logLevel >= 0) {
        BRINA::ConsoleLog::start(16, 19640);
        BRINA::setLogLevel(options.logLevel);
    }

    std::vector<TrialResult> trials;
    bool allRan = true;
    for (uint32_t i = 0; i < options.streams; ++i) {
        std::fprintf(stderr, "stream_bench: %s: stream %u of %u, %.1f s\n", options.name.c_str(), i + 1,
                     options.streams, options.seconds);
        StreamTrial trial(options);
        trials.push_back(trial.run(options.seed + i));
        if (!trials.back().ran) {
            allRan = false;
            std::fprintf(stderr, "stream_bench: %s: stream %u: %s\n", options.name.c_str(), i + 1,
                         trials.back().error.c_str());
        }
    }
    if (options.logLevel >= 0) BRINA::ConsoleLog::drain();
    const RunSummary summary = RunSummary::of(options, trials);
    const RunWriter writer(options, trials, summary);
    if (!writer.writeFiles(error)) {
        std::fprintf(stderr, "stream_bench: %s\n", error.c_str());
        return 1;
    }
    if (!options.rowOnly) std::fputs(RunWriter::tableHeader().c_str(), stdout);
    std::fputs(writer.tableRow().c_str(), stdout);
    return allRan ? 0 : 1;
}
