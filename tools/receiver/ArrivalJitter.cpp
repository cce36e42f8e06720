#include "tools/receiver/ArrivalJitter.h"

#include <algorithm>

namespace TESSERA {

void ArrivalJitter::cycleEnd(uint64_t nowUs) {
    if (!seen) {
        seen = true;
        lastUs = nowUs;
        return;
    }
    const uint64_t interval = nowUs > lastUs ? nowUs - lastUs : 0;
    lastUs = nowUs;
    if (histogram.empty()) histogram.assign(kBins, 0);
    if (interval < kBins)
        ++histogram[interval];
    else
        longIntervals.push_back(interval);
    // A slow average (1/16 per cycle) follows changes of the Host's cycle without jumping at one late packet.
    average =
        count == 0 ? static_cast<double>(interval) : average + (static_cast<double>(interval) - average) / 16;
    ++count;
}

uint64_t ArrivalJitter::median() const {
    const uint64_t rank = (count + 1) / 2; // the lower median, by nearest rank
    uint64_t seenSoFar = 0;
    for (uint32_t v = 0; v < histogram.size(); ++v) {
        seenSoFar += histogram[v];
        if (seenSoFar >= rank) return v;
    }
    std::vector<uint64_t> sorted = longIntervals;
    std::sort(sorted.begin(), sorted.end());
    return sorted[rank - seenSoFar - 1];
}

ArrivalJitter::Deviation ArrivalJitter::deviation() const {
    Deviation d;
    if (count == 0) return d;
    const uint64_t m = median();
    // The deviations, again as a histogram, with the ones beyond its range kept apart.
    std::vector<uint64_t> deviations(kBins, 0);
    std::vector<uint64_t> large;
    auto add = [&](uint64_t value, uint64_t n) {
        const uint64_t dev = value > m ? value - m : m - value;
        if (dev < kBins)
            deviations[dev] += n;
        else
            large.insert(large.end(), n, dev);
    };
    for (uint32_t v = 0; v < histogram.size(); ++v)
        if (histogram[v] != 0) add(v, histogram[v]);
    for (uint64_t v : longIntervals)
        add(v, 1);
    std::sort(large.begin(), large.end());
    auto atRank = [&](uint64_t rank) -> double { // rank from 1
        uint64_t seenSoFar = 0;
        for (uint32_t v = 0; v < kBins; ++v) {
            seenSoFar += deviations[v];
            if (seenSoFar >= rank) return v;
        }
        return static_cast<double>(large[rank - seenSoFar - 1]);
    };
    auto nearestRank = [&](uint64_t permille) {
        return std::max<uint64_t>(1, (count * permille + 999) / 1000);
    };
    d.p50 = atRank(nearestRank(500));
    d.p99 = atRank(nearestRank(990));
    d.p999 = atRank(nearestRank(999));
    d.max = atRank(count);
    return d;
}

} // namespace TESSERA
