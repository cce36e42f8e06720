// tessera-send as a user runs it against the software Target on ::1: each way a run can end, judged by
// the Target's report, the exit status and the message.
#include "tests/support/ProgramRun.h"
#include "tests/support/RunningProgram.h"
#include "tests/support/SignalWav.h"
#include "tests/support/StreamTarget.h"
#include "tools/receiver/Capabilities.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace TESSERA;
using namespace std::chrono_literals;

const char* kSender = "tools/send/tessera-send";

// The software Target in this process, taking DSD of bit order LSB too, then shaped by the test.
class Target : public TESTING::StreamTarget {
public:
    explicit Target(const Tweak& shape = nullptr)
        : StreamTarget([shape](OutputConfig& o) {
              o.dsdLsbMask = Capabilities::defaultDsd(true);
              if (shape) shape(o);
          }) {}
    std::string at() const { return "::1," + std::to_string(control().port()); }
    bool report(StreamReport& out) { return StreamTarget::report(0, out); }
};

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Each stream's signal arrives bit-perfect, each frame matched by the Target, and the sender says so. The
// WAV file row streams 30,000 frames of 24-bit stereo at 48 kHz written for it.
TEST(SendProgramTest, TheSignalArrivesBitPerfectAndTheSenderSaysSo) {
    const std::string wav = testing::TempDir() + "send-program-test.wav";
    ASSERT_TRUE(TESTING::writeSignalWav(wav, StreamFormat(0x0402, 0x000C), 30000));
    // clang-format off
    const struct { std::string arguments; uint64_t frames; const char* said; } rows[] = {
        {"--seconds 1", 44100, ""},
        {"--signal 96000:24:2 --seconds 0.5 --mode Var --cycle-time 2000 --fragment 0", 48000, ""},
        {"--signal dsd:64:little:2 --seconds 0.5 --quiet", 44100, ""},
        {"--seconds 0.5 --mode Random --cycle-min-time 500", 22050, ""},
        {"--seconds 0.5 --mode profile", 22050, ""},
        {"--wav " + wav, 30000, "30000 frames of PCM 24-bit 48000 Hz 2 ch"},
    };
    // clang-format on
    for (const auto& r : rows) {
        Target target;
        const TESTING::ProgramRun run = TESTING::runProgram(kSender, target.at() + " " + r.arguments);
        EXPECT_EQ(run.status, 0) << run.output;
        EXPECT_TRUE(contains(run.output, "tessera-send: streamed ") && contains(run.output, r.said))
            << run.output;
        StreamReport report;
        ASSERT_TRUE(target.report(report)) << run.output;
        EXPECT_TRUE(report.bitPerfect() && report.finalSeen && report.verifier.matched == r.frames)
            << r.arguments << ": " << report.verifier.matched;
    }
    std::remove(wav.c_str());
}

TEST(SendProgramTest, RefusalsSilenceAndEarlyEndsGiveTheirStatusAndMessage) {
    // shape: null when nothing listens
    // clang-format off
    const struct { const char* name; std::function<void(OutputConfig&)> shape; const char* arguments; int status; const char* message; } rows[] = {
        {"silent", nullptr, "", 3, "tessera-send: the Target at ::1,1 is silent: no answer to the negotiation"},
        {"refused by echo", [](OutputConfig& o) { o.refuseConnect = OutputConfig::Refusal::Echo; }, "", 4, "tessera-send: the Target at ::1,"},
        {"refused without content", [](OutputConfig& o) { o.refuseConnect = OutputConfig::Refusal::NoContent; }, "", 4, " refused the stream"},
        {"no capabilities", [](OutputConfig& o) { o.pcmMask = o.dsdLsbMask = StreamFormat(); }, "", 3, "answered, but not every question of the negotiation"},
        {"format refused", [](OutputConfig& o) { o.pcmMask = StreamFormat(0x402, 0x0014); }, "", 4, "tessera-send: the Target refused the format PCM 16-bit 44100 Hz 2 ch (it takes PCM 0x00000402"},
        {"closed by the Target", [](OutputConfig& o) { o.faults.closeAfterMs = 300; }, "", 5, "tessera-send: the stream ended early, after "},
        {"no plan", nullptr, "--mode Random", 1, "no Random plan fits a cycle of 1000 us"},
    };
    // clang-format on
    for (const auto& row : rows) {
        std::unique_ptr<Target> target;
        if (row.shape || row.status == 1) target = std::make_unique<Target>(row.shape);
        const std::string at = target ? target->at() : "::1,1";
        const auto started = std::chrono::steady_clock::now();
        const TESTING::ProgramRun run =
            TESTING::runProgram(kSender, at + " --seconds 5 " + std::string(row.arguments));
        EXPECT_EQ(run.status, row.status) << row.name << "\n" << run.output;
        EXPECT_TRUE(contains(run.output, row.message)) << row.name << "\n" << run.output;
        // None of them waits for the five seconds of the stream.
        EXPECT_LT(std::chrono::steady_clock::now() - started, 4s) << row.name;
    }
}

TEST(SendProgramTest, BadArgumentsGiveUsage) {
    // clang-format off
    const struct { const char* arguments; const char* message; } rows[] = {
        {"", "tessera-send: give the Target as ADDRESS,PORT, e.g. ::1,19650 (see --help)"},
        {"::1,19650 --mode fix", "tessera-send: --mode takes Fix"},
        {"fe80::1,19650", "is link-local: name its interface with --interface"},
        {"::1,1 --wav /nonexistent/a.wav", "tessera-send: can't stream /nonexistent/a.wav: "},
    };
    // clang-format on
    for (const auto& row : rows) {
        const TESTING::ProgramRun run = TESTING::runProgram(kSender, row.arguments);
        EXPECT_EQ(run.status, contains(row.arguments, "--wav") ? 1 : 2) << row.arguments << "\n"
                                                                        << run.output;
        EXPECT_TRUE(contains(run.output, row.message)) << row.arguments << "\n" << run.output;
    }
    const TESTING::ProgramRun help = TESTING::runProgram(kSender, "--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(contains(help.output, "usage: tessera-send ADDRESS,PORT [options]"));
}

TEST(SendProgramTest, CtrlCEndsTheStreamCleanly) {
    Target target;
    TESTING::RunningProgram sender(kSender, {target.at(), "--seconds", "20"});
    ASSERT_TRUE(sender.started());
    // Once the stream runs (its plan is printed before play), the user presses Ctrl-C.
    for (int i = 0; i < 200 && !contains(sender.output(), "  plan "); ++i)
        std::this_thread::sleep_for(20ms);
    std::this_thread::sleep_for(500ms);
    sender.signal(SIGINT);
    const TESTING::ProgramRun run = sender.wait(10s);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(contains(run.output, "tessera-send: stopped by Ctrl-C after ")) << run.output;
    StreamReport report;
    ASSERT_TRUE(target.report(report));
    EXPECT_TRUE(report.finalSeen && report.closedByHost && report.bitPerfect() &&
                report.verifier.matched > 0u);
}

} // namespace
