#pragma once
// A program of the build started in the background, for tests that signal it while it runs.
#include "tests/support/ProgramRun.h"

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace TESTING {

class RunningProgram {
public:
    // program: its path below the build folder, or from the root; stdout and stderr go to a file of the test.
    RunningProgram(const std::string& program, const std::vector<std::string>& arguments);
    // Kills the program if it still runs, and removes its output file.
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    bool started() const { return pid > 0; }
    void signal(int number);
    std::string output() const;
    // Waits for the end up to limit; status -1 when it didn't end by then (it is killed).
    ProgramRun wait(std::chrono::milliseconds limit);

private:
    pid_t pid = -1;
    std::string outputPath;
};

} // namespace TESTING
