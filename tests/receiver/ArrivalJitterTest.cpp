// The deviation of cycle arrival intervals from their median, at known intervals.
#include "tools/receiver/ArrivalJitter.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(ArrivalJitterTest, DeviationFromTheMedianInterval) {
    const struct {
        const char* name;
        std::vector<uint64_t> intervals;
        double p50, p99, p999, max;
    } rows[] = {
        {"steady", std::vector<uint64_t>(50, 1000), 0, 0, 0, 0},
        {"two late, one early",
         [] {
             std::vector<uint64_t> v(97, 1000);
             v.insert(v.end(), {1200, 800, 5000});
             return v;
         }(),
         0, 200, 4000, 4000},
        {"the 99.9th percentile apart from the largest",
         [] {
             std::vector<uint64_t> v(1996, 1000);
             v.insert(v.end(), {1300, 1700, 1900, 2500});
             return v;
         }(),
         0, 0, 700, 1500},
        {"a silence longer than the histogram",
         [] {
             std::vector<uint64_t> v(99, 2000);
             v.push_back(300000);
             return v;
         }(),
         0, 0, 298000, 298000},
        {"spread", {100, 200, 300, 400, 500}, 100, 200, 200, 200},
        {"median among the long ones", {200000, 200010, 200030}, 10, 20, 20, 20},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        TESSERA::ArrivalJitter jitter;
        uint64_t t = 5000000;
        jitter.cycleEnd(t);
        for (uint64_t i : r.intervals)
            jitter.cycleEnd(t += i);
        EXPECT_EQ(jitter.intervals(), r.intervals.size());
        const auto d = jitter.deviation();
        EXPECT_EQ(d.p50, r.p50);
        EXPECT_EQ(d.p99, r.p99);
        EXPECT_EQ(d.p999, r.p999);
        EXPECT_EQ(d.max, r.max);
    }
}

} // namespace
