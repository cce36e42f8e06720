// A Target whose clock drifts: within the control range the Host's rate settles on the Target's, and the
// Target's buffer stays near its level without running dry; beyond the range the Target reports its
// underruns.
#include "tests/support/Sanitizer.h"
#include "tests/support/SignalSession.h"
#include "tests/support/StreamTarget.h"
#include "transport/FeedbackControl.h"
#include "transport/WorkerObserver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace {

using namespace TESSERA;
using TESTING::SignalSession;
using TESTING::StreamTarget;

constexpr size_t kSmoothing = 2;        // values on either side of one in the median that smooths the level
constexpr double kShortestWindow = 3.0; // seconds over which the settled correction is averaged, at least

// Each feedback value the worker took, the rateAdjust that followed, and when; read after the worker ended.
class FeedbackRecorder : public WorkerObserver {
public:
    FeedbackRecorder() { taken.reserve(6000); }
    void burstSent(uint32_t, uint32_t, uint32_t, uint32_t) override {}
    void feedbackTaken(int16_t value, int16_t rateAdjust) override {
        // Full, it keeps what it has: the worker must not allocate.
        if (taken.size() < taken.capacity())
            taken.push_back({value, rateAdjust, std::chrono::steady_clock::now()});
    }
    struct Taken {
        int16_t value, rateAdjust;
        std::chrono::steady_clock::time_point at;
    };
    std::vector<Taken> taken;
};

double secondsBetween(const FeedbackRecorder::Taken& a, const FeedbackRecorder::Taken& b) {
    return std::chrono::duration<double>(b.at - a.at).count();
}

// The Target's level (its feedback value) at each moment, as the median of the values around it: a moment
// in which a busy machine didn't run the Host or the Target leaves a spike that the median passes over.
// The first and last kSmoothing have none.
std::vector<int32_t> smoothedLevels(const std::vector<FeedbackRecorder::Taken>& taken) {
    std::vector<int32_t> levels(taken.size(), 0), around(2 * kSmoothing + 1);
    for (size_t i = kSmoothing; i + kSmoothing < taken.size(); ++i) {
        for (size_t k = 0; k < around.size(); ++k)
            around[k] = taken[i - kSmoothing + k].value;
        std::nth_element(around.begin(), around.begin() + kSmoothing, around.end());
        levels[i] = around[kSmoothing];
    }
    return levels;
}

// The mean rateAdjust over time, over the window of the second half in which the Target's level ended
// where it began. The level moves by the difference between the Host's rate and the Target's clock, so
// over such a window the mean is the correction that the drift needs, whatever swings the control loop
// still makes. Windows are at least kShortestWindow long; of those, the one whose level moved least
// for its length.
double settledCorrection(const std::vector<FeedbackRecorder::Taken>& taken) {
    const std::vector<int32_t> level = smoothedLevels(taken);
    const size_t first = taken.size() / 2 + kSmoothing, last = taken.size() - kSmoothing;
    double bestRate = std::numeric_limits<double>::max(), mean = 0;
    for (size_t a = first; a < last; ++a) {
        for (size_t b = a + 1; b < last; ++b) {
            const double seconds = secondsBetween(taken[a], taken[b]);
            if (seconds < kShortestWindow) continue;
            const double rate = std::abs(level[b] - level[a]) / seconds;
            if (rate >= bestRate) continue;
            bestRate = rate;
            double sum = 0;
            for (size_t i = a; i < b; ++i)
                sum += taken[i].rateAdjust * secondsBetween(taken[i], taken[i + 1]);
            mean = sum / seconds;
        }
    }
    return mean;
}

struct Case {
    const char* name;
    double driftPpm;
    uint32_t levelMs; // the Target's start level and the level its feedback steers to
    double seconds;
    uint32_t infoCycle; // microseconds between the Target's reports
    bool beyondRange;   // faster than the Host's 3% of correction can follow
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

class DriftStreamTest : public testing::TestWithParam<Case> {};

TEST_P(DriftStreamTest, RateFollowsTheTargetClock) {
    const Case& c = GetParam();
    StreamTarget target([&c](OutputConfig& o) {
        o.faults.driftPpm = c.driftPpm;
        o.startLevelMs = o.bufferTargetMs = c.levelMs;
    });
    ASSERT_TRUE(target.started());
    SignalSession session;
    FeedbackRecorder recorder;
    session.setObserver(&recorder);
    ASSERT_TRUE(session.negotiate(target.control(), StreamFormat(0x0202, 0x000A), SignalSession::Plan::Fix, 1,
                                  500, c.infoCycle));
    session.prepareSignal(c.seconds);
    ASSERT_TRUE(session.streamAll());
    StreamReport report;
    ASSERT_TRUE(target.report(0, report));
    // Late or not, every frame arrives.
    EXPECT_TRUE(report.bitPerfect()) << report.toJson();
    EXPECT_EQ(report.verifier.matched, session.signalFrames());

    const auto& taken = recorder.taken;
    const auto perSecond = static_cast<size_t>(1'000'000 / c.infoCycle);
    ASSERT_GE(taken.size(), static_cast<size_t>(perSecond * c.seconds / 2));
    const auto isFastest = [](const FeedbackRecorder::Taken& t) {
        return t.rateAdjust >= FeedbackControl::kFastest;
    };
    if (c.beyondRange) {
        // The Host runs as fast as it may, but for the moments after each underrun, when the Target
        // fills its buffer anew; and the Target, still short, says so.
        EXPECT_GT(std::count_if(taken.end() - static_cast<long>(perSecond), taken.end(), isFastest),
                  static_cast<long>(perSecond / 4));
        EXPECT_GE(report.underruns, 1u) << report.toJson();
        return;
    }
    // The start swings the correction (the Target's buffer is empty at first), and so does any moment in
    // which a busy machine doesn't run the Host or the Target. Over the second half it swings about the
    // correction that the drift needs, off its limits: the drift in Q14, faster for a fast Target clock.
    const auto half = taken.begin() + static_cast<long>(taken.size() / 2);
    const auto pinned = std::count_if(half, taken.end(), [&isFastest](const FeedbackRecorder::Taken& t) {
        return isFastest(t) || t.rateAdjust <= FeedbackControl::kSlowest;
    });
    EXPECT_LT(pinned, (taken.end() - half) / 10);
    const double needed = c.driftPpm * 1e-6 * 16384;
    const double settled = settledCorrection(taken);
    // Under a sanitizer the Host's late cycles and their catching up move the mean by some steps of its own
    // (a third to a fifth of the correction was seen there); the drift's sign still shows.
    const double least = TESTING::kSanitized ? 0.0 : 1.0 / 3;
    EXPECT_GT(settled / needed, least) << "settled at " << settled << ", needed " << needed;
    EXPECT_LT(settled / needed, 3.0) << "settled at " << settled << ", needed " << needed;
    // The buffer stays near its level and never runs dry.
    EXPECT_EQ(report.underruns, 0u) << report.toJson();
    EXPECT_GT(report.bufferMinMs, c.levelMs * 0.25) << report.toJson();
    EXPECT_LT(report.bufferMaxMs, c.levelMs * 2.0) << report.toJson();
}

INSTANTIATE_TEST_SUITE_P(Clocks, DriftStreamTest,
                         // The in-range rows report at the driver's own cycle of 100 ms: with a report every
                         // 10 ms the loop's gain on the level is ten times higher, and it rings for seconds.
                         testing::Values(Case{"Fast300ppm", 300, 50, 10.0, 100'000, false},
                                         Case{"Slow300ppm", -300, 50, 10.0, 100'000, false},
                                         Case{"FastFivePercent", 50000, 20, 2.0, 10'000, true}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
