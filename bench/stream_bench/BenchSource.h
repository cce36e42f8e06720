#pragma once
// The test signal as the host's audio, through the stream buffer: it keeps when each block was written by
// fillBuffer, so that the Target's play-out can be traced back to it, and the CPU clock of BufferWorker.
#include "tools/source/SignalSource.h"

#include <atomic>
#include <cstdint>
#include <time.h>
#include <vector>

namespace TESSERA {

class BenchSource : public SignalSource {
public:
    struct Fill {
        uint64_t firstFrame = 0; // of the signal
        uint32_t frames = 0;
        uint32_t time = 0; // microsecond clock, when the block was written
    };

    ~BenchSource() override;
    // Room for this many blocks' records, before the stream starts.
    void reserveFills(size_t count);
    void fillBuffer(std::vector<uint8_t>& slot, bool first) override;

    // Read once BufferWorker has been joined.
    const std::vector<Fill>& fills() const { return fillLog; }
    // BufferWorker's CPU clock, once it has filled a block.
    bool producerClock(clockid_t& clock) const;

private:
    std::vector<Fill> fillLog; // written by BufferWorker alone
    clockid_t clock{};
    std::atomic<bool> clockKnown{false}; // set (release) after clock by BufferWorker
};

} // namespace TESSERA
