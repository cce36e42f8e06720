// ctest-resource-lock: port19642
// (At log level 6 the Host asks for the Target's log at port 19642, where another test's Target may listen.)
// Streams to the software Target on ::1, one row each: the host's format and plan, the Target's shape and
// faults, and how the stream must arrive by the Target's report, the worker's log and its observer.
#include "BRINA/Thread.h"
#include "BRINA/Time.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/LogCapture.h"
#include "tests/support/OpenSync.h"
#include "tests/support/Sanitizer.h"
#include "tests/support/ScriptedHost.h"
#include "tests/support/SignalSession.h"
#include "tests/support/StreamTarget.h"
#include "tools/receiver/Capabilities.h"
#include "transport/FeedbackControl.h"
#include "transport/ThreadMode.h"
#include "transport/WorkerObserver.h"
#include "transport/wire/SyncMessages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace TESSERA;
using namespace std::chrono_literals;
using TESTING::SignalSession;
using Out = OutputConfig;
using Clock = std::chrono::steady_clock;
using enum TESSERA::PlanMode;

// Every burst and every feedback the worker took; read after the worker has ended. Full, it keeps what it
// has: the worker must not allocate.
struct Recorder : WorkerObserver {
    using Burst = std::array<uint32_t, 4>;     // due, sent, packets, repeats
    using Taken = std::pair<int16_t, int16_t>; // the value and its rateAdjust
    Recorder() { bursts.reserve(20000), taken.reserve(20000); }
    void burstSent(uint32_t due, uint32_t sent, uint32_t packets, uint32_t repeats) override {
        if (bursts.size() < bursts.capacity()) bursts.push_back({due, sent, packets, repeats});
    }
    void feedbackTaken(int16_t value, int16_t rateAdjust) override {
        if (taken.size() < taken.capacity()) taken.push_back({value, rateAdjust});
    }
    std::vector<Burst> bursts;
    std::vector<Taken> taken;
};

const StreamFormat kPcm44(0x0202, 0x000A), kPcm192(0x0402, 0x0024), kPcm192x32(0x0802, 0x0024),
    kFloat384(0x2002, 0x0044), kPcm768x8(0x0810, 0x0084), kDsd64(0x2510002, 0x0202),
    kDsd256(0x2510002, 0x0802), kDsd512(0x2510002, 0x1002), kDsdMsbBig(0x2A10002, 0x0202);
constexpr uint32_t kLittle = 0x00400000, kBig = 0x00800000;

// Shapes of the Target, on top of every PCM format and DSD of bit order LSB.
template <uint16_t Flags> void profile(Out& o) {
    o.profileMin = 50, o.profileMax = 200, o.profileFlags = Flags;
}
template <bool Lsb, uint32_t ByteOrders> void dsdOnly(Out& o) { // one bit order, only these byte orders
    const StreamFormat all = Capabilities::defaultDsd(Lsb);
    (Lsb ? o.dsdLsbMask : o.dsdMsbMask) =
        StreamFormat((all.type() & ~(kLittle | kBig)) | ByteOrders, all.rateBits());
    (Lsb ? o.dsdMsbMask : o.dsdLsbMask) = StreamFormat();
}
// Loss ends 700 ms in: a packet lost in the stream's last moments is not repeated.
template <int PerMille, uint32_t Every = 0, uint32_t Length = 0> void lose(Out& o) {
    o.faults.seed = 7, o.faults.lossRate = PerMille / 1000.0, o.faults.burstEvery = Every;
    o.faults.burstLength = Length, o.faults.lossEndsAtMs = 700;
}
// A link of a small MTU that loses packets: repeats, 8 bytes longer, must fit it too.
template <uint16_t Mtu> void smallLink(Out& o) {
    lose<10, 250, 3>(o), o.mtu = Mtu;
}
template <int Ppm, uint32_t LevelMs = 50> void drift(Out& o) {
    o.faults.driftPpm = Ppm, o.startLevelMs = o.bufferTargetMs = LevelMs;
}
template <auto Field, auto Value> void set(Out& o) {
    o.*Field = Value;
}
template <auto Field, auto Value> void fault(Out& o) {
    o.faults.*Field = Value;
}

enum Arrival { Whole, Switched, Unasked, TargetEnds, WorkerEnds, Unanswered };
enum Host { Plain, Invert, TurnMidway, Wrap }; // the host's phase, or its clock 1 s before the wrap

struct Row {
    const char* name;
    StreamFormat format;
    SignalSession::Plan plan;
    void (*target)(Out&);
    const char* line = ""; // the start of a log line that shows the row's path
    Arrival arrival = Whole;
    double seconds = 0.5;
    Host host = Plain;
};
void PrintTo(const Row& r, std::ostream* out) {
    *out << r.name;
}

// clang-format off
const Row kRows[] = {
    {"Pcm192Random", kPcm192, Random, {}, "info rcv 3 "},
    {"Float384VarAuto", kFloat384, VarAuto, {}},
    {"Pcm768x8Fix", kPcm768x8, Fix, {}},
    {"Dsd64Var", kDsd64, Var, {}, "info rcv 3 "},
    {"Dsd256FixAuto", kDsd256, FixAuto, {}},
    {"Dsd512Fix", kDsd512, Fix, {}},
    {"Pcm44ProfileFromShortest", kPcm44, Profile, profile<ProfileCycleFromMin>},
    {"Dsd64ProfileVar", kDsd64, Profile, profile<ProfileCycleFromMin | ProfileVar>},
    {"Pcm192ProfileLongest", kPcm192, Profile, profile<ProfileAutoCount>},
    {"DsdSwap", kDsd64, Fix, dsdOnly<true, kBig>, "DSD COVERT LSB littele -> LSB Big"},
    {"DsdReverse", kDsd64, Fix, dsdOnly<false, kBig>, "DSD COVERT LSB littele -> MSB Big"},
    {"DsdSwapReverse", kDsd64, Fix, dsdOnly<false, kLittle>, "DSD COVERT LSB littele -> MSB littele"},
    {"DsdMsbReverse", kDsdMsbBig, Fix, dsdOnly<true, kLittle>, "DSD COVERT MSB Big -> LSB littele"},
    {"InvertAskedMidStream", kDsd64, Fix, set<&Out::invertAtMs, 300u>, "Play Phase Invert", Switched, 1},
    {"HostAndTargetInvert", kPcm44, Fix, set<&Out::invertAtStart, true>, "Play Phase Normal", Whole, .5, Invert},
    {"HostTurnsUnasked", kPcm44, Fix, {}, "Host Phase Invert", Unasked, 1, TurnMidway},
    {"FivePercentLoss", kPcm44, Fix, lose<50>, "   cout resend ", Whole, 1},
    {"BurstsOfTenLost", kPcm44, Fix, lose<0, 250, 10>, "   cout resend ", Whole, 1},
    {"Mtu1280Fix", kPcm192x32, Fix, smallLink<1280>, "   cout resend ", Whole, 1},
    {"Mtu1280Var", kPcm192x32, Var, smallLink<1280>, "   cout resend ", Whole, 1},
    {"Mtu1280Random", kPcm192x32, Random, smallLink<1280>, "   cout resend ", Whole, 1},
    {"Mtu1492Fix", kPcm192x32, Fix, smallLink<1492>, "   cout resend ", Whole, 1},
    {"Mtu1492Var", kPcm192x32, Var, smallLink<1492>, "   cout resend ", Whole, 1},
    {"Mtu1492Random", kPcm192x32, Random, smallLink<1492>, "   cout resend ", Whole, 1},
    // Reports every 100 ms, the driver's own cycle: every 10 ms the loop rings for seconds.
    {"Fast300ppm", kPcm44, Fix, drift<300>, "", Whole, 10},
    {"Slow300ppm", kPcm44, Fix, drift<-300>, "", Whole, 10},
    {"FastFivePercentBeyondRange", kPcm44, Fix, drift<50000, 20>, "", Whole, 2},
    {"ClockWrapsMidStream", kPcm44, Fix, {}, "", Whole, 2, Wrap},
    {"TargetCloses", kPcm44, Fix, fault<&StreamFaults::closeAfterMs, 300u>, "DSICONNECT_ANS ", TargetEnds, 1},
    {"ResendBeyondRing", kPcm44, Fix, fault<&StreamFaults::resendBeyondAtMs, 300u>, "   cout error ", WorkerEnds, 1},
    // Nothing from the Target for a second (8 info cycles of 10 ms are less) ends the stream.
    {"TargetFallsSilent", kPcm44, Fix, fault<&StreamFaults::silentAfterMs, 200u>, "   timeout ", WorkerEnds, 2},
    {"CloseUnanswered", kPcm44, Fix, fault<&StreamFaults::ignoreDisconnect, true>, "discone", Unanswered},
};
// clang-format on

// The number after the first log line that begins with start; -1 when there is none.
int64_t loggedNumber(const TESTING::LogCapture& capture, const std::string& start) {
    for (const auto& m : capture.messages())
        if (m.rfind(start, 0) == 0) return std::stoll("0" + m.substr(start.size()));
    return -1;
}

struct ClockOffset { // puts the clock back for whatever runs next
    ~ClockOffset() { BRINA::setMicrosecondOffset(0); }
};

class StreamTest : public testing::TestWithParam<Row> {};

TEST_P(StreamTest, ArrivesAsTheRowSays) {
    const Row& r = GetParam();
    const auto shape = [&r](Out& o) {
        o.dsdLsbMask = Capabilities::defaultDsd(true);
        if (r.target) r.target(o);
    };
    Out o;
    shape(o);
    const bool hostCloses = r.arrival != TargetEnds && r.arrival != WorkerEnds;
    const double drift = o.faults.driftPpm, needed = drift * 1e-6 * 16384;
    const bool steered = drift != 0 && std::abs(drift) < 30000; // the Host corrects by 3% at most
    TESTING::LogCapture capture(6);
    TESTING::StreamTarget target(shape);
    SignalSession session;
    Recorder recorder;
    session.setObserver(&recorder);
    ASSERT_TRUE(target.started());
    ASSERT_TRUE(session.negotiate(target.control(), r.format, r.plan, 1, 500, steered ? 100'000 : 10'000));
    const uint32_t modes[] = {FixMode, VarMode, FixMode, VarMode, RandomMode}; // by PlanMode
    const TransferProfile& plan = session.getTransferProfile(0);
    EXPECT_EQ(plan.transferMode, r.plan != Profile             ? modes[int(r.plan)]
                                 : o.profileFlags & ProfileVar ? VarMode
                                                               : FixMode);
    EXPECT_EQ(session.getProfileCount(), r.plan == Profile ? 2 : 1);
    session.setHostPhase(r.host == Invert);
    // Under a sanitizer a tenth of a second of the fastest streams still fits in the Target's queue.
    const double seconds = TESTING::kSanitized && r.format.bytesPerSecond() > 10000000 ? 0.1 : r.seconds;
    session.prepareSignal(seconds);
    ClockOffset restore;
    if (r.host == Wrap) BRINA::wrapMicrosecondsIn(1000000);
    const uint32_t clockBefore = BRINA::nowMicroseconds();
    std::thread turn([&] {
        if (r.host == TurnMidway) std::this_thread::sleep_for(400ms), session.setHostPhase(true);
    });
    const auto start = Clock::now();
    EXPECT_EQ(target.bounded(std::chrono::seconds(int(r.seconds) + 20), [&] { return session.streamAll(); }),
              hostCloses);
    const double took = std::chrono::duration<double>(Clock::now() - start).count();
    turn.join();
    // The clock did wrap; another row may see the real one wrap too, once every 71.6 minutes.
    EXPECT_TRUE(r.host != Wrap || BRINA::nowMicroseconds() < clockBefore);

    // The worker's log: its path through the stream, the row's own line, its time-outs and lateness.
    for (const std::string line : {"CONNECTPRE_REQ latency=", "connectWait notimeout", "connectWait 2",
                                   "redy to play loop start0", "play 2", "wth end", r.line})
        EXPECT_GE(loggedNumber(capture, line), 0) << line;
    EXPECT_TRUE(!hostCloses ||
                (loggedNumber(capture, "buffer Final ") >= 0 && loggedNumber(capture, "discone") >= 0));
    EXPECT_EQ(capture.contains("DSICONNECT_REQ ERROR "), r.arrival == Unanswered);
    // Unanswered, the close is tried four times half a second apart, after the signal.
    EXPECT_TRUE(r.arrival != Unanswered || (took - r.seconds >= 1.9 && took - r.seconds < 8.0)) << took;
    // The silence the line tells, in microseconds, is at least the second the worker waits.
    const int64_t silence = loggedNumber(capture, "   timeout ");
    EXPECT_EQ(silence >= 0, std::string(r.line) == "   timeout ");
    EXPECT_TRUE(silence < 0 || (silence >= 1000000 && silence < 4000000)) << silence;
    // A wrong comparison across the wrap shows as a cycle an hour late, or as every cycle late.
    size_t late = 0, worst = 0;
    for (const auto& m : capture.messages())
        if (m.rfind("over time ", 0) == 0) ++late, worst = std::max<size_t>(worst, std::stoul(m.substr(10)));
    EXPECT_TRUE(worst < 1000000 && (r.host != Wrap || late < 500)) << late << " late, worst " << worst;

    // The observer: each burst after its due time, fixed cycles on schedule, the loop's answer to each value.
    ASSERT_GE(recorder.bursts.size(), 50u);
    uint64_t repeats = 0;
    for (size_t i = 0; i < recorder.bursts.size(); ++i) {
        const auto [due, sent, packets, resent] = recorder.bursts[i];
        const auto& before = recorder.bursts[i ? i - 1 : 0];
        EXPECT_TRUE(BRINA::timeNotAfter(due, sent) && resent <= packets) << i;
        repeats += resent;
        if (r.plan == Profile) continue; // which of the two plans runs is the Target's choice
        EXPECT_TRUE(packets >= plan.packetCount && packets <= 2u * plan.packetCount) << i;
        const bool fixed = i != 0 && (r.plan == Fix || r.plan == FixAuto); // next cycle, or after a late one
        EXPECT_TRUE(!fixed || due == before[0] + plan.cycle || due == before[1] + plan.cycle) << i;
    }
    const auto& taken = recorder.taken;
    ASSERT_GE(taken.size(), seconds < 0.5 ? 2u : 10u); // reports every 10 ms, at least
    FeedbackControl control(1);
    for (const auto& [value, rateAdjust] : taken)
        EXPECT_EQ(rateAdjust, control.take(value));

    if (r.arrival == WorkerEnds) target.target().stop(); // the worker ended without a word to the Target
    StreamReport report;
    ASSERT_TRUE(target.report(0, report)); // bounded: ten seconds
    const VerifierResult& v = report.verifier;
    SCOPED_TRACE(report.toJson());
    EXPECT_EQ(
        std::tuple(v.differed, report.closedByHost, report.hostSilent), // an unanswered close: the
        std::tuple(0u, hostCloses && r.arrival != Unanswered, r.arrival == Unanswered)); // Host fell silent
    if (!hostCloses) return;
    EXPECT_EQ(StreamFormat(report.sinkType, report.sinkRate), session.getSinkFormat());
    EXPECT_GT(report.arrivalMaxUs, 0); // measured between bursts' last packets, which carry CycleEnd
    EXPECT_EQ(std::tuple(report.finalSeen, report.bitPerfect(), v.matched + v.inverted, v.askedInverted),
              std::tuple(r.arrival != Unanswered, r.arrival != Unasked, session.signalFrames(),
                         o.invertAtStart || o.invertAtMs != 0));
    EXPECT_TRUE(o.faults.lossRate + o.faults.burstEvery == 0 ||
                (repeats > 0 && report.repeats > 0 && report.resendRequests > 0 &&
                 report.droppedByFaults > o.faults.burstLength));
    EXPECT_EQ(v.inverted == 0, r.arrival == Whole || r.arrival == Unanswered);
    // No datagram, new or repeated, past the MTU less the IPv6 and UDP headers; the small links' fill it.
    EXPECT_LE(report.largestDatagram, o.mtu - 48u);
    EXPECT_TRUE(o.mtu == 1500 || report.largestDatagram > o.mtu - 48u - 128u) << report.largestDatagram;
    if (r.arrival == Whole) { // around the signal only silence
        EXPECT_EQ(report.frames, v.leadingSilence + v.matched + v.silenceInside);
    } else if (r.arrival == Switched) { // from a frame after the request on, silence too
        EXPECT_TRUE(v.switched && v.askedAtFrame > v.leadingSilence && v.switchFrame >= v.askedAtFrame);
        EXPECT_TRUE(v.matched > 0 && v.inverted > 0 && v.silenceInside > 0 &&
                    v.invertedSilence == v.silenceInside);
    } else if (r.arrival == Unasked) {
        EXPECT_TRUE(v.matched > 0 && v.invertedUnasked > 0);
        EXPECT_NE(v.phaseText().find("frames came inverted that the Target never asked for"),
                  std::string::npos);
    }
    EXPECT_TRUE(r.host != Wrap ||
                (report.underruns == 0 && report.durationSeconds > 1.9 && report.durationSeconds < 4.0));
    if (drift == 0) return;
    const auto perSecond = static_cast<long>(steered ? 10 : 100), n = static_cast<long>(taken.size());
    ASSERT_GE(n, perSecond * static_cast<long>(r.seconds) / 2);
    long limits = 0, fastest = 0;
    double mean = 0;
    for (long i = 0; i < n; ++i) {
        const int16_t a = taken[i].second;
        fastest += i >= n - perSecond && a >= FeedbackControl::kFastest;
        limits += i >= n / 2 && (a >= FeedbackControl::kFastest || a <= FeedbackControl::kSlowest);
        mean += i >= n / 2 ? a / double(n - n / 2) : 0;
    }
    if (!steered) { // as fast as it may but after each underrun, which the Target, still short, reports
        EXPECT_TRUE(fastest > perSecond / 4 && report.underruns >= 1) << fastest;
        return;
    }
    // Over the second half the correction swings about the drift in Q14 (faster for a fast Target clock),
    // off its limits, and the Target's buffer neither runs dry nor fills.
    // Instrumented builds run late cycles whose catching up moves the mean by a few steps: the sign only.
    EXPECT_TRUE(limits < n / 20 && mean / needed > (TESTING::kSanitized ? 0 : 1 / 3.0) && mean / needed < 3.0)
        << limits << ", " << mean << " for " << needed;
    EXPECT_TRUE(report.underruns == 0 && report.bufferMinMs > 50 * 0.25 && report.bufferMaxMs < 50 * 2.0);
}

INSTANTIATE_TEST_SUITE_P(Rows, StreamTest, testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.name); });

// The send path allocates nothing: a stream to a peer on ::1 that never reads, in a window in which the
// worker is the only thread at work. Bursts of one, and of three that toggle the socket's blocking.
TEST(StreamTest, WorkerAllocatesNothing) {
    for (uint16_t packets : {1, 3}) {
        TESTING::ScriptedHost peer;
        ASSERT_TRUE(peer.ready());
        struct : TESTING::OpenSync {
            bool getNewStream(Stream& out) override { return out = Stream{block.data(), 1764}, true; }
            std::vector<uint8_t> block = std::vector<uint8_t>(1764, 0x5A);
        } session;
        ASSERT_TRUE(session.open(1, 10000, 0, "allocation test", 0));
        session.target = peer.address();
        session.pcmMask = Capabilities::defaultPcm();
        ASSERT_TRUE(session.selectFormat(0x0202, 0x000A));
        session.setDataSize(1500, 15000);
        ASSERT_TRUE(session.configTransferFix(1000, packets));
        ASSERT_TRUE(session.connect());
        BRINA::IPAddress host;
        ASSERT_EQ(PacketHeader(peer.receive(&host).data()).command(), CONNECT_REQ);
        ASSERT_TRUE(peer.send(host.port(), SyncMessages::connectAnswer(peer.address().port(), false)));
        ASSERT_TRUE(session.connectWait() && session.getState() == Sync::Streaming);
        session.play();
        std::this_thread::sleep_for(100ms);
        const uint64_t before = TESTING::allocationCount();
        std::this_thread::sleep_for(300ms); // well inside the second the worker waits for the Target
        EXPECT_EQ(TESTING::allocationCount(), before) << packets;
        EXPECT_EQ(session.getState(), Sync::Streaming);
        session.close();
    }
}

// A Target that refuses: the session ends Idle, whether connectWait waited or not, and the worker's start
// line names the mode word it reduced, which stays for the next stream.
TEST(StreamTest, RefusedStreamsAndTheModeWord) {
    TESTING::StreamTarget target([](Out& o) { o.refuseConnect = Out::Refusal::Echo; });
    const auto idle = [](Sync& s) {
        for (int i = 0; i < 1000 && s.getState() != Sync::Idle; ++i)
            std::this_thread::sleep_for(10ms);
        return s.getState() == Sync::Idle;
    };
    TESTING::LogCapture capture(6);
    SignalSession session;
    ASSERT_TRUE(target.started() && session.negotiate(target.control(), kPcm44));
    session.prepareSignal(0.1);
    ASSERT_TRUE(session.connectPrepare() && session.connect());
    session.connectWait(); // false when the refusal came before it: nothing to wait for
    EXPECT_TRUE(!session.is_connect() && session.getState() == Sync::Idle);
    EXPECT_TRUE(capture.contains("wth CR ack none"));
    session.disconnect(); // nothing to end
    EXPECT_FALSE(capture.contains("discone"));
    session.setTransferProfile(TransferProfile{}); // without a plan the worker asks for no stream
    ASSERT_TRUE(session.connect());
    EXPECT_TRUE(idle(session) && capture.contains("wth profile invalid"));
    // A Target that never answers CONNECT_REQ holds the worker in tries of ten seconds; close lets it go.
    TESTING::StreamTarget silent([](Out& o) { o.refuseConnect = Out::Refusal::Silent; });
    SignalSession asking;
    ASSERT_TRUE(silent.started() && asking.negotiate(silent.control(), kPcm44));
    ASSERT_TRUE(asking.connectPrepare() && asking.connect());
    std::this_thread::sleep_for(300ms);
    const auto closing = Clock::now();
    asking.close();
    EXPECT_LT(std::chrono::duration<double>(Clock::now() - closing).count(), 0.2);
    EXPECT_EQ(asking.getState(), Sync::Idle);
    Sync bare; // without a format nothing starts, and there is nothing to wait for
    EXPECT_FALSE(bare.connect() || bare.hasWorker() || bare.connectWait());
    EXPECT_TRUE(capture.contains("sinkConfig invalid"));

    const std::string cpu = "CPU:" + std::to_string(BRINA::physicalCoreCount()),
                      info = " FEEDBACK:1  Info=10";
    const uint32_t all = FEEDBACK | NOSLEEPFORCE | NOSLEEP4CORE | SOCKETNOBLOCK,
                   few = BRINA::physicalCoreCount() <= 2;
    const struct {
        uint32_t mode;
        uint16_t latency;
        std::string line;
        uint32_t modeAfter;
    } rows[] = {
        // clang-format off
        {CRITICAL, 20, "wth start CRITICAL " + cpu + info, CRITICAL},
        {NOFASTFEEDBACK, 2000, "wth start " + cpu + info, 0},
        {NOFASTFEEDBACK, 2001, "wth start " + cpu + " FEEDBACK:1 NOFASTFEEDBACK  Info=10", NOFASTFEEDBACK},
        {all, 20, "wth start NOSLEEP4CORE NOSLEEPFORCE SOCKETNOBLOCK " + cpu + " FEEDBACK:8  Info=10", all},
        {NOSLEEP4CORE | NOSHORTSLEEP, 20, "wth start NOSHORTSLEEP " + std::string(few ? "" : "NOSLEEP4CORE ") + cpu + info, NOSHORTSLEEP | (few ? 0 : NOSLEEP4CORE)},
        // clang-format on
    };
    for (const auto& r : rows) {
        capture.clear();
        session.setTransferProfile(session.getConfig().result());
        ASSERT_TRUE(session.connectPrepare());
        session.setThreadMode(r.mode), session.latency = r.latency;
        ASSERT_TRUE(session.connect());
        EXPECT_TRUE(idle(session));
        std::vector<std::string> starts;
        for (const auto& m : capture.messages())
            if (m.rfind("wth start ", 0) == 0) starts.push_back(m);
        EXPECT_EQ(starts, std::vector<std::string>{r.line});
        EXPECT_EQ(session.getThreadMode(), r.modeAfter) << r.line;
    }
    session.close();
}

} // namespace
