// tessera-find as a user runs it, on a private link of the test's own namespace: the list, the watch, a
// receiver's settings and uploads, and the one-line errors.
#include "tests/support/PrivateLink.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/RunningProgram.h"
#include "tools/common/FormatText.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

namespace {

using TESTING::PrivateLink;

TESSERA::TargetSettingConfig setting(uint16_t type, const char* name, int32_t lowest, int32_t highest,
                                     int32_t value, std::vector<std::string> texts = {}) {
    TESSERA::TargetSettingConfig s;
    s.type = type, s.name = name, s.lowest = lowest, s.highest = highest, s.value = value;
    s.valueTexts = std::move(texts);
    return s;
}

TEST(FindProgramTest, ListsWatchesSetsAndUploadsOrSaysWhy) {
    std::string why;
    if (!PrivateLink::enterOwnNamespace(why)) GTEST_SKIP() << why;
    PrivateLink link(1);
    ASSERT_TRUE(link.ready());
    std::string error;
    TESSERA::TargetConfig alpha, spoiling, foreign;
    alpha.name = "Alpha";
    alpha.outputs.resize(2);
    alpha.outputs[1].name = "Right";
    std::string e;
    ASSERT_TRUE(TESSERA::FormatText::parsePcm("44100,48000:16,24:2", alpha.outputs[0].pcmMask, e)) << e;
    alpha.outputs[1].pcmMask = alpha.outputs[0].pcmMask;
    ASSERT_TRUE(TESSERA::FormatText::parseDsd("64,128:little:2", true, alpha.outputs[1].dsdLsbMask, e)) << e;
    alpha.settings = {setting(2, "Volume", -60, 0, -20), setting(5, "Mode", 0, 1, 0, {"stereo", "mono"})};
    spoiling.name = "Spoiling";
    spoiling.transfer.spoilOnce = 3; // one byte of the fourth packet arrives inverted
    foreign.name = "Foreign";
    foreign.productId = TESSERA::productIdOf("OTHERPRD");
    ASSERT_EQ(link.addTarget(0, alpha, error), 0) << error;
    ASSERT_EQ(link.addTarget(0, spoiling, error), 1) << error;
    ASSERT_EQ(link.addTarget(0, foreign, error), 2) << error;
    ASSERT_TRUE(link.waitForHostAddresses());
    const std::string at = link.targetAddress(0).toString(), spoilt = link.targetAddress(1).toString();
    const std::string file = ::testing::TempDir() + "find-upload.bin";
    std::ofstream(file) << std::string(20000, 'u');

    const struct {
        std::string arguments;
        int status;
        std::string expected, absent;
    } rows[] = {
        // clang-format off
        {"", 0, "Alpha (QUINTARA) at " + at + " on tlink0\n", "Foreign"},
        {"", 0, "  Output 1 \"Output 1\"  " + at + ",", "Foreign"},
        {"", 0, "    takes PCM 44100,48000 Hz; 16,24; 2 ch\n  Output 2 \"Right\"  " + at + ",", ""},
        {"", 0, "version 1\n    takes PCM 44100,48000 Hz; 16,24; 2 ch\n    takes DSD64,128 LSB little; 2 ch\n", ""},
        {"", 0, "Spoiling (QUINTARA) at " + spoilt + " on tlink0\n  Tessera software Target at [" + spoilt + "]\n", ""},
        {"", 0, "    takes: the Output did not say\n", ""},
        {"--brief --product any --interface tlink0", 0, "Foreign (OTHERPRD)", "takes"},
        {"--json --brief --product OTHERPRD", 0, "\"interface\": \"tlink0\",\n      \"name\": \"Foreign\"", "Alpha"},
        {"--json", 0, "\"takes\": [\n", "Foreign"},
        {"--target " + at + " --output 2 --brief", 0, "Output 2 \"\"", "Spoiling"},
        {"--target fe80::dead:beef", 1, "no Target found", "Alpha"},
        {"--watch --seconds 2", 0, "found " + at, "lost"},
        {"--settings " + at, 0, "  2  Mode = stereo (choice stereo|mono)", ""},
        {"--settings " + at, 0, "  1  Volume = -20 (number -60..0)", ""},
        {"--set " + at + " Mode=mono", 0, "  2  Mode = mono (choice stereo|mono)", ""},
        {"--set " + at + " 1=-7", 0, "  1  Volume = -7 (number -60..0)", ""},
        {"--set " + at + " Volume=-70", 2, "Volume takes a whole number from -60 to 0, not \"-70\"", ""},
        {"--set " + at + " Gain=1", 2, "the receiver has no setting \"Gain\"", ""},
        {"--set " + at + " Gain", 2, "--set takes KEY=VALUE", ""},
        {"--settings fe80::dead:beef", 1, "no receiver answers at fe80::dead:beef", ""},
        {"--upload " + at + " 1 " + file, 0, "sent 20000 bytes into slot 1 in", "did not match"},
        {"--upload " + at + " 1 " + file, 0, "[##########                    ] block 1 of 3\r", ""},
        {"--upload " + spoilt + " 0 " + file, 4, "the Target's CRC did not match", "CRC matched"},
        {"--upload " + at + " 2 " + file, 5, "the upload broke off", ""},
        {"--upload " + at + " 0 /nonexistent", 2, "cannot read /nonexistent", ""},
        {"--upload " + at + " 0", 2, "--upload takes ADDRESS SLOT FILE", ""},
        {"--watch --settings " + at, 2, "go one at a time", ""},
        {"--seconds 3", 2, "--seconds goes with --watch", ""},
        {"--interface nowhere", 2, "cannot search on nowhere", ""},
        {"--product SHORT", 2, "a product is eight characters", ""},
        {"--bogus", 2, "unknown option \"--bogus\" (see --help)", ""},
        {"--help", 0, "usage: tessera-find", ""},
        // clang-format on
    };
    for (const auto& r : rows) {
        const auto run = TESTING::runProgram("tools/find/tessera-find", r.arguments);
        EXPECT_EQ(run.status, r.status) << r.arguments << "\n" << run.output;
        EXPECT_NE(run.output.find(r.expected), std::string::npos) << r.arguments << "\n" << run.output;
        EXPECT_TRUE(r.absent.empty() || run.output.find(r.absent) == std::string::npos) << r.arguments;
    }
    std::remove(file.c_str());

    // A receiver that leaves the link while the watch runs gets its lost line; Ctrl-C ends the watch.
    TESTING::RunningProgram watch("tools/find/tessera-find", {"--watch"});
    const auto waitFor = [&watch](const std::string& text) {
        for (int i = 0; i < 150 && watch.output().find(text) == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
    };
    waitFor("found " + spoilt);
    link.stopTarget(1);
    waitFor("lost  " + spoilt);
    watch.signal(SIGINT);
    const auto watched = watch.wait(std::chrono::seconds(10));
    EXPECT_EQ(watched.status, 0) << watched.output;
    EXPECT_NE(watched.output.find("lost  " + spoilt + ","), std::string::npos) << watched.output;
    EXPECT_EQ(watched.output.find("lost  " + at), std::string::npos) << watched.output;
    EXPECT_NE(watched.output.find("watched 2 Outputs"), std::string::npos) << watched.output;
}

} // namespace
