#pragma once
// How evenly the Host's cycles arrive: the interval between the first arrivals of consecutive packets
// that end a cycle (CycleEnd), and each interval's deviation from the median interval.
// Intervals are counted in a histogram of 1 microsecond bins, so a stream of any length takes fixed room.
#include <cstdint>
#include <vector>

namespace TESSERA {

class ArrivalJitter {
public:
    struct Deviation {
        double p50 = 0, p99 = 0, p999 = 0, max = 0; // microseconds
    };

    // A packet that ends a cycle arrived for the first time at nowUs.
    void cycleEnd(uint64_t nowUs);
    // A running average of the intervals; 0 until two cycles have arrived.
    uint64_t typicalCycleUs() const { return static_cast<uint64_t>(average); }
    uint64_t intervals() const { return count; }
    // |interval - median interval| at the 50th, 99th and 99.9th percentile (nearest rank) and its largest
    // value.
    Deviation deviation() const;

private:
    static constexpr uint32_t kBins = 1u << 17; // intervals up to 131 ms in bins; longer ones kept apart

    uint64_t median() const;

    bool seen = false;
    uint64_t lastUs = 0;
    uint64_t count = 0;
    double average = 0;
    std::vector<uint32_t> histogram;
    std::vector<uint64_t> longIntervals;
};

} // namespace TESSERA
