// ctest-resource-lock: port19642
// The Sync session negotiating with the software Target on ::1: what it learns, what it asks, in which
// order, and the Target's log lines arriving in the Host's log.
#include "tests/support/LogCapture.h"
#include "tests/support/StreamTarget.h"
#include "tests/support/TestPatience.h"
#include "tools/receiver/Capabilities.h"
#include "tools/receiver/SoftwareTarget.h"
#include "transport/SessionSetup.h"
#include "transport/Sync.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <tuple>

namespace {

using namespace TESSERA;
using Out = OutputConfig;

// A Target on ::1 with every capability but what the shape takes away, whose requests the test reads.
struct Target : TESTING::StreamTarget {
    explicit Target(const Tweak& shape, uint16_t discoveryPort = 0)
        : StreamTarget(
              [shape](Out& o) {
                  o.dsdLsbMask = Capabilities::defaultDsd(true),
                  o.dsdMsbMask = Capabilities::defaultDsd(false);
                  if (shape) shape(o);
              },
              discoveryPort) {}
};

TEST(SyncSessionTest, DataSizeLimits) {
    const uint16_t rows[][4] = {
        // clang-format off
        {1500, 15000, 1428, 10}, {1500, 0xFFFF, 1428, 0xFFFF}, {9000, 20000, 8928, 2}, {576, 15000, 510, 26},
        {64, 15000, 0, 234}, {0, 15000, 0, 0xFFFF}, {1492, 15000, 1422, 10}, {1280, 15000, 1214, 11},
        {74, 15000, 2, 202}, // the mask 0xFFF6 clears bit 3 too; a repeat, 8 bytes longer, fits in the MTU less 48
        // clang-format on
    };
    for (const auto& [mtu, max, size, count] : rows) {
        Sync sync;
        sync.setDataSize(mtu, max);
        EXPECT_EQ(std::tuple(sync.getMaxPacketSize(), sync.getMaxPacketCount()), std::tuple(size, count))
            << mtu << "," << max;
    }
}

const StreamFormat kPcm(0x602, 0x000E), kLsb(0x02510002, 0x0202), kMsb(0x02A10002, 0x0402), kNone;

TEST(SyncSessionTest, NegotiatesWhatTheTargetOffers) {
    const struct { // the Target's masks, MTU and bytes a cycle, whether it answers DATASIZE; the Host's
        StreamFormat pcm, lsb, msb;
        uint16_t mtu, perCycle;
        bool answers;
        uint32_t latency; // asked for
        bool nopBreak, ok;
        uint16_t size, count;
        const char* requests;
    } rows[] = {
        // clang-format off
        {kPcm, kNone, kNone, 1500, 15000, true, 0, false, true, 1428, 10, "FORMAT FORMAT PROFILE LATENCY DATASIZE "},
        {kNone, kLsb, kMsb, 1500, 15000, true, 0, false, true, 1428, 10, "FORMAT FORMAT FORMAT PROFILE LATENCY DATASIZE "},
        {kNone, kLsb, kNone, 1500, 15000, true, 0, true, true, 1428, 10, "NOPBREAK FORMAT FORMAT PROFILE LATENCY DATASIZE "},
        {kNone, kNone, kMsb, 1500, 15000, true, 0, false, true, 1428, 10, "FORMAT FORMAT PROFILE LATENCY DATASIZE "},
        {StreamFormat(0x10602, 0x0E), kNone, kNone, 1500, 15000, true, 0, false, true, 1428, 10, "FORMAT FORMAT PROFILE LATENCY DATASIZE "},
        {kNone, kNone, kNone, 1500, 15000, true, 0, false, false, 0, 0, "FORMAT "},
        {kPcm, kNone, kNone, 9000, 15000, false, 0, false, true, 1428, 10, "FORMAT FORMAT PROFILE LATENCY DATASIZE DATASIZE DATASIZE "},
        {kPcm, kNone, kNone, 9000, 0xFFFF, true, 5000, false, true, 8928, 0xFFFF, "FORMAT FORMAT PROFILE LATENCY LATENCY DATASIZE "},
        // clang-format on
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.requests);
        std::unique_ptr<Target> target;
        std::unique_ptr<Sync> sync;
        bool answered = false;
        // A question asked twice that the row asks once went unanswered within its 10 ms: a Target thread
        // that a busy machine held up, not the Host's order. Such a row is negotiated anew, three times at
        // most.
        for (int attempt = 0; attempt < 3; ++attempt) {
            sync.reset();
            target = std::make_unique<Target>([&r](Out& o) {
                o.pcmMask = r.pcm, o.dsdLsbMask = r.lsb, o.dsdMsbMask = r.msb;
                o.mtu = r.mtu, o.bytesPerCycle = r.perCycle, o.answerDataSize = r.answers;
            });
            sync = std::make_unique<Sync>();
            ASSERT_TRUE(sync->open(1, 10000, 0, "test host", 0x4152544e49555151ull));
            // A failing row starts from the masks of an earlier negotiation, which it must not keep.
            ASSERT_TRUE(r.ok || SessionSetup::negotiate(*sync, Target([](Out&) {}).control(), 0, false,
                                                        TESTING::kTestPatience));
            answered = sync->getInfo(target->control(), r.latency, r.nopBreak);
            if (target->requests() == r.requests) break;
        }
        EXPECT_EQ(answered, r.ok);
        EXPECT_EQ(target->requests(), r.requests);
        EXPECT_EQ(std::tuple(sync->getPcmMask(), sync->getDsdLsbMask(), sync->getDsdMsbMask()),
                  std::tuple(r.pcm, r.lsb, r.msb));
        if (!r.ok) continue;
        EXPECT_EQ(std::tuple(sync->getMaxPacketSize(), sync->getMaxPacketCount(), sync->getTarget(),
                             sync->getTargetLog().port()),
                  std::tuple(r.size, r.count, target->control(), 19642));
    }
}

TEST(SyncSessionTest, LatencyAndProfile) {
    TESTING::LogCapture capture(7);
    // The Target's latency, whether it answers PROFILE; the latency asked for, the line, the total latency
    // and the profile learnt.
    const std::tuple<uint16_t, bool, uint32_t, const char*, uint32_t, uint16_t, uint16_t> rows[] = {
        {20, true, 0, "LATENCY_REQ hw=1000us latency=2000us", 3000, 100, 0x04},
        {0, true, 5000, "LATENCY_REQ hw=1000us request=5000us latency=5000us", 6000, 100, 0x04},
        {30, false, 5000, "LATENCY_REQ hw=1000us request=5000us latency=3000us", 4000, 0, 0},
    };
    for (const auto& [latency, answers, request, line, total, profileMin, profileFlags] : rows) {
        Target target([&, latency = latency, answers = answers](Out& o) { // bindings are copied in by name
            o.hardwareLatency = 10, o.profileMin = 100, o.profileMax = 200, o.profileFlags = 0x04;
            o.latency = latency, o.answerProfile = answers;
        });
        capture.clear();
        Sync sync;
        ASSERT_TRUE(sync.open(1, 10000, 0, "test host", 0));
        ASSERT_TRUE(SessionSetup::negotiate(sync, target.control(), request, false, TESTING::kTestPatience));
        EXPECT_TRUE(capture.contains(line)) << line;
        EXPECT_EQ(std::tuple(sync.getLatency(), sync.getConfig().profileMin, sync.getConfig().profileFlags,
                             sync.getConfig().cycle),
                  std::tuple(total, profileMin, profileFlags, 0u))
            << line;
        EXPECT_TRUE(sync.isAlive());
    }
}

TEST(SyncSessionTest, TargetLogLinesArriveOnlyAtLevelSix) {
    for (int32_t level : {6, 4}) {
        TESTING::LogCapture capture(level);
        Target target(nullptr, 19642);
        Sync sync;
        ASSERT_TRUE(sync.open(1, 10000, 0, "test host", 0));
        EXPECT_EQ(sync.logsTarget(), level >= 6);
        ASSERT_TRUE(SessionSetup::negotiate(sync, target.control(), 0, false, TESTING::kTestPatience));
        bool arrived = false; // the Target sends its lines from then on; up to two seconds for them to come
        for (int i = 0; i < 40 && !arrived; ++i) {
            target.target().log("a line of the Target");
            std::this_thread::sleep_for(std::chrono::milliseconds(level >= 6 ? 50 : 5));
            arrived = capture.contains("Target: a line of the Target");
        }
        EXPECT_EQ(arrived, level >= 6);
        EXPECT_EQ(target.requests().find("TARGETLOG") != std::string::npos, level >= 6) << level;
        sync.close();
    }
}

} // namespace
