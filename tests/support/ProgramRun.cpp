#include "tests/support/ProgramRun.h"

#include "tests/support/RunningProgram.h"

namespace TESTING {

ProgramRun runProgram(const std::string& program, const std::string& arguments) {
    // Through the shell, which splits the arguments as a user's command line would.
    RunningProgram run("/bin/sh", {"-c", std::string(TESSERA_BUILD_DIR) + "/" + program + " " + arguments});
    return run.wait(std::chrono::minutes(5));
}

} // namespace TESTING
