// The command line of tessera-target: settings that fan out over the Outputs, and refused values.
#include "tools/receiver/TargetOptions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using TESSERA::TargetOptions;

TEST(TargetOptionsTest, OutputsGetPortsNamesAndFilesOfTheirOwn) {
    TargetOptions options;
    std::string error;
    ASSERT_TRUE(options.parse({"--outputs", "3", "--control-port=5000", "--output-name", "A,B", "--output",
                               "dir.x/rec.wav", "--report", "report", "--latency", "2550", "--no-profile",
                               "--loss=0.05", "--loss-ends", "700", "--ignore-disconnect"},
                              error))
        << error;
    const auto& outputs = options.config.outputs;
    ASSERT_EQ(outputs.size(), 3u);
    const char* names[] = {"A", "B", "Output 3"};
    const char* audio[] = {"dir.x/rec.wav", "dir.x/rec-2.wav", "dir.x/rec-3.wav"};
    const char* reports[] = {"report", "report-2", "report-3"};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(outputs[i].controlPort, 5000 + i);
        EXPECT_EQ(outputs[i].name, names[i]);
        EXPECT_EQ(outputs[i].outputPath, audio[i]);
        EXPECT_EQ(outputs[i].reportPath, reports[i]);
        EXPECT_EQ(outputs[i].latency, 25);
        EXPECT_FALSE(outputs[i].answerProfile);
        EXPECT_EQ(outputs[i].faults.lossRate, 0.05);
        EXPECT_EQ(outputs[i].faults.lossEndsAtMs, 700u);
        EXPECT_TRUE(outputs[i].faults.ignoreDisconnect);
    }
}

TEST(TargetOptionsTest, RefusesBadValues) {
    const std::vector<std::vector<std::string>> rows = {
        {"--outputs", "0"},
        {"--outputs", "2", "--control-port", "1,2,3"},
        {"--control-port", "65535", "--outputs", "2"},
        {"--loss", "1.5"},
        {"--loss-ends", "-1"},
        {"--refuse", "maybe"},
        {"--profile", "1,2"},
        {"--verbose=yes"},
        {"--mtu"},
        {"mtu"},
    };
    for (const auto& row : rows) {
        TargetOptions options;
        std::string error;
        EXPECT_FALSE(options.parse(row, error)) << row[0];
        EXPECT_FALSE(error.empty()) << row[0];
    }
}

} // namespace
