#pragma once
// A snapshot of the Target for the status line: the Host it knows, and each Output's stream.
#include "tools/receiver/StreamReport.h"

#include <cstdint>
#include <string>
#include <vector>

namespace TESSERA {

struct TargetStatus {
    struct Output {
        std::string name;
        uint16_t controlPort = 0;
        bool streaming = false; // a stream is open now
        StreamReport report;    // live numbers while streaming; those of the last stream afterwards
    };
    bool hostKnown = false;
    std::string hostName;
    uint64_t hostProduct = 0;
    std::vector<Output> outputs;
};

} // namespace TESSERA
