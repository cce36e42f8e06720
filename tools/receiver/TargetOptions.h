#pragma once
// The command line of tessera-target: every option, its help, and the TargetConfig it makes.
#include "tools/receiver/TargetConfig.h"

#include <cstdint>
#include <string>
#include <vector>

namespace TESSERA {

class TargetOptions {
public:
    TargetOptions();
    // Reads the arguments after the program name; false with the reason in error.
    bool parse(const std::vector<std::string>& arguments, std::string& error);
    // The help text: every option with its argument and meaning.
    static std::string help();

    TargetConfig config;
    bool helpAsked = false;
    bool verbose = false;
    uint32_t durationSeconds = 0; // 0: until Ctrl-C
    uint32_t streamLimit = 0;     // exit after this many streams have ended; 0: no limit

private:
    friend struct OptionTable;
    // Makes config.outputs from the settings that apply to every Output.
    bool finish(std::string& error);

    OutputConfig base; // what every Output gets
    uint32_t outputCount = 1;
    std::vector<std::string> names; // Output names in order; the rest are "Output n"
    std::vector<uint16_t> ports;    // control ports in order; one port N gives N, N+1, ...
};

} // namespace TESSERA
