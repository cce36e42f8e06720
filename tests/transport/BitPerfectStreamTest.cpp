// Streams of every kind of format and plan to the software Target on ::1, each judged by the Target's
// report: bit-perfect, every frame of the signal in order, the final packet seen.
#include "tests/support/Sanitizer.h"
#include "tests/support/SignalSession.h"
#include "tests/support/StreamTarget.h"
#include "tools/receiver/Capabilities.h"
#include "transport/TransferProfile.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

using namespace TESSERA;
using TESTING::SignalSession;
using TESTING::StreamTarget;
using Plan = SignalSession::Plan;

struct Case {
    const char* name;
    StreamFormat format; // what the host delivers, and the Target takes unchanged
    Plan plan;
    uint16_t profileMin = 0, profileMax = 0, profileFlags = 0; // the Target's profile, 10 us units
    uint32_t mode = 1;                                         // the plan's transfer mode
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

class BitPerfectStreamTest : public testing::TestWithParam<Case> {};

TEST_P(BitPerfectStreamTest, ArrivesBitPerfect) {
    const Case& c = GetParam();
    StreamTarget target([&c](OutputConfig& o) {
        o.dsdLsbMask = Capabilities::defaultDsd(true);
        o.profileMin = c.profileMin, o.profileMax = c.profileMax, o.profileFlags = c.profileFlags;
    });
    ASSERT_TRUE(target.started());
    SignalSession session;
    ASSERT_TRUE(session.negotiate(target.control(), c.format, c.plan));
    ASSERT_EQ(session.getSinkFormat(), c.format);
    EXPECT_EQ(session.getTransferProfile(0).transferMode, c.mode);
    EXPECT_EQ(session.getProfileCount(), c.plan == Plan::Profile ? 2 : 1);
    // Under a sanitizer the Target checks the fastest streams slower than they come: a tenth of a second
    // of them still fits in its receive queue.
    const bool heavy = c.format.bytesPerSecond() > 10000000;
    session.prepareSignal(TESTING::kSanitized && heavy ? 0.1 : 0.5);
    ASSERT_TRUE(session.streamAll());

    StreamReport report;
    ASSERT_TRUE(target.report(0, report));
    EXPECT_EQ(StreamFormat(report.sinkType, report.sinkRate), c.format);
    EXPECT_TRUE(report.bitPerfect()) << report.toJson();
    EXPECT_TRUE(report.finalSeen);
    EXPECT_EQ(report.verifier.matched, session.signalFrames()) << report.toJson();
    EXPECT_EQ(report.verifier.inverted, 0u);
    EXPECT_EQ(report.verifier.differed, 0u);
    // Around the signal only silence: the stream's first packets and what follows the last block.
    EXPECT_EQ(report.frames,
              report.verifier.leadingSilence + report.verifier.matched + report.verifier.silenceInside);
}

const StreamFormat kPcm44(0x0202, 0x000A), kPcm192(0x0402, 0x0024), kFloat384(0x2002, 0x0044),
    kPcm768x8(0x0810, 0x0084), kDsd64(0x2510002, 0x0202), kDsd256(0x2510002, 0x0802),
    kDsd512(0x2510002, 0x1002);

// The default plan: a fixed cycle of 1000 us with one packet, shortened where one packet can't hold it.
INSTANTIATE_TEST_SUITE_P(Fix, BitPerfectStreamTest,
                         testing::Values(Case{"Pcm44k16", kPcm44, Plan::Fix},
                                         Case{"Pcm192k24", kPcm192, Plan::Fix},
                                         Case{"Float384k", kFloat384, Plan::Fix},
                                         Case{"Pcm768k32x8", kPcm768x8, Plan::Fix},
                                         Case{"Dsd64", kDsd64, Plan::Fix}, Case{"Dsd256", kDsd256, Plan::Fix},
                                         Case{"Dsd512", kDsd512, Plan::Fix}),
                         [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OtherPlans, BitPerfectStreamTest,
    testing::Values(Case{"VarPcm44k16", kPcm44, Plan::Var, 0, 0, 0, VarMode},
                    Case{"VarDsd64", kDsd64, Plan::Var, 0, 0, 0, VarMode},
                    Case{"FixAutoPcm192k24", kPcm192, Plan::FixAuto},
                    Case{"FixAutoDsd256", kDsd256, Plan::FixAuto},
                    Case{"VarAutoFloat384k", kFloat384, Plan::VarAuto, 0, 0, 0, VarMode},
                    Case{"VarAutoDsd64", kDsd64, Plan::VarAuto, 0, 0, 0, VarMode},
                    Case{"RandomPcm44k16", kPcm44, Plan::Random, 0, 0, 0, RandomMode},
                    Case{"RandomPcm192k24", kPcm192, Plan::Random, 0, 0, 0, RandomMode},
                    // Fixed cycles from the shortest the Target allows; variable ones; the longest it allows.
                    Case{"ProfileFixPcm44k16", kPcm44, Plan::Profile, 50, 200, ProfileCycleFromMin},
                    Case{"ProfileVarDsd64", kDsd64, Plan::Profile, 50, 200, ProfileCycleFromMin | ProfileVar,
                         VarMode},
                    Case{"ProfileLongestPcm192k24", kPcm192, Plan::Profile, 50, 200, ProfileAutoCount}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
