// ctest-resource-lock: port19642
// The Sync session negotiating with the software Target on ::1: what it learns, what it asks, in which
// order, and the Target's log lines arriving in the Host's log.
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedHost.h"
#include "tests/support/TestPatience.h"
#include "tools/receiver/Capabilities.h"
#include "tools/receiver/SoftwareTarget.h"
#include "transport/SessionSetup.h"
#include "transport/Sync.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace TESSERA;

// A Target on ::1 whose request lines the test can read.
class Target {
public:
    explicit Target(const std::function<void(OutputConfig&)>& tweak, uint16_t discoveryPort = 0) {
        TargetConfig config;
        config.bindAddress = TESTING::loopbackAddress();
        config.discoveryPort = discoveryPort;
        OutputConfig& out = config.outputs[0];
        out.pcmMask = Capabilities::defaultPcm();
        out.dsdLsbMask = Capabilities::defaultDsd(true);
        out.dsdMsbMask = Capabilities::defaultDsd(false);
        tweak(out);
        target = std::make_unique<SoftwareTarget>(config);
        target->logger().setObserver([this](const std::string& line) {
            std::lock_guard<std::mutex> lock(mutex);
            lines.push_back(line);
        });
        std::string error;
        started = target->start(error);
        EXPECT_TRUE(started) << error;
    }
    // The Target's threads log through the observer until it stops: stop it before the lines go.
    ~Target() { target.reset(); }
    BRINA::IPAddress control() const { return TESTING::loopbackAddress(target->controlPort(0)); }
    // The requests in the order they came, by their first word.
    std::vector<std::string> requests() {
        std::lock_guard<std::mutex> lock(mutex);
        std::vector<std::string> out;
        for (const auto& l : lines)
            if (l.find("_REQ") != std::string::npos) out.push_back(l.substr(0, l.find_first_of(" :")));
        return out;
    }
    bool started = false;
    std::unique_ptr<SoftwareTarget> target;

private:
    std::mutex mutex;
    std::vector<std::string> lines;
};

TEST(SyncSessionTest, DataSizeLimits) {
    struct Row {
        uint16_t mtu, max, size, count;
    } rows[] = {{1500, 15000, 1428, 10}, {1500, 0xFFFF, 1428, 0xFFFF}, {9000, 0xFFFF, 8928, 0xFFFF},
                {9000, 20000, 8928, 2},  {576, 15000, 510, 26},        {64, 15000, 0, 234},
                {10, 15000, 0, 1500},    {0, 15000, 0, 0xFFFF},        {1492, 15000, 1422, 10},
                {1280, 15000, 1214, 11}, {66, 15000, 0, 227},          {74, 15000, 2, 202}};
    for (const auto& r : rows) {
        Sync sync;
        sync.setDataSize(r.mtu, r.max);
        // The mask 0xFFF6 clears bit 3 too; a repeat, up to 8 bytes longer, still fits in the MTU less 48.
        EXPECT_EQ(sync.getMaxPacketSize(), r.size) << r.mtu;
        EXPECT_EQ(sync.getMaxPacketCount(), r.count) << r.mtu << "," << r.max;
    }
}

TEST(SyncSessionTest, NegotiatesWhatTheTargetOffers) {
    const StreamFormat pcm(0x602, 0x000E), lsb(0x02510002, 0x0202), msb(0x02A10002, 0x0402);
    struct Row {
        const char* name;
        std::function<void(OutputConfig&)> tweak;
        uint32_t latencyRequest;
        bool nopBreak;
        bool ok;
        StreamFormat pcm, lsb, msb;
        uint16_t size, count;
        std::vector<std::string> requests;
    } rows[] = {
        {"PCM only",
         [&](OutputConfig& o) { o.pcmMask = pcm, o.dsdLsbMask = o.dsdMsbMask = StreamFormat(); },
         0,
         false,
         true,
         pcm,
         {},
         {},
         1428,
         10,
         {"FORMAT_REQ", "FORMAT_REQ", "PROFILE_REQ", "LATENCY_REQ", "DATASIZE_REQ"}},
        {"DSD of both bit orders",
         [&](OutputConfig& o) { o.pcmMask = StreamFormat(), o.dsdLsbMask = lsb, o.dsdMsbMask = msb; },
         0,
         false,
         true,
         {},
         lsb,
         msb,
         1428,
         10,
         {"FORMAT_REQ", "FORMAT_REQ", "FORMAT_REQ", "PROFILE_REQ", "LATENCY_REQ", "DATASIZE_REQ"}},
        {"DSD of bit order LSB only, NOPBREAK first",
         [&](OutputConfig& o) {
             o.pcmMask = StreamFormat(), o.dsdLsbMask = lsb, o.dsdMsbMask = StreamFormat();
         },
         0,
         true,
         true,
         {},
         lsb,
         {},
         1428,
         10,
         {"NOPBREAK_REQ", "FORMAT_REQ", "FORMAT_REQ", "PROFILE_REQ", "LATENCY_REQ", "DATASIZE_REQ"}},
        {"DSD kinds in the overview without a bit order: no DSD question",
         [&](OutputConfig& o) {
             o.pcmMask = StreamFormat(pcm.type() | 0x00010000u, pcm.rateBits()),
             o.dsdLsbMask = o.dsdMsbMask = StreamFormat();
         },
         0,
         false,
         true,
         StreamFormat(pcm.type() | 0x00010000u, pcm.rateBits()),
         {},
         {},
         1428,
         10,
         {"FORMAT_REQ", "FORMAT_REQ", "PROFILE_REQ", "LATENCY_REQ", "DATASIZE_REQ"}},
        {"DSD of bit order MSB only",
         [&](OutputConfig& o) { o.pcmMask = o.dsdLsbMask = StreamFormat(), o.dsdMsbMask = msb; },
         0,
         false,
         true,
         {},
         {},
         msb,
         1428,
         10,
         {"FORMAT_REQ", "FORMAT_REQ", "PROFILE_REQ", "LATENCY_REQ", "DATASIZE_REQ"}},
        {"no capabilities at all",
         [&](OutputConfig& o) { o.pcmMask = o.dsdLsbMask = o.dsdMsbMask = StreamFormat(); },
         0,
         false,
         false,
         {},
         {},
         {},
         1428,
         10,
         {"FORMAT_REQ"}},
        {"no answer on the data size: the defaults stay",
         [&](OutputConfig& o) {
             o.pcmMask = pcm, o.dsdLsbMask = o.dsdMsbMask = StreamFormat(), o.answerDataSize = false,
             o.mtu = 9000;
         },
         0,
         false,
         true,
         pcm,
         {},
         {},
         1428,
         10,
         {"FORMAT_REQ", "FORMAT_REQ", "PROFILE_REQ", "LATENCY_REQ", "DATASIZE_REQ", "DATASIZE_REQ",
          "DATASIZE_REQ"}},
        {"jumbo frames, no count limit, a latency asked for",
         [&](OutputConfig& o) {
             o.pcmMask = pcm, o.dsdLsbMask = o.dsdMsbMask = StreamFormat(), o.mtu = 9000,
             o.bytesPerCycle = 0xFFFF;
         },
         5000,
         false,
         true,
         pcm,
         {},
         {},
         8928,
         0xFFFF,
         {"FORMAT_REQ", "FORMAT_REQ", "PROFILE_REQ", "LATENCY_REQ", "LATENCY_REQ", "DATASIZE_REQ"}},
    };
    // A question asked more often than the row expects means a try went unanswered within its 10 ms: a
    // Target thread that a busy machine held up, not the Host's order. Such a row is negotiated anew, up to
    // three times; a fault of the Host shows in every one.
    const auto triedAgain = [](const std::vector<std::string>& seen,
                               const std::vector<std::string>& expected) {
        for (const auto& request : seen)
            if (std::count(seen.begin(), seen.end(), request) >
                std::count(expected.begin(), expected.end(), request))
                return true;
        return false;
    };
    for (const auto& r : rows) {
        std::unique_ptr<Target> target;
        std::unique_ptr<Sync> session;
        bool answered = false;
        std::vector<std::string> requests;
        for (int attempt = 0; attempt < 3; ++attempt) {
            session.reset();
            target = std::make_unique<Target>(r.tweak);
            ASSERT_TRUE(target->started) << r.name;
            session = std::make_unique<Sync>();
            ASSERT_TRUE(session->open(1, 10000, 0, "test host", 0x4152544e49555151ull)) << r.name;
            // A failing row starts from the masks of an earlier negotiation, which it must not keep.
            const bool earlier =
                r.ok || SessionSetup::negotiate(*session, Target([](OutputConfig&) {}).control(), 0, false,
                                                TESTING::kTestPatience);
            ASSERT_TRUE(earlier) << r.name;
            answered = session->getInfo(target->control(), r.latencyRequest, r.nopBreak);
            requests = target->requests();
            if (!triedAgain(requests, r.requests)) break;
        }
        Sync& sync = *session;
        EXPECT_EQ(answered, r.ok) << r.name;
        EXPECT_EQ(requests, r.requests) << r.name;
        EXPECT_EQ(sync.getPcmMask(), r.pcm) << r.name;
        EXPECT_EQ(sync.getDsdLsbMask(), r.lsb) << r.name;
        EXPECT_EQ(sync.getDsdMsbMask(), r.msb) << r.name;
        if (!r.ok) continue;
        EXPECT_EQ(sync.getMaxPacketSize(), r.size) << r.name;
        EXPECT_EQ(sync.getMaxPacketCount(), r.count) << r.name;
        EXPECT_EQ(sync.getTarget(), target->control()) << r.name;
        EXPECT_EQ(sync.getTargetLog().port(), 19642) << r.name;
    }
}

TEST(SyncSessionTest, LatencyAndProfile) {
    TESTING::LogCapture capture(7);
    struct Row {
        uint16_t targetLatency; // 0: the Target takes the request
        bool answerProfile;
        uint32_t request;
        const char* line;
        uint32_t total;
        uint16_t profileMin;
    } rows[] = {
        {20, true, 0, "LATENCY_REQ hw=1000us latency=2000us", 3000, 100},
        {0, true, 5000, "LATENCY_REQ hw=1000us request=5000us latency=5000us", 6000, 100},
        {30, false, 5000, "LATENCY_REQ hw=1000us request=5000us latency=3000us", 4000, 0},
    };
    for (const auto& r : rows) {
        Target target([&](OutputConfig& o) {
            o.latency = r.targetLatency, o.hardwareLatency = 10, o.answerProfile = r.answerProfile;
            o.profileMin = 100, o.profileMax = 200, o.profileFlags = 0x04;
        });
        capture.clear();
        Sync sync;
        ASSERT_TRUE(sync.open(1, 10000, 0, "test host", 0));
        ASSERT_TRUE(
            SessionSetup::negotiate(sync, target.control(), r.request, false, TESTING::kTestPatience));
        EXPECT_TRUE(capture.contains(r.line)) << r.line;
        EXPECT_EQ(sync.getLatency(), r.total) << r.line;
        EXPECT_EQ(sync.getConfig().profileMin, r.profileMin) << r.line;
        EXPECT_EQ(sync.getConfig().profileFlags, r.answerProfile ? 0x04 : 0) << r.line;
        EXPECT_EQ(sync.getConfig().cycle, 0u);
        EXPECT_TRUE(sync.isAlive());
    }
}

TEST(SyncSessionTest, TargetLogLinesArriveOnlyAtLevelSix) {
    for (int32_t level : {6, 4}) {
        TESTING::LogCapture capture(level);
        Target target([](OutputConfig&) {}, 19642);
        ASSERT_TRUE(target.started);
        Sync sync;
        ASSERT_TRUE(sync.open(1, 10000, 0, "test host", 0));
        EXPECT_EQ(sync.logsTarget(), level >= 6);
        ASSERT_TRUE(SessionSetup::negotiate(sync, target.control(), 0, false, TESTING::kTestPatience));
        bool arrived = false;
        // The Target sends its lines from then on; give them up to two seconds to come in.
        for (int i = 0; i < 40 && !arrived && level >= 6; ++i) {
            target.target->log("a line of the Target");
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            arrived = capture.contains("Target: a line of the Target");
        }
        EXPECT_EQ(arrived, level >= 6);
        if (level < 6) {
            std::this_thread::sleep_for(
                std::chrono::milliseconds(200)); // time for a request that shouldn't come
            for (const auto& m : capture.messages())
                EXPECT_NE(m.rfind("Target: ", 0), 0u) << m;
        }
        const auto requests = target.requests();
        EXPECT_EQ(std::count(requests.begin(), requests.end(), "TARGETLOG_REQ") != 0, level >= 6) << level;
        sync.close();
    }
}

} // namespace
