#include "tests/support/RunningProgram.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace TESTING {

RunningProgram::RunningProgram(const std::string& program, const std::vector<std::string>& arguments)
    : outputPath(::testing::TempDir() + "tessera-running-" + std::to_string(std::random_device{}())) {
    std::vector<std::string> words{program[0] == '/' ? program
                                                     : std::string(TESSERA_BUILD_DIR) + "/" + program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const int in = ::open("/dev/null", O_RDONLY),
              out = ::open(outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (in >= 0 && out >= 0 && (pid = ::fork()) == 0) {
        // The program gets the default actions for the signals a test sends, whatever the test runner set.
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        std::signal(SIGINT, SIG_DFL), std::signal(SIGTERM, SIG_DFL);
        ::dup2(in, 0), ::dup2(out, 1), ::dup2(out, 2);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(in), ::close(out);
}

RunningProgram::~RunningProgram() {
    wait(std::chrono::milliseconds(0));
    std::remove(outputPath.c_str());
}

void RunningProgram::signal(int number) {
    if (pid > 0) ::kill(pid, number);
}

std::string RunningProgram::output() const {
    std::stringstream text;
    text << std::ifstream(outputPath).rdbuf();
    return text.str();
}

ProgramRun RunningProgram::wait(std::chrono::milliseconds limit) {
    ProgramRun result;
    const auto end = std::chrono::steady_clock::now() + limit;
    for (int raw = 0; pid > 0; std::this_thread::sleep_for(std::chrono::milliseconds(20))) {
        const pid_t done = ::waitpid(pid, &raw, WNOHANG);
        if (done == pid && WIFEXITED(raw)) result.status = WEXITSTATUS(raw);
        if (done != 0 || std::chrono::steady_clock::now() >= end) {
            if (done == 0) ::kill(pid, SIGKILL), ::waitpid(pid, nullptr, 0);
            pid = -1;
        }
    }
    result.output = output();
    return result;
}

} // namespace TESTING
