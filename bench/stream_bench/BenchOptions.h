#pragma once
// What one run of stream_bench measures: the stream's format, plan and thread mode, the Target's faults,
// how long and how often, and where the results go.
#include "format/StreamFormat.h"
#include "transport/SessionSetup.h"

#include <cstdint>
#include <string>

namespace TESSERA {

struct BenchOptions {
    std::string formatText = "44100:16:2";
    StreamFormat format;
    PlanMode plan = PlanMode::Fix; // Fix, Var or Random: the cycle's clock model
    uint32_t cycle = 1000;         // microseconds
    uint32_t threadMode = 1;       // the worker's mode word
    uint32_t infoCycle = 100000;   // microseconds between feedback requests, the driver's default
    double lossPercent = 0;        // random loss at the Target
    double driftPpm = 0;           // the Target's play-out clock
    uint32_t targetMs = 50;        // the Target's start and target play-out level, its default
    bool feedback = true;          // false: the Target's feedback carries nothing, rateAdjust stays 0
    double seconds = 10;           // of each stream, from play on
    double warmupSeconds = 1;      // left out of cadence, CPU and latency
    uint32_t streams = 1;          // streams in a row, each with its own fault seed
    uint32_t seed = 1;             // of the first stream's faults
    bool bare = true;              // the bare wait-and-send loop beside each stream
    int32_t barePackets = -1;      // datagrams in each of its bursts; -1: as many as the stream's plan
    uint32_t blockMs = 10;         // one block of the stream buffer
    uint32_t blocks = 6;           // blocks in the stream buffer
    std::string name;              // of the run and its files; made from the settings when empty
    std::string outDir = "build/bench-results";
    int32_t logLevel = -1;   // the session's log on standard output from this level (-1: off)
    bool rowOnly = false;    // the table's row without its header
    bool headerOnly = false; // the table's header, nothing run

    // Reads the command line; false with the reason in error. help is set for --help.
    bool parse(int argc, char** argv, bool& help, std::string& error);
    const char* planName() const;
    // The help text, with every option of the table.
    static std::string usage();
    // The plan of each stream: the mode at the cycle, as many packets as the Target takes, Random's cycles
    // down to half of it.
    PlanSettings planSettings() const;
};

} // namespace TESSERA
