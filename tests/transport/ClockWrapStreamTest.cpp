// The 32-bit microsecond clock wraps to 0 in the middle of a stream: the schedule, the feedback, the
// time-outs and the Target's clock all go on as if nothing happened.
#include "BRINA/Time.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SignalSession.h"
#include "tests/support/StreamTarget.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

namespace {

using namespace TESSERA;
using TESTING::SignalSession;
using TESTING::StreamTarget;

// Puts the clock back where it was for whatever runs after the test.
struct ClockOffset {
    ~ClockOffset() { BRINA::setMicrosecondOffset(0); }
};

TEST(ClockWrapStreamTest, NothingNoticesTheWrap) {
    ClockOffset restore;
    TESTING::LogCapture capture(6);
    StreamTarget target;
    ASSERT_TRUE(target.started());
    SignalSession session;
    ASSERT_TRUE(session.negotiate(target.control(), StreamFormat(0x0202, 0x000A)));
    session.prepareSignal(2.0);
    BRINA::wrapMicrosecondsIn(1000000);
    const uint32_t before = BRINA::nowMicroseconds();
    ASSERT_TRUE(session.streamAll());
    const uint32_t after = BRINA::nowMicroseconds();
    EXPECT_LT(after, before); // the clock did wrap on the way

    StreamReport report;
    ASSERT_TRUE(target.report(0, report));
    EXPECT_TRUE(report.bitPerfect()) << report.toJson();
    EXPECT_EQ(report.verifier.matched, session.signalFrames());
    EXPECT_TRUE(report.finalSeen);
    EXPECT_EQ(report.underruns, 0u);
    EXPECT_GT(report.durationSeconds, 1.9);
    EXPECT_LT(report.durationSeconds, 4.0);
    // A wrong comparison across the wrap shows as a cycle that seems an hour late, or as every cycle late;
    // a busy machine makes a few cycles late by milliseconds.
    size_t late = 0;
    for (const auto& m : capture.messages()) {
        EXPECT_NE(m.rfind("   timeout ", 0), 0u) << m;
        if (m.rfind("over time ", 0) != 0) continue;
        ++late;
        uint32_t over = 0;
        std::istringstream(m.substr(10)) >> over;
        EXPECT_LT(over, 1000000u) << m;
    }
    EXPECT_LT(late, 500u);
}

} // namespace
