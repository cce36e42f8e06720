// The tessera-target program as a user runs it: its help, its refusals and its exit status.
#include "tests/support/ProgramRun.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using TESTING::ProgramRun;

ProgramRun run(const std::string& arguments) {
    return TESTING::runProgram("tools/receiver/tessera-target", arguments);
}

TEST(TargetProgramTest, HelpNamesEveryOption) {
    const ProgramRun help = run("--help");
    EXPECT_EQ(help.status, 0);
    // clang-format off
    const char* options[] = {
        "--name", "--product", "--info", "--bind", "--discovery-port", "--notify", "--notify-count",
        "--outputs", "--output-name", "--control-port", "--protocol-version", "--pcm", "--pcm-mask",
        "--dsd-lsb", "--dsd-lsb-mask", "--dsd-msb", "--dsd-msb-mask", "--latency", "--hw-latency", "--mtu",
        "--bytes-per-cycle", "--no-datasize", "--profile", "--no-profile", "--refuse", "--invert",
        "--invert-at", "--feedback", "--buffer-target", "--start-level", "--output", "--report", "--seed",
        "--loss", "--burst", "--reorder", "--duplicate", "--delay", "--drift", "--silent-after",
        "--close-after", "--ignore-disconnect", "--resend-beyond-at", "--flood", "--duration", "--streams",
        "--verbose", "--help"};
    // clang-format on
    for (const char* option : options)
        EXPECT_NE(help.output.find(std::string("  ") + option + " "), std::string::npos) << option;
}

TEST(TargetProgramTest, ExitStatusAndMessages) {
    // clang-format off
    const struct { const char* arguments; int status; const char* message; } rows[] = {
        {"--bogus", 2, "tessera-target: unknown option \"--bogus\" (see --help)"},
        {"--pcm 44101:16:2", 2, "no such rate: 44101"},
        {"--latency", 2, "--latency needs a value"},
        // An address that isn't on this machine can't be bound.
        {"--bind 2001:db8::1 --discovery-port 0 --control-port 0 --duration 1", 1, "can't bind"},
        {"--discovery-port 0 --control-port 0 --outputs 2 --duration 1", 0,
         "Output 2 \"Output 2\": control port"},
    };
    // clang-format on
    for (const auto& r : rows) {
        const ProgramRun result = run(r.arguments);
        EXPECT_EQ(result.status, r.status) << r.arguments << "\n" << result.output;
        EXPECT_NE(result.output.find(r.message), std::string::npos) << r.arguments << "\n" << result.output;
    }
}

} // namespace
