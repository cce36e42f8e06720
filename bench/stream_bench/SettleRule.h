#pragma once
// How the feedback's rateAdjust settles on the correction that a known drift of the Target's clock calls
// for. rateAdjust moves in steps of 1/16384 (61 ppm), so a drift of ±100 ppm lies between two steps and
// only the mean over some seconds can show it: the rule judges 2-second means against the expected value.
#include <vector>

namespace TESSERA {

class SettleRule {
public:
    struct Point {
        double seconds = 0; // from play
        double q14 = 0;     // rateAdjust in force from then on
    };
    struct Result {
        double expectedQ14 = 0;     // the drift in Q14: +500 ppm calls for +8.2
        double bandQ14 = 0;         // how far a 2-second mean may lie from it
        double meanQ14 = 0;         // the mean after the first 2 seconds, the correction actually applied
        double settleSeconds = -1;  // start of the first 2-second window within the band; -1: none
        double inBandShare = 0;     // of the windows from that one on, those within the band
        bool correctionMet = false; // the mean has the drift's sign and lies within the band
    };

    static constexpr double kWindowSeconds = 2;
    static constexpr double kStepPpm = 1e6 / 16384; // one step of rateAdjust

    static double expectedQ14(double driftPpm) { return driftPpm / kStepPpm; }
    // 1.5 steps, or half the expected value when that is wider.
    static double bandQ14(double expected);
    // The mean without the highest and the lowest tenth: a late burst's swing of hundreds of steps
    // must not decide a window.
    static double trimmedMean(std::vector<double> values);
    // points in time order; endSeconds: the end of the stream, after which no window may reach.
    static Result of(const std::vector<Point>& points, double driftPpm, double endSeconds);
};

} // namespace TESSERA
