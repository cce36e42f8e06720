#pragma once
// Runs a program of the build as a user would, and keeps its exit status and output.
#include <string>

namespace TESTING {

struct ProgramRun {
    int status = -1;
    std::string output; // stdout and stderr together
};

// program: its path below the build folder, e.g. "tools/receiver/tessera-target".
ProgramRun runProgram(const std::string& program, const std::string& arguments);

} // namespace TESTING
