// A Target whose clock drifts: within the control range the Host's rate follows it, and the Target's
// buffer stays near its level without running dry; beyond the range the Target reports its underruns.
#include "FeedbackControl.h"
#include "LogCapture.h"
#include "SignalSession.h"
#include "StreamTarget.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace TESSERA;
using TESTING::SignalSession;
using TESTING::StreamTarget;

constexpr size_t kPerSecond = 100; // feedback lines: one each info cycle of 10 ms

// rateAdjust of each "info rcv" line in Q14, in the order they came; the line shows it to four decimals.
std::vector<int32_t> rateAdjusts(const TESTING::LogCapture& capture) {
    std::vector<int32_t> values;
    for (const auto& m : capture.messages()) {
        if (m.rfind("info rcv ", 0) != 0) continue;
        std::istringstream in(m.substr(9));
        int kind = 0;
        double raw = 0, average = 0, adjust = 0;
        if (in >> kind >> raw >> average >> adjust)
            values.push_back(static_cast<int32_t>(std::lround(adjust * 16384)));
    }
    return values;
}

double mean(std::vector<int32_t>::const_iterator from, std::vector<int32_t>::const_iterator to) {
    double sum = 0;
    for (auto i = from; i != to; ++i)
        sum += *i;
    return from == to ? 0 : sum / static_cast<double>(to - from);
}

struct Case {
    const char* name;
    double driftPpm;
    uint32_t levelMs; // the Target's start level and the level its feedback steers to
    double seconds;
    bool beyondRange; // faster than the Host's 3% of correction can follow
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

class DriftStreamTest : public testing::TestWithParam<Case> {};

TEST_P(DriftStreamTest, RateFollowsTheTargetClock) {
    const Case& c = GetParam();
    TESTING::LogCapture capture(6);
    StreamTarget target([&c](OutputConfig& o) {
        o.faults.driftPpm = c.driftPpm;
        o.startLevelMs = o.bufferTargetMs = c.levelMs;
    });
    ASSERT_TRUE(target.started());
    SignalSession session;
    ASSERT_TRUE(session.negotiate(target.control(), StreamFormat(0x0202, 0x000A)));
    session.prepareSignal(c.seconds);
    ASSERT_TRUE(session.streamAll());
    StreamReport report;
    ASSERT_TRUE(target.report(0, report));
    // Late or not, every frame arrives.
    EXPECT_TRUE(report.bitPerfect()) << report.toJson();
    EXPECT_EQ(report.verifier.matched, session.signalFrames());

    const std::vector<int32_t> adjust = rateAdjusts(capture);
    ASSERT_GE(adjust.size(), kPerSecond * 3 / 2);
    const auto lastSecond = adjust.end() - kPerSecond;
    if (c.beyondRange) {
        // The Host runs as fast as it may, but for the moments after each underrun, when the Target
        // fills its buffer anew; and the Target, still short, says so.
        const auto fastest =
            std::count_if(lastSecond, adjust.end(), [](int32_t a) { return a >= FeedbackControl::kFastest; });
        EXPECT_GT(fastest, static_cast<long>(kPerSecond / 4));
        EXPECT_GE(report.underruns, 1u) << report.toJson();
        return;
    }
    // The start swings the correction (the Target's buffer is empty at first), and so does any moment in
    // which a busy machine doesn't run the Host or the Target. Over the second half it swings about the
    // small correction that the drift needs, off its limits, while the buffer stays near its level and
    // never runs dry.
    const auto half = adjust.begin() + static_cast<long>(adjust.size() / 2);
    const auto pinned = std::count_if(half, adjust.end(), [](int32_t a) {
        return a >= FeedbackControl::kFastest || a <= FeedbackControl::kSlowest;
    });
    EXPECT_LT(pinned, (adjust.end() - half) / 10);
    EXPECT_LT(std::abs(mean(half, adjust.end())), 150.0);
    EXPECT_EQ(report.underruns, 0u) << report.toJson();
    EXPECT_GT(report.bufferMinMs, c.levelMs * 0.25) << report.toJson();
    EXPECT_LT(report.bufferMaxMs, c.levelMs * 2.0) << report.toJson();
}

INSTANTIATE_TEST_SUITE_P(Clocks, DriftStreamTest,
                         testing::Values(Case{"Fast300ppm", 300, 100, 3.0, false},
                                         Case{"Slow300ppm", -300, 100, 3.0, false},
                                         Case{"FastFivePercent", 50000, 20, 2.0, true}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
