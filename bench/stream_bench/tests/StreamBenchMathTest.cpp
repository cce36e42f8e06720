// The bench's own arithmetic: nearest-rank percentiles, the settle rule against a known drift, the CPU
// per second of audio, and the recovery sums over streams.
#include "bench/stream_bench/RunSummary.h"
#include "bench/stream_bench/SettleRule.h"
#include "bench/stream_bench/Stats.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

namespace {

using namespace TESSERA;

TEST(StreamBenchMathTest, StatsTakesNearestRankPercentiles) {
    std::vector<double> thousand;
    for (int i = 1000; i >= 1; --i)
        thousand.push_back(i);
    // clang-format off
    const struct { const char* name; std::vector<double> values; size_t count; double p50, p99, p999, min, max, mean; } rows[] = {
        {"1 to 1000, given backwards", thousand, 1000, 500, 990, 999, 1, 1000, 500.5},
        {"five unsorted", {5, 1, 4, 2, 3}, 5, 3, 5, 5, 1, 5, 3},
        {"one value", {7}, 1, 7, 7, 7, 7, 7, 7},
        {"negative and positive", {-20, 10, -5, 40}, 4, -5, 40, 40, -20, 40, 6.25},
        {"nothing", {}, 0, 0, 0, 0, 0, 0, 0},
    };
    // clang-format on
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        const Stats s = Stats::of(r.values);
        EXPECT_EQ((std::vector<double>{double(s.count), s.p50, s.p99, s.p999, s.min, s.max}),
                  (std::vector<double>{double(r.count), r.p50, r.p99, r.p999, r.min, r.max}));
        EXPECT_DOUBLE_EQ(s.mean, r.mean);
    }
}

TEST(StreamBenchMathTest, OneStepOfRateAdjustAndTheBand) {
    EXPECT_NEAR(SettleRule::kStepPpm, 61.035, 0.001);
    EXPECT_NEAR(SettleRule::expectedQ14(500), 8.192, 0.001);
    EXPECT_NEAR(SettleRule::expectedQ14(-100), -1.6384, 0.0001);
    EXPECT_NEAR(SettleRule::bandQ14(8.192), 4.096, 0.001); // half the value
    EXPECT_EQ(SettleRule::bandQ14(-1.6384), 1.5);          // a step and a half at least
    EXPECT_EQ(SettleRule::bandQ14(0), 1.5);
}

// Feedback every 1/8 s from play to 10 s, exact in binary: a 2-second window holds 16 values.
std::vector<SettleRule::Point> feedback(const std::function<double(int)>& valueAt) {
    std::vector<SettleRule::Point> points;
    for (int i = 0; i <= 80; ++i)
        points.push_back({i * 0.125, valueAt(i)});
    return points;
}

TEST(StreamBenchMathTest, SettlesOnTheCorrectionTheDriftCallsFor) {
    // clang-format off
    const struct { const char* name; double driftPpm; std::function<double(int)> valueAt; double settle, mean, inBand; bool met; } rows[] = {
        // 8 zeros in a window give a trimmed mean of 4.0, outside 8.19 +- 4.1; 7 give 4.57.
        {"+500 ppm, corrected from 3 s on", 500, [](int i) { return i < 24 ? 0.0 : 8.0; }, 2.125, 57 * 8.0 / 65, 1, true},
        {"+500 ppm, never corrected", 500, [](int) { return 0.0; }, -1, 0, 0, false},
        {"-100 ppm, dithering between 0 and -3 steps", -100, [](int i) { return -double(i % 4); }, 0, -(0 + 1 + 2 + 3) * 16 / 65.0, 1, true},
        {"-100 ppm, corrected the wrong way", -100, [](int) { return 1.0; }, -1, 1, 0, false},
        {"+500 ppm with one late burst's swing either way", 500, [](int i) { return i == 40 ? 400.0 : i == 41 ? -400.0 : 8.0; }, 0, 8.0 * 63 / 65, 1, true},
        // Blocks of 2 s at -8 and at 0: a window needs 9 of 16 at -8.
        {"-500 ppm, half the windows off", -500, [](int i) { return (i / 16) % 2 == 0 ? -8.0 : 0.0; }, 0, -8.0 * 32 / 65, 31.0 / 65, false},
    };
    // clang-format on
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        const SettleRule::Result s = SettleRule::of(feedback(r.valueAt), r.driftPpm, 10);
        EXPECT_DOUBLE_EQ(s.expectedQ14, SettleRule::expectedQ14(r.driftPpm));
        EXPECT_DOUBLE_EQ(s.settleSeconds, r.settle);
        EXPECT_TRUE(std::abs(s.meanQ14 - r.mean) < 1e-9 && std::abs(s.inBandShare - r.inBand) < 1e-9)
            << s.meanQ14 << " " << s.inBandShare;
        EXPECT_EQ(s.correctionMet, r.met);
    }
}

TEST(StreamBenchMathTest, CpuPerSecondOfAudio) {
    // clang-format off
    const struct { double cpu, audio, percent; } rows[] = {{0.03, 1, 3}, {0.5, 10, 5}, {1.5, 2, 75}, {1, 0, 0}};
    // clang-format on
    for (const auto& r : rows)
        EXPECT_DOUBLE_EQ(RunSummary::percentOfCore(r.cpu, r.audio), r.percent)
            << r.cpu << " s in " << r.audio;
}

TrialResult trial(double window, double worker, double producer, CpuTime process, bool report, uint64_t lost,
                  uint64_t repeats) {
    TrialResult t;
    t.ran = t.haveReport = report;
    t.windowSeconds = window;
    t.workerSeconds = worker;
    t.producerSeconds = producer;
    t.process = process;
    t.report.droppedByFaults = lost;
    t.repeatsSent = repeats;
    return t;
}

TEST(StreamBenchMathTest, RunSumsCountTheSameStreams) {
    // clang-format off
    const struct { const char* name; std::vector<TrialResult> trials; double audio, worker, driver, process, repeatsPerLost; } rows[] = {
        {"one stream", {trial(10, 0.3, 0.1, {0.4, 0.6}, true, 10, 12)}, 10, 3, 4, 10, 1.2},
        {"a stream without a report adds CPU but neither repeats nor losses", {trial(10, 0.3, 0.1, {0.4, 0.6}, true, 10, 12), trial(5, 0.2, 0.05, {0.2, 0.1}, false, 0, 7)}, 15, 0.5 / 15 * 100, 0.65 / 15 * 100, 1.3 / 15 * 100, 1.2},
        {"a stream whose CPU clocks were not read adds no audio", {trial(4, 0.2, 0.1, {0.1, 0.1}, true, 4, 4), trial(6, 0, 0, {}, true, 6, 9)}, 4, 5, 7.5, 5, 1.3},
    };
    // clang-format on
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        const RunSummary s = RunSummary::of(BenchOptions{}, r.trials);
        EXPECT_DOUBLE_EQ(s.audioSeconds, r.audio);
        for (auto [got, want] : {std::pair{s.workerPercent, r.worker},
                                 {s.driverPercent, r.driver},
                                 {s.processPercent, r.process},
                                 {s.repeatsPerLost, r.repeatsPerLost}})
            EXPECT_NEAR(got, want, 1e-9);
    }
}

TEST(StreamBenchMathTest, ArrivalPercentilesPoolEveryStream) {
    // Two streams: the tail of the pooled data, not the worst stream's own p99.
    TrialResult calm, rough;
    calm.arrivalDeviations.assign(990, 10);
    rough.arrivalDeviations.assign(10, 500);
    const RunSummary s = RunSummary::of(BenchOptions{}, {calm, rough});
    EXPECT_TRUE(s.arrival.count == 1000u && s.arrival.p99 == 10 && s.arrival.p999 == 500) << s.arrival.p99;
}

} // namespace
