#include "bench/stream_bench/SettleRule.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace TESSERA {

double SettleRule::bandQ14(double expected) {
    return std::max(1.5, std::fabs(expected) / 2);
}

double SettleRule::trimmedMean(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const size_t cut = values.size() / 10;
    const auto from = values.begin() + static_cast<long>(cut), to = values.end() - static_cast<long>(cut);
    return std::accumulate(from, to, 0.0) / static_cast<double>(to - from);
}

SettleRule::Result SettleRule::of(const std::vector<Point>& points, double driftPpm, double endSeconds) {
    Result r;
    r.expectedQ14 = expectedQ14(driftPpm);
    r.bandQ14 = bandQ14(r.expectedQ14);
    double sum = 0;
    size_t late = 0;
    for (const Point& p : points)
        if (p.seconds >= 2.0 && p.seconds <= endSeconds) {
            sum += p.q14;
            ++late;
        }
    r.meanQ14 = late != 0 ? sum / static_cast<double>(late) : 0;
    const bool sign = r.expectedQ14 == 0 || r.meanQ14 * r.expectedQ14 > 0;
    r.correctionMet = late != 0 && sign && std::fabs(r.meanQ14 - r.expectedQ14) <= r.bandQ14;

    size_t windows = 0, within = 0;
    std::vector<double> values;
    for (size_t i = 0; i < points.size(); ++i) {
        const double start = points[i].seconds;
        if (start < 0) continue;
        if (start + kWindowSeconds > endSeconds) break;
        values.clear();
        for (size_t j = i; j < points.size() && points[j].seconds < start + kWindowSeconds; ++j)
            values.push_back(points[j].q14);
        const bool near = std::fabs(trimmedMean(values) - r.expectedQ14) <= r.bandQ14;
        if (r.settleSeconds < 0 && near) r.settleSeconds = start;
        if (r.settleSeconds < 0) continue;
        ++windows;
        if (near) ++within;
    }
    r.inBandShare = windows != 0 ? static_cast<double>(within) / static_cast<double>(windows) : 0;
    return r;
}

} // namespace TESSERA
