// The option reader that tessera-send and tessera-target share: values inline or apart, flags, refusals,
// the help laid out in two columns, and the help of each program naming only options that it reads.
#include "tools/common/CommandOptions.h"
#include "tools/common/FormatText.h"
#include "tools/receiver/TargetConfig.h"
#include "tools/receiver/TargetOptions.h"
#include "tools/send/SendOptions.h"
#include "tools/send/SendStatus.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace TESSERA;

std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    for (std::string word; in >> word;)
        out.push_back(word);
    return out;
}

struct Settings {
    std::string text;
    bool flag = false;
};
// clang-format off
const std::vector<CommandOption<Settings>> kTable = {
    {nullptr, nullptr, "Group", nullptr},
    {"--text", "T", "sets the text that this test reads back", [](Settings& s, const std::string& v, std::string&) { s.text = v; return true; }},
    {"--a-rather-long-flag", nullptr, "a flag", [](Settings& s, const std::string&, std::string&) { return s.flag = true; }},
    {"--help", nullptr, "help", [](Settings& s, const std::string&, std::string&) { return s.flag = true; }},
};
// clang-format on

TEST(CommandOptionsTest, ReadsValuesFlagsAndRefusals) {
    // what --text holds, or the error
    // clang-format off
    const struct { const char* arguments; const char* text; bool ok, flag; } rows[] = {
        {"--text a --text=b=c", "b=c", true, false}, {"--text= -h", "", true, true}, {"--a-rather-long-flag", "", true, true},
        {"--text", "--text needs a value: T", false, false}, {"--help=1", "--help takes no value", false, false},
        {"-x", "unknown option \"-x\"", false, false}, {"--text=1 --tex", "unknown option \"--tex\"", false, false},
    };
    // clang-format on
    for (const auto& r : rows) {
        Settings s;
        std::string error;
        const auto arguments = words(r.arguments);
        bool ok = true;
        for (size_t i = 0; ok && i < arguments.size(); ++i)
            ok = applyOption(kTable, arguments, i, s, error);
        EXPECT_TRUE(ok == r.ok && s.flag == r.flag) << r.arguments;
        EXPECT_EQ(ok ? s.text : error, r.text) << r.arguments;
    }
    EXPECT_EQ(optionsHelp(kTable, 16, 40), "\nGroup:\n"
                                           "  --text T      sets the text that this\n"
                                           "                test reads back\n"
                                           "  --a-rather-long-flag\n"
                                           "                a flag\n"
                                           "  --help        help\n");
}

// Every option that a program's help names is one that it reads: alone it parses, or wants its value.
TEST(CommandOptionsTest, EachProgramsHelpNamesOptionsItReads) {
    // clang-format off
    const struct { std::string help; bool (*parse)(std::vector<std::string>, std::string&); size_t least; } rows[] = {
        {SendOptions::help(), [](std::vector<std::string> a, std::string& e) { return SendOptions().parse({"::1,7", a[0]}, e); }, 19},
        {TargetOptions::help(), [](std::vector<std::string> a, std::string& e) { return TargetOptions().parse(a, e); }, 15},
    };
    // clang-format on
    for (const auto& r : rows) {
        size_t named = 0;
        for (size_t at = r.help.find("\n  --"); at != std::string::npos;
             at = r.help.find("\n  --", at + 1), ++named) {
            const std::string option = r.help.substr(at + 3, r.help.find_first_of(" \n", at + 3) - at - 3);
            std::string error;
            if (r.parse({option}, error)) continue;
            EXPECT_NE(error.find(option + " needs a value"), std::string::npos) << option << ": " << error;
        }
        EXPECT_GE(named, r.least);
    }
    for (const char* status : {"  0  ", "  1  ", "  2  ", "  3  ", "  4  ", "  5  "})
        EXPECT_NE(SendOptions::help().find(status), std::string::npos) << status;
}

TEST(CommandOptionsTest, SendersOwnValues) {
    // clang-format off
    const struct { const char* arguments; bool (*holds)(const SendOptions&); } rows[] = {
        {"::1,19650", [](const SendOptions& o) { return o.target.port() == 19650 && o.mode == SendOptions::Mode::Fix && o.cycleTime == 1000 && o.threadMode == 1 && o.syncBufferCount == 6 && o.bufferSize == 512 && o.infoCycle == 100000 && o.signalFormat == StreamFormat(0x0202, 0x000A); }},
        {"::1,7 --signal 192000:24:2 --mode Random", [](const SendOptions& o) { return o.signalFormat == StreamFormat(0x0402, 0x0024) && o.mode == SendOptions::Mode::Random; }},
        {"::1,7 --thread-mode CRITICAL+SOCKETNOBLOCK+NOSLEEPFORCE", [](const SendOptions& o) { return o.threadMode == 0x809; }},
        {"::1,7 --thread-mode 0x10C --phase invert", [](const SendOptions& o) { return o.threadMode == 0x10C && o.phaseInvert; }},
        {"fe80::1,19650 --interface eth0", [](const SendOptions& o) { return o.target.isLinkLocal() && o.interfaceName == "eth0"; }},
    };
    // clang-format on
    for (const auto& r : rows) {
        SendOptions options;
        std::string error;
        ASSERT_TRUE(options.parse(words(r.arguments), error)) << r.arguments << ": " << error;
        EXPECT_TRUE(r.holds(options)) << r.arguments;
    }
    std::string error;
    for (const char* refused : {"", "::1", "::1,1 ::1,2", "fe80::1,19650",
                                "::1,7 --thread-mode CRITICAL+FAST", "::1,7 --sync-buffer-count 1"})
        EXPECT_FALSE(SendOptions().parse(words(refused), error)) << refused;
    SendProgress p;
    p.format = "PCM 16-bit 44100 Hz 2 ch", p.frames = 132300, p.elapsed = 3.04, p.warnings = 2;
    p.lastWarning = "SyncBuffer not enough mute data return 1764";
    EXPECT_EQ(SendStatus::text(p),
              "streaming PCM 16-bit 44100 Hz 2 ch | 3.0 s (until Ctrl-C) | 132300 frames | 2 warnings, last: "
              "the source was slow: 1764 bytes of silence went out");
}

TEST(CommandOptionsTest, TargetOutputsGetPortsNamesAndFilesOfTheirOwn) {
    TargetOptions options;
    std::string error;
    const auto arguments =
        words("--outputs 3 --control-port=5000 --output-name A,B --output d.x/r.wav --report rep "
              "--latency 2550 --loss=0.05");
    ASSERT_TRUE(options.parse(arguments, error)) << error;
    const auto& outputs = options.config.outputs;
    ASSERT_EQ(outputs.size(), 3u);
    const char* rows[][3] = {
        {"A", "d.x/r.wav", "rep"}, {"B", "d.x/r-2.wav", "rep-2"}, {"Output 3", "d.x/r-3.wav", "rep-3"}};
    for (size_t i = 0; i < 3; ++i) {
        const OutputConfig& o = outputs[i];
        EXPECT_TRUE(o.name == rows[i][0] && o.outputPath == rows[i][1] && o.reportPath == rows[i][2]) << i;
        EXPECT_TRUE(o.controlPort == 5000 + i && o.latency == 25 && o.faults.lossRate == 0.05) << i;
    }
    for (const char* refused : {"--outputs 0", "--outputs 2 --control-port 1,2,3",
                                "--control-port 65535 --outputs 2", "--loss 1.5", "--refuse maybe", "mtu"})
        EXPECT_FALSE(TargetOptions().parse(words(refused), error)) << refused;
}

TEST(CommandOptionsTest, FormatsFromWordsAndBack) {
    enum Kind { Pcm, Lsb, Msb, Words };
    // clang-format off
    const struct { Kind kind; const char* text; bool ok; uint32_t type, rate; } rows[] = {
        {Pcm, "44100,96000:16,24:2", true, 0x0602, 0x001E}, {Pcm, "8000,768000:8,f32,f64:1,6,16", true, 0x6129, 0x0085}, {Pcm, "none", true, 0, 0},
        {Pcm, "44101:16:2", false, 0, 0}, {Pcm, "44100:12:2", false, 0, 0}, {Pcm, "44100:16:3", false, 0, 0}, {Pcm, "44100,:16:2", false, 0, 0},
        {Lsb, "64,128:little:2", true, 0x02510002, 0x0602}, {Msb, "3072000:big,little:8", true, 0x02E10010, 0x0204}, {Lsb, "32:little:2", false, 0, 0},
        {Words, "0x2E13,0xFE", true, 0x2E13, 0xFE}, {Words, "2e13,fe", true, 0x2E13, 0xFE}, {Words, "0x2E13", false, 0, 0}, {Words, "0x1FFFFFFFF,0", false, 0, 0},
    };
    // clang-format on
    for (const auto& r : rows) {
        StreamFormat mask(0xDEAD, 0xBEEF);
        std::string error;
        const bool ok = r.kind == Pcm     ? FormatText::parsePcm(r.text, mask, error)
                        : r.kind == Words ? FormatText::parseWords(r.text, mask, error)
                                          : FormatText::parseDsd(r.text, r.kind == Lsb, mask, error);
        EXPECT_TRUE(ok == r.ok && error.empty() == r.ok) << r.text << ": " << error;
        EXPECT_EQ(r.ok ? mask : StreamFormat(r.type, r.rate), StreamFormat(r.type, r.rate)) << r.text;
    }
    // clang-format off
    const struct { StreamFormat format; const char* text; } described[] = {
        {{0x0402, 0x0014}, "PCM 24-bit 96000 Hz 2 ch"}, {{0x2010, 0x000C}, "PCM 32-bit float 48000 Hz 8 ch"}, {{0x02A10001, 0x0404}, "DSD128x48k MSB big 1 ch"},
        {{0x02510002, 0x0202}, "DSD64 LSB little 2 ch"}, {{0x0403, 0x0014}, "invalid format 0x00000403,0x00000014"},
    };
    // clang-format on
    for (const auto& r : described)
        EXPECT_EQ(FormatText::describe(r.format), r.text);
    // The first eight characters, 'Q' lowest; fewer give all ones.
    EXPECT_TRUE(productIdOf("QUINTARAX") == 0x415241544E495551u && productIdOf("QUINTAR") == ~uint64_t{0});
    EXPECT_EQ(productIdOf(std::string(8, '\0')), 0u);
}

} // namespace
