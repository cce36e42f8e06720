// Loss on the way to the Target: random loss and bursts of lost packets, each repaired by the Host's
// repeats, so that the stream still arrives bit-perfect; on links of a small MTU in every mode, with no
// datagram, new or repeated, longer than the MTU less the IPv6 and UDP headers.
#include "tests/support/LogCapture.h"
#include "tests/support/SignalSession.h"
#include "tests/support/StreamTarget.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

using namespace TESSERA;
using TESTING::SignalSession;
using TESTING::StreamTarget;
using Plan = SignalSession::Plan;

const StreamFormat kCd(0x0202, 0x000A),
    kFull(0x0802, 0x0024); // stereo, 16-bit at 44.1 kHz, 32-bit at 192 kHz

struct Case {
    const char* name;
    double lossRate;
    uint32_t burstEvery, burstLength;
    uint16_t mtu = 1500;
    Plan plan = Plan::Fix;
    StreamFormat format = kCd; // kFull fills each packet up to the data size
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

class LossStreamTest : public testing::TestWithParam<Case> {};

TEST_P(LossStreamTest, RepeatsMakeItWhole) {
    const Case& c = GetParam();
    TESTING::LogCapture capture(6);
    StreamTarget target([&c](OutputConfig& o) {
        o.faults.seed = 7;
        o.faults.lossRate = c.lossRate;
        o.faults.burstEvery = c.burstEvery;
        o.faults.burstLength = c.burstLength;
        // A packet lost in the stream's last moments is not repeated: the first answer after the Host
        // asked for info behind its final packet ends the stream, a resend request too.
        o.faults.lossEndsAtMs = 700;
        o.mtu = c.mtu;
    });
    ASSERT_TRUE(target.started());
    SignalSession session;
    ASSERT_TRUE(session.negotiate(target.control(), c.format, c.plan));
    session.prepareSignal(1.0);
    ASSERT_TRUE(session.streamAll());

    StreamReport report;
    ASSERT_TRUE(target.report(0, report));
    EXPECT_GE(report.droppedByFaults, c.burstLength + 1);
    EXPECT_GT(report.resendRequests, 0u);
    size_t resends = 0; // the worker's line for each resend request it took
    for (const auto& m : capture.messages())
        resends += m.rfind("   cout resend ", 0) == 0;
    EXPECT_GT(resends, 0u);
    EXPECT_TRUE(report.bitPerfect()) << report.toJson();
    EXPECT_EQ(report.gapsNeverFilled, 0u);
    EXPECT_EQ(report.verifier.matched, session.signalFrames());
    EXPECT_TRUE(report.finalSeen);
    EXPECT_GT(report.repeats, 0u);
    EXPECT_LE(report.largestDatagram, c.mtu - 48u);
    EXPECT_GT(report.largestDatagram, c.format == kFull ? c.mtu - 48u - 128u : 0u); // kFull fills its packets
}

INSTANTIATE_TEST_SUITE_P(Faults, LossStreamTest,
                         testing::Values(Case{"OnePercent", 0.01, 0, 0}, Case{"FivePercent", 0.05, 0, 0},
                                         Case{"BurstsOfTen", 0, 250, 10},
                                         Case{"Mtu1280Fix", 0.01, 250, 3, 1280, Plan::Fix, kFull},
                                         Case{"Mtu1280Var", 0.01, 250, 3, 1280, Plan::Var, kFull},
                                         Case{"Mtu1280Random", 0.01, 250, 3, 1280, Plan::Random, kFull},
                                         Case{"Mtu1492Fix", 0.01, 250, 3, 1492, Plan::Fix, kFull},
                                         Case{"Mtu1492Var", 0.01, 250, 3, 1492, Plan::Var, kFull},
                                         Case{"Mtu1492Random", 0.01, 250, 3, 1492, Plan::Random, kFull}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
