// When a missing packet is asked for, asked for again, covered by an earlier request, or given up.
#include "tools/receiver/ResendTracker.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using TESSERA::ResendTracker;
using Action = ResendTracker::Action;

struct Step {
    bool gap;
    int64_t first;
    uint64_t since, now;
    Action expected; // an Ask is answered with asked(now), as the receiver does
};

void play(ResendTracker& tracker, const std::vector<Step>& steps) {
    for (size_t i = 0; i < steps.size(); ++i) {
        const Step& s = steps[i];
        EXPECT_EQ(tracker.poll(s.gap, s.first, s.since, s.now), s.expected)
            << "step " << i << " at " << s.now;
        if (s.expected == Action::Ask) tracker.asked(s.now);
    }
}

TEST(ResendTrackerTest, AsksAtOnceThenBacksOffAndCoversLaterGaps) {
    ResendTracker tracker; // 10 ms before the first repeat of a request
    play(tracker, {
                      {false, 0, 0, 500, Action::None},
                      {true, 10, 1000, 1000, Action::Ask},
                      {true, 10, 1000, 10999, Action::None},
                      {true, 10, 1000, 11000, Action::Ask},
                      {true, 10, 1000, 30999, Action::None}, // twice as long
                      {true, 10, 1000, 31000, Action::Ask},
                      // 10 came; 12 was already missing when 10 was last asked for, so it is on its way
                      {true, 12, 5000, 32000, Action::None},
                      {true, 12, 5000, 41000, Action::Ask},
                      // 20 went missing after that request: nothing brings it back unasked
                      {true, 20, 50000, 50000, Action::Ask},
                      {true, 20, 50000, 449999, Action::Ask},
                      {true, 20, 50000, 450000, Action::GiveUp},
                      {false, 0, 0, 460000, Action::None},
                  });
}

TEST(ResendTrackerTest, GivesUpAfterTheLastRequestHadItsTime) {
    ResendTracker tracker;
    tracker.setRetryInterval(1000);
    std::vector<Step> steps;
    for (uint64_t at : {0, 1000, 3000, 5000, 7000, 9000, 11000, 13000})
        steps.push_back({true, 7, 0, at, Action::Ask});
    steps.push_back({true, 7, 0, 14999, Action::None}); // from the second repeat on, two intervals
    steps.push_back({true, 7, 0, 15000, Action::GiveUp});
    play(tracker, steps);
    EXPECT_EQ(tracker.requests(), ResendTracker::kMaxRequests);
}

} // namespace
