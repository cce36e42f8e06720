// tessera-probe as a user runs it against the software Target: what it reports, and its exit status.
#include "tests/support/ProgramRun.h"
#include "tests/support/ScriptedHost.h"
#include "tools/receiver/SoftwareTarget.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ProbeProgramTest, ReportsTheNegotiationAndThePlanOrSaysWhy) {
    TESSERA::TargetConfig config;
    config.bindAddress = TESTING::loopbackAddress();
    config.discoveryPort = 0;
    config.outputs[0].pcmMask = TESSERA::StreamFormat(0x402, 0x0014); // 24-bit stereo, 96 kHz only
    config.outputs[0].hardwareLatency = 25;
    TESSERA::SoftwareTarget target(config);
    std::string error;
    ASSERT_TRUE(target.start(error)) << error;
    const std::string at = "::1," + std::to_string(target.controlPort(0));

    // clang-format off
    struct { std::string arguments; int status; std::string expected; } rows[] = {
        // 99 frames: 96 and 3%, rounded up
        {at + " --format 96000:24:2", 0, "plan           Fix, a cycle of 1000 us, 1 packet(s) of 96.000 frames, at most 594 bytes"},
        {at + " --format 44100:16:2", 0, "the Target does not take it"},
        {at + " --latency 4000", 0, "latency        6500 us in all (agreed 4000 us, hardware 2500 us)"},
        {"::1,1", 1, "the Target did not answer every question"},
        {"fe80::1,19650", 2, "is link-local: name its interface with --interface"},
        {"::1", 2, "give the Target as ADDRESS,PORT"},
        {at + " --format 44100:17:2", 2, "bad --format"},
        {"--help", 0, "usage: tessera-probe ADDRESS,PORT"},
    };
    // clang-format on
    for (const auto& r : rows) {
        const auto run = TESTING::runProgram("tools/probe/tessera-probe", r.arguments);
        EXPECT_EQ(run.status, r.status) << r.arguments << "\n" << run.output;
        EXPECT_NE(run.output.find(r.expected), std::string::npos) << r.arguments << "\n" << run.output;
    }
    target.stop();
}

} // namespace
