#include "tests/support/RunningProgram.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>

extern char** environ;

namespace TESTING {

RunningProgram::RunningProgram(const std::string& program, const std::vector<std::string>& arguments) {
    const std::string path = std::string(TESSERA_BUILD_DIR) + "/" + program;
    outputPath = ::testing::TempDir() + "tessera-running-" + std::to_string(std::random_device{}());
    std::vector<std::string> words{path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    // The program gets the default actions for the signals a test sends, whatever the test runner set.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGTERM);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    if (posix_spawn(&pid, path.c_str(), &actions, &attributes, argv.data(), environ) != 0) pid = -1;
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
}

RunningProgram::~RunningProgram() {
    if (pid > 0) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
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
    int raw = 0;
    while (pid > 0) {
        const pid_t done = ::waitpid(pid, &raw, WNOHANG);
        if (done == pid) {
            pid = -1;
            if (WIFEXITED(raw)) result.status = WEXITSTATUS(raw);
            break;
        }
        if (done < 0 || std::chrono::steady_clock::now() >= end) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
            pid = -1;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    result.output = output();
    return result;
}

} // namespace TESTING
