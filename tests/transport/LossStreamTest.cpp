// Loss on the way to the Target: random loss and bursts of lost packets, each repaired by the Host's
// repeats, so that the stream still arrives bit-perfect.
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

struct Case {
    const char* name;
    double lossRate;
    uint32_t burstEvery, burstLength;
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
    });
    ASSERT_TRUE(target.started());
    SignalSession session;
    ASSERT_TRUE(session.negotiate(target.control(), StreamFormat(0x0202, 0x000A)));
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
}

INSTANTIATE_TEST_SUITE_P(Faults, LossStreamTest,
                         testing::Values(Case{"OnePercent", 0.01, 0, 0}, Case{"FivePercent", 0.05, 0, 0},
                                         Case{"BurstsOfTen", 0, 250, 10}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
