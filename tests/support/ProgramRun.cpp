#include "tests/support/ProgramRun.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <sys/wait.h>

namespace TESTING {

ProgramRun runProgram(const std::string& program, const std::string& arguments) {
    const std::string path = std::string(TESSERA_BUILD_DIR) + "/" + program;
    const std::string file =
        ::testing::TempDir() + "tessera-program-" + std::to_string(std::random_device{}());
    ProgramRun result;
    const int raw = std::system((path + " " + arguments + " > " + file + " 2>&1 < /dev/null").c_str());
    if (raw != -1 && WIFEXITED(raw)) result.status = WEXITSTATUS(raw);
    std::stringstream text;
    text << std::ifstream(file).rdbuf();
    result.output = text.str();
    std::remove(file.c_str());
    return result;
}

} // namespace TESTING
