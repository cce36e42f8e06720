#include "bench/stream_bench/Stats.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace TESSERA {

Stats Stats::of(std::vector<double> values) {
    Stats s;
    s.count = values.size();
    if (values.empty()) return s;
    std::sort(values.begin(), values.end());
    auto rank = [&](double share) { // nearest rank, from 1
        const auto r = static_cast<size_t>(std::ceil(share * static_cast<double>(values.size())));
        return values[std::clamp<size_t>(r, 1, values.size()) - 1];
    };
    s.p50 = rank(0.5);
    s.p99 = rank(0.99);
    s.p999 = rank(0.999);
    s.min = values.front();
    s.max = values.back();
    s.mean = std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
    return s;
}

} // namespace TESSERA
