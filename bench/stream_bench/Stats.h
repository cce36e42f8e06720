#pragma once
// Order statistics of a sample: nearest-rank percentiles, the largest and the mean.
#include <cstddef>
#include <vector>

namespace TESSERA {

struct Stats {
    size_t count = 0;
    double p50 = 0, p99 = 0, p999 = 0, max = 0, min = 0, mean = 0;

    static Stats of(std::vector<double> values);
};

} // namespace TESSERA
