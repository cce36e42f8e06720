// The worker end to end: a session streams the test signal to the software Target on ::1 and closes the
// stream; a Target that refuses the stream, one that falls silent, and one that never answers the close.
#include "BRINA/Thread.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SignalSession.h"
#include "tests/support/StreamTarget.h"
#include "transport/Sync.h"
#include "transport/ThreadMode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace TESSERA;
using namespace std::chrono_literals;

using TESTING::SignalSession;
using Target = TESTING::StreamTarget;
using Plan = SignalSession::Plan;

const StreamFormat kPcm16Stereo44100(0x0202, 0x000A);

// Negotiates 44.1 kHz, 16 bits, stereo in a plan of one packet a cycle of about a millisecond, with a
// second of the signal, more than any stream here takes.
bool prepare(SignalSession& session, Target& target, Plan plan = Plan::Fix) {
    if (!session.negotiate(target.control(), kPcm16Stereo44100, plan)) return false;
    session.prepareSignal(1.0);
    return session.connectPrepare();
}

bool waitForIdle(Sync& session) {
    for (int i = 0; i < 1000 && session.getState() != Sync::Idle; ++i)
        std::this_thread::sleep_for(10ms);
    return session.getState() == Sync::Idle;
}

bool logged(const TESTING::LogCapture& capture, const std::string& start) {
    for (const auto& m : capture.messages())
        if (m.rfind(start, 0) == 0) return true;
    return false;
}

// The number after the start of the first line that begins with it; -1 when there is none.
int64_t loggedNumber(const TESTING::LogCapture& capture, const std::string& start) {
    for (const auto& m : capture.messages())
        if (m.rfind(start, 0) == 0) return std::stoll(m.substr(start.size()));
    return -1;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Each row streams the signal for a moment, then ends the stream or lets the row's fault end it.
TEST(WorkerStreamTest, StreamsTheSignalAndEndsTheStream) {
    // HostUnanswered: the Host closes, the Target never answers, and the Host gives up after its tries.
    enum class End { Host, HostUnanswered, Target, Worker };
    enum class Phase { Normal, Inverted, Switched }; // Switched: the host turns its phase midway
    struct Row {
        const char* name;
        std::function<void(OutputConfig&)> tweak;
        std::vector<std::string> lines; // the worker's log lines that show it, by their start
        End end;
        Phase phase = Phase::Normal; // how the signal arrives
        bool repeats = false;
        Plan plan = Plan::Fix;
    } rows[] = {
        {"a plain stream, closed by the Host",
         [](OutputConfig&) {},
         {"CONNECTPRE_REQ latency=", "connectWait notimeout", "connectWait 2", "redy to play loop start0",
          "play 2", "buffer Final ", "discone", "wth end"},
         End::Host},
        {"packets of a fixed size, the cycle follows the feedback",
         [](OutputConfig&) {},
         {"info rcv 3 "},
         End::Host,
         Phase::Normal,
         false,
         Plan::Var},
        {"cycles drawn at random",
         [](OutputConfig&) {},
         {"info rcv 3 "},
         End::Host,
         Phase::Normal,
         false,
         Plan::Random},
        {"lost packets are repeated",
         [](OutputConfig& o) { o.faults.burstEvery = 200, o.faults.burstLength = 3; },
         {"   cout resend "},
         End::Host,
         Phase::Normal,
         true},
        {"inverted phase from the start",
         [](OutputConfig& o) { o.invertAtStart = true; },
         {"Play Phase Invert"},
         End::Host,
         Phase::Inverted},
        {"the host's phase turns at the next feedback",
         [](OutputConfig&) {},
         {"Host Phase Invert"},
         End::Host,
         Phase::Switched},
        {"the Target closes the stream",
         [](OutputConfig& o) { o.faults.closeAfterMs = 300; },
         {"DSICONNECT_ANS "},
         End::Target},
        {"a resend further back than the ring",
         [](OutputConfig& o) { o.faults.resendBeyondAtMs = 300; },
         {"   cout error "},
         End::Worker},
        // Nothing from the Target for a second (8 info cycles of 10 ms are less) ends the stream.
        {"a Target that falls silent",
         [](OutputConfig& o) { o.faults.silentAfterMs = 200; },
         {"   timeout "},
         End::Worker},
        {"a Target that never answers the close",
         [](OutputConfig& o) { o.faults.ignoreDisconnect = true; },
         {"buffer Final ", "discone"},
         End::HostUnanswered},
    };
    for (const auto& r : rows) {
        TESTING::LogCapture capture(6);
        Target target(r.tweak);
        ASSERT_TRUE(target.started()) << r.name;
        SignalSession session;
        ASSERT_TRUE(prepare(session, target, r.plan)) << r.name;
        const auto connected = std::chrono::steady_clock::now();
        ASSERT_TRUE(session.connect() && session.connectWait() && session.is_connect()) << r.name;
        EXPECT_EQ(session.getState(), Sync::Streaming) << r.name;
        session.play();
        std::this_thread::sleep_for(250ms);
        if (r.phase == Phase::Switched) session.setHostPhase(true);
        std::this_thread::sleep_for(250ms);
        const bool hostCloses = r.end == End::Host || r.end == End::HostUnanswered;
        if (hostCloses) {
            EXPECT_EQ(session.getState(), Sync::Streaming) << r.name;
            const auto closing = std::chrono::steady_clock::now();
            session.disconnect(); // returns when the stream has ended
            const double closeSeconds = secondsSince(closing);
            EXPECT_EQ(session.getState(), Sync::Idle) << r.name;
            EXPECT_FALSE(session.hasWorker()) << r.name;
            // Four tries of half a second each, unanswered; on time, give or take a busy machine.
            if (r.end == End::HostUnanswered) {
                EXPECT_GE(closeSeconds, 1.9) << r.name;
                EXPECT_LT(closeSeconds, 8.0) << r.name;
            }
        }
        EXPECT_TRUE(waitForIdle(session)) << r.name;
        const double idleSeconds = secondsSince(connected);
        session.close();
        EXPECT_FALSE(session.hasWorker()) << r.name;
        for (const auto& line : r.lines)
            EXPECT_TRUE(logged(capture, line)) << r.name << ": " << line;
        EXPECT_EQ(capture.contains("DSICONNECT_REQ ERROR "), r.end == End::HostUnanswered) << r.name;
        const int64_t silence = loggedNumber(capture, "   timeout ");
        const bool timesOut = std::find(r.lines.begin(), r.lines.end(), "   timeout ") != r.lines.end();
        EXPECT_EQ(silence >= 0, timesOut) << r.name;
        if (timesOut) {
            // The receive time-out is a second here, and the line tells the silence in microseconds; the
            // stream began at the connect, so it can't have ended within a second of that.
            EXPECT_GE(silence, 1000000) << r.name;
            EXPECT_LT(silence, 4000000) << r.name;
            EXPECT_GE(idleSeconds, 1.0) << r.name;
            EXPECT_LT(idleSeconds, 10.0) << r.name;
        }

        if (r.end == End::Worker) target.target().stop(); // the worker ended without a word to the Target
        StreamReport report;
        ASSERT_TRUE(target.report(0, report)) << r.name;
        EXPECT_EQ(report.closedByHost, r.end == End::Host) << r.name;
        // Unanswered, the Target's stream ran on until the Host had been silent for a while.
        EXPECT_EQ(report.hostSilent, r.end == End::HostUnanswered) << r.name;
        EXPECT_EQ(report.verifier.differed, 0u) << r.name;
        if (!hostCloses) continue;
        EXPECT_EQ(report.finalSeen, r.end == End::Host) << r.name;
        EXPECT_EQ(report.gapsNeverFilled, 0u) << r.name;
        EXPECT_GT(session.handedOut.load(), 0u) << r.name;
        // Every frame handed out arrived, in order, and nothing else but silence.
        const VerifierResult& v = report.verifier;
        // The host's own turn is one the Target never asked for; the Target's own wish is kept.
        EXPECT_EQ(report.bitPerfect(), r.phase != Phase::Switched) << r.name << ": " << report.toJson();
        EXPECT_EQ(v.invertedUnasked != 0, r.phase == Phase::Switched) << r.name;
        EXPECT_EQ(v.switched, r.phase == Phase::Inverted) << r.name;
        EXPECT_EQ(v.matched + v.inverted, session.handedOut.load()) << r.name;
        EXPECT_EQ(v.matched != 0, r.phase != Phase::Inverted) << r.name;
        EXPECT_EQ(v.inverted != 0, r.phase != Phase::Normal) << r.name;
        EXPECT_EQ(report.repeats > 0, r.repeats) << r.name;
    }
}

TEST(WorkerStreamTest, RefusedStreamLeavesTheSessionIdle) {
    TESTING::LogCapture capture(6);
    Target target([](OutputConfig& o) { o.refuseConnect = OutputConfig::Refusal::Echo; });
    ASSERT_TRUE(target.started());
    SignalSession session;
    ASSERT_TRUE(prepare(session, target));
    session.gated = true;
    ASSERT_TRUE(session.connect());
    // The worker starts once this thread is well inside connectWait; it ends as the Target refuses.
    std::thread opener([&session] {
        std::this_thread::sleep_for(300ms);
        session.openGate();
    });
    EXPECT_TRUE(session.connectWait());
    opener.join();
    EXPECT_FALSE(session.is_connect());
    EXPECT_EQ(session.getState(), Sync::Idle);
    EXPECT_TRUE(capture.contains("wth CR ack none"));
    EXPECT_TRUE(capture.contains("connectWait 0"));
    session.disconnect(); // nothing to end: returns at once
    EXPECT_FALSE(capture.contains("discone"));
    // Without a plan the worker asks for no stream.
    session.setTransferProfile(TransferProfile{});
    ASSERT_TRUE(session.connect());
    EXPECT_TRUE(waitForIdle(session));
    EXPECT_TRUE(capture.contains("wth profile invalid"));

    // A Target that never answers CONNECT_REQ holds the worker in its tries of ten seconds; close lets it go.
    Target silent([](OutputConfig& o) { o.refuseConnect = OutputConfig::Refusal::Silent; });
    SignalSession asking;
    ASSERT_TRUE(prepare(asking, silent) && asking.connect());
    std::this_thread::sleep_for(300ms);
    const auto closing = std::chrono::steady_clock::now();
    asking.close();
    EXPECT_LT(secondsSince(closing), 0.2);
    EXPECT_EQ(asking.getState(), Sync::Idle);

    // Without a format nothing starts, and there is nothing to wait for.
    Sync bare;
    EXPECT_FALSE(bare.connect());
    EXPECT_FALSE(bare.hasWorker());
    EXPECT_FALSE(bare.connectWait());
    EXPECT_TRUE(capture.contains("sinkConfig invalid"));
}

TEST(WorkerStreamTest, ModeWordInTheStartLine) {
    const uint32_t cores = BRINA::physicalCoreCount();
    const std::string cpu = "CPU:" + std::to_string(cores);
    const bool few = cores <= 2;
    struct Row {
        uint32_t mode;
        uint16_t latency;
        std::string line;
        uint32_t modeAfter;
    } rows[] = {
        {CRITICAL, 20, "wth start CRITICAL " + cpu + " FEEDBACK:1  Info=10", CRITICAL},
        {NOFASTFEEDBACK, 2000, "wth start " + cpu + " FEEDBACK:1  Info=10", 0},
        {NOFASTFEEDBACK, 2001, "wth start " + cpu + " FEEDBACK:1 NOFASTFEEDBACK  Info=10", NOFASTFEEDBACK},
        {FEEDBACK | NOSLEEPFORCE | NOSLEEP4CORE | SOCKETNOBLOCK, 20,
         "wth start NOSLEEP4CORE NOSLEEPFORCE SOCKETNOBLOCK " + cpu + " FEEDBACK:8  Info=10",
         FEEDBACK | NOSLEEPFORCE | NOSLEEP4CORE | SOCKETNOBLOCK},
        {NOSLEEP4CORE | NOSHORTSLEEP, 20,
         std::string("wth start NOSHORTSLEEP ") + (few ? "" : "NOSLEEP4CORE ") + cpu + " FEEDBACK:1  Info=10",
         NOSHORTSLEEP | (few ? 0 : NOSLEEP4CORE)},
    };
    Target target([](OutputConfig& o) { o.refuseConnect = OutputConfig::Refusal::Echo; });
    ASSERT_TRUE(target.started());
    for (const auto& r : rows) {
        TESTING::LogCapture capture(6);
        SignalSession session;
        ASSERT_TRUE(prepare(session, target)) << r.line;
        session.setThreadMode(r.mode);
        session.latency = r.latency;
        ASSERT_TRUE(session.connect()) << r.line;
        EXPECT_TRUE(waitForIdle(session)) << r.line;
        session.close();
        std::vector<std::string> starts;
        for (const auto& m : capture.messages())
            if (m.rfind("wth start ", 0) == 0) starts.push_back(m);
        EXPECT_EQ(starts, std::vector<std::string>{r.line});
        // The reduced word stays for the next stream.
        EXPECT_EQ(session.getThreadMode(), r.modeAfter) << r.line;
    }
}

} // namespace
