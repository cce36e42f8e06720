// The command line of tessera-send: what each option sets, what it refuses and why, and the status line.
#include "tools/send/SendOptions.h"
#include "tools/send/SendStatus.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using TESSERA::SendOptions;
using Mode = SendOptions::Mode;

std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    for (std::string word; in >> word;)
        out.push_back(word);
    return out;
}

TEST(SendOptionsTest, EachOptionSetsItsSetting) {
    const struct {
        const char* arguments;
        bool (*holds)(const SendOptions&);
    } rows[] = {
        {"::1,19650",
         [](const SendOptions& o) {
             return o.target.port() == 19650 && o.target.isLoopback() && o.mode == Mode::Fix &&
                    o.cycleTime == 1000 && o.fragment == 1 && o.threadMode == 1 && o.syncBufferCount == 6 &&
                    o.bufferSize == 512 && o.infoCycle == 100000 && o.seconds == 10 && o.logLevel == -1 &&
                    o.signalFormat == TESSERA::StreamFormat(0x0202, 0x000A);
         }},
        {"::1,19650 --signal 192000:24:2",
         [](const SendOptions& o) { return o.signalFormat == TESSERA::StreamFormat(0x0402, 0x0024); }},
        {"::1,19650 --signal dsd:64:little:2", [](const SendOptions& o) { return o.signalFormat.isDsd(); }},
        {"--wav a.wav ::1,7", [](const SendOptions& o) { return o.wavPath == "a.wav" && !o.secondsGiven; }},
        {"::1,7 --seconds 0.5", [](const SendOptions& o) { return o.seconds == 0.5 && o.secondsGiven; }},
        {"::1,7 --seconds=0", [](const SendOptions& o) { return o.seconds == 0; }},
        {"::1,7 --mode Random --cycle-min-time 500 --cycle-time 2000",
         [](const SendOptions& o) {
             return o.mode == Mode::Random && o.cycleMinTime == 500 && o.cycleTime == 2000;
         }},
        {"::1,7 --mode profile --profile-limit-time 101",
         [](const SendOptions& o) { return o.mode == Mode::Profile && o.profileLimitTime == 101; }},
        {"::1,7 --mode VarAuto", [](const SendOptions& o) { return o.mode == Mode::VarAuto; }},
        {"::1,7 --fragment 0", [](const SendOptions& o) { return o.fragment == 0; }},
        {"::1,7 --thread-mode 0x10C", [](const SendOptions& o) { return o.threadMode == 0x10C; }},
        {"::1,7 --thread-mode CRITICAL+SOCKETNOBLOCK+NOSLEEPFORCE",
         [](const SendOptions& o) { return o.threadMode == 0x809; }},
        {"::1,7 --thread-mode 0", [](const SendOptions& o) { return o.threadMode == 0; }},
        {"::1,7 --latency-buffer 5000 --nopbreak --phase invert",
         [](const SendOptions& o) { return o.latencyBuffer == 5000 && o.nopBreak && o.phaseInvert; }},
        {"::1,7 --sync-buffer-count 2 --buffer-size 441 --info-cycle 50000",
         [](const SendOptions& o) {
             return o.syncBufferCount == 2 && o.bufferSize == 441 && o.infoCycle == 50000;
         }},
        {"::1,7 --quiet --log 7", [](const SendOptions& o) { return o.quiet && o.logLevel == 7; }},
        {"fe80::1,19650 --interface eth0",
         [](const SendOptions& o) { return o.target.isLinkLocal() && o.interfaceName == "eth0"; }},
        {"--help", [](const SendOptions& o) { return o.helpAsked; }},
    };
    for (const auto& row : rows) {
        SendOptions options;
        std::string error;
        ASSERT_TRUE(options.parse(words(row.arguments), error)) << row.arguments << ": " << error;
        EXPECT_TRUE(row.holds(options)) << row.arguments;
    }
}

TEST(SendOptionsTest, RefusalsSayWhy) {
    const struct {
        const char* arguments;
        const char* error;
    } rows[] = {
        {"", "give the Target as ADDRESS,PORT, e.g. ::1,19650"},
        {"::1", "\"::1\" is not ADDRESS,PORT"},
        {"::1,0", "\"::1,0\" is not ADDRESS,PORT"},
        {"nohost,19650", "\"nohost,19650\" is not ADDRESS,PORT"},
        {"::1,1 ::1,2", "one Target only"},
        {"fe80::1,19650", "fe80::1 is link-local: name its interface with --interface"},
        {"::1,7 --bogus", "unknown option \"--bogus\""},
        {"::1,7 --seconds", "--seconds needs a value: S"},
        {"::1,7 --seconds -1", "--seconds must be a number of seconds"},
        {"::1,7 --seconds 1x", "--seconds must be a number of seconds"},
        {"::1,7 --quiet=yes", "--quiet takes no value"},
        {"::1,7 --signal 44101:16:2", "bad --signal 44101:16:2: "},
        {"::1,7 --mode fix", "--mode takes Fix, Var, FixAuto, VarAuto, Random or profile, not \"fix\""},
        {"::1,7 --cycle-time 0", "--cycle-time must be a whole number from 1 to 1000000"},
        {"::1,7 --sync-buffer-count 1", "--sync-buffer-count must be a whole number from 2 to 1024"},
        {"::1,7 --profile-limit-time 100", "--profile-limit-time must be a whole number from 101"},
        {"::1,7 --thread-mode CRITICAL+FAST", "\"FAST\" is neither"},
        {"::1,7 --phase upside", "--phase takes normal or invert"},
        {"::1,7 --log 8", "--log must be a whole number from 3 to 7"},
    };
    for (const auto& row : rows) {
        SendOptions options;
        std::string error;
        EXPECT_FALSE(options.parse(words(row.arguments), error)) << row.arguments;
        EXPECT_NE(error.find(row.error), std::string::npos) << row.arguments << ": " << error;
    }
}

TEST(SendOptionsTest, HelpNamesEveryOptionAndTheExitStatus) {
    const std::string help = SendOptions::help();
    for (const char* option :
         {"--interface", "--latency-buffer", "--nopbreak", "--signal", "--wav", "--seconds", "--phase",
          "--mode", "--cycle-time", "--cycle-min-time", "--profile-limit-time", "--fragment", "--thread-mode",
          "--info-cycle", "--sync-buffer-count", "--buffer-size", "--quiet", "--log", "--help"})
        EXPECT_NE(help.find(std::string("  ") + option + " "), std::string::npos) << option;
    for (const char* status : {"  0  ", "  1  ", "  2  ", "  3  ", "  4  ", "  5  "})
        EXPECT_NE(help.find(status), std::string::npos) << status;
}

TEST(SendOptionsTest, StatusLineInWords) {
    TESSERA::SendProgress p;
    p.format = "PCM 16-bit 44100 Hz 2 ch";
    p.frames = 132300;
    p.elapsed = 3.04;
    p.total = 10;
    EXPECT_EQ(TESSERA::SendStatus::text(p),
              "streaming PCM 16-bit 44100 Hz 2 ch | 3.0 / 10.0 s | 132300 frames");
    p.total = 0;
    p.warnings = 2;
    p.lastWarning = "SyncBuffer not enough mute data return 1764";
    EXPECT_EQ(TESSERA::SendStatus::text(p),
              "streaming PCM 16-bit 44100 Hz 2 ch | 3.0 s (until Ctrl-C) | 132300 "
              "frames | 2 warnings, last: the source was slow: 1764 bytes of "
              "silence went out");
    const struct {
        const char* line;
        const char* words;
    } rows[] = {
        {"over time 1198 928 1198 10", "the worker sent a cycle 1198 us late"},
        {"over time change profile 0 to 1", "late too often: the worker moved to its fallback plan"},
        {"thread priority unchanged, not permitted: mode 0",
         "the worker runs at normal priority (no right to "
         "raise it)"},
        {"wth CR send err", "wth CR send err"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TESSERA::SendStatus::explain(row.line), row.words);
}

} // namespace
